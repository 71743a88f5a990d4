// Shows every part of the kit for the eye: `kitgallery` the controls, `kitgallery boxes` the message boxes.
#include "kit/dialogheader.h"
#include "kit/framelessflags.h"
#include "kit/imagecollection.h"
#include "kit/labels.h"
#include "kit/palettes.h"
#include "kit/roundedwindow.h"
#include "kit/vardostyle.h"
#include "kit/vcheckbox.h"
#include "kit/vlinkbutton.h"
#include "kit/vmessagebox.h"
#include "kit/vpushbutton.h"
#include "kit/vradiobutton.h"
#include "kit/vtextpane.h"

#include <QApplication>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QSpinBox>
#include <QTreeWidget>

namespace {

constexpr QLatin1StringView background("Linux_GUI_popup_bg2.png");

/// Bits as in the faces' table: pressed 1, on 2, enabled 4, mouse over 8.
void putInState(QAbstractButton* button, int state)
{
    button->setCheckable(true);
    button->setDown((state & 1) != 0);
    button->setChecked((state & 2) != 0);
    button->setEnabled((state & 4) != 0);
    button->setAttribute(Qt::WA_UnderMouse, (state & 8) != 0);
}

/// A row for each kind of control, a column for rest, hover, pressed, on, and disabled off and on.
QLayout* makeStates(QWidget* parent)
{
    auto* grid = new QGridLayout;
    int column = 0;
    for (const int state : {4, 12, 5, 6, 0, 2}) {
        auto* push = new VPushButton(QStringLiteral("button"), background, true, parent);
        push->setText(QStringLiteral("&Save"));
        push->setFixedSize(80, 32);
        auto* browse = new VPushButton(QStringLiteral("browse"), background, true, parent);
        browse->setFixedSize(32, 32);
        auto* menu = new VPushButton(column % 2 == 0 ? QStringLiteral("scan") : QStringLiteral("update"),
                                     background, true, parent);
        menu->setFixedSize(110, 32);
        auto* check = new VCheckBox(parent);
        check->setText(QStringLiteral("Archives"));
        auto* radio = new VRadioButton(parent);
        radio->setText(QStringLiteral("Everything"));
        radio->setAutoExclusive(false);
        int row = 0;
        for (QAbstractButton* button :
             {static_cast<QAbstractButton*>(push), static_cast<QAbstractButton*>(browse),
              static_cast<QAbstractButton*>(menu), static_cast<QAbstractButton*>(check),
              static_cast<QAbstractButton*>(radio)}) {
            putInState(button, state);
            grid->addWidget(button, row++, column);
        }
        ++column;
    }
    return grid;
}

QLayout* makeLinks(QWidget* parent)
{
    auto* row = new QHBoxLayout;
    for (const bool enabled : {true, false}) {
        auto* link = new VLinkButton(background, parent);
        link->setText(QStringLiteral("View log"));
        link->setEnabled(enabled);
        row->addWidget(link);
        auto* withIcon = new VLinkButton(background, parent);
        withIcon->setText(QStringLiteral("Scan home directories"));
        withIcon->setIcon(vardoPixmap(QStringLiteral("home_scan.png")));
        withIcon->setEnabled(enabled);
        row->addWidget(withIcon);
    }
    row->addStretch();
    return row;
}

QWidget* makeGroup(QWidget* parent)
{
    auto* group = new QGroupBox(QStringLiteral("Proxy"), parent);
    auto* rows = new QVBoxLayout(group);
    for (const bool enabled : {true, false}) {
        auto* row = new QHBoxLayout;
        rows->addLayout(row);
        auto* combo = new QComboBox(group);
        combo->addItems({QStringLiteral("Disinfect"), QStringLiteral("Quarantine")});
        combo->setPalette(contentPalette(QStringLiteral("button_back.png")));
        auto* spin = new QSpinBox(group);
        auto* entry = new QLineEdit(QStringLiteral("proxy"), group);
        auto* textured = new QLineEdit(QStringLiteral("server"), group);
        QPalette palette;
        palette.setBrush(QPalette::Base, QBrush(vardoPixmap(QStringLiteral("140x25text.png"))));
        textured->setPalette(palette);
        textured->setFixedSize(140, 25);
        for (QWidget* widget : {static_cast<QWidget*>(combo), static_cast<QWidget*>(spin),
                                static_cast<QWidget*>(entry), static_cast<QWidget*>(textured)}) {
            widget->setEnabled(enabled);
            row->addWidget(widget);
        }
    }
    return group;
}

QWidget* makeList(QWidget* parent)
{
    auto* list = new QTreeWidget(parent);
    list->setPalette(contentPalette());
    list->setHeaderLabels({QStringLiteral("Name"), QStringLiteral("Date")});
    list->setRootIsDecorated(false);
    for (int i = 0; i < 40; ++i)
        new QTreeWidgetItem(list, {QStringLiteral("scan-%1.log").arg(i), QStringLiteral("01/02/2024")});
    list->setCurrentItem(list->topLevelItem(2));
    return list;
}

QWidget* makePane(QWidget* parent)
{
    auto* pane = new VTextPane(parent, "pane");
    pane->setPalette(contentPalette());
    for (int i = 0; i < 30; ++i)
        pane->append("/home/user/file <b>not bold</b> " + QByteArray::number(i) + " \xE4\xF6 : clean\n");
    pane->append("/home/user/" + QByteArray(200, 'x') + " \xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D end\n");
    return pane;
}

class Gallery : public RoundedWindow<QWidget>
{
  public:
    Gallery()
        : RoundedWindow<QWidget>(background, true, nullptr, FRAMELESS_FLAGS)
    {
        auto* column = new QVBoxLayout(this);
        auto* header = new QHBoxLayout;
        header->addWidget(makeLogoLabel(this, QStringLiteral("update.png")));
        QLabel* title = makeTitleLabel(this);
        title->setText(QStringLiteral("Gallery"));
        header->addWidget(title);
        header->addStretch();
        VPushButton* close = makeCloseButton(this, background);
        connect(close, &VPushButton::clicked, this, &QWidget::close);
        header->addWidget(close);
        column->addLayout(header);
        column->addLayout(makeStates(this));
        column->addLayout(makeLinks(this));
        column->addWidget(makeGroup(this));
        auto* panes = new QHBoxLayout;
        panes->addWidget(makeList(this));
        panes->addWidget(makePane(this));
        column->addLayout(panes);
        auto* progress = new QProgressBar(this);
        progress->setValue(40);
        column->addWidget(progress);
        setFixedSize(700, 530);
        makeWidgetRound(5, 5);
    }
};

void showBoxes()
{
    struct Sample
    {
        VMessageBox::Icon icon;
        const char* text;
        int b0, b1, b2;
    };
    static constexpr Sample samples[] = {
        {VMessageBox::Information, "Short.", 1, 0, 0},
        {VMessageBox::Warning, "Do you want to save the changes?", 3, 260, 0},
        {VMessageBox::Critical,
         "First line\nSecond line, which is a good deal longer than the first one <b>is</b>", 257, 0, 0},
        {VMessageBox::Question, "A question with three answers", 5, 6, 7},
        {VMessageBox::NoIcon, "Line 1\nLine 2\nLine 3\nLine 4\nLine 5\nLine 6", 8, 9, 2},
    };
    int y = 10;
    for (const Sample& sample : samples) {
        auto* box = new VMessageBox(QString::fromLatin1(sample.text), sample.icon, sample.b0, sample.b1,
                                    sample.b2, nullptr, nullptr, false);
        box->move(40 + y / 6, y);
        box->show();
        y += box->height() + 6;
    }
}

} // namespace

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    applyVardoStyle(application);
    Gallery gallery;
    if (application.arguments().contains(QStringLiteral("boxes")))
        showBoxes();
    else
        gallery.show();
    return QApplication::exec();
}
