#include "scan/vprogresswidget.h"

#include "base/paths.h"
#include "kit/framelessflags.h"
#include "scan/actiondata.h"
#include "scan/vgetuseraction.h"

#include <QApplication>
#include <QWindow>

#include <cstring>
#include <memory>

namespace {

/// Lets the mouse reach the other windows while the prompt is open, so that the scan can be stopped. The
/// prompt keeps the keyboard, and comes back to the front when a click has raised one of them over it.
void keepOthersLive(VGetUserAction& prompt)
{
    prompt.setWindowModality(Qt::WindowModal); // of no window, as it has no parent
    QObject::connect(qApp, &QGuiApplication::focusWindowChanged, &prompt, [&prompt](const QWindow* focused) {
        if (!focused || focused == prompt.windowHandle() || QApplication::activeModalWidget() != &prompt)
            return;
        prompt.raise();
        prompt.activateWindow();
    });
}

} // namespace

int VProgressWidget::promptInfectedAction(const char* fname, char* actData)
{
    const auto dialog = std::make_unique<VGetUserAction>(nullptr, nullptr, true, FRAMELESS_FLAGS);
    keepOthersLive(*dialog);
    const int userAct = dialog->getUserAction(fname);
    static_assert(sizeof renameExtension <= sizeof(qs_fString) &&
                  sizeof paths::quarantine <= sizeof(qs_fString));
    if (actData && userAct == PROMPT_RENAME)
        std::memcpy(actData, renameExtension, sizeof renameExtension);
    if (actData && userAct == PROMPT_QUARANTINE)
        std::memcpy(actData, paths::quarantine, sizeof paths::quarantine);
    return userAct;
}
