#include "tools/vardoscan/paths.h"

#include "base/systemerror.h"
#include "tools/vardoscan/options.h"
#include "tools/vardoscan/scan.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include <pwd.h>
#include <unistd.h>

namespace {

struct Closer
{
    void operator()(std::FILE* file) const { std::fclose(file); }
    void operator()(char* memory) const { std::free(memory); }
};

/// Adds the names in the list, whatever bytes they hold besides the divider.
bool addNames(std::FILE* list, Options& options)
{
    char* line = nullptr;
    std::size_t room = 0;
    ssize_t length = 0;
    errno = 0;
    while (!wasInterrupted() && (length = ::getdelim(&line, &room, options.divider, list)) >= 0) {
        std::string name(line, static_cast<std::size_t>(length));
        if (name.ends_with(options.divider))
            name.pop_back();
        if (!name.empty())
            options.paths.push_back(std::move(name));
    }
    const std::unique_ptr<char, Closer> owned(line);
    return !std::ferror(list);
}

bool addList(Options& options)
{
    const std::unique_ptr<std::FILE, Closer> opened(
        options.filesFrom == "-" ? nullptr : std::fopen(options.filesFrom.c_str(), "re"));
    std::FILE* list = options.filesFrom == "-" ? stdin : opened.get();
    if (list && addNames(list, options))
        return true;
    fail("cannot read " + options.filesFrom + ": " + base::describeError(errno));
    return false;
}

bool addHome(Options& options)
{
    const passwd* self = ::getpwuid(::getuid());
    if (self && self->pw_dir && *self->pw_dir) {
        options.paths.emplace_back(self->pw_dir);
        return true;
    }
    fail("nobody knows your home directory");
    return false;
}

} // namespace

bool completePaths(Options& options)
{
    return (options.filesFrom.empty() || addList(options)) && (!options.home || addHome(options));
}
