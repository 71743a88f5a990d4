#pragma once

#include "kit/vmessagebox.h"

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QTimer>

#include <deque>
#include <functional>
#include <vector>

/// Answers the modal windows that come up while it lives, in the order of the answers given: the real
/// button is clicked with the mouse. A window that nobody expects, or that stays open after its answer,
/// fails the test and is closed, so that nothing hangs. One at a time, on the GUI thread.
class ModalBoxes : public QObject
{
  public:
    struct Seen
    {
        QString text; ///< of a message box; else the window's objectName
        QStringList buttons;
    };

    ModalBoxes();
    /// Fails the test when answers are left over.
    ~ModalBoxes() override;

    /// Answers the next window, a message box, by the button with this bare code; 0 is its close button.
    void answer(int code);
    /// Gives the next window of any kind to `handler`, which must lead to its end.
    void handle(std::function<void(QWidget*)> handler);

    /// What came up so far, and the texts of it.
    const std::vector<Seen>& seen() const { return seen_; }
    QStringList texts() const;

  private:
    using Handler = std::function<void(QWidget*)>;

    void look();
    void meet(QWidget* window);
    void giveUp(const char* why);

    QTimer timer_;
    std::deque<Handler> handlers_;
    std::vector<Seen> seen_;
    std::vector<QPointer<QWidget>> met_; ///< those that are still up
    QPointer<QWidget> current_;
    QElapsedTimer since_;
};
