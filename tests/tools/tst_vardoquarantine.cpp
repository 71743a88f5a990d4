#include "base/paths.h"
#include "base/uniquefd.h"
#include "libvardo/quarantinefile.h"
#include "quarantine/quarantined.h"
#include "quarantine/recordfile.h"
#include "tests/support/sandbox.h"

#include <QApplication>
#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

#include <csignal>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

using Lines = QList<QByteArray>;

namespace {

const std::string quarantineDir = paths::quarantine;
const std::string notesDir = quarantineDir + "/.restore";
const fs::path home = "/root"; // another file system than the quarantine

struct Outcome
{
    int code;
    QByteArray out;
    QByteArray err;

    Lines lines() const { return out.split('\n').mid(0, out.count('\n')); }
};

Outcome run(const QList<QByteArray>& arguments)
{
    QStringList texts;
    for (const QByteArray& argument : arguments)
        texts.append(QFile::decodeName(argument));
    QProcess process;
    process.start(VARDOQUARANTINE, texts);
    if (!process.waitForFinished())
        process.kill();
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            process.readAllStandardOutput(), process.readAllStandardError()};
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

/// The same of a new file of this name, with its record.
void quarantineNew(const std::string& name, bool recorded = true)
{
    sandbox::writeFile(home / name, "infected " + name);
    if (!moveIntoQuarantine(home / name) ||
        (recorded && !quarantine::recordQuarantined(name.c_str(), "Test.Virus")))
        qFatal("cannot quarantine %s", name.c_str());
}

QStringList files(const std::string& directory)
{
    return QDir(QString::fromStdString(directory)).entryList(QDir::Files | QDir::Hidden, QDir::Name);
}

std::vector<quarantine::Record> records()
{
    return quarantine::parseRecords(quarantine::RecordFile().read().value_or(""));
}

/// What is in quarantine: the files, the number of notes, the recorded names.
QString state()
{
    QString text = files(quarantineDir).join(' ') + QString(" | %1 |").arg(files(notesDir).size());
    for (const auto& record : records())
        text += ' ' + QString::fromStdString(record.name);
    return text;
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

class TestVardoquarantine : public QObject
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

    void wrongUse()
    {
        const std::pair<Lines, const char*> rows[] = {
            {{}, "nothing to do"},
            {{"lst"}, "unknown command: lst"},
            {{"--jso\n", "list"}, "unknown option: --jso\\x0A"},
            {{"restore"}, "restore needs the name of a file"},
            {{"--quarantine-dir=/none", "list"}, "cannot open the quarantine: No such file"},
            {{"delete", "../vardo/bad"}, "not the name of a file"},
            {{"delete", ".restore"}, ".restore: Is a directory"},
            {{"restore", "/root/x"}, "not the name of a file"},
            {{"restore", "none"}, "none: No such file"},
        };
        quarantineNew("bad");
        for (const auto& [arguments, error] : rows) {
            const Outcome outcome = run(arguments);
            QCOMPARE(outcome.code, 2);
            QVERIFY2(outcome.err.startsWith("vardoquarantine: ") && outcome.err.contains(error), error);
        }
        QCOMPARE(state(), "bad | 1 | bad");
    }

    void lists()
    {
        QCOMPARE(run({"list"}).out, QByteArray("The quarantine is empty.\n"));
        quarantineNew("bad");
        quarantineNew("a\n\x1b[2J\xff", false);
        sandbox::writeFile(quarantineDir + "/stray", "123");
        quarantine::RecordFile().append({"gone", "2020 01 01", "1", "Old.Virus"});
        const Outcome text = run({"list"});
        QCOMPARE(text.code, 1);
        const Lines lines = text.lines();
        QCOMPARE(lines.size(), 6);
        QVERIFY2(lines[0].startsWith("a\\x0A\\x1B[2J\\xFF [Test.Virus] 16 bytes, 20") &&
                     lines[0].endsWith(", from /root/a\\x0A\\x1B[2J\\xFF"),
                 lines[0].constData());
        QVERIFY(lines[1].startsWith("bad [Test.Virus] 12 bytes, 20") &&
                lines[1].endsWith(", from /root/bad"));
        QCOMPARE(lines[2], QByteArray("gone [Old.Virus] (no such file)"));
        QCOMPARE(lines[3], QByteArray("stray 3 bytes, from an unknown place (not on the quarantine list)"));
        QCOMPARE(lines[5], QByteArray("2 of these can be mended by 'vardoquarantine repair'."));

        QList<QJsonObject> objects;
        for (const QByteArray& line : run({"--json", "list"}).lines())
            objects.append(QJsonDocument::fromJson(line).object());
        QCOMPARE(objects.size(), 5);
        QCOMPARE(objects[0]["name_bytes"].toString(), QString("610a1b5b324aff"));
        QCOMPARE(objects[1]["origin"].toString(), QString("/root/bad"));
        QCOMPARE(objects[1]["mode"].toString(), QString("0644"));
        QVERIFY(objects[1]["matches"].toBool() && objects[1]["restorable"].toBool());
        QVERIFY(!objects[2]["file"].toBool() && !objects[3]["restorable"].toBool());
        QCOMPARE(objects[4]["mismatches"].toInt(), 2);
    }

    void restores()
    {
        for (const char* name : {"bad", "taken", "worse"})
            quarantineNew(name);
        sandbox::writeFile(home / "taken", "precious");
        const Outcome outcome = run({"restore", "bad", "taken", "worse"});
        QCOMPARE(outcome.code, 2);
        QCOMPARE(outcome.out, QByteArray("bad restored to /root/bad\nworse restored to /root/worse\n"));
        QCOMPARE(outcome.err, QByteArray("vardoquarantine: taken: something else is at its place by now\n"));
        QCOMPARE(sandbox::readFile(home / "bad"), std::string("infected bad"));
        QCOMPARE(sandbox::readFile(home / "taken"), std::string("precious"));
        QCOMPARE(state(), "taken | 1 | taken");
        QCOMPARE(run({"list"}).code, 0);
    }

    void deletes()
    {
        for (const char* name : {"-rf", "x-rf"})
            quarantineNew(name);
        quarantine::RecordFile().append({"gone", "", "", ""});
        const Outcome outcome = run({"--json", "delete", "--", "-rf", "gone"});
        QCOMPARE(outcome.code, 0);
        QCOMPARE(outcome.lines(),
                 Lines({R"({"type":"deleted","name":"-rf"})", R"({"type":"deleted","name":"gone"})"}));
        QCOMPARE(state(), "x-rf | 1 | x-rf");
    }

    void repairs()
    {
        quarantineNew("fine");
        sandbox::writeFile(quarantineDir + "/fine", "another content"); // its note stays all the same
        quarantineNew("deleted");
        fs::remove(quarantineDir + "/deleted");
        quarantineNew("unrecorded", false);
        quarantineNew("un#recordable", false);
        sandbox::writeFile(quarantineDir + "/stray", "123");
        fs::permissions(quarantineDir + "/unrecorded", fs::perms(04755));
        sandbox::writeFile(notesDir + "/.incoming-0123456789abcdef", "half a file");
        const Outcome outcome = run({"repair"});
        QCOMPARE(outcome.err, QByteArray());
        QCOMPARE(outcome.code, 0);
        QCOMPARE(outcome.lines(),
                 Lines({"unfinished copy removed", "note of a file that has gone dropped: deleted",
                        "everybody's rights taken away: unrecorded", "taken off the quarantine list: deleted",
                        "put on the quarantine list: stray", "put on the quarantine list: unrecorded"}));
        const QString mended = "fine stray un#recordable unrecorded | 3 | fine stray unrecorded";
        QCOMPARE(state(), mended);
        QCOMPARE(*records()[1].virus, std::string("unknown"));
        QCOMPARE(*records()[2].virus, std::string("Test.Virus"));
        QCOMPARE(fs::status(quarantineDir + "/unrecorded").permissions(), fs::perms(0600));
        QCOMPARE(run({"list"}).code, 0);
        QCOMPARE(run({"repair"}).out, QByteArray());

        fs::remove(paths::quarantineRecords);
        QCOMPARE(run({"repair"}).lines().size(), 3);
        QCOMPARE(state(), mended);
        // Nothing is listed of a directory elsewhere.
        sandbox::writeFile("/root/tree/file", "x");
        QCOMPARE(run({"--quarantine-dir=/root/tree", "list"}).code, 0);
        QCOMPARE(run({"--quarantine-dir=/root/tree", "repair"}).out, QByteArray());
    }

    /// After a gap in a series the window records another file than the engine has taken.
    void mendsTheWindowsMistake()
    {
        for (int i = 0; i < 3; ++i)
            quarantineNew("bad");
        QCOMPARE(run({"delete", "bad-0"}).code, 0);
        quarantineNew("bad");
        QCOMPARE(state(), "bad bad-0 bad-1 | 3 | bad bad-1 bad-1");
        QCOMPARE(run({"list"}).code, 1);
        QCOMPARE(run({"repair"}).code, 0);
        QCOMPARE(state(), "bad bad-0 bad-1 | 3 | bad bad-1 bad-0");
    }

    void survivesAKill_data()
    {
        QTest::addColumn<QString>("tree");
        QTest::newRow("copy") << "/root/tree";
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
        QCOMPARE(run({"repair"}).code, 0);
        QCOMPARE(run({"list"}).code, 0);
        QCOMPARE(records().size(), std::size_t(arrived));
        QCOMPARE(files(notesDir).size(), arrived);

        // Where it is at both places, the one in quarantine has to do.
        Lines restore{"restore"};
        for (const QString& name : files(quarantineDir))
            restore.append(name.toUtf8());
        const QByteArray listed = run({"list", "--json"}).out;
        for (const fs::path& path : paths) {
            if (listed.contains('"' + QByteArray::fromStdString(path.string()) + '"'))
                fs::remove(path);
        }
        const Outcome restored = run(restore);
        QVERIFY2(restored.code == 0, restored.err.constData());
        for (std::size_t i = 0; i < paths.size(); ++i)
            QVERIFY2(sandbox::readFile(paths[i]) == contents[i], paths[i].c_str());
        QCOMPARE(files(quarantineDir) + files(notesDir), QStringList());
    }
};

VARDO_SANDBOX_TEST_MAIN(TestVardoquarantine, 0, 0)
#include "tst_vardoquarantine.moc"
