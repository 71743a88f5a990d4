#include "kit/vmessagebox.h"
#include "kit/vpushbutton.h"

#include <QApplication>
#include <QLabel>
#include <QPointer>
#include <QTest>
#include <QTimer>

#include <functional>

namespace {

/// Runs `call`, which opens a box, and lets `act` deal with the box once it is up. A box that stays is closed
/// after five seconds, with -99 as its result.
int answer(const std::function<int()>& call, const std::function<void(VMessageBox&)>& act)
{
    bool acted = false;
    bool hung = false;
    QTimer poll, watchdog;
    const auto current = [] { return qobject_cast<VMessageBox*>(QApplication::activeModalWidget()); };
    QObject::connect(&poll, &QTimer::timeout, [&] {
        if (VMessageBox* box = current(); box && !acted && QTest::qWaitForWindowActive(box)) {
            acted = true;
            act(*box);
        }
    });
    QObject::connect(&watchdog, &QTimer::timeout, [&] {
        hung = true;
        if (VMessageBox* box = current())
            box->done(0);
    });
    poll.start(10);
    watchdog.start(5000);
    const int result = call();
    return hung ? -99 : result;
}

int run(VMessageBox& box, const std::function<void(VMessageBox&)>& act)
{
    return answer([&box] { return box.exec(); }, act);
}

QList<VPushButton*> answerButtons(const VMessageBox& box)
{
    QList<VPushButton*> buttons = box.findChildren<VPushButton*>();
    buttons.removeIf(
        [](VPushButton* button) { return button->objectName() == QLatin1StringView("btnClose"); });
    return buttons;
}

QStringList buttonTexts(const VMessageBox& box)
{
    QStringList texts;
    for (const VPushButton* button : answerButtons(box))
        texts << button->text();
    return texts;
}

void click(VMessageBox& box, int place)
{
    QTest::mouseClick(answerButtons(box).at(place), Qt::LeftButton);
}

void clickClose(VMessageBox& box)
{
    QTest::mouseClick(box.findChild<VPushButton*>(QStringLiteral("btnClose")), Qt::LeftButton);
}

const auto anyText = QStringLiteral("Text");

} // namespace

class TestMessageBox : public QObject
{
    Q_OBJECT

  private slots:
    void sizeFollowsButtonsAndText();
    void isCentredOnItsParent();
    void showsNamesAsTheyStand();
    void buttonsGiveTheirCodes();
    void closeButtonGivesZero();
    void keysClickTheirButtonsOnly();
    void staticsGiveCodes();
    void textFormsGiveIndexes();
    void parentMayGoFirst();
};

void TestMessageBox::sizeFollowsButtonsAndText()
{
    VMessageBox box(QStringLiteral("Hm"), VMessageBox::Question, 5, 6, 7, nullptr, nullptr, true);
    QCOMPARE(box.size(), QSize(290, 158));
    auto* label = box.findChild<QLabel*>(QStringLiteral("lblMessage"));
    box.setText(QString(80, QLatin1Char('W')));
    QCOMPARE(box.width(), label->sizeHint().width() + 80);
    QCOMPARE(box.mask().boundingRect().width(), box.width() - 1);

    const int lineHeight = label->sizeHint().height();
    label->setContentsMargins(0, 48 - lineHeight, 0, 0);
    box.setText(anyText);
    QCOMPARE(box.height(), 158);
    label->setContentsMargins(0, 49 - lineHeight, 0, 0);
    box.setText(anyText);
    QCOMPARE(box.height(), 159);
    QCOMPARE(box.minimumSize(), box.maximumSize());

    // All of the text is inside its label.
    box.setText(QStringLiteral("one\ntwo\nthree\nfour\nfive\nsix\nseven and a longer end of it all"));
    box.show();
    QVERIFY(QTest::qWaitForWindowExposed(&box));
    QVERIFY(label->width() >= label->sizeHint().width() && label->height() >= label->sizeHint().height());
    QVERIFY(box.rect().contains(answerButtons(box).first()->geometry()));
}

void TestMessageBox::isCentredOnItsParent()
{
    QWidget parent;
    parent.setGeometry(120, 90, 600, 400);
    VMessageBox box(anyText, VMessageBox::Information, 3, 260, 0, &parent, nullptr, true);
    box.show();
    QVERIFY(QTest::qWaitForWindowExposed(&box));
    QCOMPARE(box.pos(), QPoint(120 + (600 - box.width()) / 2, 90 + (400 - 158) / 2));
}

void TestMessageBox::showsNamesAsTheyStand()
{
    const QString name = QStringLiteral("<b>x</b><img src=\"/etc/passwd\">\nsecond");
    VMessageBox box(name, VMessageBox::NoIcon, 1, 0, 0, nullptr, nullptr, true);
    QCOMPARE(box.text(), name);
    QCOMPARE(box.findChild<QLabel*>(QStringLiteral("lblMessage"))->textFormat(), Qt::PlainText);
    auto* icon = box.findChild<QLabel*>(QStringLiteral("lblIcon"));
    QVERIFY(icon->pixmap(Qt::ReturnByValue).isNull());
    box.setMessageIcon(VMessageBox::Warning);
    const QImage warning = icon->pixmap(Qt::ReturnByValue).toImage();
    QCOMPARE(warning.size(), QSize(48, 48));
    box.setMessageIcon(VMessageBox::NoIcon);
    QCOMPARE(icon->pixmap(Qt::ReturnByValue).toImage(), warning);
}

void TestMessageBox::buttonsGiveTheirCodes()
{
    const struct
    {
        QList<int> arguments;
        QStringList texts;
        QList<int> results;
    } boxes[] = {
        {{257, 0, 0}, {"Ok"}, {1}},
        {{3, 260, 0}, {"&Yes", "&No"}, {3, 4}},
        {{5, 6, 7}, {"&Abort", "&Retry", "&Ignore"}, {5, 6, 7}},
        {{8, 9, 258}, {"Yes to &All", "N&o to All", "Cancel"}, {8, 9, 2}},
        {{3, 10, 0}, {"&Yes", "Ok"}, {3, 1}}, // no such code
        {{0, 4, 0}, {"Ok"}, {1}},             // a gap ends the row
        {{3, 0x200, 4}, {"&Yes"}, {3}},       // and so does a flag alone
    };
    for (const auto& [arguments, texts, results] : boxes) {
        for (int place = 0; place < results.size(); ++place) {
            VMessageBox box(anyText, VMessageBox::Question, arguments[0], arguments[1], arguments[2], nullptr,
                            nullptr, true);
            QCOMPARE(buttonTexts(box), texts);
            QCOMPARE(box.indexOf(results[place]), place);
            QCOMPARE(run(box, [&](VMessageBox& b) { click(b, place); }), results[place]);
        }
    }
}

void TestMessageBox::closeButtonGivesZero()
{
    VMessageBox box(anyText, VMessageBox::Question, 3, 4, 0, nullptr, nullptr, true);
    QCOMPARE(run(box, clickClose), 0);
    box.setButtonText(VMessageBox::BTN_OK, QStringLiteral("Fine")); // there is none
    QVERIFY(box.indexOf(VMessageBox::BTN_OK) == -1 && box.buttonText(VMessageBox::BTN_OK).isNull());
    QCOMPARE(buttonTexts(box), (QStringList{"&Yes", "&No"}));
}

void TestMessageBox::keysClickTheirButtonsOnly()
{
    VMessageBox box(anyText, VMessageBox::Question, 259, 4, 0, nullptr, nullptr, true);
    const int result = run(box, [](VMessageBox& b) {
        for (const Qt::Key key : {Qt::Key_Escape, Qt::Key_Return, Qt::Key_Enter, Qt::Key_Space})
            QTest::keyClick(&b, key);
        QTest::qWait(150); // longer than an animated click
        QVERIFY(b.isVisible());
        QTest::keyClick(&b, Qt::Key_N, Qt::AltModifier);
    });
    QCOMPARE(result, 4);

    VMessageBox escapable(anyText, VMessageBox::Question, 3, 4 | VMessageBox::BTN_ESCAPE, 0, nullptr, nullptr,
                          true);
    QCOMPARE(run(escapable, [](VMessageBox& b) { QTest::keyClick(&b, Qt::Key_Escape); }), 4);
}

void TestMessageBox::staticsGiveCodes()
{
    struct Static
    {
        int (*show)(QWidget*, const QString&, int, int, int);
        const char* name;
    };
    const Static statics[] = {{VMessageBox::information, "information"},
                              {VMessageBox::question, "question"},
                              {VMessageBox::warning, "warning"},
                              {VMessageBox::critical, "qt_msgbox_critical"}};
    for (const auto& [show, name] : statics) {
        QPointer<VMessageBox> seen;
        QString seenName;
        const int result = answer([show = show] { return show(nullptr, anyText, 3, 4, 0); },
                                  [&](VMessageBox& box) {
                                      seen = &box;
                                      seenName = box.objectName();
                                      click(box, 1);
                                  });
        QCOMPARE(result, 4);
        QCOMPARE(seenName, QLatin1StringView(name));
        QVERIFY(seen.isNull());
    }
}

void TestMessageBox::textFormsGiveIndexes()
{
    const auto ask = [](const QString& first, const QString& second, const QString& third,
                        const std::function<void(VMessageBox&)>& act) {
        return answer([&] { return VMessageBox::critical(nullptr, anyText, first, second, third, 0, 1); },
                      act);
    };
    QStringList texts;
    const auto note = [&texts](int place) {
        return [&texts, place](VMessageBox& box) {
            texts = buttonTexts(box);
            click(box, place);
        };
    };
    QCOMPARE(ask({}, {}, {}, note(0)), 0);
    QCOMPARE(texts, QStringList{"Ok"});
    QCOMPARE(ask("Go", "Stay", "Help", note(2)), 2);
    QCOMPARE(texts, (QStringList{"Go", "Stay", "Help"}));
    QCOMPARE(ask("Go", "Stay", {}, [](VMessageBox& box) { QTest::keyClick(&box, Qt::Key_Escape); }), 1);
    QCOMPARE(ask("Go", {}, {}, clickClose), -1);
}

/// A window that goes while its box is open takes the box along; the answer is a refusal.
void TestMessageBox::parentMayGoFirst()
{
    auto* parent = new QWidget;
    QCOMPARE(answer([&] { return VMessageBox::question(parent, anyText, 3, 4, 0); },
                    [&](VMessageBox&) { delete parent; }),
             0);
}

QTEST_MAIN(TestMessageBox)
#include "tst_messagebox.moc"
