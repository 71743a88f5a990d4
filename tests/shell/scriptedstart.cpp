#include "kit/vmessagebox.h"
#include "kit/vpushbutton.h"
#include "mainwindow/vmainwidget.h"
#include "tests/support/scriptedengine.h"

#include <QApplication>
#include <QTimer>

#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <string>
#include <utility>

#include <locale.h>

/// Drives the window program of the start-up tests from within: the scripted engine is set up from the
/// file $START_SCRIPT, boxes are answered, the window is closed again (or kept, with the word "hold"),
/// and at the end the journal, with boxes and window in it, goes to $START_REPORT.

namespace {

bool hold = false;

void readScript()
{
    ScriptedEngine& engine = scriptedEngine();
    std::ifstream script(std::getenv("START_SCRIPT"));
    for (std::string line; std::getline(script, line);) {
        std::istringstream words(line);
        std::string verb;
        std::string name;
        int number = 0;
        words >> verb >> name >> std::setbase(0) >> number;
        if (verb == "result")
            engine.setResult(name, number);
        else if (verb == "system")
            engine.systemType = static_cast<QS_SystemType>(std::stoi(name));
        else if (verb == "options")
            engine.saved.scanOpts = static_cast<unsigned int>(std::stoul(name, nullptr, 0));
        else if (verb == "hold")
            hold = true;
    }
}

void writeReport()
{
    std::ofstream report(std::getenv("START_REPORT"));
    for (const std::string& line : scriptedEngine().journal())
        report << line << '\n';
}

void answer(VMessageBox& box)
{
    std::string text = "box \"" + box.text().replace('\n', '/').toStdString() + "\"";
    VPushButton* first = nullptr;
    for (int code = VMessageBox::BTN_OK; code <= VMessageBox::BTN_NOALL; ++code) {
        if (box.indexOf(code) < 0)
            continue;
        text += " " + std::to_string(code) + ":" + box.buttonText(code).toStdString();
        for (VPushButton* button : box.findChildren<VPushButton*>()) {
            if (!first && button->text() == box.buttonText(code))
                first = button;
        }
    }
    scriptedEngine().call(text);
    if (first)
        first->click();
    else
        box.done(0);
}

void note(const VMainWidget& window)
{
    const QRect place = window.geometry();
    std::ostringstream text;
    text << "window " << place.x() << "," << place.y() << " " << place.width() << "x" << place.height();
    if (window.minimumSize() == window.maximumSize())
        text << " fixed";
    if (!window.mask().isEmpty() && !window.mask().contains(QPoint(0, 0)))
        text << " rounded";
    // Of a number, as the user's desktop has it, and as the program writes it.
    const std::string own = localeconv()->decimal_point;
    const std::string before = setlocale(LC_NUMERIC, nullptr);
    setlocale(LC_NUMERIC, "");
    text << " " << localeconv()->decimal_point << own;
    setlocale(LC_NUMERIC, before.c_str());
    // As programs started later have it.
    text << " " << qgetenv("QT_SCALE_FACTOR").constData();
    scriptedEngine().call(text.str());
}

void look()
{
    static bool noted = false;
    if (auto* box = qobject_cast<VMessageBox*>(QApplication::activeModalWidget())) {
        answer(*box);
        return;
    }
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        auto* window = qobject_cast<VMainWidget*>(widget);
        if (!window || !window->isVisible() || window->mask().isEmpty() || std::exchange(noted, true))
            continue;
        note(*window);
        QObject::connect(window, &QObject::destroyed, [] { scriptedEngine().call("~window"); });
        if (hold)
            writeReport();
        else
            window->close();
    }
}

void begin()
{
    readScript();
    std::atexit(writeReport);
    QObject::connect(qApp, &QObject::destroyed, [] { scriptedEngine().call("~application"); });
    auto* timer = new QTimer(qApp);
    QObject::connect(timer, &QTimer::timeout, &look);
    timer->start(5);
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(begin)
