#include "kit/imagecollection.h"
#include "kit/qmake_image_collection.h"

#include <QImageReader>
#include <QTest>

namespace {

/// Asked for while the program's static objects are made.
const QSize sizeBeforeMain = uic_findImage("button1.png").size();

/// Pixels that are neither transparent nor nearly as in `other`, when there is one.
int drawnPixels(const QImage& image, const QImage& other = {})
{
    constexpr int visible = 24; // of 255 in some channel
    int drawn = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QRgb here = image.pixel(x, y);
            const QRgb there = other.rect().contains(x, y) ? other.pixel(x, y) : 0;
            drawn += qAbs(qAlpha(here) - qAlpha(there)) >= visible ||
                     (!other.isNull() && qAbs(qRed(here) - qRed(there)) >= visible);
        }
    }
    return drawn;
}

} // namespace

class TestImageCollection : public QObject
{
    Q_OBJECT

  private slots:
    void unknownNames()
    {
        for (const QString& name : {QString(), QString(""), QString("Button1.png"), QString("close4.png"),
                                    QString("button1"), QString("/button1.png")}) {
            QVERIFY2(vardoPixmap(name).isNull(), qPrintable(name));
            QVERIFY2(uic_findImage(name).isNull(), qPrintable(name));
        }
    }

    void decompressesOnce()
    {
        QCOMPARE(sizeBeforeMain, QSize(80, 32));
        const qint64 first = vardoPixmap("home_scan.png").cacheKey();
        QVERIFY(!vardoPixmap("close4.png").cacheKey());
        QCOMPARE(vardoPixmap("home_scan.png").cacheKey(), first);
    }

    void comesAndGoesWithTheFactory()
    {
        const QPixmap held = vardoPixmap("virus.png");
        qInitImages_vardogui();
        QCOMPARE(vardoPixmap("virus.png").cacheKey(), held.cacheKey());
        qCleanupImages_vardogui();
        QVERIFY(vardoPixmap("virus.png").isNull());
        QCOMPARE(held.size(), QSize(48, 48));
        qCleanupImages_vardogui();
        qInitImages_vardogui();
        QCOMPARE(vardoPixmap("virus.png").toImage(), held.toImage());
    }

    /// A user tells the states of a control, and the kinds of a picture, apart at a glance.
    void statesDiffer()
    {
        const QStringList sets[] = {
            {"close1", "close2", "close3"},
            {"scan1", "scan2", "scan3", "update1", "scheduler1"},
            {"check1", "check2", "check3", "check4", "check5"},
            {"option1", "option2", "option3", "option4", "option5"},
            {"button1", "button2", "button3", "button5"},
            {"file_checked", "file_unchecked", "folder_open_checked", "folder_open_unchecked",
             "folder_open_tristate", "folder_close_checked", "folder_close_unchecked",
             "folder_close_tristate"},
            {"messagebox_info", "messagebox_warning", "messagebox_critical", "messagebox_query"},
        };
        const auto image = [](const QString& name) {
            return uic_findImage(name + ".png").convertToFormat(QImage::Format_ARGB32_Premultiplied);
        };
        for (const QStringList& names : sets) {
            for (const QString& one : names)
                for (const QString& other : names.mid(names.indexOf(one) + 1))
                    QVERIFY2(drawnPixels(image(one), image(other)) >= 10, qPrintable(one + " and " + other));
        }
        // No button looks different for being disabled and on.
        QCOMPARE(uic_findImage("button4.png"), uic_findImage("button1.png"));
    }

    void animation()
    {
        for (const int factor : {1, 2, 3}) {
            QImageReader reader(factor == 1 ? QString(VARDO_IMAGES "VardoProgress.gif")
                                            : QString(VARDO_IMAGES "VardoProgress@%1x.gif").arg(factor));
            QCOMPARE(reader.size(), QSize(70, 70) * factor);
            QCOMPARE(reader.loopCount(), -1); // for ever
            QVERIFY(reader.imageCount() >= 12);
            QImage last;
            for (int frame = 0; frame < reader.imageCount(); ++frame) {
                const QImage next = reader.read();
                QVERIFY2(!next.isNull(), qPrintable(reader.errorString()));
                QCOMPARE(next.devicePixelRatio(), qreal(factor)); // they all look as large
                QVERIFY(next != last);
                QCOMPARE(next.pixelColor(0, 0).alpha(), 0);
                QVERIFY(reader.nextImageDelay() >= 40 && reader.nextImageDelay() <= 120);
                last = next;
            }
        }
    }
};

QTEST_MAIN(TestImageCollection)
#include "tst_imagecollection.moc"
