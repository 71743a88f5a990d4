#include "base/signaturefolder.h"
#include "engine/interface.h"
#include "libvardo/signatureinfo.h"
#include "tests/qsavd/servicehome.h"

#include <QDir>
#include <QProcess>
#include <QTest>

#include <algorithm>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>

/// Which signatures the service holds, and how it takes up others.
class TestSignatures : public QObject
{
    Q_OBJECT

  private slots:
    void saysWhatIsMissing()
    {
        ServiceHome home;
        home.paths().signatureDirs = {home.path("nowhere").toStdString()};
        const auto empty = vardo::startService(home.paths(), true, {});
        QVERIFY(!empty);
        QVERIFY2(empty.error().text.find("No signatures") != std::string::npos, empty.error().text.c_str());

        ServiceHome other;
        other.paths().program = other.path("no-such-program").toStdString();
        QVERIFY(!vardo::startService(other.paths(), true, {}));
        TestScan scan(other);
        QVERIFY(!scan.error().empty());
    }

    void leavesOutBadSignatureFiles()
    {
        ServiceHome home;
        home.write("signatures/bad.ndb", "no:signature\n");
        home.write("signatures/worse.cvd", QByteArray(600, 'c'));
        home.write("signatures/notes.txt", "not a signature file at all");
        QCOMPARE(mkfifo(QFile::encodeName(home.path("signatures/pipe.hdb")).constData(), 0600), 0);
        QVERIFY(QFile::link("/dev/zero", home.path("signatures/endless.cvd")));
        const auto info = vardo::startService(home.paths(), true, {});
        QVERIFY(info);
        QCOMPARE(info.value().signatures, 2ul);
        for (const char* name : {"bad.ndb", "worse.cvd", "pipe.hdb", "endless.cvd"}) {
            const std::string path = home.path("signatures/").toStdString() + name;
            QVERIFY2(info.value().remark.find(path + " was left out: ") != std::string::npos,
                     info.value().remark.c_str());
            QVERIFY(std::ranges::count(info.value().leftOut, path) == 1);
        }
        QCOMPARE(scanOne(home, home.write("found", ServiceHome::marker())).status, int(SCANSTAT_INFECTED));
        vardo::SessionOptions noPacked;
        noPacked.packed = false;
        QCOMPARE(scanOne(home, home.path("found"), noPacked).status, int(SCANSTAT_INFECTED));
    }

    void loadingHasALimit()
    {
        ServiceHome home;
        QProcess service;
        home.startIn(service, {"--load-seconds", "0"});
        const auto info = vardo::startService(home.paths(), true, {});
        QVERIFY(!info && info.error().text.find("takes too long") != std::string::npos);
    }

    void noticesNewSignatures()
    {
        ServiceHome home;
        QCOMPARE(home.start(), 2ul);
        const QString sample = home.write("sample", "a newly known danger");
        QCOMPARE(scanOne(home, sample).status, int(SCANSTAT_CLEAN));
        home.addSignature("new.ndb", "Vardo.New", "newly known danger");
        QTRY_COMPARE(scanOne(home, sample).virus, std::string("Vardo.New"));
        QFile::remove(home.path("signatures/new.ndb"));
        QTRY_COMPARE(home.start(), 2ul);
        // As an update does it, and one at once upon another.
        for (const char* virus : {"Vardo.One", "Vardo.Two", "Vardo.Three"}) {
            QDir(home.path("")).mkdir("next");
            home.write("next/new.ndb",
                       QByteArray(virus) + ":0:*:" + QByteArray("newly known danger").toHex() + "\n");
            QCOMPARE(renameat2(AT_FDCWD, QFile::encodeName(home.path("next")).constData(), AT_FDCWD,
                               QFile::encodeName(home.path("signatures")).constData(), RENAME_EXCHANGE),
                     0);
            QVERIFY(QDir(home.path("next")).removeRecursively());
        }
        QTRY_COMPARE(scanOne(home, sample).virus, std::string("Vardo.Three"));
        // And where it cannot exchange the directory.
        const QString next = QString("signatures/") + base::nextSet;
        QDir(home.path("")).mkdir(next);
        home.addSignature(base::nextSet + QString("/new.ndb"), "Vardo.Four", "newly known danger");
        home.write(QString("signatures/") + base::installMarker, "");
        QTRY_COMPARE(scanOne(home, sample).virus, std::string("Vardo.Four"));
    }

    void substituteCountsUntilTheFirstUpdate()
    {
        ServiceHome home;
        home.addSignature("../old.ndb", "Vardo.Old", "long known danger");
        QVERIFY(QDir(home.path("")).mkdir("substitute"));
        QVERIFY(QFile::rename(home.path("old.ndb"), home.path("substitute/old.ndb")));
        home.paths().substituteDir = home.path("substitute").toStdString();
        const QString sample = home.write("sample", "a long known danger");
        QCOMPARE(scanOne(home, sample).virus, std::string("Vardo.Old"));
        QVERIFY(QFile::copy(QFINDTESTDATA("../updates/test-1.cvd"), home.path("signatures/daily.cvd")));
        QTRY_COMPARE(scanOne(home, sample).status, int(SCANSTAT_CLEAN));
        QCOMPARE(vardo::directoriesInUse(home.paths()), home.paths().signatureDirs);
        QVERIFY(QFile::remove(home.path("signatures/daily.cvd")));
        QTRY_COMPARE(scanOne(home, sample).virus, std::string("Vardo.Old"));
    }

    void newSetComesBesideTheOldOne()
    {
        ServiceHome home;
        const QString sample = home.write("sample", "a newly known danger");
        TestScan running(home);
        running.submit(sample);
        QVERIFY(running.waitForAll());
        const pid_t service = home.pid();
        const QList<pid_t> before = home.holders();
        home.addSignature("new.ndb", "Vardo.New", "newly known danger");
        // Whoever scans meanwhile is served, by the old set or the new one, and the same process listens.
        int scans = 0;
        for (std::string virus; virus.empty() && scans < 10'000; ++scans) {
            const vardo::Verdict verdict = scanOne(home, sample);
            QVERIFY(verdict.status == SCANSTAT_CLEAN || verdict.status == SCANSTAT_INFECTED);
            virus = verdict.virus;
        }
        QVERIFY2(scans > 1 && scans < 10'000, qPrintable(QString::number(scans)));
        QCOMPARE(home.pid(), service);
        running.submit(sample);
        QVERIFY(running.waitForAll());
        QCOMPARE(running.verdict(1).status, int(SCANSTAT_CLEAN));
        QCOMPARE(home.holders().size(), 2);
        running.abandon();
        QTRY_COMPARE(home.holders().size(), 1);
        QVERIFY(home.holders() != before);
    }

    void newSetWaitsForMemory()
    {
        ServiceHome home;
        QProcess service;
        home.startIn(service, {"--spare-percent", "100000000"});
        const QString sample = home.write("sample", "a newly known danger");
        TestScan running(home);
        home.addSignature("new.ndb", "Vardo.New", "newly known danger");
        for (int i = 0; i < 10; ++i) {
            QCOMPARE(scanOne(home, sample).status, int(SCANSTAT_CLEAN));
            QTest::qWait(100);
        }
        QCOMPARE(home.holders().size(), 1);
        running.abandon();
        QTRY_COMPARE(scanOne(home, sample).virus, std::string("Vardo.New"));
    }
};

QTEST_GUILESS_MAIN(TestSignatures)
#include "tst_signatures.moc"
