// Takes the documentation's pictures from the real program, into VARDO_PICTURES.

#include "kit/roundedwindow.h"
#include "tests/e2e/realwindow.h"
#include "tests/qsavd/servicehome.h"
#include "tests/updates/updateworld.h"

#include <QDateTime>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonObject>
#include <QPainter>

#include <csignal>
#include <filesystem>

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

constexpr char settings[] = "[Scan]\nAction=quarantine\n[Log]\nLevel=all\n"
                            "[Limits]\nMaxScanMB=16000\nMaxFiles=1000000\nMaxSeconds=600\n";

class Window : public RealWindow
{
  public:
    using RealWindow::RealWindow;

    /// Clicks the first column of the row whose first text is `row`, `x` from its left edge.
    bool clickRow(const QString& list, const QString& row, int x = 10, int button = 1)
    {
        QRect where;
        const auto shown = [&] {
            for (const QJsonValue& widget : widgets()) {
                if (widget["window"].toString() + '/' + widget["name"].toString() != list)
                    continue;
                for (const QJsonValue& candidate : widget["rows"].toArray()) {
                    if (candidate["texts"][0] == row)
                        where = rectOf(candidate["rect"]);
                }
            }
            return where.isValid() && find(list).reachable;
        };
        if (!waitUntil(list + ", row " + row, shown))
            return false;
        clickAt(where.topLeft() + QPoint(x, where.height() / 2), button);
        return true;
    }
};

/// The picture of a window with the look of its corners.
QImage pictureOf(Window& window, const QString& name, int xRnd, int yRnd)
{
    const QString whole = VARDO_PICTURES "/screen.png";
    QTest::qWait(400); // for what is animated
    const QRect place = window.find(name).place;
    VirtualScreen::savePicture(whole);
    const double factor = RealWindow::factor();
    const QRect pixels((QPointF(place.topLeft()) * factor).toPoint(),
                       (QSizeF(place.size()) * factor).toSize());
    const QImage screen = QImage(whole).copy(pixels);
    QImage cut(pixels.size(), QImage::Format_ARGB32_Premultiplied);
    cut.fill(Qt::transparent);
    QPainter painter(&cut);
    painter.setClipRegion(QRegion(roundedOutline(place.size(), xRnd, yRnd, factor), Qt::OddEvenFill));
    painter.drawImage(0, 0, screen);
    return cut.copy(0, 0, cut.width() - 1, cut.height() - 1);
}

void save(const QImage& picture, const QString& name)
{
    if (!picture.save(VARDO_PICTURES "/" + name))
        qFatal("cannot write %s", qPrintable(name));
}

void must(bool done)
{
    if (!done)
        qFatal("cannot go on");
}

QImage box(Window& window)
{
    must(window.waitFor("VMessageBox") &&
         QTest::qWaitFor([&] { return window.find("VMessageBox/btnClose").reachable; }, 20'000));
    return pictureOf(window, "VMessageBox", 5, 10);
}

void makeHome()
{
    product::install(settings);
    sandbox::writeFile("/opt/Quillstone/etc/vardo-ver", "1.0.0 TIER-A\n");
    sandbox::writeFile("/opt/Quillstone/etc/vardo/.lastScan", "20/11/2026 18:30\n");
    fs::create_directories("/root/Downloads");
    fs::copy("/usr/share/common-licenses", "/root/Documents",
             fs::copy_options::recursive | fs::copy_options::skip_symlinks);
    fs::copy("/usr/include/x86_64-linux-gnu", "/root/Documents/headers",
             fs::copy_options::recursive | fs::copy_options::skip_symlinks);
    sandbox::writeFile("/root/Documents/invoice.com", ServiceHome::testFile().toStdString());
    sandbox::writeFile("/root/Downloads/archive.zip", product::busyArchive().toStdString());
}

/// The main window, a scan without and with details, and the question before it is stopped.
QList<QImage> takeScan()
{
    Window window;
    must(window.waitFor("VMainWidget"));
    save(pictureOf(window, "VMainWidget", 3, 3), "main.png");
    must(window.click("VMainWidget/lnkScanHome") && window.waitFor("VProgressWidget"));
    must(QTest::qWaitFor([&] { return window.text("VProgressWidget/lblTime") >= "00:00:03"; }, 20'000));
    save(pictureOf(window, "VProgressWidget", 5, 20), "progress.png");
    must(window.click("VProgressWidget/lnkDetail"));
    must(QTest::qWaitFor([&] { return window.find("VProgressWidget").place.height() == 390; }, 20'000));
    save(pictureOf(window, "VMainWidget", 3, 3), "scan.png");
    must(window.click("VProgressWidget/btnClose"));
    QList<QImage> boxes{box(window)};
    must(window.click("VMessageBox/&Yes") && window.waitFor("VMessageBox/Ok"));
    boxes << box(window);
    return boxes;
}

/// A scan that fails.
QImage takeWarning()
{
    Window window;
    must(window.waitFor("VMainWidget"));
    ::kill(product::service(), SIGKILL);
    fs::remove("/opt/Quillstone/sbin/qsavd");
    must(window.click("VMainWidget/lnkScanHome"));
    return box(window);
}

/// A start without the scanning service.
QImage takeRefusal()
{
    sandbox::writeFile("/opt/Quillstone/sbin/qsavd", "#!/bin/false\n");
    fs::permissions("/opt/Quillstone/sbin/qsavd", fs::perms(0755));
    Window window;
    return box(window);
}

void takeMemoryScan()
{
    product::install(QByteArray(settings) + "[Scan]\nScanMemoryAtStart=yes\n");
    Window window;
    must(QTest::qWaitFor([&] { return window.find("AVInitializer/btnStop").reachable; }, 20'000));
    save(pictureOf(window, "AVInitializer", 5, 10), "memoryscan.png");
}

void takeHelp()
{
    product::install(settings);
    sandbox::writeFile("/opt/Quillstone/etc/vardo-ver", "1.0.0 TIER-A\n");
    Window window;
    must(window.click("VMainWidget/lnkHelp") && window.waitFor("VMainWidget/lblLiveChat"));
    save(pictureOf(window, "VMainWidget", 3, 3), "help.png");
}

/// The list of quarantined files, some with names that are not as they seem.
void takeQuarantine()
{
    product::install(settings);
    sandbox::writeFile("/opt/Quillstone/etc/vardo-ver", "1.0.0 TIER-A\n");
    const std::string bad = ServiceHome::marker().toStdString();
    const std::pair<const char*, std::size_t> files[] = {{"invoice.com", 68},
                                                         {"a/invoice.com", 3000},
                                                         {"b/invoice.com", 3100},
                                                         {"setup_2026.exe", 812'345},
                                                         {"Quarterly report (final).doc", 45'345},
                                                         {"caf\xe9 menu.doc", 39'345},
                                                         {"holiday\u202Egpj.exe", 700}};
    for (const auto& [name, size] : files) {
        const fs::path path = fs::path("/root") / name;
        fs::create_directories(path.parent_path());
        sandbox::writeFile(path, bad + std::string(size - bad.size(), ' '));
    }
    Window window;
    must(window.click("VMainWidget/lnkScanHome") && window.waitFor("VScanStatisticsDialog"));
    save(pictureOf(window, "VScanStatisticsDialog", 3, 6), "statistics.png");
    must(window.click("VScanStatisticsDialog/btnOk") && window.waitForEnd("VProgressWidget"));
    must(window.click("VMainWidget/lnkQuarantine") && window.waitFor("VMainWidget/lstQuarantine") &&
         window.clickRow("VMainWidget/lstQuarantine", "setup_2026.exe"));
    save(pictureOf(window, "VMainWidget", 3, 3), "quarantine.png");
    must(window.clickRow("VMainWidget/lstQuarantine", "setup_2026.exe", 30, 3) &&
         window.waitFor("mnuQuarantine"));
    save(pictureOf(window, "VMainWidget", 3, 3), "quarantinemenu.png");
}

/// The question about an infected file, and the options, where the keyboard is on a check box.
void takePromptAndOptions()
{
    product::install("[Scan]\nAction=prompt\n");
    sandbox::writeFile("/opt/Quillstone/etc/vardo-ver", "1.0.0 TIER-A\n");
    sandbox::writeFile("/opt/Quillstone/etc/vardo/.lastScan", "20/11/2026 18:30\n");
    sandbox::writeFile("/root/invoice.com", ServiceHome::testFile().toStdString());
    Window window;
    must(window.click("VMainWidget/lnkScanHome") && window.waitFor("VGetUserAction"));
    save(pictureOf(window, "VGetUserAction", 6, 13), "prompt.png");
    must(window.click("VGetUserAction/lnkNothing") && window.click("VScanStatisticsDialog/btnOk") &&
         window.waitForEnd("VProgressWidget") && window.click("VMainWidget/lnkScanSetting") &&
         window.click("VMainWidget/chkMail") && window.click("VMainWidget/chkMail"));
    window.press("Tab");
    save(pictureOf(window, "VMainWidget", 3, 3), "options.png");
}

/// The list of scan logs, and the viewer with the newest.
void takeLogs()
{
    const fs::path folder = "/var/Quillstone/var/log/vardo";
    const fs::path newest = folder / "scan-20261120-183000.log";
    product::install(settings);
    sandbox::writeFile("/opt/Quillstone/etc/vardo-ver", "1.0.0 TIER-A\n");
    fs::copy("/usr/include/x86_64-linux-gnu/sys", "/root/headers", fs::copy_options::recursive);
    Window window;
    must(window.click("VMainWidget/lnkScanHome") && window.click("VScanStatisticsDialog/btnOk") &&
         window.waitForEnd("VProgressWidget"));
    const std::string log = product::onlyLog().toStdString();
    fs::remove_all(folder);
    fs::create_directory(folder);
    const auto makeLog = [](const fs::path& path, const std::string& text, QDateTime written) {
        sandbox::writeFile(path, text);
        QFile file(path);
        if (file.open(QIODevice::Append))
            file.setFileTime(written, QFileDevice::FileModificationTime);
    };
    makeLog(newest, log, {{2026, 11, 20}, {18, 34, 12}});
    for (int day = 19; day > 9; day -= 2) {
        std::string text;
        for (int i = 0; i < day * 100; ++i)
            text += log;
        makeLog(folder / ("scan-202611" + std::to_string(day) + "-021500.log"), text,
                {{2026, 11, day}, {2, 40 + day % 7, day}});
    }
    must(window.click("VMainWidget/lnkViewScanLog") && window.waitFor("VMainWidget/lstScanLogs") &&
         window.clickRow("VMainWidget/lstScanLogs", newest.filename().c_str()));
    save(pictureOf(window, "VMainWidget", 3, 3), "logs.png");
    must(window.click("VMainWidget/btnViewScanLog") && window.waitFor("VShowLogDialog"));
    save(pictureOf(window, "VShowLogDialog", 4, 6), "logviewer.png");
}

/// The choice of what to scan, with a row of every kind and state.
void takeTree()
{
    product::install(settings);
    const fs::path home = "/home/tester";
    for (const char* folder : {"Documents", "Downloads", "Music", "Pictures", "Private", "Videos"})
        fs::create_directory(home / folder);
    for (const char* name :
         {"Documents/letter.txt", "Documents/report 2026.odt", "Downloads/new.bin", "Downloads/old.bin"})
        sandbox::writeFile(home / name, std::string(1234, 'x'));
    fs::create_directory_symlink("../Music", home / "Pictures/link to music");
    ::mkfifo((home / "Documents/pipe").c_str(), 0600);
    fs::permissions(home / "Private", fs::perms::none);

    Window window({1000, 1000});
    const QString tree = "VObjectSelectionDialog/lstDirView";
    constexpr int expander = -10;
    must(window.click("VMainWidget/lnkSelect"));
    for (const char* name : {"home", "tester"})
        must(window.clickRow(tree, name, expander));
    must(window.clickRow(tree, "Music") && window.clickRow(tree, "Pictures") &&
         window.clickRow(tree, "Pictures", expander) && window.clickRow(tree, "Downloads", expander) &&
         window.clickRow(tree, "new.bin") && window.clickRow(tree, "Downloads", expander) &&
         window.clickRow(tree, "Documents", expander) && window.clickRow(tree, "letter.txt"));
    for (int row = 0; row < 8; ++row)
        window.press("Down");
    save(pictureOf(window, "VObjectSelectionDialog", 5, 5), "tree.png");
}

/// The list of scheduled scans, and the editor of one.
void takeSchedules()
{
    product::install(settings);
    sandbox::writeFile("/opt/Quillstone/etc/vardo-ver", "1.0.0 TIER-A\n");
    sandbox::writeFile("/opt/Quillstone/etc/vardo/schedule.conf",
                       "[Before the fair]\nFrequency=once\nYear=2026\nMonth=3\nDay=14\nHour=9\nMinute=5\n"
                       "Object1=/srv/fair\n[downloads]\nFrequency=hourly\nMinute=15\n"
                       "Object1=/home/tester/Downloads\nObject2=/home/anna/Downloads\n"
                       "[mail]\nFrequency=daily\nHour=12\nMinute=30\nObject1=/var/mail\n"
                       "[homes]\nFrequency=weekly\nWeekDay=5\nHour=18\nMinute=0\nAction=quarantine\n"
                       "Options=\"disinfect\"\nObject1=/home\nObject2=/root\n"
                       "[all]\nFrequency=monthly\nDay=1\nHour=2\nMinute=15\nObject1=/\n");
    sandbox::writeFile("/opt/Quillstone/etc/vardo/.lastScan", "20/11/2026 18:30\n");
    Window window;
    must(window.waitFor("VMainWidget"));
    QTest::qWait(500); // for the click that the window makes itself
    must(window.click("VMainWidget/btnScheduler") && window.waitFor("VMainWidget/lstSchedule") &&
         window.clickRow("VMainWidget/lstSchedule", "homes"));
    save(pictureOf(window, "VMainWidget", 3, 3), "scheduler.png");
    must(window.click("VMainWidget/btnEditSchedule") && window.waitFor("VScheduleDialog"));
    save(pictureOf(window, "VScheduleDialog", 7, 5), "editor.png");
    must(window.click("VScheduleDialog/tabSchedule", {110, 12}) &&
         window.waitFor("VScheduleDialog/cmbScanAction"));
    save(pictureOf(window, "VScheduleDialog", 7, 5), "editoroptions.png");
}

/// An update under way.
void takeUpdate()
{
    product::install(QByteArray(settings) + "[Alert]\nWarnOldSignatures=no\n");
    sandbox::writeFile("/opt/Quillstone/etc/vardo-ver", "1.0.0 TIER-A\n");
    sandbox::writeFile("/opt/Quillstone/etc/vardo/.lastScan", "20/11/2026 18:30\n");
    const updateworld::Mirror mirror;
    mirror.publish(2);
    fs::copy_file(updateworld::database(1), "/var/Quillstone/var/lib/signatures/test.cvd");
    mirror.behave("cdiff status 404\ncvd slow 300\n");
    sandbox::writeFile("/opt/Quillstone/etc/updates.conf",
                       "[Update]\nServer=http://" + mirror.address() + "\nDatabases=test\nTimeOut=60\n");
    Window window;
    must(window.waitFor("VMainWidget"));
    QTest::qWait(500); // for the click that the window makes itself
    must(window.click("VMainWidget/btnUpdate") && window.click("VMainWidget/lnkUpdateNow1") &&
         window.waitFor("VUpdateDialog"));
    must(window.click("VUpdateDialog/lnkShow") &&
         QTest::qWaitFor([&] { return window.find("VUpdateDialog").place.height() == 350; }, 20'000));
    QTest::qWait(3000);
    save(pictureOf(window, "VUpdateDialog", 6, 8), "update.png");
    must(window.click("VUpdateDialog/btnStop") && window.click("VMessageBox/&Yes") &&
         window.waitFor("VMessageBox/Ok"));
}

/// All message boxes in one picture, two in a row.
void saveBoxes(const QList<QImage>& boxes)
{
    constexpr int gap = 12;
    QImage all(boxes[0].size() * 3, QImage::Format_ARGB32_Premultiplied);
    all.fill(Qt::transparent);
    QPainter painter(&all);
    QRect used;
    for (int i = 0; i < boxes.size(); ++i) {
        const QPoint corner(i % 2 * (boxes[0].width() + gap), i / 2 * (boxes[0].height() + gap));
        painter.drawImage(corner, boxes[i]);
        used |= QRect(corner, boxes[i].size());
    }
    painter.end();
    save(all.copy(used), "messagebox.png");
}

} // namespace

/// takepictures [FACTOR]: how many pixels the program's units have, else two.
int main(int argc, char** argv)
{
    if (!sandbox::inside())
        return sandbox::enterAsRoot(argv);
    qputenv("QT_SCALE_FACTOR", argc > 1 ? argv[1] : "2");
    const QCoreApplication application(argc, argv);
    const VirtualScreen screen((QSizeF(1024, 768) * RealWindow::factor()).toSize());
    if (!screen.isUp())
        return EXIT_FAILURE;
    takeTree();
    takeMemoryScan();
    takeHelp();
    takeQuarantine();
    takePromptAndOptions();
    takeLogs();
    takeSchedules();
    takeUpdate();
    makeHome();
    QList<QImage> boxes = takeScan();
    boxes << takeWarning() << takeRefusal();
    saveBoxes(boxes);
    return EXIT_SUCCESS;
}
