#pragma once

#include <memory>
#include <string_view>

/// One name of a symbol table with its text value. Owned by the table.
struct _SYMBOL
{
    _SYMBOL* next; ///< in the table's list
    _SYMBOL* prev;
    _SYMBOL* h_next; ///< in the chain of names with the same hash
    _SYMBOL* h_prev;
    char* name;  ///< lies in the symbol's own allocation
    char* value; ///< never null
    void* data;  ///< the caller's; null at first
    unsigned char hash;
};

/// Maps text names to text values; upper and lower case differ. To walk it, start at `symbols` and
/// follow `next`. Used by one thread at a time.
struct SymTable
{
    _SYMBOL* symbols;
    _SYMBOL* hash[256];
    int size;
};

/// Makes an empty table, or null when out of memory. `file` and `line` say where, for tracing only.
SymTable* sym_create_table_(const char* file, int line);

/// Frees the table with all its symbols; null is allowed.
void sym_delete_table(SymTable* table);

/// Gives `name` a copy of `value` (null counts as empty), making the symbol at the head of the list when
/// there is none. Returns the symbol, null when out of memory.
_SYMBOL* sym_assume_symbol_(SymTable* table, const char* name, const char* value, const char* file, int line);

/// Value of the symbol whose name is `name` without surrounding white space, else `fallback`. The text
/// belongs to the table and lives until the value changes or the table goes.
const char* sym_get_value(const SymTable* table, const char* name, const char* fallback);

namespace sfl {

struct SymTableDeleter
{
    void operator()(SymTable* table) const { sym_delete_table(table); }
};
using SymTablePtr = std::unique_ptr<SymTable, SymTableDeleter>;

/// The order of names in a sorted table: bytewise, but a colon comes before everything else, so that the
/// keys of a section stay together (`a:x` before `a1:x`).
bool nameLess(std::string_view left, std::string_view right);

/// Puts the table's list into that order.
void sortTable(SymTable& table);

} // namespace sfl
