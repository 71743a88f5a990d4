#include "scan/vprogresswidget.h"

#include "kit/framelessflags.h"
#include "scan/actiondata.h"
#include "scan/vgetuseraction.h"
#include "shell/paths.h"

#include <cstring>
#include <memory>

int VProgressWidget::promptInfectedAction(const char* fname, char* actData)
{
    const auto dialog = std::make_unique<VGetUserAction>(nullptr, nullptr, true, FRAMELESS_FLAGS);
    const int userAct = dialog->getUserAction(fname);
    static_assert(sizeof renameExtension <= sizeof(qs_fString) &&
                  sizeof paths::quarantineDir <= sizeof(qs_fString));
    if (actData && userAct == PROMPT_RENAME)
        std::memcpy(actData, renameExtension, sizeof renameExtension);
    if (actData && userAct == PROMPT_QUARANTINE)
        std::memcpy(actData, paths::quarantineDir, sizeof paths::quarantineDir);
    return userAct;
}
