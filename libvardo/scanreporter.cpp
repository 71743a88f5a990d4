#include "libvardo/scanreporter.h"

#include "base/systemerror.h"
#include "libvardo/closeelsewhere.h"
#include "libvardo/mailfolder.h"
#include "libvardo/quarantinefile.h"
#include "libvardo/statistics.h"

#include <array>
#include <cstring>
#include <utility>

namespace vardo {

namespace {

constexpr std::chrono::milliseconds beatInterval{100};
constexpr std::size_t mostOwnChanges = 1024;
constexpr std::size_t longestExtension = 64;

/// How bad a verdict is, for choosing among the parts of one process.
int weight(int status)
{
    constexpr std::array order{SCANSTAT_CLEAN, SCANSTAT_ENCRYPTED, SCANSTAT_CORRUPT,
                               SCANSTAT_ERROR, SCANSTAT_SUSPECTED, SCANSTAT_INFECTED};
    for (std::size_t i = 0; i < order.size(); ++i) {
        if (order[i] == status)
            return static_cast<int>(i);
    }
    return -1;
}

base::Result<std::string> renamed(const ScannedFile& file, const std::string& extension)
{
    const auto name = renameFile(file, extension);
    return name ? "now named " + name.value() : name;
}

void join(std::string& remark, const std::string& more)
{
    if (!remark.empty() && !more.empty())
        remark += "; ";
    remark += more;
}

} // namespace

bool isFileExtension(const std::string& text)
{
    return !text.empty() && text.size() <= longestExtension && text.find('/') == std::string::npos;
}

ScanReporter::ScanReporter(const Frontend& frontend, ActionPlan plan, QS_InterfaceScanStatistics& statistics)
    : frontend_(frontend)
    , plan_(std::move(plan))
    , statistics_(statistics)
{
}

bool ScanReporter::run(ScanPipeline& pipeline, const std::function<void()>& idle)
{
    for (lastBeat_ = std::chrono::steady_clock::now();;) {
        ScanItem item;
        switch (pipeline.next(item, beatInterval)) {
        case ScanPipeline::Next::End:
            return true;
        case ScanPipeline::Next::Nothing:
            idle();
            break;
        case ScanPipeline::Next::Item:
            if (!report(item))
                return false;
            break;
        }
        if (!beat())
            return false;
    }
}

bool ScanReporter::report(ScanItem& item)
{
    switch (item.kind) {
    case ScanItem::Kind::Directory:
        ++statistics_.scDirectories;
        return call(item.name, OBJTYPE_DIRECTORY, 0, {}, {});
    case ScanItem::Kind::NotEntered:
        return call(item.name, OBJTYPE_FILE, 0, {}, "not entered: another file system");
    case ScanItem::Kind::MemoryPart:
        addPart(item);
        return true;
    case ScanItem::Kind::Process:
    case ScanItem::Kind::LostProcess:
        return reportProcess(item);
    case ScanItem::Kind::File:
        break;
    }
    return reportFile(item);
}

/// An object is reported once: with what was found, under "FILE=>INNER NAME", or after an action with
/// its outcome, under the plain name of the file that it concerned.
bool ScanReporter::reportFile(ScanItem& item)
{
    const Verdict& verdict = item.outcome->verdict();
    remembered_ += item.remembered;
    const std::string fullName = verdict.inner.empty() ? item.name : item.name + "=>" + verdict.inner;
    if (verdict.status != SCANSTAT_INFECTED && verdict.status != SCANSTAT_SUSPECTED) {
        countObject(statistics_, verdict.status, verdict.status);
        const bool goesOn = call(fullName, OBJTYPE_FILE, verdict.status, verdict.virus, verdict.remark);
        if (item.fd)
            closeElsewhere(std::move(item.fd));
        return goesOn;
    }

    ActionPlan plan = plan_;
    const std::string spared = reasonToSpare(item);
    const bool asks = plan_.action == SCANACT_PROMPT && spared.empty();
    const unsigned int action = spared.empty() ? chosenAction(fullName, verdict.status, plan)
                                               : static_cast<unsigned int>(SCANACT_LOG);
    // The scan may have been stopped while the question was open: then the answer is not carried out.
    if (asks && !call({}, OBJTYPE_FILE, 0, {}, {}))
        return false;
    const bool cure = plan_.disinfect && verdict.status == SCANSTAT_INFECTED;
    statistics_.scCureFailed += cure;
    std::string remark = spared;
    if (action == SCANACT_LOG) {
        const bool cureIsOutcome = cure && plan_.action == SCANACT_LOG;
        countObject(statistics_, verdict.status, verdict.status);
        join(remark, verdict.remark);
        return call(fullName, OBJTYPE_FILE, cureIsOutcome ? SCANSTAT_CURE_FAILED : verdict.status,
                    verdict.virus, remark);
    }
    const int outcome = act(item, action, plan, remark);
    if (!verdict.inner.empty())
        join(remark, "found in " + verdict.inner);
    join(remark, verdict.remark);
    countObject(statistics_, verdict.status, outcome);
    return call(item.name, OBJTYPE_FILE, outcome, verdict.virus, remark);
}

/// Why the file is left alone although there is something to be done about such files; empty normally.
std::string ScanReporter::reasonToSpare(const ScanItem& item)
{
    const bool acts = plan_.action == SCANACT_PROMPT ||
                      (plan_.action != SCANACT_LOG && item.outcome->verdict().status == SCANSTAT_INFECTED);
    if (acts && !plan_.mailFolders && isMailFolder(item.fd.get(), [this] { return beat(); }))
        return "left alone: it holds other mails too";
    // Else each scan would add one more.
    if (plan_.action == SCANACT_RENAME && item.leaf.ends_with("." + plan_.extension))
        return acts ? "left alone: it has the extension of renamed files" : "";
    return {};
}

/// Suspected files are left alone, except that a person may decide otherwise.
unsigned int ScanReporter::chosenAction(const std::string& name, int found, ActionPlan& plan)
{
    if (plan.action != SCANACT_PROMPT)
        return found == SCANSTAT_INFECTED ? plan.action : SCANACT_LOG;
    if (!frontend_.prompt)
        return SCANACT_LOG;
    qs_fString data = {};
    const int answer = frontend_.prompt(name.c_str(), data);
    data[sizeof data - 1] = '\0';
    switch (answer) {
    case PROMPT_DELETE:
        return SCANACT_DELETE;
    case PROMPT_RENAME:
        if (isFileExtension(data))
            plan.extension = data;
        return SCANACT_RENAME;
    case PROMPT_QUARANTINE:
        if (data[0] == '/')
            plan.quarantineDir = data;
        return SCANACT_QUARANTINE;
    default: // PROMPT_NOTHING, PROMPT_CLOSE
        return SCANACT_LOG;
    }
}

int ScanReporter::act(const ScanItem& item, unsigned int action, const ActionPlan& plan, std::string& remark)
{
    struct Deed
    {
        base::Result<std::string> remark;
        int done;
        int failed;
    };
    const ScannedFile file = scannedFile(item);
    const auto perform = [&]() -> Deed {
        switch (action) {
        case SCANACT_DELETE:
            return {deleteFile(file), SCANSTAT_DELETED, SCANSTAT_DELETE_FAILED};
        case SCANACT_RENAME:
            return {renamed(file, plan.extension), SCANSTAT_RENAMED, SCANSTAT_RENAME_FAILED};
        default:
            return {quarantined(file, item.outcome->verdict().virus, plan.quarantineDir),
                    SCANSTAT_QUARANTINED, SCANSTAT_QUARANTINE_FAILED};
        }
    };
    const Deed deed = perform();
    if (!deed.remark) {
        remark = deed.remark.error().text;
        return deed.failed;
    }
    noteOwnChange(item);
    remark = deed.remark.value();
    return deed.done;
}

base::Result<std::string> ScanReporter::quarantined(const ScannedFile& file, const std::string& virus,
                                                    const std::string& directory)
{
    const auto result = quarantineFile(file, virus, directory, [this] { return beat(); });
    return result ? base::Result<std::string>(std::string()) : result;
}

ScannedFile ScanReporter::scannedFile(const ScanItem& item) const
{
    const auto changed = ownChanges_.find(item.id);
    return {item.parent->get(), item.leaf, item.fd.get(),
            changed == ownChanges_.end() ? item.id : changed->second};
}

/// What we do to one name of a file changes its time, which must not keep us from the other names.
void ScanReporter::noteOwnChange(const ScanItem& item)
{
    struct stat status = {};
    if (::fstat(item.fd.get(), &status) != 0 || status.st_nlink == 0 || !fileId(status).sameContent(item.id))
        return;
    if (ownChanges_.size() >= mostOwnChanges)
        ownChanges_.clear();
    ownChanges_[item.id] = fileId(status);
}

void ScanReporter::addPart(const ScanItem& item)
{
    const Verdict& verdict = item.outcome->verdict();
    partScanned_ = partScanned_ || !item.remembered;
    if (weight(verdict.status) <= weight(process_.status))
        return;
    process_ = verdict;
    if (verdict.status == SCANSTAT_CLEAN)
        return;
    std::string remark = "in " + item.name + (verdict.inner.empty() ? "" : "=>" + verdict.inner);
    join(remark, verdict.remark);
    process_.remark = std::move(remark);
}

bool ScanReporter::reportProcess(const ScanItem& item)
{
    const Verdict verdict = std::exchange(process_, {});
    const bool scanned = std::exchange(partScanned_, false) || verdict.status == 0;
    if (item.kind == ScanItem::Kind::LostProcess && weight(verdict.status) <= weight(SCANSTAT_CLEAN))
        return true;
    const int status = verdict.status == 0 ? SCANSTAT_CLEAN : verdict.status;
    countObject(statistics_, status, status);
    remembered_ += !scanned;
    return call(item.name, OBJTYPE_PROCESS, status, verdict.virus, verdict.remark);
}

bool ScanReporter::call(const std::string& name, int type, int status, const std::string& virus,
                        const std::string& remark)
{
    if (stopped_ || !frontend_.result)
        return !stopped_;
    const int answer = frontend_.result(name.c_str(), type, status, virus.empty() ? nullptr : virus.c_str(),
                                        remark.empty() ? nullptr : remark.c_str(), frontend_.context);
    if (answer == CALLBACK_RECORD_FAILED)
        ++recordFailures_;
    stopped_ = answer == CALLBACK_STOP;
    return !stopped_;
}

/// Keeps the front-end alive while nothing can be reported; false once it asked to stop.
bool ScanReporter::beat()
{
    const auto now = std::chrono::steady_clock::now();
    if (now - lastBeat_ < beatInterval)
        return true;
    lastBeat_ = now;
    return call({}, OBJTYPE_FILE, 0, {}, {});
}

} // namespace vardo
