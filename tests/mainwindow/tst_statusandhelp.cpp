#include "tests/mainwindow/mainwindowtest.h"

#include <QApplication>
#include <QLabel>
#include <QTest>

#include <filesystem>

namespace fs = std::filesystem;

namespace {

constexpr char versionFile[] = "/opt/Quillstone/etc/vardo-ver";
constexpr char couldNotOpen[] = "Could not open browser!";

void setBrowsers(const std::string& list)
{
    sandbox::writeFile("/opt/Quillstone/etc/vardo/vardo.conf", "[Config]\nBrowsers = \"" + list + "\"\n");
}

/// A program that notes its name and what it is given, a line each, and ends with `code`.
void makeBrowser(const fs::path& path, int code = 0)
{
    sandbox::writeFile(path, "#!/bin/sh\n{ echo \"$0\"; for a; do echo \"$a\"; done; } >/tmp/shown.new\n"
                             "mv /tmp/shown.new /tmp/shown\nexit " +
                                 std::to_string(code) + "\n");
    fs::permissions(path, fs::perms(0755));
}

QStringList shown()
{
    return QString::fromStdString(sandbox::readFile("/tmp/shown")).split('\n', Qt::SkipEmptyParts);
}

} // namespace

/// The product line, the date of the signatures, and the links that open web pages.
class TestStatusAndHelp : public MainWindowTest
{
    Q_OBJECT

    QString productLine() const { return find<QLabel>("lblProductName")->text(); }

  private slots:
    void init()
    {
        sandbox::makeInstallation();
        fs::remove("/tmp/shown");
        scriptedEngine().reset();
        tm& date = scriptedEngine().info.udate;
        date.tm_year = 126;
        date.tm_mon = 10;
        date.tm_mday = 2;
        date.tm_hour = 3;
        date.tm_min = 4;
        openWindow();
    }

    void cleanup() { closeWindow(); }

    void signatureDateIsShownTwice()
    {
        QCOMPARE(textOf("lnkUpdateNow"), "02/11/2026 03:04");
        QCOMPARE(find<QLabel>("lblLastUpdatedDate")->text(), "02/11/2026 03:04");
        scriptedEngine().setResult("GetQSAVInfo", -1);
        window->showStatus();
        QCOMPARE(textOf("lnkUpdateNow"), "00/00/0000 00:00");
        QCOMPARE(find<QLabel>("lblLastUpdatedDate")->text(), "00/00/0000 00:00");
    }

    void configurationIsUnknownAtFirst()
    {
        QStringList asked;
        for (const std::string& call : scriptedEngine().journal())
            asked << QString::fromStdString(call);
        asked = asked.filter("GetQSAVInfo");
        const QString type = QString::number(QS_KAVSystem);
        QCOMPARE(asked, QStringList({"GetQSAVInfo " + type + " (null)", "GetQSAVInfo " + type + " /none"}));
    }

    void versionStandsBehindTheProduct_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("version");
        QTest::newRow("kind") << QByteArray("TIER-A\n") << "TIER-A";
        QTest::newRow("two lines") << QByteArray("TIER-A\nTIER-B\n") << "TIER-A";
        QTest::newRow("long") << QByteArray("123456789012345678901\n") << "1234567890123456789";
        QTest::newRow("no tags") << QByteArray("<b>&\n") << "&lt;b&gt;&amp;";
    }

    void versionStandsBehindTheProduct()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, version);
        sandbox::writeFile(versionFile, content.toStdString());
        window->showStatus();
        const int difference = find<QWidget>("lnkUpdateNow")->font().pointSize() -
                               find<QWidget>("lblProductName")->font().pointSize();
        QVERIFY(difference < 0);
        QCOMPARE(productLine(),
                 QString("<p align=\"right\">Vardo for Linux <font size=\"%1\">( %2 )</font></p>")
                     .arg(difference)
                     .arg(version));
    }

    void emptyVersionIsZero()
    {
        for (const char* content : {"", "\nTIER-A\n"}) {
            sandbox::writeFile(versionFile, content);
            window->showStatus();
            QCOMPARE(productLine(), "<p align=\"right\">Vardo for Linux <font size=\"-4\">( 0 )</font></p>");
        }
    }

    void productLineStaysWithoutVersionFile()
    {
        const QString before = productLine();
        fs::remove(versionFile);
        window->showStatus();
        QCOMPARE(productLine(), before);
        window = std::make_unique<VMainWidget>(nullptr, nullptr, Qt::WindowFlags());
        QCOMPARE(productLine(), "");
    }

    void linksOpenTheirPages_data()
    {
        QTest::addColumn<QByteArray>("link");
        QTest::addColumn<QString>("path");
        QTest::newRow("help") << QByteArray("lnkOnlineHelp") << "/wiki/index.php/Online_Guide";
        QTest::newRow("chat") << QByteArray("lnkLiveChat") << "/choosedepartment.php";
        QTest::newRow("forum") << QByteArray("lnkForum") << "/";
        QTest::newRow("feedback") << QByteArray("lnkFeedback")
                                  << "/english/content/company/feedback/vardo_feedback.asp";
    }

    void linksOpenTheirPages()
    {
        QFETCH(QByteArray, link);
        makeBrowser("/tmp/browser");
        setBrowsers("/tmp/browser");
        click("lnkHelp");
        click(link);
        QTRY_COMPARE(shown().size(), 2);
        const QUrl url(shown().back());
        QCOMPARE(url.scheme(), "http");
        QTEST(url.path(), "path");
        QVERIFY(boxes->seen().empty());
    }

    void firstProgramThatStartsIsTheBrowser()
    {
        makeBrowser("/tmp/second", 1); // it fails, but it has started
        makeBrowser("/tmp/third");
        setBrowsers("/tmp/first,/tmp/second,/tmp/third");
        click("lnkFeedback");
        QTRY_COMPARE(shown().value(0), "/tmp/second");
        QTest::qWait(100);
        QCOMPARE(shown().value(0), "/tmp/second");
        QVERIFY(boxes->seen().empty());
    }

    void blanksAndShellSignsArePartOfTheName()
    {
        makeBrowser("/tmp/browser");
        makeBrowser("/tmp/a browser;touch");
        setBrowsers(" /tmp/browser,/tmp/browser -new,/tmp/browser;x,$(/tmp/browser),/tmp/a browser;touch");
        click("lnkFeedback");
        QTRY_COMPARE(shown().value(0), "/tmp/a browser;touch");
        QCOMPARE(shown().size(), 2);
    }

    void failuresAreTold_data()
    {
        QTest::addColumn<QByteArray>("browsers");
        QTest::addColumn<bool>("withUrl");
        QTest::newRow("none") << QByteArray() << false;
        QTest::newRow("commas only") << QByteArray(",,") << true;
        QTest::newRow("none that starts") << QByteArray("/tmp/none,/tmp") << true;
    }

    void failuresAreTold()
    {
        QFETCH(QByteArray, browsers);
        QFETCH(bool, withUrl);
        setBrowsers(browsers.toStdString());
        if (withUrl)
            boxes->answer(VMessageBox::BTN_OK);
        boxes->answer(VMessageBox::BTN_OK);
        click("lnkFeedback");
        QCOMPARE(boxes->texts().size(), withUrl ? 2 : 1);
        QCOMPARE(boxes->texts().back(), couldNotOpen);
        if (withUrl) {
            const QRegularExpression expected(
                "^Error showing pages\\. Please varify your browser setting\\.\n"
                "Open http://\\S+/vardo_feedback\\.asp manually in your "
                "browser$");
            QVERIFY2(expected.match(boxes->texts().front()).hasMatch(), qPrintable(boxes->texts().front()));
        }
    }

    void missingConfigurationIsNoBrowser()
    {
        fs::remove("/opt/Quillstone/etc/vardo/vardo.conf");
        boxes->answer(VMessageBox::BTN_OK);
        click("lnkFeedback");
        QCOMPARE(boxes->texts(), QStringList(couldNotOpen));
    }
};

VARDO_SANDBOX_TEST_MAIN(TestStatusAndHelp, TEST_USER, TEST_GROUP)
#include "tst_statusandhelp.moc"
