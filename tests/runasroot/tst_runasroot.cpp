#include "tools/runasroot/commandlist.h"
#include "tools/runasroot/crontab.h"
#include "tools/runasroot/fileactions.h"
#include "tools/runasroot/setback.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <sched.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
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
        QCOMPARE(::chmod(file_.constData(), 0604), 0);
    }

    void acceptsTheProductsOwnCommandLinesOnly()
    {
        const QByteArray records = "/opt/Quillstone/etc/vardo/.quarantined";
        const QByteArray crontab = "/opt/Quillstone/etc/qsavupdate";
        for (const QByteArray& line :
             {"/bin/chmod 666 " + records, "/bin/chmod 666 " + records + "_tmp", "/usr/bin/touch " + crontab,
              "/bin/chown qsconf:qsconf " + crontab, "/usr/bin/crontab " + crontab + " -u qsconf",
              QByteArray("/etc/init.d/cron restart"), QByteArray("/opt/Quillstone/usr/bin/updatenow")})
            QVERIFY2(accepted(line), line);
        for (const QByteArray& line :
             {QByteArray("/bin/sh"), "/bin/chmod 4777 " + records, QByteArray("/bin/chmod 666 /etc/shadow"),
              "/bin/chmod 666 " + records + "/../../../etc/shadow",
              "/bin/chmod 666 " + records + " /etc/shadow", QByteArray("/bin/chmod 666"),
              "/usr/bin/crontab " + crontab + " -u root",
              QByteArray("/opt/Quillstone/usr/bin/updatenow --help"), QByteArray("/etc/init.d/cron stop")})
            QVERIFY2(!accepted(line), line);
    }

    void changesAPlainFile()
    {
        QVERIFY(!allowWriting(file_, ::getuid() + 1)); // somebody else's, moved here
        QCOMPARE(::chmod(file_.constData(), 0600), 0);
        QCOMPARE(bool(allowWriting(file_, ::getuid())), ::getuid() != 0); // root's may be a secret
        QCOMPARE(::chmod(file_.constData(), 0604), 0);
        QVERIFY(allowWriting(file_, ::getuid()));
        QCOMPARE(statusOf(file_).st_mode & 07777U, 0666U);
        const QByteArray crontab = root_ + "/qsavupdate";
        QVERIFY(touch(crontab));
        QVERIFY(S_ISREG(statusOf(crontab).st_mode));
        QVERIFY(giveUpdateCrontab(crontab, ::getuid(), ::getgid()));
        QFile file(QString::fromLocal8Bit(crontab));
        QVERIFY(file.open(QFile::WriteOnly) && file.write("root:secret:") > 0 && file.flush());
        QVERIFY(!giveUpdateCrontab(crontab, ::getuid(), ::getgid()));
    }

    void leavesWhatLiesBehindALinkAlone()
    {
        const QByteArray link = root_ + "/symbolic";
        QCOMPARE(::symlink(file_.constData(), link.constData()), 0);
        QVERIFY(!allowWriting(link, ::getuid()));
        QVERIFY(!touch(link));
        const QByteArray hard = root_ + "/hard";
        QCOMPARE(::link(file_.constData(), hard.constData()), 0);
        QVERIFY(!allowWriting(hard, ::getuid()));
        QVERIFY(!giveUpdateCrontab(hard, 12345, 12345));
        QCOMPARE(statusOf(file_).st_mode & 07777U, 0604U);
        QCOMPARE(::unlink(hard.constData()), 0);

        const QByteArray folder = root_ + "/folder";
        QCOMPARE(::symlink(root_.constData(), folder.constData()), 0);
        QVERIFY(!allowWriting(folder + "/.quarantined", ::getuid()));
        QCOMPARE(statusOf(file_).st_mode & 07777U, 0604U);
    }

    void refusesWhatIsNoFile()
    {
        const QByteArray fifo = root_ + "/fifo";
        QCOMPARE(::mkfifo(fifo.constData(), 0600), 0);
        QVERIFY(!allowWriting(fifo, ::getuid()));
        QVERIFY(!allowWriting(root_, ::getuid()));
        QVERIFY(!allowWriting(root_ + "/missing", ::getuid()));
    }

    void installsOnlyTheUpdatesCrontab()
    {
        const std::string tail =
            " * * * /opt/Quillstone/sbin/runasroot  /opt/Quillstone/usr/bin/updatenow 2>&1 "
            "|tee -a /var/Quillstone/var/log/autoupdate.log\n";
        for (const std::string& good : {std::string(), "30 9" + tail, "0 23" + tail})
            QVERIFY2(isUpdateCrontab(good), good.c_str());
        for (const std::string& bad : {"60 9" + tail, "30 24" + tail, "-1 9" + tail,
                                       "30 9" + tail + "* * * * * id\n", std::string("30 9 * * * id\n")})
            QVERIFY2(!isUpdateCrontab(bad), bad.c_str());
    }

    /// What would end, or go on in, a cron daemon that is started again.
    void setsBackWhatTheCallerPrepared()
    {
        const pid_t child = ::fork();
        if (child == 0) {
            const itimerval soon = {{}, {0, 100'000}};
            ::setitimer(ITIMER_REAL, &soon, nullptr);
            ::signal(SIGTERM, SIG_IGN);
            sigset_t set;
            ::sigfillset(&set);
            ::sigprocmask(SIG_BLOCK, &set, nullptr);
            ::raise(SIGINT);
            const sched_param usual = {};
            ::sched_setscheduler(0, SCHED_BATCH, &usual);
            cpu_set_t all;
            ::sched_getaffinity(0, sizeof all, &all);
            cpu_set_t one = {};
            CPU_SET(0, &one);
            ::sched_setaffinity(0, sizeof one, &one);
            setBack();
            ::usleep(200'000);
            ::sigprocmask(SIG_SETMASK, nullptr, &set);
            ::sched_getaffinity(0, sizeof one, &one);
            ::_exit(::sched_getscheduler(0) == SCHED_OTHER && ::signal(SIGTERM, SIG_DFL) == SIG_DFL &&
                    sigisemptyset(&set) && CPU_EQUAL(&one, &all));
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        QVERIFY(WIFEXITED(status));
        QCOMPARE(WEXITSTATUS(status), 1);
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
