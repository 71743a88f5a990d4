#pragma once

#include "qsavd/signaturefiles.h"

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

/// The signatures that a process holds, from every file of some directories. A file that cannot be
/// loaded is left out and named; the rest is kept. For use by one thread.
class SignatureSet
{
  public:
    /// Opens the directories, and keeps them whatever takes their places later. Uses `temporary`, an own
    /// directory, while loading.
    SignatureSet(SignaturePlaces places, std::string temporary);

    /// Loads what is in the directories, and once more when their files changed under its hands. False when
    /// nothing can be scanned with it; `remark` says why.
    bool load();

    unsigned long count() const { return count_; }
    /// What was left out, or why there is nothing to scan with, for a person.
    const std::string& remark() const { return remark_; }
    /// What was loaded, as a text that no other set has; empty when that cannot be told.
    const std::string& identity() const { return identity_; }
    /// The paths of what was left out.
    const std::set<std::string>& leftOut() const { return leftOut_; }

    /// The engine, with or without the unpacking of executables. The second is loaded when it is first
    /// asked for, which takes as long as `load` and calls `tick` again and again. When its files are gone by
    /// then, the first stands in: it scans more than was asked for. Null when nothing was loaded.
    cl_engine* engine(bool packed, const std::function<void()>& tick = {});

  private:
    void reopenDirectories();
    std::string fingerprint() const;
    std::string lastingFingerprint() const;
    bool loadOpened();
    EnginePtr newEngine() const;
    EnginePtr loadOnce(bool packed, const SignatureDirectory*& failed);
    bool loadDirectory(cl_engine* engine, const SignatureDirectory& directory);
    bool loadLinked(cl_engine* engine, const SignatureDirectory& directory,
                    const std::vector<std::string>& names);
    bool leaveOutBadFiles(const SignatureDirectory& directory);
    void addRemark(const std::string& text);
    void leaveOut(const std::string& path, const std::string& reason);

    SignaturePlaces places_;
    std::vector<SignatureDirectory> directories_;
    std::string fingerprint_; ///< of directories_, when they were loaded
    std::string identity_;
    std::string temporary_;
    std::function<void()> tick_;
    std::set<std::string> leftOut_;
    EnginePtr unpacking_;
    EnginePtr notUnpacking_;
    unsigned int count_ = 0;
    std::string remark_;
};

} // namespace qsavd
