#include "engine/interface.h"
#include "tests/qsavd/servicehome.h"
#include "tests/qsavd/zipwriter.h"
#include "tests/support/rootmain.h"

#include <QDir>
#include <QTest>

#include <sys/mman.h>
#include <sys/stat.h>

using vardo::SessionOptions;
using vardo::Verdict;

namespace {

constexpr const char* sampleDirectory = "/usr/share/clamav-testfiles";

/// Enough of the marker that compression hides it from a scan that does not unpack.
QByteArray markedText()
{
    return QByteArray(2000, 'x') + ServiceHome::marker();
}

SessionOptions withWorkers(unsigned count)
{
    SessionOptions options;
    options.workers = count;
    return options;
}

} // namespace

/// What the service says about real files.
class TestVerdicts : public QObject
{
    Q_OBJECT

  private slots:
    void initTestCase()
    {
        QFile sample(QString(sampleDirectory) + "/clam.exe");
        if (sample.open(QIODevice::ReadOnly)) {
            const QByteArray content = sample.readAll();
            home_.addSignature("sample.ndb", "Vardo.Sample",
                               content.mid(content.indexOf("CLAMessageBoxA"), 64));
        }
        QVERIFY(home_.start() >= 2);
    }

    void namesInsideArchives()
    {
        const QByteArray inner = ZipWriter::single("report.txt", markedText());
        QCOMPARE(scan(inner).inner, std::string("report.txt"));
        const Verdict nested = scan(ZipWriter::single("inner.zip", QByteArray(2000, ' ') + inner));
        QCOMPARE(nested.status, int(SCANSTAT_INFECTED));
        QCOMPARE(nested.virus, std::string("Vardo.Marker"));
        QVERIFY2(nested.inner.starts_with("inner.zip=>") && nested.inner.ends_with("report.txt"),
                 nested.inner.c_str());
        ZipWriter folders;
        for (const char* folder : {"first", "second", "third"})
            folders.add(folder + QByteArray("/report.txt"), *folder == 's' ? markedText() : "harmless");
        QCOMPARE(scan(folders.finish()).inner, std::string("second/report.txt"));
        // Any byte may stand in a name, and a very long one does no harm.
        QCOMPARE(scan(ZipWriter::single("a\x1b[2J\n\xff.txt", markedText())).inner,
                 std::string("a\x1b[2J\n\xff.txt"));
        QCOMPARE(scan(ZipWriter::single(QByteArray(60000, 'n'), markedText())).status,
                 int(SCANSTAT_INFECTED));
    }

    void everySampleIsFound()
    {
        const QFileInfoList samples = QDir(sampleDirectory).entryInfoList({"clam*"}, QDir::Files);
        QVERIFY2(!samples.isEmpty(), "the package clamav-testfiles, which ./test installs, is missing");
        TestScan scan(home_);
        for (const QFileInfo& sample : samples)
            scan.submit(sample.filePath());
        QVERIFY(scan.waitForAll());
        for (qsizetype i = 0; i < samples.size(); ++i)
            QVERIFY2(scan.verdict(std::size_t(i)).status == SCANSTAT_INFECTED,
                     qPrintable(samples[i].fileName()));
    }

    void encryptedAndBrokenFiles()
    {
        const Verdict locked = scan(ZipWriter::single("secret.txt", QByteArray(500, 's'), true));
        QCOMPARE(locked.status, int(SCANSTAT_ENCRYPTED));
        QCOMPARE(locked.inner, std::string("secret.txt"));

        ZipWriter both;
        both.add("secret.txt", QByteArray(500, 's'), true);
        both.add("open.txt", markedText());
        QCOMPARE(scan(both.finish()).status, int(SCANSTAT_INFECTED)); // a real find goes before

        QFile program(QString(sampleDirectory) + "/clam.ea05.exe");
        QVERIFY(program.open(QIODevice::ReadOnly));
        const QByteArray torn = program.read(5000);
        QCOMPARE(scan(torn).status, int(SCANSTAT_CORRUPT));
        SessionOptions plain;
        plain.heuristics = false;
        QCOMPARE(scan(torn, plain).status, int(SCANSTAT_CLEAN));
    }

    void whatIsNotScannedIsNeverClean()
    {
        constexpr int limit = 1 << 20;
        ZipWriter sum, many;
        for (int i = 0; i < 6; ++i)
            sum.add("part" + QByteArray::number(i), QByteArray(limit - 100, char('a' + i)));
        for (int i = 0; i < 30; ++i)
            many.add("file" + QByteArray::number(i), QByteArray(500, char('a' + i % 26)));
        QByteArray deep = markedText();
        for (int i = 0; i < 8; ++i)
            deep = ZipWriter::single("level" + QByteArray::number(i) + ".zip", deep);
        const std::pair<QByteArray, std::string> files[] = {
            {QByteArray(limit + 1, 'x'), "not scanned: larger than 1 MB"},
            {ZipWriter::single("big", QByteArray(limit + 1, 'x') + markedText()),
             "not wholly scanned: a part is larger than 1 MB"},
            {sum.finish(), "not wholly scanned: holds more than 4 MB"},
            {many.finish(), "not wholly scanned: holds more than 20 files"},
            {deep, "not wholly scanned: nested deeper than 5 levels"},
        };
        SessionOptions options = withWorkers(1);
        options.maxFileSize = limit;
        options.maxScanSize = 4 * limit;
        options.maxFiles = 20;
        options.maxRecursion = 5;
        for (const auto& [content, remark] : files) {
            const Verdict verdict = scan(content, options);
            QCOMPARE(verdict.remark, remark);
            QCOMPARE(verdict.status, int(SCANSTAT_ERROR));
        }
    }

    /// The library does not say so of a small mail.
    void noRoomToUnpackIsNotClean()
    {
        const QString mail =
            home_.write("mail", "From: a@example.org\nTo: b@example.org\nSubject: x\n"
                                "MIME-Version: 1.0\nContent-Type: application/octet-stream; "
                                "name=\"x\"\nContent-Transfer-Encoding: base64\n\n" +
                                    (QByteArray(3000, 'x') + markedText()).toBase64() + "\n");
        QCOMPARE(scanOne(home_, mail).status, int(SCANSTAT_INFECTED));
        ServiceHome narrow;
        QProcess service;
        narrow.startIn(service, {"--room-kilobytes", "4"});
        QVERIFY(narrow.start() > 0);
        const Verdict verdict = scanOne(narrow, mail);
        QCOMPARE(verdict.status, int(SCANSTAT_ERROR));
        QVERIFY2(verdict.remark.starts_with("not wholly scanned: it cannot be unpacked"),
                 verdict.remark.c_str());
        QCOMPARE(scanOne(narrow, narrow.write("bad", ServiceHome::marker())).status, int(SCANSTAT_INFECTED));
    }

    void bombsEndInTime()
    {
        QByteArray level = QByteArray(8 << 20, '\0');
        for (int i = 0; i < 4; ++i) {
            ZipWriter zip;
            for (int copy = 0; copy < 10; ++copy)
                zip.add(QByteArray::number(copy) + ".zip", level);
            level = zip.finish();
        }
        SessionOptions options = withWorkers(1);
        options.maxSeconds = 1;
        options.maxScanSize = 16ull << 30;
        options.maxFiles = 1000000;
        QElapsedTimer timer;
        timer.start();
        const Verdict verdict = scan(level, options);
        QCOMPARE(verdict.status, int(SCANSTAT_ERROR));
        QVERIFY2(verdict.remark.ends_with("took longer than 1 s"), verdict.remark.c_str());
        QVERIFY(timer.elapsed() < 20000);
    }

    void onlyRegularFiles()
    {
        const QString fifo = home_.path("fifo");
        QCOMPARE(mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
        TestScan scan(home_, withWorkers(1));
        scan.submit(fifo);
        scan.submit(home_.path(""));
        scan.submit(QString("/dev/null"));
        scan.submit(base::UniqueFd()); // not open at all
        scan.submit(QString("/proc/self/status"));
        base::UniqueFd memory(memfd_create("marked", MFD_CLOEXEC));
        const QByteArray text = markedText();
        QCOMPARE(write(memory.get(), text.constData(), std::size_t(text.size())), text.size());
        scan.submit(std::move(memory), quint64(text.size()));
        QVERIFY(scan.waitForAll());
        for (std::size_t i = 0; i < 5; ++i) {
            QCOMPARE(scan.verdict(i).status, int(SCANSTAT_ERROR));
            QVERIFY2(scan.verdict(i).remark.starts_with("not scanned: "), scan.verdict(i).remark.c_str());
        }
        QCOMPARE(scan.verdict(5).status, int(SCANSTAT_INFECTED)); // copied memory is scanned like a file
    }

    void changingFileIsNotClean()
    {
        const QString path = home_.write("growing", QByteArray(4 << 20, 'x'));
        std::atomic<bool> stop = false;
        std::thread writer([&] {
            for (qint64 size = 4 << 20; !stop; ++size)
                if (truncate(QFile::encodeName(path).constData(), size) != 0)
                    break;
        });
        const Verdict verdict = scanOne(home_, path, withWorkers(1));
        stop = true;
        writer.join();
        QCOMPARE(verdict.status, int(SCANSTAT_ERROR));
        QCOMPARE(verdict.remark, std::string("changed while it was scanned"));
    }

  private:
    Verdict scan(const QByteArray& content, const SessionOptions& options = withWorkers(1)) const
    {
        return scanOne(home_, home_.write("sample", content), options);
    }

    ServiceHome home_;
};

VARDO_ROOT_TEST_MAIN(TestVerdicts)
#include "tst_verdicts.moc"
