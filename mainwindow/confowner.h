#pragma once

/// Gives a configuration file to qsconf:qsconf, who own all of them. Its directory is open to the members of
/// that group, so only a regular file with a single name is given away, and a link stays as it is.
/// Failures are silent.
void giveToConfOwner(const char* path);
