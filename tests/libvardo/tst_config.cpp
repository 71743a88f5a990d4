#include "engine/schedule.h"
#include "engine/update.h"
#include "engine/vardo.h"
#include "libvardo/conffile.h"
#include "libvardo/enginesettings.h"
#include "sfl/sfl.h"

#include <QtTest>

#include <csignal>
#include <string>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

template <class T>
T valueOf(ScanConfig& config, unsigned id)
{
    T value{};
    if (config.GetOption(id, &value) != 0)
        QTest::qFail("GetOption failed", __FILE__, __LINE__);
    return value;
}

std::string textOf(ScanConfig& config, unsigned id)
{
    char text[2048] = "untouched";
    return config.GetOption(id, text) == 0 ? text : "<failed>";
}

template <class T>
int setTo(ScanConfig& config, unsigned id, T value)
{
    return config.SetOption(id, &value);
}

int setText(ScanConfig& config, unsigned id, std::string text)
{
    return config.SetOption(id, text.data());
}

/// Lets no file of this process grow beyond `size` bytes, as a full disk would.
class FileSizeLimit
{
  public:
    explicit FileSizeLimit(rlim_t size)
    {
        ::getrlimit(RLIMIT_FSIZE, &old_);
        const rlimit low = {size, old_.rlim_max};
        oldHandler_ = std::signal(SIGXFSZ, SIG_IGN);
        ::setrlimit(RLIMIT_FSIZE, &low);
    }
    ~FileSizeLimit()
    {
        ::setrlimit(RLIMIT_FSIZE, &old_);
        std::signal(SIGXFSZ, oldHandler_);
    }

  private:
    rlimit old_ = {};
    void (*oldHandler_)(int) = nullptr;
};

} // namespace

class TestConfig : public QObject
{
    Q_OBJECT

  private slots:
    void init() { dir_ = std::make_unique<QTemporaryDir>(); }
    void missingKeysTakeDefaults();
    void allOptionsSurviveTheFile();
    void valuesAreRead_data();
    void valuesAreRead();
    void theUsersCopyReadsTheSame();
    void wrongOptionsAreRefused();
    void aSaveKeepsWhatIsNotItsOwn();
    void aSaveToAnotherFileKeepsItsPaths();
    void aSaveIsWholeOrNothing();
    void aSaveKeepsOwnerAndMode();
    void aFailedReadChangesNothing();
    void oldSignaturesAlert();
    void settingsStayWithinTheirRanges();
    void updateSettingsSurviveTheFile();
    void objectListsAreCopied();

  private:
    std::string path(const char* name = "a.conf") const { return (dir_->path() + "/" + name).toStdString(); }
    void write(const QByteArray& text, const char* name = "a.conf");
    QByteArray read(const char* name = "a.conf") const;
    QStringList files() const
    {
        return QDir(dir_->path())
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }

    std::unique_ptr<QTemporaryDir> dir_;
};

void TestConfig::write(const QByteArray& text, const char* name)
{
    QFile file(QString::fromStdString(path(name)));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
}

QByteArray TestConfig::read(const char* name) const
{
    QFile file(QString::fromStdString(path(name)));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : "<unreadable>";
}

void TestConfig::missingKeysTakeDefaults()
{
    write("[Scan]\nAction = destroy\nScanMails = perhaps\nMaxDepth = many\n[Alert]\nDays = -3\n");
    ScanConfig config(path().c_str());
    QCOMPARE(config.getConfigFile(), path().c_str());
    setTo<unsigned>(config, SCANOPT_ACTION, SCANACT_DELETE);
    QCOMPARE(config.ReadConfiguration(nullptr), 0); // forgets what was set
    QCOMPARE(valueOf<unsigned>(config, SCANOPT_SCANOPTS), unsigned{SCANFLAG_NO_DISINFECT});
    QCOMPARE(valueOf<unsigned>(config, SCANOPT_ACTION), unsigned{SCANACT_LOG});
    QCOMPARE(valueOf<unsigned>(config, SCANOPT_LOGLEVEL), unsigned{LOGLEVEL_INFECTED});
    QCOMPARE(textOf(config, SCANOPT_LOGLOCATION), "/var/Quillstone/var/log");
    QCOMPARE(valueOf<unsigned char>(config, SCANOPT_MEMSCAN), 0);
    QCOMPARE(textOf(config, SCANOPT_EXTENSIONS), "");
    QCOMPARE(textOf(config, SCANOPT_ACTDATA), "/var/Quillstone/var/quarantine/vardo");
    QCOMPARE(valueOf<unsigned char>(config, SCANOPT_ALERT), 1);
    QCOMPARE(valueOf<unsigned>(config, SCANOPT_ALERTDAYS), 15u);
    QCOMPARE(valueOf<unsigned char>(config, SCANOPT_MAXDEPTH), 20);
}

void TestConfig::allOptionsSurviveTheFile()
{
    const unsigned all = 0x7f6e; // every known bit but NO_DISINFECT
    const std::string dirs = "/srv/$(HOME)/a\"b\\;#, /x-";
    ScanConfig saved(path().c_str());
    QCOMPARE(setTo<unsigned>(saved, SCANOPT_SCANOPTS, all), 0);
    QCOMPARE(setTo<unsigned>(saved, SCANOPT_ACTION, SCANACT_PROMPT), 0);
    QCOMPARE(setTo<unsigned>(saved, SCANOPT_LOGLEVEL, LOGLEVEL_ALL), 0);
    QCOMPARE(setText(saved, SCANOPT_LOGLOCATION, "/tmp/l\xf6g (1)"), 0);
    QCOMPARE(setTo<unsigned char>(saved, SCANOPT_MEMSCAN, 1), 0);
    QCOMPARE(setText(saved, SCANOPT_EXTENSIONS, "exe;com, bat"), 0);
    QCOMPARE(setTo<const char*>(saved, SCANOPT_EXCLUDEDIRS, dirs.c_str()), 0);
    QCOMPARE(setTo<unsigned char>(saved, SCANOPT_MAXDEPTH, 255), 0);
    QCOMPARE(setTo<unsigned long>(saved, SCANOPT_MAXSIZE, 1ul << 40), 0);
    QCOMPARE(setText(saved, SCANOPT_ACTDATA, "qst"), 0);
    QCOMPARE(setTo<unsigned char>(saved, SCANOPT_ALERT, 0), 0);
    QCOMPARE(setTo<unsigned>(saved, SCANOPT_ALERTDAYS, 99), 0);
    QCOMPARE(saved.SaveConfiguration(nullptr), 0);

    ScanConfig config(path().c_str());
    QCOMPARE(config.ReadConfiguration(nullptr), 0);
    QCOMPARE(valueOf<unsigned>(config, SCANOPT_SCANOPTS), all);
    QCOMPARE(valueOf<unsigned>(config, SCANOPT_ACTION), unsigned{SCANACT_PROMPT});
    QCOMPARE(valueOf<unsigned>(config, SCANOPT_LOGLEVEL), unsigned{LOGLEVEL_ALL});
    QCOMPARE(textOf(config, SCANOPT_LOGLOCATION), "/tmp/l\xf6g (1)");
    QCOMPARE(valueOf<unsigned char>(config, SCANOPT_MEMSCAN), 1);
    QCOMPARE(textOf(config, SCANOPT_EXTENSIONS), "exe;com, bat");
    QCOMPARE(valueOf<char*>(config, SCANOPT_EXCLUDEDIRS), dirs.c_str());
    QCOMPARE(valueOf<unsigned char>(config, SCANOPT_MAXDEPTH), 255);
    QCOMPARE(valueOf<unsigned long>(config, SCANOPT_MAXSIZE), 1ul << 40);
    QCOMPARE(textOf(config, SCANOPT_ACTDATA), "qst");
    QCOMPARE(valueOf<unsigned char>(config, SCANOPT_ALERT), 0);
    QCOMPARE(valueOf<unsigned>(config, SCANOPT_ALERTDAYS), 99u);

    // Each bit by itself too, and no other with it.
    for (unsigned bit = 4; bit <= SCANFLAG_MAX_SIZE; bit <<= 1) {
        if (!(all & bit))
            continue;
        setTo<unsigned>(saved, SCANOPT_SCANOPTS, bit | SCANFLAG_NO_DISINFECT);
        QCOMPARE(saved.SaveConfiguration(nullptr), 0);
        QCOMPARE(config.ReadConfiguration(nullptr), 0);
        QCOMPARE(valueOf<unsigned>(config, SCANOPT_SCANOPTS), bit | SCANFLAG_NO_DISINFECT);
    }
}

void TestConfig::valuesAreRead_data()
{
    QTest::addColumn<QByteArray>("raw");
    QTest::addColumn<QByteArray>("value");
    const auto row = [](const char* raw, const char* value) {
        QTest::newRow(raw) << QByteArray(raw) << QByteArray(value);
    };
    row("\"exe;com # x\"", "exe;com # x");
    row("exe;com", "exe;com"); // a list that has lost its quotes
    row("exe ; note", "exe");
    row("exe # note", "exe");
    row("; note", "");
    row("a\\(b\\\\c\\\"d", "a(b\\c\"d");
    row("\"a\\(b\"", "a(b");
    row("$(CONF_TEST)", "from outside");
    row("\"$\\(CONF_TEST)\"", "$(CONF_TEST)");
    row("$\\(CONF_TEST)", "$(CONF_TEST)");
    row("\"", "");
    row("tail\\", "tail\\");
}

void TestConfig::valuesAreRead()
{
    QFETCH(QByteArray, raw);
    QFETCH(QByteArray, value);
    qputenv("CONF_TEST", "from outside");
    write("[Scan]\nExtensions = " + raw + "\n");
    ScanConfig config(path().c_str());
    QCOMPARE(config.ReadConfiguration(nullptr), 0);
    QCOMPARE(QByteArray::fromStdString(textOf(config, SCANOPT_EXTENSIONS)), value);
}

void TestConfig::theUsersCopyReadsTheSame()
{
    const std::string location = "/tmp/a(b)\\c;d#e$(PATH) \"q\" f";
    ScanConfig shared(path("shared.conf").c_str());
    setText(shared, SCANOPT_LOGLOCATION, location);
    setTo<unsigned>(shared, SCANOPT_ACTION, SCANACT_RENAME);
    QCOMPARE(shared.SaveConfiguration(nullptr), 0);

    const sfl::SymTablePtr table(ini_dyn_load(nullptr, path("shared.conf").c_str()));
    QCOMPARE(ini_dyn_save(table.get(), path().c_str()), 0);
    ScanConfig copy(path().c_str());
    QCOMPARE(copy.removeConfQoutes(), 0);
    QVERIFY(read().contains("\nAction =rename\n"));
    QVERIFY(read().contains("\nExtensions =\n"));
    QCOMPARE(copy.ReadConfiguration(nullptr), 0);
    QCOMPARE(textOf(copy, SCANOPT_LOGLOCATION), location);
    QCOMPARE(valueOf<unsigned>(copy, SCANOPT_ACTION), unsigned{SCANACT_RENAME});

    // And again after a save of the copy has given it quotes.
    QCOMPARE(copy.SaveConfiguration(nullptr), 0);
    QCOMPARE(copy.ReadConfiguration(nullptr), 0);
    QCOMPARE(textOf(copy, SCANOPT_LOGLOCATION), location);
}

void TestConfig::wrongOptionsAreRefused()
{
    ScanConfig config(path().c_str());
    QVERIFY(setTo<unsigned>(config, SCANOPT_ACTION, 5) < 0);
    QVERIFY(config.SetAction(77) < 0);
    QVERIFY(setTo<unsigned>(config, SCANOPT_LOGLEVEL, 0) < 0);
    QVERIFY(setTo<unsigned>(config, SCANOPT_LOGLEVEL, 4) < 0);
    QVERIFY(setTo<unsigned char>(config, SCANOPT_MEMSCAN, 2) < 0);
    QVERIFY(setTo<unsigned>(config, SCANOPT_SCANOPTS, 0x80) < 0);
    QVERIFY(setTo<unsigned>(config, SCANOPT_ALERTDAYS, 0) < 0);
    QVERIFY(setTo<unsigned>(config, 5, 0) < 0);
    QVERIFY(config.GetOption(5, &config) < 0);
    QVERIFY(config.SetOption(SCANOPT_ACTION, nullptr) < 0 && config.GetOption(SCANOPT_ACTION, nullptr) < 0);
    QVERIFY(config.SetScanOption(0x80) < 0 && config.UnsetScanOption(0x8000) < 0);

    // Each text at its longest, and one longer.
    QCOMPARE(setText(config, SCANOPT_ACTDATA, std::string(255, 'a')), 0);
    QVERIFY(setText(config, SCANOPT_ACTDATA, std::string(256, 'b')) < 0);
    QCOMPARE(textOf(config, SCANOPT_ACTDATA), std::string(255, 'a'));
    QCOMPARE(setText(config, SCANOPT_EXTENSIONS, std::string(1023, 'a')), 0);
    QVERIFY(setText(config, SCANOPT_EXTENSIONS, std::string(1024, 'b')) < 0);
    QCOMPARE(textOf(config, SCANOPT_EXTENSIONS), std::string(1023, 'a'));
    QCOMPARE(setText(config, SCANOPT_LOGLOCATION, "/" + std::string(2046, 'a')), 0);
    QVERIFY(setText(config, SCANOPT_LOGLOCATION, "/" + std::string(2047, 'b')) < 0);
    QCOMPARE(textOf(config, SCANOPT_LOGLOCATION).size(), 2047u);

    // What a file could not hold, or what is relative to who knows what.
    QVERIFY(setText(config, SCANOPT_LOGLOCATION, "/tmp/\x1a") < 0);
    QVERIFY(setText(config, SCANOPT_EXTENSIONS, "a\n[Scan]") < 0);
    QVERIFY(setText(config, SCANOPT_LOGLOCATION, "tmp") < 0);
}

void TestConfig::aSaveKeepsWhatIsNotItsOwn()
{
    write("# by hand\n#*END\n[Config]\nBrowsers = \"a b,$(HOME)/c\" ; note\nOther = x\\y;z\n"
          "[Scan]\nAction = delete\nMine = 1\n");
    ScanConfig config(path().c_str());
    QCOMPARE(config.ReadConfiguration(nullptr), 0);
    QCOMPARE(config.SaveConfiguration(nullptr), 0);
    QVERIFY(read().startsWith("# by hand\n#*END\n\n[Alert]\n"));
    QVERIFY(read().contains("\n[Config]\n    Browsers = \"a b,$(HOME)/c\"\n    Other = x\\y;z\n\n[Log]\n"));
    QVERIFY(read().contains("    Action = \"delete\"\n"));
    QVERIFY(read().contains("    Mine = 1\n"));
    const QByteArray once = read();
    QCOMPARE(config.SaveConfiguration(nullptr), 0);
    QCOMPARE(read(), once);
}

void TestConfig::aSaveToAnotherFileKeepsItsPaths()
{
    write("[Scan]\nAction = prompt\n[path]\nLocalSocketPath = /global\n", "global.conf");
    write("[path]\nLocalSocketPath =/home/me/.vardo/qsav\n", "mine.conf");
    ScanConfig config(path("mine.conf").c_str());
    QCOMPARE(config.ReadConfiguration(path("global.conf").c_str()), 0);
    QCOMPARE(config.getConfigFile(), path("mine.conf").c_str());
    QCOMPARE(config.SaveConfiguration(path("mine.conf").c_str()), 0);
    QCOMPARE(config.ReadConfiguration(nullptr), 0);
    QCOMPARE(valueOf<unsigned>(config, SCANOPT_ACTION), unsigned{SCANACT_PROMPT});
    QCOMPARE(vardo::loadServicePaths(path("mine.conf").c_str()).socket, "/home/me/.vardo/qsav");
}

void TestConfig::aSaveIsWholeOrNothing()
{
    const QByteArray old = "; old\n[Config]\nBrowsers = x\n";
    write(old);
    ScanConfig config(path().c_str());
    {
        const FileSizeLimit limit(100);
        QVERIFY(config.SaveConfiguration(nullptr) < 0);
    }
    QCOMPARE(read(), old);
    setText(config, SCANOPT_EXTENSIONS, std::string(1023, 'a')); // no line can hold it
    QVERIFY(config.SaveConfiguration(nullptr) < 0);
    QCOMPARE(read(), old);
    setText(config, SCANOPT_EXTENSIONS, "");
    QCOMPARE(files(), QStringList{"a.conf"}); // no temporary file is left

    QVERIFY(QFile::link("a.conf", QString::fromStdString(path("link.conf"))));
    QVERIFY(config.SaveConfiguration(path("link.conf").c_str()) < 0);
    QVERIFY(config.SaveConfiguration(path("none/a.conf").c_str()) < 0);
    QVERIFY(config.SaveConfiguration(dir_->path().toUtf8()) < 0);
    QVERIFY(ScanConfig(nullptr).SaveConfiguration(nullptr) < 0);
    QCOMPARE(read(), old);

    // A file that cannot be read must not lose its keys.
    write(QByteArray((1 << 20) + 1, '#'), "large.conf");
    QVERIFY(config.SaveConfiguration(path("large.conf").c_str()) < 0);
    QCOMPARE(read("large.conf").size(), (1 << 20) + 1);
}

void TestConfig::aSaveKeepsOwnerAndMode()
{
    write("");
    QCOMPARE(::chmod(path().c_str(), 0664), 0);
    const bool root = ::geteuid() == 0;
    if (root)
        QCOMPARE(::chown(path().c_str(), 1234, 2345), 0);
    ScanConfig config(path().c_str());
    QCOMPARE(config.SaveConfiguration(nullptr), 0);
    struct stat status = {};
    QCOMPARE(::stat(path().c_str(), &status), 0);
    QCOMPARE(status.st_mode & 07777, 0664u);
    QCOMPARE(status.st_uid, root ? 1234 : ::geteuid());
    QCOMPARE(status.st_gid, root ? 2345 : ::getegid());
}

void TestConfig::aFailedReadChangesNothing()
{
    ScanConfig config(path("none.conf").c_str());
    QCOMPARE(config.SetAction(SCANACT_DELETE), 0);
    QVERIFY(config.ReadConfiguration(nullptr) < 0);
    QVERIFY(config.ReadConfiguration(dir_->path().toUtf8()) < 0);
    QVERIFY(config.ReadConfiguration("/dev/zero") < 0);
    QVERIFY(ScanConfig(nullptr).ReadConfiguration(nullptr) < 0);
    QCOMPARE(valueOf<unsigned>(config, SCANOPT_ACTION), unsigned{SCANACT_DELETE});
    ScanConfig copy(config);
    QCOMPARE(copy.getConfigFile(), config.getConfigFile());
    QCOMPARE(valueOf<unsigned>(copy, SCANOPT_ACTION), unsigned{SCANACT_DELETE});
}

void TestConfig::oldSignaturesAlert()
{
    ScanConfig config(nullptr);
    setTo<unsigned>(config, SCANOPT_ALERTDAYS, 3);
    const auto alert = [&](double days) {
        const std::time_t then = std::time(nullptr) - static_cast<std::time_t>(days * 86400);
        struct tm date = {};
        ::localtime_r(&then, &date);
        return config.MakeAlert(date);
    };
    QVERIFY(!alert(2.99));
    QVERIFY(alert(3.01));
    QVERIFY(!alert(-400));
    setTo<unsigned char>(config, SCANOPT_ALERT, 0);
    QVERIFY(!alert(400));
}

void TestConfig::settingsStayWithinTheirRanges()
{
    write("[path]\nLocalSocketPath = relative\nAVSpidPATH = /run/pid\nSignaturePath = " +
          dir_->path().toUtf8() +
          "\nSystemSignaturePath = /sys/sig\n[Limits]\nMaxFileMB = 0\nMaxScanMB = 99999999999999999999\n"
          "MaxSeconds = 99999\nWorkers = 3\nMaxFiles = x\n[Service]\nIdleMinutes = 0\n");
    const vardo::EngineSettings settings = vardo::loadEngineSettings(path().c_str(), path().c_str());
    QCOMPARE(settings.service.socket, "/opt/Quillstone/var/run/qsav");
    QCOMPARE(settings.service.pidFile, "/run/pid");
    QCOMPARE(settings.service.idleMinutes, 1u);
    QCOMPARE(settings.limits.maxFileSize, 1ull << 20);
    QCOMPARE(settings.limits.maxScanSize, vardo::SessionOptions().maxScanSize);
    QCOMPARE(settings.limits.maxSeconds, 3600u);
    QCOMPARE(settings.limits.maxFiles, 10000u);
    QCOMPARE(settings.limits.workers, 3u);
    QCOMPARE(settings.quarantineDir, "/var/Quillstone/var/quarantine/vardo");

    // The distribution's signatures stand in only until there is a database of our own.
    const std::vector<std::string> both = {dir_->path().toStdString(), "/sys/sig"};
    QCOMPARE(settings.service.signatureDirs, both);
    write("", "own.ndb");
    QCOMPARE(vardo::loadServicePaths(path().c_str()).signatureDirs, both);
    write("", "daily.cld");
    QCOMPARE(vardo::loadServicePaths(path().c_str()).signatureDirs.size(), 1u);
    write("[path]\nSystemSignaturePath =\n");
    QCOMPARE(vardo::loadServicePaths(path().c_str()).signatureDirs.size(), 1u);
    QCOMPARE(vardo::loadServicePaths("/none").pidFile, "/opt/Quillstone/var/run/qsav.pid");
}

void TestConfig::updateSettingsSurviveTheFile()
{
    write("# kept\n#*END\n[Update]\nServer = mirror\nTimeOut = 3\n");
    vUpdate saved(nullptr, path().c_str());
    QVERIFY(saved.ReadConfiguration(vUpdateConf::PathConf, nullptr) < 0);
    QCOMPARE(saved.ReadConfiguration(vUpdateConf::UpdateConf, nullptr), 0);
    char text[2048] = "";
    QCOMPARE(saved.GetOption(UPDOPT_UPDATESERVER, text), 0);
    QCOMPARE(text, "mirror");
    QVERIFY(saved.SetOption(UPDOPT_UPDATESERVER, text) < 0);
    for (const unsigned id : {UPDOPT_PROXYSERVER, UPDOPT_PROXYUSER, UPDOPT_PROXYPASS}) {
        std::string value = "p\"(#" + std::to_string(id);
        QCOMPARE(saved.SetOption(id, value.data()), 0);
    }
    unsigned port = 65536;
    QVERIFY(saved.SetOption(UPDOPT_PROXYPORT, &port) < 0);
    QCOMPARE(saved.SetOption(UPDOPT_PROXYPORT, &--port), 0);
    const std::map<unsigned, unsigned char> bytes = {
        {UPDOPT_USEPROXY, 1},  {UPDOPT_PROXYAUTH, 1},  {UPDOPT_USEHTTPS, 1},    {UPDOPT_TIMEOUT, 90},
        {UPDOPT_NOOFRETRY, 5}, {UPDOPT_AUTOUPDATE, 0}, {UPDOPT_UPDATEHOUR, 23}, {UPDOPT_UPDATEMINUTE, 59}};
    for (auto [id, byte] : bytes)
        QCOMPARE(saved.SetOption(id, &byte), 0);
    unsigned char hour = 24;
    QVERIFY(saved.SetOption(UPDOPT_UPDATEHOUR, &hour) < 0);
    QCOMPARE(saved.SaveConfiguration(nullptr), 0);
    QVERIFY(read().startsWith("# kept\n#*END\n"));

    vUpdate again(nullptr, path().c_str());
    QCOMPARE(again.ReadConfiguration(vUpdateConf::UpdateConf, nullptr), 0);
    for (const auto& [id, byte] : bytes) {
        unsigned char value = 99;
        QCOMPARE(again.GetOption(id, &value), 0);
        QCOMPARE(value, byte);
    }
    for (const unsigned id : {UPDOPT_PROXYSERVER, UPDOPT_PROXYUSER, UPDOPT_PROXYPASS}) {
        QCOMPARE(again.GetOption(id, text), 0);
        QCOMPARE(text, ("p\"(#" + std::to_string(id)).c_str());
    }
    QCOMPARE(again.GetOption(UPDOPT_PROXYPORT, &port), 0);
    QCOMPARE(port, 65535u);
    QCOMPARE(again.ReadConfiguration(vUpdateConf::PathConf, path().c_str()), 0);
}

void TestConfig::objectListsAreCopied()
{
    auto* list = new VardoObject("/a", Vardo::ScanObjDir);
    QCOMPARE(list->AddLast("/b", Vardo::ScanObjFile), 0);
    QCOMPARE(list->AddLast("/c", Vardo::ScanObjFile), 0);
    QCOMPARE(list->AddList(list), 0);
    auto* copy = new VardoObject("/old", 0);
    QCOMPARE(copy->AddLast("/gone", 0), 0);
    QCOMPARE(copy->CopyList(list), 0);
    list->ClearList();
    std::string names;
    for (const VardoObject* entry = copy; entry; entry = entry->objNext)
        names += entry->objName;
    QCOMPARE(names, "/a/b/c/a/b/c");
    QCOMPARE(copy->objNext->objType, int{Vardo::ScanObjFile});
    copy->ClearList();

    vSchedule job(nullptr, path().c_str());
    QVERIFY(!job.GetScheduleName());
    VardoObject* objects = nullptr;
    QVERIFY(job.GetObjectList(&objects) >= 0 && !objects);
    QCOMPARE(job.AddObject("/"), 0);
    QVERIFY(job.GetObjectList(&objects) >= 0 && objects);
    job.ClearObjectList();
    QCOMPARE(objects->objName, "/");
    objects->ClearList();
    unsigned char hour = 7;
    QVERIFY(job.SetOption(SCHEDOPT_HOUR, &hour) >= 0);
    hour = 0;
    QVERIFY(job.GetOption(SCHEDOPT_HOUR, &hour) >= 0 && hour == 7);
}

QTEST_GUILESS_MAIN(TestConfig)
#include "tst_config.moc"
