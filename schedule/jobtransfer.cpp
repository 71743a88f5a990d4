#include "schedule/vscheduledialog.h"

#include "base/paths.h"
#include "engine/schedule.h"
#include "kit/framelessflags.h"
#include "kit/placement.h"
#include "kit/visibletext.h"
#include "kit/vmessagebox.h"
#include "kit/vradiobutton.h"
#include "schedule/vobjectselectiondialog.h"

#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QSpinBox>

#include <algorithm>
#include <ctime>
#include <new>
#include <utility>

// What moves between the editor's controls and the job in the engine.

namespace {

/// An item of the object list: the bytes of a path, and what stands for them on the screen.
class ObjectItem : public QListWidgetItem
{
  public:
    explicit ObjectItem(QByteArray name)
        : path(std::move(name))
    {
    }

    QVariant data(int role) const override
    {
        if (role == Qt::DisplayRole)
            return visibleText(shownText(path));
        if (role == Qt::ToolTipRole)
            return literalToolTip(visibleText(shownText(path)));
        return QListWidgetItem::data(role);
    }

    const QByteArray path;
};

/// By result, from -1 down.
constexpr const char* saveFailures[] = {
    "Error saving schedule",         "Job of given name already exists!", "Invalid objects to scan",
    "Invalid schedule time or date", "Error adding cron entry. Delete",
};

const QByteArray& pathAt(const QListWidget& list, int row)
{
    return static_cast<const ObjectItem*>(list.item(row))->path;
}

/// The rule of the calendar, for the year as it is counted here.
int daysOfFebruary(int year)
{
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0 ? 29 : 28;
}

} // namespace

int VScheduleDialog::getMaxDate(int month)
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return getMaxDate(month, local.tm_year);
}

int VScheduleDialog::getMaxDate(int month, int yearsSince1900)
{
    if (month < 1 || month > 12)
        return 0;
    if (month == 2)
        return daysOfFebruary(yearsSince1900);
    return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
}

bool VScheduleDialog::needSchedule(const char* name)
{
    if (!schedule)
        schedule.reset(new (std::nothrow) vSchedule(name, paths::scheduleStore));
    return schedule != nullptr;
}

void VScheduleDialog::init(const char* name)
{
    if (!name || !needSchedule(name))
        return;
    schedule->ReadSchedule(nullptr, nullptr);
    if (!loadName() || !loadOptions() || !loadTimes() || !loadObjects())
        return;
    existing = true;
    settingModified = false;
}

bool VScheduleDialog::loadName()
{
    const char* name = schedule->GetScheduleName();
    if (!name)
        return false;
    storedName = name;
    editJobName->setText(visibleText(shownText(name)));
    editJobName->setReadOnly(true);
    return true;
}

bool VScheduleDialog::loadOptions()
{
    unsigned int action = 0, flags = 0;
    if (schedule->GetOption(SCHEDOPT_ACTION, &action) < 0 ||
        schedule->GetOption(SCHEDOPT_SCANFLAGS, &flags) < 0)
        return false;
    showScanOptions(flags);
    cmbScanAction->setCurrentIndex(indexOfAction(scanActions, action, flags));
    return true;
}

int VScheduleDialog::storedTime(unsigned int option, int greatest)
{
    unsigned char value = 0;
    return schedule->GetOption(option, &value) < 0 || value > greatest ? -1 : value;
}

bool VScheduleDialog::loadTimes()
{
    const int code = storedTime(SCHEDOPT_FREQUENCY, 255);
    if (code < 0)
        return false;
    const auto frequency = std::find_if(std::begin(frequencies), std::end(frequencies),
                                        [code](const Frequency& each) { return each.code == code; });
    (this->*(frequency == std::end(frequencies) ? &VScheduleDialog::rdoOnce : frequency->radio))
        ->setChecked(true);

    const int month = storedTime(SCHEDOPT_MONTH, 12);
    if (month < 0)
        return false;
    spinMonth->setValue(month);
    const int day = storedTime(SCHEDOPT_MONTHDAY, getMaxDate(spinMonth->value()));
    if (day < 0)
        return false;
    spinDate->setValue(day);
    const int weekDay = storedTime(SCHEDOPT_WEEKDAY, 6);
    if (weekDay < 0)
        return false;
    cmbWeekDay->setCurrentIndex(weekDay);
    const int hour = storedTime(SCHEDOPT_HOUR, 23), minute = storedTime(SCHEDOPT_MINUTE, 59);
    if (hour < 0 || minute < 0)
        return false;
    spinHour->setValue(hour);
    spinMin->setValue(minute);
    return true;
}

bool VScheduleDialog::loadObjects()
{
    VardoObject* objects = nullptr;
    if (schedule->GetObjectList(&objects) < 0 || !objects)
        return false;
    for (const VardoObject* object = objects; object && object->objName; object = object->objNext)
        addObject(object->objName);
    objects->ClearList();
    const int count = lstObjList->count();
    if (count == 0)
        return false;
    if (count == 1 && pathAt(*lstObjList, 0).trimmed() == "/") {
        lstObjList->clear();
        rdoCheckAll->setChecked(true);
        checkAllChanged(1); // which a button that is on already does not tell
    } else {
        rdoCheckBrowse->setChecked(true);
    }
    return true;
}

void VScheduleDialog::addObject(const QByteArray& path)
{
    lstObjList->addItem(new ObjectItem(path));
}

void VScheduleDialog::browseClicked()
{
    if (!needSchedule(nullptr)) {
        vMessage(this, tr("Error! Try again"), VMessageBox::Critical, okDefault);
        return;
    }
    VardoObject* chosen = nullptr;
    {
        VObjectSelectionDialog dialog(this, nullptr, true, FRAMELESS_FLAGS);
        dialog.setReturnObjectPtr(&chosen);
        dialog.changeScanCaption();
        centreOn(dialog, *this);
        dialog.exec();
    }
    if (!chosen)
        return;
    for (const VardoObject* object = chosen; object && object->objName; object = object->objNext)
        addChosen(object->objName);
    chosen->ClearList();
}

/// A path stays out when every other one is the same; the first one to come is no modification yet.
void VScheduleDialog::addChosen(const QByteArray& path)
{
    for (int row = 0; row < lstObjList->count(); ++row) {
        if (pathAt(*lstObjList, row) == path)
            continue;
        addObject(path);
        settingsChanged();
        return;
    }
    if (lstObjList->count() == 0)
        addObject(path);
}

bool VScheduleDialog::saveClicked()
{
    const QByteArray name = jobName();
    if (name.isEmpty()) {
        vMessage(this, tr("Name must be specified!"), VMessageBox::Critical, okDefault);
        return false;
    }
    if (!needSchedule(name)) {
        vMessage(this, tr("Error saving schedule. Try again!"), VMessageBox::Critical, okDefault);
        return false;
    }
    giveOptions();
    giveTimes();
    if (!giveObjects()) {
        vMessage(this, tr("Directories/files must be specified!"), VMessageBox::Information, okDefault);
        forgetNewJob();
        return false;
    }
    if (const int index = cmbWeekDay->currentIndex(); index >= 0) {
        auto day = static_cast<unsigned char>(index);
        schedule->SetOption(SCHEDOPT_WEEKDAY, &day);
    }
    if (!schedule->GetScheduleName())
        schedule->SetScheduleName(name);
    return finishSave(schedule->SaveSchedule(paths::scheduleCron, "root", paths::scheduleStore, existing));
}

QByteArray VScheduleDialog::jobName() const
{
    return storedName.isEmpty() ? editJobName->text().trimmed().toUtf8() : storedName;
}

void VScheduleDialog::giveOptions()
{
    const ScanAction& choice = scanActions[std::max(0, cmbScanAction->currentIndex())];
    unsigned int action = choice.action, flags = scanOptions() | choice.disinfect;
    schedule->SetOption(SCHEDOPT_ACTION, &action);
    schedule->SetOption(SCHEDOPT_SCANFLAGS, &flags);
}

void VScheduleDialog::giveTimes()
{
    for (const Frequency& frequency : frequencies) {
        if (unsigned char code = frequency.code; (this->*frequency.radio)->isChecked())
            schedule->SetOption(SCHEDOPT_FREQUENCY, &code);
    }
    for (const Time& time : times) {
        QSpinBox* spin = this->*time.spin;
        spin->interpretText();
        auto value = static_cast<unsigned char>(spin->value());
        schedule->SetOption(time.option, &value);
    }
}

bool VScheduleDialog::giveObjects()
{
    schedule->ClearObjectList();
    if (rdoCheckAll->isChecked())
        schedule->AddObject("/");
    for (int row = 0; row < lstObjList->count() && rdoCheckBrowse->isChecked(); ++row)
        schedule->AddObject(pathAt(*lstObjList, row));
    return rdoCheckAll->isChecked() || lstObjList->count() > 0;
}

bool VScheduleDialog::finishSave(int result)
{
    const bool failed = result < 0 && -result <= static_cast<int>(std::size(saveFailures));
    settingModified = failed;
    vMessage(this, failed ? tr(saveFailures[-result - 1]) : tr("Schedule save successfully"),
             VMessageBox::Information, okDefault);
    if (result >= 0) {
        reloadCron();
        close();
    } else {
        forgetNewJob();
    }
    return !failed;
}

void VScheduleDialog::forgetNewJob()
{
    if (!existing)
        schedule.reset();
}
