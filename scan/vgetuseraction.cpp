#include "scan/vgetuseraction.h"

#include "engine/interface.h"
#include "kit/accessible.h"
#include "kit/builders.h"
#include "kit/labels.h"
#include "kit/texts.h"
#include "kit/visibletext.h"
#include "kit/vlinkbutton.h"
#include "kit/vpushbutton.h"

#include <QCloseEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QTextBoundaryFinder>
#include <QVBoxLayout>

namespace {

constexpr int longestShown = 27;

/// The head of a name that is too long, without half a character at its end.
QString headOf(const QString& name)
{
    QTextBoundaryFinder characters(QTextBoundaryFinder::Grapheme, name);
    characters.setPosition(longestShown);
    return name.left(characters.isAtBoundary() ? longestShown : characters.toPreviousBoundary());
}

} // namespace

/// One thing that can be done about the object, as a link.
struct VGetUserAction::Answer
{
    VLinkButton* VGetUserAction::*link;
    const char* name;
    int width;
    void (VGetUserAction::*slot)();
    const char* text;
    const char* toolTip;
    const char* shortcut;
};

using This = VGetUserAction;
const VGetUserAction::Answer VGetUserAction::answers[] = {
    {&This::lnkNothing, "lnkNothing", 80, &This::nothingClicked, "No Action", "Ignore infected object",
     "Alt+N"},
    {&This::lnkDelete, "lnkDelete", 80, &This::deleteClicked, "Delete", "Delete Infected File", "Alt+D"},
    {&This::lnkRename, "lnkRename", 80, &This::renameClicked, "Rename", "Rename Infected File", "Alt+R"},
    {&This::lnkQuarantine, "lnkQuarantine", 100, &This::quarantineClicked, "Quarantine",
     "Quarantine Infected Files", "Alt+Q"},
};

VGetUserAction::VGetUserAction(QWidget* parent, const char* /*name*/, bool modal, Qt::WindowFlags f)
    : DialogWindow(parent, "VGetUserAction", modal, f)
{
    mainLayout = build::layout<QVBoxLayout>(0, 0, this);
    buildTitle();
    buildActions();
    languageChange();
    init();
}

void VGetUserAction::buildTitle()
{
    titleLayout = build::layout<QHBoxLayout>(6, 20);
    lblIcon = build::picture(this, "lblIcon", "virus.png", {48, 48});
    titleLayout->addWidget(lblIcon);
    lblObjectName = plainLabel(this, "lblObjectName");
    titleLayout->addWidget(lblObjectName);
    mainLayout->addLayout(titleLayout);
}

void VGetUserAction::buildActions()
{
    actionLayout = build::layout<QGridLayout>(10, 10);
    for (int column = 0; const Answer& answer : answers) {
        VLinkButton* link = this->*answer.link = build::link(this, answer.name);
        link->setFixedSize(answer.width, 34);
        connect(link, &VLinkButton::clicked, this, answer.slot);
        actionLayout->addWidget(link, 0, column++);
    }
    btnScanCancel = build::textButton(this, "btnScanCancel");
    connect(btnScanCancel, &VPushButton::clicked, this, &VGetUserAction::cancelScanClicked);
    actionLayout->addWidget(btnScanCancel, 1, 0, 1, 4, Qt::AlignHCenter);
    mainLayout->addLayout(actionLayout);
}

void VGetUserAction::languageChange()
{
    setWindowTitle(tr("Vardo"));
    for (const Answer& answer : answers)
        setTexts(tr, {{this->*answer.link, answer.text, answer.toolTip, answer.shortcut}});
    setTexts(tr, {{btnScanCancel, "&Close", "Close current window", "Alt+C"}});
}

void VGetUserAction::init()
{
    accessible::setWindow(this, QAccessible::AlertMessage);
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
    lblObjectName->setAccessibleName(oname);
    setAccessibleDescription(oname);
    if (oname.size() > longestShown)
        oname = headOf(oname) + QStringLiteral("...");
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
