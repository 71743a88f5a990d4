#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// Runs a test program in a world of its own (bubblewrap), so that it can use the product's fixed
/// paths and be any user, without privileges and without a trace on the machine. Inside,
/// /opt/Quillstone, /var/Quillstone, /etc/init.d, /etc/cron.d, /tmp, /root and /home are private and
/// writable, the build tree and the sources are there to read, and so are the built programs and pictures
/// below /opt/Quillstone. What is to be kept goes into VARDO_PICTURES. The processes inside end with the
/// test.
namespace sandbox {

struct Ids
{
    unsigned int user = 0;
    unsigned int group = 0;
};

/// The ids in VARDO_TEST_IDS ("1000:0"), else the usual ones.
Ids wantedIds(Ids usual);

/// True in a program that enter() has started.
bool inside();

/// Starts this program again inside, with these ids. Returns, with an exit code, only on failure.
int enter(char** argv, Ids ids);

/// The same as a root who may become any other user, as the scanning service does for its workers.
/// An ordinary user needs a range of subordinate ids for it (package uidmap).
int enterAsRoot(char** argv);

/// Sets up a fresh installation, as far as the window needs one: directories, configuration files,
/// the version file (installation kind 0), empty home directories, and stand-ins for runasroot
/// and the cron script, which record their arguments. Only inside.
void makeInstallation();

/// The command that runs `command` inside with other ids. All ids own the same files.
std::vector<std::string> asUser(Ids ids, std::vector<std::string> command);

/// What the stand-ins were asked since makeInstallation, a line each: "runasroot /bin/chmod 666 x".
std::vector<std::string> recordedCalls();

/// The home directory of whoever has this user id.
std::filesystem::path homeOf(unsigned int user);

/// The whole file; empty when there is none.
std::string readFile(const std::filesystem::path& path);
/// Creates or replaces the file.
void writeFile(const std::filesystem::path& path, const std::string& content);

} // namespace sandbox

/// QTEST_MAIN for a class that runs inside the sandbox with these ids, or those that CTest sets.
#define VARDO_SANDBOX_TEST_MAIN(Class, uid, gid)                                                             \
    int main(int argc, char** argv)                                                                          \
    {                                                                                                        \
        if (!sandbox::inside())                                                                              \
            return sandbox::enter(argv, sandbox::wantedIds({uid, gid}));                                     \
        sandbox::makeInstallation();                                                                         \
        QTEST_SET_MAIN_SOURCE_PATH                                                                           \
        QApplication application(argc, argv);                                                                \
        Class test;                                                                                          \
        return QTest::qExec(&test, argc, argv);                                                              \
    }
