#include "base/paths.h"
#include "base/uniquefd.h"
#include "libvardo/quarantinefile.h"
#include "quarantine/recordfile.h"
#include "tests/support/sandbox.h"

#include <QApplication>
#include <QDir>
#include <QProcess>
#include <QTest>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <optional>

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

const std::string quarantineDir = paths::quarantine;
const std::string notesDir = quarantineDir + "/.restore";

/// What the quarantine's program says; nothing when it fails.
std::optional<QByteArray> run(const QStringList& arguments)
{
    QProcess process;
    process.start(VARDOQUARANTINE, arguments);
    const bool ended = process.waitForFinished() && process.exitStatus() == QProcess::NormalExit;
    return ended && process.exitCode() == 0 ? std::optional(process.readAllStandardOutput()) : std::nullopt;
}

/// Quarantines a file as the engine does. False when that fails.
bool moveIntoQuarantine(const fs::path& path)
{
    const base::UniqueFd parent(::open(path.parent_path().c_str(), O_RDONLY | O_DIRECTORY));
    const base::UniqueFd fd(::open(path.c_str(), O_RDONLY));
    struct stat status = {};
    if (!fd || ::fstat(fd.get(), &status) != 0)
        return false;
    const vardo::ScannedFile file{parent.get(), path.filename(), fd.get(), vardo::fileId(status)};
    return bool(vardo::quarantineFile(file, "Test.Virus", quarantineDir, [] { return true; }));
}

QStringList files(const std::string& directory)
{
    return QDir(QString::fromStdString(directory)).entryList(QDir::Files | QDir::Hidden, QDir::Name);
}

std::vector<quarantine::Record> records()
{
    return quarantine::parseRecords(quarantine::RecordFile().read().value_or(""));
}

/// Runs `work` in a process that is killed at its `count`th system call. False when it ended before.
template <class Work>
bool killedAtCall(int count, const Work& work)
{
    const pid_t child = ::fork();
    if (child == 0) {
        ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        ::raise(SIGSTOP);
        work();
        ::_exit(0);
    }
    int status = 0;
    for (int calls = 0; ::waitpid(child, &status, 0) == child && WIFSTOPPED(status); ++calls) {
        if (calls == count) {
            ::kill(child, SIGKILL);
            ::waitpid(child, &status, 0);
            return true;
        }
        if (::ptrace(PTRACE_SYSCALL, child, nullptr, nullptr) != 0)
            qFatal("cannot trace: %s", std::strerror(errno));
    }
    return false;
}

} // namespace

class TestKilled : public QObject
{
    Q_OBJECT

  private slots:
    void init()
    {
        fs::remove_all(quarantineDir);
        fs::create_directory(quarantineDir);
        fs::permissions(quarantineDir, fs::perms(03770));
        sandbox::writeFile(paths::quarantineRecords, "");
        for (const fs::path directory : {"/root/tree", "/var/Quillstone/tree"}) {
            fs::remove_all(directory);
            fs::create_directory(directory);
        }
    }

    void survivesAKill_data()
    {
        QTest::addColumn<QString>("tree");
        QTest::newRow("copy") << "/root/tree"; // another file system than the quarantine
        QTest::newRow("move") << "/var/Quillstone/tree";
    }

    /// A process that quarantines is killed at each of its system calls. The file is then whole at one of the
    /// two places at least, and what is in quarantine can be listed and put back.
    void survivesAKill()
    {
        QFETCH(QString, tree);
        std::vector<fs::path> paths;
        std::vector<std::string> contents;
        for (bool killed = true; killed;) {
            const int count = static_cast<int>(paths.size());
            const fs::path& path = paths.emplace_back(fs::path(tree.toStdString()) / std::to_string(count));
            contents.push_back("infected " + std::to_string(count) + std::string(1'500'000, 'x'));
            sandbox::writeFile(path, contents.back());
            killed = killedAtCall(count, [&path] { moveIntoQuarantine(path); });
            if (fs::exists(path))
                QVERIFY(sandbox::readFile(path) == contents.back());
            QVERIFY2(count < 1000, "it never ends");
        }
        QVERIFY2(paths.size() > 30, qPrintable(QString::number(paths.size())));
        const qsizetype arrived = files(quarantineDir).size();
        QVERIFY(arrived > 0);
        QVERIFY(!fs::exists(paths.back()));
        QVERIFY(run({"repair"}));
        QVERIFY(run({"list"}));
        QCOMPARE(records().size(), std::size_t(arrived));
        QCOMPARE(files(notesDir).size(), arrived);

        // Where it is at both places, the one in quarantine has to do.
        const QByteArray listed = run({"list", "--json"}).value_or("");
        for (const fs::path& path : paths) {
            if (listed.contains('"' + QByteArray::fromStdString(path.string()) + '"'))
                fs::remove(path);
        }
        QVERIFY(run(QStringList("restore") + files(quarantineDir)));
        for (std::size_t i = 0; i < paths.size(); ++i)
            QVERIFY2(sandbox::readFile(paths[i]) == contents[i], paths[i].c_str());
        QCOMPARE(files(quarantineDir) + files(notesDir), QStringList());
    }
};

VARDO_SANDBOX_TEST_MAIN(TestKilled, 0, 0)
#include "tst_killed.moc"
