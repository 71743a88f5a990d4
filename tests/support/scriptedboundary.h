#pragma once

#include "tests/support/scriptedengine.h"

#include <cstdio>
#include <cstring>

/// Shared by the files that implement the boundary's classes on the scripted engine.
namespace scripted {

/// `text`, or "(null)".
inline std::string shown(const char* text)
{
    return text ? text : "(null)";
}

/// `bits` as "0x10".
inline std::string hex(unsigned int bits)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%x", bits);
    return text;
}

/// Notes the call made of `name` and `args`, divided by blanks, and tells its result.
template <class... Args>
int call(std::string name, const Args&... args)
{
    ((name += ' ', name += args), ...);
    return scriptedEngine().call(name);
}

/// Does `action` unless the call is to fail: `result`, or the negative result of the action.
template <class Action>
int after(int result, Action action)
{
    const int done = result < 0 ? result : action();
    return done < 0 ? done : result;
}

/// Moves option values between a field and the caller's memory, in the direction of the call.
class OptionTransfer
{
  public:
    OptionTransfer(void* value, bool set)
        : value_(value)
        , set_(set)
    {
    }

    template <class T>
    int number(T& field) const
    {
        if (set_)
            std::memcpy(&field, value_, sizeof field);
        else
            std::memcpy(value_, &field, sizeof field);
        return 0;
    }

    /// A text in a buffer of `size` bytes.
    int text(std::string& field, std::size_t size) const
    {
        if (set_)
            field.assign(static_cast<const char*>(value_));
        else
            std::snprintf(static_cast<char*>(value_), size, "%s", field.c_str());
        return field.size() < size ? 0 : -1;
    }

    /// A text whose pointer is handed out by Get.
    int pointer(std::string& field) const
    {
        if (set_) {
            field.assign(static_cast<const char*>(value_));
        } else {
            char* start = field.data();
            std::memcpy(value_, &start, sizeof start);
        }
        return 0;
    }

  private:
    void* value_;
    bool set_;
};

} // namespace scripted
