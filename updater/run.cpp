#include "updater/run.h"

#include "base/databasename.h"
#include "base/systemerror.h"
#include "engine/update.h"
#include "updater/fetcher.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <sstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace updater {

namespace {

constexpr char stagingPrefix[] = "vardo-update.";
constexpr char waitFile[] = "wait";
constexpr char identityFile[] = "freshclam.dat";
constexpr std::size_t identityLength =
    54; ///< of that file: behind it stands a time until which nothing is asked
constexpr long long longestServerWait = 24 * 60 * 60;

Outcome failed(std::string reason)
{
    return {UPDATE_ERROR, std::move(reason)};
}

Outcome failedBySystem(const std::string& what)
{
    const int code = errno;
    return failed(what + ": " + base::describeError(code));
}

/// Removes what updates left there that were killed. Others may use that directory, too.
void sweepStaging(int temporary)
{
    for (const std::string& name : namesIn(temporary)) {
        struct stat status = {};
        if (name.starts_with(stagingPrefix) &&
            ::fstatat(temporary, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && status.st_uid == 0)
            removeTree(temporary, name);
    }
}

/// A directory that the process without rights may fill.
base::UniqueFd makeForeignFolder(int parent, const char* name)
{
    base::UniqueFd folder = makeFolder(parent, name, 0700);
    if (folder && ::fchown(folder.get(), fetcherUser, fetcherGroup) != 0)
        folder.reset();
    return folder;
}

std::string clockTime(long long when)
{
    const std::time_t seconds = when;
    struct tm local = {};
    std::array<char, 32> text{};
    ::localtime_r(&seconds, &local);
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M", &local);
    return text.data();
}

} // namespace

Run::Run(const Settings& settings, Interruption& interruption, Report& report)
    : settings_(settings)
    , interruption_(interruption)
    , report_(report)
    , deadline_(std::chrono::steady_clock::now() + settings.limit)
{
}

Run::~Run()
{
    if (staging_)
        removeTree(temporary_.get(), stagingName_);
    if (next_)
        installation_->dropNext();
}

Outcome Run::update()
{
    return take({&Run::prepare, &Run::honourWait, &Run::stage, &Run::fetch, &Run::gather, &Run::check,
                 &Run::install});
}

Outcome Run::rollBack()
{
    rollingBack_ = true;
    return take({&Run::prepare, &Run::stage, &Run::gatherBackup, &Run::check, &Run::install});
}

Outcome Run::take(std::initializer_list<Step> steps)
{
    for (const Step step : steps) {
        if (interruption_.interrupted())
            return stoppedOr({});
        if (auto end = (this->*step)())
            return *end;
    }
    return {UPDATE_DONE, {}};
}

Interrupted Run::interrupted()
{
    return [this] { return interruption_.interrupted(); };
}

Outcome Run::stoppedOr(const std::string& reason)
{
    return interruption_.interrupted() ? Outcome{UPDATE_STOPPED, {}} : failed(reason);
}

std::optional<Outcome> Run::prepare()
{
    auto installation = Installation::open(settings_);
    if (!installation)
        return Outcome{UPDATE_NO_LOCK, installation.error().text};
    installation_ = std::move(installation).value();
    switch (installation_->lock()) {
    case Installation::Lock::Taken:
        break;
    case Installation::Lock::Busy:
        return Outcome{UPDATE_RUNNING, {}};
    case Installation::Lock::Failed:
        return Outcome{UPDATE_NO_LOCK, base::describeError(errno)};
    }
    report_.openLog();
    for (const std::string& setting : settings_.refused)
        report_.detail(setting);
    installation_->sweep();
    installed_ = versionsIn(installation_->live());
    return {};
}

std::optional<Outcome> Run::honourWait()
{
    std::istringstream text(readSmallFile(installation_->state(), waitFile));
    long long until = 0;
    std::string server;
    text >> until >> server;
    const long long now = std::time(nullptr);
    // A clock that was wrong once must not keep us waiting for years.
    if (server != settings_.order.server || until <= now || until > now + longestServerWait)
        return {};
    report_.tell(UPDATE_STARTED, 0, 0, server);
    return failed("the server asked to wait until " + clockTime(until));
}

void Run::keepWait(long long seconds)
{
    if (seconds <= 0)
        return;
    const long long until = std::time(nullptr) + std::min(seconds, longestServerWait);
    writeSmallFile(installation_->state(), waitFile,
                   std::to_string(until) + ' ' + settings_.order.server + '\n');
}

/// The library tells the server by which it knows us again; nothing else of it is kept.
void Run::keepIdentity()
{
    std::string identity = readSmallFile(downloads_.get(), identityFile);
    if (identity.size() <= identityLength)
        return;
    std::fill(identity.begin() + identityLength, identity.end(), '\0');
    if (identity != readSmallFile(installation_->state(), identityFile))
        writeSmallFile(installation_->state(), identityFile, identity);
}

std::optional<Outcome> Run::stage()
{
    std::error_code ignored;
    std::filesystem::create_directories(settings_.temporary, ignored);
    temporary_.reset(::open(settings_.temporary.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!temporary_)
        return failedBySystem(settings_.temporary);
    sweepStaging(temporary_.get());
    std::string path = "/proc/self/fd/" + std::to_string(temporary_.get()) + "/" + stagingPrefix + "XXXXXX";
    if (!::mkdtemp(path.data()))
        return failedBySystem(settings_.temporary);
    stagingName_ = path.substr(path.rfind('/') + 1);
    staging_ = openFolder(temporary_.get(), stagingName_);
    if (staging_ && ::fchmod(staging_.get(), 0711) == 0) {
        downloads_ = makeForeignFolder(staging_.get(), "db");
        scratch_ = makeForeignFolder(staging_.get(), "tmp");
    }
    if (!downloads_ || !scratch_)
        return failedBySystem(settings_.temporary);
    return rollingBack_ ? std::nullopt : stagedSeeds();
}

/// What is installed, for differences to be put in.
std::optional<Outcome> Run::stagedSeeds()
{
    for (const std::string& name : settings_.databases) {
        const std::string file = fileOf(name, installation_->live());
        if (!file.empty() && !linkOrCopy(installation_->live(), file, downloads_.get(), interrupted()))
            return stoppedOr("the temporary directory: " + base::describeError(errno));
    }
    const std::string identity = readSmallFile(installation_->state(), identityFile);
    const std::string place = std::string(identityFile);
    if (!identity.empty() && writeSmallFile(downloads_.get(), place, identity))
        ::fchownat(downloads_.get(), identityFile, fetcherUser, fetcherGroup, AT_SYMLINK_NOFOLLOW);
    return {};
}

std::optional<Outcome> Run::fetch()
{
    update::FetchOrder order = settings_.order;
    for (const std::string& name : settings_.databases)
        order.databases += (order.databases.empty() ? "" : " ") + name;
    std::ostringstream text;
    text << order;
    Fetcher fetcher("fetch", text.str(), downloads_.get(), scratch_.get());
    const update::Message end =
        fetcher.follow(interruption_, deadline_, [this](const update::Message& message) {
            const auto& names = settings_.databases;
            const bool isOurs = std::find(names.begin(), names.end(), message.text) != names.end();
            if (message.code >= UPDATE_STARTED && message.code <= UPDATE_PROGRESS)
                report_.tell(message.code, message.first, message.second, message.text);
            if (message.code != update::MessageDatabase || !isOurs)
                return;
            const auto now = static_cast<unsigned>(message.second);
            fetched_[message.text] = now;
            report_.database(message.text, installed_.contains(message.text) ? installed_[message.text] : 0,
                             now);
        });
    keepIdentity();
    keepWait(end.second);
    if (end.first == UPDATE_DONE)
        return {};
    return end.first == UPDATE_STOPPED ? Outcome{UPDATE_STOPPED, {}} : failed(end.text);
}

/// Makes the new set root's own: of what was downloaded only copies count.
std::optional<Outcome> Run::gather()
{
    const bool news =
        std::any_of(settings_.databases.begin(), settings_.databases.end(), [this](const auto& name) {
            return !installed_.contains(name) || fetched_[name] != installed_[name];
        });
    if (!news)
        return Outcome{UPDATE_DONE, {}};
    auto next = installation_->beginNext();
    if (!next)
        return failed(next.error().text);
    next_ = std::move(next).value();
    for (const std::string& name : settings_.databases) {
        if (auto end = gatherOne(name))
            return end;
    }
    return {};
}

std::optional<Outcome> Run::gatherOne(const std::string& name)
{
    const unsigned before = installed_.contains(name) ? installed_[name] : 0;
    const bool changed = before == 0 || fetched_[name] != before;
    const int from = changed ? downloads_.get() : installation_->live();
    const std::string file = fileOf(name, from);
    if (file.empty())
        return failed(name + ": it was not downloaded");
    const bool taken = changed
                           ? copyFile(from, file, next_.get(), 4 * settings_.order.mostBytes, interrupted())
                           : linkOrCopy(from, file, next_.get(), interrupted());
    if (!taken)
        return stoppedOr(file + ": " + base::describeError(errno));
    const Versions now = versionsIn(next_.get());
    if (!now.contains(name) || now.at(name) < before)
        return failed(name + ": what the server gave is older than the installed version " +
                      std::to_string(before));
    return {};
}

std::optional<Outcome> Run::gatherBackup()
{
    const auto backup = installation_->openBackup();
    if (!backup)
        return failed(backup.error().text);
    auto next = installation_->beginNext();
    if (!next)
        return failed(next.error().text);
    next_ = std::move(next).value();
    for (const auto& [name, version] : versionsIn(backup.value().get())) {
        const std::string file = fileOf(name, backup.value().get());
        if (file.empty() || !linkOrCopy(backup.value().get(), file, next_.get(), interrupted()))
            return stoppedOr(name + ": the backup cannot be read");
        report_.detail(name + ": back to version " + std::to_string(version));
        report_.database(name, installed_.contains(name) ? installed_[name] : 0, version);
    }
    return {};
}

std::optional<Outcome> Run::check()
{
    std::string files;
    for (const std::string& name : namesIn(next_.get()))
        files += name + '\n';
    Fetcher checker("check", files, next_.get(), scratch_.get());
    const update::Message end =
        checker.follow(interruption_, deadline_, [this](const update::Message& message) {
            if (message.code == UPDATE_DETAIL)
                report_.detail(message.text);
        });
    if (end.first == UPDATE_DONE)
        return {};
    return end.first == UPDATE_STOPPED ? Outcome{UPDATE_STOPPED, {}} : failed(end.text);
}

std::optional<Outcome> Run::install()
{
    if (const auto done = installation_->backUp(interrupted()); !done)
        return stoppedOr(done.error().text);
    if (interruption_.interrupted())
        return stoppedOr({});
    report_.tell(UPDATE_INSTALLING);
    Versions replaced = versionsIn(next_.get());
    if (rollingBack_)
        replaced.insert(installed_.begin(), installed_.end());
    if (const auto done = installation_->putInPlace(replaced); !done)
        return failed(done.error().text);
    return {};
}

} // namespace updater
