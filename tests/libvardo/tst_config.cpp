#include "engine/update.h"
#include "engine/vardo.h"
#include "libvardo/enginesettings.h"
#include "sfl/sfl.h"
#include "tests/support/rootmain.h"

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
    return config.GetOption(id, &value) == 0 ? value : T();
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

/// Every option in one line.
QString allOf(ScanConfig& config)
{
    const char* dirs = valueOf<char*>(config, SCANOPT_EXCLUDEDIRS);
    QString all = QString::number(valueOf<unsigned>(config, SCANOPT_SCANOPTS), 16);
    for (const unsigned id : {SCANOPT_ACTION, SCANOPT_LOGLEVEL, SCANOPT_ALERTDAYS})
        all += ' ' + QString::number(valueOf<unsigned>(config, id));
    for (const unsigned id : {SCANOPT_MEMSCAN, SCANOPT_ALERT, SCANOPT_MAXDEPTH})
        all += ' ' + QString::number(valueOf<unsigned char>(config, id));
    all += ' ' + QString::number(valueOf<unsigned long>(config, SCANOPT_MAXSIZE));
    for (const unsigned id : {SCANOPT_LOGLOCATION, SCANOPT_EXTENSIONS, SCANOPT_ACTDATA})
        all += '|' + QString::fromLatin1(textOf(config, id).c_str());
    return all + '|' + QString::fromLatin1(dirs ? dirs : "");
}

} // namespace

class TestConfig : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> dir_;

    std::string path(const char* name = "a.conf") const { return (dir_->path() + "/" + name).toStdString(); }

    void write(const QByteArray& text, const char* name = "a.conf")
    {
        QFile file(QString::fromStdString(path(name)));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
    }

    QByteArray read() const
    {
        QFile file(QString::fromStdString(path()));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : "<unreadable>";
    }

    QStringList files() const
    {
        return QDir(dir_->path())
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }

  private slots:
    void init() { dir_ = std::make_unique<QTemporaryDir>(); }

    void missingAndWrongValues()
    {
        const QString defaults = "1 0 2 15 0 1 20 104857600|/var/Quillstone/var/log||"
                                 "/var/Quillstone/var/quarantine/vardo|";
        ScanConfig config(path().c_str());
        write("[Scan]\nAction = destroy\nScanMails = perhaps\nMaxDepth = many\nMaxSize = 1e3\nLimitSize =\n"
              "[Log]\nLevel = 4\nLocation = logs\n[Alert]\nDays = \xff\n");
        setTo<unsigned>(config, SCANOPT_ACTION, SCANACT_DELETE);
        QCOMPARE(config.ReadConfiguration(nullptr), 0); // forgets what was set
        QCOMPARE(allOf(config), defaults);
        // Numbers beyond a range go to its end, and of equal keys the last counts.
        write("[Scan]\nMaxDepth = 256\nMaxSize = 99999999999999999999\n[Alert]\nDays = 3\n[Scan]\n"
              "ScanMails = no\nScanMails = YES\nDisinfect = 1\n[Alert]\nDays = -3\n[Log]\nLevel = 0\n");
        QCOMPARE(config.ReadConfiguration(nullptr), 0);
        QCOMPARE(allOf(config), "2 0 0 1 0 1 255 18446744073709551615" + defaults.mid(defaults.indexOf('|')));
    }

    void allOptionsSurviveTheFile()
    {
        const std::string dirs = "/srv/$(HOME)/a\"b\\;#, /x-";
        ScanConfig saved(path().c_str());
        setTo<unsigned>(saved, SCANOPT_SCANOPTS, 0x7f6e); // every known bit but NO_DISINFECT
        setTo<unsigned>(saved, SCANOPT_ACTION, SCANACT_PROMPT);
        setTo<unsigned>(saved, SCANOPT_LOGLEVEL, LOGLEVEL_ALL);
        setTo<unsigned>(saved, SCANOPT_ALERTDAYS, 99);
        setTo<unsigned char>(saved, SCANOPT_MEMSCAN, 1);
        setTo<unsigned char>(saved, SCANOPT_ALERT, 0);
        setTo<unsigned char>(saved, SCANOPT_MAXDEPTH, 255);
        setTo<unsigned long>(saved, SCANOPT_MAXSIZE, 1ul << 40);
        setText(saved, SCANOPT_LOGLOCATION, "/tmp/a(b)\\c;d#e$(PATH) \"q\" \xf6");
        setText(saved, SCANOPT_EXTENSIONS, "exe;com, bat");
        setText(saved, SCANOPT_ACTDATA, "qst");
        setTo(saved, SCANOPT_EXCLUDEDIRS, dirs.c_str());
        const QString all = "7f6e 4 3 99 1 0 255 1099511627776|/tmp/a(b)\\c;d#e$(PATH) \"q\" \u00f6|"
                            "exe;com, bat|qst|" +
                            QString::fromStdString(dirs);
        QCOMPARE(allOf(saved), all);
        QCOMPARE(saved.SaveConfiguration(nullptr), 0);
        ScanConfig config(path().c_str());
        QCOMPARE(config.ReadConfiguration(nullptr), 0);
        QCOMPARE(allOf(config), all);

        // And in the user's copy.
        const sfl::SymTablePtr table(ini_dyn_load(nullptr, path().c_str()));
        QCOMPARE(ini_dyn_save(table.get(), path().c_str()), 0);
        QCOMPARE(config.removeConfQoutes(), 0);
        QVERIFY(read().contains("\nAction =prompt\n"));
        QCOMPARE(config.ReadConfiguration(nullptr), 0);
        QCOMPARE(allOf(config), all);
    }

    void wrongOptionsAreRefused()
    {
        ScanConfig config(path().c_str());
        const QString before = allOf(config);
        QVERIFY(setTo(config, SCANOPT_ACTION, 5u) < 0 && setTo(config, SCANOPT_LOGLEVEL, 4u) < 0);
        QVERIFY(setTo(config, SCANOPT_SCANOPTS, 0x80u) < 0 && config.SetScanOption(0x80) < 0);
        QVERIFY(setTo(config, SCANOPT_ALERTDAYS, 0u) < 0 && setTo(config, 5, 0u) < 0);
        QVERIFY(config.SetOption(SCANOPT_ACTION, nullptr) < 0 && config.GetOption(5, &config) < 0);
        // What a file could not hold, or what is relative to who knows what.
        QVERIFY(setText(config, SCANOPT_EXTENSIONS, "a\n[Scan]") < 0);
        QVERIFY(setText(config, SCANOPT_LOGLOCATION, "/tmp/\x1a") < 0);
        QVERIFY(setText(config, SCANOPT_LOGLOCATION, "tmp") < 0);
        QCOMPARE(allOf(config), before);

        // Each text at its longest, and one longer.
        for (const auto& [id, longest] :
             {std::pair(SCANOPT_ACTDATA, 255u), {SCANOPT_EXTENSIONS, 1023u}, {SCANOPT_LOGLOCATION, 2047u}}) {
            QCOMPARE(setText(config, id, std::string(longest, '/')), 0);
            QVERIFY(setText(config, id, "/" + std::string(longest, 'b')) < 0);
            QCOMPARE(textOf(config, id), std::string(longest, '/'));
        }
    }

    void aSaveKeepsWhatIsNotItsOwn()
    {
        write("# by hand\n#*END\n[Config]\nBrowsers = \"a b,$(HOME)/c\" ; note\nOther = x\\y;z\n"
              "[Scan]\nAction = delete\nMine = 1\n");
        QCOMPARE(::chmod(path().c_str(), 0664), 0);
        QCOMPARE(::chown(path().c_str(), 1234, 2345), 0);
        ScanConfig config(path().c_str());
        QCOMPARE(config.ReadConfiguration(nullptr), 0);
        QCOMPARE(config.SaveConfiguration(nullptr), 0);
        QVERIFY(read().startsWith("# by hand\n#*END\n\n[Alert]\n"));
        QVERIFY(
            read().contains("\n[Config]\n    Browsers = \"a b,$(HOME)/c\"\n    Other = x\\y;z\n\n[Log]\n"));
        QVERIFY(read().contains("    Action = \"delete\"\n"));
        QVERIFY(read().contains("    Mine = 1\n"));
        const QByteArray once = read();
        QCOMPARE(config.SaveConfiguration(nullptr), 0);
        QCOMPARE(read(), once);
        struct stat status = {};
        QCOMPARE(::stat(path().c_str(), &status), 0);
        QCOMPARE(status.st_mode & 07777, 0664u);
        QCOMPARE(status.st_uid, 1234u);
        QCOMPARE(status.st_gid, 2345u);
    }

    void hostileFiles()
    {
        const struct
        {
            mode_t kind;
            QByteArray content; ///< or a link's target
            bool reads, saves;
        } cases[] = {
            {0, {}, false, true},
            {S_IFDIR, {}, false, false},
            {S_IFIFO, {}, false, false},
            {S_IFLNK, "/dev/zero", false, false},
            {S_IFLNK, "elsewhere", true, false},
            {S_IFLNK, "nothing", false, false},
            // What cannot be read wholly must not lose its keys.
            {S_IFREG, QByteArray((1 << 20) + 1, '#'), false, false},
            {S_IFREG, "[a]\nb=" + QByteArray(1022, 'x') + "\n", true, false},
            {S_IFREG, "[Scan]\n    Action = \"del", true, true},
        };
        for (const auto& [kind, content, reads, saves] : cases) {
            init();
            write("", "elsewhere");
            if (kind == S_IFREG)
                write(content);
            else if (kind == S_IFLNK)
                QCOMPARE(::symlink(content.constData(), path().c_str()), 0);
            else if (kind != 0)
                QCOMPARE(kind == S_IFDIR ? ::mkdir(path().c_str(), 0755) : ::mkfifo(path().c_str(), 0666), 0);
            const QStringList before = files();
            ScanConfig config(path().c_str());
            setText(config, SCANOPT_EXTENSIONS, "mine");
            QCOMPARE(config.ReadConfiguration(nullptr) >= 0, reads);
            QCOMPARE(textOf(config, SCANOPT_EXTENSIONS), reads ? "" : "mine"); // a failure changes nothing
            vardo::loadEngineSettings(path().c_str(), path().c_str());
            setText(config, SCANOPT_EXTENSIONS, "new");
            QCOMPARE(config.SaveConfiguration(nullptr) >= 0, saves);
            QCOMPARE(files(), saves ? QStringList({"a.conf", "elsewhere"}) : before); // and no temporary one
            ScanConfig again(path().c_str());
            QVERIFY(!saves || again.ReadConfiguration(nullptr) == 0);
            QCOMPARE(textOf(again, SCANOPT_EXTENSIONS), saves ? "new" : "");
        }
    }

    void aSaveIsWholeOrNothing()
    {
        const QByteArray old = "; old\n[Config]\nBrowsers = x\n";
        write(old);
        ScanConfig config(path().c_str());
        rlimit unlimited = {};
        ::getrlimit(RLIMIT_FSIZE, &unlimited);
        ::signal(SIGXFSZ, SIG_IGN);
        for (const rlim_t room : {0, 1, 100, 500}) { // bytes left on a disk
            const rlimit full = {room, unlimited.rlim_max};
            ::setrlimit(RLIMIT_FSIZE, &full);
            const int result = config.SaveConfiguration(nullptr);
            ::setrlimit(RLIMIT_FSIZE, &unlimited);
            QVERIFY(result < 0);
        }
        setText(config, SCANOPT_EXTENSIONS, std::string(1023, 'a')); // no line can hold it
        QVERIFY(config.SaveConfiguration(nullptr) < 0);
        QVERIFY(config.SaveConfiguration(path("none/a.conf").c_str()) < 0);
        QVERIFY(ScanConfig(nullptr).ReadConfiguration(nullptr) < 0);
        QVERIFY(ScanConfig(nullptr).SaveConfiguration(nullptr) < 0);
        QCOMPARE(read(), old);
        QCOMPARE(files(), QStringList{"a.conf"});
    }

    void oldSignaturesAlert()
    {
        ScanConfig config(nullptr);
        setTo<unsigned>(config, SCANOPT_ALERTDAYS, 3);
        const auto alert = [&](double days) {
            const std::time_t then = std::time(nullptr) - static_cast<std::time_t>(days * 86400);
            return config.MakeAlert(*std::localtime(&then));
        };
        QVERIFY(!alert(2.99) && alert(3.01) && !alert(-400));
        setTo<unsigned char>(config, SCANOPT_ALERT, 0);
        QVERIFY(!alert(400));
    }

    void engineSettingsStayWithinTheirRanges()
    {
        write("[path]\nLocalSocketPath = relative\nAVSpidPATH = /run/pid\nSignaturePath = " +
              dir_->path().toUtf8() +
              "\nSystemSignaturePath = /sys/sig\n[Limits]\nMaxScanMB = 99999999999999999999\n"
              "Workers = 3\nMaxFiles = x\n[Service]\nIdleMinutes = 0\n");
        const vardo::EngineSettings settings = vardo::loadEngineSettings(path().c_str(), path().c_str());
        QCOMPARE(settings.service.socket, "/run/vardo/qsav");
        QCOMPARE(settings.service.pidFile, "/run/pid");
        QCOMPARE(settings.service.idleMinutes, 1u);
        QCOMPARE(settings.limits.maxScanSize, 16000ull << 20);
        QCOMPARE(settings.limits.maxFiles, 100000u);
        QCOMPARE(settings.limits.workers, 3u);
        QCOMPARE(settings.service.signatureDirs, std::vector{dir_->path().toStdString()});
        QCOMPARE(settings.service.substituteDir, "/sys/sig");
    }

    /// A group may write the settings, and must not have root use paths that it may not write itself: not by
    /// writing them, and not by moving a file of root's there, such as a log, or a link to one.
    void rootPutsFilesWhereRootSays()
    {
        struct Case
        {
            uid_t directory, owner;
            gid_t group;
            mode_t mode;
            bool link, counts;
        };
        for (const Case& now : {Case{0, 0, 1234, 0644, false, true},
                                {0, 0, 0, 0666, false, false},
                                {0, 1234, 0, 0644, false, false},
                                {1234, 0, 0, 0644, false, true},
                                {1234, 0, 1234, 0644, false, false},
                                {1234, 0, 0, 0644, true, false}}) {
            init();
            write(
                "[Scan]\nActionData = /etc/cron.d\n[Log]\nLocation = /etc/cron.d\n[path]\n"
                "QuarantinePath = /etc/cron.d\nLocalSocketPath = /etc/cron.d\nSignaturePath = /etc/cron.d\n",
                "settings");
            QVERIFY(now.link ? ::symlink("settings", path().c_str()) == 0
                             : ::rename(path("settings").c_str(), path().c_str()) == 0);
            QCOMPARE(::chmod(path().c_str(), now.mode), 0);
            QCOMPARE(::chown(path().c_str(), now.owner, now.group), 0);
            QCOMPARE(::chown(path("").c_str(), now.directory, 0), 0);
            const auto expected = [counts = now.counts](const char* usual) {
                return counts ? "/etc/cron.d" : usual;
            };
            ScanConfig config(path().c_str());
            QCOMPARE(config.ReadConfiguration(nullptr), 0);
            QCOMPARE(textOf(config, SCANOPT_ACTDATA), expected("/var/Quillstone/var/quarantine/vardo"));
            QCOMPARE(textOf(config, SCANOPT_LOGLOCATION), expected("/var/Quillstone/var/log"));
            const auto settings = vardo::loadEngineSettings(path().c_str(), path().c_str());
            QCOMPARE(settings.quarantineDir, expected("/var/Quillstone/var/quarantine/vardo"));
            QCOMPARE(settings.service.socket, expected("/run/vardo/qsav"));
            QCOMPARE(settings.service.signatureDirs.front(), expected("/var/Quillstone/var/lib/signatures"));
            QCOMPARE(settings.refused.size(), now.counts ? 0u : 5u);
        }
    }

    /// Where the group may not write, either, and root has let logs go before.
    void rootsOwnLogLocationOutlastsASave()
    {
        for (const uid_t owner : {0u, 1234u}) {
            init();
            write("[Log]\nLocation = " + QFile::encodeName(dir_->filePath("logs")));
            QVERIFY(QDir(dir_->path()).mkpath("logs/vardo"));
            QCOMPARE(::chown(path("logs").c_str(), owner, 0) | ::chown(path().c_str(), 1234, 1234), 0);
            ScanConfig config(path().c_str());
            QCOMPARE(config.ReadConfiguration(nullptr), 0);
            QCOMPARE(textOf(config, SCANOPT_LOGLOCATION), "/var/Quillstone/var/log");
            QCOMPARE(setText(config, SCANOPT_LOGLOCATION, path("logs")), 0);
            QCOMPARE(config.SaveConfiguration(nullptr), 0);
            QCOMPARE(config.ReadConfiguration(nullptr), 0);
            QCOMPARE(textOf(config, SCANOPT_LOGLOCATION), owner ? "/var/Quillstone/var/log" : path("logs"));
        }
    }

    void updateSettingsSurviveTheFile()
    {
        write("# kept\n#*END\n[Update]\nServer = mirror\nTimeOut = 3\n");
        vUpdate saved(nullptr, path().c_str());
        vUpdate again(nullptr, path().c_str());
        QVERIFY(saved.ReadConfiguration(vUpdateConf::PathConf, nullptr) < 0);
        QCOMPARE(saved.ReadConfiguration(vUpdateConf::UpdateConf, nullptr), 0);
        const auto bytes = {std::pair(UPDOPT_USEPROXY, 1), {UPDOPT_PROXYAUTH, 1},    {UPDOPT_USEHTTPS, 1},
                            {UPDOPT_TIMEOUT, 90},          {UPDOPT_NOOFRETRY, 5},    {UPDOPT_AUTOUPDATE, 0},
                            {UPDOPT_UPDATEHOUR, 23},       {UPDOPT_UPDATEMINUTE, 59}};
        for (const auto& [id, number] : bytes) {
            auto byte = static_cast<unsigned char>(number);
            QCOMPARE(saved.SetOption(id, &byte), 0);
        }
        char text[2048] = "p\"(#1 $(HOME) \\ ;";
        const std::string password = text;
        QCOMPARE(saved.SetOption(UPDOPT_PROXYPASS, text), 0);
        unsigned port = 65535;
        QCOMPARE(saved.SetOption(UPDOPT_PROXYPORT, &port), 0);
        unsigned char hour = 24;
        QVERIFY(saved.SetOption(UPDOPT_UPDATEHOUR, &hour) < 0);
        QVERIFY(saved.SetOption(UPDOPT_PROXYPORT, &++port) < 0);
        QVERIFY(saved.SetOption(UPDOPT_UPDATESERVER, text) < 0);
        QCOMPARE(saved.SaveConfiguration(nullptr), 0);
        QVERIFY(read().startsWith("# kept\n#*END\n"));

        QCOMPARE(again.ReadConfiguration(vUpdateConf::PathConf, path().c_str()), 0);
        QCOMPARE(again.ReadConfiguration(vUpdateConf::UpdateConf, nullptr), 0);
        for (const auto& [id, number] : bytes) {
            unsigned char value = 99;
            QVERIFY(again.GetOption(id, &value) == 0 && value == number);
        }
        QVERIFY(again.GetOption(UPDOPT_PROXYPASS, text) == 0 && text == password);
        QVERIFY(again.GetOption(UPDOPT_UPDATESERVER, text) == 0 && text == std::string_view("mirror"));
        QVERIFY(again.GetOption(UPDOPT_PROXYPORT, &port) == 0 && port == 65535);
    }
};

VARDO_ROOT_TEST_MAIN(TestConfig)
#include "tst_config.moc"
