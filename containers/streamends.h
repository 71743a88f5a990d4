#pragma once

#include "containers/bytes.h"

namespace containers {

/// Whether a bzip2 file is more, or less, than the one stream that the scanning library unpacks: another
/// one begins in it, or the mark of the end is not at its end.
bool isBzip2InPart(Content content);

/// Whether an xz file does not end as one does. Zeros may follow the end.
bool lacksXzEnd(Content content);

/// To how many bytes, modulo 2^32, the last stream of a gzip file unpacks, as its last bytes say.
std::uint64_t lengthOfGzip(Content content);

} // namespace containers
