#pragma once

#include "fetcher/failure.h"
#include "protocol/fetchorder.h"

#include <optional>
#include <string>

#include <curl/curl.h>

/// What happens on the network while the library downloads. It calls curl_easy_perform, and finds ours:
/// that sets limits of time and size, the proxy and the certificates, tells the progress, and notes what
/// the library keeps to itself. One thread.
namespace fetcher {

/// The transfers of one database.
struct Transfers
{
    const update::FetchOrder* order = nullptr;
    std::string name;
    unsigned local = 0;             ///< version at hand, 0: none
    std::optional<unsigned> remote; ///< version that there is, by the server or the name service
    bool byName = false;            ///< by the name service: the server may not have it yet
    bool whole = false;             ///< all of the database came, not only differences

    Failure failure; ///< of the last transfer

    long long earlier = 0; ///< bytes of the files that are complete
    long long total = 0;   ///< bytes of all; 0: unknown
    bool counted = false;  ///< the differences were asked for their sizes

    long long shown = 0; ///< bytes that were told of
    bool begun = false;  ///< it was told that the server has been reached

    /// What another attempt begins with.
    Transfers again() const;
    /// Takes note of what the server has, and tells it, once.
    void initialised(unsigned version);
    /// Tells that all bytes are there.
    void finished() const;
};

/// The database that is being fetched.
Transfers& transfers();

/// False when the library would not find our function: nothing would be limited then.
bool interposed();

} // namespace fetcher
