#include "kit/framelessflags.h"
#include "kit/vtextpane.h"
#include "reports/vshowlogdialog.h"

#include <QAbstractButton>
#include <QApplication>
#include <QClipboard>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTest>

#include <filesystem>
#include <fstream>

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

constexpr std::uintmax_t large = 130 << 20; // read as it is scrolled

QByteArray lines(int count)
{
    QByteArray text;
    for (int i = 0; i < count; ++i)
        text += "/home/user/file-" + QByteArray::number(i) + ".txt\tClean\n";
    return text;
}

} // namespace

class TestShowLogDialog : public QObject
{
    Q_OBJECT

    QTemporaryDir directory;
    const fs::path path = fs::path(directory.path().toStdString()) / "scan.log";
    std::unique_ptr<VShowLogDialog> dialog;
    VTextPane* text = nullptr;

    void write(const QByteArray& content) const
    {
        std::ofstream(path, std::ios::binary).write(content.data(), content.size());
    }

    void open()
    {
        dialog = std::make_unique<VShowLogDialog>(nullptr, nullptr, true, FRAMELESS_FLAGS);
        text = dialog->findChild<VTextPane*>("textLog");
        dialog->showLogs(path.c_str());
        dialog->show();
        QVERIFY(QTest::qWaitForWindowActive(dialog.get()));
    }

    int firstRow() const { return text->verticalScrollBar()->value(); }
    void press(Qt::Key key) { QTest::keyClick(dialog->focusWidget(), key); }

  private slots:
    void cleanup()
    {
        dialog.reset();
        fs::remove(path);
    }

    /// A log's text is Latin-1, whatever wrote it.
    void showsEveryByteFromTheFirstLine()
    {
        for (const QByteArray& content :
             {QByteArray("one line"), QByteArray(), lines(10'000), QByteArray("a\0\0b\n\0", 6),
              QByteArray("caf\xe9 caf\xc3\xa9 <b>x</b>\r\n\xff\x80"), QByteArray(3 << 20, 'x')}) {
            write(content);
            open();
            QCOMPARE(firstRow(), 0);
            QGuiApplication::clipboard()->clear();
            QTest::keySequence(dialog->focusWidget(), QKeySequence::SelectAll);
            QTest::keySequence(dialog->focusWidget(), QKeySequence::Copy);
            QCOMPARE(QGuiApplication::clipboard()->text(), QString::fromLatin1(content));
            fs::resize_file(path, 0); // changes nothing any more
            press(Qt::Key_X);
            QCOMPARE(text->text(), content);
        }
    }

    void largeLogComesUpAtOnce()
    {
        write(lines(100'000));
        fs::resize_file(path, large);
        std::ofstream(path, std::ios::app) << "\nthe end\n";
        open();
        QCOMPARE(firstRow(), 0);
        std::ofstream(path, std::ios::app) << "more\n";
        press(Qt::Key_End); // and on to the rows that are still being found
        QTRY_VERIFY_WITH_TIMEOUT(firstRow() > 132'000, 30'000);
        text->selectAll();
        QVERIFY(text->selectedText().endsWith("\nthe end\n"));
        QGuiApplication::clipboard()->setText("before");
        text->copy(); // would take hundreds of megabytes
        QCOMPARE(QGuiApplication::clipboard()->text(), "before");
    }

    void whatIsNoFileIsEmpty()
    {
        for (const mode_t kind : {0, S_IFDIR, S_IFIFO}) {
            if (kind == S_IFDIR)
                fs::create_directory(path);
            else if (kind == S_IFIFO)
                QCOMPARE(mkfifo(path.c_str(), 0600), 0);
            open();
            QVERIFY(text->text().isEmpty());
            fs::remove(path);
        }
    }

    void closesByEachOfItsButtons()
    {
        for (const char* name : {"btnClose", "btnOk", ""}) {
            open();
            if (*name)
                QTest::mouseClick(dialog->findChild<QAbstractButton*>(name), Qt::LeftButton);
            else
                QTest::keyClick(dialog.get(), Qt::Key_C, Qt::AltModifier);
            QTRY_VERIFY(!dialog->isVisible());
        }
    }
};

QTEST_MAIN(TestShowLogDialog)
#include "tst_showlogdialog.moc"
