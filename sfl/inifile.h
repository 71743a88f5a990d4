#pragma once

#include "sfl/symtable.h"

/// Loads an ini file into `table` (null: a new one) and returns the table. Keys are named
/// `section:keyword`; each section has a symbol of its own with an empty value; `filename`, `filedate`
/// and `filetime` describe the file. `$(NAME)` stands for an environment variable, its name in capitals.
/// A name that does not exist is looked for in the directories of PATH; a file that is not found leaves
/// the table as it was.
SymTable* ini_dyn_load(SymTable* table, const char* filename);

/// Replaces the content of `filename` by the table, sorted, below a line "#*END". What the file has
/// above such a line stays; without one all of it goes. Returns 0, or -1 when the file cannot be
/// written. Line ends have a carriage return when the file that this thread read last had. Every value comes
/// back as it was from a load, but for what a line cannot carry: tabs, carriage returns and Ctrl-Z become
/// blanks, and what is longer than lineLimit with its escapes and quotes is cut.
int ini_dyn_save(SymTable* table, const char* filename);
