#include "kit/fittedfont.h"
#include "kit/imagecollection.h"
#include "kit/skinface.h"
#include "kit/vardostyle.h"
#include "kit/vcheckbox.h"
#include "kit/vlinkbutton.h"
#include "kit/vpushbutton.h"
#include "kit/vradiobutton.h"

#include <QFontMetrics>
#include <QPainter>
#include <QSignalSpy>
#include <QTest>

namespace {

constexpr int pressed = 1, on = 2, enabled = 4, mouse = 8;

/// What a window shows of `widget` on a white background.
QImage picture(QWidget& widget)
{
    QImage image(widget.size(), QImage::Format_RGB32);
    image.fill(Qt::white);
    widget.render(&image, {}, {}, QWidget::DrawChildren);
    return image;
}

QImage onWhite(const QString& name, QSize size, QPoint place)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter(&image).drawPixmap(place, vardoPixmap(name));
    return image;
}

/// The smallest rectangle that holds everything that is not white.
QRect inked(const QImage& image)
{
    QRect rect;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixel(x, y) != qRgb(255, 255, 255))
                rect |= QRect(x, y, 1, 1);
        }
    }
    return rect;
}

void putInState(QAbstractButton& button, int state)
{
    button.setCheckable(true);
    button.setChecked((state & on) != 0);
    button.setEnabled((state & enabled) != 0);
    button.setDown((state & pressed) != 0);
    button.setAttribute(Qt::WA_UnderMouse, (state & mouse) != 0);
}

} // namespace

class TestControls : public QObject
{
    Q_OBJECT

  private slots:
    void initTestCase() { applyVardoStyle(*qApp); }

    void everyStateHasItsFace()
    {
        const std::pair<int, const char*> states[] = {
            {0, "5"},
            {pressed, "5"},
            {mouse, "5"},
            {on, "4"},
            {pressed | on | mouse, "4"},
            {enabled, "1"},
            {enabled | mouse, "2"},
            {enabled | pressed, "3"},
            {enabled | pressed | mouse, "3"},
            {enabled | on, "3"},
            {enabled | on | mouse, "3"},
            {enabled | pressed | on, "1"}, // they cancel out
            {enabled | pressed | on | mouse, "2"},
        };
        VPushButton push(QStringLiteral("button"), QString(), true, nullptr);
        push.setFixedSize(80, 32);
        VCheckBox check(nullptr);
        check.setFixedSize(18, 18);
        VRadioButton radio(nullptr);
        radio.setFixedSize(18, 18);
        radio.setAutoExclusive(false);
        for (const auto& [control, base] : std::initializer_list<std::pair<QAbstractButton*, const char*>>{
                 {&push, "button"}, {&check, "check"}, {&radio, "option"}}) {
            for (const auto& [state, face] : states) {
                putInState(*control, state);
                const QImage expected = onWhite(QString(base) + face + ".png", control->size(), {0, 0});
                QVERIFY2(picture(*control) == expected, qPrintable(QString("%1, %2").arg(base).arg(state)));
            }
        }
    }

    void hoverAndPressRepaint()
    {
        QWidget window;
        window.resize(200, 100);
        VPushButton button(QStringLiteral("button"), QString(), false, &window);
        button.setGeometry(60, 30, 80, 32);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QTest::mouseMove(window.windowHandle(), {100, 45});
        QTRY_COMPARE(skinFaceName(QStringLiteral("button"), button), QStringLiteral("button2.png"));
        QTest::mousePress(window.windowHandle(), Qt::LeftButton, {}, {100, 45});
        QTRY_COMPARE(skinFaceName(QStringLiteral("button"), button), QStringLiteral("button3.png"));
        QTest::mouseRelease(window.windowHandle(), Qt::LeftButton, {}, {100, 45});
        QTest::mouseMove(window.windowHandle(), {5, 5});
        QTRY_COMPARE(skinFaceName(QStringLiteral("button"), button), QStringLiteral("button1.png"));
    }

    void acceleratorClicksWithoutFocus()
    {
        QWidget window;
        VPushButton button(QStringLiteral("button"), QString(), true, &window);
        button.setText(QStringLiteral("&Save"));
        QSignalSpy clicks(&button, &QAbstractButton::clicked);
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QTest::keyClick(&window, Qt::Key_S, Qt::AltModifier);
        QTRY_COMPARE(clicks.count(), 1);
        QVERIFY(button.isChecked());
        QTest::mouseClick(&button, Qt::LeftButton);
        QVERIFY(!button.isChecked() && !button.hasFocus());
    }

    void indicatorIsCentredAndTextStartsAt22()
    {
        VCheckBox box(nullptr);
        box.setText(QStringLiteral("HHH"));
        QVERIFY(box.sizeHint().width() >= 22 + box.fontMetrics().horizontalAdvance(box.text()));
        box.setFixedSize(120, 41);
        const QImage image = picture(box);
        QCOMPARE(image.copy(0, 0, 22, 41), onWhite(QStringLiteral("check1.png"), {22, 41}, {0, 11}));
        const QRect text = inked(image.copy(22, 0, 98, 41));
        QVERIFY2(text.left() <= 3, qPrintable(QString::number(text.left())));
        QVERIFY(qAbs(text.center().y() - 20) <= 3);
        QTest::mouseClick(&box, Qt::LeftButton, {}, {30, 20});
        QVERIFY(box.isChecked());
        box.setEnabled(false);
        QCOMPARE(picture(box).copy(0, 0, 22, 41), onWhite(QStringLiteral("check4.png"), {22, 41}, {0, 11}));
    }

    void linkPlacesItsTextAndIcon()
    {
        VLinkButton link(QString(), nullptr);
        link.setText(QStringLiteral("HH"));
        QCOMPARE(link.sizeHint().height(), link.fontMetrics().size(0, link.text()).height());
        link.setFixedSize(201, 60);
        QVERIFY(qAbs(inked(picture(link)).center().x() - 100) <= 1);

        QPixmap icon(50, 50);
        icon.fill(Qt::red);
        link.setIcon(icon);
        QCOMPARE(link.sizeHint(), QSize(54 + link.fontMetrics().size(0, link.text()).width(), 50));
        const QImage image = picture(link);
        QCOMPARE(inked(image.copy(0, 0, 52, 60)), QRect(0, 5, 50, 50));
        const int textLeft = 52 + inked(image.copy(52, 0, 149, 60)).left();
        QVERIFY2(textLeft >= 54 && textLeft <= 56, qPrintable(QString::number(textLeft)));

        // Icon at the top where the offset does not fit a byte, or would be negative.
        link.setFixedSize(201, 320);
        QCOMPARE(inked(picture(link).copy(0, 0, 50, 320)).top(), 0);
        link.setFixedSize(201, 20);
        QCOMPARE(inked(picture(link).copy(0, 0, 50, 20)).top(), 0);
    }

    void linkColourTellsWhetherItWorks()
    {
        VLinkButton link(QString(), nullptr);
        link.setText(QStringLiteral("Link"));
        link.setFixedSize(80, 30);
        const auto underline = [&link] {
            const QImage image = picture(link);
            const QRect rect = inked(image);
            return image.pixelColor(rect.center().x(), rect.bottom());
        };
        QCOMPARE(underline(), QColor(0, 0, 255));
        link.setEnabled(false);
        QCOMPARE(underline(), QColor(192, 192, 192));
    }

    void fontsAreAsLargeAsFits()
    {
        QWidget widget;
        const int points = logoFont(&widget).pointSize(); // of at most 20
        QFont larger = logoFont(&widget);
        larger.setPointSize(points + 1);
        QVERIFY(points == 20 || QFontMetrics(larger, &widget).horizontalAdvance("Vardo") > 63);
        QCOMPARE(fittedFont(&widget, 14, "never fits", 0).pointSize(), 1);
        QCOMPARE(fittedFont(&widget, 14, "fits", 10000).pointSize(), 14);
    }
};

QTEST_MAIN(TestControls)
#include "tst_controls.moc"
