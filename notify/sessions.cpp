#include "notify/sessions.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string_view>

#include <sys/stat.h>
#include <systemd/sd-login.h>

namespace notify {

namespace {

namespace fs = std::filesystem;

constexpr char runtimeDirectories[] = "/run/user";

struct Freer
{
    void operator()(void* memory) const { std::free(memory); }
};

bool isGraphical(const char* session)
{
    constexpr std::array<std::string_view, 3> graphical{"x11", "wayland", "mir"};
    char* type = nullptr;
    char* purpose = nullptr;
    ::sd_session_get_type(session, &type);
    ::sd_session_get_class(session, &purpose);
    const std::unique_ptr<char, Freer> owned[] = {std::unique_ptr<char, Freer>(type),
                                                  std::unique_ptr<char, Freer>(purpose)};
    return type && purpose && std::string_view(purpose) == "user" &&
           std::find(graphical.begin(), graphical.end(), type) != graphical.end();
}

/// The users of the sessions that the login service keeps account of; nothing without it.
std::optional<std::set<uid_t>> knownUsers()
{
    char** sessions = nullptr;
    if (::sd_get_sessions(&sessions) <= 0)
        return std::nullopt;
    std::set<uid_t> users;
    for (char** session = sessions; *session; ++session) {
        uid_t user = 0;
        if (isGraphical(*session) && ::sd_session_get_uid(*session, &user) >= 0)
            users.insert(user);
        std::free(*session);
    }
    std::free(sessions);
    return users;
}

std::set<uid_t> usersWithDirectory()
{
    std::set<uid_t> users;
    std::error_code none;
    for (const fs::directory_entry& entry : fs::directory_iterator(runtimeDirectories, none)) {
        const std::string name = entry.path().filename().string();
        uid_t user = 0;
        const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), user);
        if (error == std::errc() && end == name.data() + name.size())
            users.insert(user);
    }
    return users;
}

} // namespace

std::vector<SessionBus> graphicalSessions()
{
    std::vector<SessionBus> buses;
    const auto known = knownUsers();
    for (const uid_t user : known ? *known : usersWithDirectory()) {
        const std::string path = std::string(runtimeDirectories) + "/" + std::to_string(user) + "/bus";
        struct stat status = {};
        if (::lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode) && status.st_uid == user)
            buses.push_back({user, status.st_gid, "unix:path=" + path});
    }
    return buses;
}

} // namespace notify
