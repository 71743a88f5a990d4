#pragma once

#include "protocol/fetchorder.h"

namespace fetcher {

/// Brings the databases of `order` in the working directory up to the server's versions, and tells each
/// step and the end. The working directory holds the databases that are at hand.
void fetch(const update::FetchOrder& order);

} // namespace fetcher
