#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <clamav.h>

namespace qsavd {

struct EngineDeleter
{
    void operator()(cl_engine* engine) const { cl_engine_free(engine); }
};
using EnginePtr = std::unique_ptr<cl_engine, EngineDeleter>;

/// The signatures that the service holds, from every file of its directories. A file that cannot be
/// loaded is left out and named; the rest is kept. For use by one thread, as long as nothing is forked.
class SignatureSet
{
  public:
    /// Uses `temporary`, an own directory, while loading. `tick` is called again and again meanwhile.
    SignatureSet(std::vector<std::string> directories, std::string temporary, std::function<void()> tick);

    /// Loads the set. False when nothing can be scanned with it; `remark` says why.
    bool load();

    /// True when a file of the directories, or the service's own program, is another than at `load`.
    bool outdated() const { return fingerprint() != fingerprint_; }

    unsigned long count() const { return count_; }
    /// What was left out, or why there is nothing to scan with, for a person.
    const std::string& remark() const { return remark_; }

    /// The engine, with or without the unpacking of executables. The second is loaded when it is
    /// first asked for, which takes as long as `load`; null when that fails.
    cl_engine* engine(bool packed);

  private:
    std::vector<std::string> filesIn(const std::string& directory) const;
    std::string fingerprint() const;
    EnginePtr newEngine() const;
    EnginePtr loadOnce(bool packed, std::string& failedDirectory);
    bool loadDirectory(cl_engine* engine, const std::string& directory);
    bool loadLinked(cl_engine* engine, const std::vector<std::string>& files);
    bool leaveOutBadFiles(const std::string& directory);
    void leaveOut(const std::string& path, const std::string& reason);

    std::vector<std::string> directories_;
    std::string temporary_;
    std::function<void()> tick_;
    std::string program_; ///< path of the service's own program
    std::string fingerprint_;
    std::set<std::string> leftOut_;
    EnginePtr unpacking_;
    EnginePtr notUnpacking_;
    unsigned int count_ = 0;
    std::string remark_;
};

} // namespace qsavd
