#pragma once

class QLabel;
class QWidget;
class VLinkButton;
class VMainWidget;

namespace pages {

/// Leads to help on the web.
struct Help
{
    static constexpr char name[] = "wgtstkHelp";
    static constexpr char title[] = "Help";

    void buildOn(QWidget* page);
    void languageChange();
    void connectTo(VMainWidget* window);

    QWidget* wgtstkHelp = nullptr;
    VLinkButton* lnkLiveChat = nullptr;
    QLabel* lblLiveChat = nullptr;
    VLinkButton* lnkOnlineHelp = nullptr;
    QLabel* lblVardoOnline = nullptr;
    VLinkButton* lnkForum = nullptr;
    QLabel* lblForum = nullptr;
};

} // namespace pages
