#include "tests/support/sandbox.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

#include <sys/mman.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace sandbox {

namespace {

constexpr char marker[] = "VARDO_SANDBOX";
constexpr char stateDir[] = "/tmp/sandbox";

constexpr char passwd[] = "root:x:0:0:root:/root:/bin/sh\n"
                          "tester:x:1000:1000:tester:/home/tester:/bin/sh\n"
                          "colleague:x:1002:1000:colleague:/nonexistent:/bin/sh\n"
                          "homeless:x:1001:1001:homeless:/:/bin/sh\n"
                          "qsconf:x:990:990:qsconf:/nonexistent:/bin/false\n"
                          "nobody:x:65534:65534:nobody:/nonexistent:/bin/false\n";
constexpr char group[] = "root:x:0:\n"
                         "tester:x:1000:\n"
                         "qsconf:x:990:tester\n"
                         "nogroup:x:65534:\n";

/// Notes its name and arguments.
constexpr char standIn[] = "#!/bin/sh\n"
                           "echo \"${0##*/} $*\" >>/tmp/sandbox/calls\n";

/// The arguments of bwrap, growing.
class Arguments
{
  public:
    explicit Arguments(std::vector<std::string> command)
        : texts_(std::move(command))
    {
    }

    template <class... Texts>
    void add(const Texts&... texts)
    {
        (texts_.emplace_back(texts), ...);
    }

    void bind(const fs::path& from, const fs::path& to) { add("--ro-bind-try", from.string(), to.string()); }
    void bind(const fs::path& path) { bind(path, path); }

    /// Makes a directory with all above it, for whoever one becomes inside.
    void directory(const fs::path& path)
    {
        if (path.has_relative_path()) {
            directory(path.parent_path());
            add("--dir", path.string());
        }
    }

    /// Lets the file `path` have `content`.
    void file(const std::string& path, const char* content)
    {
        const int fd = memfd_create("content", 0);
        const std::size_t size = std::strlen(content);
        if (fd < 0 || write(fd, content, size) != static_cast<ssize_t>(size) || lseek(fd, 0, SEEK_SET) != 0)
            std::abort();
        add("--perms", "0644", "--ro-bind-data", std::to_string(fd), path);
    }

    int execute()
    {
        std::vector<char*> pointers;
        for (std::string& text : texts_)
            pointers.push_back(text.data());
        pointers.push_back(nullptr);
        execvp(pointers.front(), pointers.data());
        std::fprintf(stderr, "cannot start %s: %s\n", pointers.front(), std::strerror(errno));
        return EXIT_FAILURE;
    }

  private:
    std::vector<std::string> texts_;
};

void addSystem(Arguments& bwrap)
{
    for (const char* top : {"/etc", "/opt", "/run", "/var"})
        bwrap.directory(top);
    for (const char* top : {"/usr", "/bin", "/sbin", "/lib", "/lib32", "/lib64", "/libx32"}) {
        std::error_code none;
        if (fs::is_symlink(top, none))
            bwrap.add("--symlink", fs::read_symlink(top).string(), top);
        else
            bwrap.bind(top);
    }
    for (const char* entry :
         {"alternatives", "fonts", "ld.so.cache", "localtime", "nsswitch.conf", "ssl", "X11"})
        bwrap.bind(fs::path("/etc") / entry);
    bwrap.file("/etc/passwd", passwd);
    bwrap.file("/etc/group", group);
    bwrap.add("--dev", "/dev", "--proc", "/proc");
    for (const char* directory :
         {"/tmp", "/home", "/root", "/opt/Quillstone", "/var/Quillstone", "/etc/init.d", "/etc/cron.d"})
        bwrap.add("--tmpfs", directory);
    bwrap.bind("/var/cache/fontconfig");
}

void addBuild(Arguments& bwrap)
{
    const fs::path tree = VARDO_TREE;
    const fs::path installed = "/opt/Quillstone";
    for (const char* path : {VARDO_SOURCE_DIR, VARDO_BINARY_DIR}) {
        bwrap.directory(path);
        bwrap.bind(path);
    }
    bwrap.add("--bind-try", VARDO_PICTURES, VARDO_PICTURES);
    bwrap.bind(tree / "usr", installed / "usr");
    bwrap.bind(tree / "var/www", installed / "var/www");
    bwrap.add("--dir", (installed / "sbin").string());
    for (const char* program : {"sbin/qsavd", "sbin/qsfetch"})
        bwrap.add("--symlink", (tree / program).string(), (installed / program).string());
}

void addEnvironment(Arguments& bwrap, const Ids& ids)
{
    bwrap.add("--setenv", marker, "1");
    bwrap.add("--setenv", "HOME", homeOf(ids.user).string());
    bwrap.add("--setenv", "PATH", "/usr/bin:/bin:/usr/sbin:/sbin");
    bwrap.add("--perms", "0700", "--dir", "/tmp/runtime", "--setenv", "XDG_RUNTIME_DIR", "/tmp/runtime");
    for (const char* name :
         {"XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME", "DBUS_SESSION_BUS_ADDRESS"})
        bwrap.add("--unsetenv", name);
}

void makeStandIn(const fs::path& path)
{
    fs::create_directories(path.parent_path());
    writeFile(path, standIn);
    fs::permissions(path, fs::perms(0755));
}

/// Empties the directory, but for what cannot be removed: the build tree may lie below a home.
void clearDirectory(const fs::path& path)
{
    fs::create_directories(path);
    std::error_code ignored;
    for (const fs::directory_entry& entry : fs::directory_iterator(path))
        fs::remove_all(entry, ignored);
}

int enterThrough(std::vector<std::string> command, char** argv, Ids ids)
{
    Arguments bwrap(std::move(command));
    bwrap.add("--unshare-pid", "--unshare-ipc", "--die-with-parent");
    addSystem(bwrap);
    addBuild(bwrap);
    addEnvironment(bwrap, ids);
    bwrap.add("--chdir", VARDO_BINARY_DIR, "--", fs::read_symlink("/proc/self/exe").string());
    for (char** argument = argv + 1; *argument; ++argument)
        bwrap.add(*argument);
    return bwrap.execute();
}

} // namespace

Ids wantedIds(Ids usual)
{
    if (const char* ids = std::getenv("VARDO_TEST_IDS"))
        std::sscanf(ids, "%u:%u", &usual.user, &usual.group);
    return usual;
}

bool inside()
{
    return std::getenv(marker) != nullptr;
}

int enter(char** argv, Ids ids)
{
    return enterThrough(
        {"bwrap", "--unshare-user", "--uid", std::to_string(ids.user), "--gid", std::to_string(ids.group)},
        argv, ids);
}

int enterAsRoot(char** argv)
{
    if (geteuid() == 0)
        return enterThrough({"bwrap"}, argv, {});
    return enterThrough({"unshare", "--user", "--map-root-user", "--map-auto", "bwrap"}, argv, {});
}

void makeInstallation()
{
    const fs::path product = "/opt/Quillstone";
    const fs::path data = "/var/Quillstone/var";
    for (const fs::path& directory :
         {product / "etc", product / "var/run", data, fs::path(stateDir), homeOf(0), homeOf(1000),
          fs::path("/etc/init.d"), fs::path("/etc/cron.d")})
        clearDirectory(directory);
    for (const char* directory : {"log/vardo", "quarantine/vardo", "lib/signatures"})
        fs::create_directories(data / directory);
    fs::create_directories(product / "etc/vardo");

    writeFile(product / "etc/vardo-ver", "TIER-A\n");
    writeFile(product / "etc/qsav.conf", "[path]\n"
                                         "LocalSocketPath = /opt/Quillstone/var/run/qsav\n"
                                         "AVSpidPATH = /opt/Quillstone/var/run/qsav.pid\n"
                                         "SignaturePath = /var/Quillstone/var/lib/signatures\n");
    writeFile(product / "etc/vardo/vardo.conf", "[Config]\n"
                                                "Browsers = firefox\n"
                                                "[Scan]\n"
                                                "Action = log\n");
    writeFile(product / "etc/updates.conf", "");

    makeStandIn(product / "sbin/runasroot");
    makeStandIn(product / "sbin/vardonotify");
    makeStandIn("/etc/init.d/cron");
}

std::vector<std::string> asUser(Ids ids, std::vector<std::string> command)
{
    const std::vector<std::string> change = {"unshare", "--user", "--map-user=" + std::to_string(ids.user),
                                             "--map-group=" + std::to_string(ids.group), "--"};
    command.insert(command.begin(), change.begin(), change.end());
    return command;
}

std::vector<std::string> recordedCalls()
{
    std::istringstream text(readFile(fs::path(stateDir) / "calls"));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}

fs::path homeOf(unsigned int user)
{
    return user == 0 ? "/root" : "/home/tester";
}

std::string readFile(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const fs::path& path, const std::string& content)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content;
    file.close();
    if (!file) {
        std::fprintf(stderr, "cannot write %s\n", path.c_str());
        std::abort();
    }
}

} // namespace sandbox
