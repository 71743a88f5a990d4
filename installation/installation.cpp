#include "installation/installation.h"

#include "base/paths.h"
#include "installation/smallfile.h"

#include <array>
#include <sstream>
#include <string_view>

namespace {

constexpr std::array<std::string_view, 4> moduleTokens = {"MODULE-1", "MODULE-2", "MODULE-3", "MODULE-4"};

/// The number of the module that `token` names, or 0.
int moduleNumber(std::string_view token)
{
    for (std::size_t i = 0; i < moduleTokens.size(); ++i) {
        if (moduleTokens[i] == token)
            return static_cast<int>(i) + 1;
    }
    return 0;
}

} // namespace

int get_Vardo_version()
{
    const std::optional<std::string> content = readSmallFile(paths::versionFile, Links::Follow);
    if (!content)
        return INSTALLATION_UNUSABLE;

    std::istringstream stream(*content);
    int kind = INSTALLATION_UNUSABLE;
    bool tierB = false;
    for (std::string token; stream >> token;) {
        if (token == "TIER-A")
            return INSTALLATION_TIER_A;
        if (token == "TIER-B")
            tierB = true;
        else if (const int number = moduleNumber(token); tierB && number > 0)
            kind = number;
    }
    return kind;
}
