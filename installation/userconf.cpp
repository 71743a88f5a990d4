#include "installation/userconf.h"

#include "base/paths.h"
#include "base/plainfile.h"
#include "installation/smallfile.h"
#include "sfl/sfl.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::string_view pathSection = "path:";
constexpr char socketKey[] = "path:LocalSocketPath";
constexpr char pidKey[] = "path:AVSpidPATH";
constexpr char temporaryName[] = "/.vardo.conf.tmp";
constexpr std::size_t lineBuffer = 1023;

sfl::SymTablePtr loadTable(const char* path)
{
    sfl::SymTablePtr table(sym_create_table_("userconf", __LINE__));
    if (table)
        ini_dyn_load(table.get(), path);
    return table;
}

bool isUsable(const std::string& directory)
{
    return access(directory.c_str(), R_OK | W_OK | X_OK) == 0;
}

/// The user's home directory, or an empty text when it cannot be used.
std::string homeDirectory()
{
    const passwd* entry = getpwuid(getuid());
    if (!entry || !entry->pw_dir)
        return {};
    const std::string home = entry->pw_dir;
    return home != "/" && isUsable(home) ? home : std::string();
}

bool provideDirectory(const std::string& directory)
{
    if (access(directory.c_str(), F_OK) == 0)
        return isUsable(directory);
    return mkdir(directory.c_str(), 0700) == 0;
}

/// The scan configuration and all paths of the main configuration, two of them in `directory`. Null
/// when out of memory.
sfl::SymTablePtr userTable(const std::string& directory)
{
    const sfl::SymTablePtr shared = loadTable(paths::qsavConf);
    sfl::SymTablePtr own = shared ? loadTable(paths::vardoConf) : nullptr;
    if (!own)
        return nullptr;
    for (const _SYMBOL* symbol = shared->symbols; symbol; symbol = symbol->next) {
        const std::string_view name = symbol->name;
        if (!name.starts_with(pathSection))
            continue;
        std::string value = symbol->value;
        if (name == socketKey)
            value = directory + "/qsav";
        else if (name == pidKey)
            value = directory + "/qsav.pid";
        sym_assume_symbol_(own.get(), symbol->name, value.c_str(), "userconf", __LINE__);
    }
    return own;
}

/// One line of an ini file without the quotes around its value, with a newline. `line` is changed.
std::string withoutQuotes(char* line)
{
    char* sign = std::strchr(trim(line), '=');
    if (!sign || sign == line)
        return std::string(line) + '\n';

    const std::string key(line, sign);
    std::string_view value = trim(line + key.size() + 1);
    while (value.starts_with('"'))
        value.remove_prefix(1);
    while (value.ends_with('"'))
        value.remove_suffix(1);
    return key + '=' + std::string(value) + '\n';
}

std::string withoutQuotes(std::istream& input)
{
    std::string result;
    // The line of a failed attempt counts too: the empty one behind the end of the file, and the
    // beginning of a line that is too long.
    while (input.good()) {
        std::array<char, lineBuffer> line{};
        input.getline(line.data(), line.size());
        result += withoutQuotes(line.data());
    }
    return result;
}

bool writeTemporary(const std::string& path, const std::string& content)
{
    const int flags = O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC;
    const base::UniqueFd file(open(path.c_str(), flags, 0666));
    return file && base::writeAll(file.get(), content) && fsync(file.get()) == 0;
}

/// The directory part of `path`, as dirname() has it.
std::string directoryOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? std::string() : path.substr(0, slash);
}

} // namespace

char* createUserConf()
{
    const std::string home = homeDirectory();
    const std::string directory = home + "/.vardo";
    if (home.empty() || !provideDirectory(directory))
        return nullptr;

    const std::string path = directory + "/vardo.conf";
    if (access(path.c_str(), F_OK) == 0)
        return strdup(path.c_str());

    if (!base::UniqueFd(open(path.c_str(), O_RDONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600)))
        return nullptr;
    const sfl::SymTablePtr table = userTable(directory);
    if (!table || ini_dyn_save(table.get(), path.c_str()) < 0 || removeConfQoutes(path.c_str()) < 0)
        return nullptr;
    return strdup(path.c_str());
}

int removeConfQoutes(const char* path)
{
    if (!path)
        return -1;
    std::ifstream input(path, std::ios::binary);
    if (!input)
        return -1;
    const std::string temporary = directoryOf(path) + temporaryName;
    // Takes the place of the file in one step: a user never is without one.
    if (writeTemporary(temporary, withoutQuotes(input)) && std::rename(temporary.c_str(), path) == 0)
        return 0;
    unlink(temporary.c_str());
    return -1;
}
