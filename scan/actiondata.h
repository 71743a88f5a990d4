#pragma once

class Vardo;

/// What the engine appends to the name of a file that it renames.
inline constexpr char renameExtension[] = "qst";

/// Leaves files that were put out of action by a rename out of scans, in the place of all other extensions.
/// In the engine's memory only.
void excludeRenamedFiles(Vardo& scanner);
