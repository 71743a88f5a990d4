#pragma once

#include "engine/vardo.h"

/// Option ids of vSchedule: another numbering than that of ScanConfig.
enum : unsigned int {
    SCHEDOPT_ACTION = 1,    ///< unsigned int, a SCANACT_ code
    SCHEDOPT_SCANFLAGS = 7, ///< unsigned int, SCANFLAG_ bits
    SCHEDOPT_FREQUENCY = 8, ///< unsigned char, a FREQ_ code
    SCHEDOPT_MONTH = 9,     ///< unsigned char, 1 to 12
    SCHEDOPT_MONTHDAY = 10, ///< unsigned char
    SCHEDOPT_WEEKDAY = 11,  ///< unsigned char, 0 is Sunday
    SCHEDOPT_HOUR = 12,     ///< unsigned char
    SCHEDOPT_MINUTE = 13,   ///< unsigned char
};

enum : unsigned char {
    FREQ_ONCE = 0,
    FREQ_HOURLY = 1,
    FREQ_DAILY = 2,
    FREQ_WEEKLY = 3,
    FREQ_MONTHLY = 4,
};

/// Failures of vSchedule::SaveSchedule.
enum : int {
    SCHEDERR_SAVE = -1,
    SCHEDERR_EXISTS = -2,
    SCHEDERR_OBJECTS = -3,
    SCHEDERR_TIME = -4,
    SCHEDERR_CRON = -5,
};

/// One scheduled scan: a working copy that reaches the store only by SaveSchedule.
class vSchedule : public ScanConfig
{
  public:
    /// `name` is null for a job that has none yet; `confFile` is the schedule store.
    VARDO_API vSchedule(const char* name, const char* confFile);
    VARDO_API ~vSchedule();
    vSchedule& operator=(vSchedule& other);

    VARDO_API int ReadConfiguration(const char* file);
    int SaveConfiguration(const char* file);
    VARDO_API int ReadSchedule(const char* name, const char* confFile);
    VARDO_API const char* GetScheduleName();
    VARDO_API int SetScheduleName(const char* name);
    VARDO_API int GetOption(unsigned int id, void* value);
    VARDO_API int SetOption(unsigned int id, void* value);

    /// Gives a copy of the job's objects, which the caller ends with ClearList; null when there is none.
    VARDO_API int GetObjectList(VardoObject** list);
    int SetObjectList(VardoObject* list);
    int AddObjectList(VardoObject* list);
    VARDO_API void ClearObjectList();
    VARDO_API int AddObject(const char* path);

    /// Stores the job and makes its cron entry; `existing` when the job already stands in the store.
    VARDO_API int SaveSchedule(const char* cronFile, const char* user, const char* confFile, bool existing);
    int RunSchedule(QS_ResultCallBack cb, QS_ResultContextData* ctx);
    const char* ScanError();
    QS_InterfaceScanStatistics* GetStatistics();

    VARDO_API static bool IsScheduleOutdated(const char* name, const char* confFile);
    VARDO_API static int DeleteSchedule(const char* cronFile, const char* name, const char* confFile);
    VARDO_API static int DeleteOldSchedules(const char* cronFile, const char* confFile);

  private:
    friend struct EngineLayout;
    friend struct EngineOptions;
    int ValidateCron();
    int CreateCronEntry(const char* cronFile, const char* user);
    static int DeleteCronEntry(const char* cronFile, const char* name);

    char* scheduleName;
    unsigned char frequency;
    unsigned char month;
    unsigned char monthDay;
    unsigned char weekDay;
    unsigned char hour;
    unsigned char minute;
    unsigned char second;
    VardoObject* scanObjects;
    QS_InterfaceScanRequest* request;
    QS_IntefaceScanResult* result;
    QS_ScanExtraData* extra; ///< repeats the base's field: the layout is fixed
};
