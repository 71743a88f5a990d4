#include "kit/fittedfont.h"
#include "kit/imagecollection.h"
#include "kit/palettes.h"
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

    void everyStateHasItsFace_data();
    void everyStateHasItsFace();
    void hoverAndPressRepaint();
    void missingFacesLeaveTheButtonBare();
    void acceleratorClicksWithoutFocus();
    void indicatorIsCentredAndTextStartsAt22();
    void linkPlacesItsTextAndIcon();
    void linkColourTellsWhetherItWorks();
    void fontsFitTheirLimits();
    void contentPaletteKeepsItsTexture();
};

void TestControls::everyStateHasItsFace_data()
{
    QTest::addColumn<int>("state");
    QTest::addColumn<QString>("face");
    QTest::newRow("disabled, off") << 0 << "5";
    QTest::newRow("disabled, off, pressed") << pressed << "5";
    QTest::newRow("disabled, off, mouse") << mouse << "5";
    QTest::newRow("disabled, on") << on << "4";
    QTest::newRow("disabled, on, pressed, mouse") << (pressed | on | mouse) << "4";
    QTest::newRow("rest") << enabled << "1";
    QTest::newRow("hover") << (enabled | mouse) << "2";
    QTest::newRow("pressed") << (enabled | pressed) << "3";
    QTest::newRow("pressed under the mouse") << (enabled | pressed | mouse) << "3";
    QTest::newRow("on") << (enabled | on) << "3";
    QTest::newRow("on under the mouse") << (enabled | on | mouse) << "3";
    QTest::newRow("pressed and on cancel out") << (enabled | pressed | on) << "1";
    QTest::newRow("pressed and on cancel out under the mouse") << (enabled | pressed | on | mouse) << "2";
}

void TestControls::everyStateHasItsFace()
{
    QFETCH(int, state);
    QFETCH(QString, face);
    VPushButton push(QStringLiteral("button"), QString(), true, nullptr);
    push.setFixedSize(80, 32);
    VCheckBox check(nullptr);
    check.setFixedSize(18, 18);
    VRadioButton radio(nullptr);
    radio.setFixedSize(18, 18);
    const QPair<QAbstractButton*, QString> controls[] = {{&push, QStringLiteral("button")},
                                                         {&check, QStringLiteral("check")},
                                                         {&radio, QStringLiteral("option")}};
    for (const auto& [control, base] : controls) {
        putInState(*control, state);
        QCOMPARE(picture(*control), onWhite(base + face + QStringLiteral(".png"), control->size(), {0, 0}));
    }
}

void TestControls::hoverAndPressRepaint()
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

void TestControls::missingFacesLeaveTheButtonBare()
{
    VPushButton button(QStringLiteral("close"), QString(), false, nullptr);
    button.setFixedSize(23, 23);
    QVERIFY(!inked(picture(button)).isEmpty());
    button.setEnabled(false);
    QVERIFY(inked(picture(button)).isEmpty());
}

void TestControls::acceleratorClicksWithoutFocus()
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

void TestControls::indicatorIsCentredAndTextStartsAt22()
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

void TestControls::linkPlacesItsTextAndIcon()
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

void TestControls::linkColourTellsWhetherItWorks()
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

void TestControls::fontsFitTheirLimits()
{
    QWidget widget;
    const auto width = [&widget](QFont font, int points, const char* text) {
        font.setPointSize(points);
        return QFontMetrics(font, &widget).horizontalAdvance(QLatin1StringView(text));
    };
    struct Case
    {
        QFont font;
        int start;
        const char* text;
        int limit;
    };
    const Case cases[] = {{baseFont(&widget), 14, "Update Setting", 109},
                          {titleFont(&widget), 18, "Reports", 64},
                          {logoFont(&widget), 20, "Vardo", 63}};
    for (const auto& [font, start, text, limit] : cases) {
        const int points = font.pointSize();
        QVERIFY(font.family() == QStringLiteral("Serif") && points >= 1 && points <= start);
        QVERIFY(width(font, points, text) <= limit);
        QVERIFY(points == start || width(font, points + 1, text) > limit);
    }
    QCOMPARE(fittedFont(&widget, 14, QStringLiteral("never fits"), 0).pointSize(), 1);
    QCOMPARE(fittedFont(&widget, 14, QStringLiteral("fits"), 10000).pointSize(), 14);
}

void TestControls::contentPaletteKeepsItsTexture()
{
    const QPalette palette = contentPalette();
    for (const QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        QCOMPARE(palette.brush(group, QPalette::Button).texture().size(), QSize(10, 530));
        QCOMPARE(palette.color(group, QPalette::Text), QColor(Qt::black));
    }
    QCOMPARE(palette.color(QPalette::Active, QPalette::Midlight), QColor(223, 223, 223));
    QCOMPARE(palette.color(QPalette::Inactive, QPalette::Midlight), QColor(220, 220, 220));
    QCOMPARE(palette.color(QPalette::Disabled, QPalette::ButtonText), QColor(128, 128, 128));
}

QTEST_MAIN(TestControls)
#include "tst_controls.moc"
