#pragma once

#include "engine/interface.h"
#include "engine/qsavinfo.h"

#include <ctime>

/// One entry of the singly linked list of objects to scan.
class __VardoObject
{
  public:
    char* objName;          ///< path, owned by the entry
    int objType;            ///< Vardo::ScanObjDir or Vardo::ScanObjFile
    __VardoObject* objNext; ///< next entry, null at the end

    __VardoObject();
    __VardoObject(__VardoObject* other);
    VARDO_API __VardoObject(const char* name, int type);
    VARDO_API ~__VardoObject();

    /// Ends the whole list, this entry too: the caller drops its pointer and does not delete it.
    VARDO_API void ClearList();
    int AddList(__VardoObject* list);
    int AddNext(const char* name, char type);
    /// Appends a new entry at the end of the list. Negative when out of memory.
    VARDO_API int AddLast(const char* name, char type);
    int CopyList(const __VardoObject* list);
};
typedef __VardoObject VardoObject;

/// The options of a scan and the file that keeps them. Results are 0 or more on success, negative on
/// failure. Not for use by two threads at once.
class ScanConfig
{
  public:
    /// Remembers `confFile`; nothing is read before ReadConfiguration.
    VARDO_API ScanConfig(const char* confFile);
    ScanConfig(ScanConfig& other);
    VARDO_API ~ScanConfig();
    ScanConfig& operator=(ScanConfig& other);

    /// Takes the options from `file`, or with null from the file given at construction, and forgets
    /// those held in memory. Keys that the file lacks get their defaults.
    VARDO_API int ReadConfiguration(const char* file);
    /// Writes the held options to `file`, or with null to the file given at construction. The file is
    /// replaced as a whole or left as it was; its foreign keys, its head, owner and mode stay.
    VARDO_API int SaveConfiguration(const char* file);
    /// Path of the file given at construction, owned by the object.
    VARDO_API const char* getConfigFile() const;

    VARDO_API int SetScanOption(unsigned int bit);
    VARDO_API int UnsetScanOption(unsigned int bit);
    VARDO_API int SetAction(unsigned int action);
    /// Reads or writes the option `id` behind `value`, whose type interface.h names with each id.
    VARDO_API int SetOption(unsigned int id, void* value);
    VARDO_API int GetOption(unsigned int id, void* value);

    /// True when the warning is on and `date` (local time) lies further back than the alert limit.
    VARDO_API bool MakeAlert(tm& date);
    /// The same for the signature set that the configuration file `avConf` names.
    VARDO_API bool MakeAlert(const char* avConf);
    /// Rewrites the configuration file without the quotes around its values.
    VARDO_API int removeConfQoutes();

  protected:
    friend struct EngineLayout;
    friend struct EngineOptions;
    unsigned int scanOpts;
    unsigned int action;
    unsigned int logLevel;
    unsigned char memScan;
    unsigned char Alert;
    unsigned int AlertDays;
    char* logLocation;
    char* ScanConfFile;
    QS_ScanExtraData* extra;
};

/// The scan engine. Owns what it is given by copy. One scan at a time, from one thread at a time.
class Vardo : public ScanConfig
{
  public:
    VARDO_API static char ScanObjDir;  ///< objType of a directory
    VARDO_API static char ScanObjFile; ///< objType of a regular file

    VARDO_API Vardo(const char* confFile);
    Vardo(ScanConfig& config);
    VARDO_API ~Vardo();

    /// Replaces the list of objects to scan by a copy of `list`.
    VARDO_API int SetObjectList(VardoObject* list);
    /// Appends one path, of any kind that exists.
    VARDO_API int AddObject(const char* path);
    int AddObjectList(VardoObject* list);
    int GetObjectList(VardoObject** list);
    VARDO_API void ClearObjects();
    bool isObjectInScanList(const char* path, bool exact);

    /// Sets the action data (quarantine directory or extension) and the extension of renamed files;
    /// with `save` they also stand in the configuration that the next SaveConfiguration writes.
    VARDO_API int SetActionData(const char* actData, const char* extension, bool save);
    /// Has at most that many processes scan, 1 to 64, in place of the configured number. It is no option of
    /// the settings and never saved.
    VARDO_API void SetWorkers(unsigned int count);
    /// Opens a new scan log in `file`'s directory (null: the configured one) at `level` (-1: the
    /// configured one).
    VARDO_API int LogInit(const char* file, int level);

    /// True once VardoAVInit has brought the scanning service up.
    VARDO_API bool VardoIsAVLoaded();
    /// Finds or starts the scanning service and waits until its signatures are loaded. `avConf` names
    /// the sockets and signature directories; `cb`, when given, is called as a beat while it waits and
    /// may stop it, and with a remark for each setting that does not count for root; `wait` false only starts
    /// the service.
    VARDO_API int VardoAVInit(const char* avConf, QS_ResultCallBack cb, bool wait);
    /// Lets go of the service, which ends itself when nobody has used it for a while.
    VARDO_API void VardoAVDeinit(QS_ResultCallBack cb);

    /// Scans the object list. Returns when the scan is over; every callback comes on the calling
    /// thread, in the order of the walk. Negative on failure (see ScanError), SCANRESULT_CANCELLED
    /// when the callback asked to stop.
    VARDO_API int DoScan(QS_ResultCallBack cb, QS_ResultContextData* ctx, QS_actionPromptCallBack prompt);
    int DoScan(const char* object, QS_ResultCallBack cb, QS_ResultContextData* ctx,
               QS_actionPromptCallBack prompt);
    /// Scans the running processes that the caller may read, in the same manner. `all` false limits it
    /// to the caller's own processes.
    VARDO_API int DoMemoryScan(QS_ResultCallBack cb, QS_ResultContextData* ctx, bool all);
    int DoMemoryScan(const char* object, QS_ResultCallBack cb, QS_ResultContextData* ctx, bool all);

    /// Whether scans leave out what was clean before and has not changed since, which is so unless the
    /// configuration says otherwise. With false they look at everything and remember nothing.
    VARDO_API void RememberFiles(bool on);
    /// How many objects were left out so since the last ResetResult; they count as scanned and clean.
    VARDO_API unsigned int RememberedObjects();
    /// Forgets all files that scans with the configuration `avConf` (null: the installation's) remember.
    VARDO_API int ForgetFiles(const char* avConf);
    /// Whether a scan takes out of the memory again what it alone had read. Else the configuration decides.
    VARDO_API void BeGentle(bool on);

    /// Text of the last failure, owned by the object; empty when there was none. After CloseLog that of a log
    /// which is not whole.
    VARDO_API const char* ScanError();
    /// The running counters, owned by the object.
    VARDO_API QS_InterfaceScanStatistics* GetStatistics();
    VARDO_API void ResetResult();

  private:
    friend struct EngineLayout;
    VardoObject* scanObjects;
    QS_AVPHandle handle;
    QS_InterfaceScanRequest* request;
    QS_IntefaceScanResult* result;
};
