#include "tests/libvardo/scanworld.h"
#include "tests/support/rootmain.h"

#include <QElapsedTimer>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <string_view>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

using Names = QList<QByteArray>;

namespace {

std::atomic<bool> serverIsDead = false;
std::atomic<int> heldUp = 0; ///< threads

} // namespace

/// Opens as the system does, but for files named "dead...": these block while their server is dead.
extern "C" int openat(int directory, const char* name, int flags, ...)
{
    if (serverIsDead && std::string_view(name).starts_with("dead")) {
        ++heldUp;
        while (serverIsDead)
            ::usleep(1000);
        --heldUp;
    }
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = flags & (O_CREAT | O_TMPFILE) ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return static_cast<int>(::syscall(SYS_openat, directory, name, flags, mode));
}

class TestWalk : public QObject
{
    Q_OBJECT

  private slots:
    void reportsEverythingOnceInOrder()
    {
        ScanWorld world;
        world.directory("b");
        world.directory("b/empty");
        for (const char* name : {"z", "\xff", "a\n=>b", "B", "b/2", "b/10", "b.txt"})
            world.write(name);
        QCOMPARE(world.scan(), 0);
        QCOMPARE(world.files(), Names({"B", "a\n=>b", "b/10", "b/2", "b.txt", "z", "\xff"}));
        QCOMPARE(world.directories(), Names({"", "/b", "/b/empty"}));
        QCOMPARE(world.statistics.scDirectories, 3u);
        ::unlink(world.path("\xff").constData()); // which QTemporaryDir cannot
    }

    void chosenObjects()
    {
        ScanWorld world;
        world.write("file", "infected");
        world.directory("dir");
        world.write("dir/inside");
        QCOMPARE(::mkfifo(world.path("dir/fifo").constData(), 0644), 0);
        QCOMPARE(::symlink("file", world.path("link").constData()), 0);
        QCOMPARE(::symlink("dir", world.path("dirlink").constData()), 0);
        QCOMPARE(::symlink("nowhere", world.path("dangling").constData()), 0);

        const auto chosen = [&world](const char* name) { return world.path(name).toStdString(); };
        QCOMPARE(world.scan({chosen("file"), chosen("dir///"), chosen("missing"), chosen("dangling")}), 0);
        QCOMPARE(world.files(true), Names({"file 2", "dir/inside 1", "missing 8", "dangling 8"}));
        QCOMPARE(QByteArray::fromStdString(world.find("missing")->remark), "No such file or directory");

        // A chosen link leads to the object; a file is reported under its own name. What was passed over
        // above is not silently called scanned.
        QCOMPARE(world.scan({chosen("link"), chosen("dirlink"), chosen("dir/fifo")}), 0);
        QCOMPARE(world.files(true), Names({"file 2", "dirlink/inside 1", "dir/fifo 8"}));
    }

    void unreadableIsAnError()
    {
        ScanWorld world;
        world.directory("closed");
        world.write("closed/hidden");
        world.write("secret");
        world.write("open");
        ::chmod(world.path("closed").constData(), 0);
        ::chmod(world.path("secret").constData(), 0);
        QCOMPARE(::seteuid(65534), 0);
        const int end = world.scan();
        QCOMPARE(::seteuid(0), 0);
        ::chmod(world.path("closed").constData(), 0755);
        QCOMPARE(end, 0);
        QCOMPARE(world.files(true), Names({"closed 8", "open 1", "secret 8"}));
        QCOMPARE(QByteArray::fromStdString(world.find("closed")->remark), "Permission denied");
    }

    void linksAreFollowedOnceOrNotAtAll()
    {
        ScanWorld world;
        world.directory("../elsewhere");
        world.write("../elsewhere/far");
        world.write("../outside", "infected");
        world.directory("d");
        world.write("d/near");
        const std::pair<const char*, const char*> links[] = {{"../outside", "a-file"},
                                                             {"../elsewhere", "b-dir"},
                                                             {"../elsewhere", "c-again"},
                                                             {"..", "d/up"},
                                                             {".", "d/self"},
                                                             {"nowhere", "dangling"},
                                                             {"circle2", "circle1"},
                                                             {"circle1", "circle2"},
                                                             {"/proc/self/status", "pseudo"},
                                                             {"/dev/null", "device"},
                                                             {"../outside", "z-file"},
                                                             {"d/near", "a-near"},
                                                             {"../z", "d/z"},
                                                             {"../elsewhere/far", "a-far"}};
        world.write("z");
        for (const auto& [target, name] : links)
            QCOMPARE(::symlink(target, world.path(name).constData()), 0);
        QCOMPARE(world.scan(), 0);
        QCOMPARE(world.files(true), Names({"d/near 1", "z 1"}));
        QCOMPARE(world.directories(), Names({"", "/d"}));
        world.walk.followLinks = true;
        QCOMPARE(world.scan(), 0);
        QCOMPARE(world.files(true), Names({world.path("../elsewhere/far") + " 1",
                                           world.path("../outside") + " 2", "d/near 1", "z 1"}));
        QCOMPARE(world.directories(), Names({"", "/b-dir", "/d"}));
    }

    void otherFileSystems()
    {
        ScanWorld world;
        world.walk.crossFileSystems = true;
        QCOMPARE(world.scan({"/proc", "/proc/self", "/sys"}), 0);
        QCOMPARE(world.directories(), Names{});
        QCOMPARE(world.statistics.scScanError, 3u);

        struct stat here = {};
        struct stat there = {};
        QVERIFY(::stat(world.path().constData(), &here) == 0 && ::stat("/dev/shm", &there) == 0);
        QVERIFY2(here.st_dev != there.st_dev, "needs a second file system at /dev/shm");
        QTemporaryDir other("/dev/shm/vardo-test-XXXXXX");
        world.write(other.path().toLocal8Bit() + "/far");
        QCOMPARE(::symlink(other.path().toLocal8Bit().constData(), world.path("link").constData()), 0);
        world.walk.followLinks = true;
        QCOMPARE(world.scan(), 0);
        QCOMPARE(world.files(), Names{"link/far"});
        world.walk.crossFileSystems = false;
        QCOMPARE(world.scan(), 0);
        QCOMPARE(world.files(), Names{});
        QCOMPARE(world.find("link")->remark, std::string("not entered: another file system"));
        // The file system of a chosen object is never the wrong one, unless it holds no files.
        QCOMPARE(world.scan({other.path().toStdString()}), 0);
        QCOMPARE(world.statistics.scFiles, 1u);
    }

    /// Its files lie on other devices than its directories.
    void overlays()
    {
        ScanWorld world;
        for (const char* name : {"../lower", "../upper"}) {
            world.directory(name);
            QCOMPARE(::mount("none", world.path(name).constData(), "tmpfs", 0, ""), 0);
        }
        for (const char* name : {"../upper/files", "../upper/work", "../lower/d"})
            world.directory(name);
        for (const char* name : {"../lower/a", "../lower/d/b", "../upper/files/c"})
            world.write(name);
        const QByteArray layers = "lowerdir=" + world.path("../lower") +
                                  ",upperdir=" + world.path("../upper/files") +
                                  ",workdir=" + world.path("../upper/work");
        QCOMPARE(::mount("none", world.path().constData(), "overlay", 0, layers.constData()), 0);
        const int result = world.scan();
        for (const char* name : {"", "../upper", "../lower"})
            ::umount2(world.path(name).constData(), MNT_DETACH);
        QCOMPARE(result, 0);
        QCOMPARE(world.files(true), Names({"a 1", "c 1", "d/b 1"}));
    }

    void quarantineIsSkipped()
    {
        ScanWorld world;
        world.plan.quarantineDir = world.path("q").toStdString() + "/";
        world.directory("q");
        world.write("q/old", "infected");
        world.write("z");
        world.directory("q/deep");
        world.write("q/deep/old", "infected");
        for (const auto& [target, name] : {std::pair("q", "way-in"), {"q/old", "file"}, {"q/deep", "deep"}})
            QCOMPARE(::symlink(target, world.path(name).constData()), 0);
        world.walk.followLinks = true;
        world.plan.action = SCANACT_DELETE;
        QCOMPARE(world.scan(), 0);
        QCOMPARE(world.files(), Names{"z"});
        std::vector<std::string> chosen;
        for (const char* name : {"q/old", "q/deep/old", "q/deep", "q", "file"})
            chosen.push_back(world.path(name).toStdString());
        QCOMPARE(world.scan(chosen), 0);
        QCOMPARE(world.statistics.scScanError, 5u);
        QCOMPARE(world.find("q/old")->remark, std::string("not scanned: it is in quarantine"));
        QCOMPARE(ScanWorld::list(world.path("q")), Names({"deep", "old"}));
    }

    /// What was chosen by name is meant. The settings' own test has the other filters.
    void filtersDoNotApplyToWhatWasChosen()
    {
        ScanWorld world;
        world.write("b.qst", "more than ten bytes");
        world.write("c.exe", "small");
        world.walk.extensions = {vardo::ExtensionFilter::Sense::Without, "qst"};
        world.walk.maxSize = 10;
        QCOMPARE(world.scan(), 0);
        QCOMPARE(world.files(), Names{"c.exe"});
        QCOMPARE(world.scan({world.path("b.qst").toStdString()}), 0);
        QCOMPARE(world.files(), Names{"b.qst"});
        // A list without names lets all through.
        world.walk = {};
        world.walk.extensions = {vardo::ExtensionFilter::Sense::Only, " ,;"};
        QCOMPARE(world.scan(), 0);
        QCOMPARE(world.files(), Names({"b.qst", "c.exe"}));
    }

    void deepTrees()
    {
        // Deeper than any path, and than there are descriptors: made and walked step by step.
        ScanWorld world;
        constexpr int depth = 1000;
        const QByteArray name(10, 'd');
        int directory = ::open(world.path().constData(), O_RDONLY | O_DIRECTORY);
        for (int i = 0; i < depth; ++i) {
            QCOMPARE(::mkdirat(directory, name.constData(), 0755), 0);
            QCOMPARE(::close(::openat(directory, "file", O_CREAT | O_WRONLY, 0644)), 0);
            const int next = ::openat(directory, name.constData(), O_RDONLY | O_DIRECTORY);
            QVERIFY(next >= 0);
            ::close(directory);
            directory = next;
        }
        ::close(directory);
        QCOMPARE(world.scan(), 0);
        QCOMPARE(world.statistics.scClean, unsigned(depth));
        QCOMPARE(world.statistics.scScanError, 0u);
        QCOMPARE(::system(("rm -rf '" + world.path() + "'").constData()), 0);
    }

    void movedWhileWalking()
    {
        // A branch so deep that the walk has let go of its upper end is moved away with the walk inside.
        ScanWorld world;
        world.directory("../other");
        QByteArray branch = "branch";
        world.directory(branch);
        world.write("branch/zz-last");
        for (int i = 0; i < 60; ++i) {
            branch += "/d";
            world.directory(branch);
        }
        world.write(branch + "/bottom");
        world.onCall = [&world, moved = false](const Call& call) mutable {
            if (!moved && call.name.size() > world.path().toStdString().size() + 100) {
                moved = true;
                if (::rename(world.path("branch/d").constData(), world.path("../other/d").constData()) != 0)
                    return static_cast<int>(CALLBACK_STOP);
            }
            return static_cast<int>(CALLBACK_CONTINUE);
        };
        world.service.delayMs = 1;
        QCOMPARE(world.scan(), 0);
        // Whatever was missed is told; nothing outside is taken for something inside.
        QVERIFY(world.find("branch/zz-last") || world.statistics.scScanError > 0);
        QVERIFY(!world.files().contains(world.path("../other/d")));
    }

    void callsThatBlockForEver()
    {
        for (const bool stop : {true, false}) {
            ScanWorld world;
            world.session.maxSeconds = 1;
            world.directory("d");
            for (const char* name : {"a", "d/b", "d/dead1", "d/e", "d/dead2", "d/f", "z"})
                world.write(name);
            serverIsDead = true;
            QElapsedTimer asked;
            world.onCall = [&](const Call& call) {
                if (!stop || !call.name.empty())
                    return static_cast<int>(CALLBACK_CONTINUE);
                asked.start();
                return static_cast<int>(CALLBACK_STOP);
            };
            const int result = world.scan();
            const qint64 took = stop ? asked.elapsed() : 0;
            serverIsDead = false;
            QTRY_COMPARE(heldUp.load(), 0); // they unwind behind the scan's back
            QCOMPARE(result, stop ? int(SCANRESULT_CANCELLED) : 0);
            QVERIFY2(took < 250, QByteArray::number(took).constData());
            if (stop)
                continue;
            QCOMPARE(world.files(true), Names({"a 1", "d/b 1", "d/dead1 8", "d/dead2 8", "d 8", "z 1"}));
            QCOMPARE(world.find("d/dead1")->remark,
                     std::string("not scanned: opening it takes longer than 1 s"));
        }
    }

    void hardLinksAreScannedOnce()
    {
        ScanWorld world;
        world.write("a", "infected");
        for (const char* name : {"b", "c"})
            QCOMPARE(::link(world.path("a").constData(), world.path(name).constData()), 0);
        world.write("copy", "infected");
        QCOMPARE(world.scan(), 0);
        QCOMPARE(world.files(true), Names({"a 2", "b 2", "c 2", "copy 2"}));
        QCOMPARE(world.service.submitted.load(), 2);
    }

    void runsOutOfDescriptors()
    {
        ScanWorld world;
        for (int i = 0; i < 200; ++i)
            world.write("f" + QByteArray::number(i));
        rlimit before = {};
        QCOMPARE(::getrlimit(RLIMIT_NOFILE, &before), 0);
        std::vector<int> taken;
        while (taken.size() < 300)
            taken.push_back(::open("/dev/null", O_RDONLY));
        const rlimit tight{static_cast<rlim_t>(taken.back() + 12), before.rlim_max}; // the window wants more
        QCOMPARE(::setrlimit(RLIMIT_NOFILE, &tight), 0);
        const int result = world.scan();
        ::setrlimit(RLIMIT_NOFILE, &before);
        for (const int fd : taken)
            ::close(fd);
        QCOMPARE(result, 0);
        QCOMPARE(world.statistics.scClean, 200u);
    }
};

VARDO_ROOT_TEST_MAIN(TestWalk)
#include "tst_walk.moc"
