#pragma once

#include "engine/qsavinfo.h"
#include "engine/updatelog.h"

/// Reports the progress of an update; answers 0 to go on, 2 to stop. See the UPDATE_ codes.
typedef int (*AVUpdateCallBack)(int code, const char* text, long long first, long long second, void* context);
typedef void* AVUpdateContextData;

/// Codes of the update callback.
enum : int {
    UPDATE_STARTED = 4,     ///< text: the server
    UPDATE_INITIALISED = 5, ///< text: the server
    UPDATE_DETAIL = 6,      ///< text: one line for the details
    UPDATE_PROGRESS = 8,    ///< first: total bytes, second: bytes done
    UPDATE_INSTALLING = 9,
    UPDATE_FAILED = 11,
};

/// One run of an update, behind vUpdate. Not part of what callers use.
class QS_AVUpdate
{
  public:
    QS_AVUpdate();
    QS_AVUpdate(const char* base, const char* tmp, const char* back, unsigned char proxy, const char* server,
                unsigned int port, unsigned char auth, const char* user, const char* pass,
                unsigned char https, unsigned char connectTimeOut, unsigned char retries,
                const char* updServer);
    int SetValues(const char* base, const char* tmp, const char* back, unsigned char proxy,
                  const char* server, unsigned int port, unsigned char auth, const char* user,
                  const char* pass, unsigned char https, unsigned char connectTimeOut, unsigned char retries,
                  const char* updServer);
    int LockUpdate(const char* file);
    int UnLockUpdate();
    int UpdateNow(AVUpdateCallBack callback, AVUpdateContextData context);

  private:
    int isRunning();
    QS_SystemType QS_GetSystemType();

    QS_SystemType sysType;
    unsigned char lockUpdate;
    QS_AVUpdateLog* log;

  protected:
    friend struct EngineLayout;
    char* basePath;
    char* tmpPath;
    char* backPath;
    unsigned char useProxy;
    unsigned char proxyAuth;
    char* proxyServer;
    unsigned int proxyPort;
    char* proxyUser;
    char* proxyPass;
    unsigned char useHttps;
    unsigned char timeOut;
    unsigned char noOfRetry;
    char* updateServer;
};
