#pragma once

#include "kit/framelessflags.h"
#include "kit/roundedwindow.h"

#include <QString>

#include <array>

class QHBoxLayout;
class QLabel;
class QSpacerItem;
class QVBoxLayout;
class VPushButton;

/// The message box through which the program says everything it has to say.
///
/// A button argument is a BTN_ code, with the flags BTN_DEFAULT and BTN_ESCAPE if wanted, or 0 for no button.
/// exec() returns the bare code of the button that was clicked, or 0 after the close button. Return clicks
/// nothing, and Escape only a button with BTN_ESCAPE.
class VMessageBox final : public RoundedWindow<QDialog>
{
    Q_OBJECT

  public:
    enum Icon { NoIcon, Information, Warning, Critical, Question };

    enum Button {
        BTN_OK = 1,
        BTN_CANCEL,
        BTN_YES,
        BTN_NO,
        BTN_ABORT,
        BTN_RETRY,
        BTN_IGNORE,
        BTN_YESALL,
        BTN_NOALL,
        BTN_MASK = 0xFF,
        BTN_DEFAULT = 0x100,
        BTN_ESCAPE = 0x200,
    };

    /// FRAMELESS_FLAGS is added to `flags`.
    VMessageBox(const QString& text, Icon icon, int button0, int button1, int button2, QWidget* parent,
                const char* name, bool modal, Qt::WindowFlags flags = FRAMELESS_FLAGS);

    /// A framed, modal box with an "Ok" button, no text and no icon.
    explicit VMessageBox(QWidget* parent, const char* name = nullptr);

    QString text() const;
    /// Shows `text` as it stands, tags included, and sizes the box to it.
    void setText(const QString& text);
    /// NoIcon leaves the present one.
    void setMessageIcon(Icon icon);
    /// The place of the button with a bare code, from 0; -1 if the box has none.
    int indexOf(int code) const;
    /// The text of that button; null if the box has none.
    QString buttonText(int code) const;
    /// Does nothing if the box has no such button.
    void setButtonText(int code, const QString& text);
    /// Fits the box to its text, centres it on its parent and shapes it.
    void adjustSize();

    /// Show a box with the icon of that name and return what exec() does.
    static int information(QWidget* parent, const QString& text, int button0, int button1, int button2);
    static int question(QWidget* parent, const QString& text, int button0, int button1, int button2);
    static int warning(QWidget* parent, const QString& text, int button0, int button1, int button2);
    static int critical(QWidget* parent, const QString& text, int button0, int button1, int button2);

    /// Likewise with up to three buttons given by their texts; an empty first text reads "Ok". Return the
    /// number of the button, from 0, or -1 after the close button.
    static int information(QWidget* parent, const QString& text, const QString& button0Text,
                           const QString& button1Text, const QString& button2Text, int defaultButtonNumber,
                           int escapeButtonNumber);
    static int question(QWidget* parent, const QString& text, const QString& button0Text,
                        const QString& button1Text, const QString& button2Text, int defaultButtonNumber,
                        int escapeButtonNumber);
    static int warning(QWidget* parent, const QString& text, const QString& button0Text,
                       const QString& button1Text, const QString& button2Text, int defaultButtonNumber,
                       int escapeButtonNumber);
    static int critical(QWidget* parent, const QString& text, const QString& button0Text,
                        const QString& button1Text, const QString& button2Text, int defaultButtonNumber,
                        int escapeButtonNumber);

  public slots:
    void makeWidgetRound(int xRnd, int yRnd) override;

  protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private slots:
    void buttonClicked();

  private:
    static constexpr int maxButtons = 3;

    void init(int button0, int button1, int button2);
    void readButtonCodes();
    void buildLayouts();
    void buildButtons();

    QHBoxLayout* hCenterLayout = nullptr;
    QHBoxLayout* hTopButtonLayout = nullptr;
    QHBoxLayout* hBottomButtonLayout = nullptr;
    QVBoxLayout* VMessageBoxLayout = nullptr;
    QSpacerItem* closeButtonSpacer = nullptr;
    QSpacerItem* buttonLeftSpacer = nullptr;
    QSpacerItem* buttonRightSpacer = nullptr;
    std::array<VPushButton*, maxButtons> buttons{};
    VPushButton* btnClose = nullptr;
    QLabel* lblMessage = nullptr;
    QLabel* lblIcon = nullptr;
    std::array<int, maxButtons> nBtnType{};
    int nDefButton = -1;
    int nEscButton = -1;
    int nBtnCount = 0;
};

/// Buttons that are the default of their message.
inline constexpr int okDefault = VMessageBox::BTN_OK | VMessageBox::BTN_DEFAULT;
inline constexpr int yesDefault = VMessageBox::BTN_YES | VMessageBox::BTN_DEFAULT;
inline constexpr int noDefault = VMessageBox::BTN_NO | VMessageBox::BTN_DEFAULT;

/// Asks or tells the user in a box of its own and returns the bare code of the button, 0 after the close
/// button.
int vMessage(QWidget* parent, const QString& text, VMessageBox::Icon icon, int b0, int b1 = 0, int b2 = 0);

/// Asks a question and tells whether the answer was yes.
bool vAsk(QWidget* parent, const QString& text, int yes = VMessageBox::BTN_YES, int no = VMessageBox::BTN_NO);

/// An Information notice whose only button reads "Ok" and answers with BTN_CANCEL.
int vNotice(QWidget* parent, const QString& text);
