#include "tests/mainwindow/mainwindowtest.h"

#include "base/paths.h"
#include "engine/vardo.h"
#include "installation/userconf.h"
#include "tests/qsavd/zipwriter.h"

#include <QApplication>
#include <QComboBox>
#include <QTest>

#include <filesystem>
#include <memory>

namespace fs = std::filesystem;

namespace {

constexpr unsigned int user = 1000;
constexpr char marker[] = "a text that stands for something harmful";
const QByteArray hidden = QByteArray(2000, 'x') + marker; // found packed only by a scan that unpacks
constexpr char signatures[] = "/var/Quillstone/var/lib/signatures/";
constexpr char samples[] = "/usr/share/clamav-testfiles/";

void write(const fs::path& path, const QByteArray& content)
{
    fs::create_directories(path.parent_path());
    sandbox::writeFile(path, content.toStdString());
}

QByteArray sample(const char* name)
{
    return QByteArray::fromStdString(sandbox::readFile(fs::path(samples) / name));
}

} // namespace

/// The page of the scan settings on the real engine: what a user's choice there comes to.
class TestSettingsInUse : public MainWindowTest
{
    Q_OBJECT

    using Statuses = QMap<QByteArray, int>; ///< by the names of the files

    const fs::path home = sandbox::homeOf(user);
    const fs::path tree = home / "tree";
    const fs::path conf = home / ".vardo/vardo.conf";

    void save()
    {
        boxes->answer(VMessageBox::BTN_OK);
        click("btnSaveScanSetting");
        QCOMPARE(boxes->texts().last(), "Vardo setting saved successfully");
    }

    static int noteStatus(const char* name, int type, int status, const char*, const char*, void* context)
    {
        if (type == OBJTYPE_FILE && status != 0)
            static_cast<Statuses*>(context)->insert(QByteArray(name).split('=').first(), status);
        return CALLBACK_CONTINUE;
    }

    static int chooseDelete(const char*, char*) { return PROMPT_DELETE; }

    /// What a scan with the saved settings, as after a new start, reports.
    Statuses scan(const fs::path& object)
    {
        Vardo fresh(conf.c_str());
        Statuses statuses;
        if (fresh.ReadConfiguration(nullptr) < 0 || fresh.VardoAVInit(conf.c_str(), nullptr, true) < 0 ||
            fresh.AddObject(object.c_str()) < 0 || fresh.DoScan(noteStatus, &statuses, chooseDelete) != 0)
            QTest::qFail(fresh.ScanError(), __FILE__, __LINE__);
        return statuses;
    }

  private slots:
    void initTestCase()
    {
        write(paths::lastScan, "21/11/2026 04:32\n");
        write(fs::path(signatures) / "marker.ndb", "Marker:0:*:" + QByteArray(marker).toHex() + "\n");
        const QByteArray program = sample("clam.exe");
        if (const auto body = program.indexOf("CLAMessageBoxA"); body >= 0)
            write(fs::path(signatures) / "sample.ndb", "Sample:0:*:" + program.mid(body, 64).toHex() + "\n");
    }

    void init()
    {
        fs::remove_all(tree);
        fs::remove_all(conf);
        const std::unique_ptr<char, decltype(&free)> made(createUserConf(), free);
        QCOMPARE(made.get(), conf.c_str());
        showWindow(conf.c_str());
        click("lnkScanSetting");
    }

    void cleanup() { closeWindow(); }

    void controlsDecideWhatIsFound_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("on");
        QTest::addColumn<int>("off");
        const QString inTree = QString::fromStdString(tree.string()) + '/';
        const auto row = [](const char* control, const QString& file, const QByteArray& content, int off,
                            int on = SCANSTAT_INFECTED) {
            QTest::newRow(control) << content << file << on << off;
        };
        row("chkRecursive", inTree + "sub/f", marker, 0);
        row("chkCrossFS", "/var/Quillstone/f", marker, 0); // a mount point
        row("chkSymLink", inTree + "../elsewhere/f", marker, 0);
        row("chkArchive", inTree + "f.zip", ZipWriter::single("f", hidden), SCANSTAT_CLEAN);
        row("chkMail", inTree + "f.eml",
            "From: a@example.org\r\nTo: b@example.org\r\nSubject: x\r\nMIME-Version: 1.0\r\n"
            "Content-Type: application/octet-stream; name=\"x.bin\"\r\n"
            "Content-Transfer-Encoding: base64\r\n\r\n" +
                hidden.toBase64() + "\r\n",
            SCANSTAT_CLEAN);
        row("chkPack", inTree + "f.exe", sample("clam-upx.exe"), SCANSTAT_CLEAN);
        // A cursor whose header says that it is larger than it may be.
        row("chkHeuristic", inTree + "f.ani",
            QByteArray("RIFF\x48\0\0\0"
                       "ACONanih\x40\0\0\0",
                       20) +
                QByteArray(64, '\1'),
            SCANSTAT_CLEAN, SCANSTAT_SUSPECTED);
    }

    void controlsDecideWhatIsFound()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, file);
        QVERIFY2(!content.isEmpty(), "the package clamav-testfiles is not installed");
        const QByteArray control = QTest::currentDataTag();
        const fs::path path = fs::path(file.toStdString()).lexically_normal();
        const bool mounted = path.string().starts_with("/var/");
        fs::create_directories(tree);
        write(path, content);
        if (control == "chkSymLink")
            fs::create_symlink("../elsewhere", tree / "link");
        const QByteArray reported = control == "chkSymLink" ? (tree / "link/f").c_str() : path.c_str();
        for (const bool on : {true, false, true}) {
            if (isOn(control) != on)
                click(control);
            save();
            click("btnScan");
            click("lnkScanSetting");
            QCOMPARE(isOn(control), on);
            const Statuses statuses = scan(mounted ? "/var" : tree);
            QTEST(statuses.value(reported), on ? "on" : "off");
        }
        fs::remove(path);
    }

    /// Those that only an editor can set.
    void keysDecideWhatIsFound()
    {
        const QByteArray in = tree.c_str();
        const struct
        {
            QByteArray key, settings;
            QList<QByteArray> left;
        } keys[] = {
            {"OnlyExtensions", "Extensions=.EXE com", {"a.exe", "b.COM", "sub/c.exe"}},
            {"SkipExtensions",
             "Extensions=\"*.EXE; zip\"",
             {"b.COM", "exe", "sub/deep/large.txt", "sub/deeper/f"}},
            {"SkipDirs",
             "ExcludeDirs=\"" + in + "/none, " + in + "/sub//deep/ ;sub\"",
             {"a.exe", "b.COM", "exe", "sub/c.exe", "sub/deeper/f"}},
            {"LimitDepth", "MaxDepth=1", {"a.exe", "b.COM", "exe", "sub/c.exe"}},
            {"LimitSize", "MaxSize=1999", {"a.exe", "b.COM", "exe", "sub/c.exe", "sub/deeper/f"}},
        };
        const QList<QByteArray> all{"a.exe",       "b.COM", "exe", "sub/c.exe", "sub/deep/large.txt",
                                    "sub/deeper/f"};
        for (const QByteArray& name : all)
            write(tree / name.toStdString(), name.contains("large") ? hidden : marker);
        const QByteArray old = QByteArray::fromStdString(sandbox::readFile(conf));
        for (const auto& [key, settings, left] : keys) {
            for (const bool on : {true, false}) {
                write(conf, old + "[Scan]\n" + settings + '\n' + key + (on ? "=yes\n" : "=no\n"));
                QList<QByteArray> found;
                for (const QByteArray& name : scan(tree).keys(SCANSTAT_INFECTED))
                    found.append(name.mid(in.size() + 1));
                QCOMPARE(found, on ? left : all);
            }
        }
    }

    void actionsDecideWhatBecomesOfAFind()
    {
        const fs::path file = tree / "bad.com";
        const fs::path quarantined = fs::path(paths::quarantine) / "bad.com";
        const fs::path renamed = tree / "bad.com.qst";
        const struct
        {
            const char* text;
            int status;
            fs::path place; ///< empty: deleted
        } outcomes[] = {
            {"Log only", SCANSTAT_INFECTED, file},
            {"Disinfect (if not possible, Log)", SCANSTAT_CURE_FAILED, file},
            {"Disinfect (if not possible, delete file)", SCANSTAT_DELETED, {}},
            {"Disinfect (if not possible, Quarantine file)", SCANSTAT_QUARANTINED, quarantined},
            {"Disinfect (if not possible, Rename file)", SCANSTAT_RENAMED, renamed},
            {"Disinfect (if not possible Prompt Action)", SCANSTAT_DELETED, {}},
            {"Delete", SCANSTAT_DELETED, {}},
            {"Quarantine", SCANSTAT_QUARANTINED, quarantined},
            {"Rename", SCANSTAT_RENAMED, renamed},
            {"Ask user", SCANSTAT_DELETED, {}},
        };
        auto* action = find<QComboBox>("cmbScanAction");
        for (int index = 0; const auto& [text, status, expected] : outcomes) {
            action->setCurrentIndex(index);
            save();
            click("btnScan");
            action->setCurrentIndex(0);
            click("lnkScanSetting");
            QCOMPARE(action->currentText(), text);
            const std::string data = expected == renamed ? "qst" : paths::quarantine;
            QVERIFY(sandbox::readFile(conf).find("ActionData = \"" + data + '"') != std::string::npos);
            write(file, marker);
            QCOMPARE(scan(tree).value(file.c_str()), status);
            if (expected == renamed) // put out of action, it is not found again
                QCOMPARE(scan(tree).size(), 0);
            for (const fs::path& place : {file, quarantined, renamed}) {
                QCOMPARE(fs::exists(place), place == expected);
                fs::remove(place);
            }
            ++index;
        }
    }
};

VARDO_SANDBOX_TEST_MAIN(TestSettingsInUse, user, user)
#include "tst_settingsinuse.moc"
