#include "tests/tools/cron.h"

#include "tests/support/sandbox.h"

#include <filesystem>

namespace fs = std::filesystem;

Cron::Cron(int speed)
{
    for (const char* directory : {"/run", "/var/run", "/var/spool/cron/crontabs", "/etc/pam.d"})
        fs::create_directories(directory);
    sandbox::writeFile("/etc/pam.d/cron", "auth required pam_permit.so\naccount required pam_permit.so\n"
                                          "session required pam_permit.so\n");
    fs::remove("/run/crond.reboot");
    QProcessEnvironment environment;
    environment.insert("LD_PRELOAD", "/usr/$LIB/faketime/libfaketime.so.1");
    environment.insert("FAKETIME", "@2027-03-01 02:59:56 x" + QString::number(speed));
    cron_.setProcessEnvironment(environment);
    cron_.start("/usr/sbin/cron", {"-f"});
    cron_.waitForStarted();
}

Cron::~Cron()
{
    cron_.kill();
    cron_.waitForFinished();
}
