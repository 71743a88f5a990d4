#include "base/uniquefd.h"
#include "tests/e2e/realwindow.h"
#include "tests/qsavd/servicehome.h"

#include <QElapsedTimer>
#include <QSet>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr off_t wholeSize = 32 << 20;

/// How many small files there are; VARDO_SMALL_FILES=100000 makes a longer test of it.
int smallFiles()
{
    const int wanted = qEnvironmentVariableIntValue("VARDO_SMALL_FILES");
    return wanted > 0 ? wanted : 20'000;
}

bool isInfected(int smallFile)
{
    return smallFile % 100 == 7;
}

void makeSmallFiles(const std::string& home)
{
    for (int i = 0; i < smallFiles(); ++i) {
        const std::string directory = home + "/small/" + std::to_string(i / 1000);
        if (i % 1000 == 0)
            std::filesystem::create_directories(directory);
        const base::UniqueFd file(
            ::open((directory + "/" + std::to_string(i)).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
        const QByteArray content = isInfected(i) ? ServiceHome::marker() : QByteArray("small");
        if (::write(file.get(), content.constData(), std::size_t(content.size())) != content.size())
            qFatal("cannot write file %d", i);
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
    sandbox::writeFile(odd + "cut", std::string(wholeSize, 'x'));
    makeDeepFile(odd);
}

/// A file that grows and shrinks as long as this lives.
class RestlessFile
{
  public:
    explicit RestlessFile(std::string path)
        : thread_([this, path] {
            for (bool whole = false; !ending_; whole = !whole) {
                ::truncate(path.c_str(), whole ? wholeSize : wholeSize / 2);
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            }
        })
    {
    }
    ~RestlessFile()
    {
        ending_ = true;
        thread_.join();
    }

  private:
    std::atomic<bool> ending_ = false;
    std::thread thread_;
};

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
                           "cut ERROR (changed while it was scanned)",
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

/// Scans of a tree that does its worst, while workers die.
class TestHostileTree : public QObject
{
    Q_OBJECT

  private slots:
    void endsAndAccountsForEverything_data();
    void endsAndAccountsForEverything();

  private:
    int watchAndKill(RealWindow& window, unsigned int user);
};

/// Kills all workers ten times during the scan, and gives how many that were.
int TestHostileTree::watchAndKill(RealWindow& window, unsigned int user)
{
    QElapsedTimer timer;
    timer.start();
    window.slowestAnswer();
    int killed = 0;
    int next = smallFiles() / 10;
    QSet<QString> times;
    while (!window.find("VScanStatisticsDialog").exists && window.isRunning() && !timer.hasExpired(120'000)) {
        times.insert(window.text("VProgressWidget/lblTime"));
        if (window.text("VProgressWidget/lblFileScanCntValue").toInt() < next)
            continue;
        next += smallFiles() / 10;
        for (const pid_t worker : product::workers(user))
            killed += ::kill(worker, SIGKILL) == 0;
    }
    const qint64 slowest = window.slowestAnswer();
    qInfo("%lld ms, answers within %lld ms, %d workers killed", timer.elapsed(), slowest, killed);
    [&] {
        QVERIFY(slowest < RealWindow::lively);
        QVERIFY(times.size() >= timer.elapsed() / 1000 - 2);
    }();
    return killed;
}

void TestHostileTree::endsAndAccountsForEverything_data()
{
    QTest::addColumn<unsigned int>("user");
    QTest::addColumn<int>("oddObjects");
    // A directory that is closed to the user is an object; so are the user's settings and the service's pid
    // file.
    QTest::newRow("ordinary user") << 1000u << 14 + 2;
    QTest::newRow("root") << 0u << 13;
}

void TestHostileTree::endsAndAccountsForEverything()
{
    QFETCH(unsigned int, user);
    QFETCH(int, oddObjects);
    product::install("[Scan]\nAction=log\n[Log]\nLevel=all\n"
                     "[Limits]\nMaxFileMB=40\nMaxSeconds=3\nMaxScanMB=16000\nMaxFiles=1000000\n");
    const std::string home = sandbox::homeOf(user);
    const std::string odd = home + "/odd/";
    makeSmallFiles(home);
    makeOddFiles(odd);
    RealWindow window({user, user});
    const RestlessFile restless(odd + "cut");
    QVERIFY(window.click("VMainWidget/lnkScanHome"));
    const int killed = watchAndKill(window, user);
    QVERIFY(killed >= 5);

    const QByteArrayList log = product::logEntries();
    QCOMPARE(entriesOf(log, odd), oddEntries(user == 0));
    int scanned = 0;
    int failed = 0;
    for (const QByteArray& line : entriesOf(log, home + "/small/")) {
        const qsizetype blank = line.indexOf(' ');
        const int number = line.left(blank).split('/').last().toInt();
        scanned += line.mid(blank) == (isInfected(number) ? " INFECTED [Vardo.Marker]" : " CLEAN");
        failed += line.mid(blank) == " ERROR (not scanned: the scanner failed on this file)";
    }
    QCOMPARE(scanned + failed, smallFiles());
    QVERIFY2(failed <= killed, qPrintable(QString("%1 of %2").arg(failed).arg(killed)));
    QCOMPARE(window.text("VScanStatisticsDialog/lblObjsValue").toInt(), smallFiles() + oddObjects);
    QVERIFY(window.click("VScanStatisticsDialog/btnOk"));
    QVERIFY(window.waitForEnd("VProgressWidget"));
    QVERIFY(window.click("VMainWidget/btnClose"));
    QCOMPARE(window.exitCode(), 0);
}

VARDO_WINDOW_TEST_MAIN(TestHostileTree)
#include "tst_hostiletree.moc"
