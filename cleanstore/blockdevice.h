#pragma once

#include <sys/types.h>

namespace cleanstore {

/// True when the block device is a disk of this machine, a partition of one, or made of such alone (LVM,
/// RAID, encryption): what lies on it was written by our kernel. Not so devices that come and go or lie over
/// the network, and loop devices, whose content is a file. Asks sysfs; false where that does not tell.
bool isBuiltInDisk(dev_t device);

/// The same for all devices of the btrfs on which `fd` is open for reading.
bool liesOnBuiltInDisks(int fd);

} // namespace cleanstore
