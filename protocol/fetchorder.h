#pragma once

#include <cstdint>
#include <istream>
#include <ostream>
#include <string>

/// What the process without rights is to fetch, handed over through its standard input: the password of
/// a proxy must not stand in an argument.
namespace update {

struct FetchOrder
{
    std::string server; ///< a URL without a slash at its end
    bool askNameService = false;
    bool onlyHttps = false;
    unsigned timeOut = 0; ///< seconds
    unsigned attempts = 1;
    std::uint64_t mostBytes = 0; ///< of one file
    std::string authorities;     ///< file of certificates
    std::string proxy;           ///< empty: none
    std::string proxyUser;       ///< empty: no login
    std::string proxyPassword;
    std::string databases; ///< names, divided by blanks
};

/// One value for each line: none has a line end in it.
inline std::ostream& operator<<(std::ostream& out, const FetchOrder& o)
{
    return out << o.askNameService << '\n'
               << o.onlyHttps << '\n'
               << o.timeOut << '\n'
               << o.attempts << '\n'
               << o.mostBytes << '\n'
               << o.server << '\n'
               << o.authorities << '\n'
               << o.proxy << '\n'
               << o.proxyUser << '\n'
               << o.proxyPassword << '\n'
               << o.databases << '\n';
}

inline std::istream& operator>>(std::istream& in, FetchOrder& o)
{
    in >> o.askNameService >> o.onlyHttps >> o.timeOut >> o.attempts >> o.mostBytes;
    in.ignore();
    for (std::string* text :
         {&o.server, &o.authorities, &o.proxy, &o.proxyUser, &o.proxyPassword, &o.databases})
        std::getline(in, *text);
    return in;
}

} // namespace update
