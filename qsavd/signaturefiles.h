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

/// Where signatures are read from.
struct SignaturePlaces
{
    std::vector<std::string> directories; ///< all of them; a missing one is passed over
    std::string substitute; ///< read, too, while none of these holds a signed database; may be empty

    /// Every directory that may count.
    std::vector<std::string> all() const;
};

/// Opens the directories whose signatures count now, each where its set is now.
std::vector<SignatureDirectory> openSignatureDirectories(const SignaturePlaces& places);

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
