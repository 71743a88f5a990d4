#pragma once

#include "notify/notify.h"

#include <optional>
#include <string>

struct Options;
struct ScanResult;

/// What people at their desktops are told of a scan; nothing of one that went well and found nothing.
/// `schedule` is the name of the scheduled scan, empty for one by hand: only that tells names of files, since
/// those of a scheduled one are not everybody's business.
std::optional<notify::Message> messageAbout(const ScanResult& result, const std::string& schedule);

/// That a scan begins. What tells of its end takes its place.
notify::Message messageOfBegin(const Options& options);

/// That a scan went well and found nothing.
notify::Message messageOfNothing(const ScanResult& result);
