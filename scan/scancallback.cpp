#include "scan/vprogresswidget.h"

#include "kit/visibletext.h"
#include "kit/vtextpane.h"
#include "loglayout/scanlog.h"
#include "quarantine/quarantined.h"

#include <QApplication>
#include <QLabel>

#include <string>

#include <unistd.h>

namespace {

/// The file that an object is or lies in: its name up to the first "=" or ">", which a plain path may contain
/// too, as the text between such characters. Empty if there is none.
std::string fileOf(const std::string& name)
{
    constexpr char marks[] = "=>";
    const std::size_t start = name.find_first_not_of(marks);
    return start == std::string::npos ? std::string()
                                      : name.substr(start, name.find_first_of(marks, start) - start);
}

/// Whether an object's status is shown at all. Who can't read and write the file is only told so, unless
/// the action has taken the file from its place.
bool isShown(const std::string& file, int status)
{
    constexpr int gone = SCANSTAT_DELETED | SCANSTAT_QUARANTINED | SCANSTAT_RENAMED;
    return (status & gone) != 0 || (!file.empty() && ::access(file.c_str(), R_OK | W_OK) == 0);
}

} // namespace

int VProgressWidget::scanCallBack(const char* objName, int objectType, int statusCode, const char* virus,
                                  const char* remark, QS_ResultContextData* cdata)
{
    const auto answer = [] { return cancelScan ? CALLBACK_STOP : CALLBACK_CONTINUE; };
    if (cancelScan)
        return CALLBACK_STOP;
    const char* name = objName ? objName : "";
    if (virus && (statusCode & SCANSTAT_QUARANTINED) && !quarantine::recordQuarantined(name, virus))
        return CALLBACK_RECORD_FAILED;
    auto* pForm = static_cast<VProgressWidget*>(cdata);
    if (!pForm)
        return answer();

    pForm->showCounters();
    if (objectType == OBJTYPE_DIRECTORY) {
        pForm->showDirectory(name);
        return answer();
    }
    if (scanlog::hasStatus(statusCode) || scanlog::isProcess(objectType))
        pForm->showObject(name, objectType, statusCode, virus, remark);
    // Any slot of the program may run here, stopScan among them.
    QApplication::processEvents();
    return answer();
}

void VProgressWidget::showCounters()
{
    const QS_InterfaceScanStatistics* stats = vardo ? vardo->GetStatistics() : nullptr;
    if (!stats)
        return;
    lblDirScanCntValue->setText(QString::number(stats->scDirectories));
    lblFileScanCntValue->setText(QString::number(stats->scFiles));
    lblVirusCntValue->setText(QString::number(scanlog::infectedCount(*stats)));
}

void VProgressWidget::showDirectory(const char* name)
{
    showLine(tr("Scanning directory ").toUtf8() + name + '\n');
    scanlog::writeDirectory(name);
}

void VProgressWidget::showObject(const char* name, int type, int status, const char* virus,
                                 const char* remark)
{
    unscanned += (status & SCANSTAT_ERROR) != 0;
    const bool process = scanlog::isProcess(type);
    const std::string file = process ? std::string() : fileOf(name);
    if (process || isShown(file, status)) {
        const std::string line = scanlog::objectLine(name, type, status, virus, remark);
        scanlog::writeObject(line, status);
        showLine(QByteArray::fromStdString(line));
    } else if (!file.empty() && ::getuid() != 0) {
        scanlog::writeAccessDenied(file, status);
        showLine(file.c_str() + (" [" + tr("Access Denied").toUtf8()) + "]\n");
    }
}

/// Adds `line`, which ends in a newline, to the details; it stays one line whatever the names in it hold.
void VProgressWidget::showLine(const QByteArray& line)
{
    txtDetails->append(oneLine(line.chopped(1)) + '\n');
}
