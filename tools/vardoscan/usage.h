#pragma once

/// The text that --help prints.
const char* usage();
