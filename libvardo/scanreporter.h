#pragma once

#include "engine/interface.h"
#include "libvardo/fileactions.h"
#include "libvardo/scanpipeline.h"

#include <chrono>
#include <functional>
#include <string>
#include <unordered_map>

namespace vardo {

/// What is done about an infected file.
struct ActionPlan
{
    unsigned int action = SCANACT_LOG; ///< a SCANACT_ code
    bool disinfect = false;            ///< a cure is tried first; there is none, so it always fails
    std::string quarantineDir;         ///< absolute
    std::string extension = "qst";     ///< of renamed files, without the dot
    bool mailFolders = false;          ///< these are acted upon like other files
};

/// True when `text` can be the extension of a renamed file.
bool isFileExtension(const std::string& text);

/// Where a scan reports to. Any of the functions may be null.
struct Frontend
{
    QS_ResultCallBack result = nullptr;
    QS_ResultContextData* context = nullptr;
    QS_actionPromptCallBack prompt = nullptr;
};

/// Takes the items out of a pipeline, acts upon what was found, counts and reports, on one thread.
class ScanReporter
{
  public:
    ScanReporter(const Frontend& frontend, ActionPlan plan, QS_InterfaceScanStatistics& statistics);

    /// Reports until the end (true) or until the front-end asks to stop (false). A beat is made every 100 ms,
    /// whatever else was called back meanwhile. `idle` is called now and then while nothing is ready.
    bool run(ScanPipeline& pipeline, const std::function<void()>& idle);

    /// How often the front-end answered that it could not note a quarantined file.
    unsigned recordFailures() const { return recordFailures_; }
    /// How many objects were not scanned as they were clean before; processes of which that is true of all
    /// parts.
    unsigned remembered() const { return remembered_; }

  private:
    bool report(ScanItem& item);
    bool reportFile(ScanItem& item);
    bool reportProcess(const ScanItem& item);
    void addPart(const ScanItem& item);
    std::string reasonToSpare(const ScanItem& item);
    unsigned int chosenAction(const std::string& name, int found, ActionPlan& plan);
    int act(const ScanItem& item, unsigned int action, const ActionPlan& plan, std::string& remark);
    base::Result<std::string> quarantined(const ScannedFile& file, const std::string& virus,
                                          const std::string& directory);
    ScannedFile scannedFile(const ScanItem& item) const;
    void noteOwnChange(const ScanItem& item);
    bool call(const std::string& name, int type, int status, const std::string& virus,
              const std::string& remark);
    bool beat();

    const Frontend frontend_;
    const ActionPlan plan_;
    QS_InterfaceScanStatistics& statistics_;
    Verdict process_; ///< worst of the parts since the last process
    std::unordered_map<FileId, FileId, FileIdHash> ownChanges_;
    std::chrono::steady_clock::time_point lastBeat_;
    bool stopped_ = false;
    unsigned recordFailures_ = 0;
    unsigned remembered_ = 0;
    bool partScanned_ = false; ///< since the last process
};

} // namespace vardo
