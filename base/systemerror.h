#pragma once

#include "base/result.h"

#include <cerrno>
#include <cstring>
#include <string>

namespace base {

/// What the errno value `code` means, in English whatever the locale is, since it ends up in logs.
inline std::string describeError(int code)
{
    const char* text = ::strerrordesc_np(code);
    return text ? text : "Error " + std::to_string(code);
}

/// The failure that errno tells of now, or `code` when given.
inline Error systemError(int code = errno)
{
    return {code, describeError(code)};
}

} // namespace base
