#include "tests/support/sandbox.h"

#include <QApplication>
#include <QProcess>
#include <QTest>

#include <pwd.h>
#include <unistd.h>

class TestSandbox : public QObject
{
    Q_OBJECT

  private slots:
    void init() { sandbox::makeInstallation(); }

    void hasTheIdsAskedFor()
    {
        QCOMPARE(getuid(), 1000u);
        QCOMPARE(getgid(), 0u);
        const passwd* entry = getpwuid(getuid());
        QVERIFY(entry);
        QCOMPARE(entry->pw_dir, "/home/tester");
        QCOMPARE(access(entry->pw_dir, R_OK | W_OK | X_OK), 0);
    }

    void fixedPathsAreWritableAndFresh()
    {
        for (const char* path : {"/opt/Quillstone/etc/vardo/new", "/opt/Quillstone/var/run/new",
                                 "/var/Quillstone/var/quarantine/vardo/new", "/etc/init.d/new"}) {
            sandbox::writeFile(path, "x");
            QCOMPARE(sandbox::readFile(path), std::string("x"));
            sandbox::makeInstallation();
            QCOMPARE(access(path, F_OK), -1);
        }
    }

    void standInsRecordTheirArguments()
    {
        QCOMPARE(QProcess::execute("/opt/Quillstone/sbin/runasroot", {"/bin/chmod", "666", "a file"}), 0);
        sandbox::setExitCode("crontab", 3);
        QCOMPARE(QProcess::execute("crontab", {"-l"}), 3);
        const std::vector<std::string> expected = {"runasroot /bin/chmod 666 a file", "crontab -l"};
        QCOMPARE(sandbox::recordedCalls(), expected);
    }

    void commandsRunWithOtherIds()
    {
        const std::vector<std::string> command = sandbox::asUser({0, 1000}, {"sh", "-c", "id -u; id -g"});
        QStringList arguments;
        for (const std::string& text : command)
            arguments << QString::fromStdString(text);
        QProcess process;
        process.start(arguments.takeFirst(), arguments);
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.readAllStandardOutput(), QByteArray("0\n1000\n"));
    }
};

VARDO_SANDBOX_TEST_MAIN(TestSandbox, 1000, 0)
#include "tst_sandbox.moc"
