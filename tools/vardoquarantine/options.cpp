#include "tools/vardoquarantine/options.h"

#include <algorithm>
#include <array>
#include <string_view>

#include <getopt.h>

namespace {

enum Id : int { Help = 'h', Version = 'V', QuarantineDir = 256, Json };

constexpr std::array<option, 5> optionTable{{{"help", no_argument, nullptr, Help},
                                             {"version", no_argument, nullptr, Version},
                                             {"quarantine-dir", required_argument, nullptr, QuarantineDir},
                                             {"json", no_argument, nullptr, Json},
                                             {}}};

struct Command
{
    std::string_view word;
    Options::Task task;
    bool takesNames;
};

constexpr std::array commands{
    Command{"list", Options::Task::List, false}, Command{"restore", Options::Task::Restore, true},
    Command{"delete", Options::Task::Delete, true}, Command{"repair", Options::Task::Repair, false}};

/// The command and its names.
bool takeWords(const std::vector<std::string>& words, Options& options, std::string& error)
{
    if (words.empty()) {
        error = "nothing to do: list, restore, delete or repair";
        return false;
    }
    const auto* command = std::find_if(commands.begin(), commands.end(),
                                       [&](const Command& known) { return known.word == words.front(); });
    if (command == commands.end()) {
        error = "unknown command: " + words.front();
        return false;
    }
    options.task = command->task;
    options.names.assign(words.begin() + 1, words.end());
    if (options.names.empty() == command->takesNames)
        error = words.front() + (command->takesNames ? " needs the name of a file" : " takes no names");
    return error.empty();
}

} // namespace

std::optional<Options> parseOptions(int argc, char** argv, std::string& error)
{
    Options options;
    bool wantsText = false;
    opterr = 0;
    optind = 1;
    for (int id; (id = ::getopt_long(argc, argv, ":hV", optionTable.data(), nullptr)) != -1;) {
        switch (id) {
        case Help:
        case Version:
            options.task = id == Help ? Options::Task::Help : Options::Task::Version;
            wantsText = true;
            break;
        case QuarantineDir:
            options.quarantineDir = optarg;
            if (options.quarantineDir.starts_with('/'))
                break;
            error = "bad argument of --quarantine-dir: " + options.quarantineDir;
            return std::nullopt;
        case Json:
            options.json = true;
            break;
        default:
            error = std::string(id == ':' ? "missing argument: " : "unknown option: ") + argv[optind - 1];
            return std::nullopt;
        }
    }
    if (!wantsText && !takeWords({argv + optind, argv + argc}, options, error))
        return std::nullopt;
    return options;
}

const char* usage()
{
    return R"(Usage: vardoquarantine [options] list
       vardoquarantine [options] restore NAME...
       vardoquarantine [options] delete NAME...
       vardoquarantine [options] repair
Looks after the files in quarantine.

  list          every file with its virus, size, date and origin
  restore       puts files back where they were
  delete        deletes files for good
  repair        makes the files, the quarantine list and the notes agree,
                and clears away what killed scans left

      --quarantine-dir=DIR     another quarantine than the window's
      --json                   one JSON object a line
  -h, --help                   this text
  -V, --version                version

Exit status: 0 done, 1 listed, and something is for repair to mend,
2 something went wrong.
)";
}
