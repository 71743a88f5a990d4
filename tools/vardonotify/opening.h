#pragma once

#include <string>

/// Whether the caller may have this opened: the main window, or a log that the caller may read.
bool mayOpen(const std::string& what);

/// Starts the program that shows it, which outlives the caller and gets its surroundings.
void open(const std::string& what);
