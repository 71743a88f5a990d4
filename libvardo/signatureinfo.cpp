#include "libvardo/signatureinfo.h"

#include "base/signaturefolder.h"
#include "libvardo/enginesettings.h"
#include "libvardo/ownservice.h"
#include "libvardo/servicelink.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string_view>

#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr std::string_view databaseSuffixes[] = {".cvd", ".cld"};
constexpr std::string_view plainSuffixes[] = {".hdb", ".hsb", ".mdb", ".msb", ".ndb", ".ldb", ".cdb",
                                              ".idb", ".hdu", ".hsu", ".mdu", ".msu", ".ndu", ".ldu"};

/// One signature file.
struct Part
{
    bool database = false;
    unsigned long signatures = 0;
    std::time_t made = 0;
    std::string version;
};

template <class Suffixes>
bool endsWithOneOf(const std::string& name, const Suffixes& suffixes)
{
    return std::any_of(std::begin(suffixes), std::end(suffixes),
                       [&](std::string_view suffix) { return name.ends_with(suffix); });
}

template <class Number>
bool parse(std::string_view text, Number& number)
{
    return std::from_chars(text.data(), text.data() + text.size(), number).ec == std::errc();
}

/// A database begins with 512 characters, padded with blanks:
/// ClamAV-VDB:date:version:signatures:level:md5:signature:builder:seconds
std::optional<Part> readDatabase(std::string_view header)
{
    std::vector<std::string_view> fields;
    for (std::string_view rest = header.substr(0, 512); !rest.empty();) {
        const std::size_t end = std::min(rest.find(':'), rest.size());
        fields.push_back(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    Part part{true, 0, 0, {}};
    if (fields.size() < 4 || fields[0] != "ClamAV-VDB" || !parse(fields[3], part.signatures))
        return {};
    part.version = fields[2];
    if (fields.size() > 8)
        parse(fields[8], part.made);
    return part;
}

/// The day that a comment tells in which a set says when it was made: `# Made: 2026-11-21`. The times of its
/// files are those of whoever installed it.
std::optional<std::time_t> dayMade(const std::string& line)
{
    struct tm day = {};
    if (!line.starts_with("#") || !::strptime(line.c_str(), "# Made: %Y-%m-%d", &day))
        return {};
    day.tm_isdst = -1;
    return std::mktime(&day);
}

Part readPlain(std::istream& file, std::time_t changed)
{
    Part part{false, 0, changed, {}};
    for (std::string line; std::getline(file, line);) {
        part.signatures += !line.empty() && line.front() != '#' && line.front() != '\r';
        part.made = dayMade(line).value_or(part.made);
    }
    struct tm when = {};
    char version[16];
    ::localtime_r(&part.made, &when);
    std::strftime(version, sizeof version, "%Y%m%d", &when);
    part.version = version;
    return part;
}

std::optional<Part> readPart(const fs::path& path)
{
    const std::string name = path.filename();
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return {};
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return {};
    if (endsWithOneOf(name, plainSuffixes))
        return readPlain(file, status.st_mtime);
    char header[512] = {};
    file.read(header, sizeof header);
    std::optional<Part> part = readDatabase({header, static_cast<std::size_t>(file.gcount())});
    if (part && part->made == 0)
        part->made = status.st_mtime;
    return part;
}

bool isOneOf(const fs::path& file, const std::vector<std::string>& paths)
{
    return std::any_of(paths.begin(), paths.end(), [&file](const std::string& path) {
        return fs::path(path).lexically_normal() == file.lexically_normal();
    });
}

std::vector<fs::path> signatureFiles(const std::string& directory)
{
    std::vector<fs::path> files;
    std::error_code error;
    for (fs::directory_iterator entry(base::signatureFolder(directory), error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename();
        if (endsWithOneOf(name, databaseSuffixes) || endsWithOneOf(name, plainSuffixes))
            files.push_back(entry->path());
    }
    return files;
}

bool holdsSignedDatabase(const std::string& directory)
{
    const std::vector<fs::path> files = signatureFiles(directory);
    return std::any_of(files.begin(), files.end(),
                       [](const fs::path& file) { return endsWithOneOf(file.filename(), databaseSuffixes); });
}

} // namespace

namespace vardo {

std::optional<struct_qsavinfo> readSignatureInfo(const std::vector<std::string>& directories,
                                                 const std::vector<std::string>& leftOut)
{
    std::optional<Part> newest;
    unsigned long signatures = 0;
    for (const std::string& directory : directories) {
        for (const fs::path& file : signatureFiles(directory)) {
            const std::optional<Part> part =
                isOneOf(fs::path(directory) / file.filename(), leftOut) ? std::nullopt : readPart(file);
            if (!part)
                continue;
            signatures += part->signatures;
            if (!newest || std::pair(newest->database, newest->made) < std::pair(part->database, part->made))
                newest = part;
        }
    }
    if (!newest)
        return {};
    struct_qsavinfo info = {};
    info.noOfSignature = signatures;
    ::localtime_r(&newest->made, &info.udate);
    std::snprintf(info.version, sizeof info.version, "%s", newest->version.c_str());
    return info;
}

std::vector<std::string> directoriesInUse(const ServicePaths& paths)
{
    std::vector<std::string> directories = paths.signatureDirs;
    if (!paths.substituteDir.empty() &&
        std::none_of(directories.begin(), directories.end(), holdsSignedDatabase))
        directories.push_back(paths.substituteDir);
    return directories;
}

QS_SystemType systemType(const std::string& program, const ServicePaths& paths)
{
    const std::vector<std::string> directories = directoriesInUse(paths);
    const bool hasSignatures =
        std::any_of(directories.begin(), directories.end(),
                    [](const std::string& dir) { return !signatureFiles(dir).empty(); });
    return hasSignatures && ::access(program.c_str(), X_OK) == 0 ? QS_BDESystem : QS_UNWSystem;
}

} // namespace vardo

QS_SystemType QS_GetSystemType()
{
    return vardo::systemType(vardo::serviceProgram(), vardo::loadServicePaths(nullptr));
}

int GetQSAVInfo(QS_SystemType type, const char* avConf, struct_qsavinfo& info)
{
    if (type == QS_UNWSystem)
        return -1;
    vardo::ServicePaths paths = vardo::loadServicePaths(avConf);
    vardo::leaveRootsService(paths);
    // What a file says of itself counts for nothing when it could not be loaded.
    const auto service = vardo::askRunningService(paths).value_or(vardo::ServiceInfo{true, 0, {}, {}});
    const auto found = vardo::readSignatureInfo(vardo::directoriesInUse(paths), service.leftOut);
    if (!found || !service.usable)
        return -1;
    info = *found;
    return 0;
}
