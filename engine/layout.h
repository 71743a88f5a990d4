#pragma once

#include "engine/schedule.h"
#include "engine/update.h"
#include "engine/vardo.h"

#include <cstddef>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof" // the classes have no virtual functions or bases

/// Checks, when compiled, that every class and record has the layout that callers were built for
/// (x86-64, Itanium C++ ABI).
struct EngineLayout
{
    static_assert(sizeof(QS_ScanExtraData) == 1304);
    static_assert(offsetof(QS_ScanExtraData, extensions) == 256);
    static_assert(offsetof(QS_ScanExtraData, excludeDirs) == 1280);
    static_assert(offsetof(QS_ScanExtraData, maxSize) == 1288);
    static_assert(offsetof(QS_ScanExtraData, maxDepth) == 1296);
    static_assert(sizeof(QS_InterfaceScanRequest) == 24);
    static_assert(sizeof(QS_InterfaceScanStatistics) == 60);
    static_assert(offsetof(QS_InterfaceScanStatistics, scActionError) == 56);
    static_assert(offsetof(QS_IntefaceScanResult, scanStartTime) == 60);
    static_assert(offsetof(QS_IntefaceScanResult, resultCallBack) == 72);
    static_assert(sizeof(QS_IntefaceScanResult) == 88);
    static_assert(offsetof(struct_qsavinfo, udate) == 8);
    static_assert(offsetof(struct_qsavinfo, version) == 64);
    static_assert(sizeof(struct_qsavinfo) == 88);

    static_assert(sizeof(__VardoObject) == 24);
    static_assert(offsetof(__VardoObject, objType) == 8);
    static_assert(offsetof(__VardoObject, objNext) == 16);

    static_assert(sizeof(ScanConfig) == 48);
    static_assert(offsetof(ScanConfig, action) == 4);
    static_assert(offsetof(ScanConfig, logLevel) == 8);
    static_assert(offsetof(ScanConfig, memScan) == 12);
    static_assert(offsetof(ScanConfig, Alert) == 13);
    static_assert(offsetof(ScanConfig, AlertDays) == 16);
    static_assert(offsetof(ScanConfig, logLocation) == 24);
    static_assert(offsetof(ScanConfig, ScanConfFile) == 32);
    static_assert(offsetof(ScanConfig, extra) == 40);

    static_assert(sizeof(Vardo) == 80);
    static_assert(offsetof(Vardo, scanObjects) == 48);
    static_assert(offsetof(Vardo, handle) == 56);
    static_assert(offsetof(Vardo, request) == 64);
    static_assert(offsetof(Vardo, result) == 72);

    static_assert(sizeof(vUpdateConf) == 104);
    static_assert(offsetof(vUpdateConf, uconfFile) == 8);
    static_assert(offsetof(vUpdateConf, backPath) == 32);
    static_assert(offsetof(vUpdateConf, proxyAuth) == 41);
    static_assert(offsetof(vUpdateConf, proxyPort) == 56);
    static_assert(offsetof(vUpdateConf, useHttps) == 80);
    static_assert(offsetof(vUpdateConf, updateServer) == 88);
    static_assert(offsetof(vUpdateConf, updateMinute) == 98);
    // The derived class uses the tail padding of its base.
    static_assert(offsetof(vUpdate, updateRunning) == 99);
    static_assert(offsetof(vUpdate, updater) == 104);
    static_assert(sizeof(vUpdate) == 112);

    static_assert(sizeof(vSchedule) == 96);
    static_assert(offsetof(vSchedule, scheduleName) == 48);
    static_assert(offsetof(vSchedule, frequency) == 56);
    static_assert(offsetof(vSchedule, second) == 62);
    static_assert(offsetof(vSchedule, scanObjects) == 64);
    static_assert(offsetof(vSchedule, extra) == 88);
};

#pragma GCC diagnostic pop
