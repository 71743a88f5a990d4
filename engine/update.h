#pragma once

#include "engine/avupdate.h"
#include "engine/export.h"

/// Option ids of vUpdate; behind them the type of the value pointed to. Buffers are 2048 bytes.
enum : unsigned int {
    UPDOPT_USEPROXY = 4,      ///< unsigned char, 0 or 1
    UPDOPT_PROXYSERVER = 5,   ///< char buffer
    UPDOPT_PROXYPORT = 6,     ///< unsigned int
    UPDOPT_PROXYAUTH = 7,     ///< unsigned char, 0 or 1
    UPDOPT_PROXYUSER = 8,     ///< char buffer
    UPDOPT_PROXYPASS = 9,     ///< char buffer
    UPDOPT_UPDATESERVER = 10, ///< char buffer, Get only
    UPDOPT_USEHTTPS = 11,     ///< unsigned char, 0 or 1
    UPDOPT_TIMEOUT = 12,      ///< unsigned char, seconds
    UPDOPT_NOOFRETRY = 13,    ///< unsigned char
    UPDOPT_AUTOUPDATE = 14,   ///< unsigned char, 0 or 1
    UPDOPT_UPDATEHOUR = 15,   ///< unsigned char
    UPDOPT_UPDATEMINUTE = 16, ///< unsigned char
};

/// Results of vUpdate::DoUpdate.
enum : int {
    UPDATE_DONE = 0,
    UPDATE_RUNNING = 1, ///< another update is running
    UPDATE_STOPPED = 2,
    UPDATE_ERROR = -1,
    UPDATE_NO_LOCK = -2, ///< the update lock could not be had
};

/// The settings of the signature update. Negative results are failures.
class vUpdateConf
{
  public:
    VARDO_API static int UpdateConf; ///< selects the update configuration file
    VARDO_API static int PathConf;   ///< selects the path configuration file

    vUpdateConf(const char* qsavConf, const char* updateConf);
    vUpdateConf(vUpdateConf& other);
    vUpdateConf& operator=(vUpdateConf& other);

    VARDO_API int ReadConfiguration(int part, const char* file);
    VARDO_API int SaveConfiguration(const char* file);

  private:
    friend struct EngineLayout;
    friend class vUpdate;
    friend struct EngineOptions;
    int ReadPathConfiguration(const char* file);
    int ReadUpdateConfiguration(const char* file);

    char* qsavFile;
    char* uconfFile;

  protected:
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
    unsigned char autoUpdate;
    unsigned char updateHour;
    unsigned char updateMinute;
};

/// One signature update, or the settings of all. One thread at a time, but for signal_update_term.
class vUpdate : public vUpdateConf
{
  public:
    VARDO_API vUpdate(const char* qsavConf, const char* updateConf);
    vUpdate(vUpdateConf& config);
    VARDO_API ~vUpdate();

    VARDO_API int GetOption(unsigned int id, void* value);
    VARDO_API int SetOption(unsigned int id, void* value);
    /// Updates the signatures; returns when that is over. `callback` comes on the calling thread.
    VARDO_API int DoUpdate(AVUpdateCallBack callback, AVUpdateContextData context, const char* arg);

  private:
    friend struct EngineLayout;
    void StopUpdate();

    unsigned char updateRunning;
    QS_AVUpdate* updater;
};

/// Tells a running update to stop. May be called from any thread.
VARDO_API void signal_update_term(int signal);
