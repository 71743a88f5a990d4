#pragma once

#include <QString>

#include <optional>

/// The first line of a file, without its line end and at most 19 bytes of it; nothing when the file cannot
/// be read. Never follows a link in the path's last part and never waits.
std::optional<QString> firstLine(const char* path);
