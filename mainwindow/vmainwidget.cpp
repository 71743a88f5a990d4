#include "mainwindow/vmainwidget.h"

#include "engine/update.h"
#include "kit/accessible.h"
#include "kit/builders.h"
#include "kit/imagecollection.h"
#include "kit/labels.h"
#include "kit/texts.h"
#include "kit/vlinkbutton.h"
#include "kit/vpushbutton.h"
#include "mainwindow/restorerun.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QLabel>
#include <QStackedWidget>
#include <QTimer>
#include <QTreeWidget>

#include <unistd.h>

/// For those who hear of the page and of the list on it.
static void namePage(QWidget* page, const QString& title)
{
    page->setAccessibleName(title);
    for (QTreeWidget* list : page->findChildren<QTreeWidget*>())
        list->setAccessibleName(title);
}

VMainWidget::VMainWidget(QWidget* parent, const char* name, Qt::WindowFlags flags)
    : RoundedWindow<QWidget>(background::mainWindow, false, parent, flags)
{
    setObjectName(QLatin1StringView(name && *name ? name : "VMainWidget"));
    buildFrame();
    TitleArea::buildOn(this);
    buildMenu();
    buildPages();
    languageChange();
    connectWidgets();
    init();
}

VMainWidget::~VMainWidget() = default;

void VMainWidget::setValues(QApplication* app, const char* conf, Vardo* engine)
{
    qapp = app;
    scanner = engine;
    scannerConf.reset();
    if (conf)
        scannerConf = conf;
    showStatus();
}

void VMainWidget::buildFrame()
{
    lblVardoLogo = plainLabel(this, "lblVardoLogo");
    lblVardoLogo->setGeometry(21, 5, 102, 113);
    lblVardoLogo->setPixmap(vardoPixmap(QStringLiteral("Vardo_logo.png")));

    lblSelectedMenu = richLabel(this, "lblSelectedMenu");
    lblSelectedMenu->setGeometry(541, 142, 120, 27);
    lblSelectedMenu->setFixedSize(120, 27);
    QPalette palette;
    palette.setBrush(QPalette::Window, vardoPixmap(QStringLiteral("menu_back.png")));
    lblSelectedMenu->setPalette(palette);
    lblSelectedMenu->setAutoFillBackground(true);
}

void VMainWidget::buildMenu()
{
    auto* box = new QWidget(this);
    box->setObjectName(QLatin1StringView("btngrpMenu"));
    box->setGeometry(19, 125, 450, 34);
    box->setAccessibleName(tr("Menu"));
    accessible::setRole(box, QAccessible::Grouping);
    btngrpMenu = new QButtonGroup(box);
    btngrpMenu->setObjectName(QLatin1StringView("btngrpMenu"));

    constexpr QSize size(110, 32);
    btnScan = build::pictureButton(box, "btnScan", "scan", size, true);
    btnUpdate = build::pictureButton(box, "btnUpdate", "update", size, true);
    btnScheduler = build::pictureButton(box, "btnScheduler", "scheduler", size, true);
    btnScan->setChecked(true);

    auto* row = build::layout<QHBoxLayout>(0, 4, box);
    for (VPushButton* button : {btnScan, btnUpdate, btnScheduler}) {
        row->addWidget(button);
        btngrpMenu->addButton(button, row->count() - 1);
    }
    row->addItem(build::stretch());
}

void VMainWidget::buildPages()
{
    wgtstkMain = new QStackedWidget(this);
    wgtstkMain->setObjectName(QLatin1StringView("wgtstkMain"));
    wgtstkMain->setGeometry(19, 169, 687, 350);
    wgtstkMain->setFixedSize(687, 350);

    forEachPage([this](auto& page) {
        auto* widget = new QWidget(wgtstkMain);
        widget->setObjectName(QLatin1StringView(page.name));
        page.buildOn(widget);
        accessible::setRole(widget, QAccessible::Grouping);
        wgtstkMain->addWidget(widget);
    });
}

void VMainWidget::languageChange()
{
    setWindowTitle(tr("Vardo"));
    setTexts(tr, {
                     {btnScan, nullptr, "Show scan menu", "Alt+1", "Scan"},
                     {btnUpdate, nullptr, "Show update menu", "Alt+2", "Update"},
                     {btnScheduler, nullptr, "Show scheduler menu", "Alt+3", "Scheduler"},
                 });
    TitleArea::languageChange();
    forEachPage([](auto& page) { page.languageChange(); });
    for (int i = 0; i < PageCount; ++i)
        namePage(wgtstkMain->widget(i), tr(pageTitles[i]));
    showTitle(ScanPage);
}

void VMainWidget::connectWidgets()
{
    connect(btngrpMenu, &QButtonGroup::idClicked, this, &VMainWidget::changeSelectionMenuText);
    connect(this, &VMainWidget::scanSettingsModified, this, &VMainWidget::slotScanValueChanged);
    connect(this, &VMainWidget::updateSettingsModified, this, &VMainWidget::slotUpdateValueChanged);
    TitleArea::connectTo(this);
    forEachPage([this](auto& page) { page.connectTo(this); });
}

void VMainWidget::init()
{
    tmrClose = new QTimer(this);
    tmrCloseEffect = new QTimer(this);
    // Coarse timers drift by up to a step of the close effect.
    tmrClose->setTimerType(Qt::PreciseTimer);
    tmrCloseEffect->setTimerType(Qt::PreciseTimer);
    connect(tmrClose, &QTimer::timeout, this, &QWidget::close);
    connect(tmrCloseEffect, &QTimer::timeout, this, &VMainWidget::calculateRegion);

    makeMenuLabelRound(16, 16);
    const bool maySchedule = getgid() == 0;
    btnScheduler->setVisible(maySchedule);
    btnScheduler->setEnabled(maySchedule);
    showStatus();
    // The first round of the event loop shows the date of the last scan by it.
    btnScan->animateClick();
}

void VMainWidget::makeWidgetRound(int xRnd, int yRnd)
{
    RoundedWindow<QWidget>::makeWidgetRound(xRnd, yRnd);
    rgnVisible = QRegion(aa, Qt::OddEvenFill);
}

void VMainWidget::makeMenuLabelRound(int xRnd, int yRnd)
{
    const int w = lblSelectedMenu->width(), h = lblSelectedMenu->height();
    const auto radius = [w](int percent) { return w * (percent > 100 ? 99 : percent) / 200; };
    // The vertical radius is taken from the width too.
    const int rx = radius(xRnd), ry = radius(yRnd);
    constexpr int quarter = 90 * 16;
    QPolygon shape = makeArc(0, 0, 2 * rx, 2 * ry, quarter, quarter);
    shape << QPoint(0, h) << QPoint(w, h);
    shape += makeArc(w - 2 * rx, 0, 2 * rx, 2 * ry, 0, quarter);
    lblSelectedMenu->setMask(QRegion(shape, Qt::OddEvenFill));
}
