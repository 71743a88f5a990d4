#include "engine/vardo.h"

#include "libvardo/ownedtext.h"

#include <cstdlib>
#include <new>

// An entry owns its name alone. The list as a whole is its holder's, who ends it with ClearList.

__VardoObject::__VardoObject()
    : __VardoObject(nullptr, 0)
{
}

__VardoObject::__VardoObject(__VardoObject* other)
    : __VardoObject(other ? other->objName : nullptr, other ? other->objType : 0)
{
}

__VardoObject::__VardoObject(const char* name, int type)
    : objName(vardo::ownedText(name))
    , objType(type)
    , objNext(nullptr)
{
}

__VardoObject::~__VardoObject()
{
    std::free(objName);
}

void __VardoObject::ClearList()
{
    for (__VardoObject* entry = this; entry;) {
        __VardoObject* next = entry->objNext;
        delete entry;
        entry = next;
    }
}

int __VardoObject::AddNext(const char* name, char type)
{
    auto* entry = new (std::nothrow) __VardoObject(name, type);
    if (!entry || (name && !entry->objName)) {
        delete entry;
        return -1;
    }
    entry->objNext = objNext;
    objNext = entry;
    return 0;
}

int __VardoObject::AddLast(const char* name, char type)
{
    __VardoObject* last = this;
    while (last->objNext)
        last = last->objNext;
    return last->AddNext(name, type);
}

int __VardoObject::AddList(__VardoObject* list)
{
    __VardoObject* last = this;
    while (last->objNext)
        last = last->objNext;
    // A list may be added to itself: what is appended is not copied again.
    for (const __VardoObject *entry = list, *end = last; entry;
         entry = entry == end ? nullptr : entry->objNext) {
        if (last->AddNext(entry->objName, static_cast<char>(entry->objType)) < 0)
            return -1;
        last = last->objNext;
    }
    return 0;
}

int __VardoObject::CopyList(const __VardoObject* list)
{
    if (!list || list == this)
        return list ? 0 : -1;
    if (objNext)
        objNext->ClearList();
    objNext = nullptr;
    objType = list->objType;
    return vardo::assignText(objName, list->objName) ? AddList(list->objNext) : -1;
}
