#include "jobs/store.h"

#include "base/plainfile.h"
#include "base/replacefile.h"
#include "base/systemerror.h"
#include "jobs/directory.h"
#include "jobs/section.h"
#include "sfl/inisyntax.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <mutex>
#include <utility>

namespace jobs {

namespace {

/// What tells one content of a file from another.
struct Identity
{
    dev_t device;
    ino_t inode;
    off_t size;
    std::int64_t changed; ///< in nanoseconds

    explicit Identity(const struct stat& status)
        : device(status.st_dev)
        , inode(status.st_ino)
        , size(status.st_size)
        , changed(status.st_ctim.tv_sec * 1'000'000'000l + status.st_ctim.tv_nsec)
    {
    }
    bool operator==(const Identity&) const = default;

    /// The clock of files goes in steps: one that was changed a moment ago may change again without a trace.
    bool isSettled() const
    {
        using namespace std::chrono;
        constexpr nanoseconds steps = milliseconds(20);
        return system_clock::now().time_since_epoch() - nanoseconds(changed) > steps;
    }
};

base::UniqueFd openStore(const std::string& path)
{
    const base::UniqueFd directory = openDirectoryOf(path);
    return directory ? base::openPlainFile(directory.get(), fileNameOf(path).c_str(), O_RDONLY)
                     : base::UniqueFd();
}

} // namespace

Store::Store(std::string text)
    : text_(std::move(text))
{
    std::map<std::string, Values> sections;
    sfl::IniReader reader(text_);
    for (sfl::IniItem item; reader.next(item);) {
        if (!item.heading)
            sections[item.section][item.keyword] = sfl::valueOf(item.raw);
        else
            headings_.push_back({item.section, item.start});
    }
    for (const Heading& heading : headings_) {
        const auto values = sections.extract(heading.section); // of several sections of one text, the first
        if (std::optional<Job> job = values ? jobOf(heading.section, values.mapped()) : std::nullopt) {
            jobs_.push_back(*std::move(job));
            jobSections_.push_back(heading.section);
        }
    }
}

base::Result<Store> Store::read(const std::string& path)
{
    const base::UniqueFd file = openStore(path);
    if (!file && errno == ENOENT)
        return Store({});
    if (!file)
        return base::systemError();
    base::Result<std::string> text = base::readAll(file.get(), largest);
    if (!text)
        return text.error();
    return Store(std::move(text).value());
}

base::Result<std::shared_ptr<const Store>> Store::readCached(const std::string& path)
{
    static std::mutex mutex;
    static std::string knownPath;
    static std::optional<Identity> known;
    static std::shared_ptr<const Store> store;
    struct stat status = {};
    const base::UniqueFd file = openStore(path);
    const std::lock_guard lock(mutex);
    if (file && ::fstat(file.get(), &status) == 0 && path == knownPath && known == Identity(status))
        return store;
    base::Result<Store> fresh = read(path);
    if (!fresh)
        return fresh.error();
    store = std::make_shared<const Store>(std::move(fresh).value());
    knownPath = path;
    // What was read may be newer than what was asked for: it will be read once more then.
    known = file && Identity(status).isSettled() ? std::optional(Identity(status)) : std::nullopt;
    return store;
}

const Job* Store::find(std::string_view name) const
{
    const auto section = std::find(jobSections_.begin(), jobSections_.end(), name);
    if (section != jobSections_.end())
        return &jobs_[static_cast<std::size_t>(section - jobSections_.begin())];
    const auto job =
        std::find_if(jobs_.begin(), jobs_.end(), [&](const Job& one) { return one.name == name; });
    return job == jobs_.end() ? nullptr : &*job;
}

const Job* Store::findById(std::string_view id) const
{
    const auto job =
        std::find_if(jobs_.begin(), jobs_.end(), [&](const Job& one) { return idOf(one.name) == id; });
    return job == jobs_.end() ? nullptr : &*job;
}

std::string Store::rewritten(std::string_view name, std::string section) const
{
    const std::size_t end = headings_.empty() ? text_.size() : headings_.front().start;
    std::string text = text_.substr(0, end);
    for (std::size_t i = 0; i < headings_.size(); ++i) {
        const std::size_t start = headings_[i].start;
        const std::size_t next = i + 1 < headings_.size() ? headings_[i + 1].start : text_.size();
        if (nameOf(headings_[i].section) != name)
            text.append(text_, start, next - start);
        else
            text += std::exchange(section, {});
    }
    if (!section.empty() && !text.empty() && !text.ends_with('\n'))
        text += '\n'; // the file was cut short
    return text + section;
}

bool Store::canBeMistaken(const Job& job) const
{
    const std::string section = sectionOf(job.name);
    for (std::size_t i = 0; i < jobs_.size(); ++i)
        if (jobs_[i].name != job.name && (jobs_[i].name == section || jobSections_[i] == job.name))
            return true;
    return false;
}

std::optional<std::string> Store::textWith(const Job& job) const
{
    const std::optional<std::string> section = sectionText(job);
    if (!section || job.name.empty() || job.name.find('*') != std::string::npos || canBeMistaken(job))
        return {};
    std::string text = rewritten(job.name, *section);
    if (text.size() > largest)
        return {};
    std::vector<Job> expected = jobs_;
    std::erase_if(expected, [&](const Job& other) { return other.name == job.name; });
    expected.push_back(job);
    const Store changed(text);
    const bool right =
        std::is_permutation(changed.jobs_.begin(), changed.jobs_.end(), expected.begin(), expected.end());
    return right ? std::optional(std::move(text)) : std::nullopt;
}

} // namespace jobs
