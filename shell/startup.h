#pragma once

#include "engine/qsavinfo.h"
#include "installation/installation.h"

#include <QSize>

#include <memory>
#include <optional>
#include <string>

class QApplication;
class VMainWidget;

/// The whole life of the process: the checks before the window opens, the event loop, the teardown.
class Startup
{
  public:
    Startup(int& argc, char** argv);
    ~Startup();
    Startup(const Startup&) = delete;
    Startup& operator=(const Startup&) = delete;

    /// Runs the steps in their order, up to the end of the event loop. Every path, also that of a start
    /// that was refused with a message, goes through the same teardown. Answers the exit code.
    int run();

  private:
    /// Why a start is refused: the messages stand in a table.
    enum class Refusal {
        NoEngine,
        NoInstallation,
        AlreadyRunning,
        NoGuard,
        NoConfiguration,
        NoVardo,
        NoAV,
        SmallScreen
    };
    using Outcome = std::optional<Refusal>;

    void createApplication();
    Outcome checkEngine();
    Outcome checkInstallation();
    Outcome chooseConfiguration();
    Outcome claimInstance();
    Outcome createEngine();
    Outcome excludeRenamedFiles();
    Outcome checkSignatureAge();
    Outcome loadAV();
    Outcome createWindow();
    Outcome showWindow();
    void teardown();

    static std::string causeOf(Refusal refusal);
    static void refuse(Refusal refusal);

    int& argc_;
    char** argv_;
    QS_SystemType systemType_ = QS_UNWSystem;
    int installation_ = INSTALLATION_UNUSABLE;
    std::unique_ptr<QApplication> application_;
    std::unique_ptr<VMainWidget> window_;
};
