#include "base/uniquefd.h"
#include "tests/e2e/realwindow.h"
#include "tests/qsavd/servicehome.h"

#include <QElapsedTimer>
#include <QSet>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// How many small files there are; VARDO_SMALL_FILES=100000 makes a longer test of it.
int smallFiles()
{
    const int wanted = qEnvironmentVariableIntValue("VARDO_SMALL_FILES");
    return wanted > 0 ? wanted : 20'000;
}

void makeSmallFiles(const std::string& home)
{
    for (int i = 0; i < smallFiles(); ++i) {
        const std::string directory = home + "/small/" + std::to_string(i / 1000);
        std::filesystem::create_directories(directory);
        sandbox::writeFile(directory + "/" + std::to_string(i), "small");
    }
}

constexpr int deepLevels = 25;
const std::string deepName(200, 'd');

std::string deepPath()
{
    std::string path = deepName;
    for (int level = 1; level < deepLevels; ++level)
        path += '/' + deepName;
    return path;
}

/// An infected file so deep that its path is too long for the system.
void makeDeepFile(const std::string& odd)
{
    base::UniqueFd directory(::open(odd.c_str(), O_DIRECTORY | O_CLOEXEC));
    for (int level = 0; level < deepLevels; ++level) {
        ::mkdirat(directory.get(), deepName.c_str(), 0755);
        directory.reset(::openat(directory.get(), deepName.c_str(), O_DIRECTORY | O_CLOEXEC));
    }
    const base::UniqueFd file(::openat(directory.get(), "deep", O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    const QByteArray marker = ServiceHome::marker();
    if (::write(file.get(), marker.constData(), std::size_t(marker.size())) != marker.size())
        qFatal("cannot write the deep file");
}

void makeOddFiles(const std::string& odd)
{
    ::mkdir(odd.c_str(), 0755);
    for (const char* name : {"%n%s", "-rf", "<b>", "=>", "a=>b", "new\nline CLEAN", "\"'", "\xff\xfe"})
        sandbox::writeFile(odd + name, ServiceHome::marker().toStdString());
    ::mkfifo((odd + "fifo").c_str(), 0666);
    ::symlink(".", (odd + "loop").c_str());
    ::symlink("/dev/zero", (odd + "zero").c_str());
    ::mkdir((odd + "closed").c_str(), 0);
    sandbox::writeFile(odd + "secret", "x");
    ::chmod((odd + "secret").c_str(), 0);
    sandbox::writeFile(odd + "large", "x");
    ::truncate((odd + "large").c_str(), 41 << 20);
    sandbox::writeFile(odd + "busy.zip", product::busyArchive().toStdString());
    makeDeepFile(odd);
}

/// What the log must say of the odd files. Who may not read and write a file is told no more, and root
/// nothing. A name ends for that question at its first "=" or ">", and nobody may where no path leads.
QByteArrayList oddEntries(bool root)
{
    QByteArrayList entries{"\"' INFECTED [Vardo.Marker]",
                           "%n%s INFECTED [Vardo.Marker]",
                           "-rf INFECTED [Vardo.Marker]",
                           "<b [Access Denied]",
                           "=> INFECTED [Vardo.Marker]",
                           "a [Access Denied]",
                           "busy.zip ERROR (not wholly scanned: took longer than 3 s)",
                           "closed [Access Denied]",
                           QByteArray::fromStdString(deepPath()) + "/deep [Access Denied]",
                           "large ERROR (not scanned: larger than 40 MB)",
                           "new\\nline CLEAN INFECTED [Vardo.Marker]",
                           root ? "secret CLEAN" : "secret [Access Denied]",
                           "\xff\xfe INFECTED [Vardo.Marker]"};
    if (root)
        entries.removeIf([](const QByteArray& entry) { return entry.endsWith(" [Access Denied]"); });
    return entries;
}

/// What the log says of the files in a directory, without its path.
QByteArrayList entriesOf(const QByteArrayList& log, const std::string& directory)
{
    QByteArrayList entries;
    for (const QByteArray& line : log)
        if (line.startsWith(directory.c_str()))
            entries.append(line.mid(qsizetype(directory.size())));
    return entries;
}

} // namespace

/// A scan of a tree that does its worst.
class TestHostileTree : public QObject
{
    Q_OBJECT

  private slots:
    void endsAndAccountsForEverything_data()
    {
        QTest::addColumn<unsigned int>("user");
        QTest::addColumn<int>("oddObjects");
        // A directory that is closed to the user is an object; so are the user's settings, the service's
        // pid file and what is remembered of clean files.
        QTest::newRow("ordinary user") << 1000u << 13 + 3;
        QTest::newRow("root") << 0u << 12;
    }

    void endsAndAccountsForEverything()
    {
        QFETCH(unsigned int, user);
        QFETCH(int, oddObjects);
        product::install("[Scan]\nAction=log\n[Log]\nLevel=all\n"
                         "[Limits]\nMaxFileMB=40\nMaxSeconds=3\nMaxScanMB=16000\nMaxFiles=1000000\n");
        const std::string home = sandbox::homeOf(user);
        makeSmallFiles(home);
        makeOddFiles(home + "/odd/");
        RealWindow window({user, user});
        QVERIFY(window.click("VMainWidget/lnkScanHome"));
        window.slowestAnswer();
        QElapsedTimer timer;
        timer.start();
        QSet<QString> times;
        while (!window.find("VScanStatisticsDialog").exists && !timer.hasExpired(120'000))
            times.insert(window.text("VProgressWidget/lblTime"));
        QVERIFY(window.slowestAnswer() < RealWindow::lively);
        QVERIFY(times.size() >= timer.elapsed() / 1000 - 2);

        const QByteArrayList log = product::logEntries();
        QCOMPARE(entriesOf(log, home + "/odd/"), oddEntries(user == 0));
        QCOMPARE(entriesOf(log, home + "/small/").size(), smallFiles());
        QCOMPARE(window.text("VScanStatisticsDialog/lblObjsValue").toInt(), smallFiles() + oddObjects);
        QVERIFY(window.click("VScanStatisticsDialog/btnOk"));
        QVERIFY(window.waitForEnd("VProgressWidget"));
        QVERIFY(window.click("VMainWidget/btnClose"));
        QCOMPARE(window.exitCode(), 0);
    }
};

VARDO_WINDOW_TEST_MAIN(TestHostileTree)
#include "tst_hostiletree.moc"
