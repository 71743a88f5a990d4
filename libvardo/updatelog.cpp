#include "engine/updatelog.h"

#include "base/plainfile.h"
#include "libvardo/ownedtext.h"

#include <array>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

constexpr std::streamoff largest = 1 << 20;
constexpr std::streamoff kept = largest / 2;

std::string descriptorPath(int fd)
{
    return "/proc/self/fd/" + std::to_string(fd);
}

/// The newest half, from the beginning of a line.
std::string tailOf(int log)
{
    std::ifstream file(descriptorPath(log), std::ios::binary);
    file.seekg(-kept, std::ios::end);
    std::string line;
    std::getline(file, line);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Puts the newest half of a log that has grown too large into its place.
base::UniqueFd shortened(base::UniqueFd log, int folder, const std::string& name)
{
    struct stat status = {};
    if (!log || ::fstat(log.get(), &status) != 0 || status.st_size <= largest)
        return log;
    const std::string fresh = "." + name + ".new";
    ::unlinkat(folder, fresh.c_str(), 0);
    base::UniqueFd file =
        base::openPlainFile(folder, fresh.c_str(), O_RDWR | O_APPEND | O_CREAT | O_EXCL, 0640);
    const bool written = file && ::fchmod(file.get(), status.st_mode & 0777) == 0 &&
                         base::writeAll(file.get(), tailOf(log.get())) &&
                         ::renameat(folder, fresh.c_str(), folder, name.c_str()) == 0;
    return written ? std::move(file) : std::move(log);
}

std::string now()
{
    const std::time_t seconds = std::time(nullptr);
    struct tm local = {};
    std::array<char, 32> text{};
    ::localtime_r(&seconds, &local);
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S ", &local);
    return text.data();
}

/// What others chose of a text must not become a line of its own.
std::string asOneLine(std::string text)
{
    for (char& c : text)
        c = c >= '\0' && c < ' ' ? ' ' : c;
    return text;
}

} // namespace

QS_AVUpdateLog::QS_AVUpdateLog(const char* name)
    : fileName(vardo::ownedText(name))
{
}

int QS_AVUpdateLog::Start(const char* text)
{
    const std::filesystem::path path = fileName ? fileName : "";
    const base::UniqueFd folder(::open(path.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::string name = path.filename();
    base::UniqueFd file = shortened(
        base::openOrMakePlainFile(folder.get(), name.c_str(), O_RDWR | O_APPEND, 0640), folder.get(), name);
    if (!folder || !file)
        return -1;
    // The file that was checked, and no other: a path could lead elsewhere by now.
    oFile.open(descriptorPath(file.get()), std::ios::app);
    return oFile ? Log(text) : -1;
}

void QS_AVUpdateLog::Stop()
{
    oFile.close();
    vardo::assignText(fileName, nullptr);
}

int QS_AVUpdateLog::Log(const char* text)
{
    oFile << now() << asOneLine(text ? text : "") << '\n' << std::flush;
    return oFile ? 0 : -1;
}
