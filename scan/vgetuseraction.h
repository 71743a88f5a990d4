#pragma once

#include "kit/dialogwindow.h"

class QGridLayout;
class QHBoxLayout;
class QLabel;
class QVBoxLayout;
class VLinkButton;

/// Asks what to do about one infected object. It can't be left without an answer.
class VGetUserAction : public DialogWindow
{
    Q_OBJECT

  public:
    VGetUserAction(QWidget* parent, const char* name, bool modal, Qt::WindowFlags f);

    /// Run the dialog and return the user's PROMPT_ code. `objName` is shown by its first 27 characters, and
    /// whole in a tool tip; it may be null.
    int getUserAction();
    int getUserAction(const char* objName);

    void reject() override;

  public slots:
    /// Each takes its answer and closes the dialog.
    void nothingClicked();
    void deleteClicked();
    void renameClicked();
    void quarantineClicked();
    void cancelScanClicked();

  protected:
    void closeEvent(QCloseEvent* ce) override;

  private:
    struct Answer;
    static const Answer answers[];

    void buildTitle();
    void buildActions();
    void languageChange();
    void init();
    void fit();
    void answer(int code);

    int userAction = -1;
    QLabel* lblObjectName = nullptr;
    QLabel* lblIcon = nullptr;
    VLinkButton* lnkNothing = nullptr;
    VLinkButton* lnkDelete = nullptr;
    VLinkButton* lnkRename = nullptr;
    VLinkButton* lnkQuarantine = nullptr;
    VPushButton* btnScanCancel = nullptr;
    QVBoxLayout* mainLayout = nullptr;
    QHBoxLayout* titleLayout = nullptr;
    QGridLayout* actionLayout = nullptr;
};
