#pragma once

#include "updater/installation.h"
#include "updater/interruption.h"
#include "updater/report.h"
#include "updater/settings.h"

#include <functional>
#include <optional>
#include <string>

namespace updater {

/// How an update ended: one of the results of vUpdate::DoUpdate, and the reason when it is not 0.
struct Outcome
{
    int result = 0;
    std::string reason;
};

/// One update, or the way back to the set before the last one. One run for each object.
class Run
{
  public:
    Run(const Settings& settings, Interruption& interruption, Report& report);
    ~Run();
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    Outcome update();
    Outcome rollBack();

  private:
    using Step = std::optional<Outcome> (Run::*)(); ///< nothing: go on

    Outcome take(std::initializer_list<Step> steps);

    std::optional<Outcome> prepare();
    std::optional<Outcome> honourWait();
    std::optional<Outcome> stage();
    std::optional<Outcome> fetch();
    std::optional<Outcome> gather();
    std::optional<Outcome> gatherBackup();
    std::optional<Outcome> check();
    std::optional<Outcome> install();

    std::optional<Outcome> gatherOne(const std::string& name);
    std::optional<Outcome> stagedSeeds();
    void keepWait(long long seconds);
    void keepIdentity();
    Outcome stoppedOr(const std::string& reason);
    Interrupted interrupted();

    const Settings& settings_;
    Interruption& interruption_;
    Report& report_;
    const std::chrono::steady_clock::time_point deadline_;

    std::optional<Installation> installation_;
    base::UniqueFd temporary_; ///< the directory that temporary ones are made in
    std::string stagingName_;
    base::UniqueFd staging_;   ///< ours; in it are those of the process without rights:
    base::UniqueFd downloads_; ///< the databases
    base::UniqueFd scratch_;   ///< whatever it needs
    base::UniqueFd next_;      ///< the new set, root's again
    Versions installed_;
    Versions fetched_; ///< as the process without rights says
    bool rollingBack_ = false;
};

} // namespace updater
