#include "schedule/vscheduledialog.h"

#include "base/command.h"
#include "base/paths.h"
#include "engine/schedule.h"
#include "kit/builders.h"
#include "kit/imagecollection.h"
#include "kit/labels.h"
#include "kit/palettes.h"
#include "kit/vcheckbox.h"
#include "kit/vmessagebox.h"
#include "kit/vpushbutton.h"
#include "kit/vradiobutton.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QDateTime>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QSpinBox>
#include <QTabWidget>
#include <QVBoxLayout>

#include <algorithm>

#include <unistd.h>

namespace {

constexpr int noLimit = 32767;

constexpr const char* weekDays[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                    "Thursday", "Friday", "Saturday"};

} // namespace

using This = VScheduleDialog;

const This::Frequency This::frequencies[] = {
    {&This::rdoOnce, "rdoOnce", "Once", &This::scheduleOnceChanged, FREQ_ONCE, "++++-"},
    {&This::rdoHourly, "rdoHourly", "Hourly", &This::scheduleHourlyChanged, FREQ_HOURLY, "---+-"},
    {&This::rdoDaily, "rdoDaily", "Daily", &This::scheduleDailyChanged, FREQ_DAILY, "--++-"},
    {&This::rdoWeekly, "rdoWeekly", "Weekly", &This::scheduleWeekelyChanged, FREQ_WEEKLY, "--+++"},
    {&This::rdoMonthly, "rdoMonthly", "Monthly", &This::scheduleMonthlyChanged, FREQ_MONTHLY, "-+++-"},
};

const This::Time This::times[] = {
    {&This::lblMonth, "lblMonth", "Month", &This::spinMonth, "spinMonth", 1, 12, SCHEDOPT_MONTH},
    {&This::lblDate, "lblDate", "Date", &This::spinDate, "spinDate", 1, 31, SCHEDOPT_MONTHDAY},
    {&This::lblHour, "lblHour", "Hour", &This::spinHour, "spinHour", 0, 23, SCHEDOPT_HOUR},
    {&This::lblMin, "lblMin", "Min", &This::spinMin, "spinMin", 0, 59, SCHEDOPT_MINUTE},
};

const ScanAction This::scanActions[] = {
    {"Log only", SCANACT_LOG, SCANFLAG_NO_DISINFECT},
    {"Disinfect (if not possible, Log)", SCANACT_LOG, SCANFLAG_DISINFECT},
    {"Disinfect (if not possible, delete file)", SCANACT_DELETE, SCANFLAG_DISINFECT},
    {"Disinfect (if not possible, Quarantine file)", SCANACT_QUARANTINE, SCANFLAG_DISINFECT},
    {"Disinfect (if not possible, Rename File)", SCANACT_RENAME, SCANFLAG_DISINFECT},
    {"Delete", SCANACT_DELETE, SCANFLAG_NO_DISINFECT},
    {"Quarantine", SCANACT_QUARANTINE, SCANFLAG_NO_DISINFECT},
    {"Rename", SCANACT_RENAME, SCANFLAG_NO_DISINFECT},
};

VScheduleDialog::VScheduleDialog(QWidget* parent, const char* name, bool modal, Qt::WindowFlags flags)
    : DialogWindow(parent, name ? name : "VScheduleDialog", modal, flags)
{
    setShape({660, 530}, 7, 5);
    buildWidgets();
    languageChange();
    connectWidgets();
    init();
}

VScheduleDialog::~VScheduleDialog() = default;

void VScheduleDialog::buildWidgets()
{
    buildHeader("scheduler_task.png", 450);
    tabSchedule = new QTabWidget(this);
    tabSchedule->setObjectName(QLatin1StringView("tabSchedule"));
    tabSchedule->setGeometry(15, 66, 630, 418);
    wgtSchedule = buildPage("wgtSchedule");
    buildSchedulePage();
    wgtOption = buildPage("wgtOption");
    buildOptionPage();
    btnSave = build::textButton(this, "btnSave");
    btnSave->move(475, 490);
    btnSave->setDefault(true);
    btnCancel = build::textButton(this, "btnCancel");
    btnCancel->move(565, 490);
}

QWidget* VScheduleDialog::buildPage(const char* name)
{
    auto* page = new QWidget;
    page->setObjectName(QLatin1StringView(name));
    QPalette palette;
    palette.setBrush(QPalette::Window, vardoPixmap(background::box));
    page->setPalette(palette);
    page->setAutoFillBackground(true);
    tabSchedule->addTab(page, QString());
    return page;
}

void VScheduleDialog::buildSchedulePage()
{
    lblScheduleName = plainLabel(wgtSchedule, "lblScheduleName");
    editJobName = build::entry(wgtSchedule, "editJobName", "200x25Text.png", {200, 25}, noLimit);
    jobNameLayout = build::row(6, {lblScheduleName, editJobName});
    jobSpacer = build::stretch();
    jobNameLayout->addItem(jobSpacer);
    btngrpObjects = build::groupBox(wgtSchedule, "btngrpObjects", {600, 200});
    buildObjectGroup();
    btngrpSchedule = build::groupBox(wgtSchedule, "btngrpSchedule", {600, 120});
    buildTimeGroup();
    wgtScheduleLayout = build::layout<QVBoxLayout>(10, 6, wgtSchedule);
    wgtScheduleLayout->addLayout(jobNameLayout);
    wgtScheduleLayout->addWidget(btngrpObjects);
    wgtScheduleLayout->addWidget(btngrpSchedule);
    lblScheduleName->setBuddy(editJobName);
    editJobName->setFocus();
}

void VScheduleDialog::buildObjectGroup()
{
    rdoCheckAll = new VRadioButton(btngrpObjects, "rdoCheckAll");
    rdoCheckAll->setChecked(true);
    rdoCheckBrowse = new VRadioButton(btngrpObjects, "rdoCheckBrowse");
    lstObjList = new QListWidget(btngrpObjects);
    lstObjList->setObjectName(QLatin1StringView("lstObjList"));
    lstObjList->setPalette(contentPalette());
    lstObjList->setFixedSize(475, 100);
    btnBrowse = build::textButton(btngrpObjects, "btnBrowse");
    btnRemove = build::textButton(btngrpObjects, "btnRemove");
    lstBoxLayout = build::layout<QGridLayout>(0, 10);
    lstBoxLayout->addWidget(lstObjList, 0, 0, 2, 1);
    lstBoxLayout->addWidget(btnBrowse, 0, 1);
    lstBoxLayout->addWidget(btnRemove, 1, 1);
    btngrpObjectsLayout = build::layout<QVBoxLayout>(0, 6, btngrpObjects);
    btngrpObjectsLayout->setContentsMargins(build::groupMargins(btngrpObjects, 18));
    btngrpObjectsLayout->addWidget(rdoCheckAll);
    btngrpObjectsLayout->addWidget(rdoCheckBrowse);
    btngrpObjectsLayout->addLayout(lstBoxLayout);
}

void VScheduleDialog::buildTimeGroup()
{
    btngrpScheduleLayout = build::groupGrid(btngrpSchedule, 18, 6);
    for (int column = 0; const Frequency& frequency : frequencies) {
        btngrpScheduleLayout->setColumnStretch(column, 1);
        this->*frequency.radio = new VRadioButton(btngrpSchedule, frequency.name);
        btngrpScheduleLayout->addWidget(this->*frequency.radio, 0, column++);
    }
    for (int column = 0; const Time& time : times) {
        this->*time.label = plainLabel(btngrpSchedule, time.labelName);
        this->*time.spin =
            build::spinBox(btngrpSchedule, time.spinName, time.least, time.greatest, time.least);
        (this->*time.label)->setBuddy(this->*time.spin);
        btngrpScheduleLayout->addWidget(this->*time.label, 1, column);
        btngrpScheduleLayout->addWidget(this->*time.spin, 2, column++, Qt::AlignLeft);
    }
    lblDay = plainLabel(btngrpSchedule, "lblDay");
    cmbWeekDay = build::comboBox(btngrpSchedule, "cmbWeekDay", background::box);
    lblDay->setBuddy(cmbWeekDay);
    btngrpScheduleLayout->addWidget(lblDay, 1, 4);
    btngrpScheduleLayout->addWidget(cmbWeekDay, 2, 4);
    rdoOnce->setChecked(true);
}

void VScheduleDialog::buildOptionPage()
{
    lblInfectedAction = plainLabel(wgtOption, "lblInfectedAction");
    cmbScanAction = build::comboBox(wgtOption, "cmbScanAction", background::box);
    lblInfectedAction->setBuddy(cmbScanAction);
    infectedActionLayout = build::row(6, {lblInfectedAction, cmbScanAction});
    infectedSpacer = build::stretch();
    infectedActionLayout->addItem(infectedSpacer);
    grpboxSetting = build::groupBox(wgtOption, "grpboxSetting", {600, 150});
    grpboxSettingLayout = build::groupGrid(grpboxSetting, 18, 15);
    buildScanOptions(grpboxSetting, grpboxSettingLayout);
    wgtOptionLayout = build::layout<QVBoxLayout>(12, 15, wgtOption);
    wgtOptionLayout->addLayout(infectedActionLayout);
    wgtOptionLayout->addWidget(grpboxSetting);
    wgtOptionSpacer = new QSpacerItem(3, 3, QSizePolicy::Minimum, QSizePolicy::Expanding);
    wgtOptionLayout->addItem(wgtOptionSpacer);
}

void VScheduleDialog::connectWidgets()
{
    connect(btnCancel, &QAbstractButton::clicked, this, &QWidget::close);
    connect(btnSave, &QAbstractButton::clicked, this, &VScheduleDialog::saveClicked);
    connect(btnBrowse, &QAbstractButton::clicked, this, &VScheduleDialog::browseClicked);
    connect(btnRemove, &QAbstractButton::clicked, this, &VScheduleDialog::removeClicked);
    connect(rdoCheckAll, &QAbstractButton::toggled, this, &VScheduleDialog::checkAllChanged);
    connect(rdoCheckBrowse, &QAbstractButton::toggled, this, &VScheduleDialog::checkBrowseChanged);
    connect(lstObjList, &QListWidget::itemSelectionChanged, this, &VScheduleDialog::itemSelectionMade);
    // Of two radio buttons that change, the one that goes off says so first: the other's word counts.
    for (const Frequency& frequency : frequencies)
        connect(this->*frequency.radio, &QAbstractButton::toggled, this, frequency.slot);
    for (const Time& time : times)
        connect(this->*time.spin, &QSpinBox::valueChanged, this, &VScheduleDialog::settingsChanged);
    connect(editJobName, &QLineEdit::textChanged, this, &VScheduleDialog::settingsChanged);
    for (QComboBox* combo : {cmbWeekDay, cmbScanAction})
        connect(combo, &QComboBox::currentTextChanged, this, &VScheduleDialog::settingsChanged);
    for (VCheckBox* box : scanOptionBoxes())
        connect(box, &QCheckBox::stateChanged, this, &VScheduleDialog::settingsChanged);
}

void VScheduleDialog::languageChange()
{
    setWindowTitle(tr("Vardo"));
    tabSchedule->setTabText(0, tr("Schedule"));
    tabSchedule->setTabText(1, tr("Options"));
    setTexts(tr, {
                     {lblTitle, "Scheduler"},
                     {btnClose, nullptr, "Close"},
                     {btnSave, "&Save", "Save the schedule with current setting", "Alt+S"},
                     {btnCancel, "&Cancel", "Cancel the schedule changes", "Alt+C"},
                     {lblScheduleName, "Name"},
                     {btngrpObjects, "Objects"},
                     {rdoCheckAll, "Scan local hard disk drives"},
                     {rdoCheckBrowse, "Scan following directories and files"},
                     {btnBrowse, "&Browse", "Allows you to add scan object", "Alt+B"},
                     {btnRemove, "&Remove", "Allows you to remove scan object", "Alt+R"},
                     {btngrpSchedule, "Schedule"},
                     {lblDay, "Day"},
                     {lblInfectedAction, "Actions in case of virus detection"},
                     {grpboxSetting, "Settings"},
                 });
    tabSchedule->setAccessibleName(tr("Scheduler"));
    lstObjList->setAccessibleName(tr("Objects"));
    for (const Frequency& frequency : frequencies)
        setTexts(tr, {{this->*frequency.radio, frequency.text}});
    for (const Time& time : times)
        setTexts(tr, {{this->*time.label, time.text}});
    setItems(tr, cmbWeekDay, weekDays);
    setActions(tr, cmbScanAction, scanActions);
    setScanOptionTexts(tr);
}

void VScheduleDialog::init()
{
    for (QWidget* widget : std::initializer_list<QWidget*>{cmbWeekDay, btnBrowse, btnRemove})
        widget->setEnabled(false);
    editJobName->setText(QStringLiteral("job1"));
    const QDateTime now = QDateTime::currentDateTime();
    spinMonth->setValue(now.date().month());
    spinDate->setValue(now.date().day());
    spinHour->setValue(now.time().hour());
    spinMin->setValue(now.time().minute());
    cmbWeekDay->setCurrentIndex(now.date().dayOfWeek() % 7);
    cmbScanAction->setCurrentIndex(3);
    settingModified = false;
}

std::array<QWidget*, 5> VScheduleDialog::timeControls() const
{
    return {spinMonth, spinDate, spinHour, spinMin, cmbWeekDay};
}

void VScheduleDialog::frequencyChanged(unsigned char code, int state)
{
    const auto frequency = std::find_if(std::begin(frequencies), std::end(frequencies),
                                        [code](const Frequency& each) { return each.code == code; });
    const std::array<QWidget*, 5> controls = timeControls();
    for (std::size_t i = 0; i < controls.size(); ++i)
        controls[i]->setEnabled((frequency->uses[i] == '+') == (state != 0));
    settingsChanged();
}

void VScheduleDialog::scheduleOnceChanged(int state)
{
    frequencyChanged(FREQ_ONCE, state);
}

void VScheduleDialog::scheduleHourlyChanged(int state)
{
    frequencyChanged(FREQ_HOURLY, state);
}

void VScheduleDialog::scheduleDailyChanged(int state)
{
    frequencyChanged(FREQ_DAILY, state);
}

void VScheduleDialog::scheduleWeekelyChanged(int state)
{
    frequencyChanged(FREQ_WEEKLY, state);
}

void VScheduleDialog::scheduleMonthlyChanged(int state)
{
    frequencyChanged(FREQ_MONTHLY, state);
}

void VScheduleDialog::checkAllChanged(int state)
{
    checkBrowseChanged(state == 0);
}

void VScheduleDialog::checkBrowseChanged(int state)
{
    lstObjList->setEnabled(state != 0);
    btnBrowse->setEnabled(state != 0);
    btnRemove->setEnabled(state != 0 && lstObjList->count() > 0);
    settingsChanged();
}

void VScheduleDialog::settingsChanged()
{
    settingModified = true;
}

void VScheduleDialog::itemSelectionMade()
{
    btnRemove->setEnabled(true);
}

void VScheduleDialog::removeClicked()
{
    if (lstObjList->currentRow() < 0)
        return;
    delete lstObjList->takeItem(lstObjList->currentRow());
    settingsChanged();
    if (lstObjList->count() == 0)
        btnRemove->setEnabled(false);
}

void VScheduleDialog::reloadCron()
{
    const char* script = access(paths::cronScript, X_OK) == 0 ? paths::cronScript : paths::crondScript;
    if (access(script, X_OK) != 0 || runCommand({script, "restart"}, CommandOutput::Discarded) < 0)
        vMessage(this, tr("Error reloading cron. Please reload cron manually"), VMessageBox::Warning,
                 VMessageBox::BTN_OK);
}

void VScheduleDialog::reject()
{
    close();
}

void VScheduleDialog::closeEvent(QCloseEvent* event)
{
    const bool mayClose =
        !settingModified || !vAsk(this, tr("Do you want to save the changes?")) || saveClicked();
    schedule.reset();
    event->setAccepted(mayClose);
}
