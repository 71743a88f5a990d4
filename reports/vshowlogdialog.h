#pragma once

#include "base/uniquefd.h"
#include "kit/dialogwindow.h"

class VPushButton;
class VTextPane;

/// Shows one log file as text that can be read and copied.
class VShowLogDialog : public DialogWindow
{
    Q_OBJECT

  public:
    VShowLogDialog(QWidget* parent, const char* name, bool modal, Qt::WindowFlags flags);

    /// Loads the file, from whose first line the dialog shows it. Call it once, before exec(). What cannot be
    /// opened, a link, and what is no regular file make an empty text.
    void showLogs(const char* path);
    /// The same for a file that is already open; holding none is an empty text.
    void showLogs(base::UniqueFd log);

  private:
    void languageChange();
    void init();

    VPushButton* btnOk = nullptr;
    VTextPane* textLog = nullptr;
};
