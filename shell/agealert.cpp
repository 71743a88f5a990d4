#include "shell/agealert.h"

#include "engine/vardo.h"
#include "kit/framelessflags.h"
#include "kit/vmessagebox.h"
#include "update/updateoutcome.h"
#include "update/vupdatedialog.h"

#include <memory>

#include <unistd.h>

void alertAboutAge(Vardo& engine)
{
    unsigned int days = 0;
    engine.GetOption(SCANOPT_ALERTDAYS, &days);
    const QString age = QObject::tr("Virus database is more than ") + QString::number(days);
    if (getgid() != 0) {
        vMessage(nullptr, age + QObject::tr(" days older.\nLogin as root to download update."),
                 VMessageBox::Critical, VMessageBox::BTN_OK);
        return;
    }
    const QString question = age + QObject::tr(" days older.\nShould the virus signatures be updated now?");
    if (!vAsk(nullptr, question, yesDefault))
        return;
    auto dialog = std::make_unique<VUpdateDialog>(nullptr, nullptr, true, FRAMELESS_FLAGS);
    const int result = dialog->exec();
    dialog.reset();
    showUpdateOutcome(nullptr, result, &QObject::tr);
}
