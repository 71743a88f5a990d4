#pragma once

#include "base/plainfile.h"
#include "engine/avupdate.h"
#include "protocol/updatemessage.h"

namespace fetcher {

constexpr int messagePipe = 4;     ///< where messages go: the standard streams are the libraries'
constexpr int temporaryFolder = 3; ///< a directory of our own

/// Sends one message. Nobody there to read it is the end of this process, by signal.
inline void say(int code, long long first, long long second, std::string text)
{
    base::writeAll(messagePipe, update::toLine({code, first, second, std::move(text)}));
}

inline void sayDetail(std::string text)
{
    say(UPDATE_DETAIL, 0, 0, std::move(text));
}

} // namespace fetcher
