#include "sfl/symtable.h"

#include "sfl/text.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

namespace {

unsigned char hashOf(const char* name)
{
    unsigned sum = 0;
    for (; *name; ++name)
        sum += static_cast<unsigned char>(*name); // modulo 256 the sign of a byte makes no difference
    return static_cast<unsigned char>(sum & 255);
}

_SYMBOL* findSymbol(const SymTable& table, const char* name)
{
    _SYMBOL* symbol = table.hash[hashOf(name)];
    while (symbol && std::strcmp(symbol->name, name) != 0)
        symbol = symbol->h_next;
    return symbol;
}

/// A symbol outside of any list, or null when out of memory.
_SYMBOL* makeSymbol(const char* name, const char* value)
{
    const std::size_t nameSize = std::strlen(name) + 1;
    void* memory = std::malloc(sizeof(_SYMBOL) + nameSize);
    char* copy = strdup(value);
    if (!memory || !copy) {
        std::free(memory);
        std::free(copy);
        return nullptr;
    }
    auto* symbol = new (memory) _SYMBOL{};
    symbol->name = static_cast<char*>(memory) + sizeof(_SYMBOL);
    std::memcpy(symbol->name, name, nameSize);
    symbol->value = copy;
    symbol->hash = hashOf(name);
    return symbol;
}

void insertAtHead(SymTable& table, _SYMBOL* symbol)
{
    symbol->next = table.symbols;
    if (symbol->next)
        symbol->next->prev = symbol;
    table.symbols = symbol;

    _SYMBOL*& chain = table.hash[symbol->hash];
    symbol->h_next = chain;
    if (chain)
        chain->h_prev = symbol;
    chain = symbol;
    ++table.size;
}

bool replaceValue(_SYMBOL& symbol, const char* value)
{
    if (std::strcmp(symbol.value, value) == 0)
        return true;
    char* copy = strdup(value);
    if (!copy)
        return false;
    std::free(symbol.value);
    symbol.value = copy;
    return true;
}

} // namespace

SymTable* sym_create_table_(const char*, int)
{
    return new (std::nothrow) SymTable{};
}

void sym_delete_table(SymTable* table)
{
    if (!table)
        return;
    for (_SYMBOL* symbol = table->symbols; symbol;) {
        _SYMBOL* next = symbol->next;
        std::free(symbol->value);
        std::free(symbol);
        symbol = next;
    }
    delete table;
}

_SYMBOL* sym_assume_symbol_(SymTable* table, const char* name, const char* value, const char*, int)
{
    if (!table || !name)
        return nullptr;
    if (!value)
        value = "";
    if (_SYMBOL* known = findSymbol(*table, name))
        return replaceValue(*known, value) ? known : nullptr;
    _SYMBOL* symbol = makeSymbol(name, value);
    if (symbol)
        insertAtHead(*table, symbol);
    return symbol;
}

const char* sym_get_value(const SymTable* table, const char* name, const char* fallback)
{
    if (!table || !name)
        return fallback;
    std::string key = name;
    trim(key.data());
    const _SYMBOL* symbol = findSymbol(*table, key.c_str());
    return symbol ? symbol->value : fallback;
}

namespace sfl {

bool nameLess(std::string_view left, std::string_view right)
{
    const auto rank = [](char c) { return c == ':' ? 1 : int{static_cast<unsigned char>(c)}; };
    return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                        [&](char a, char b) { return rank(a) < rank(b); });
}

void sortTable(SymTable& table)
{
    std::vector<_SYMBOL*> order;
    for (_SYMBOL* symbol = table.symbols; symbol; symbol = symbol->next)
        order.push_back(symbol);
    std::sort(order.begin(), order.end(),
              [](const _SYMBOL* a, const _SYMBOL* b) { return nameLess(a->name, b->name); });

    _SYMBOL** link = &table.symbols;
    _SYMBOL* previous = nullptr;
    for (_SYMBOL* symbol : order) {
        *link = symbol;
        symbol->prev = previous;
        previous = symbol;
        link = &symbol->next;
    }
    *link = nullptr;
}

} // namespace sfl
