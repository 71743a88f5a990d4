#pragma once

#include "base/uniquefd.h"

#include <string>
#include <vector>

namespace qsavd {

/// A directory of signatures that is held, so that another one in its place changes nothing for whoever
/// reads this one.
struct SignatureDirectory
{
    std::string path;    ///< as it was named
    base::UniqueFd held; ///< none when it is not there

    /// Path of a file in it, for a person.
    std::string shown(const std::string& name) const { return path + "/" + name; }
};

/// The working directory, for libraries that only know paths, while it lives; then it is "/" again. Nothing
/// below /proc/self leads there for a process that others may not look into.
class Inside
{
  public:
    explicit Inside(const SignatureDirectory& directory);
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;
    ~Inside();
};

/// Opens the directory in which the set of `path` is now.
SignatureDirectory openSignatureDirectory(const std::string& path);

/// The names of the files in it that libclamav would read, sorted.
std::vector<std::string> signatureFiles(const SignatureDirectory& directory);

/// What the directory holds: differs when a file of it is another one. A further name of the same file, as
/// updates make them, is no difference.
std::string fingerprint(const SignatureDirectory& directory);

/// The same, for ever and across starts of the machine: a file that was written to is another one, whatever
/// its time says.
std::string lastingFingerprint(const SignatureDirectory& directory);

/// Why a file of it is not to be read; empty when it may be. Links are followed.
std::string refusal(const SignatureDirectory& directory, const std::string& name);

} // namespace qsavd
