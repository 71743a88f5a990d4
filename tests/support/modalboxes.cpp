#include "tests/support/modalboxes.h"

#include "kit/vpushbutton.h"

#include <QApplication>
#include <QTest>

#include <algorithm>
#include <utility>

namespace {

constexpr int lookEvery = 5;     // milliseconds
constexpr int patience = 10'000; // milliseconds that a window may stay after its answer

VPushButton* buttonOf(const VMessageBox& box, int code)
{
    const QString text = box.buttonText(code);
    for (VPushButton* button : box.findChildren<VPushButton*>()) {
        const bool closes = button->objectName() == "btnClose";
        if (code == 0 ? closes : !closes && button->text() == text)
            return button;
    }
    return nullptr;
}

void clickButton(QWidget* window, int code)
{
    auto* box = qobject_cast<VMessageBox*>(window);
    VPushButton* button = box && (code == 0 || box->indexOf(code) >= 0) ? buttonOf(*box, code) : nullptr;
    if (button)
        QTest::mouseClick(button, Qt::LeftButton);
    else
        QTest::qFail(qPrintable(QString("no button %1 in: %2").arg(code).arg(window->objectName())), __FILE__,
                     __LINE__);
}

void end(QWidget* window)
{
    if (auto* dialog = qobject_cast<QDialog*>(window))
        dialog->done(0);
    else
        window->close();
}

} // namespace

ModalBoxes::ModalBoxes()
{
    connect(&timer_, &QTimer::timeout, this, &ModalBoxes::look);
    timer_.start(lookEvery);
}

ModalBoxes::~ModalBoxes()
{
    if (!handlers_.empty())
        QTest::qFail("an expected window did not come up", __FILE__, __LINE__);
}

void ModalBoxes::answer(int code)
{
    handle([code](QWidget* window) { clickButton(window, code); });
}

void ModalBoxes::handle(std::function<void(QWidget*)> handler)
{
    handlers_.push_back(std::move(handler));
}

QStringList ModalBoxes::texts() const
{
    QStringList texts;
    for (const Seen& box : seen_)
        texts << box.text;
    return texts;
}

void ModalBoxes::look()
{
    QWidget* window = QApplication::activeModalWidget();
    std::erase_if(met_, [](const QPointer<QWidget>& known) { return !known || !known->isVisible(); });
    if (!window || !window->isVisible())
        return;
    if (window != std::exchange(current_, window))
        since_.start();
    if (std::find(met_.begin(), met_.end(), window) == met_.end())
        meet(window);
    else if (since_.hasExpired(patience))
        giveUp("a window stayed open after its answer");
}

void ModalBoxes::meet(QWidget* window)
{
    met_.emplace_back(window);
    Seen seen{window->objectName(), {}};
    if (const auto* box = qobject_cast<VMessageBox*>(window)) {
        seen.text = box->text();
        for (int code = VMessageBox::BTN_OK; code <= VMessageBox::BTN_NOALL; ++code) {
            if (box->indexOf(code) >= 0)
                seen.buttons << box->buttonText(code);
        }
    }
    seen_.push_back(seen);
    if (handlers_.empty()) {
        giveUp("an unexpected window came up");
        return;
    }
    const Handler handler = handlers_.front();
    handlers_.pop_front();
    // From the event loop, so that this timer goes on while the handler meets further windows.
    QTimer::singleShot(0, window, [handler, window] { handler(window); });
}

void ModalBoxes::giveUp(const char* why)
{
    const QString name = seen_.empty() ? QString() : seen_.back().text;
    QTest::qFail(qPrintable(QString("%1: %2").arg(why, name)), __FILE__, __LINE__);
    if (current_)
        end(current_);
}
