#include "tests/support/modalboxes.h"

#include <QApplication>
#include <QTest>

class TestModalBoxes : public QObject
{
    Q_OBJECT

  private slots:
    void clicksTheButtonsInTurn()
    {
        ModalBoxes boxes;
        boxes.answer(VMessageBox::BTN_NO);
        boxes.answer(0);
        boxes.answer(VMessageBox::BTN_CANCEL);
        QWidget parent;
        const int no = VMessageBox::BTN_NO | VMessageBox::BTN_DEFAULT;
        QCOMPARE(vMessage(&parent, "Delete?", VMessageBox::Question, VMessageBox::BTN_YES, no),
                 int(VMessageBox::BTN_NO));
        QCOMPARE(vMessage(nullptr, "Delete?", VMessageBox::Question, VMessageBox::BTN_YES, no), 0);
        QCOMPARE(vNotice(nullptr, "Told"), int(VMessageBox::BTN_CANCEL));
        QCOMPARE(boxes.texts(), QStringList({"Delete?", "Delete?", "Told"}));
        QCOMPARE(boxes.seen().front().buttons, QStringList({"&Yes", "&No"}));
        QCOMPARE(boxes.seen().front().parent, &parent);
        QCOMPARE(boxes.seen().back().buttons, QStringList({"Ok"}));
    }

    void answersABoxAboveADialog()
    {
        ModalBoxes boxes;
        boxes.handle([](QWidget* window) {
            vNotice(window, "inner");
            QTimer::singleShot(50, window, [window] { qobject_cast<QDialog*>(window)->done(7); });
        });
        boxes.answer(VMessageBox::BTN_CANCEL);
        QDialog dialog;
        dialog.setObjectName("outer");
        QCOMPARE(dialog.exec(), 7);
        QCOMPARE(boxes.texts(), QStringList({"outer", "inner"}));
    }

    void unexpectedBoxFailsAndGoes()
    {
        ModalBoxes boxes;
        QEXPECT_FAIL("", "the helper's own failure", Continue);
        QCOMPARE(vNotice(nullptr, "surprise"), 0);
        QCOMPARE(boxes.texts(), QStringList({"surprise"}));
    }
};

QTEST_MAIN(TestModalBoxes)
#include "tst_modalboxes.moc"
