#include "scan/vgetuseraction.h"

#include "engine/interface.h"
#include "kit/backgrounds.h"
#include "kit/imagecollection.h"
#include "kit/labels.h"
#include "kit/visibletext.h"
#include "kit/vlinkbutton.h"
#include "kit/vpushbutton.h"

#include <QCloseEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QLabel>
#include <QVBoxLayout>

namespace {

constexpr int longestShown = 27;

/// A tool tip that shows `name` as it stands. Rich text, as that alone is wrapped: the end of a path is what
/// tells files apart, and must not leave the screen. Nor may a name without a blank take it there.
QString literalToolTip(QString name)
{
    if (name.isEmpty())
        return name;
    constexpr qsizetype unbroken = 40;
    constexpr QChar mayBreak(0x200B);
    for (qsizetype end = name.size() - unbroken; end > 0; end -= unbroken)
        name.insert(name.at(end).isLowSurrogate() ? end - 1 : end, mayBreak);
    return QStringLiteral("<p style=\"white-space:pre-wrap\">") + name.toHtmlEscaped() +
           QStringLiteral("</p>");
}

void setTexts(QAbstractButton* button, const QString& text, const QString& shortcut, const QString& toolTip)
{
    button->setText(text);
    button->setShortcut(QKeySequence(shortcut));
    button->setToolTip(toolTip);
}

} // namespace

VGetUserAction::VGetUserAction(QWidget* parent, const char* /*name*/, bool modal, Qt::WindowFlags f)
    : RoundedWindow<QDialog>(background::dialog, true, parent, f)
{
    setObjectName(QStringLiteral("VGetUserAction"));
    setModal(modal);
    mainLayout = new QVBoxLayout(this);
    mainLayout->setContentsMargins(0, 0, 0, 0);
    mainLayout->setSpacing(0);
    buildTitle();
    buildActions();
    languageChange();
    init();
}

void VGetUserAction::buildTitle()
{
    titleLayout = new QHBoxLayout;
    titleLayout->setContentsMargins(6, 6, 6, 6);
    titleLayout->setSpacing(20);
    lblIcon = plainLabel(this, "lblIcon");
    lblIcon->setFixedSize(48, 48);
    lblIcon->setPixmap(vardoPixmap(QStringLiteral("virus.png")));
    titleLayout->addWidget(lblIcon);
    lblObjectName = plainLabel(this, "lblObjectName");
    titleLayout->addWidget(lblObjectName);
    mainLayout->addLayout(titleLayout);
}

void VGetUserAction::buildActions()
{
    actionLayout = new QGridLayout;
    actionLayout->setContentsMargins(10, 10, 10, 10);
    actionLayout->setSpacing(10);
    const auto addLink = [this](const char* name, int column, int width, void (VGetUserAction::*slot)()) {
        auto* link = new VLinkButton(background::dialog, this, name);
        link->setFixedSize(width, 34);
        connect(link, &VLinkButton::clicked, this, slot);
        actionLayout->addWidget(link, 0, column);
        return link;
    };
    lnkNothing = addLink("lnkNothing", 0, 80, &VGetUserAction::nothingClicked);
    lnkDelete = addLink("lnkDelete", 1, 80, &VGetUserAction::deleteClicked);
    lnkRename = addLink("lnkRename", 2, 80, &VGetUserAction::renameClicked);
    lnkQuarantine = addLink("lnkQuarantine", 3, 100, &VGetUserAction::quarantineClicked);
    btnScanCancel =
        new VPushButton(QStringLiteral("button"), background::dialog, false, this, "btnScanCancel");
    btnScanCancel->setFixedSize(80, 32);
    connect(btnScanCancel, &VPushButton::clicked, this, &VGetUserAction::cancelScanClicked);
    actionLayout->addWidget(btnScanCancel, 1, 0, 1, 4, Qt::AlignHCenter);
    mainLayout->addLayout(actionLayout);
}

void VGetUserAction::languageChange()
{
    setWindowTitle(tr("Vardo"));
    setTexts(lnkNothing, tr("No Action"), tr("Alt+N"), tr("Ignore infected object"));
    setTexts(lnkDelete, tr("Delete"), tr("Alt+D"), tr("Delete Infected File"));
    setTexts(lnkRename, tr("Rename"), tr("Alt+R"), tr("Rename Infected File"));
    setTexts(lnkQuarantine, tr("Quarantine"), tr("Alt+Q"), tr("Quarantine Infected Files"));
    setTexts(btnScanCancel, tr("&Close"), tr("Alt+C"), tr("Close current window"));
}

void VGetUserAction::init()
{
    fit();
}

void VGetUserAction::fit()
{
    resize(sizeHint());
    makeWidgetRound(6, 13);
}

int VGetUserAction::getUserAction()
{
    exec();
    return userAction;
}

int VGetUserAction::getUserAction(const char* objName)
{
    QString oname = visibleText(shownText(objName));
    lblObjectName->setToolTip(literalToolTip(oname));
    if (oname.size() > longestShown)
        oname = oname.left(longestShown) + QStringLiteral("...");
    lblObjectName->setText(oname);
    // Wide letters need more room than the empty window was shaped for. A label that was never shown leaves
    // its layouts as they are.
    titleLayout->invalidate();
    mainLayout->invalidate();
    fit();
    return getUserAction();
}

void VGetUserAction::answer(int code)
{
    userAction = code;
    close();
}

void VGetUserAction::nothingClicked()
{
    answer(PROMPT_NOTHING);
}

void VGetUserAction::deleteClicked()
{
    answer(PROMPT_DELETE);
}

void VGetUserAction::renameClicked()
{
    answer(PROMPT_RENAME);
}

void VGetUserAction::quarantineClicked()
{
    answer(PROMPT_QUARANTINE);
}

void VGetUserAction::cancelScanClicked()
{
    answer(PROMPT_CLOSE);
}

/// Escape is no answer.
void VGetUserAction::reject()
{
}

void VGetUserAction::closeEvent(QCloseEvent* ce)
{
    if (userAction < 0) {
        ce->ignore();
        raise();
        return;
    }
    ce->accept();
    done(userAction);
}
