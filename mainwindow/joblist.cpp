#include "mainwindow/joblist.h"

#include "base/paths.h"
#include "base/plainfile.h"
#include "engine/schedule.h"
#include "kit/visibletext.h"
#include "sfl/sfl.h"

#include <QHeaderView>
#include <QStringList>
#include <QTreeWidget>

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Where a row keeps the bytes of its job's name.
constexpr int nameRole = Qt::UserRole;
constexpr off_t largestStore = 4 << 20; // as for the engine

struct Job
{
    QByteArray name;
    unsigned char frequency = 0;
    unsigned char month = 0;
    unsigned char monthDay = 0;
    unsigned char weekDay = 0;
    unsigned char hour = 0;
    unsigned char minute = 0;
    QStringList objects;
};

/// The options of a job, in the order in which the engine is asked for them.
constexpr struct
{
    unsigned int id;
    unsigned char Job::*field;
} options[] = {
    {SCHEDOPT_FREQUENCY, &Job::frequency}, {SCHEDOPT_MONTH, &Job::month}, {SCHEDOPT_MONTHDAY, &Job::monthDay},
    {SCHEDOPT_WEEKDAY, &Job::weekDay},     {SCHEDOPT_HOUR, &Job::hour},   {SCHEDOPT_MINUTE, &Job::minute},
};

constexpr const char* weekDays[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                    "Thursday", "Friday", "Saturday"};

constexpr const char* frequencies[] = {"Once", "Hourly", "Daily", "Weekly", "Monthly"};

/// Loads the schedule store; a store that is missing, or that somebody put something else in place of, makes
/// an empty table.
sfl::SymTablePtr loadStore()
{
    sfl::SymTablePtr table(sym_create_table_("schedulerpage", __LINE__));
    const base::UniqueFd file = base::openPlainFile(AT_FDCWD, paths::scheduleStore, O_RDONLY);
    struct stat status = {};
    if (table && file && fstat(file.get(), &status) == 0 && status.st_size <= largestStore)
        ini_dyn_load(table.get(), ("/proc/self/fd/" + std::to_string(file.get())).c_str());
    return table;
}

/// Takes the list over and ends it.
QStringList shownObjects(VardoObject* list)
{
    QStringList shown;
    for (const VardoObject* object = list; object; object = object->objNext)
        shown << visibleText(shownText(object->objName));
    list->ClearList();
    return shown;
}

/// The job of a section of the store; nothing when it cannot be read or has no objects.
std::optional<Job> readJob(const std::string& section)
{
    vSchedule schedule(section.c_str(), paths::scheduleStore);
    if (schedule.ReadConfiguration(nullptr) < 0)
        return std::nullopt;
    Job job;
    for (const auto& [id, field] : options) {
        if (schedule.GetOption(id, &(job.*field)) < 0)
            return std::nullopt;
    }
    VardoObject* objects = nullptr;
    if (schedule.GetObjectList(&objects) < 0 || !objects)
        return std::nullopt;
    job.objects = shownObjects(objects);
    // The section's text may be an encoded name.
    const char* name = schedule.GetScheduleName();
    job.name = name ? name : section.c_str();
    return job;
}

QString timeText(const Job& job)
{
    switch (job.frequency) {
    case FREQ_ONCE:
        return QString::asprintf("%d/%d   %d:%d", job.monthDay, job.month, job.hour, job.minute);
    case FREQ_HOURLY:
        return QString::asprintf("%d minutes after an hour", job.minute);
    case FREQ_DAILY:
        return QString::asprintf("%d:%d everyday", job.hour, job.minute);
    case FREQ_WEEKLY:
        return QString::asprintf("%s %d:%d every week", weekDays[job.weekDay % std::size(weekDays)], job.hour,
                                 job.minute);
    case FREQ_MONTHLY:
        return QString::asprintf("On %dth %d:%d every month", job.monthDay, job.hour, job.minute);
    default:
        return {};
    }
}

/// What has no room in its column stands whole in the tool tip.
class JobRow : public QTreeWidgetItem
{
  public:
    using QTreeWidgetItem::QTreeWidgetItem;

    QVariant data(int column, int role) const override
    {
        if (role != Qt::ToolTipRole)
            return QTreeWidgetItem::data(column, role);
        const QTreeWidget* list = treeWidget();
        constexpr int margins = 8;
        const int room =
            std::min(list->columnWidth(column),
                     list->viewport()->width() - list->header()->sectionViewportPosition(column));
        const bool fits = list->fontMetrics().horizontalAdvance(text(column)) + margins <= room;
        return fits ? QString() : literalToolTip(text(column));
    }
};

QTreeWidgetItem* makeRow(const Job& job, bool outdated)
{
    const QString name = visibleText(shownText(job.name)), objects = job.objects.join(u',');
    const bool known = job.frequency < std::size(frequencies);
    auto* row = new JobRow({outdated ? name + u'*' : name,
                            QLatin1StringView(known ? frequencies[job.frequency] : "Unknown"), timeText(job),
                            objects});
    row->setData(0, nameRole, job.name);
    return row;
}

} // namespace

std::optional<JobList> readJobList()
{
    const sfl::SymTablePtr table = loadStore();
    if (!table)
        return std::nullopt;
    JobList list;
    std::string previous;
    for (const _SYMBOL* symbol = table->symbols; symbol; symbol = symbol->next) {
        const std::string_view key = symbol->name;
        const std::string section(key.substr(0, key.find(':')));
        if (section.size() == key.size() || section == previous)
            continue;
        const std::optional<Job> job = readJob(section);
        // One that cannot be read gets another try at its next key.
        if (!job)
            continue;
        const bool outdated = job->frequency == FREQ_ONCE &&
                              vSchedule::IsScheduleOutdated(section.c_str(), paths::scheduleStore);
        list.anyOutdated |= outdated;
        list.rows << makeRow(*job, outdated);
        previous = section;
    }
    return list;
}

QByteArray jobName(const QTreeWidgetItem& row)
{
    return row.data(0, nameRole).toByteArray();
}
