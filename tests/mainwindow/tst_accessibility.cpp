#include "kit/framelessflags.h"
#include "kit/palettes.h"
#include "kit/vardostyle.h"
#include "kit/vlinkbutton.h"
#include "kit/vmessagebox.h"
#include "kit/vpushbutton.h"
#include "kit/vtextpane.h"
#include "reports/vshowlogdialog.h"
#include "scan/vgetuseraction.h"
#include "scan/vmemscandialog.h"
#include "scan/vprogresswidget.h"
#include "scan/vscanstatisticsdialog.h"
#include "schedule/vobjectselectiondialog.h"
#include "schedule/vscheduledialog.h"
#include "tests/mainwindow/mainwindowtest.h"
#include "update/vupdatedialog.h"

#include <QAccessible>
#include <QApplication>
#include <QLabel>
#include <QStackedWidget>
#include <QTest>

#include <cmath>

namespace {

constexpr QAccessible::Role controls[] = {
    QAccessible::PushButton, QAccessible::CheckBox, QAccessible::RadioButton,  QAccessible::ComboBox,
    QAccessible::SpinBox,    QAccessible::Tree,     QAccessible::List,         QAccessible::EditableText,
    QAccessible::Window,     QAccessible::Dialog,   QAccessible::AlertMessage, QAccessible::ProgressBar,
    QAccessible::PageTab,    QAccessible::TreeItem, QAccessible::Grouping,     QAccessible::PageTabList,
};

QString statesOf(const QAccessible::State& state)
{
    QString text;
    const std::pair<bool, const char*> words[] = {
        {state.disabled, " disabled"},   {state.checkable, " checkable"},   {state.checked, " checked"},
        {state.readOnly, " read-only"},  {state.checkStateMixed, " mixed"}, {state.expanded, " expanded"},
        {state.focusable, " focusable"}, {state.passwordEdit, " password"}, {state.invisible, " hidden"},
    };
    for (const auto& [holds, word] : words)
        text += QLatin1StringView(holds ? word : "");
    return text;
}

QString labelOf(const QAccessibleInterface* node)
{
    const auto labels = node->relations(QAccessible::Label);
    return labels.isEmpty() ? QString() : labels.first().first->text(QAccessible::Name);
}

/// What somebody hears who goes through a window: each control has to have a name.
QStringList dump(QAccessibleInterface* node, QStringList& nameless, int depth = 0)
{
    const QString name = node->text(QAccessible::Name), label = labelOf(node);
    QString role = QVariant::fromValue(node->role()).toString();
    if (role.isEmpty())
        role = QString::number(node->role());
    const QString line = QString(2 * depth, ' ') + role + " \"" + name + "\"" +
                         (label.isEmpty() ? QString() : " of \"" + label + "\"") + statesOf(node->state());
    // A choice has its value for a name, so that its label has to tell what it is.
    const bool named = node->role() == QAccessible::ComboBox ? !label.isEmpty() : !name.trimmed().isEmpty();
    if (std::ranges::find(controls, node->role()) != std::end(controls) && !named)
        nameless << line;
    QStringList lines(line);
    const bool whole = node->role() == QAccessible::SpinBox || node->role() == QAccessible::ComboBox;
    for (int i = 0; !whole && i < node->childCount(); ++i)
        lines << dump(node->child(i), nameless, depth + 1);
    return lines;
}

double luminance(QColor colour)
{
    const auto linear = [](double part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
           0.0722 * linear(colour.blueF());
}

double contrast(QColor one, QColor other)
{
    const auto [dark, light] = std::minmax({luminance(one), luminance(other)});
    return (light + 0.05) / (dark + 0.05);
}

/// The texts of a window that are hard to read on what is behind their right end.
QStringList paleTexts(QWidget& window)
{
    const QImage picture = window.grab().toImage();
    QStringList pale;
    for (const QWidget* widget : window.findChildren<QWidget*>()) {
        const QString text = widget->property("text").toString();
        const QColor ink = qobject_cast<const VLinkButton*>(widget)
                               ? LINK_COLOUR
                               : widget->palette().color(widget->foregroundRole());
        // Red is a colour of its own: of warnings and of the number of infected objects.
        if (text.isEmpty() || !widget->isVisibleTo(&window) || !widget->isEnabled() || ink == Qt::red)
            continue;
        const int right = widget->width() - (qobject_cast<const VPushButton*>(widget) ? 12 : 2);
        for (const int y : {2, widget->height() - 3}) {
            const QPoint place = widget->mapTo(
                &window, QPoint(right, qobject_cast<const VPushButton*>(widget) ? widget->height() / 2 : y));
            if (const double ratio = contrast(ink, picture.pixelColor(place)); ratio < 4.5)
                pale << QString("%1 %2 %3").arg(widget->objectName(), text).arg(ratio);
        }
    }
    return pale;
}

/// The buttons that the keyboard does not reach: they take no focus, and their keys are missing or those of
/// another that shows too. A message box has the keys that are in its texts, and no others.
QStringList outOfReach(const QWidget& window)
{
    QStringList buttons;
    if (qobject_cast<const VMessageBox*>(&window))
        return buttons;
    QSet<QKeySequence> keys;
    for (const QAbstractButton* button : window.findChildren<QAbstractButton*>()) {
        const bool ours =
            qobject_cast<const VLinkButton*>(button) || qobject_cast<const VPushButton*>(button);
        const QKeySequence key = button->shortcut();
        if (!ours || !button->isVisibleTo(&window))
            continue;
        if (key.isEmpty() || keys.contains(key))
            buttons << button->objectName() + ' ' + key.toString();
        keys << key;
    }
    return buttons;
}

QAccessibleInterface* seen(QObject* object)
{
    return QAccessible::queryAccessibleInterface(object);
}

} // namespace

/// What assistive programs are told.
class TestAccessibility : public MainWindowTest
{
    Q_OBJECT

    static void walk(QWidget& window)
    {
        QStringList nameless;
        qInfo("%s", qPrintable(dump(seen(&window), nameless).join('\n')));
        QVERIFY2(nameless.isEmpty(), qPrintable(nameless.join('\n')));
        QCOMPARE(seen(&window)->parent(), seen(qApp));
        QCOMPARE(outOfReach(window).join('\n'), QString());
        QCOMPARE(paleTexts(window).join('\n'), QString());
    }

  private slots:
    void initTestCase() { applyVardoStyle(*qApp); }
    void init() { openFresh(); }
    void cleanup() { closeWindow(); }

    void everyControlHasAName()
    {
        auto* pages = find<QStackedWidget>("wgtstkMain");
        for (int i = 0; i < pages->count(); ++i) {
            pages->setCurrentIndex(i);
            walk(*window);
        }
        VProgressWidget progress(nullptr, "Scan progress", FRAMELESS_FLAGS);
        VGetUserAction prompt(nullptr, nullptr, true, FRAMELESS_FLAGS);
        VScanStatisticsDialog statistics(window.get(), nullptr, true, FRAMELESS_FLAGS);
        VMemScanDialog memory(nullptr, "AVInitializer", false, FRAMELESS_FLAGS);
        VShowLogDialog log(window.get(), nullptr, true, FRAMELESS_FLAGS);
        VScheduleDialog schedule(window.get(), nullptr, true, FRAMELESS_FLAGS);
        VUpdateDialog update(window.get(), nullptr, true, FRAMELESS_FLAGS);
        VMessageBox box("text", VMessageBox::Warning, 3, 4, 0, window.get(), nullptr, true);
        VObjectSelectionDialog objects(window.get(), nullptr, true, FRAMELESS_FLAGS);
        objects.show();
        for (QWidget* each : std::initializer_list<QWidget*>{&progress, &prompt, &statistics, &memory, &log,
                                                             &schedule, &update, &box, &objects})
            walk(*each);
        for (QWidget* each : std::initializer_list<QWidget*>{&prompt, &box})
            QCOMPARE(seen(each)->role(), QAccessible::AlertMessage);
        QCOMPARE(seen(&progress)->role(), QAccessible::Window);
    }

    void treeTellsItsMarks()
    {
        sandbox::writeFile("/home/tester/one", "1");
        sandbox::writeFile("/home/tester/two", "2");
        VObjectSelectionDialog objects(nullptr, nullptr, true, FRAMELESS_FLAGS);
        objects.show();
        auto* tree = seen(objects.findChild<QWidget*>("lstDirView"));
        const auto row = [tree](const QString& name) {
            QAccessibleInterface* found = nullptr;
            const auto look = [&] {
                for (int i = 0; i < tree->childCount() && !found; ++i) {
                    if (tree->child(i)->text(QAccessible::Name) == name)
                        found = tree->child(i);
                }
                return found != nullptr;
            };
            if (!QTest::qWaitFor(look)) // a directory may take its time to open
                qFatal("no row %s", qPrintable(name));
            return found;
        };
        for (const char* name : {"home", "tester"})
            row(name)->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        row("one")->actionInterface()->doAction(QAccessibleActionInterface::toggleAction());
        QVERIFY(row("one")->state().checked);
        QVERIFY(!row("two")->state().checked && row("two")->state().checkable);
        QVERIFY(row("tester")->state().checkStateMixed && !row("tester")->state().checked);
        QVERIFY(row("tester")->state().expanded);
        QCOMPARE(row("one")->text(QAccessible::Description), "File 1");
        QCOMPARE(tree->indexOfChild(row("two")), tree->indexOfChild(row("one")) + 1);
    }

    void valuesHaveTheirCaptions()
    {
        VProgressWidget progress(nullptr, "Scan progress", FRAMELESS_FLAGS);
        auto* value = progress.findChild<QLabel*>("lblFileScanCntValue");
        value->setText("12");
        QCOMPARE(seen(value)->text(QAccessible::Name), "12");
        QCOMPARE(labelOf(seen(value)), "Total Objects Scanned");
    }

    void paneReadsAsText()
    {
        VTextPane pane(nullptr);
        pane.resize(300, 60);
        pane.show();
        pane.append("first line\nsecond\xC3\xA4 line\n");
        QAccessibleTextInterface* text = seen(&pane)->textInterface();
        QCOMPARE(text->text(0, text->characterCount()), "first line\nsecondä line");
        int from = 0, to = 0;
        QCOMPARE(text->textAtOffset(13, QAccessible::LineBoundary, &from, &to), "secondä line");
        text->setSelection(0, 11, 18);
        QCOMPARE(pane.selectedText(), "second\xC3\xA4");
        QVERIFY(text->characterRect(17).top() > text->characterRect(3).top());
        QCOMPARE(text->offsetAtPoint(text->characterRect(17).center() - QPoint(1, 0)), 17);
        // Of a long one, what is around the view.
        for (int i = 0; i < 2000; ++i)
            pane.append(QString::number(i) + '\n');
        QTRY_VERIFY(text->text(0, text->characterCount()).endsWith("\n1999"));
        QVERIFY(text->characterCount() < 2000);
    }
};

VARDO_SANDBOX_TEST_MAIN(TestAccessibility, 0, 0)
#include "tst_accessibility.moc"
