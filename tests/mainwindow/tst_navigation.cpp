#include "tests/mainwindow/mainwindowtest.h"

#include <QApplication>
#include <QLabel>
#include <QTest>

#include <filesystem>

namespace fs = std::filesystem;

namespace {

const fs::path lastScan = "/opt/Quillstone/etc/vardo/.lastScan";
constexpr char question[] = "Do you want to save the changes?";

} // namespace

/// How the user gets from page to page, and what is asked on the way.
class TestNavigation : public MainWindowTest
{
    Q_OBJECT

    QStringList pressedButtons() const
    {
        QStringList pressed;
        for (const char* name : {"btnScan", "btnUpdate", "btnScheduler"}) {
            if (isOn(name))
                pressed << name;
        }
        return pressed;
    }

    bool visible(const char* name) const { return find<QWidget>(name)->isVisible(); }

  private slots:
    void init() { openFresh(); }
    void cleanup() { closeWindow(); }

    void menuButtonsLeadToTheirPages()
    {
        const struct
        {
            const char* button;
            int page;
            const char* title;
        } menus[] = {{"btnUpdate", 1, "Update"}, {"btnScheduler", 2, "Scheduler"}, {"btnScan", 0, "Scan"}};
        for (const auto& menu : menus) {
            click(menu.button);
            QCOMPARE(page(), menu.page);
            QCOMPARE(title(), menu.title);
            QCOMPARE(pressedButtons(), QStringList(menu.button));
            QCOMPARE(visible("lblLastScan"), menu.page == 0);
            QCOMPARE(visible("lnkLastScan"), menu.page == 0);
        }
    }

    void subPagesReleaseTheMenuButton()
    {
        const struct
        {
            const char* menu;
            const char* link;
            int page;
            const char* title;
        } ways[] = {{"btnScan", "lnkHelp", 3, "Help"},
                    {"btnScan", "lnkScanSetting", 4, "Options"},
                    {"btnUpdate", "lnkUpdateSetting", 7, "Update setting"},
                    {"btnScan", "lnkQuarantine", 8, "Quarantined"},
                    {"btnScheduler", "lnkHelp", 3, "Help"}};
        for (const auto& way : ways) {
            click(way.menu);
            QCOMPARE(pressedButtons(), QStringList(way.menu));
            click(way.link);
            QCOMPARE(page(), way.page);
            QCOMPARE(title(), way.title);
            QVERIFY(pressedButtons().isEmpty());
        }
        QVERIFY(boxes->seen().empty());
    }

    void lastScanIsOneShortLine()
    {
        for (const auto& [content, shown] : {std::pair{"21/11/2026 04:32\n", "21/11/2026 04:32"},
                                             {"12345678901234567890", "1234567890123456789"},
                                             {"one\ntwo\n", "one"},
                                             {"", ""}}) {
            sandbox::writeFile(lastScan, content);
            click("btnScan"); // on already, it refreshes its page
            QCOMPARE(textOf("lnkLastScan"), shown);
        }
    }

    void withoutLastScanThePageStays()
    {
        click("btnUpdate");
        fs::remove(lastScan);
        click("btnScan");
        QCOMPARE(page(), int(VMainWidget::UpdatePage));
        QCOMPARE(title(), "Update");
        QCOMPARE(pressedButtons(), QStringList("btnScan"));
        QVERIFY(!visible("lnkLastScan"));
        // The same file that is a link counts as missing.
        fs::create_symlink("/etc/passwd", lastScan);
        click("btnScan");
        QCOMPARE(page(), int(VMainWidget::UpdatePage));
    }

    void runModeIsShownWhenKnown()
    {
        QLabel* mode = find<QLabel>("lblUpdateRunModeValue");
        scriptedEngine().setResult("vUpdate::GetOption 14", -1);
        click("btnUpdate");
        QCOMPARE(mode->text(), "");
        scriptedEngine().setResult("vUpdate::GetOption 14", 0);
        scriptedEngine().updateHeld.autoUpdate = 1;
        click("btnUpdate");
        QCOMPARE(mode->text(), "Automatic");
        scriptedEngine().updateHeld.autoUpdate = 0;
        click("btnUpdate");
        QCOMPARE(mode->text(), "Manual");
        QCOMPARE(changes().filter("vUpdate (null)"),
                 QStringList("vUpdate (null) /opt/Quillstone/etc/updates.conf"));
        window.reset();
        QVERIFY(changes().contains("~vUpdate"));
    }

    void unusableInstallationOpensNoSettings()
    {
        for (const auto& [menu, link] :
             {std::pair{"btnScan", "lnkScanSetting"}, {"btnUpdate", "lnkUpdateSetting"}}) {
            click(menu);
            const int before = page();
            sandbox::writeFile("/opt/Quillstone/etc/vardo-ver", "unknown\n");
            boxes->answer(VMessageBox::BTN_CANCEL);
            click(link);
            QCOMPARE(boxes->texts().back(), "Please varify your Vardo installation");
            QCOMPARE(boxes->seen().back().buttons, QStringList("Ok"));
            QCOMPARE(page(), before);
            QCOMPARE(pressedButtons(), QStringList(menu));
            sandbox::writeFile("/opt/Quillstone/etc/vardo-ver", "TIER-A\n");
        }
        QCOMPARE(boxes->seen().size(), 2U);
        // The page that was filled and not shown counts as modified.
        boxes->answer(VMessageBox::BTN_NO);
        click("btnScan");
        QCOMPARE(boxes->texts().back(), question);
    }

    void failedSaveKeepsThePage()
    {
        scriptedEngine().setResult("SaveConfiguration", -1);
        for (const char* target : {"btnUpdate", "lnkHelp", "btnCancelScanSetting", "btnClose"}) {
            click("lnkScanSetting");
            click("chkMail");
            boxes->answer(VMessageBox::BTN_YES);
            boxes->answer(VMessageBox::BTN_OK);
            click(target);
            QCOMPARE(boxes->texts().back(), "Error saving Vardo configuration. Try later");
            QCOMPARE(title(), "Options");
            // The failed save has given the changes up; the button stays pressed.
            QCOMPARE(isOn("btnUpdate"), QByteArray(target) == "btnUpdate");
            click("btnScan");
            QCOMPARE(page(), int(VMainWidget::ScanPage));
        }
        QCOMPARE(boxes->seen().front().buttons, QStringList({"&Yes", "&No"}));
        QCOMPARE(boxes->seen().size(), 8U);
    }

    void changesAreGivenUpOnNo()
    {
        for (const char* target : {"btnUpdate", "lnkHelp", "btnCancelScanSetting"}) {
            click("btnScan");
            click("lnkScanSetting");
            click("chkMail");
            boxes->answer(VMessageBox::BTN_NO);
            click(target);
            QVERIFY(page() != VMainWidget::ScanSettingPage);
        }
        QVERIFY(!changes().contains("SaveConfiguration (null)"));
        QCOMPARE(boxes->texts(), QStringList(3, question));
    }

    void changesWaitWhileLookingAtTheQuarantine()
    {
        click("btnScan");
        emit window->scanSettingsModified();
        click("lnkQuarantine");
        QVERIFY(boxes->seen().empty());
        boxes->answer(VMessageBox::BTN_NO);
        click("btnScan");
        QCOMPARE(boxes->texts(), QStringList(question));
    }

    void globalSettingsMayFail()
    {
        const char read[] = "ReadConfiguration /opt/Quillstone/etc/vardo/vardo.conf";
        for (const char* failing : {read, "SaveConfiguration"}) {
            scriptedEngine().reset();
            scriptedEngine().setResult(failing, -1);
            boxes->answer(VMessageBox::BTN_OK);
            // Group 0 has no use for it, so the link is off there.
            QVERIFY(QMetaObject::invokeMethod(window.get(), "loadGlobalSettings"));
            QCOMPARE(boxes->texts().last(), "Global settings reloading failed.");
            QCOMPARE(changes().front(), read);
            QCOMPARE(changes().contains("SaveConfiguration /none"), failing != read);
            QVERIFY(!changes().contains("ReadConfiguration (null)")); // the page stays as it was
        }
    }

    void withoutEngineNothingIsSaved()
    {
        window->setValues(qApp, "/none", nullptr);
        click("lnkScanSetting");
        QCOMPARE(page(), int(VMainWidget::ScanPage));
        boxes->answer(VMessageBox::BTN_OK);
        QVERIFY(window->slotSaveScanSettings());
        QCOMPARE(boxes->texts(), QStringList("Invalid Vardo parameter."));
    }
};

VARDO_SANDBOX_TEST_MAIN(TestNavigation, 0, 0)
#include "tst_navigation.moc"
