#include "mainwindow/helppage.h"

#include "base/paths.h"
#include "kit/builders.h"
#include "kit/labels.h"
#include "kit/texts.h"
#include "kit/vlinkbutton.h"
#include "kit/vmessagebox.h"
#include "mainwindow/browser.h"
#include "mainwindow/clicks.h"
#include "mainwindow/vmainwidget.h"
#include "sfl/sfl.h"

#include <QGridLayout>
#include <QLabel>
#include <QRegularExpression>
#include <QStringList>

namespace {

/// A page of the maker's: the key that names its server, and its path there.
struct WebPage
{
    const char* host;
    const char* path;
};

constexpr WebPage helpPage{"Help:HelpHost", "/wiki/index.php/Online_Guide"};
constexpr WebPage chatPage{"Help:ChatHost", "/choosedepartment.php"};
constexpr WebPage forumPage{"Help:ForumHost", "/"};
constexpr WebPage feedbackPage{"Help:FeedbackHost", "/english/content/company/feedback/vardo_feedback.asp"};

/// A value of the shared configuration, whoever the user is; empty when the key is missing.
QString sharedValue(const char* key)
{
    const sfl::SymTablePtr table(ini_dyn_load(sym_create_table_("helppage", __LINE__), paths::vardoConf));
    return QString::fromLocal8Bit(sym_get_value(table.get(), key, ""));
}

/// The installed help where no server is named, or something that is none.
QByteArray addressOf(const WebPage& page)
{
    static const QRegularExpression server(QStringLiteral("^[A-Za-z0-9.-]+(:[0-9]{1,5})?$"));
    const QString host = sharedValue(page.host);
    const bool named = server.match(host).hasMatch();
    return (named ? "http://" + host + page.path : QStringLiteral("file://") + paths::help).toUtf8();
}

} // namespace

void pages::Help::buildOn(QWidget* page)
{
    wgtstkHelp = page;
    constexpr QSize square(35, 35), wide(53, 27);
    lnkLiveChat = build::pictureLink(page, "lnkLiveChat", "Livehelp.jpg", square);
    lblLiveChat = plainLabel(page, "lblLiveChat");
    lnkOnlineHelp = build::pictureLink(page, "lnkOnlineHelp", "vardo_wiki.jpg", square);
    lblVardoOnline = plainLabel(page, "lblVardoOnline");
    lnkForum = build::pictureLink(page, "lnkForum", "Quillstone_forum.jpg", wide);
    lblForum = plainLabel(page, "lblForum");

    auto* grid = build::layout<QGridLayout>(20, 10, page);
    grid->setColumnStretch(1, 1);
    int row = 0;
    const std::pair<VLinkButton*, QLabel*> topics[] = {
        {lnkLiveChat, lblLiveChat}, {lnkOnlineHelp, lblVardoOnline}, {lnkForum, lblForum}};
    for (const auto& [link, explanation] : topics) {
        explanation->setWordWrap(true);
        explanation->setAlignment(Qt::AlignTop);
        grid->addWidget(link, row++, 0, 1, 2);
        grid->addItem(new QSpacerItem(60, 3, QSizePolicy::Fixed, QSizePolicy::Minimum), row, 0);
        grid->addWidget(explanation, row++, 1, Qt::AlignTop);
    }
}

void pages::Help::languageChange()
{
    setTexts(VMainWidget::tr,
             {
                 {lnkLiveChat, "Live Chat", "Redirect you to Vardo online live chat", "Alt+L"},
                 {lblLiveChat,
                  "Live Chat provides you the option of chatting with our 24x7 online support team to solve "
                  "your technical queries and problems when using Vardo."},
                 {lnkOnlineHelp, "Vardo Online Help", "Redirect you to Vardo online help support", "Alt+O"},
                 {lblVardoOnline,
                  "The Vardo Online Help has comprehensive information on Vardo. The wiki has the help "
                  "file, knowledge base and general FAQs of Vardo."},
                 {lnkForum, "Quillstone Forum", "Redirect you to Vardo online forum", "Alt+R"},
                 {lblForum,
                  "On the Quillstone Forum, you can create or join discussion groups on Vardo. It contains "
                  "various tweaks to maximize the capabilities of Vardo."},
             });
}

void pages::Help::connectTo(VMainWidget* window)
{
    connectClicks(window, {
                              {lnkLiveChat, &VMainWidget::showOnlineChat},
                              {lnkOnlineHelp, &VMainWidget::showWiki},
                              {lnkForum, &VMainWidget::showForum},
                          });
}

void VMainWidget::showHelpMenu()
{
    if (settleSettings())
        showSubPage(HelpPage);
}

int VMainWidget::showBrowser(const char* url)
{
    if (!url)
        return -1;
    const QString browsers = sharedValue("Config:Browsers");
    if (browsers.isEmpty())
        return -1;
    const QString page = QString::fromUtf8(url);
    for (const QString& program : browsers.split(u',', Qt::SkipEmptyParts)) {
        if (startBrowser(program, page))
            return 0;
    }
    vMessage(this,
             tr("Error showing pages. Please varify your browser setting.\nOpen ") + page +
                 tr(" manually in your browser"),
             VMessageBox::Information, VMessageBox::BTN_OK);
    return -1;
}

void VMainWidget::openPage(const char* url)
{
    if (showBrowser(url) < 0)
        vMessage(this, tr("Could not open browser!"), VMessageBox::Information, okDefault);
}

void VMainWidget::showWiki()
{
    openPage(addressOf(helpPage));
}

void VMainWidget::showOnlineChat()
{
    openPage(addressOf(chatPage));
}

void VMainWidget::showForum()
{
    openPage(addressOf(forumPage));
}

void VMainWidget::showFeedback()
{
    openPage(addressOf(feedbackPage));
}
