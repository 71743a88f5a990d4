#include "kit/vmessagebox.h"
#include "kit/vpushbutton.h"
#include "tests/support/modalboxes.h"

#include <QApplication>
#include <QLabel>
#include <QTest>

/// Message boxes as their callers see them. A click on each button with the mouse is the helper's.
class TestMessageBox : public QObject
{
    Q_OBJECT

    /// What `show` answers when these keys are pressed in the box that it shows.
    static int press(const std::function<int()>& show, const QList<QKeyCombination>& keys)
    {
        ModalBoxes boxes;
        boxes.handle([&keys](QWidget* box) {
            QVERIFY(QTest::qWaitForWindowActive(box));
            for (const QKeyCombination key : keys) {
                QVERIFY(box->isVisible());
                QTest::keyClick(box, key.key(), key.keyboardModifiers());
                QTest::qWait(150); // longer than an animated click
            }
        });
        return show();
    }

  private slots:
    void sizeFollowsButtonsAndText()
    {
        VMessageBox box(QString("Hm"), VMessageBox::Question, 5, 6, 7, nullptr, nullptr, true);
        QCOMPARE(box.size(), QSize(290, 158));
        auto* label = box.findChild<QLabel*>(QString("lblMessage"));
        box.setText(QString(80, QLatin1Char('W')));
        QCOMPARE(box.width(), label->sizeHint().width() + 80);
        QCOMPARE(box.mask().boundingRect().width(), box.width() - 1);

        const int lineHeight = label->sizeHint().height();
        label->setContentsMargins(0, 48 - lineHeight, 0, 0);
        box.setText("Text");
        QCOMPARE(box.height(), 158);
        label->setContentsMargins(0, 49 - lineHeight, 0, 0);
        box.setText("Text");
        QCOMPARE(box.height(), 159);
        QCOMPARE(box.minimumSize(), box.maximumSize());

        // All of the text is inside its label.
        box.setText(QString("one\ntwo\nthree\nfour\nfive\nsix\nseven and a longer end of it all"));
        box.show();
        QVERIFY(QTest::qWaitForWindowExposed(&box));
        QVERIFY(label->width() >= label->sizeHint().width() && label->height() >= label->sizeHint().height());
        QVERIFY(box.rect().contains(box.findChild<VPushButton*>()->geometry()));
    }

    void isCentredOnItsParent()
    {
        QWidget parent;
        parent.setGeometry(120, 90, 600, 400);
        VMessageBox box("Text", VMessageBox::Information, 3, 260, 0, &parent, nullptr, true);
        box.show();
        QVERIFY(QTest::qWaitForWindowExposed(&box));
        QCOMPARE(box.pos(), QPoint(120 + (600 - box.width()) / 2, 90 + (400 - 158) / 2));
    }

    void showsNamesAsTheyStand()
    {
        const QString name = QString("<b>x</b><img src=\"/etc/passwd\">\nsecond");
        VMessageBox box(name, VMessageBox::NoIcon, 1, 0, 0, nullptr, nullptr, true);
        QCOMPARE(box.text(), name);
        QCOMPARE(box.findChild<QLabel*>(QString("lblMessage"))->textFormat(), Qt::PlainText);
        auto* icon = box.findChild<QLabel*>(QString("lblIcon"));
        QVERIFY(icon->pixmap(Qt::ReturnByValue).isNull());
        box.setMessageIcon(VMessageBox::Warning);
        const QImage warning = icon->pixmap(Qt::ReturnByValue).toImage();
        QCOMPARE(warning.size(), QSize(48, 48));
        box.setMessageIcon(VMessageBox::NoIcon);
        QCOMPARE(icon->pixmap(Qt::ReturnByValue).toImage(), warning);
    }

    void buttonsGiveTheirCodes()
    {
        const struct
        {
            QList<int> arguments;
            QStringList texts; ///< in the order of all codes
            QList<int> results;
        } rows[] = {
            {{257, 0, 0}, {"Ok"}, {1}},
            {{3, 260, 0}, {"&Yes", "&No"}, {3, 4}},
            {{5, 6, 7}, {"&Abort", "&Retry", "&Ignore"}, {5, 6, 7}},
            {{8, 9, 258}, {"Cancel", "Yes to &All", "N&o to All"}, {8, 9, 2}},
            {{3, 10, 0}, {"Ok", "&Yes"}, {3, 1}}, // no such code
            {{0, 4, 0}, {"Ok"}, {1}},             // a gap ends the row
            {{3, 0x200, 4}, {"&Yes"}, {3}},       // and so does a flag alone
        };
        for (const auto& [arguments, texts, results] : rows) {
            for (int place = 0; place < results.size(); ++place) {
                VMessageBox box("Text", VMessageBox::Question, arguments[0], arguments[1], arguments[2],
                                nullptr, nullptr, true);
                QCOMPARE(box.indexOf(results[place]), place);
                ModalBoxes boxes;
                boxes.answer(results[place]);
                QCOMPARE(box.exec(), results[place]);
                QCOMPARE(boxes.seen().front().buttons, texts);
            }
        }
    }

    void keysClickTheirButtonsOnly()
    {
        const auto ask = [](int escape) {
            return VMessageBox::question(nullptr, "Text", 259, 4 | escape, 0);
        };
        QCOMPARE(press([&] { return ask(0); },
                       {Qt::Key_Escape, Qt::Key_Return, Qt::Key_Enter, Qt::Key_Space, Qt::ALT | Qt::Key_N}),
                 4);
        QCOMPARE(press([&] { return ask(VMessageBox::BTN_ESCAPE); }, {Qt::Key_Escape}), 4);
    }

    void staticsGiveCodes()
    {
        using Show = int (*)(QWidget*, const QString&, int, int, int);
        for (const auto& [show, name] :
             {std::pair<Show, const char*>{VMessageBox::information, "information"},
              {VMessageBox::question, "question"},
              {VMessageBox::warning, "warning"},
              {VMessageBox::critical, "qt_msgbox_critical"}}) {
            ModalBoxes boxes;
            QString seen;
            boxes.handle([&seen](QWidget* box) {
                seen = box->objectName();
                static_cast<VMessageBox*>(box)->done(4);
            });
            QCOMPARE(show(nullptr, "Text", 3, 4, 0), 4);
            QCOMPARE(seen, name);
        }
    }

    void textFormsGiveIndexes()
    {
        const auto ask = [](const QString& first, const QString& second, const QString& third) {
            return VMessageBox::critical(nullptr, "Text", first, second, third, 0, 1);
        };
        QCOMPARE(press([&] { return ask("Go", "Stay", {}); }, {Qt::Key_Escape}), 1);
        ModalBoxes boxes;
        boxes.handle([](QWidget* box) {
            QTest::mouseClick(box->findChildren<VPushButton*>().back(), Qt::LeftButton);
        });
        QCOMPARE(ask("Go", "Stay", "Help"), 2);
        boxes.answer(VMessageBox::BTN_OK);
        QCOMPARE(ask({}, {}, {}), 0);
        boxes.answer(0);
        QCOMPARE(ask("Go", {}, {}), -1);
    }

    /// A window that goes while its box is open takes the box along; the answer is a refusal.
    void parentMayGoFirst()
    {
        auto* parent = new QWidget;
        ModalBoxes boxes;
        boxes.handle([parent](QWidget*) { delete parent; });
        QCOMPARE(VMessageBox::question(parent, "Text", 3, 4, 0), 0);
    }
};

QTEST_MAIN(TestMessageBox)
#include "tst_messagebox.moc"
