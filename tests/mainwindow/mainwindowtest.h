#pragma once

#include "mainwindow/vmainwidget.h"
#include "tests/support/modalboxes.h"
#include "tests/support/sandbox.h"
#include "tests/support/scriptedengine.h"

#include <QAbstractButton>
#include <QObject>
#include <QStringList>

#include <memory>

/// A test of the main window on a fresh installation: on the scripted engine with openWindow and changes,
/// on any other without them.
class MainWindowTest : public QObject
{
  protected:
    /// Shows a new window and waits for the end of the click it makes on its own scan button.
    void showWindow(const char* conf);
    void openWindow()
    {
        scriptedEngine().clearJournal();
        showWindow("/none");
    }
    /// The same on a fresh installation with a record of a scan.
    void openFresh()
    {
        sandbox::makeInstallation();
        sandbox::writeFile("/opt/Quillstone/etc/vardo/.lastScan", "21/11/2026 04:32\n");
        scriptedEngine().reset();
        openWindow();
    }
    void closeWindow();

    /// The window's widget of that name; a test without it ends at once.
    template <class Widget>
    Widget* find(const char* name) const
    {
        auto* widget = window->findChild<Widget*>(QLatin1StringView(name));
        if (!widget)
            qFatal("no widget %s", name);
        return widget;
    }

    /// Clicks with the mouse, where there must be something to click.
    void click(const char* name);
    bool isOn(const char* name) const { return find<QAbstractButton>(name)->isChecked(); }
    QString textOf(const char* button) const { return find<QAbstractButton>(button)->text(); }

    int page() const;
    /// The title as the user reads it.
    QString title() const;

    /// The engine's calls so far that change something.
    static QStringList changes() { return toList(scriptedEngine().changes()); }
    /// What the stand-ins of the commands were asked.
    static QStringList commands();

    static QStringList toList(const std::vector<std::string>& lines);

    std::unique_ptr<Vardo> engine;
    std::unique_ptr<VMainWidget> window;
    std::unique_ptr<ModalBoxes> boxes;
};
