#include "installation/installation.h"

#include "base/paths.h"
#include "tests/support/sandbox.h"

#include <QApplication>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

class TestInstallation : public QObject
{
    Q_OBJECT

  private slots:
    void init() { sandbox::makeInstallation(); }

    void readsTheKindFromTheTokens_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<int>("kind");
        QTest::newRow("empty") << QByteArray() << -1;
        QTest::newRow("A") << QByteArray("TIER-A") << 0;
        QTest::newRow("B alone") << QByteArray("TIER-B\n") << -1;
        QTest::newRow("B and foreign tokens") << QByteArray("TIER-B MODULE-5 module-1 XTIER-A\n") << -1;
        QTest::newRow("last module wins") << QByteArray("TIER-B MODULE-2 MODULE-4") << 4;
        QTest::newRow("last module wins, reversed") << QByteArray("TIER-B\tMODULE-4\r\nMODULE-2\n") << 2;
        QTest::newRow("module ahead of B") << QByteArray("MODULE-3\nTIER-B\n") << -1;
        QTest::newRow("A behind a module") << QByteArray("TIER-B MODULE-3 TIER-A MODULE-2") << 0;
        QTest::newRow("endless word") << QByteArray(100'000, 'x') + " TIER-A" << -1;
    }

    void readsTheKindFromTheTokens()
    {
        QFETCH(QByteArray, content);
        sandbox::writeFile(paths::versionFile, content.toStdString());
        QTEST(get_Vardo_version(), "kind");
    }

    void refusesWhatIsNoReadableFile()
    {
        unlink(paths::versionFile);
        QCOMPARE(get_Vardo_version(), -1);
        mkdir(paths::versionFile, 0755);
        QCOMPARE(get_Vardo_version(), -1);
        rmdir(paths::versionFile);
        mkfifo(paths::versionFile, 0644);
        QCOMPARE(get_Vardo_version(), -1);
        unlink(paths::versionFile);
        sandbox::writeFile(paths::versionFile, "TIER-A");
        chmod(paths::versionFile, 0);
        QCOMPARE(get_Vardo_version(), -1);
    }
};

VARDO_SANDBOX_TEST_MAIN(TestInstallation, 1000, 1000)
#include "tst_installation.moc"
