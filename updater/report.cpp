#include "updater/report.h"

#include "base/paths.h"
#include "base/plainfile.h"
#include "engine/update.h"
#include "tools/escape.h"

#include <array>
#include <cstdio>
#include <ctime>

#include <unistd.h>

namespace updater {

namespace {

using Clock = std::chrono::steady_clock;

struct Ending
{
    int code;
    int exitCode;
    const char* word; ///< in JSON
    const char* text; ///< for a person
};

constexpr std::array endings{
    Ending{UPDATE_RUNNING, 1, "busy", "Another update is running."},
    Ending{UPDATE_STOPPED, 2, "stopped", "The update was stopped."},
    Ending{UPDATE_NO_LOCK, 2, "failed", "The update lock could not be had."},
    Ending{UPDATE_ERROR, 2, "failed", "The update failed."},
};
constexpr Ending done{UPDATE_DONE, 0, "updated", "The signatures have been updated."};
constexpr Ending unchanged{UPDATE_DONE, 0, "unchanged", "The signatures are up to date."};

std::string versionText(unsigned version)
{
    return version == 0 ? "none" : std::to_string(version);
}

std::string dateAndTime()
{
    const std::time_t seconds = std::time(nullptr);
    struct tm local = {};
    std::array<char, 32> text{};
    ::localtime_r(&seconds, &local);
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local);
    return text.data();
}

} // namespace

Report::Report(Form form, bool quiet)
    : form_(form)
    , quiet_(quiet)
    , terminal_(::isatty(STDERR_FILENO))
    , log_(paths::updateLog)
{
    if (form_ == Form::Text && !quiet_ && !::isatty(STDOUT_FILENO))
        std::printf("updatenow, %s\n", dateAndTime().c_str());
}

Report::~Report()
{
    log_.Stop();
}

void Report::openLog()
{
    logging_ = log_.Start("Update started.") == 0;
    if (!logging_)
        detail(std::string(paths::updateLog) + " cannot be written");
}

void Report::log(const std::string& text)
{
    if (logging_)
        log_.Log(update::oneLine(text).c_str());
}

void Report::tell(int code, long long first, long long second, const std::string& text)
{
    switch (code) {
    case UPDATE_STARTED:
        begun_ = Clock::now();
        bytes_ = 0;
        if (server_ != text)
            log("Server: " + text);
        server_ = text;
        break;
    case UPDATE_DETAIL:
        log(text);
        break;
    case UPDATE_PROGRESS:
        bytes_ = second;
        break;
    case UPDATE_INSTALLING:
        log("The new signatures are put in place.");
        break;
    default:
        break;
    }
    show(code, first, second, text);
}

void Report::detail(const std::string& text)
{
    tell(UPDATE_DETAIL, 0, 0, text);
}

void Report::show(int code, long long first, long long second, const std::string& text)
{
    if (form_ == Form::Engine) {
        base::writeAll(STDOUT_FILENO, update::toLine({code, first, second, text}));
        return;
    }
    if (form_ != Form::Text || quiet_)
        return;
    if (code == UPDATE_PROGRESS)
        return showProgress(first, second);
    hideProgress();
    if (code == UPDATE_DETAIL)
        std::printf("%s\n", escapeForTerminal(text).c_str());
    std::fflush(stdout);
}

void Report::showProgress(long long total, long long bytes)
{
    if (!terminal_ || total <= 0)
        return;
    std::fprintf(stderr, "\r%3lld %%  %lld / %lld KB\033[K", bytes * 100 / total, bytes / 1024, total / 1024);
    progressShown_ = true;
}

void Report::hideProgress()
{
    if (progressShown_)
        std::fputs("\r\033[K", stderr);
    progressShown_ = false;
}

void Report::database(const std::string& name, unsigned before, unsigned now)
{
    const auto time = std::chrono::duration<double>(Clock::now() - begun_).count();
    std::array<char, 32> seconds{};
    std::snprintf(seconds.data(), seconds.size(), "%.1f", time);
    log(name + ": version " + versionText(before) + " -> " + versionText(now) + ", " +
        std::to_string(bytes_) + " bytes, " + seconds.data() + " s");
    databases_.push_back({name, before, now, bytes_});
}

int Report::result(int code, const std::string& text)
{
    bool changed = false;
    for (const Database& database : databases_)
        changed = changed || database.before != database.now;
    Ending ending = changed ? done : unchanged;
    for (const Ending& row : endings)
        ending = row.code == code ? row : ending;
    log(text.empty() ? ending.text : std::string(ending.text) + " Reason: " + text);
    hideProgress();
    if (form_ == Form::Engine) {
        // These two are told by the result alone, the others by their reason.
        if (code == UPDATE_ERROR) {
            show(UPDATE_DETAIL, 0, 0, text);
            show(UPDATE_FAILED, 0, 0, text);
        }
        show(update::MessageResult, code, 0, text);
    } else if (form_ == Form::Json) {
        for (const Database& d : databases_)
            std::printf("{\"type\":\"database\"%s,\"before\":%u,\"now\":%u,\"bytes\":%lld}\n",
                        jsonMember("name", d.name).c_str(), d.before, d.now, d.bytes);
        const std::string reason = text.empty() ? std::string() : jsonMember("reason", text);
        std::printf("{\"type\":\"result\",\"result\":\"%s\"%s}\n", ending.word, reason.c_str());
    } else if (code != UPDATE_DONE) {
        std::fflush(stdout);
        std::fprintf(stderr, "updatenow: %s%s%s\n", ending.text, text.empty() ? "" : " ",
                     escapeForTerminal(text).c_str());
    } else if (!quiet_) {
        std::printf("%s\n", ending.text);
    }
    return ending.exitCode;
}

} // namespace updater
