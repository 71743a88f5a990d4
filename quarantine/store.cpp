#include "quarantine/store.h"

#include "base/command.h"
#include "base/paths.h"
#include "base/uniquefd.h"
#include "quarantine/recordfile.h"
#include "quarantine/restorenotes.h"
#include "quarantine/storedirectory.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quarantine {

namespace {

/// The longest piece of a line that is looked at when a record is removed.
constexpr std::size_t removeLimit = 1023;

void allowEverybody(const char* path)
{
    runCommand({paths::runAsRoot, "/bin/chmod", "666", path});
}

} // namespace

std::optional<std::vector<Record>> load()
{
    const base::UniqueFd directory = openStore(paths::quarantine, O_PATH);
    if (!directory)
        return std::nullopt;
    std::vector<Record> records;
    const auto dropMissing = [&](const std::string& content) {
        records = parseRecords(content);
        std::erase_if(records,
                      [&directory](const Record& record) { return isGone(directory.get(), record.name); });
        std::string kept;
        for (const Record& record : records)
            kept += toLine(record);
        return kept;
    };
    if (RecordFile().rewrite(RecordFile::Need::Reading, dropMissing, allowEverybody) ==
        RecordFile::Outcome::NotOpened)
        return std::nullopt;
    return records;
}

bool removeRecord(const std::string& name)
{
    const auto dropMatching = [key = name + fieldEnd](const std::string& content) {
        std::string kept;
        for (const std::string& line : splitLines(content, removeLimit)) {
            if (line.find(key) == line.npos)
                kept += line;
        }
        return kept;
    };
    return RecordFile().rewrite(RecordFile::Need::Writing, dropMatching, allowEverybody) !=
           RecordFile::Outcome::NotOpened;
}

void clearRecords()
{
    RecordFile().clear();
    allowEverybody(paths::quarantineRecords);
}

bool mayDelete()
{
    return faccessat(openStore(paths::quarantine, O_PATH).get(), ".", W_OK, 0) == 0;
}

bool mayDelete(const std::string& name)
{
    return isPlainName(name) &&
           faccessat(openStore(paths::quarantine, O_PATH).get(), name.c_str(), W_OK, 0) == 0;
}

void deleteFile(const std::string& name)
{
    const base::UniqueFd directory = openStore(paths::quarantine, O_PATH);
    if (!isPlainName(name))
        return;
    if (unlinkat(directory.get(), name.c_str(), 0) == 0)
        dropRestoreNotes(directory.get(), name);
    else if (errno == EISDIR)
        unlinkat(directory.get(), name.c_str(), AT_REMOVEDIR);
}

} // namespace quarantine
