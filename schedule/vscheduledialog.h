#pragma once

#include "kit/dialogwindow.h"
#include "schedule/scanoptionboxes.h"

#include <QByteArray>

#include <array>
#include <memory>

class QComboBox;
class QGridLayout;
class QGroupBox;
class QHBoxLayout;
class QLabel;
class QLineEdit;
class QListWidget;
class QSpacerItem;
class QSpinBox;
class QTabWidget;
class QVBoxLayout;
class VPushButton;
class VRadioButton;
class vSchedule;

/// The editor of one scheduled scan: when it runs, what it scans and with which options. What is saved goes
/// to the schedule store through the engine, and cron is told. GUI thread only.
class VScheduleDialog : public DialogWindow, private ScanOptionBoxes
{
    Q_OBJECT

  public:
    /// Begins with a new job that would run now, once, over the whole computer.
    VScheduleDialog(QWidget* parent, const char* name, bool modal, Qt::WindowFlags flags);
    ~VScheduleDialog() override;

    /// Loads the job `name` from the store, before exec(). It stops where the job holds nothing usable: what
    /// follows stays as it is, and a save will then be refused like that of a second job of the name.
    void init(const char* name);

    /// The number of days of a month, 0 for no month; that of February goes by the year counted from 1900.
    int getMaxDate(int month);
    static int getMaxDate(int month, int yearsSince1900);
    /// Has cron read its files again, or tells the user that it could not. Waits for the script's end.
    void reloadCron();

    /// Escape closes the window as its button does, after the question.
    void reject() override;

  public slots:
    /// True when the job is saved.
    bool saveClicked();
    void removeClicked();
    void browseClicked();
    void checkAllChanged(int state);
    void checkBrowseChanged(int state);
    void scheduleOnceChanged(int state);
    void scheduleHourlyChanged(int state);
    void scheduleDailyChanged(int state);
    void scheduleWeekelyChanged(int state);
    void scheduleMonthlyChanged(int state);
    void settingsChanged();
    void itemSelectionMade();

  protected:
    void closeEvent(QCloseEvent* event) override;

  private:
    /// A radio button and what it means.
    struct Frequency
    {
        VRadioButton* VScheduleDialog::*radio;
        const char* name;
        const char* text;
        void (VScheduleDialog::*slot)(int);
        unsigned char code;
        char uses[6]; ///< a plus for each of timeControls() that counts
    };
    /// A number of the time, with its label.
    struct Time
    {
        QLabel* VScheduleDialog::*label;
        const char* labelName;
        const char* text;
        QSpinBox* VScheduleDialog::*spin;
        const char* spinName;
        int least, greatest;
        unsigned int option; ///< of vSchedule
    };
    static const Frequency frequencies[5];
    static const Time times[4];
    static const ScanAction scanActions[8];

    void buildWidgets();
    QWidget* buildPage(const char* name);
    void buildSchedulePage();
    void buildObjectGroup();
    void buildTimeGroup();
    void buildOptionPage();
    void connectWidgets();
    void languageChange();
    void init();

    /// Month, date, hour, minute, weekday.
    std::array<QWidget*, 5> timeControls() const;
    void frequencyChanged(unsigned char code, int state);
    void addObject(const QByteArray& path);
    /// Likewise for a path that comes from the tree, unless the list is full of it.
    void addChosen(const QByteArray& path);
    /// Each loads a part of the job into its controls; false where it cannot be used.
    bool loadName();
    bool loadOptions();
    bool loadTimes();
    bool loadObjects();
    /// A number of the job's time; -1 when it cannot be had or is greater.
    int storedTime(unsigned int option, int greatest);

    QByteArray jobName() const;
    /// Makes `schedule` if there is none; false when there is no memory for it.
    bool needSchedule(const char* name);
    void giveOptions();
    void giveTimes();
    /// False when there is nothing to scan.
    bool giveObjects();
    /// Tells the user how the save went, and whether it did not fail.
    bool finishSave(int result);
    /// A new job that could not be saved begins again, as its name may change.
    void forgetNewJob();

    std::unique_ptr<vSchedule> schedule; ///< the job at work; none before it is needed
    bool settingModified = false;
    bool existing = false; ///< the job stands in the store and is edited
    QByteArray storedName; ///< the bytes of the name that a loaded job has

    VPushButton* btnSave = nullptr;
    VPushButton* btnCancel = nullptr;
    VPushButton* btnBrowse = nullptr;
    VPushButton* btnRemove = nullptr;
    VRadioButton* rdoDaily = nullptr;
    VRadioButton* rdoHourly = nullptr;
    VRadioButton* rdoWeekly = nullptr;
    VRadioButton* rdoMonthly = nullptr;
    VRadioButton* rdoOnce = nullptr;
    VRadioButton* rdoCheckAll = nullptr;
    VRadioButton* rdoCheckBrowse = nullptr;
    QSpinBox* spinMonth = nullptr;
    QSpinBox* spinDate = nullptr;
    QSpinBox* spinHour = nullptr;
    QSpinBox* spinMin = nullptr;
    QLineEdit* editJobName = nullptr;
    QComboBox* cmbWeekDay = nullptr;
    QComboBox* cmbScanAction = nullptr;
    QTabWidget* tabSchedule = nullptr;
    QLabel* lblScheduleName = nullptr;
    QLabel* lblInfectedAction = nullptr;
    QLabel* lblMonth = nullptr;
    QLabel* lblDate = nullptr;
    QLabel* lblHour = nullptr;
    QLabel* lblMin = nullptr;
    QLabel* lblDay = nullptr;
    QGroupBox* btngrpSchedule = nullptr;
    QGroupBox* btngrpObjects = nullptr;
    QGroupBox* grpboxSetting = nullptr;
    QListWidget* lstObjList = nullptr;
    QWidget* wgtOption = nullptr;
    QWidget* wgtSchedule = nullptr;
    QGridLayout* btngrpScheduleLayout = nullptr;
    QGridLayout* grpboxSettingLayout = nullptr;
    QVBoxLayout* btngrpObjectsLayout = nullptr;
    QGridLayout* lstBoxLayout = nullptr;
    QHBoxLayout* jobNameLayout = nullptr;
    QHBoxLayout* infectedActionLayout = nullptr;
    QVBoxLayout* wgtOptionLayout = nullptr;
    QVBoxLayout* wgtScheduleLayout = nullptr;
    QSpacerItem* wgtOptionSpacer = nullptr;
    QSpacerItem* jobSpacer = nullptr;
    QSpacerItem* infectedSpacer = nullptr;
};
