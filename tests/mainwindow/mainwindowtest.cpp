#include "tests/mainwindow/mainwindowtest.h"

#include "kit/framelessflags.h"

#include <QApplication>
#include <QLabel>
#include <QStackedWidget>
#include <QTest>
#include <QTextDocumentFragment>

void MainWindowTest::showWindow(const char* conf)
{
    engine = std::make_unique<Vardo>(conf);
    window = std::make_unique<VMainWidget>(nullptr, nullptr, FRAMELESS_FLAGS);
    window->setValues(qApp, conf, engine.get());
    window->setGeometry(30, 20, 724, 564);
    window->setFixedSize(724, 564);
    window->makeWidgetRound(3, 3);
    window->show();
    boxes = std::make_unique<ModalBoxes>();
    QTRY_VERIFY(!find<QAbstractButton>("btnScan")->isDown());
}

void MainWindowTest::closeWindow()
{
    boxes.reset();
    window.reset();
    engine.reset();
}

void MainWindowTest::click(const char* name)
{
    auto* button = find<QAbstractButton>(name);
    QVERIFY2(button->isVisible() && button->isEnabled(), name);
    // A box is as wide as its place in the layout, but only its picture and its text can be clicked.
    const bool isBox = button->inherits("QCheckBox") || button->inherits("QRadioButton");
    QTest::mouseClick(button, Qt::LeftButton, {}, isBox ? QPoint(8, button->height() / 2) : QPoint());
}

int MainWindowTest::page() const
{
    return find<QStackedWidget>("wgtstkMain")->currentIndex();
}

QString MainWindowTest::title() const
{
    return QTextDocumentFragment::fromHtml(find<QLabel>("lblSelectedMenu")->text()).toPlainText();
}

QStringList MainWindowTest::toList(const std::vector<std::string>& lines)
{
    QStringList list;
    for (const std::string& line : lines)
        list << QString::fromStdString(line);
    return list;
}

QStringList MainWindowTest::commands()
{
    return toList(sandbox::recordedCalls());
}
