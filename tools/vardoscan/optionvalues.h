#pragma once

#include "tools/vardoscan/options.h"

#include <optional>
#include <string>
#include <string_view>

// What stands behind an option: put into `options`; false when it is no good, with the whole command line.

bool takeAction(std::string_view word, Options& options);
bool takeLogLevel(std::string_view word, Options& options);
bool takeNotify(std::string_view word, Options& options);
bool takeJobs(const char* text, Options& options);
bool takeExcludedDirectory(const char* path, Options& options);
bool takeMaxSize(const char* text, Options& options);
bool takeMaxDepth(const char* text, Options& options);

/// Adds to a list of extensions.
void addList(std::optional<std::string>& list, const char* more);
