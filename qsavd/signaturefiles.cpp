#include "qsavd/signaturefiles.h"

#include "base/signaturefolder.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>

namespace qsavd {

namespace fs = std::filesystem;

namespace {

/// Endings of the files that hold signatures (libclamav's own list).
constexpr std::array<std::string_view, 39> signatureEndings{
    ".cat",  ".cbc",  ".cdb", ".cfg", ".cld", ".crb", ".cud", ".cvd",  ".db",   ".fp",
    ".ftm",  ".gdb",  ".hdb", ".hdu", ".hsb", ".hsu", ".idb", ".ign",  ".ign2", ".imp",
    ".info", ".ioc",  ".ldb", ".ldu", ".mdb", ".mdu", ".msb", ".msu",  ".ndb",  ".ndu",
    ".pdb",  ".pwdb", ".rmd", ".sdb", ".sfp", ".wdb", ".yar", ".yara", ".zmd"};

constexpr off_t largestFile = off_t{4} << 30;

bool isSignatureFile(const fs::path& path)
{
    const std::string ending = path.extension().string();
    return std::find(signatureEndings.begin(), signatureEndings.end(), ending) != signatureEndings.end();
}

} // namespace

SignatureDirectory openSignatureDirectory(const std::string& path)
{
    constexpr int flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
    SignatureDirectory directory{path, base::UniqueFd(open(path.c_str(), flags)), {}};
    // An update that could not exchange the directory has the new set inside.
    if (directory.held && faccessat(directory.held.get(), base::installMarker, F_OK, 0) == 0)
        if (const int next = openat(directory.held.get(), base::nextSet, flags | O_NOFOLLOW); next >= 0)
            directory.held.reset(next);
    if (directory.held)
        directory.place = "/proc/self/fd/" + std::to_string(directory.held.get());
    return directory;
}

std::vector<std::string> signatureFiles(const SignatureDirectory& directory)
{
    std::vector<std::string> names;
    std::error_code failure;
    if (directory.held)
        for (fs::directory_iterator i(directory.place, failure), end; !failure && i != end;
             i.increment(failure))
            if (isSignatureFile(i->path()))
                names.push_back(i->path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::string fingerprint(const SignatureDirectory& directory)
{
    std::string print;
    for (const std::string& name : signatureFiles(directory)) {
        struct stat info = {};
        stat(directory.reached(name).c_str(), &info);
        const auto numbers = {static_cast<long long>(info.st_dev), static_cast<long long>(info.st_ino),
                              static_cast<long long>(info.st_size),
                              static_cast<long long>(info.st_mtim.tv_sec),
                              static_cast<long long>(info.st_mtim.tv_nsec)};
        print += directory.shown(name);
        for (const long long number : numbers)
            print += " " + std::to_string(number);
        print += "\n";
    }
    return print;
}

std::string refusal(const std::string& path)
{
    struct stat info = {};
    if (stat(path.c_str(), &info) != 0)
        return "it is not there";
    if (!S_ISREG(info.st_mode))
        return "it is no regular file";
    return info.st_size > largestFile ? "it is larger than 4 GB" : "";
}

} // namespace qsavd
