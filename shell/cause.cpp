#include "shell/cause.h"

#include "base/paths.h"
#include "base/systemerror.h"
#include "installation/membership.h"

#include <QProcess>

#include <cerrno>
#include <cstdio>

#include <syslog.h>
#include <unistd.h>

void tellCause(const std::string& box, const std::string& cause)
{
    std::fprintf(stderr, "vardogui: %s: %s\n", box.c_str(), cause.c_str());
    ::openlog("vardogui", LOG_PID, LOG_USER);
    ::syslog(LOG_ERR, "%s: %s", box.c_str(), cause.c_str());
    ::closelog();
    QProcess::startDetached(paths::notifier,
                            {QStringLiteral("Vardo could not start"), QString::fromStdString(cause)});
}

std::string causeOfNoGuard()
{
    const std::string hint = membershipHint();
    if (!hint.empty())
        return hint;
    const std::string file = paths::guardFile;
    const std::string directory = file.substr(0, file.rfind('/'));
    const bool writable = ::access(directory.c_str(), W_OK | X_OK) == 0;
    return "cannot write " + file + (writable ? "" : ": " + base::describeError(errno));
}
