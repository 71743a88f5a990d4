#pragma once

#include "installation/smallfile.h"

#include <QString>

#include <optional>

/// The first line of a file, without its line end and at most 19 bytes of it; nothing when the file cannot
/// be read. Never waits.
std::optional<QString> firstLine(const char* path, Links links);
