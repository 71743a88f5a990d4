#pragma once

#include "engine/export.h"

/// The records, callbacks and numbers that cross the boundary of libvardo.so.
/// Field order and widths are a binary contract (checked in engine/layout.h).

typedef char qs_fString[256];
typedef char qs_lString[1024];
typedef void QS_ResultContextData;
typedef void* QS_AVPHandle;

/// Called for each directory entered and each object dealt with, on the thread that called the scan.
/// The texts belong to the engine and are valid during the call. A call with status 0 and an empty
/// name is a beat: nothing happened, but the caller may serve its events and ask for a stop. One with
/// status 0, a name that is no directory's and a remark tells of something that the scan left out, and why.
typedef int (*QS_ResultCallBack)(const char* objName, int objectType, int statusCode, const char* virus,
                                 const char* remark, QS_ResultContextData* cdata);

/// Asks what to do about the infected object `fname`; answers a PROMPT_ code. `actData` is null or a
/// buffer of 256 bytes that the callee may fill with the quarantine directory or the new extension.
typedef int (*QS_actionPromptCallBack)(const char* fname, char* actData);

/// Option ids of ScanConfig::GetOption and SetOption; behind them the type of the value pointed to.
enum : unsigned int {
    SCANOPT_ACTION = 1,      ///< unsigned int, a SCANACT_ code
    SCANOPT_LOGLEVEL = 2,    ///< unsigned int, a LOGLEVEL_ code
    SCANOPT_LOGLOCATION = 3, ///< char[2048]
    SCANOPT_MEMSCAN = 4,     ///< unsigned char, 0 or 1
    SCANOPT_EXTENSIONS = 6,  ///< qs_lString, names divided by commas, semicolons or blanks
    SCANOPT_EXCLUDEDIRS = 7, ///< char*; Get gives a pointer owned by the engine
    SCANOPT_MAXDEPTH = 8,    ///< unsigned char
    SCANOPT_MAXSIZE = 9,     ///< unsigned long, bytes
    SCANOPT_ACTDATA = 10,    ///< qs_fString
    SCANOPT_SCANOPTS = 11,   ///< unsigned int, SCANFLAG_ bits
    SCANOPT_ALERT = 12,      ///< unsigned char, 0 or 1
    SCANOPT_ALERTDAYS = 13,  ///< unsigned int, days
};

/// Option bits: the value of SCANOPT_SCANOPTS.
enum : unsigned int {
    SCANFLAG_NO_DISINFECT = 0x0001,
    SCANFLAG_DISINFECT = 0x0002,
    SCANFLAG_NO_RECURSE = 0x0004,
    SCANFLAG_FOLLOW_SYMLINKS = 0x0008,
    SCANFLAG_CROSS_FS = 0x0010,
    SCANFLAG_NO_PACKED = 0x0020,
    SCANFLAG_NO_ARCHIVES = 0x0040,
    SCANFLAG_NO_MAILS = 0x0100,
    SCANFLAG_NO_HEURISTIC = 0x0200,
    SCANFLAG_INCLUDE_EXTENSIONS = 0x0400,
    SCANFLAG_EXCLUDE_EXTENSIONS = 0x0800,
    SCANFLAG_EXCLUDE_DIRS = 0x1000,
    SCANFLAG_MAX_DEPTH = 0x2000,
    SCANFLAG_MAX_SIZE = 0x4000,
};

/// What to do about an infected object: the value of SCANOPT_ACTION.
enum : unsigned int {
    SCANACT_LOG = 0,
    SCANACT_DELETE = 1,
    SCANACT_RENAME = 2,
    SCANACT_QUARANTINE = 3,
    SCANACT_PROMPT = 4,
};

/// Log levels: a message is written when its level does not exceed the configured one.
enum : unsigned int {
    LOGLEVEL_MINIMUM = 1,
    LOGLEVEL_INFECTED = 2,
    LOGLEVEL_ALL = 3,
};

/// Object types of the result callback: the first by equality, the others by bit.
enum : int {
    OBJTYPE_FILE = 0,
    OBJTYPE_DIRECTORY = 1,
    OBJTYPE_PROCESS = 0x10,
    OBJTYPE_PROCESS_ALT = 0x20,
};

/// Status bits of the result callback.
enum : int {
    SCANSTAT_CLEAN = 0x00001,
    SCANSTAT_INFECTED = 0x00002,
    SCANSTAT_SUSPECTED = 0x00004,
    SCANSTAT_ERROR = 0x00008,
    SCANSTAT_DISINFECTED = 0x00010,
    SCANSTAT_DELETED = 0x00020,
    SCANSTAT_QUARANTINED = 0x00040,
    SCANSTAT_RENAMED = 0x00080,
    SCANSTAT_CURE_FAILED = 0x00100,
    SCANSTAT_DELETE_FAILED = 0x00200,
    SCANSTAT_QUARANTINE_FAILED = 0x00400,
    SCANSTAT_RENAME_FAILED = 0x00800,
    SCANSTAT_CORRUPT = 0x20000,
    SCANSTAT_ENCRYPTED = 0x40000,
};

/// Answers of the result callback.
enum : int {
    CALLBACK_CONTINUE = 0,
    CALLBACK_STOP = 2,
    CALLBACK_RECORD_FAILED = -1, ///< the caller could not note the quarantined file
};

/// Answers of the action prompt.
enum : int {
    PROMPT_NOTHING = 0,
    PROMPT_DELETE = 1,
    PROMPT_RENAME = 2,
    PROMPT_QUARANTINE = 3,
    PROMPT_CLOSE = 5,
};

/// Result of DoScan and DoMemoryScan when the caller stopped them.
enum : int { SCANRESULT_CANCELLED = 64 };

struct __QS_ScanExtraData
{
    qs_fString actData;     ///< quarantine directory or rename extension
    qs_lString extensions;  ///< extension list
    char* excludeDirs;      ///< excluded directories
    unsigned long maxSize;  ///< largest file to scan, bytes
    unsigned char maxDepth; ///< deepest recursion
};
typedef struct __QS_ScanExtraData QS_ScanExtraData;

struct __QS_InterfaceScanRequest
{
    char* obj_name;
    unsigned int scanOpts;
    unsigned int actOpts;
    QS_actionPromptCallBack actPromptFunc;
};
typedef struct __QS_InterfaceScanRequest QS_InterfaceScanRequest;

/// Counters of one scan, since the last ResetResult.
struct __QS_InterfaceScanStatistics
{
    unsigned int scDirectories;
    unsigned int scFiles;
    unsigned int scClean;
    unsigned int scInfected;
    unsigned int scSuspicious;
    unsigned int scCured;
    unsigned int scCureFailed;
    unsigned int scVirus;
    unsigned int scDeleted;
    unsigned int scRenamed;
    unsigned int scQuarantined;
    unsigned int scCorrupt;
    unsigned int scEncrypted;
    unsigned int scScanError;
    unsigned int scActionError;
};
typedef struct __QS_InterfaceScanStatistics QS_InterfaceScanStatistics;

struct __QS_IntefaceScanResult
{
    QS_InterfaceScanStatistics scanStatistics;
    unsigned int scanStartTime; ///< seconds since the epoch
    unsigned int scanEndTime;   ///< seconds since the epoch
    QS_ResultCallBack resultCallBack;
    QS_ResultContextData* contextData;
};
typedef struct __QS_IntefaceScanResult QS_IntefaceScanResult;

/// Writes a printf-style message into the log that Vardo::LogInit opened, when `level` does not exceed
/// the log's. The text brings its own line end. Silent when no log is open.
[[gnu::format(printf, 2, 3)]] VARDO_API void LogMe(unsigned char level, const char* format, ...);

/// Writes out and closes the log opened by Vardo::LogInit, if any.
VARDO_API void CloseLog();
