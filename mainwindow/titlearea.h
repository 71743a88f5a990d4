#pragma once

class QLabel;
class QString;
class QWidget;
class VLinkButton;
class VMainWidget;
class VPushButton;

/// The area above the pages: product line, dates, and the window's own buttons.
struct TitleArea
{
    void buildOn(QWidget* window);
    void languageChange();
    void connectTo(VMainWidget* window);

    QWidget* topWidget = nullptr;
    VLinkButton* lnkFeedback = nullptr;
    QLabel* lblSeperator = nullptr;
    VLinkButton* lnkHelp = nullptr;
    VPushButton* btnMinimize = nullptr;
    VPushButton* btnClose = nullptr;
    QLabel* lblProductName = nullptr;
    QLabel* lblUpdateDate = nullptr;
    VLinkButton* lnkUpdateNow = nullptr;
    QLabel* lblLastScan = nullptr;
    VLinkButton* lnkLastScan = nullptr;
};
