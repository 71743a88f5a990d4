// Shows the main window on the scripted engine, for a look at a page: showmain [PAGE]

#include "kit/framelessflags.h"
#include "kit/vardostyle.h"
#include "mainwindow/vmainwidget.h"
#include "tests/support/sandbox.h"
#include "tests/support/scriptedengine.h"

#include <QApplication>
#include <QStackedWidget>
#include <QTimer>
#include <QTreeWidget>

namespace {

void addRows(QWidget& window)
{
    for (QTreeWidget* list : window.findChildren<QTreeWidget*>()) {
        for (int row = 1; row <= 12; ++row) {
            const QString name = QStringLiteral("a file with a name of some length %1.log").arg(row);
            new QTreeWidgetItem(list,
                                {name, QStringLiteral("2026 11 %1  10:00:00").arg(row, 2, 10, QChar('0')),
                                 QStringLiteral("12K"), QStringLiteral("Some.Test.Virus-1")});
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (!sandbox::inside())
        return sandbox::enter(argv, {0, 0});
    sandbox::makeInstallation();
    sandbox::writeFile("/opt/Quillstone/etc/vardo/.lastScan", "21/11/2026 04:32\n");
    QApplication application(argc, argv);
    applyVardoStyle(application);

    qsavInfo info{};
    info.udate.tm_year = 126;
    info.udate.tm_mon = 10;
    info.udate.tm_mday = 20;
    scriptedEngine().info = info;
    Vardo engine("/opt/Quillstone/etc/vardo/vardo.conf");
    VMainWidget window(nullptr, nullptr, FRAMELESS_FLAGS);
    window.setValues(&application, "/opt/Quillstone/etc/vardo/vardo.conf", &engine);
    window.setGeometry(50, 50, 724, 564);
    window.show();
    window.setFixedSize(724, 564);
    window.makeWidgetRound(3, 3);
    addRows(window);
    if (argc > 1) {
        const int page = QByteArray(argv[1]).toInt();
        auto* pages = window.findChild<QStackedWidget*>("wgtstkMain");
        QTimer::singleShot(300, pages, [pages, page] { pages->setCurrentIndex(page); });
    }
    return QApplication::exec();
}
