#include "engine/vardo.h"
#include "libvardo/scanlog.h"
#include "tests/support/rootmain.h"

#include <QtTest>

#include <csignal>
#include <thread>

#include <sys/resource.h>
#include <sys/stat.h>

class TestScanLog : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> dir_;

    bool open() { return vardo::openScanLog(dir_->path().toStdString(), LOGLEVEL_ALL); }
    QFileInfoList logs() const { return QDir(dir_->path() + "/vardo").entryInfoList(QDir::Files); }
    QByteArray content() const
    {
        QFile file(logs().value(0).filePath());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : "<none>";
    }

  private slots:
    void init() { dir_ = std::make_unique<QTemporaryDir>(); }
    void cleanup() { CloseLog(); }

    void everyLogIsANewFile()
    {
        LogMe(LOGLEVEL_MINIMUM, "nobody hears this\n");
        const mode_t mask = ::umask(077);
        const bool opened = open();
        ::umask(mask);
        QVERIFY(opened);
        LogMe(LOGLEVEL_MINIMUM, "first\n");
        QCOMPARE(content(), "first\n"); // at once
        QVERIFY(open() && open());      // within the same second, most likely
        QVERIFY(!vardo::openScanLog("/none/such", LOGLEVEL_ALL));
        LogMe(LOGLEVEL_MINIMUM, "nobody hears this either\n");
        QCOMPARE(logs().size(), 3);
        qint64 size = 0;
        for (const QFileInfo& log : logs()) {
            QVERIFY(
                QRegularExpression("^scan-\\d{8}-\\d{6}(x\\d{3})?\\.log$").match(log.fileName()).hasMatch());
            size += log.size();
        }
        QCOMPARE(size, 6);
        QCOMPARE(logs().first().size(), 6); // a list of names has them in the order of their making
        struct stat status = {};
        QCOMPARE(::stat((dir_->path() + "/vardo").toUtf8(), &status), 0);
        QCOMPARE(status.st_mode & 0777, 0775u); // others of the group log there too
    }

    void logsAreAsConfigured()
    {
        const QByteArray conf = QFile::encodeName(dir_->filePath("vardo.conf"));
        const QByteArray here = QFile::encodeName(dir_->path());
        const std::tuple<const char*, QByteArray, QByteArray> settings[] = {
            {"minimum", here, "1"},
            {"infected", here, "12"},
            {"all", here, "123"},
            {"7", here, "12"},
            // What cannot be written costs the log and nothing else.
            {"all", "/proc", "<none>"},
            {"all", "/none/such", "<none>"},
        };
        for (const auto& [level, location, text] : settings) {
            QFile file(conf);
            QVERIFY(file.open(QIODevice::WriteOnly) &&
                    file.write("[Log]\nLevel=" + QByteArray(level) + "\nLocation=" + location) > 0);
            file.close();
            Vardo engine(conf.constData());
            QCOMPARE(engine.ReadConfiguration(nullptr), 0);
            QDir(dir_->filePath("vardo")).removeRecursively();
            QCOMPARE(engine.LogInit(nullptr, -1) < 0, text == "<none>");
            for (unsigned char at = LOGLEVEL_MINIMUM; at <= LOGLEVEL_ALL; ++at)
                LogMe(at, "%d", at);
            CloseLog();
            LogMe(LOGLEVEL_MINIMUM, "too late");
            QCOMPARE(content(), text);
        }
    }

    void aNameCannotForgeALine()
    {
        const std::tuple<const char*, const char*, QByteArray> lines[] = {
            {"%s CLEAN\n", "/a\n/b CLEAN\n", "/a\\n/b CLEAN\\n CLEAN\n"},
            {"%s", "/a\n/b CLEAN\n", "/a\\n/b CLEAN\n"},
            {"\n\tbanner %s\n\n", "\xc3\xa4\xff", "\n\tbanner \xc3\xa4\xff\n\n"},
            {"%s\n", "a\\nb", "a\\\\nb\n"},
            {"one\ntwo %s\n", "x", "one\ntwo x\n"},
            {"one\ntwo %s\n", "x\ny", "one\\ntwo x\\ny\n"},
            {"%s\n", "\x1b[2J\r\x7f\b", "\\x1b[2J\\x0d\\x7f\\x08\n"},
            // An order of the terminal in both ways, one byte alone in it, and a text turned around.
            {"%s\n",
             "\x9b"
             "2J\xc2\x9b\xc3\x9b",
             "\\x9b2J\\xc2\\x9b\xc3\x9b\n"},
            {"%s\n",
             "\xe2\x80\xae"
             "fdp.exe\xd8\x9c",
             "\\xe2\\x80\\xaefdp.exe\\xd8\\x9c\n"},
        };
        for (const auto& [format, argument, expected] : lines) {
            init();
            QVERIFY(open());
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
            LogMe(LOGLEVEL_MINIMUM, format, argument);
#pragma GCC diagnostic pop
            QCOMPARE(content(), expected);
        }
    }

    /// What does not fit is left out by lines: what is logged when there is room again is not joined to half
    /// a one.
    void fullDiskCostsWholeLines()
    {
        QVERIFY(open());
        rlimit unlimited = {};
        ::getrlimit(RLIMIT_FSIZE, &unlimited);
        ::signal(SIGXFSZ, SIG_IGN);
        const rlimit full = {60, unlimited.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &full);
        for (int i = 0; i < 5; ++i)
            LogMe(LOGLEVEL_MINIMUM, "%s INFECTED\n", "/home/user/file");
        ::setrlimit(RLIMIT_FSIZE, &unlimited);
        LogMe(LOGLEVEL_MINIMUM, "%s CLEAN\n", "/other");
        QCOMPARE(content(), "/home/user/file INFECTED\n/home/user/file INFECTED\n/other CLEAN\n");
    }

    void plantedLinksAreNotFollowed()
    {
        QTemporaryDir elsewhere;
        const QByteArray link = QFile::encodeName(dir_->path() + "/vardo");
        QVERIFY(QFile::link(elsewhere.path(), link));
        QCOMPARE(::lchown(link, 1234, 1234), 0);
        QVERIFY(!open());
        QVERIFY(QDir(elsewhere.path()).isEmpty());
        QCOMPARE(::lchown(link, 0, 0), 0);
        QVERIFY(open());
    }

    void threadsKeepTheirLinesWhole()
    {
        QVERIFY(open());
        const std::string name(30'000, 'n'); // longer than any buffer
        std::vector<std::thread> threads;
        for (int thread = 0; thread < 4; ++thread)
            threads.emplace_back([&name] {
                for (int i = 0; i < 50; ++i)
                    LogMe(LOGLEVEL_ALL, "%s%%%5d\n", name.c_str(), 42);
            });
        for (std::thread& thread : threads)
            thread.join();
        const QByteArray line = QByteArray::fromStdString(name) + "%   42\n";
        QVERIFY(content() == line.repeated(200));
    }
};

VARDO_ROOT_TEST_MAIN(TestScanLog)
#include "tst_scanlog.moc"
