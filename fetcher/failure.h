#pragma once

#include <string>

#include <curl/curl.h>

namespace fetcher {

/// How a transfer ended.
struct Answer
{
    CURLcode code = CURLE_OK;
    long status = 0;          ///< of HTTP, the server's or the proxy's; 0: none
    long long retryAfter = 0; ///< seconds that the server asks to be left alone, when it does
    bool tooLarge = false;
    bool diskFull = false;
};

/// What that means for whoever wants the file.
struct Failure
{
    std::string text;       ///< why it failed, for a person; empty: it did not
    bool transient = false; ///< another attempt may help
    bool refused = false;   ///< the server wants no more requests for now
    bool missing = false;   ///< the server does not have it
    long long wait = 0;     ///< seconds to leave the server alone
};

/// `CURLcode` and status in words.
Failure failureOf(const Answer& answer);

} // namespace fetcher
