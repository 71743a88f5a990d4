#include "kit/vmessagebox.h"

#include "kit/accessible.h"
#include "kit/builders.h"
#include "kit/imagecollection.h"
#include "kit/labels.h"
#include "kit/vpushbutton.h"

#include <QKeyEvent>
#include <QLabel>
#include <QVBoxLayout>

#include <algorithm>

namespace {

/// Indexed by button code.
constexpr const char* btnText[] = {nullptr,  "Ok",      "Cancel",      "&Yes",       "&No",  "&Abort",
                                   "&Retry", "&Ignore", "Yes to &All", "N&o to All", nullptr};

/// Indexed by VMessageBox::Icon.
constexpr const char* iconImages[] = {nullptr, "messagebox_info.png", "messagebox_warning.png",
                                      "messagebox_critical.png", "messagebox_query.png"};

template <class Layout>
Layout* makeLayout(const char* name, int margin, int spacing)
{
    auto* layout = new Layout;
    layout->setObjectName(QLatin1StringView(name));
    layout->setContentsMargins(margin, margin, margin, margin);
    layout->setSpacing(spacing);
    return layout;
}

QSpacerItem* makeSpacer(int width, int height)
{
    return new QSpacerItem(width, height, QSizePolicy::Expanding, QSizePolicy::Minimum);
}

/// The box deletes itself, unless its parent has done so while it was open.
int execBox(VMessageBox* box)
{
    box->setAttribute(Qt::WA_DeleteOnClose);
    return box->exec();
}

int textBox(QWidget* parent, VMessageBox::Icon icon, const QString& text, const std::array<QString, 3>& texts,
            int defaultButtonNumber, int escapeButtonNumber)
{
    std::array<int, 3> codes{1, texts[1].isEmpty() ? 0 : 2, texts[2].isEmpty() ? 0 : 3};
    for (int i = 0; i < 3; ++i) {
        int& code = codes[static_cast<std::size_t>(i)];
        if (code != 0 && i == defaultButtonNumber)
            code |= VMessageBox::BTN_DEFAULT;
        if (code != 0 && i == escapeButtonNumber)
            code |= VMessageBox::BTN_ESCAPE;
    }
    auto* box = new VMessageBox(text, icon, codes[0], codes[1], codes[2], parent, "msgbox", true);
    box->setButtonText(1, texts[0].isEmpty() ? VMessageBox::tr("Ok") : texts[0]);
    box->setButtonText(2, texts[1]);
    box->setButtonText(3, texts[2]);
    box->setCursor(Qt::ArrowCursor);
    return execBox(box) - 1;
}

} // namespace

VMessageBox::VMessageBox(const QString& text, Icon icon, int button0, int button1, int button2,
                         QWidget* parent, const char* name, bool modal, Qt::WindowFlags flags)
    : RoundedWindow<QDialog>(background::box, true, parent, flags | FRAMELESS_FLAGS)
{
    setObjectName(QLatin1StringView(name ? name : "VMessageBox"));
    setModal(modal);
    init(button0, button1, button2);
    setText(text);
    setMessageIcon(icon);
}

VMessageBox::VMessageBox(QWidget* parent, const char* name)
    : RoundedWindow<QDialog>(background::box, true, parent, {})
{
    setObjectName(QLatin1StringView(name ? name : "VMessageBox"));
    setModal(true);
    init(BTN_OK, 0, 0);
}

void VMessageBox::init(int button0, int button1, int button2)
{
    // A triple with a gap is nobody's wish: it gives the one button that a box always has.
    const bool consistent = !(button2 != 0 && button1 == 0) && !(button1 != 0 && button0 == 0);
    if (consistent)
        nBtnType = {button0, button1, button2};
    readButtonCodes();
    buildLayouts();
    buildButtons();
    setWindowTitle(QStringLiteral("Vardo"));
    accessible::setWindow(this, QAccessible::AlertMessage);
}

void VMessageBox::readButtonCodes()
{
    for (int i = 0; i < maxButtons; ++i) {
        int& type = nBtnType[static_cast<std::size_t>(i)];
        if ((type & BTN_DEFAULT) != 0 && nDefButton < 0)
            nDefButton = i;
        if ((type & BTN_ESCAPE) != 0 && nEscButton < 0)
            nEscButton = i;
        type &= BTN_MASK;
        if (type > BTN_NOALL || (type == 0 && i == 0))
            type = BTN_OK;
        else if (i > 0 && nBtnType[static_cast<std::size_t>(i - 1)] == 0)
            type = 0;
        if (type != 0)
            ++nBtnCount;
    }
}

void VMessageBox::buildLayouts()
{
    VMessageBoxLayout = makeLayout<QVBoxLayout>("VMessageBoxLayout", 4, 4);
    hTopButtonLayout = makeLayout<QHBoxLayout>("hTopButtonLayout", 4, 0);
    hCenterLayout = makeLayout<QHBoxLayout>("hCenterLayout", 4, 4);
    hBottomButtonLayout = makeLayout<QHBoxLayout>("hBottomButtonLayout", 10, 4);
    setLayout(VMessageBoxLayout);
    for (QHBoxLayout* row : {hTopButtonLayout, hCenterLayout, hBottomButtonLayout})
        VMessageBoxLayout->addLayout(row);

    btnClose = build::closeButton(this);
    connect(btnClose, &VPushButton::clicked, this, &VMessageBox::close);
    closeButtonSpacer = makeSpacer(10, 10);
    hTopButtonLayout->addItem(closeButtonSpacer);
    hTopButtonLayout->addWidget(btnClose);

    lblIcon = plainLabel(this, "lblIcon");
    lblIcon->setFixedSize(48, 48);
    lblMessage = plainLabel(this, "lblMessage");
    lblMessage->setIndent(5);
    hCenterLayout->addWidget(lblIcon);
    hCenterLayout->addWidget(lblMessage);
}

void VMessageBox::buildButtons()
{
    buttonLeftSpacer = makeSpacer(2, 20);
    buttonRightSpacer = makeSpacer(2, 20);
    hBottomButtonLayout->addItem(buttonLeftSpacer);
    for (int i = 0; i < nBtnCount; ++i) {
        const auto place = static_cast<std::size_t>(i);
        VPushButton* button = build::textButton(this, nullptr);
        button->setDefault(i == nDefButton);
        button->setAutoDefault(true);
        button->setText(QString::fromLatin1(btnText[nBtnType[place]]));
        connect(button, &VPushButton::clicked, this, &VMessageBox::buttonClicked);
        hBottomButtonLayout->addWidget(button);
        buttons[place] = button;
    }
    hBottomButtonLayout->addItem(buttonRightSpacer);
}

QString VMessageBox::text() const
{
    return lblMessage->text();
}

void VMessageBox::setText(const QString& text)
{
    lblMessage->setText(text);
    setAccessibleDescription(text);
    adjustSize();
}

void VMessageBox::setMessageIcon(Icon icon)
{
    if (icon > NoIcon && icon <= Question)
        lblIcon->setPixmap(vardoPixmap(QString::fromLatin1(iconImages[icon])));
}

int VMessageBox::indexOf(int code) const
{
    const auto end = nBtnType.begin() + nBtnCount;
    const auto found = std::find(nBtnType.begin(), end, code);
    return found == end ? -1 : static_cast<int>(found - nBtnType.begin());
}

QString VMessageBox::buttonText(int code) const
{
    const int place = indexOf(code);
    return place < 0 ? QString() : buttons[static_cast<std::size_t>(place)]->text();
}

void VMessageBox::setButtonText(int code, const QString& text)
{
    if (const int place = indexOf(code); place >= 0)
        buttons[static_cast<std::size_t>(place)]->setText(text);
}

void VMessageBox::adjustSize()
{
    const QSize hint = lblMessage->sizeHint();
    const int boxWidth = std::max(nBtnCount * 90 + 20, hint.width() + 80);
    const int boxHeight = hint.height() <= 48 ? 158 : hint.height() + 110;
    setFixedSize(boxWidth, boxHeight);
    resize(boxWidth, boxHeight);
    if (const QWidget* parent = parentWidget()) {
        setGeometry(parent->x() + (parent->width() - boxWidth) / 2,
                    parent->y() + (parent->height() - boxHeight) / 2, boxWidth, boxHeight);
    }
    makeWidgetRound(5, 10);
}

void VMessageBox::makeWidgetRound(int xRnd, int yRnd)
{
    RoundedWindow::makeWidgetRound(xRnd, yRnd);
}

void VMessageBox::buttonClicked()
{
    const auto end = buttons.begin() + nBtnCount;
    const auto found = std::find(buttons.begin(), end, sender());
    done(found == end ? 0 : nBtnType[static_cast<std::size_t>(found - buttons.begin())]);
}

void VMessageBox::mousePressEvent(QMouseEvent* event)
{
    RoundedWindow::mousePressEvent(event);
    QDialog::mousePressEvent(event);
}

void VMessageBox::mouseReleaseEvent(QMouseEvent* event)
{
    RoundedWindow::mouseReleaseEvent(event);
    QDialog::mouseReleaseEvent(event);
}

void VMessageBox::mouseMoveEvent(QMouseEvent* event)
{
    RoundedWindow::mouseMoveEvent(event);
    QDialog::mouseMoveEvent(event);
}

/// QDialog is not asked: Return must not click the default button, nor Escape close the box.
void VMessageBox::keyPressEvent(QKeyEvent* event)
{
    if (event->key() != Qt::Key_Escape || nEscButton < 0 || nEscButton >= nBtnCount)
        return;
    buttons[static_cast<std::size_t>(nEscButton)]->animateClick();
    event->accept();
}

int VMessageBox::information(QWidget* parent, const QString& text, int button0, int button1, int button2)
{
    return execBox(
        new VMessageBox(text, Information, button0, button1, button2, parent, "information", true));
}

int VMessageBox::information(QWidget* parent, const QString& text, const QString& button0Text,
                             const QString& button1Text, const QString& button2Text, int defaultButtonNumber,
                             int escapeButtonNumber)
{
    return textBox(parent, Information, text, {button0Text, button1Text, button2Text}, defaultButtonNumber,
                   escapeButtonNumber);
}

int VMessageBox::question(QWidget* parent, const QString& text, int button0, int button1, int button2)
{
    return execBox(new VMessageBox(text, Question, button0, button1, button2, parent, "question", true));
}

int VMessageBox::question(QWidget* parent, const QString& text, const QString& button0Text,
                          const QString& button1Text, const QString& button2Text, int defaultButtonNumber,
                          int escapeButtonNumber)
{
    return textBox(parent, Question, text, {button0Text, button1Text, button2Text}, defaultButtonNumber,
                   escapeButtonNumber);
}

int VMessageBox::warning(QWidget* parent, const QString& text, int button0, int button1, int button2)
{
    return execBox(new VMessageBox(text, Warning, button0, button1, button2, parent, "warning", true));
}

int VMessageBox::warning(QWidget* parent, const QString& text, const QString& button0Text,
                         const QString& button1Text, const QString& button2Text, int defaultButtonNumber,
                         int escapeButtonNumber)
{
    return textBox(parent, Warning, text, {button0Text, button1Text, button2Text}, defaultButtonNumber,
                   escapeButtonNumber);
}

int VMessageBox::critical(QWidget* parent, const QString& text, int button0, int button1, int button2)
{
    return execBox(
        new VMessageBox(text, Critical, button0, button1, button2, parent, "qt_msgbox_critical", true));
}

int VMessageBox::critical(QWidget* parent, const QString& text, const QString& button0Text,
                          const QString& button1Text, const QString& button2Text, int defaultButtonNumber,
                          int escapeButtonNumber)
{
    return textBox(parent, Critical, text, {button0Text, button1Text, button2Text}, defaultButtonNumber,
                   escapeButtonNumber);
}

int vMessage(QWidget* parent, const QString& text, VMessageBox::Icon icon, int b0, int b1, int b2)
{
    VMessageBox box(text, icon, b0, b1, b2, parent, nullptr, true);
    return box.exec();
}

bool vAsk(QWidget* parent, const QString& text, int yes, int no)
{
    return vMessage(parent, text, VMessageBox::Question, yes, no) == VMessageBox::BTN_YES;
}

int vNotice(QWidget* parent, const QString& text)
{
    VMessageBox box(text, VMessageBox::Information, VMessageBox::BTN_CANCEL | VMessageBox::BTN_DEFAULT, 0, 0,
                    parent, nullptr, true);
    box.setButtonText(VMessageBox::BTN_CANCEL, VMessageBox::tr("Ok"));
    return box.exec();
}
