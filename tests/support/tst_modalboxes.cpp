#include "tests/support/modalboxes.h"

#include <QApplication>
#include <QTest>

class TestModalBoxes : public QObject
{
    Q_OBJECT

  private slots:
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
