#include "fetcher/failure.h"

#include <algorithm>
#include <array>

namespace fetcher {

namespace {

constexpr long long usualWait = 3600;

struct Words
{
    long code;
    const char* text;
    bool transient;
};

constexpr std::array httpWords{
    Words{403, "the server refuses to give it", false},
    Words{404, "the server does not have it", false},
    Words{407, "the proxy wants a login, or another one", false},
};

constexpr std::array curlWords{
    Words{CURLE_COULDNT_RESOLVE_HOST, "the name of the server is not known", true},
    Words{CURLE_COULDNT_RESOLVE_PROXY, "the name of the proxy is not known", true},
    Words{CURLE_COULDNT_CONNECT, "the server cannot be reached", true},
    Words{CURLE_OPERATION_TIMEDOUT, "the server does not answer, or is too slow", true},
    Words{CURLE_PARTIAL_FILE, "the connection broke off", true},
    Words{CURLE_RECV_ERROR, "the connection broke off", true},
    Words{CURLE_GOT_NOTHING, "the server gave no answer", true},
    Words{CURLE_TOO_MANY_REDIRECTS, "the server leads in a circle", false},
    Words{CURLE_UNSUPPORTED_PROTOCOL, "the server leads to an address of another kind", false},
    Words{CURLE_PEER_FAILED_VERIFICATION, "the server's certificate is not valid", false},
    Words{CURLE_SSL_CACERT_BADFILE, "the file of certificates cannot be used", false},
    Words{CURLE_SSL_CONNECT_ERROR, "no encrypted connection came about", false},
    Words{CURLE_FILESIZE_EXCEEDED, "it is larger than allowed", false},
};

template <std::size_t Count>
const Words* find(const std::array<Words, Count>& table, long code)
{
    const auto row =
        std::find_if(table.begin(), table.end(), [code](const Words& w) { return w.code == code; });
    return row == table.end() ? nullptr : row;
}

Failure failureOfStatus(long status, long long retryAfter)
{
    Failure failure;
    const std::string code = " (" + std::to_string(status) + ")";
    if (status == 429 || (status == 503 && retryAfter > 0)) {
        failure.wait = retryAfter > 0 ? retryAfter : usualWait;
        failure.refused = true;
        failure.text = "the server asks to wait for " + std::to_string(failure.wait) + " seconds" + code;
        return failure;
    }
    failure.refused = status == 403;
    failure.missing = status == 404;
    const Words* words = find(httpWords, status);
    const char* other = status >= 500 ? "the server has a fault of its own" : "the server does not give it";
    failure.text = (words ? words->text : other) + code;
    failure.transient = words ? words->transient : status >= 500;
    return failure;
}

} // namespace

Failure failureOf(const Answer& answer)
{
    if (answer.tooLarge)
        return {"it is larger than allowed"};
    if (answer.diskFull)
        return {"there is no room for it in the temporary directory"};
    if (answer.status >= 400)
        return failureOfStatus(answer.status, answer.retryAfter);
    if (answer.code == CURLE_OK)
        return {};
    const Words* words = find(curlWords, answer.code);
    return {words ? words->text : curl_easy_strerror(answer.code), !words || words->transient};
}

} // namespace fetcher
