#pragma once

/// What the engine appends to the name of a file that it renames.
inline constexpr char renameExtension[] = "qst";
