#include "qsavd/signaturefiles.h"

#include "base/signaturefolder.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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

struct DirectoryCloser
{
    void operator()(DIR* entries) const { closedir(entries); }
};

/// A line for each file, with the numbers that `numbersOf` takes from its status.
template <class Numbers>
std::string printOf(const SignatureDirectory& directory, const Numbers& numbersOf)
{
    std::string print;
    for (const std::string& name : signatureFiles(directory)) {
        struct stat info = {};
        fstatat(directory.held.get(), name.c_str(), &info, 0);
        print += directory.shown(name);
        for (const long long number : numbersOf(info))
            print += " " + std::to_string(number);
        print += "\n";
    }
    return print;
}

/// To where nothing of the signatures is.
void leave()
{
    if (chdir("/") != 0)
        std::abort();
}

/// The directory in which the set of `path` is now.
SignatureDirectory openSignatureDirectory(const std::string& path)
{
    constexpr int flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
    SignatureDirectory directory{path, base::UniqueFd(open(path.c_str(), flags))};
    // An update that could not exchange the directory has the new set inside.
    const int held = directory.held.get();
    const bool marked = held >= 0 && faccessat(held, base::installMarker, F_OK, AT_SYMLINK_NOFOLLOW) == 0;
    const int next = marked ? openat(held, base::nextSet, flags | O_NOFOLLOW) : -1;
    if (next >= 0)
        directory.held.reset(next);
    return directory;
}

bool holdsSignedDatabase(const SignatureDirectory& directory)
{
    const std::vector<std::string> names = signatureFiles(directory);
    return std::any_of(names.begin(), names.end(), [](const std::string& name) {
        return name.ends_with(".cvd") || name.ends_with(".cld");
    });
}

} // namespace

std::vector<std::string> SignaturePlaces::all() const
{
    std::vector<std::string> paths = directories;
    if (!substitute.empty())
        paths.push_back(substitute);
    return paths;
}

std::vector<SignatureDirectory> openSignatureDirectories(const SignaturePlaces& places)
{
    std::vector<SignatureDirectory> opened;
    for (const std::string& path : places.directories)
        opened.push_back(openSignatureDirectory(path));
    if (!places.substitute.empty() && std::none_of(opened.begin(), opened.end(), holdsSignedDatabase))
        opened.push_back(openSignatureDirectory(places.substitute));
    return opened;
}

Inside::Inside(const SignatureDirectory& directory)
{
    if (fchdir(directory.held.get()) != 0)
        leave();
}

Inside::~Inside()
{
    leave();
}

std::vector<std::string> signatureFiles(const SignatureDirectory& directory)
{
    const int readable = openat(directory.held.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const std::unique_ptr<DIR, DirectoryCloser> entries(readable >= 0 ? fdopendir(readable) : nullptr);
    std::vector<std::string> names;
    while (const dirent* entry = entries ? readdir(entries.get()) : nullptr)
        if (isSignatureFile(entry->d_name))
            names.emplace_back(entry->d_name);
    std::sort(names.begin(), names.end());
    return names;
}

std::string fingerprint(const SignatureDirectory& directory)
{
    return printOf(directory, [](const struct stat& info) {
        return std::vector<long long>{static_cast<long long>(info.st_dev),
                                      static_cast<long long>(info.st_ino), info.st_size, info.st_mtim.tv_sec,
                                      info.st_mtim.tv_nsec};
    });
}

std::string lastingFingerprint(const SignatureDirectory& directory)
{
    return printOf(directory, [](const struct stat& info) {
        return std::vector<long long>{static_cast<long long>(info.st_ino),
                                      info.st_size,
                                      info.st_mtim.tv_sec,
                                      info.st_mtim.tv_nsec,
                                      info.st_ctim.tv_sec,
                                      info.st_ctim.tv_nsec};
    });
}

std::string refusal(const SignatureDirectory& directory, const std::string& name)
{
    struct stat info = {};
    if (fstatat(directory.held.get(), name.c_str(), &info, 0) != 0)
        return "it is not there";
    if (!S_ISREG(info.st_mode))
        return "it is no regular file";
    return info.st_size > largestFile ? "it is larger than 4 GB" : "";
}

} // namespace qsavd
