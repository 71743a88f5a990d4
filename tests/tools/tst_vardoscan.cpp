#include "tests/qsavd/servicehome.h"
#include "tests/qsavd/zipwriter.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using Bytes = QByteArray;
using Lines = QList<QByteArray>;

namespace {

constexpr const char* sampleDirectory = "/usr/share/clamav-testfiles";
constexpr uid_t ordinaryUser = 54322; // that nothing else runs as

struct Outcome
{
    int code = -1;
    Bytes out;
    Bytes err;

    /// The lines that tell of objects, sorted, `tree` cut off their names.
    Lines objects(const Bytes& tree) const
    {
        Lines found = Bytes(out).replace(tree + "/", "").split('\n');
        found = found.mid(0, found.indexOf(""));
        std::sort(found.begin(), found.end());
        return found;
    }
    /// Each line, which must be an object of JSON.
    QList<QJsonObject> objectsOfJson() const
    {
        QList<QJsonObject> objects;
        for (const Bytes& line : out.chopped(1).split('\n')) {
            objects.append(QJsonDocument::fromJson(line).object());
            if (objects.last().isEmpty())
                QTest::qFail(line.constData(), __FILE__, __LINE__);
        }
        return objects;
    }
};

Outcome wait(QProcess& process)
{
    if (!process.waitForFinished(60000))
        process.kill();
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            process.readAllStandardOutput(), process.readAllStandardError()};
}

bool printable(const Bytes& text)
{
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return c == '\n' || static_cast<unsigned char>(c) >= 0x20; });
}

Bytes mailWith(const Bytes& content)
{
    return "From: a@example.org\r\nTo: b@example.org\r\nSubject: x\r\nMIME-Version: 1.0\r\n"
           "Content-Type: application/octet-stream; name=\"x.bin\"\r\n"
           "Content-Transfer-Encoding: base64\r\n\r\n" +
           content.toBase64() + "\r\n";
}

/// How many of the first pages of a file are in memory.
int pagesInMemory(const Bytes& path)
{
    constexpr std::size_t count = 64;
    const auto length = count * std::size_t(::sysconf(_SC_PAGESIZE));
    const base::UniqueFd file(::open(path.constData(), O_RDONLY | O_CLOEXEC));
    void* const mapped = ::mmap(nullptr, length, PROT_READ, MAP_PRIVATE, file.get(), 0);
    unsigned char pages[count] = {};
    if (mapped == MAP_FAILED || ::mincore(mapped, length, pages) != 0)
        qFatal("cannot look at %s", path.constData());
    ::munmap(mapped, length);
    return int(std::count_if(pages, pages + count, [](unsigned char page) { return page & 1; }));
}

/// A service's home with a directory of files to scan.
class Place
{
  public:
    Place()
    {
        for (const char* directory : {"tree", "logs"})
            QDir(home.path("")).mkdir(directory);
        avConf = home.writeConfiguration();
        scanConf = home.path("vardo.conf");
        configure("");
    }
    /// Names that are not UTF-8 are beyond Qt.
    ~Place() { std::filesystem::remove_all(tree().toStdString()); }

    void configure(const Bytes& settings) const
    {
        home.write("vardo.conf", "[Log]\nLocation=" + QFile::encodeName(home.path("logs")) +
                                     "\n[Scan]\nActionData=" + QFile::encodeName(home.path("quarantine")) +
                                     "\n" + settings);
    }
    /// The one scan log below `location`, which goes; the names in it without the tree's.
    Bytes takeLog(const QString& location = "logs") const
    {
        QDir directory(home.path(location + "/vardo"));
        const QStringList logs = directory.entryList(QDir::Files);
        QFile log(directory.filePath(logs.value(0)));
        const Bytes text = logs.size() == 1 && log.open(QIODevice::ReadOnly) ? log.readAll() : Bytes();
        log.remove();
        return Bytes(text).replace(tree(), "TREE");
    }

    Bytes tree() const { return QFile::encodeName(home.path("tree")); }
    void write(const Bytes& name, const Bytes& content) const
    {
        std::ofstream file((tree() + "/" + name).toStdString());
        if (!(file << content.toStdString() << std::flush))
            qFatal("cannot write %s", name.constData());
    }
    /// Names whose lines do not fit into a pipe.
    void writeMany() const
    {
        for (int i = 0; i < many; ++i)
            write("a file with quite a long name " + Bytes::number(i), "harmless");
    }
    static constexpr int many = 3000;

    QStringList arguments(const QStringList& more) const
    {
        return QStringList{"--engine-config=" + avConf, "--config=" + scanConf} + more;
    }
    /// In `text` "%" stands for the home.
    QStringList options(const char* text = QTest::currentDataTag()) const
    {
        return QString(text).replace('%', home.path("")).split(' ', Qt::SkipEmptyParts);
    }
    /// Runs with `options`, on the tree unless `whole` says that they name what to scan.
    Outcome run(const QStringList& options = {}, bool whole = false) const
    {
        QProcess process;
        process.start(VARDOSCAN,
                      arguments(options) + (whole ? QStringList() : QStringList{home.path("tree")}));
        return wait(process);
    }

    ServiceHome home;
    QString avConf;
    QString scanConf;
};

} // namespace

class TestVardoscan : public QObject
{
    Q_OBJECT

  private slots:
    void tellsWhatItFinds()
    {
        Place place;
        place.write("a clean one", "harmless");
        QCOMPARE(place.run().code, 0);
        place.write("bad", ServiceHome::testFile());
        place.write("c.zip", ZipWriter::single("letter.txt", ServiceHome::marker()));
        const Bytes tree = place.tree();
        const Bytes summary = "\nScanned directories  1\nScanned objects      3\nClean objects        1\n"
                              "Infected objects     2\nTime ";
        const Bytes found = tree + "/bad INFECTED [Vardo-Test-File]\n" + tree +
                            "/c.zip=>letter.txt INFECTED [Vardo.Marker]\n";
        const Outcome outcome = place.run();
        QCOMPARE(outcome.code, 1);
        QVERIFY2(outcome.out.startsWith(found + summary), outcome.out.constData());
        QCOMPARE(outcome.err, Bytes()); // no progress without a terminal
        const Outcome all = place.run({"--all"});
        QVERIFY2(all.out.startsWith(tree + "/a clean one CLEAN\n" + found + summary), all.out.constData());
        const Outcome quiet = place.run({"--quiet"});
        QCOMPARE(quiet.code, 1);
        QCOMPARE(quiet.out + quiet.err, Bytes());
    }

    void tellsWhatItCannotScan()
    {
        Place place;
        place.write("clean", "harmless");
        place.write("bad", ServiceHome::marker());
        const QString missing = place.home.path("missing\x1b[2J");
        const Outcome some = place.run({"--log-level=all", missing, place.home.path("tree/clean")}, true);
        QCOMPARE(some.code, 2);
        QVERIFY(some.out.contains("Scanned objects      1\n"));
        QVERIFY(some.err.contains("missing\\x1B[2J: No such file or directory"));
        const Bytes log = place.takeLog();
        QVERIFY2(log.contains("missing\\x1b[2J ERROR (") && log.contains("\nTREE/clean CLEAN\n"),
                 log.constData());
        QCOMPARE(place.run({missing, place.home.path("tree/bad")}, true).code, 1);
        QCOMPARE(place.run({"--log", missing}, true).code, 2);
        QVERIFY(place.takeLog().contains("\n\nSCAN ERROR: "));
        QCOMPARE(place.run({"/dev/null"}, true).code, 2);
    }

    void wrongUse()
    {
        const std::pair<const char*, const char*> rows[] = {
            {"", "nothing to scan"},
            {"--sacn /", "unknown option: --sacn"},
            {"--action=prompt /", "--action: prompt (should be log, delete, rename or quarantine)"},
            {"--max-size=18014398509481984K /", "--max-size"}, // overflows
            {"--max-depth=256 /", "--max-depth: 256 (should be a number from 0 to 255)"},
            {"--include=a --exclude=b /", "together"},
            {"--rename-extension=../x /", "--rename-extension"},
            {"--log=here /", "--log: here"},
            {"--memory /", "no paths"},
            {"--config=/nonexistent /", "/nonexistent"},
        };
        for (const auto& [arguments, says] : rows) {
            QProcess process;
            process.start(VARDOSCAN, QString(arguments).split(' ', Qt::SkipEmptyParts));
            const Outcome outcome = wait(process);
            QCOMPARE(outcome.code, 2);
            QCOMPARE(outcome.out, Bytes());
            QVERIFY2(outcome.err.startsWith("vardoscan: ") && outcome.err.contains(says), arguments);
        }
    }

    void failuresAreToldAndLogged()
    {
        Place place;
        place.write("clean", "harmless");
        const Outcome unlogged = place.run({"--log=/proc"});
        QCOMPARE(unlogged.code, 2);
        QCOMPARE(unlogged.err, Bytes("vardoscan: cannot write a scan log below /proc\n"));
        QVERIFY(unlogged.out.contains("Clean objects        1\n")); // but scanned it is
        QVERIFY(QDir(place.home.path("signatures")).removeRecursively());
        QTRY_COMPARE(place.run().code, 2); // once the service has noticed
        const Outcome outcome = place.run({"--log"});
        QCOMPARE(outcome.code, 2);
        QCOMPARE(outcome.out, Bytes());
        QVERIFY(outcome.err.startsWith("vardoscan: "));
        const Bytes log = place.takeLog();
        QVERIFY2(log.endsWith("\n\nSCAN ERROR: " + outcome.err.mid(11)), log.constData());
    }

    /// Neither may pass for whole, even though something was found.
    void whatCannotBeWritten()
    {
        Place place;
        place.write("bad", ServiceHome::marker());
        for (const bool log : {false, true}) {
            QProcess process;
            if (!log)
                process.setStandardOutputFile("/dev/full");
            process.setChildProcessModifier([] {
                constexpr rlimit little{700, 700};
                ::setrlimit(RLIMIT_FSIZE, &little);
                ::signal(SIGXFSZ, SIG_IGN);
            });
            process.start(VARDOSCAN, place.arguments({log ? "--log" : "--all", place.home.path("tree")}));
            const Outcome outcome = wait(process);
            QCOMPARE(outcome.code, 2);
            QVERIFY2(outcome.err.startsWith(log ? "vardoscan: the scan log is not whole: File too large\n"
                                                : "vardoscan: cannot write the output"),
                     outcome.err.constData());
        }
    }

    void damagedSignaturesAreTold()
    {
        Place place;
        place.write("clean", "harmless");
        place.home.write("signatures/main.cvd", Bytes(600, 'c'));
        const Bytes told = QFile::encodeName(place.home.path("signatures/main.cvd")) + " was left out: ";
        const Outcome outcome = place.run({"--json", "--log"});
        QCOMPARE(outcome.code, 2);
        QVERIFY2(outcome.err.startsWith("vardoscan: " + told), outcome.err.constData());
        QVERIFY(outcome.objectsOfJson().last()["signatures_left_out"].toString().startsWith(told));
        const Bytes log = place.takeLog();
        QVERIFY2(log.contains("\nSIGNATURES: " + told), log.constData());
        place.write("bad", ServiceHome::marker());
        QCOMPARE(place.run().code, 1);
    }

    void logs_data()
    {
        QTest::addColumn<QString>("location");
        QTest::addColumn<Bytes>("text"); // behind the switches
        const Bytes found = "TREE/b.zip=>in INFECTED [Vardo.Marker]\n";
        const Bytes all = "Scanning directory TREE\nTREE/a CLEAN\n";
        QTest::newRow("--log") << "logs"
                               << "Scan action\t\t\t: Log only\nLog level\t\t\t: 3\n\n" + all + found;
        QTest::newRow("--log-level=infected --log=%/else")
            << "else"
            << "Scan action\t\t\t: Log only\nLog level\t\t\t: 2\n\n" + found;
        QTest::newRow("--log --action=rename --rename-extension=vir")
            << "logs"
            << "Scan action\t\t\t: Rename\nRename path\t\t\t: vir\nLog level\t\t\t: 3\n\n" + all +
                   "TREE/b.zip RENAMED [Vardo.Marker] (now named b.zip.vir; found in in)\n";
    }

    /// As the window does, whose tests have the whole text.
    void logs()
    {
        QFETCH(QString, location);
        QFETCH(Bytes, text);
        Place place;
        QDir(place.home.path("")).mkdir("else");
        place.configure("[Log]\nLevel=all\n");
        place.write("a", "harmless");
        place.write("b.zip", ZipWriter::single("in", ServiceHome::marker()));
        QCOMPARE(place.run(place.options() + QStringList{"--quiet"}).out, Bytes());
        const Bytes log = place.takeLog(location);
        const Bytes statistics = "--------------------Scan Statistics--------------------\n"
                                 "Scanned directories\t\t1\n"
                                 "Scanned objects\t\t\t2\n";
        QVERIFY2(log.startsWith("*****") && log.endsWith("-----\n"), log.constData());
        QVERIFY2(log.contains("Cross file system\t\t: No\n" + text + statistics), log.constData());
    }

    void jsonCarriesAnyName()
    {
        Lines names{"\x01\x1b]0;title\x07", "\"quoted\"",   "back\\slash",    "line\nfeed",
                    "\xc2\x9b 31m",         "\xed\xa0\x80", "\xff\xfe broken"};
        Place place;
        for (const Bytes& name : names)
            place.write(name, ServiceHome::marker());
        const Outcome outcome = place.run({"--json"});
        QCOMPARE(outcome.code, 1);
        QVERIFY(printable(outcome.out));
        QList<QJsonObject> objects = outcome.objectsOfJson();
        const QJsonObject summary = objects.takeLast();
        Lines found;
        for (const QJsonObject& object : objects) {
            QCOMPARE(object["type"].toString() + object["status"].toString() + object["virus"].toString(),
                     "fileINFECTEDVardo.Marker");
            const Bytes name = object.contains("name_bytes")
                                   ? Bytes::fromHex(object["name_bytes"].toString().toLatin1())
                                   : object["name"].toString().toUtf8();
            found.append(name.mid(place.tree().size() + 1));
        }
        std::sort(names.begin(), names.end());
        QCOMPARE(found, names);
        QCOMPARE(summary["type"].toString(), QString("summary"));
        QCOMPARE(summary["complete"], QJsonValue(true));
        QCOMPARE(summary["infected"].toInt(), int(names.size()));
    }

    void namesCannotSteerTheTerminal()
    {
        Place place;
        place.write("\x1b]0;owned\x07\r\xc2\x9b"
                    "2J\xe2\x80\xae\xff x",
                    ServiceHome::marker());
        place.write("inner.zip", ZipWriter::single("\x1b[2J\nz", ServiceHome::marker()));

        const base::UniqueFd terminal(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
        QVERIFY(terminal && ::grantpt(terminal.get()) == 0 && ::unlockpt(terminal.get()) == 0);
        QProcess process;
        process.setStandardErrorFile(::ptsname(terminal.get()));
        process.start(VARDOSCAN, place.arguments({place.home.path("tree")}));
        QVERIFY(process.waitForStarted());
        const base::UniqueFd held(::open(::ptsname(terminal.get()), O_RDWR | O_NOCTTY | O_CLOEXEC));
        const Outcome outcome = wait(process);
        Bytes progress(65536, '\0');
        progress.resize(
            std::max<ssize_t>(::read(terminal.get(), progress.data(), std::size_t(progress.size())), 0));

        QCOMPARE(outcome.code, 1);
        const Bytes name = place.tree() + "/\\x1B]0;owned\\x07\\x0D\\xC2\\x9B2J\\xE2\\x80\\xAE\\xFF x";
        QVERIFY2(outcome.out.contains(name + " INFECTED"), outcome.out.constData());
        QVERIFY2(outcome.out.contains("inner.zip=>\\x1B[2J\\x0Az INFECTED"), outcome.out.constData());
        QVERIFY(printable(outcome.out));
        QVERIFY(progress.contains(" objects, "));
        QVERIFY(progress.endsWith("\r\x1b[K")); // and leaves a clean line
        QVERIFY(printable(progress.replace("\r\x1b[K", "")));
    }

    void actions()
    {
        const char* rows[][3] = {
            // options, status, where the file is then
            {"--action=log", "INFECTED", "tree/bad"},
            {"--action=delete", "DELETED", ""},
            {"--action=rename", "RENAMED", "tree/bad.qst"},
            {"--action=quarantine", "QUARANTINED", "quarantine/bad"},
            {"--action=quarantine --quarantine-dir=%/jail", "QUARANTINED", "jail/bad"},
        };
        for (const auto& [options, word, now] : rows) {
            Place place;
            place.write("bad", ServiceHome::marker());
            const Outcome outcome = place.run(place.options(options));
            QCOMPARE(outcome.code, 1);
            QVERIFY2(outcome.out.startsWith(place.tree() + "/bad " + word + " [Vardo.Marker]"), options);
            QCOMPARE(QFile::exists(place.home.path("tree/bad")), now == Bytes("tree/bad"));
            QVERIFY2(QFile::exists(place.home.path(now)), options);
        }
    }

    void neverTheConfiguredAction()
    {
        Place place;
        place.configure("Action=delete\nScanArchives=no\n");
        place.write("bad", ServiceHome::marker());
        place.write("c.zip", ZipWriter::single("letter.txt", Bytes(2000, 'x') + ServiceHome::marker()));
        QCOMPARE(place.run().objects(place.tree()), Lines{"bad INFECTED [Vardo.Marker]"});
        QCOMPARE(place.run({"--archives"}).objects(place.tree()).size(), 2); // while the rest of it counts
        QVERIFY(QFile::exists(place.home.path("tree/bad")));
        // Its extensions give way to those that are asked for.
        place.configure("OnlyExtensions=yes\nExtensions=zip\n");
        QCOMPARE(place.run({"--exclude=zip"}).objects(place.tree()), Lines{"bad INFECTED [Vardo.Marker]"});
    }

    void switches_data()
    {
        QTest::addColumn<Bytes>("found");
        const std::pair<const char*, const char*> rows[] = {
            {"", "a.exe b.zip=>in c.eml=>x.bin dir/d.txt"},
            {"--no-archives", "a.exe c.eml=>x.bin dir/d.txt"},
            {"--no-mails", "a.exe b.zip=>in dir/d.txt"},
            {"--no-archives --no-mails --archives", "a.exe b.zip=>in dir/d.txt"}, // the later one holds
            {"--no-recursive", "a.exe b.zip=>in c.eml=>x.bin"},
            {"--max-depth=0", "a.exe b.zip=>in c.eml=>x.bin"},
            {"--include=exe --include=txt", "a.exe dir/d.txt"},
            {"--exclude=exe,zip", "c.eml=>x.bin dir/d.txt"},
            {"--exclude-dir=%/tree/dir", "a.exe b.zip=>in c.eml=>x.bin"},
            {"--max-size=1K --no-mails", "a.exe b.zip=>in"},
            {"--follow-links --include=out", "link/e.out"},
        };
        for (const auto& [options, found] : rows)
            QTest::newRow(options) << Bytes(found);
    }

    void switches()
    {
        QFETCH(Bytes, found);
        Place place;
        const Bytes marked = Bytes(2000, 'x') + ServiceHome::marker();
        QVERIFY(QDir(place.home.path("")).mkpath("tree/dir") && QDir(place.home.path("")).mkdir("outside"));
        place.write("a.exe", ServiceHome::marker());
        place.write("b.zip", ZipWriter::single("in", marked));
        place.write("c.eml", mailWith(marked));
        place.write("dir/d.txt", marked);
        place.write("../outside/e.out", ServiceHome::marker());
        QVERIFY(QFile::link("../outside", place.home.path("tree/link")));
        QVERIFY(QFile::link("..", place.home.path("tree/dir/loop")));
        Lines lines;
        for (const Bytes& name : found.split(' '))
            lines.append(name + " INFECTED [Vardo.Marker]");
        QCOMPARE(place.run(place.options()).objects(place.tree()), lines);
    }

    /// As one who calls it with nice, ionice and taskset expects, though others do the reading.
    void standsBackLikeItsCaller()
    {
        Place place;
        QVERIFY(place.home.start() > 0);
        place.writeMany(); // output that nobody takes away holds the scan up
        const QTemporaryDir disk(QDir::currentPath() + "/XXXXXX"); // since /tmp may be memory
        const Bytes names[] = {QFile::encodeName(disk.filePath("read")),
                               QFile::encodeName(disk.filePath("unread"))};
        for (const Bytes& name : names) {
            std::ofstream(name.constData()) << std::string(300000, 'x') << std::flush;
            const base::UniqueFd file(::open(name.constData(), O_RDONLY | O_CLOEXEC));
            QVERIFY(::fsync(file.get()) == 0 && ::posix_fadvise(file.get(), 0, 0, POSIX_FADV_DONTNEED) == 0);
        }
        std::ifstream(names[0].constData()).ignore(300000);
        QCOMPARE(pagesInMemory(names[0]), 64);
        QCOMPARE(pagesInMemory(names[1]), 0);

        QProcess process;
        process.start("nice", QStringList{"-n", "7", "ionice", "-c", "3", "taskset", "-c", "0", VARDOSCAN} +
                                  place.arguments({"--all", disk.path(), place.home.path("tree")}));
        QVERIFY(process.waitForReadyRead());
        QCOMPARE(pagesInMemory(names[0]), 64);
        QCOMPARE(pagesInMemory(names[1]), 0);
        const QList<pid_t> workers = place.home.workers();
        QCOMPARE(workers.size(), 1);
        QCOMPARE(::getpriority(PRIO_PROCESS, id_t(workers.front())), 7);
        QProcess ionice;
        ionice.start("ionice", {"-p", QString::number(workers.front())});
        QVERIFY(wait(ionice).out.startsWith("idle"));
        QCOMPARE(::getpriority(PRIO_PROCESS, id_t(place.home.pid())), 0); // the next one's are not held back
        process.terminate();
        QCOMPARE(wait(process).code, 2);
    }

    void stops_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("while the service loads") << SIGINT;
        QTest::newRow("in the middle") << SIGTERM;
    }

    void stops()
    {
        QFETCH(int, signal);
        const bool loading = signal == SIGINT;
        Place place;
        place.writeMany();
        QVERIFY(place.home.start() > 0);
        if (loading)
            ::kill(place.home.pid(), SIGSTOP);
        QProcess process;
        process.start(VARDOSCAN, place.arguments({"--log", "--all", "--json", place.home.path("tree")}));
        QVERIFY(process.waitForStarted());
        // Output that nobody takes away holds the scan up.
        QVERIFY(loading || process.waitForReadyRead());
        QTRY_VERIFY(!QDir(place.home.path("logs/vardo")).isEmpty()); // it knows what to do with signals
        ::kill(pid_t(process.processId()), signal);
        const Outcome outcome = wait(process);
        ::kill(place.home.pid(), SIGCONT);
        QCOMPARE(outcome.code, 2);
        QVERIFY(place.takeLog().endsWith("\nScan cancelled before completion\n"));
        if (loading) {
            QCOMPARE(outcome.err, Bytes("vardoscan: interrupted\n"));
            return;
        }
        const QList<QJsonObject> objects = outcome.objectsOfJson();
        QCOMPARE(objects.last()["complete"], QJsonValue(false));
        QVERIFY(objects.size() > 1 && objects.size() < Place::many);
    }

    void stopsWhenNobodyReads()
    {
        Place place;
        place.writeMany();
        QProcess process;
        QProcess reader;
        process.setStandardOutputProcess(&reader);
        process.start(VARDOSCAN, place.arguments({"--log", "--all", place.home.path("tree")}));
        reader.start("head", {"-n", "1"});
        QCOMPARE(wait(process).code, 2);
        QVERIFY(place.takeLog().endsWith("\nScan cancelled before completion\n"));
        QVERIFY(reader.waitForFinished());
    }

    void findsWithTheShippedSignatures()
    {
        Place place;
        place.home.paths().signatureDirs = {SIGNATURES};
        place.home.writeConfiguration();
        const Bytes test = ServiceHome::testFile();
        place.write("plain", test);
        place.write("twice.zip", ZipWriter::single("in.zip", ZipWriter::single("test.com", test)));
        place.write("mail.eml", mailWith(test));
        place.write("document", "They agreed on the string " + test + " for tests.\n");
        const Bytes found = " INFECTED [Eicar-Test-Signature]";
        QCOMPARE(place.run().objects(place.tree()),
                 (Lines{"mail.eml=>x.bin" + found, "plain" + found, "twice.zip=>in.zip=>test.com" + found}));

        const QStringList samples = QDir(sampleDirectory).entryList(QDir::Files);
        if (samples.isEmpty())
            QSKIP("the package clamav-testfiles is not installed");
        const Bytes out = place.run({sampleDirectory}, true).out;
        for (const QString& sample : samples) {
            const Bytes name = QFile::encodeName("/" + sample);
            QCOMPARE(out.count(name + " INFECTED [") + out.count(name + "=>"), 1);
        }
    }

    /// Files and processes of an ordinary user, whose service is none of root's.
    void servesOrdinaryUsers()
    {
        Place place;
        place.write("bad", ServiceHome::marker());
        place.write("secret", ServiceHome::marker());
        // A copy of the product in a place that the user can reach.
        const QList<std::pair<QString, QString>> copies{{VARDOSCAN, "usr/bin/vardoscan"},
                                                        {LIBVARDO, "usr/lib/libvardo.so"},
                                                        {QSAVD, "sbin/qsavd"},
                                                        {"/bin/sleep", "tree/running"}};
        for (const auto& [from, to] : copies) {
            QVERIFY(QDir(place.home.path("")).mkpath(QFileInfo(to).path()));
            QVERIFY(QFile::copy(QFileInfo(from).canonicalFilePath(), place.home.path(to)));
        }
        QFile program(place.home.path("tree/running"));
        QVERIFY(program.open(QIODevice::Append) && program.write(ServiceHome::marker()) > 0);
        program.close();
        QStringList become;
        if (::geteuid() == 0) {
            const QString user = QString::number(ordinaryUser);
            become = QStringList{"/usr/bin/setpriv", "--reuid", user, "--regid", user, "--clear-groups"};
            QProcess chown;
            chown.start("chown", {"-R", user + ":" + user, place.home.path("")});
            QCOMPARE(wait(chown).code, 0);
        }
        QVERIFY(QFile::setPermissions(place.home.path("tree/secret"), {}));
        const auto start = [&become](QProcess& process, QStringList command) {
            command = become + command;
            process.start(command.takeFirst(), command);
        };
        const auto run = [&](const QStringList& arguments) {
            QProcess process;
            start(process, QStringList(place.home.path("usr/bin/vardoscan")) + place.arguments(arguments));
            return wait(process);
        };
        const Outcome files = run({place.home.path("tree")});
        QCOMPARE(files.err, Bytes());
        QCOMPARE(files.objects(place.tree()),
                 (Lines{"bad INFECTED [Vardo.Marker]", "running INFECTED [Vardo.Marker]",
                        "secret ERROR (Permission denied)"}));
        QCOMPARE(files.code, 1);

        QProcess victim;
        start(victim, {place.home.path("tree/running"), "60"});
        QVERIFY(victim.waitForStarted());
        const QString link = QString("/proc/%1/exe").arg(victim.processId());
        QTRY_COMPARE(QFile::symLinkTarget(link), place.home.path("tree/running"));
        const Bytes name = Bytes::number(victim.processId()) + " " + QFile::encodeName(program.fileName());
        const Outcome memory = run({"--memory", "--log-level=infected", "--action=delete"});
        victim.kill();
        victim.waitForFinished();
        QCOMPARE(memory.code, 1);
        const Bytes line = "PID: " + name + " INFECTED [Vardo.Marker]";
        QVERIFY2(memory.out.contains(line), memory.out.constData());
        const Bytes log = place.takeLog();
        QVERIFY2(log.contains("***\n\nMemory Scan started\n") &&
                     log.contains(Bytes(line).replace(place.tree(), "TREE")) &&
                     log.endsWith("\nMemory scan completed successfully\n"),
                 log.constData());
        QVERIFY(QFile::exists(place.home.path("tree/running"))); // processes are only reported
    }
};

QTEST_GUILESS_MAIN(TestVardoscan)
#include "tst_vardoscan.moc"
