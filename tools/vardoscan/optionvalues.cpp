#include "tools/vardoscan/optionvalues.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

namespace {

constexpr unsigned long mostJobs = 64; // that the engine takes

/// The place of `word` in `words`, which are in the order of their codes.
template <std::size_t Count>
std::optional<unsigned int> codeOf(std::string_view word, const std::array<std::string_view, Count>& words)
{
    const auto found = std::find(words.begin(), words.end(), word);
    if (found == words.end())
        return std::nullopt;
    return static_cast<unsigned int>(found - words.begin());
}

/// A number, with K, M or G behind it when `units` are allowed.
bool takeNumber(std::string_view text, unsigned long most, bool units, unsigned long& number)
{
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop == text.data())
        return false;
    unsigned int shift = 0;
    if (stop != end) {
        constexpr std::string_view letters = "KMG";
        const std::size_t letter = letters.find(*stop);
        if (!units || stop + 1 != end || letter == std::string_view::npos)
            return false;
        shift = 10 * (static_cast<unsigned int>(letter) + 1);
    }
    if (number > most >> shift)
        return false;
    number <<= shift;
    return true;
}

} // namespace

bool takeAction(std::string_view word, Options& options)
{
    constexpr std::array<std::string_view, 4> words{"log", "delete", "rename", "quarantine"};
    const auto code = codeOf(word, words);
    options.action = code.value_or(SCANACT_LOG);
    return code.has_value();
}

bool takeLogLevel(std::string_view word, Options& options)
{
    constexpr std::array<std::string_view, 3> words{"minimum", "infected", "all"};
    const auto code = codeOf(word, words);
    options.log = true;
    options.logLevel = LOGLEVEL_MINIMUM + code.value_or(0);
    return code.has_value();
}

bool takeNotify(std::string_view word, Options& options)
{
    constexpr std::array<std::string_view, 2> words{"problems", "all"};
    const auto code = codeOf(word, words);
    options.notify = code == 1u ? Options::Notify::Everything : Options::Notify::Problems;
    return code.has_value();
}

bool takeJobs(const char* text, Options& options)
{
    unsigned long number = 0;
    const bool taken = takeNumber(text, mostJobs, false, number) && number > 0;
    options.jobs = static_cast<unsigned>(number);
    return taken;
}

void addList(std::optional<std::string>& list, const char* more)
{
    list = list ? *list + "," + more : std::string(more);
}

bool takeExcludedDirectory(const char* path, Options& options)
{
    if (path[0] != '/' || std::strpbrk(path, ",;"))
        return false;
    options.excludeDirs += (options.excludeDirs.empty() ? "" : ";") + std::string(path);
    options.setBits |= SCANFLAG_EXCLUDE_DIRS;
    return true;
}

bool takeMaxSize(const char* text, Options& options)
{
    unsigned long number = 0;
    const bool taken = takeNumber(text, ~0ul, true, number);
    options.setBits |= SCANFLAG_MAX_SIZE;
    options.maxSize = number;
    return taken;
}

bool takeMaxDepth(const char* text, Options& options)
{
    unsigned long number = 0;
    const bool taken = takeNumber(text, 255, false, number);
    options.setBits |= SCANFLAG_MAX_DEPTH;
    options.maxDepth = static_cast<unsigned char>(number);
    return taken;
}
