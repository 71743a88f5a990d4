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

void addSet(const char* names, QSize size, bool alpha = true, int depth = 32)
{
    for (const QString& name : QString(names).split(' '))
        QTest::newRow(qPrintable(name)) << size << alpha << depth;
}

/// Rows of one set of faces, numbered from 1.
void addFaces(const char* base, int count, QSize size)
{
    for (int face = 1; face <= count; ++face)
        addSet(qPrintable(QString("%1%2.png").arg(base).arg(face)), size);
}

} // namespace

class TestImageCollection : public QObject
{
    Q_OBJECT

  private slots:
    void picture_data();
    void picture();
    void unknownNames();
    void decompressesOnce();
    void comesAndGoesWithTheFactory();
    void statesDiffer();
    void backgroundsAreLight();
    void animation();
};

void TestImageCollection::picture_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<bool>("alpha");
    QTest::addColumn<int>("depth");
    addSet("Linux_GUI_010610.png", {724, 564});
    addSet("Linux_GUI_popup_bg2.png", {706, 530}, false);
    addSet("Linux_GUI_popup_bg3.png", {706, 451}, false);
    addSet("Linux_GUI_popup_bg.png", {10, 530}, false);
    addSet("button_back.png", {20, 30}, false);
    addSet("menu_back.png", {120, 27});
    addSet("line.png", {400, 2}, false, 1);
    addSet("140x25text.png", {140, 25}, false, 8);
    addSet("200x25Text.png", {200, 25});
    addFaces("button", 5, {80, 32});
    addFaces("browse", 5, {32, 32});
    addFaces("close", 3, {23, 23});
    addFaces("minimize", 3, {23, 23});
    addFaces("scan", 3, {110, 32});
    addFaces("update", 3, {110, 32});
    addFaces("scheduler", 3, {110, 32});
    addFaces("check", 3, {18, 18});
    addSet("check4.png", {16, 17});
    addSet("check5.png", {18, 18});
    addFaces("option", 5, {18, 18});
    addSet("Vardo_icon.png", {50, 43});
    addSet("Vardo_logo.png", {102, 113});
    addSet("Vardo_for_linux1.png", {208, 50});
    addSet(
        "messagebox_info.png messagebox_warning.png messagebox_critical.png messagebox_query.png virus.png "
        "statistics.png update.png progress.png objectAdd.png scheduler_task.png task_report.png",
        {48, 48});
    addSet("process_scan3.png home_scan.png file_folder_scan.png computer_scan.png", {50, 50});
    addSet("Livehelp.jpg vardo_wiki.jpg", {35, 35}, false);
    addSet("Quillstone_forum.jpg", {53, 27}, false);
    addSet("file_checked.png file_unchecked.png folder_open_checked.png folder_open_unchecked.png "
           "folder_open_tristate.png folder_close_checked.png folder_close_unchecked.png "
           "folder_close_tristate.png",
           {47, 26});
    addSet("folder_locked.png", {26, 26});
}

void TestImageCollection::picture()
{
    QFETCH(QSize, size);
    QFETCH(bool, alpha);
    QFETCH(int, depth);
    const QString name = QTest::currentDataTag();
    const QImage image = uic_findImage(name);
    QCOMPARE(image.size(), size);
    QCOMPARE(image.depth(), depth);
    QCOMPARE(image.hasAlphaChannel(), alpha);
    const QPixmap pixmap = vardoPixmap(name);
    QCOMPARE(pixmap.size(), size);
    QCOMPARE(pixmap.toImage().convertToFormat(QImage::Format_ARGB32_Premultiplied),
             image.convertToFormat(QImage::Format_ARGB32_Premultiplied));
    // Something is drawn, and where there is an alpha channel the corners above are free.
    QVERIFY(drawnPixels(image) > size.width() * size.height() / 6);
    for (const int x : {0, size.width() - 1})
        QCOMPARE(image.pixelColor(x, 0).alpha(), alpha ? 0 : 255);
}

void TestImageCollection::unknownNames()
{
    for (const QString& name : {QString(), QString(""), QString("Button1.png"), QString("close4.png"),
                                QString("button1"), QString("/button1.png")}) {
        QVERIFY2(vardoPixmap(name).isNull(), qPrintable(name));
        QVERIFY2(uic_findImage(name).isNull(), qPrintable(name));
    }
}

void TestImageCollection::decompressesOnce()
{
    QCOMPARE(sizeBeforeMain, QSize(80, 32));
    const qint64 first = vardoPixmap("home_scan.png").cacheKey();
    QVERIFY(!vardoPixmap("close4.png").cacheKey());
    QCOMPARE(vardoPixmap("home_scan.png").cacheKey(), first);
}

void TestImageCollection::comesAndGoesWithTheFactory()
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
void TestImageCollection::statesDiffer()
{
    const QStringList sets[] = {
        {"close1", "close2", "close3"},
        {"scan1", "scan2", "scan3", "update1", "scheduler1"},
        {"check1", "check2", "check3", "check4", "check5"},
        {"option1", "option2", "option3", "option4", "option5"},
        {"button1", "button2", "button3", "button5"},
        {"file_checked", "file_unchecked", "folder_open_checked", "folder_open_unchecked",
         "folder_open_tristate", "folder_close_checked", "folder_close_unchecked", "folder_close_tristate"},
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

/// Text is black and links are blue: what lies behind them has to be light.
void TestImageCollection::backgroundsAreLight()
{
    const QImage window = uic_findImage("Linux_GUI_010610.png");
    const QImage dialog = uic_findImage("Linux_GUI_popup_bg2.png");
    for (int y = 1; y < 450; y += 10) {
        QVERIFY(dialog.pixelColor(350, y).lightness() > 180);
        QVERIFY(window.pixelColor(362, y).lightness() > 180);
    }
    for (const QPoint corner : {QPoint(0, 0), QPoint(723, 0), QPoint(0, 563), QPoint(723, 563)})
        QCOMPARE(window.pixelColor(corner).alpha(), 0);
}

void TestImageCollection::animation()
{
    QImageReader reader(VARDO_ANIMATION);
    QCOMPARE(reader.size(), QSize(70, 70));
    QCOMPARE(reader.loopCount(), -1); // for ever
    QVERIFY(reader.imageCount() >= 12);
    QImage last;
    for (int frame = 0; frame < reader.imageCount(); ++frame) {
        const QImage next = reader.read();
        QVERIFY2(!next.isNull(), qPrintable(reader.errorString()));
        QVERIFY(next != last);
        QCOMPARE(next.pixelColor(0, 0).alpha(), 0);
        QVERIFY(reader.nextImageDelay() >= 40 && reader.nextImageDelay() <= 120);
        last = next;
    }
}

QTEST_MAIN(TestImageCollection)
#include "tst_imagecollection.moc"
