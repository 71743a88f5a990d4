#include "base/paths.h"
#include "tests/mainwindow/mainwindowtest.h"

#include <QApplication>
#include <QLabel>
#include <QTest>

#include <ctime>
#include <filesystem>

#include <sys/wait.h>

namespace fs = std::filesystem;

namespace {

using paths::versionFile;

void setBrowsers(const std::string& list)
{
    sandbox::writeFile(paths::vardoConf,
                       "[Config]\nBrowsers = \"" + list +
                           "\"\n[Help]\nHelpHost = help.example\nChatHost = chat.example\n"
                           "ForumHost = forum.example:81\nFeedbackHost = feedback.example\n");
}

/// A program that notes its name and what it is given, a line each, and ends with `code`.
void makeBrowser(const fs::path& path, int code = 0)
{
    fs::create_directories(path.parent_path());
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
        for (const char* path : {"/tmp/shown", "/tmp/link", "/tmp/browser", "/tmp/open"})
            fs::remove_all(path);
        scriptedEngine().reset();
        strptime("02/11/2026 03:04", "%d/%m/%Y %H:%M", &scriptedEngine().info.udate);
        openWindow();
    }

    void cleanup() { closeWindow(); }

    void signatureDateIsShownTwice()
    {
        const auto shown = [this] {
            return QStringList({textOf("lnkUpdateNow"), find<QLabel>("lblLastUpdatedDate")->text()});
        };
        QCOMPARE(shown(), QStringList(2, "02/11/2026 03:04"));
        scriptedEngine().setResult("GetQSAVInfo", -1);
        window->showStatus();
        QCOMPARE(shown(), QStringList(2, "00/00/0000 00:00"));

        // The window asks before it knows the configuration, too.
        QStringList asked;
        for (const std::string& call : scriptedEngine().journal())
            asked << QString::fromStdString(call).section(' ', 2);
        QCOMPARE(asked.filter(QRegularExpression("null|/none")).mid(0, 2), QStringList({"(null)", "/none"}));
    }

    void versionStandsBehindTheProduct_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("version");
        QTest::newRow("first line") << QByteArray("TIER-A\nTIER-B\n") << "TIER-A";
        QTest::newRow("long") << QByteArray("123456789012345678901\n") << "1234567890123456789";
        QTest::newRow("tags") << QByteArray("<b>&\n") << "&lt;b&gt;&amp;";
        QTest::newRow("empty") << QByteArray() << "0";
        QTest::newRow("empty line") << QByteArray("\nTIER-A\n") << "0";
    }

    void versionStandsBehindTheProduct()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, version);
        // Read like the start reads it: through a link too.
        sandbox::writeFile("/tmp/version", content.toStdString());
        fs::remove(versionFile);
        fs::create_symlink("/tmp/version", versionFile);
        window->showStatus();
        const int difference = find<QWidget>("lnkUpdateNow")->font().pointSize() -
                               find<QWidget>("lblProductName")->font().pointSize();
        QVERIFY(difference < 0);
        const QString expected("<p align=\"right\">Vardo for Linux <font size=\"%1\">( %2 )</font></p>");
        QCOMPARE(productLine(), expected.arg(version == "0" ? -4 : difference).arg(version));

        fs::remove(versionFile);
        window->showStatus();
        QVERIFY2(productLine().contains("( " + version), "it stays without the file");
    }

    void linksOpenTheirPages_data()
    {
        QTest::addColumn<QByteArray>("link");
        QTest::addColumn<QString>("page");
        QTest::newRow("help") << QByteArray("lnkOnlineHelp") << "help.example/wiki/index.php/Online_Guide";
        QTest::newRow("chat") << QByteArray("lnkLiveChat") << "chat.example/choosedepartment.php";
        QTest::newRow("forum") << QByteArray("lnkForum") << "forum.example:81/";
        QTest::newRow("feedback") << QByteArray("lnkFeedback")
                                  << "feedback.example/english/content/company/feedback/vardo_feedback.asp";
    }

    void linksOpenTheirPages()
    {
        QFETCH(QByteArray, link);
        makeBrowser("/tmp/browser");
        setBrowsers("/tmp/browser");
        click("lnkHelp");
        click(link);
        QTRY_COMPARE(shown().size(), 2);
        QFETCH(QString, page);
        QCOMPARE(shown().back(), "http://" + page);
        // What is no server counts as none.
        fs::remove("/tmp/shown");
        sandbox::writeFile(paths::vardoConf, "[Config]\nBrowsers = /tmp/browser\n[Help]\nHelpHost = -x/\n");
        click(link);
        QTRY_COMPARE(shown().value(1), "file:///opt/Quillstone/share/help/index.html");
        QVERIFY(boxes->seen().empty());
        QCOMPARE(waitpid(-1, nullptr, WNOHANG), -1); // no child is left, not even a dead one
    }

    void firstProgramThatStartsIsTheBrowser()
    {
        makeBrowser("/tmp/browser");
        makeBrowser("/tmp/a browser;touch", 1); // it fails, but it has started
        setBrowsers(" /tmp/browser,/tmp/browser -new,$(/tmp/browser),/tmp/browser;x,/tmp/a browser;touch,"
                    "/tmp/browser");
        click("lnkFeedback");
        QTRY_COMPARE(shown().value(0), "/tmp/a browser;touch");
        QTest::qWait(100);
        QCOMPARE(shown().value(0), "/tmp/a browser;touch");
        QCOMPARE(shown().size(), 2);
        QVERIFY(boxes->seen().empty());
    }

    /// Members of a group may write the list of browsers, but not choose what root runs.
    void rootRunsNothingThatOthersCanChange()
    {
        makeBrowser("/tmp/open/browser");
        makeBrowser("/tmp/browser");
        fs::create_symlink("/tmp/open/browser", "/tmp/link");
        fs::permissions("/tmp/browser", fs::perms(0757));
        fs::permissions("/tmp/open", fs::perms(0777));
        setBrowsers("/tmp/link,/tmp/browser,tmp/browser");
        boxes->answer(VMessageBox::BTN_OK);
        boxes->answer(VMessageBox::BTN_OK);
        click("lnkFeedback");
        QVERIFY(shown().isEmpty());

        fs::permissions("/tmp/open", fs::perms(01777));
        click("lnkFeedback");
        QTRY_COMPARE(shown().value(0), "/tmp/link"); // a launcher goes by its name
    }

    void failuresAreTold_data()
    {
        QTest::addColumn<QByteArray>("configuration");
        QTest::addColumn<bool>("withUrl");
        QTest::newRow("no key") << QByteArray("[Config]\n") << false;
        QTest::newRow("none") << QByteArray("[Config]\nBrowsers =\n") << false;
        QTest::newRow("commas only") << QByteArray("[Config]\nBrowsers = \",,\"\n[Help]\nFeedbackHost = x\n")
                                     << true;
        QTest::newRow("none that starts")
            << QByteArray("[Config]\nBrowsers = /tmp/none,/tmp\n[Help]\nFeedbackHost = x\n") << true;
    }

    void failuresAreTold()
    {
        QFETCH(QByteArray, configuration);
        QFETCH(bool, withUrl);
        sandbox::writeFile(paths::vardoConf, configuration.toStdString());
        if (withUrl)
            boxes->answer(VMessageBox::BTN_OK);
        boxes->answer(VMessageBox::BTN_OK);
        click("lnkFeedback");
        QCOMPARE(boxes->texts().size(), withUrl ? 2 : 1);
        QCOMPARE(boxes->texts().back(), "Could not open browser!");
        const QRegularExpression expected("^Error showing pages\\. Please varify your browser setting\\.\n"
                                          "Open http://\\S+/vardo_feedback\\.asp manually in your browser$");
        QCOMPARE(expected.match(boxes->texts().front()).hasMatch(), withUrl);
    }
};

VARDO_SANDBOX_TEST_MAIN(TestStatusAndHelp, 0, 0)
#include "tst_statusandhelp.moc"
