#pragma once

#include "tests/support/rootmain.h"
#include "tests/support/virtualscreen.h"

#include <QList>
#include <QLocalSocket>
#include <QPoint>
#include <QProcess>
#include <QRect>
#include <QStringList>

#include <functional>
#include <utility>

#include <sys/types.h>

class QJsonArray;
class QJsonValue;

/// Tests of the whole product: the built window, its engine and its service in the sandbox, worked with
/// mouse and keyboard on a virtual screen. A test looks like this:
///
///     product::install("[Scan]\nAction=quarantine\n[Log]\nLevel=all\n");
///     sandbox::writeFile("/root/bad", ServiceHome::marker().toStdString());
///     RealWindow window;
///     QVERIFY(window.click("VMainWidget/lnkScanHome"));
///     QVERIFY(window.waitFor("VScanStatisticsDialog"));
///     QCOMPARE(window.text("VScanStatisticsDialog/lblQuarantinedValue"), "1");
///     QVERIFY(window.click("VScanStatisticsDialog/btnOk"));
///     QVERIFY(window.click("VMainWidget/btnClose"));
///     QCOMPARE(window.exitCode(), 0);
///
/// with VARDO_WINDOW_TEST_MAIN(Class) at its end and vardo_window_test(NAME) in CMakeLists.txt.
namespace product {

/// A fresh installation, with test signatures and `settings` as its vardo.conf. Ends the services of an
/// earlier one.
void install(const QByteArray& settings);

/// An archive that unpacks for minutes, if the settings' limits let it.
QByteArray busyArchive();

/// The directory that scans are logged to has one log; its whole text. Empty when it has none or several.
QByteArray onlyLog();
/// The lines of that log between its head and its statistics, or its end.
QByteArrayList logEntries();
/// The record file of the quarantine.
QByteArray quarantineRecords();

/// Process ids of a user's scanning service, 0 when it does not run, and of its workers.
pid_t service(unsigned int user = 0);
QList<pid_t> workers(unsigned int user = 0);

} // namespace product

/// What can be seen of a widget of the program.
struct SeenWidget
{
    bool exists = false;    ///< and is visible
    bool reachable = false; ///< enabled, and a click on its middle gets to it
    bool checked = false;
    QString text;
    QString className;
    QRect place; ///< on the screen
};

/// One start of the program. A widget is named "WINDOW/WIDGET", by object names or the widget's text, or
/// "WINDOW" for the window itself: "VMessageBox/&Yes". Whatever waits gives up after half a minute, says what
/// was on the screen, and leaves a picture in VARDO_PICTURES.
class RealWindow
{
  public:
    explicit RealWindow(sandbox::Ids user = {0, 0});
    ~RealWindow() { kill(); }

    SeenWidget find(const QString& name);
    QString text(const QString& name) { return find(name).text; }
    /// The texts of all labels of the window, to find out what a message box says.
    QStringList texts(const QString& window);

    bool waitFor(const QString& name);
    bool waitForEnd(const QString& name);
    /// Clicks, when it can be reached, the middle of the widget (of a check box, its mark) or `at` from its
    /// upper left corner.
    bool click(const QString& name, QPoint at = {-1, -1});
    /// Clicks a place on the screen, with the left button if no other.
    void clickAt(QPoint place, int button = 1);
    /// Presses keys, in the notation of xdotool: "ctrl+a".
    void press(const QString& keys);

    /// Milliseconds that the program's event loop took at most for an answer since this was last asked.
    qint64 slowestAnswer() { return std::exchange(slowestAnswer_, 0); }
    /// What slowestAnswer() may be: some 100 on an idle machine, and room for a busy one.
    static constexpr qint64 lively = 2000;

    bool isRunning() const { return process_.state() != QProcess::NotRunning; }
    /// Waits for the end; -1 after a crash or when there is none.
    int exitCode();
    qint64 pid() const { return process_.processId(); }
    void kill();

    /// Pixels of the screen in one of the program's units, in which all places are told.
    static double factor();

    /// A rectangle as the probe tells it.
    static QRect rectOf(const QJsonValue& value);

  protected:
    /// What the probe tells of everything that is visible.
    QJsonArray widgets();
    bool waitUntil(const QString& wanted, const std::function<bool()>& condition);

  private:
    QByteArray ask(const QByteArray& request);

    QString socketName_;
    QLocalSocket socket_;
    QProcess process_;
    qint64 slowestAnswer_ = 0;
};

/// QTEST_MAIN for a class of such tests.
#define VARDO_WINDOW_TEST_MAIN(Class) VARDO_ROOT_TEST_MAIN_ON(Class, VirtualScreen)
