#include "installation/userconf.h"

#include "base/paths.h"
#include "tests/support/sandbox.h"

#include <QApplication>
#include <QTest>

#include <csignal>
#include <cstdlib>
#include <memory>

#include <sys/resource.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

constexpr char home[] = "/home/tester";
constexpr char ownDir[] = "/home/tester/.vardo";
constexpr char ownConf[] = "/home/tester/.vardo/vardo.conf";

std::string madeConf()
{
    const std::unique_ptr<char, decltype(&std::free)> path(createUserConf(), &std::free);
    return path ? path.get() : "(null)";
}

mode_t modeOf(const char* path)
{
    struct stat status;
    return stat(path, &status) == 0 ? status.st_mode & 07777 : 0;
}

std::string withoutQuotes(const std::string& content)
{
    const char path[] = "/tmp/quoted.conf";
    sandbox::writeFile(path, content);
    return removeConfQoutes(path) == 0 ? sandbox::readFile(path) : "(failed)";
}

} // namespace

class TestUserConf : public QObject
{
    Q_OBJECT

  private slots:
    void init()
    {
        chmod(home, 0755);
        sandbox::makeInstallation();
        umask(022);
    }

    void joinsTheTwoSharedFiles()
    {
        sandbox::writeFile(paths::qsavConf, "[path]\n"
                                            "LocalSocketPath = /run/qsav\n"
                                            "AVSpidPATH = /run/qsav.pid\n"
                                            "Signatures = /var/sig\n"
                                            "[Service]\nIdleMinutes = 5\n");
        sandbox::writeFile(paths::vardoConf, "[path]\nSignatures = /elsewhere\n"
                                             "[Scan]\nAction = \"ask (me)\"\n");
        QCOMPARE(madeConf(), std::string(ownConf));
        QCOMPARE(sandbox::readFile(ownConf), std::string("#*END\n"
                                                         "\n"
                                                         "[Scan]\n"
                                                         "Action =ask \\(me)\n"
                                                         "\n"
                                                         "[path]\n"
                                                         "AVSpidPATH =/home/tester/.vardo/qsav.pid\n"
                                                         "LocalSocketPath =/home/tester/.vardo/qsav\n"
                                                         "Signatures =/var/sig\n"
                                                         "\n"));
        QCOMPARE(modeOf(ownDir), mode_t(0700));
        // The mode 0600 that the file is created with does not outlive the removal of the quotes.
        QCOMPARE(modeOf(ownConf), mode_t(0644));
        QVERIFY(!fs::exists("/home/tester/.vardo/.vardo.conf.tmp"));
    }

    void missingMainConfigurationLeavesOutItsPaths()
    {
        fs::remove(paths::qsavConf);
        sandbox::writeFile(paths::vardoConf, "[Scan]\nAction = log\n");
        QCOMPARE(madeConf(), std::string(ownConf));
        QCOMPARE(sandbox::readFile(ownConf), std::string("#*END\n\n[Scan]\nAction =log\n\n"));
    }

    /// No room for the content: the start fails. What was made is used as it stands from then on.
    void halfMadeFileIsUsedNextTime()
    {
        rlimit before;
        getrlimit(RLIMIT_FSIZE, &before);
        signal(SIGXFSZ, SIG_IGN);
        const rlimit full{4, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &full);
        const std::string first = madeConf();
        setrlimit(RLIMIT_FSIZE, &before);
        QCOMPARE(first, std::string("(null)"));
        QCOMPARE(sandbox::readFile(ownConf), std::string("#*EN"));
        QCOMPARE(madeConf(), std::string(ownConf));
        QCOMPARE(sandbox::readFile(ownConf), std::string("#*EN"));
    }

    void unusableHomesFail()
    {
        chmod(home, 0500);
        QCOMPARE(madeConf(), std::string("(null)"));
        chmod(home, 0700);
        fs::create_directory(ownDir);
        chmod(home, 0500); // even if nothing had to be made in it
        QCOMPARE(madeConf(), std::string("(null)"));
        chmod(home, 0700);
        chmod(ownDir, 0600);
        QCOMPARE(madeConf(), std::string("(null)"));
        chmod(ownDir, 0700);
        // Nothing is made at the end of a link.
        fs::create_symlink("/tmp/elsewhere", ownConf);
        QCOMPARE(madeConf(), std::string("(null)"));
        fs::remove_all(ownDir);
        fs::create_symlink("/tmp/elsewhere", ownDir);
        QCOMPARE(madeConf(), std::string("(null)"));
        QVERIFY(!fs::exists("/tmp/elsewhere"));
        fs::remove(ownDir);
        sandbox::writeFile(ownDir, "a file");
        QCOMPARE(madeConf(), std::string("(null)"));
    }

    void removesQuotesAtBothEndsOnly_data()
    {
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<QByteArray>("after");
        const std::string longest = "K=" + std::string(1020, 'v');
        const auto row = [](const char* name, const std::string& before, const std::string& after) {
            QTest::newRow(name) << QByteArray::fromStdString(before) << QByteArray::fromStdString(after);
        };
        row("usual", "    Key = \"value\"\n", "Key =value\n\n");
        row("quotes only", "Key = \"\"\"\"\n", "Key =\n\n");
        row("many quotes", "Key=\"\"a\"b\"\"\n", "Key=a\"b\n\n");
        row("blanks inside", "Key = \" a \"\n", "Key = a \n\n");
        row("second sign", "Key = \"a=\"b\"\"\n", "Key =a=\"b\n\n");
        row("comment", "; a = \"b\"\n", "; a =b\n\n");
        row("no key", "  = \"b\"\n", "= \"b\"\n\n");
        row("heading and end mark", "  #*END \n\n [Scan] \n", "#*END\n\n[Scan]\n\n");
        row("escapes stay", "Key = \"a\\(b\\\\\"\n", "Key =a\\(b\\\\\n\n");
        row("no last newline", "Key = \"v\"", "Key =v\n");
        row("empty", "", "\n");
        row("longest line", longest + "\nA=1\n", longest + "\nA=1\n\n");
        row("longer, ends the copy", longest + "v\nA=1\n", longest + "\n");
    }

    void removesQuotesAtBothEndsOnly()
    {
        QFETCH(QByteArray, before);
        QTEST(QByteArray::fromStdString(withoutQuotes(before.toStdString())), "after");
    }

    void failureLeavesTheFile()
    {
        QCOMPARE(removeConfQoutes(nullptr), -1);
        QCOMPARE(removeConfQoutes("/tmp/none.conf"), -1);
        fs::create_directory(ownDir);
        sandbox::writeFile(ownConf, "K = \"v\"\n");
        chmod(ownDir, 0500);
        QCOMPARE(removeConfQoutes(ownConf), -1);
        QCOMPARE(sandbox::readFile(ownConf), std::string("K = \"v\"\n"));
        chmod(ownDir, 0700);

        // A link in the place of the temporary file is not written through.
        sandbox::writeFile("/tmp/precious", "kept");
        fs::create_symlink("/tmp/precious", "/home/tester/.vardo/.vardo.conf.tmp");
        QCOMPARE(removeConfQoutes(ownConf), -1);
        QCOMPARE(sandbox::readFile("/tmp/precious"), std::string("kept"));
    }
};

VARDO_SANDBOX_TEST_MAIN(TestUserConf, 1000, 1000)
#include "tst_userconf.moc"
