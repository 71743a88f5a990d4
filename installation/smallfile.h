#pragma once

#include <optional>
#include <string>

enum class Links { Follow, Refuse };

/// The first 64 KiB of a regular file, read without waiting; nothing when the file cannot be opened or
/// is of another kind.
std::optional<std::string> readSmallFile(const char* path, Links links);

/// The same of an open file, from its current position.
std::optional<std::string> readSmallFile(int fd);
