#include "tools/vardoquarantine/store.h"

#include "base/paths.h"
#include "base/plainfile.h"
#include "base/systemerror.h"
#include "quarantine/directorylist.h"
#include "quarantine/leftbehind.h"
#include "quarantine/recordfile.h"
#include "quarantine/restore.h"
#include "quarantine/storedirectory.h"

#include <map>
#include <set>
#include <utility>

using quarantine::Record;
using quarantine::RecordFile;
using quarantine::RestoreNotes;
using quarantine::StoredNote;

namespace {

constexpr mode_t lockedMode = 0600;

/// For a file of which only its existence is known.
constexpr char unknownVirus[] = "unknown";

/// A record cannot hold every name or virus.
bool canBeWritten(const Record& record)
{
    const std::string line = quarantine::toLine(record);
    const std::vector<Record> records = quarantine::parseRecords(line);
    return records.size() == 1 && records.front().name == record.name &&
           quarantine::toLine(records.front()) == line;
}

bool canBeRecorded(const std::string& name)
{
    return canBeWritten({name, "date", "size", unknownVirus});
}

std::string lineAbout(const Item& item)
{
    const std::string virus = item.note ? item.note->virus : unknownVirus;
    Record record = quarantine::makeRecord(item.name, *item.file, virus);
    if (!canBeWritten(record))
        record.virus = unknownVirus;
    return quarantine::toLine(record);
}

} // namespace

base::Result<Store> Store::open(const std::string& path)
{
    const char* standard = paths::quarantine;
    base::UniqueFd directory = quarantine::openStore(path.empty() ? standard : path);
    struct stat here = {};
    struct stat windows = {};
    if (!directory || ::fstat(directory.get(), &here) != 0)
        return base::systemError();
    const bool recorded =
        ::stat(standard, &windows) == 0 && windows.st_dev == here.st_dev && windows.st_ino == here.st_ino;
    return Store(std::move(directory), recorded);
}

Store::Store(base::UniqueFd directory, bool recorded)
    : directory_(std::move(directory))
    , recorded_(recorded)
{
}

std::vector<Item> Store::items() const
{
    return itemsWith(recorded_ ? RecordFile().read() : std::nullopt);
}

std::vector<Item> Store::itemsWith(const std::optional<std::string>& records) const
{
    std::map<std::string, Item> items;
    for (const std::string& name : quarantine::listDirectory(directory_.get())) {
        const auto status = statusOf(name);
        if (status && !(name == quarantine::notesDirectory && S_ISDIR(status->st_mode)))
            items[name].file = status;
    }
    for (Record& record : quarantine::parseRecords(records.value_or(""))) {
        if (quarantine::isPlainName(record.name) && !items[record.name].record)
            items[record.name].record = record;
    }
    if (const auto notes = RestoreNotes::open(directory_.get())) {
        for (StoredNote& stored : notes.value().all()) {
            const auto item = items.find(stored.note.name);
            if (item == items.end() || !item->second.file || !stored.isAbout(*item->second.file))
                continue;
            auto& note = item->second.note;
            if (note && !stored.isNewerThan(*note))
                continue;
            item->second.leftBehind = quarantine::isLeftBehind(stored);
            note = std::move(stored.note);
        }
    }
    std::vector<Item> result;
    for (auto& [name, item] : items) {
        item.name = name;
        result.push_back(std::move(item));
    }
    return result;
}

bool Store::matches(const Item& item) const
{
    return isRecorded(item) && !item.leftBehind;
}

/// True when there is nothing to change about its record.
bool Store::isRecorded(const Item& item) const
{
    return item.file && (!item.isFile() || !recorded_ || item.record || !canBeRecorded(item.name));
}

base::Result<std::string> Store::restore(const std::string& name) const
{
    auto path = quarantine::restoreFile(directory_.get(), name);
    if (path)
        dropRecord(name);
    return path;
}

base::Result<bool> Store::remove(const std::string& name) const
{
    if (!quarantine::isPlainName(name))
        return base::Error{0, "not the name of a file in quarantine"};
    if (::unlinkat(directory_.get(), name.c_str(), 0) != 0) {
        const base::Error error = base::systemError();
        if (error.code != ENOENT || !dropRecord(name))
            return error;
    }
    dropRecord(name);
    quarantine::dropRestoreNotes(directory_.get(), name);
    return true;
}

base::Result<std::vector<Repair>> Store::repair() const
{
    std::vector<Repair> repairs;
    repairNotes(repairs);
    finishMoves(repairs);
    lockUp(repairs);
    if (recorded_ && !repairRecords(repairs))
        return base::Error{0, std::string("cannot write ") + paths::quarantineRecords};
    return repairs;
}

std::optional<struct stat> Store::statusOf(const std::string& name) const
{
    struct stat status = {};
    if (!quarantine::isPlainName(name) ||
        ::fstatat(directory_.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return std::nullopt;
    return status;
}

/// True when there was a record of exactly this name and it is gone.
bool Store::dropRecord(const std::string& name) const
{
    if (!recorded_)
        return false;
    bool found = false;
    const auto without = [&](const std::string& content) {
        std::string kept;
        for (const std::string& line : quarantine::splitLines(content, quarantine::recordLimit)) {
            const auto record = quarantine::parseLine(line);
            if (record && record->name == name)
                found = true;
            else
                kept += line;
        }
        return kept;
    };
    return RecordFile().rewrite(RecordFile::Need::Writing, without) == RecordFile::Outcome::Done && found;
}

/// One record for each file, and none else.
std::string Store::mendedRecords(const std::string& records, std::vector<Repair>& repairs) const
{
    std::set<std::string> recorded;
    std::string mended;
    for (const Record& record : quarantine::parseRecords(records)) {
        if (!quarantine::isGone(directory_.get(), record.name) && canBeWritten(record) &&
            record.name != quarantine::notesDirectory && recorded.insert(record.name).second)
            mended += quarantine::toLine(record);
        else
            repairs.push_back({Repair::Kind::RecordDropped, record.name});
    }
    for (const Item& item : itemsWith(mended)) {
        // The notes about other people's files cannot be read, so leave those to them or to root.
        if (isRecorded(item) || !item.isFile() || (!item.note && ::geteuid() != 0))
            continue;
        mended += lineAbout(item);
        repairs.push_back({Repair::Kind::Recorded, item.name});
    }
    return mended;
}

/// The lock keeps a scan from recording a file meanwhile.
bool Store::repairRecords(std::vector<Repair>& repairs) const
{
    RecordFile file;
    const std::optional<std::string> old = file.read();
    std::vector<Repair> done;
    mendedRecords(old.value_or(""), done);
    if (done.empty())
        return true;
    const auto mend = [this, &done](const std::string& records) {
        done.clear();
        return mendedRecords(records, done);
    };
    if ((!old && !file.clear()) || file.rewrite(RecordFile::Need::Writing, mend) != RecordFile::Outcome::Done)
        return false;
    repairs.insert(repairs.end(), done.begin(), done.end());
    return true;
}

void Store::repairNotes(std::vector<Repair>& repairs) const
{
    const auto notes = RestoreNotes::open(directory_.get());
    if (!notes)
        return;
    for (int swept = quarantine::sweepUnfinished(notes.value().directory()); swept > 0; --swept)
        repairs.push_back({Repair::Kind::UnfinishedRemoved, {}});
    // Not the notes about what merely looks different now: whoever puts that right needs them.
    for (const StoredNote& stored : notes.value().all()) {
        if (quarantine::isGone(directory_.get(), stored.note.name) && notes.value().drop(stored))
            repairs.push_back({Repair::Kind::NoteDropped, stored.note.name});
    }
}

/// A process that was killed after it copied a file had no time to remove it.
void Store::finishMoves(std::vector<Repair>& repairs) const
{
    const auto notes = RestoreNotes::open(directory_.get());
    if (!notes)
        return;
    for (const StoredNote& stored : notes.value().all()) {
        const auto file = statusOf(stored.note.name);
        if (!file || !stored.isAbout(*file) || !quarantine::isLeftBehind(stored))
            continue;
        const bool removed = quarantine::removeLeftBehind(directory_.get(), notes.value(), stored);
        repairs.push_back(
            {removed ? Repair::Kind::OriginalRemoved : Repair::Kind::StillAtOrigin, stored.note.name});
    }
}

/// A process that was killed just after it moved a file had no time to take everybody's rights away.
void Store::lockUp(std::vector<Repair>& repairs) const
{
    for (const Item& item : itemsWith(std::nullopt)) {
        if (!item.note || (item.file->st_mode & 07777) == lockedMode)
            continue;
        const base::UniqueFd file = base::openPlainFile(directory_.get(), item.name.c_str(), O_RDONLY);
        if (file && ::fchmod(file.get(), lockedMode) == 0)
            repairs.push_back({Repair::Kind::LockedUp, item.name});
    }
}
