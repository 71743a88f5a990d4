#include "tests/mainwindow/mainwindowtest.h"

#include "kit/imagecollection.h"

#include <QApplication>
#include <QButtonGroup>
#include <QGroupBox>
#include <QLabel>
#include <QMetaMethod>
#include <QStackedWidget>
#include <QTest>
#include <QTreeWidget>

namespace {

struct ButtonRow
{
    const char* name;
    const char* text;
    const char* toolTip;
    const char* shortcut = "";
};

constexpr ButtonRow buttons[] = {
    {"btnScan", "", "Show scan menu"},
    {"btnUpdate", "", "Show update menu"},
    {"btnScheduler", "", "Show scheduler menu"},
    {"btnMinimize", "", "Minimize"},
    {"btnClose", "", "Close"},
    {"lnkHelp", "Help", "Shows help menu"},
    {"lnkFeedback", "Feedback", "Send your feedback"},
    {"lnkUpdateNow", "00/00/0000 00:00", "Start the update process"},
    {"lnkViewScanLog", "Logs", "Click to view scan report"},
    {"lnkScanSetting", "Options", "Click to view and change scan setting"},
    {"lnkScanMem", "Scan memory", "Scan the running process in memory"},
    {"lnkScanHome", "Scan home directories", "Scan the home directory of current user"},
    {"lnkSelect", "Custom Scan", "Scan the selected files and directories"},
    {"lnkScanEntire", "Scan My Computer", "Scan the entire computer"},
    {"lnkUpdateSetting", "Settings", "Click to view and change update setting"},
    {"lnkUpdateNow1", "Update now", "Start the update process now"},
    {"lnkViewUpdateLog", "View log", "Click to view update report"},
    {"lnkQuarantine", "Quarantined", "Shows quarantined files"},
    {"lnkLiveChat", "Live Chat", "Redirect you to Vardo online live chat"},
    {"lnkOnlineHelp", "Vardo Online Help", "Redirect you to Vardo online help support"},
    {"lnkForum", "Quillstone Forum", "Redirect you to Vardo online forum"},
    {"btnQuarRefresh", "Refresh", "", "Alt+R"},
    {"btnDeleteQuar", "&Delete", "", "Alt+D"},
    {"btnDeleteAllQuar", "Delete &All", "", "Alt+A"},
    {"btnCancelQuarantine", "&Cancel", "Take back to scan menu", "Alt+C"},
    {"btnAddJob", "&Add task", "Add new scanning schedule", "Alt+A"},
    {"btnEditSchedule", "&Edit", "Edit selected scanning schedule", "Alt+E"},
    {"btnDeleteSchedule", "&Delete", "Delete selected schedule", "Alt+D"},
    {"btnPurgeSchedule", "&Purge", "Purge outdated schedule", "Alt+P"},
    {"chkRecursive", "Include Sub-directory", ""},
    {"chkMail", "Mails", ""},
    {"chkHeuristic", "Heuristic", ""},
    {"chkCrossFS", "Cross file system", ""},
    {"chkArchive", "Archives", ""},
    {"chkPack", "Packed", ""},
    {"chkSymLink", "Follow symbolic links", ""},
    {"rdoLogAll", "All", ""},
    {"rdoLogInfected", "Infected", ""},
    {"rdoLogNone", "Minimum", ""},
    {"chkStartupScan", "Scan all running process(es) at startup", ""},
    {"btnBrowseLogLoc", "...", "Allows you to set log location directory"},
    {"lnkGlobalScanConf", "Restore global settings", "Restore the global scan setting"},
    {"btnSaveScanSetting", "&Save", "Save the changes made in scan setting", "Alt+S"},
    {"btnCancelScanSetting", "&Cancel", "Cancel the changes made in scan setting", "Alt+C"},
    {"chkUpdate", "Automatic update (hrs:min)", ""},
    {"chkDefAlert", "Warn, if virus signature is more than", ""},
    {"chkHttps", "Use https", ""},
    {"chkProxy", "Download via Proxy", ""},
    {"chkProxyAuth", "Proxy authentication", ""},
    {"btnSaveUpdateSetting", "&Save", "Save the changes made in update setting", "Alt+S"},
    {"btnCancelUpdateSetting", "&Cancel", "Cancel the changes made in update setting", "Alt+C"},
};

constexpr struct
{
    const char* name;
    const char* text;
} labels[] = {
    {"lblSeperator", "|"},
    {"lblSeperator_2", "|"},
    {"lblSeperator_24", "|"},
    {"lblSeperator_2_2", "|"},
    {"lblUpdateDate", "Date of virus signature"},
    {"lblLastScan", "Last computer scan"},
    {"lblUpdateConfiguration", "Configuration"},
    {"lblLastUpdated", "Last database updated"},
    {"lblUpdateRunMode", "Run mode"},
    {"lblUpdateReport", "Reports"},
    {"lblScheduleWarning", "*Schedule(s) outdated"},
    {"lblLiveChat", "Live Chat provides you the option of chatting with our 24x7 online support team to "
                    "solve your technical queries and problems when using Vardo."},
    {"lblVardoOnline", "The Vardo Online Help has comprehensive information on Vardo. The wiki has the "
                       "help file, knowledge base and general FAQs of Vardo."},
    {"lblForum", "On the Quillstone Forum, you can create or join discussion groups on Vardo. It "
                 "contains various tweaks to maximize the capabilities of Vardo."},
    {"lblQuarPath", "Quarantined Path :-"},
    {"lblQuarCount", "Quarantined count :- "},
    {"lblQuarCountValue", ""},
    {"lblInfectedAction", "Actions in case of virus detection"},
    {"lblLogLocation", "Log location"},
    {"lblLogLevel", "Log level"},
    {"lblOldDays", "days old."},
    {"lblConnTimeOut", "Connection time out"},
    {"lblConnRtry", "Connection retry"},
    {"lblIP", "IP"},
    {"lblPort", "Port"},
    {"lblName", "Name"},
    {"lblPassword", "Password"},
};

} // namespace

/// What is to be seen of the window: its parts, their places, texts and shapes.
class TestFrame : public MainWindowTest
{
    Q_OBJECT

  private slots:
    void initTestCase()
    {
        scriptedEngine().setResult("GetQSAVInfo", -1);
        openWindow();
    }

    void cleanupTestCase() { closeWindow(); }

    void windowHasNameAndCaption()
    {
        QCOMPARE(window->objectName(), "VMainWidget");
        QCOMPARE(window->windowTitle(), "Vardo");
        QVERIFY(!window->windowIcon().isNull());
        QVERIFY(window->windowFlags().testFlag(Qt::FramelessWindowHint));
        QCOMPARE(VMainWidget(nullptr, "other", {}).objectName(), "other");
    }

    void partsStandInTheirPlaces()
    {
        const struct
        {
            const char* name;
            QRect place;
        } parts[] = {
            {"lblVardoLogo", {21, 5, 102, 113}}, {"topWidget", {124, 5, 595, 107}},
            {"btngrpMenu", {19, 125, 450, 34}},  {"lblSelectedMenu", {541, 142, 120, 27}},
            {"wgtstkMain", {19, 169, 687, 350}},
        };
        for (const auto& [name, place] : parts) {
            QCOMPARE(find<QWidget>(name)->geometry(), place);
            QCOMPARE(find<QWidget>(name)->parentWidget(), window.get());
        }
        for (const char* name : {"btnScan", "btnUpdate", "btnScheduler"})
            QCOMPARE(find<QWidget>(name)->size(), QSize(110, 32));
        QCOMPARE(find<QWidget>("btnUpdate")->x(), 114);
        QCOMPARE(find<QWidget>("btnClose")->size(), QSize(23, 23));
        QCOMPARE(find<QWidget>("btnMinimize")->size(), QSize(23, 23));
    }

    /// The close button, the product line and both dates end at the title area's edge.
    void titleAreaFitsAndEndsFlush()
    {
        const QWidget* area = find<QWidget>("topWidget");
        const auto endsFlush = [&](const char* name) {
            const QRect place = find<QWidget>(name)->geometry();
            return place.right() == area->rect().right() && area->rect().contains(place);
        };
        for (const char* name : {"btnClose", "lblProductName", "lnkUpdateNow", "lblLastScan"})
            QVERIFY2(endsFlush(name), name);
        sandbox::writeFile("/opt/Quillstone/etc/vardo/.lastScan", "21/11/2026 04:32\n");
        click("btnScan");
        QTRY_VERIFY(endsFlush("lnkLastScan"));
        // The other rows keep their places when the last one goes.
        const int above = find<QWidget>("lnkUpdateNow")->y();
        click("btnUpdate");
        QApplication::processEvents();
        QCOMPARE(find<QWidget>("lnkUpdateNow")->y(), above);
        click("btnScan");
    }

    void noButtonIsDead()
    {
        struct Access : QObject
        {
            using QObject::isSignalConnected;
        };
        const auto clicked = QMetaMethod::fromSignal(&QAbstractButton::clicked);
        for (QAbstractButton* button : window->findChildren<QAbstractButton*>()) {
            // What can be checked has signals of its own.
            if (button->isEnabled() && !button->isCheckable())
                QVERIFY2((button->*&Access::isSignalConnected)(clicked), qPrintable(button->objectName()));
        }
    }

    void pagesHaveTheirNumbers()
    {
        const char* const pages[] = {
            "wgtstkScan",    "wgtstkUpdate",        "wgtstkScheduler",
            "wgtstkHelp",    "wgtstkScanSetting",   "wgtstkUpdateLog",
            "wgtstkScanLog", "wgtstkUpdateSetting", "wgtstkQuarantine",
        };
        const auto* stack = find<QStackedWidget>("wgtstkMain");
        QCOMPARE(stack->count(), int(std::size(pages)));
        for (int i = 0; i < stack->count(); ++i)
            QCOMPARE(stack->widget(i)->objectName(), pages[i]);
        QCOMPARE(page(), 0);
        QCOMPARE(title(), "Scan");
    }

    void buttonsHaveTextsAndToolTips()
    {
        for (const auto& [name, text, toolTip, shortcut] : buttons) {
            const auto* button = find<QAbstractButton>(name);
            QCOMPARE(button->text(), text);
            QCOMPARE(button->toolTip(), toolTip);
            if (*shortcut)
                QCOMPARE(button->shortcut(), QKeySequence(shortcut));
        }
    }

    void labelsHaveTexts()
    {
        for (const auto& [name, text] : labels)
            QCOMPARE(find<QLabel>(name)->text(), text);
        for (const auto& [name, text] : {std::pair{"grpSettings", "Settings"},
                                         {"grpLogOption", "Log settings"},
                                         {"grpConnectionSetting", "Connection settings"},
                                         {"grpProxy", "Proxy settings"}})
            QCOMPARE(find<QGroupBox>(name)->title(), text);
    }

    void listsHaveColumns()
    {
        const struct
        {
            const char* name;
            QStringList columns;
        } lists[] = {
            {"lstQuarantine", {"File Name", "Date", "File Size", "Virus Name"}},
            {"lstScanLogs", {"File Name", "Date", "File Size"}},
            {"lstUpdateLogs", {"File Name", "Date", "File Size"}},
        };
        for (const auto& [name, columns] : lists) {
            const auto* header = find<QTreeWidget>(name)->headerItem();
            QStringList shown;
            for (int i = 0; i < header->columnCount(); ++i)
                shown << header->text(i);
            QCOMPARE(shown, columns);
            QCOMPARE(find<QTreeWidget>(name)->selectionMode(), QAbstractItemView::ExtendedSelection);
        }
    }

    void nothingIsCutOff()
    {
        auto* stack = find<QStackedWidget>("wgtstkMain");
        for (int i = 0; i < stack->count(); ++i) {
            stack->setCurrentIndex(i);
            QApplication::processEvents();
            for (const QWidget* widget : stack->widget(i)->findChildren<QWidget*>()) {
                const bool carriesText =
                    qobject_cast<const QLabel*>(widget) || qobject_cast<const QAbstractButton*>(widget);
                if (!carriesText || widget->objectName().isEmpty() || !widget->isVisible())
                    continue;
                const QRect place(widget->mapTo(stack, QPoint(0, 0)), widget->size());
                QVERIFY2(stack->rect().contains(place), qPrintable(widget->objectName()));
                const int needed = widget->inherits("VPushButton")
                                       ? widget->fontMetrics()
                                             .size(Qt::TextShowMnemonic,
                                                   qobject_cast<const QAbstractButton*>(widget)->text())
                                             .width()
                                       : widget->minimumSizeHint().width();
                QVERIFY2(widget->width() >= needed, qPrintable(widget->objectName()));
            }
        }
        stack->setCurrentIndex(0);
    }

    void windowIsRounded()
    {
        const QRegion mask = window->mask();
        QCOMPARE(mask.boundingRect(), QRect(0, 0, 723, 563));
        for (const QPoint corner : {QPoint(0, 0), QPoint(723, 0), QPoint(0, 563), QPoint(723, 563)})
            QVERIFY(!mask.contains(corner));
        for (const QPoint inside :
             {QPoint(362, 0), QPoint(0, 282), QPoint(722, 282), QPoint(362, 562), QPoint(5, 5)})
            QVERIFY(mask.contains(inside));
    }

    void titleIsRoundedAboveOnly()
    {
        const QRegion mask = find<QLabel>("lblSelectedMenu")->mask();
        for (const QPoint cut : {QPoint(0, 0), QPoint(2, 1), QPoint(119, 0), QPoint(117, 1)})
            QVERIFY(!mask.contains(cut));
        for (const QPoint inside :
             {QPoint(60, 0), QPoint(0, 12), QPoint(0, 26), QPoint(119, 26), QPoint(60, 26), QPoint(4, 4)})
            QVERIFY(mask.contains(inside));
    }

    void percentagesOfTheTitleAreCutTo99()
    {
        window->makeMenuLabelRound(300, 16);
        const QRegion cut = find<QLabel>("lblSelectedMenu")->mask();
        window->makeMenuLabelRound(99, 16);
        QCOMPARE(find<QLabel>("lblSelectedMenu")->mask(), cut);
        window->makeMenuLabelRound(16, 16);
        QVERIFY(find<QLabel>("lblSelectedMenu")->mask() != cut);
    }

    void backgroundIsTheHandle()
    {
        const QPoint start = window->pos();
        const auto dragTo = [this](QWidget* grip, Qt::MouseButton button, QPoint by) {
            QTest::mousePress(grip, button, {}, QPoint(3, 30));
            const QPointF target = grip->mapToGlobal(QPoint(3, 30) + by);
            QMouseEvent move(QEvent::MouseMove, grip->mapFromGlobal(target), target, Qt::NoButton, button,
                             {});
            QApplication::sendEvent(grip, &move);
            QTest::mouseRelease(grip, button, {}, grip->mapFromGlobal(target.toPoint()));
        };
        dragTo(window.get(), Qt::LeftButton, {40, -7});
        QCOMPARE(window->pos(), start + QPoint(40, -7));
        dragTo(window.get(), Qt::RightButton, {40, 40});
        dragTo(find<QWidget>("btnScan"), Qt::LeftButton, {40, 40});
        QCOMPARE(window->pos(), start + QPoint(40, -7));
    }
};

VARDO_SANDBOX_TEST_MAIN(TestFrame, TEST_USER, TEST_GROUP)
#include "tst_frame.moc"
