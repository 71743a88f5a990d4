#include "engine/qsavinfo.h"
#include "libvardo/enginesettings.h"
#include "libvardo/signatureinfo.h"

#include <QtTest>

#include <ctime>

class TestSignatureInfo : public QObject
{
    Q_OBJECT

    QString path(const char* name) const { return dir_->path() + "/" + name; }

    void write(const char* name, const QByteArray& text, const QDateTime& time = {})
    {
        QVERIFY(QDir().mkpath(QFileInfo(path(name)).path()));
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size() && file.flush());
        QVERIFY(time.isNull() || file.setFileTime(time, QFileDevice::FileModificationTime));
    }

    void writeDatabase(const char* name, const char* version, int signatures, qint64 made)
    {
        const QByteArray header = QByteArray("ClamAV-VDB:16 Sep 2021 08-32 -0400:") + version + ':' +
                                  QByteArray::number(signatures) + ":90:" + QByteArray(32, 'f') +
                                  ":sig:builder:" + QByteArray::number(made);
        write(name, header.leftJustified(512) + QByteArray(1000, ':'));
    }

    int info(struct_qsavinfo& info)
    {
        write("conf", "[path]\nSignaturePath = " + path("own").toUtf8() +
                          "\nSystemSignaturePath = " + path("system").toUtf8() + "\n");
        return GetQSAVInfo(QS_BDESystem, path("conf").toUtf8(), info);
    }

    std::unique_ptr<QTemporaryDir> dir_;

  private slots:
    void init() { dir_ = std::make_unique<QTemporaryDir>(); }

    void theNewestCounts()
    {
        const QDateTime older(QDate(2020, 5, 4), QTime(3, 2, 1));
        write("own/test.ndb", "a:0:*:00\n# note\n\nb:0:*:11\nc:0:*:22", older.addDays(1));
        write("own/test.hdb", "b:1:c\n", older);
        write("own/readme.txt", "one\ntwo\n");
        struct_qsavinfo found = {};
        QCOMPARE(info(found), 0);
        QCOMPARE(found.noOfSignature, 4ul);
        QCOMPARE(found.version, "20200505");
        QCOMPARE(found.udate.tm_mday, 5);
        QCOMPARE(found.udate.tm_hour, 3);

        // A set that says when it was made looks no newer for having been installed today.
        write("own/test.ndb", "# Made: 2021-02-03\na:0:*:00\nb:0:*:11\nc:0:*:22");
        QCOMPARE(info(found), 0);
        QCOMPARE(found.noOfSignature, 4ul);
        QCOMPARE(found.version, "20210203");

        // Plain files give no date where there is a database, though they may be newer.
        writeDatabase("system/main.cvd", "62", 1000, 1500000000);
        writeDatabase("system/daily.cld", "27000", 50, 1580000000);
        writeDatabase("system/bytecode.cvd", "335", 5, 1550000000);
        QCOMPARE(info(found), 0);
        QCOMPARE(found.noOfSignature, 1059ul);
        QCOMPARE(found.version, "27000");
        QCOMPARE(std::mktime(&found.udate), 1580000000);
    }

    void brokenFilesAreNoHarm()
    {
        struct_qsavinfo found = {};
        found.noOfSignature = 7;
        QVERIFY(info(found) < 0); // no directories at all
        write("own/short.cvd", "ClamAV-VDB:x:y");
        write("own/other.cld", QByteArray(600, 'x'));
        QVERIFY(QDir().mkpath(path("own/dir.cvd")));
        QVERIFY(info(found) < 0);
        QVERIFY(GetQSAVInfo(QS_UNWSystem, nullptr, found) < 0);
        QCOMPARE(found.noOfSignature, 7ul);
        writeDatabase("own/long.cvd", "a version that is far too long for the record", 3, 1);
        QCOMPARE(info(found), 0);
        QCOMPARE(std::string(found.version), "a version that is f");
    }

    void theEngineNeedsServiceAndSignatures()
    {
        vardo::ServicePaths paths;
        paths.signatureDirs = {path("own").toStdString(), path("system").toStdString()};
        write("system/readme.txt", "none");
        QCOMPARE(vardo::systemType("/bin/true", paths), QS_UNWSystem);
        write("system/a.hdb", "");
        QCOMPARE(vardo::systemType("/bin/true", paths), QS_BDESystem);
        QCOMPARE(vardo::systemType(path("qsavd").toStdString(), paths), QS_UNWSystem);
    }
};

QTEST_GUILESS_MAIN(TestSignatureInfo)
#include "tst_signatureinfo.moc"
