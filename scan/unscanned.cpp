#include "scan/unscanned.h"

#include "base/paths.h"

#include <QProcess>

void tellUnscanned(unsigned int count)
{
    if (count == 0)
        return;
    const QString objects = count == 1 ? QStringLiteral("1 object") : QStringLiteral("%1 objects").arg(count);
    QProcess::startDetached(
        paths::notifier,
        {QStringLiteral("Vardo could not scan everything"),
         objects +
             QStringLiteral(" could not be scanned wholly, as larger than a limit, unreadable or damaged. "
                            "With the log level \"All\", the log names them.")});
}
