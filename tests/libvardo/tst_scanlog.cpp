#include "engine/interface.h"
#include "libvardo/scanlog.h"

#include <QtTest>

#include <thread>

#include <sys/stat.h>

class TestScanLog : public QObject
{
    Q_OBJECT

  private slots:
    void init() { dir_ = std::make_unique<QTemporaryDir>(); }
    void cleanup() { CloseLog(); }
    void everyLogIsANewFile();
    void levelsFilter();
    void aNameCannotForgeALine_data();
    void aNameCannotForgeALine();
    void textsOfAnyLength();
    void messagesAreInTheFileAtOnce();
    void plantedLinksAreNotFollowed();
    void threadsKeepTheirLinesWhole();

  private:
    bool open(unsigned level = LOGLEVEL_ALL) { return vardo::openScanLog(dir_->path().toStdString(), level); }
    QFileInfoList logs() const { return QDir(dir_->path() + "/vardo").entryInfoList(QDir::Files); }
    QByteArray content() const
    {
        QFile file(logs().value(0).filePath());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : "<none>";
    }

    std::unique_ptr<QTemporaryDir> dir_;
};

void TestScanLog::everyLogIsANewFile()
{
    LogMe(LOGLEVEL_MINIMUM, "nobody hears this\n");
    const mode_t mask = ::umask(077);
    const bool opened = open();
    ::umask(mask);
    QVERIFY(opened);
    LogMe(LOGLEVEL_MINIMUM, "first\n");
    QVERIFY(open() && open()); // within the same second, most likely
    CloseLog();
    LogMe(LOGLEVEL_MINIMUM, "too late\n");
    QCOMPARE(logs().size(), 3);
    qint64 size = 0;
    for (const QFileInfo& log : logs()) {
        QVERIFY(QRegularExpression("^scan-\\d{8}-\\d{6}(-\\d)?\\.log$").match(log.fileName()).hasMatch());
        size += log.size();
    }
    QCOMPARE(size, 6);
    struct stat status = {};
    QCOMPARE(::stat((dir_->path() + "/vardo").toUtf8(), &status), 0);
    QCOMPARE(status.st_mode & 0777, 0775u); // others of the group log there too
    QVERIFY(!vardo::openScanLog("/none/such", LOGLEVEL_ALL));
}

void TestScanLog::levelsFilter()
{
    QVERIFY(open(LOGLEVEL_INFECTED));
    LogMe(LOGLEVEL_MINIMUM, "one %d\n", 1);
    LogMe(LOGLEVEL_INFECTED, "two %s", "\n");
    LogMe(LOGLEVEL_ALL, "three\n");
    CloseLog();
    QCOMPARE(content(), "one 1\ntwo \n");

    QVERIFY(vardo::openScanLog(dir_->path().toStdString() + "/vardo", 0));
    LogMe(LOGLEVEL_MINIMUM, "head\n");
    LogMe(LOGLEVEL_INFECTED, "found\n");
    CloseLog();
    QCOMPARE(QDir(dir_->path() + "/vardo/vardo").entryInfoList(QDir::Files).value(0).size(), 5);
}

void TestScanLog::aNameCannotForgeALine_data()
{
    QTest::addColumn<QByteArray>("format");
    QTest::addColumn<QByteArray>("argument");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("name") << QByteArray("%s CLEAN\n") << QByteArray("/a\n/b CLEAN\n")
                          << QByteArray("/a\\n/b CLEAN\\n CLEAN\n");
    QTest::newRow("at the end") << QByteArray("Scanning %s\n") << QByteArray("/a\n/b")
                                << QByteArray("Scanning /a\\n/b\n");
    QTest::newRow("whole line") << QByteArray("%s") << QByteArray("/a\n/b CLEAN\n")
                                << QByteArray("/a\\n/b CLEAN\n");
    QTest::newRow("as it is") << QByteArray("\n\tbanner\\ %s\n\n") << QByteArray("\xc3\xa4\xff")
                              << QByteArray("\n\tbanner\\ \xc3\xa4\xff\n\n");
    QTest::newRow("line end") << QByteArray("Scanning %s\n") << QByteArray("/a\n")
                              << QByteArray("Scanning /a\\n\n");
    QTest::newRow("lines of the format")
        << QByteArray("one\ntwo %s\n") << QByteArray("x") << QByteArray("one\ntwo x\n");
    QTest::newRow("both") << QByteArray("one\ntwo %s\n") << QByteArray("x\ny")
                          << QByteArray("one\\ntwo x\\ny\n");
    QTest::newRow("terminal") << QByteArray("%s\n") << QByteArray("\x1b[2J\r\x7f\b")
                              << QByteArray("\\x1b[2J\\x0d\\x7f\\x08\n");
}

void TestScanLog::aNameCannotForgeALine()
{
    QFETCH(QByteArray, format);
    QFETCH(QByteArray, argument);
    QFETCH(QByteArray, expected);
    QVERIFY(open());
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    LogMe(LOGLEVEL_MINIMUM, format.constData(), argument.constData());
#pragma GCC diagnostic pop
    CloseLog();
    QCOMPARE(content(), expected);
}

void TestScanLog::textsOfAnyLength()
{
    QVERIFY(open());
    const std::string name(300000, 'n');
    LogMe(LOGLEVEL_ALL, "%s%%%5d\n", name.c_str(), 42);
    LogMe(LOGLEVEL_ALL, "%s", "");
    CloseLog();
    QCOMPARE(content(), QByteArray(300000, 'n') + "%   42\n");
}

void TestScanLog::messagesAreInTheFileAtOnce()
{
    QVERIFY(open());
    LogMe(LOGLEVEL_ALL, "clean\n");
    QCOMPARE(content(), "clean\n");
}

void TestScanLog::plantedLinksAreNotFollowed()
{
    QTemporaryDir elsewhere;
    QVERIFY(QFile::link(elsewhere.path(), dir_->path() + "/vardo"));
    QVERIFY(!open());
    QVERIFY(QDir(elsewhere.path()).isEmpty());
}

void TestScanLog::threadsKeepTheirLinesWhole()
{
    QVERIFY(open());
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([thread] {
            for (int i = 0; i < 2000; ++i)
                LogMe(LOGLEVEL_ALL, "%d %s\n", thread,
                      std::string(20, static_cast<char>('a' + thread)).c_str());
        });
    for (std::thread& thread : threads)
        thread.join();
    CloseLog();
    int lines = 0;
    for (const QByteArray& line : content().split('\n')) {
        if (line.isEmpty())
            continue;
        ++lines;
        QCOMPARE(line, line.left(1) + ' ' + QByteArray(20, static_cast<char>('a' + line[0] - '0')));
    }
    QCOMPARE(lines, 8000);
}

QTEST_GUILESS_MAIN(TestScanLog)
#include "tst_scanlog.moc"
