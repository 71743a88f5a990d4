#include "update/updateoutcome.h"

#include "engine/update.h"
#include "kit/vmessagebox.h"
#include "update/vupdatedialog.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr struct
{
    int result;
    const char* text;
} outcomes[] = {
    {UPDATE_DONE, "Vardo database has been updated."},
    {UPDATE_RUNNING, "Perhaps another instance of update already running"},
    {UPDATE_STOPPED, "Update cancelled before finish"},
    {UPDATE_ERROR, "Error updating virus signatures"},
    {VUpdateDialog::Failed, "Error updating virus signatures"},
    {UPDATE_NO_LOCK, "Error getting update lock"},
    {VUpdateDialog::NoConfiguration, "Error initializing update instance"},
};

} // namespace

void showUpdateOutcome(QWidget* parent, int result, Translate tr)
{
    const auto* const outcome = std::find_if(std::begin(outcomes), std::end(outcomes),
                                             [result](const auto& row) { return row.result == result; });
    const char* text = outcome == std::end(outcomes) ? "Unknown update error" : outcome->text;
    vMessage(parent, tr(text, nullptr, -1), VMessageBox::Information, VMessageBox::BTN_OK);
}
