#include "shell/userconf.h"

#include "shell/paths.h"
#include "tests/support/sandbox.h"

#include <QApplication>
#include <QTest>

#include <cstdlib>
#include <memory>

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

    void existingFileStaysAsItIs()
    {
        fs::create_directory(ownDir);
        sandbox::writeFile(ownConf, "");
        QCOMPARE(madeConf(), std::string(ownConf));
        QCOMPARE(sandbox::readFile(ownConf), std::string());
    }

    void missingMainConfigurationLeavesOutItsPaths()
    {
        fs::remove(paths::qsavConf);
        sandbox::writeFile(paths::vardoConf, "[Scan]\nAction = log\n");
        QCOMPARE(madeConf(), std::string(ownConf));
        QCOMPARE(sandbox::readFile(ownConf), std::string("#*END\n\n[Scan]\nAction =log\n\n"));
    }

    void unusableDirectoriesFail()
    {
        chmod(home, 0500);
        QCOMPARE(madeConf(), std::string("(null)"));
        chmod(home, 0700);
        fs::create_directory(ownDir);
        chmod(ownDir, 0600);
        QCOMPARE(madeConf(), std::string("(null)"));
        chmod(ownDir, 0700);
        fs::remove(ownDir);
        sandbox::writeFile(ownDir, "a file");
        QCOMPARE(madeConf(), std::string("(null)"));
    }

    void removesQuotesAtBothEndsOnly_data()
    {
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<QByteArray>("after");
        const auto row = [](const char* name, const char* before, const char* after) {
            QTest::newRow(name) << QByteArray(before) << QByteArray(after);
        };
        row("usual", "    Key = \"value\"\n", "Key =value\n\n");
        row("no value", "Key = \"\"\n", "Key =\n\n");
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
    }

    void removesQuotesAtBothEndsOnly()
    {
        QFETCH(QByteArray, before);
        QTEST(QByteArray::fromStdString(withoutQuotes(before.toStdString())), "after");
    }

    void longLinesEndTheCopy()
    {
        const std::string longest = "K=" + std::string(1020, 'v');
        QCOMPARE(withoutQuotes(longest + "\nA=1\n"), longest + "\nA=1\n\n");
        QCOMPARE(withoutQuotes(longest + "v\nA=1\n"), longest + "\n");
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
