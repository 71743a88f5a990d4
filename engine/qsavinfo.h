#pragma once

#include "engine/export.h"

#include <ctime>

/// The kind of engine a machine carries.
enum __QS_SystemType {
    QS_UNWSystem = 0, ///< none that can be used
    QS_KAVSystem = 1,
    QS_BDESystem = 2,
};
typedef enum __QS_SystemType QS_SystemType;

/// What is known of the signature set in use.
struct struct_qsavinfo
{
    unsigned long noOfSignature; ///< signatures in the set, 0 when no file tells
    struct tm udate;             ///< when the newest part of the set was made, local time
    char version[20];            ///< version of that part, terminated
};
typedef struct struct_qsavinfo qsavInfo;

/// Tells which engine is installed; QS_UNWSystem when its service or its signatures are missing.
VARDO_API QS_SystemType QS_GetSystemType();

/// Fills `info` from the signature directories that `avConf` names (null: the installation's file).
/// Negative, with `info` untouched, when `type` is QS_UNWSystem or no signature file can be read.
/// Reads file headers only, so it is quick and needs no running service.
VARDO_API int GetQSAVInfo(QS_SystemType type, const char* avConf, struct_qsavinfo& info);
