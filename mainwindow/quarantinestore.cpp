#include "mainwindow/quarantinestore.h"

#include "base/uniquefd.h"
#include "mainwindow/command.h"
#include "scan/quarantinerecord.h"
#include "scan/statefile.h"
#include "shell/paths.h"
#include "shell/smallfile.h"

#include <algorithm>
#include <filesystem>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace quarantine {

namespace {

/// The longest piece of a line that is dealt with at once, less its end, when loading and when removing.
constexpr std::size_t loadLimit = 2047;
constexpr std::size_t removeLimit = 1023;

/// More than this is no record file of ours.
constexpr std::size_t largestRecordFile = 64 << 20;

base::UniqueFd openDirectory(const char* path)
{
    return base::UniqueFd(open(path, O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

base::UniqueFd quarantineDirectory()
{
    return openDirectory(paths::quarantineDir);
}

bool isPlainName(const std::string& name)
{
    return !name.empty() && name != "." && name != ".." && name.find('/') == name.npos;
}

bool exists(const std::string& name)
{
    struct stat info;
    return isPlainName(name) &&
           fstatat(quarantineDirectory().get(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0;
}

/// The lines of `content` with their ends, longer ones cut into pieces of `limit` bytes.
std::vector<std::string> pieces(const std::string& content, std::size_t limit)
{
    std::vector<std::string> result;
    for (std::string_view rest = content; !rest.empty();) {
        const std::size_t end = rest.find('\n');
        const std::size_t length = std::min({end == rest.npos ? end : end + 1, limit, rest.size()});
        result.emplace_back(rest.substr(0, length));
        rest.remove_prefix(length);
    }
    return result;
}

void allowEverybody(const char* path)
{
    runCommand({paths::runAsRoot, "/bin/chmod", "666", path});
}

/// One rewriting of the record file. Others may write its directory, so both files are reached through the
/// directory's descriptor, and links of any kind in their place are refused.
class Rewriting
{
  public:
    Rewriting()
        : directory_(openDirectory(fs::path(paths::quarantineRecords).parent_path().c_str()))
        , content_(readRecords())
    {
        if (!content_)
            return;
        // Whatever was left or planted there goes.
        unlinkat(directory_.get(), newName.c_str(), 0);
        file_.reset(openat(directory_.get(), newName.c_str(),
                           O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
        if (file_)
            allowEverybody(paths::quarantineRecordsTmp);
    }

    /// False when one of the files could not be opened.
    explicit operator bool() const { return static_cast<bool>(file_); }

    /// The lines so far with their ends, longer ones cut into pieces of `limit` bytes.
    std::vector<std::string> lines(std::size_t limit) const { return pieces(*content_, limit); }

    /// Puts `content` in the place of the record file, which stays as it is when that fails.
    void commit(const std::string& content)
    {
        const bool written = writeAll(file_.get(), content) && fsync(file_.get()) == 0;
        file_.reset();
        const int directory = directory_.get();
        if (!written || renameat(directory, newName.c_str(), directory, name.c_str()) != 0)
            unlinkat(directory, newName.c_str(), 0);
        allowEverybody(paths::quarantineRecords);
    }

  private:
    std::optional<std::string> readRecords() const
    {
        const base::UniqueFd file(
            openat(directory_.get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        struct stat info;
        if (!file || fstat(file.get(), &info) != 0 || info.st_nlink != 1)
            return std::nullopt;
        for (std::string content;;) {
            const std::optional<std::string> more = readSmallFile(file.get());
            if (!more || content.size() > largestRecordFile)
                return std::nullopt;
            if (more->empty())
                return content;
            content += *more;
        }
    }

    const std::string name = fs::path(paths::quarantineRecords).filename();
    const std::string newName = fs::path(paths::quarantineRecordsTmp).filename();
    base::UniqueFd directory_;
    std::optional<std::string> content_;
    base::UniqueFd file_;
};

/// Every character of the separator divides fields on its own, and runs of them count as one: a name that
/// holds one of them leads to no file.
Record parse(std::string_view line)
{
    Record record;
    for (auto& field : record) {
        line.remove_prefix(std::min(line.size(), line.find_first_not_of(quarantineSeparator)));
        if (line.empty())
            break;
        field = line.substr(0, line.find_first_of(quarantineSeparator));
        line.remove_prefix(field->size());
    }
    return record;
}

} // namespace

std::optional<std::vector<Record>> load()
{
    Rewriting rewriting;
    if (!rewriting)
        return std::nullopt;
    std::vector<Record> records;
    std::string kept;
    for (const std::string& line : rewriting.lines(loadLimit)) {
        Record record = parse(line.c_str());
        if (!record.front() || !exists(*record.front()))
            continue;
        for (const auto& field : record)
            kept += field.value_or("(null)") + quarantineSeparator;
        kept += '\n';
        records.push_back(std::move(record));
    }
    rewriting.commit(kept);
    return records;
}

bool removeRecord(const std::string& name)
{
    Rewriting rewriting;
    if (!rewriting)
        return false;
    const std::string key = name + quarantineSeparator;
    std::string kept;
    for (const std::string& line : rewriting.lines(removeLimit)) {
        if (line.find(key) == line.npos)
            kept += line;
    }
    rewriting.commit(kept);
    return true;
}

void clearRecords()
{
    unlink(paths::quarantineRecords);
    openStateFile(paths::quarantineRecords, O_WRONLY);
    allowEverybody(paths::quarantineRecords);
}

bool mayDelete()
{
    return access(paths::quarantineDir, W_OK) == 0;
}

bool mayDelete(const std::string& name)
{
    return isPlainName(name) && faccessat(quarantineDirectory().get(), name.c_str(), W_OK, 0) == 0;
}

void deleteFile(const std::string& name)
{
    if (isPlainName(name))
        unlinkat(quarantineDirectory().get(), name.c_str(), 0);
}

} // namespace quarantine
