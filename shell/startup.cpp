#include "shell/startup.h"

#include "base/paths.h"
#include "engine/vardo.h"
#include "installation/instanceguard.h"
#include "installation/userconf.h"
#include "kit/framelessflags.h"
#include "kit/vardostyle.h"
#include "kit/vmessagebox.h"
#include "mainwindow/vmainwidget.h"
#include "scan/actiondata.h"
#include "scan/vmemscandialog.h"
#include "shell/agealert.h"
#include "shell/cause.h"
#include "shell/globals.h"
#include "shell/screenfactor.h"
#include "shell/xthreads.h"

#include <QApplication>
#include <QScreen>

#include <array>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <new>

#include <unistd.h>

char* qsavConf = nullptr;
char* vardoConf = nullptr;
Vardo* vardo = nullptr;

namespace {

constexpr int refusedCode = -1;
constexpr QSize windowSize(724, 564);
constexpr int windowRounding = 3;
constexpr useconds_t pauseBeforeAV = 1000; // microseconds

enum class Box { Notice, Error, Default };

struct Message
{
    const char* text;
    Box box;
};

/// By Startup::Refusal. The texts stand as the users know them.
constexpr std::array<Message, 8> messages = {{
    {"Please varify your AV installation", Box::Notice},
    {"Please varify your Vardo installation", Box::Notice},
    {"Perhaps another insatnce of vardogui is already running.", Box::Notice},
    {"Unexpected error. Please check you home directory permissions", Box::Notice},
    {"Error initializing AV", Box::Error},
    {"Error initializing Vardo", Box::Error},
    {"Error initializing AV", Box::Error},
    {"Please change your resolution ( minimum 800x600)", Box::Default},
}};

} // namespace

Startup::Startup(int& argc, char** argv)
    : argc_(argc)
    , argv_(argv)
{
}

Startup::~Startup() = default;

int Startup::run()
{
    using Step = Outcome (Startup::*)();
    static constexpr std::array<Step, 10> steps = {
        &Startup::checkEngine,         &Startup::checkInstallation,
        &Startup::chooseConfiguration, &Startup::claimInstance,
        &Startup::createEngine,        &Startup::excludeRenamedFiles,
        &Startup::checkSignatureAge,   &Startup::loadAV,
        &Startup::createWindow,        &Startup::showWindow,
    };

    initXThreads();
    createApplication();

    Outcome refusal;
    for (auto step = steps.begin(); step != steps.end() && !refusal; ++step)
        refusal = (this->**step)();

    int exitCode = refusedCode;
    if (refusal)
        refuse(*refusal);
    else
        exitCode = QApplication::exec();
    teardown();
    return exitCode;
}

void Startup::createApplication()
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "xcb");
    // The skin brings its own colours and fonts.
    QApplication::setDesktopSettingsAware(false);
    application_ = screenfactor::applicationFor(windowSize, argc_, argv_);
    if (!application_)
        std::exit(refusedCode);

    // QApplication has taken on the user's locale; records and settings keep their decimal points.
    std::setlocale(LC_NUMERIC, "C");
    applyVardoStyle(*application_);
    // A box closed before the window opens must not end the program: see showWindow().
    QApplication::setQuitOnLastWindowClosed(false);
}

Startup::Outcome Startup::checkEngine()
{
    systemType_ = QS_GetSystemType();
    return systemType_ == QS_UNWSystem ? Outcome(Refusal::NoEngine) : std::nullopt;
}

Startup::Outcome Startup::checkInstallation()
{
    installation_ = get_Vardo_version();
    return installation_ < 0 ? Outcome(Refusal::NoInstallation) : std::nullopt;
}

Startup::Outcome Startup::chooseConfiguration()
{
    if (getuid() == 0 || installation_ == INSTALLATION_SHARED_CONF) {
        qsavConf = strdup(paths::qsavConf);
        vardoConf = strdup(paths::vardoConf);
    } else if (char* own = createUserConf()) {
        qsavConf = own;
        vardoConf = strdup(own);
    }
    // A user without a configuration is told after the instance guard, as NoConfiguration.
    return std::nullopt;
}

Startup::Outcome Startup::claimInstance()
{
    if (isRunning())
        return Refusal::AlreadyRunning;
    // char has no sign on some machines; the sign bit is what tells.
    if (static_cast<signed char>(createPIDFile()) < 0)
        return Refusal::NoGuard;
    return std::nullopt;
}

Startup::Outcome Startup::createEngine()
{
    if (!qsavConf)
        return Refusal::NoConfiguration;
    vardo = new (std::nothrow) Vardo(vardoConf);
    if (!vardo || vardo->ReadConfiguration(nullptr) < 0)
        return Refusal::NoVardo;
    return std::nullopt;
}

/// Leaves alone what an earlier scan renamed, unless the user has extensions of their own. In memory
/// only.
Startup::Outcome Startup::excludeRenamedFiles()
{
    unsigned int options = 0;
    vardo->GetOption(SCANOPT_SCANOPTS, &options);
    if (options & (SCANFLAG_INCLUDE_EXTENSIONS | SCANFLAG_EXCLUDE_EXTENSIONS))
        return std::nullopt;
    ::excludeRenamedFiles(*vardo);
    return std::nullopt;
}

/// Never refuses a start. The date comes from the installation's configuration, whoever the user is.
Startup::Outcome Startup::checkSignatureAge()
{
    struct_qsavinfo info{};
    if (GetQSAVInfo(systemType_, paths::qsavConf, info) >= 0 && vardo->MakeAlert(info.udate))
        alertAboutAge(*vardo);
    return std::nullopt;
}

Startup::Outcome Startup::loadAV()
{
    usleep(pauseBeforeAV);
    return ScanMemory(qsavConf, vardo) < 0 ? Outcome(Refusal::NoAV) : std::nullopt;
}

Startup::Outcome Startup::createWindow()
{
    window_ = std::make_unique<VMainWidget>(nullptr, nullptr, FRAMELESS_FLAGS);
    window_->setValues(application_.get(), qsavConf, vardo);
    // The message asks for more than the window needs.
    const bool fits = screenfactor::hasPixels(windowSize);
    return fits ? std::nullopt : Outcome(Refusal::SmallScreen);
}

Startup::Outcome Startup::showWindow()
{
    const QSize space = QGuiApplication::primaryScreen()->geometry().size() - windowSize;
    window_->setGeometry(space.width() / 2, space.height() / 2, windowSize.width(), windowSize.height());
    window_->show();
    window_->setFixedSize(windowSize);
    window_->makeWidgetRound(windowRounding, windowRounding);
    QObject::connect(application_.get(), &QGuiApplication::lastWindowClosed, application_.get(),
                     &QCoreApplication::quit);
    return std::nullopt;
}

void Startup::teardown()
{
    window_.reset();
    delete vardo;
    vardo = nullptr;
    application_.reset();
    std::free(qsavConf);
    std::free(vardoConf);
    qsavConf = vardoConf = nullptr;
    // Removes the file of this process only: a refused second instance leaves the first one's.
    remPIDFile();
}

/// Empty where the message says it all.
std::string Startup::causeOf(Refusal refusal)
{
    switch (refusal) {
    case Refusal::NoEngine:
        return "the engine does not know this kind of system";
    case Refusal::NoInstallation:
        return std::string(paths::versionFile) + " cannot be read or names no installation";
    case Refusal::AlreadyRunning:
        return std::string("the process in ") + paths::guardFile + " is running";
    case Refusal::NoGuard:
        return causeOfNoGuard();
    case Refusal::NoConfiguration:
        return "cannot make .vardo/vardo.conf in the home directory";
    case Refusal::NoVardo:
    case Refusal::NoAV:
        return vardo && *vardo->ScanError() ? vardo->ScanError() : std::string("cannot use ") + vardoConf;
    case Refusal::SmallScreen:
        break;
    }
    return {};
}

void Startup::refuse(Refusal refusal)
{
    const Message& message = messages.at(static_cast<std::size_t>(refusal));
    const std::string cause = causeOf(refusal);
    if (!cause.empty())
        tellCause(message.text, cause);
    const QString text = QObject::tr(message.text);
    switch (message.box) {
    case Box::Notice:
        vNotice(nullptr, text);
        break;
    case Box::Error:
        vMessage(nullptr, text, VMessageBox::Critical, okDefault);
        break;
    case Box::Default:
        VMessageBox::critical(nullptr, text, QString(), QString(), QString(), 0, -1);
        break;
    }
}
