#include "tools/runasroot/commandlist.h"
#include "tools/runasroot/crontab.h"
#include "tools/runasroot/fileactions.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

#include <vector>

using namespace runasroot;

namespace {

bool accepted(const QByteArray& line)
{
    const QList<QByteArray> parts = line.split(' ');
    std::vector<const char*> words;
    for (const QByteArray& part : parts)
        words.push_back(part.constData());
    return findCommand(words).has_value();
}

struct stat statusOf(const QByteArray& path)
{
    struct stat status = {};
    ::lstat(path.constData(), &status);
    return status;
}

} // namespace

class TestRunAsRoot : public QObject
{
    Q_OBJECT

  private slots:
    void init()
    {
        // Resolved, since no part of a path may be a link.
        QVERIFY(folder_.isValid());
        root_ = QFileInfo(folder_.path()).canonicalFilePath().toLocal8Bit();
        file_ = root_ + "/.quarantined";
        QFile file(QString::fromLocal8Bit(file_));
        QVERIFY(file.open(QFile::WriteOnly | QFile::Truncate));
        file.close();
        QCOMPARE(::chmod(file_.constData(), 0600), 0);
    }

    void acceptsTheProductsOwnCommandLinesOnly_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<bool>("expected");
        const QByteArray records = "/opt/Quillstone/etc/vardo/.quarantined";
        const QByteArray crontab = "/opt/Quillstone/etc/qsavupdate";
        QTest::newRow("records") << QByteArray("/bin/chmod 666 " + records) << true;
        QTest::newRow("new records") << QByteArray("/bin/chmod 666 " + records + "_tmp") << true;
        QTest::newRow("touch") << QByteArray("/usr/bin/touch " + crontab) << true;
        QTest::newRow("own") << QByteArray("/bin/chown qsconf:qsconf " + crontab) << true;
        QTest::newRow("crontab") << QByteArray("/usr/bin/crontab " + crontab + " -u qsconf") << true;
        QTest::newRow("cron") << QByteArray("/etc/init.d/cron restart") << true;
        QTest::newRow("update") << QByteArray("/opt/Quillstone/usr/bin/updatenow") << true;
        QTest::newRow("shell") << QByteArray("/bin/sh") << false;
        QTest::newRow("other mode") << QByteArray("/bin/chmod 4777 " + records) << false;
        QTest::newRow("other file") << QByteArray("/bin/chmod 666 /etc/shadow") << false;
        QTest::newRow("way out") << QByteArray("/bin/chmod 666 " + records + "/../../../etc/shadow") << false;
        QTest::newRow("one more word") << QByteArray("/bin/chmod 666 " + records + " /etc/shadow") << false;
        QTest::newRow("one word less") << QByteArray("/bin/chmod 666") << false;
        QTest::newRow("other crontab user")
            << QByteArray("/usr/bin/crontab " + crontab + " -u root") << false;
        QTest::newRow("update with words") << QByteArray("/opt/Quillstone/usr/bin/updatenow --help") << false;
        QTest::newRow("cron stop") << QByteArray("/etc/init.d/cron stop") << false;
    }

    void acceptsTheProductsOwnCommandLinesOnly()
    {
        QFETCH(QByteArray, line);
        QFETCH(bool, expected);
        QCOMPARE(accepted(line), expected);
    }

    void changesAPlainFile()
    {
        QVERIFY(allowWriting(file_));
        QCOMPARE(statusOf(file_).st_mode & 07777U, 0666U);
        const QByteArray crontab = root_ + "/qsavupdate";
        QVERIFY(touch(crontab));
        QVERIFY(S_ISREG(statusOf(crontab).st_mode));
        QVERIFY(giveTo(crontab, ::getuid(), ::getgid()));
    }

    void leavesWhatLiesBehindALinkAlone()
    {
        const QByteArray link = root_ + "/symbolic";
        QCOMPARE(::symlink(file_.constData(), link.constData()), 0);
        QVERIFY(!allowWriting(link));
        QVERIFY(!touch(link));
        const QByteArray hard = root_ + "/hard";
        QCOMPARE(::link(file_.constData(), hard.constData()), 0);
        QVERIFY(!allowWriting(hard));
        QVERIFY(!giveTo(hard, 12345, 12345));
        QCOMPARE(statusOf(file_).st_mode & 07777U, 0600U);
        QCOMPARE(::unlink(hard.constData()), 0);

        const QByteArray folder = root_ + "/folder";
        QCOMPARE(::symlink(root_.constData(), folder.constData()), 0);
        QVERIFY(!allowWriting(folder + "/.quarantined"));
        QCOMPARE(statusOf(file_).st_mode & 07777U, 0600U);
    }

    void refusesWhatIsNoFile()
    {
        const QByteArray fifo = root_ + "/fifo";
        QCOMPARE(::mkfifo(fifo.constData(), 0600), 0);
        QVERIFY(!allowWriting(fifo));
        QVERIFY(!allowWriting(root_));
        QVERIFY(!allowWriting(root_ + "/missing"));
    }

    void installsOnlyTheUpdatesCrontab()
    {
        const std::string tail =
            " * * * /opt/Quillstone/sbin/runasroot  /opt/Quillstone/usr/bin/updatenow 2>&1 "
            "|tee -a /var/Quillstone/var/log/autoupdate.log\n";
        QVERIFY(isUpdateCrontab(""));
        QVERIFY(isUpdateCrontab("30 9" + tail));
        QVERIFY(isUpdateCrontab("0 23" + tail));
        QVERIFY(!isUpdateCrontab("60 9" + tail));
        QVERIFY(!isUpdateCrontab("30 24" + tail));
        QVERIFY(!isUpdateCrontab("-1 9" + tail));
        QVERIFY(!isUpdateCrontab("30 9" + tail + "* * * * * id\n"));
        QVERIFY(!isUpdateCrontab("* * * * * id\n"));
        QVERIFY(!isUpdateCrontab("30 9 * * * id\n"));
    }

    void runsAnythingForRootAndRefusesTheRestForOthers()
    {
        QProcess program;
        program.start(QStringLiteral(RUNASROOT), {QStringLiteral("/bin/echo"), QStringLiteral("a b")});
        QVERIFY(program.waitForFinished());
        if (::getuid() == 0) {
            QCOMPARE(program.exitCode(), 0);
            QCOMPARE(program.readAllStandardOutput(), QByteArray("a b\n"));
            // A copy that anybody can reach, wherever the build is.
            const QString copy = QString::fromLocal8Bit(root_ + "/runasroot");
            QVERIFY(QFile::copy(QStringLiteral(RUNASROOT), copy));
            QCOMPARE(::chmod(root_.constData(), 0755), 0);
            program.start(QStringLiteral("setpriv"),
                          {QStringLiteral("--reuid=1000"), QStringLiteral("--clear-groups"), copy,
                           QStringLiteral("/bin/echo"), QStringLiteral("a b")});
            QVERIFY(program.waitForFinished());
        }
        QCOMPARE(program.exitCode(), 126);
        QCOMPARE(program.readAllStandardOutput(), QByteArray());
    }

  private:
    QTemporaryDir folder_;
    QByteArray root_;
    QByteArray file_;
};

QTEST_GUILESS_MAIN(TestRunAsRoot)
#include "tst_runasroot.moc"
