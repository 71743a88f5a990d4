#pragma once

#include "protocol/updatemessage.h"

#include <chrono>
#include <string>
#include <vector>

#include "engine/updatelog.h"

namespace updater {

/// Tells what an update does: whoever started it, and the update log.
class Report
{
  public:
    enum class Form { Text, Json, Engine };

    Report(Form form, bool quiet);
    ~Report();

    /// Begins the log of a run that will happen.
    void openLog();

    /// One of the codes of the engine's update callback.
    void tell(int code, long long first = 0, long long second = 0, const std::string& text = {});
    void detail(const std::string& text);

    /// A database in its new or old version, as the last messages of the callback were about it.
    void database(const std::string& name, unsigned before, unsigned now);

    /// The last word; returns the exit code.
    int result(int code, const std::string& text);

  private:
    void log(const std::string& text);
    void show(int code, long long first, long long second, const std::string& text);
    void showProgress(long long total, long long done);
    void hideProgress();

    struct Database
    {
        std::string name;
        unsigned before = 0;
        unsigned now = 0;
        long long bytes = 0;
    };

    const Form form_;
    const bool quiet_;
    const bool terminal_;
    bool progressShown_ = false;
    bool logging_ = false;
    QS_AVUpdateLog log_;
    std::chrono::steady_clock::time_point begun_;
    long long bytes_ = 0;
    std::string server_;
    std::vector<Database> databases_;
};

} // namespace updater
