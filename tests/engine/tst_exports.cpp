#include "engine/layout.h"

#include <QtTest>

namespace {

const char* const exported[] = {
    "D Vardo::ScanObjDir",
    "D Vardo::ScanObjFile",
    "D vUpdateConf::PathConf",
    "D vUpdateConf::UpdateConf",
    "T CloseLog()",
    "T GetQSAVInfo(__QS_SystemType, char const*, struct_qsavinfo&)",
    "T LogMe(unsigned char, char const*, ...)",
    "T QS_GetSystemType()",
    "T ScanConfig::GetOption(unsigned int, void*)",
    "T ScanConfig::MakeAlert(char const*)",
    "T ScanConfig::MakeAlert(tm&)",
    "T ScanConfig::ReadConfiguration(char const*)",
    "T ScanConfig::SaveConfiguration(char const*)",
    "T ScanConfig::ScanConfig(char const*) x2",
    "T ScanConfig::SetAction(unsigned int)",
    "T ScanConfig::SetOption(unsigned int, void*)",
    "T ScanConfig::SetScanOption(unsigned int)",
    "T ScanConfig::UnsetScanOption(unsigned int)",
    "T ScanConfig::getConfigFile() const",
    "T ScanConfig::removeConfQoutes()",
    "T ScanConfig::~ScanConfig() x2",
    "T Vardo::AddObject(char const*)",
    "T Vardo::ClearObjects()",
    "T Vardo::DoMemoryScan(int (*)(char const*, int, int, char const*, char const*, void*), void*, bool)",
    "T Vardo::DoScan(int (*)(char const*, int, int, char const*, char const*, void*), void*, int (*)(char "
    "const*, char*))",
    "T Vardo::GetStatistics()",
    "T Vardo::LogInit(char const*, int)",
    "T Vardo::ResetResult()",
    "T Vardo::ScanError()",
    "T Vardo::SetActionData(char const*, char const*, bool)",
    "T Vardo::SetObjectList(__VardoObject*)",
    "T Vardo::Vardo(char const*) x2",
    "T Vardo::VardoAVDeinit(int (*)(char const*, int, int, char const*, char const*, void*))",
    "T Vardo::VardoAVInit(char const*, int (*)(char const*, int, int, char const*, char const*, void*), "
    "bool)",
    "T Vardo::VardoIsAVLoaded()",
    "T Vardo::~Vardo() x2",
    "T __VardoObject::AddLast(char const*, char)",
    "T __VardoObject::ClearList()",
    "T __VardoObject::__VardoObject(char const*, int) x2",
    "T __VardoObject::~__VardoObject() x2",
    "T signal_update_term(int)",
    "T vSchedule::AddObject(char const*)",
    "T vSchedule::ClearObjectList()",
    "T vSchedule::DeleteOldSchedules(char const*, char const*)",
    "T vSchedule::DeleteSchedule(char const*, char const*, char const*)",
    "T vSchedule::GetObjectList(__VardoObject**)",
    "T vSchedule::GetOption(unsigned int, void*)",
    "T vSchedule::GetScheduleName()",
    "T vSchedule::IsScheduleOutdated(char const*, char const*)",
    "T vSchedule::ReadConfiguration(char const*)",
    "T vSchedule::ReadSchedule(char const*, char const*)",
    "T vSchedule::SaveSchedule(char const*, char const*, char const*, bool)",
    "T vSchedule::SetOption(unsigned int, void*)",
    "T vSchedule::SetScheduleName(char const*)",
    "T vSchedule::vSchedule(char const*, char const*) x2",
    "T vSchedule::~vSchedule() x2",
    "T vUpdate::DoUpdate(int (*)(int, char const*, long long, long long, void*), void*, char const*)",
    "T vUpdate::GetOption(unsigned int, void*)",
    "T vUpdate::SetOption(unsigned int, void*)",
    "T vUpdate::vUpdate(char const*, char const*) x2",
    "T vUpdate::~vUpdate() x2",
    "T vUpdateConf::ReadConfiguration(int, char const*)",
    "T vUpdateConf::SaveConfiguration(char const*)",
};

QByteArray outputOf(const char* program, const QStringList& arguments)
{
    QProcess process;
    process.start(qEnvironmentVariable(program),
                  arguments + QStringList(qEnvironmentVariable("VARDO_LIBRARY")));
    return process.waitForFinished() && process.exitCode() == 0 ? process.readAllStandardOutput()
                                                                : QByteArray();
}

} // namespace

class TestExports : public QObject
{
    Q_OBJECT

  private slots:
    /// Constructors and destructors come in two variants: for whole objects and for bases.
    void onlyTheBoundaryIsVisible();
    void theLibraryIsKnownByItsPlainName();
};

void TestExports::onlyTheBoundaryIsVisible()
{
    QMap<QString, int> seen;
    const QString symbols = outputOf("VARDO_NM", {"-DC", "--defined-only"});
    for (const QString& line : symbols.split('\n', Qt::SkipEmptyParts))
        ++seen[line.section(' ', 1).replace("B ", "D ")]; // without the address; zero or not, it is data
    QStringList found;
    for (auto symbol = seen.cbegin(); symbol != seen.cend(); ++symbol)
        found += symbol.value() == 1 ? symbol.key() : QString("%1 x%2").arg(symbol.key()).arg(symbol.value());
    const QStringList expected(std::begin(exported), std::end(exported));
    for (const QString& name : expected)
        QVERIFY2(found.contains(name), qPrintable("missing: " + name));
    for (const QString& name : found)
        QVERIFY2(expected.contains(name), qPrintable("too many: " + name));
}

void TestExports::theLibraryIsKnownByItsPlainName()
{
    QVERIFY(outputOf("VARDO_READELF", {"-d"}).contains("soname: [libvardo.so]"));
}

QTEST_GUILESS_MAIN(TestExports)
#include "tst_exports.moc"
