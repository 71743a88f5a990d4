#include "qsavd/signatureset.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <utility>

#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qsavd {

namespace fs = std::filesystem;

namespace {

constexpr int loadAttempts = 5;

/// Turns off the unpacking of packed executables alone: the bits of PE without those.
constexpr std::string_view noUnpacking = "PE:0xF001F\n";

cl_error_t tickOn(size_t, size_t, void* context)
{
    if (const auto& tick = *static_cast<const std::function<void()>*>(context))
        tick();
    return CL_SUCCESS;
}

/// Deletes a directory with all that is in it, when it goes.
struct ScopedDirectory
{
    explicit ScopedDirectory(std::string where)
        : path(std::move(where))
    {
        mkdir(path.c_str(), 0700);
    }
    ScopedDirectory(const ScopedDirectory&) = delete;
    ScopedDirectory& operator=(const ScopedDirectory&) = delete;
    ~ScopedDirectory()
    {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }

    const std::string path;
};

/// Only a process that others may look into finds its own descriptors in /proc.
struct Lookable
{
    Lookable() { prctl(PR_SET_DUMPABLE, 1); }
    Lookable(const Lookable&) = delete;
    Lookable& operator=(const Lookable&) = delete;
    ~Lookable() { prctl(PR_SET_DUMPABLE, 0); }
};

} // namespace

SignatureSet::SignatureSet(SignaturePlaces places, std::string temporary)
    : places_(std::move(places))
    , directories_(openSignatureDirectories(places_))
    , temporary_(std::move(temporary))
{
}

/// Those that can no longer be reached stay as they are.
void SignatureSet::reopenDirectories()
{
    std::vector<SignatureDirectory> before = std::exchange(directories_, openSignatureDirectories(places_));
    for (SignatureDirectory& directory : directories_)
        for (SignatureDirectory& old : before)
            if (!directory.held && old.path == directory.path)
                directory.held = std::move(old.held);
}

std::string SignatureSet::fingerprint() const
{
    std::string print;
    for (const SignatureDirectory& directory : directories_)
        print += qsavd::fingerprint(directory);
    return print;
}

std::string SignatureSet::lastingFingerprint() const
{
    std::string print;
    for (const SignatureDirectory& directory : directories_)
        print += qsavd::lastingFingerprint(directory);
    return print;
}

bool SignatureSet::load()
{
    bool usable = false;
    for (int attempt = 0; attempt < loadAttempts; ++attempt) {
        leftOut_.clear();
        remark_.clear();
        fingerprint_ = fingerprint();
        const std::string lasting = lastingFingerprint();
        usable = loadOpened();
        identity_ = usable && lastingFingerprint() == lasting ? lasting : "";
        if (fingerprint() == fingerprint_)
            break;
        reopenDirectories();
    }
    if (!identity_.empty())
        identity_ += std::to_string(count_) + " signatures. " + remark_;
    return usable;
}

bool SignatureSet::loadOpened()
{
    for (const SignatureDirectory& directory : directories_)
        for (const std::string& name : signatureFiles(directory))
            if (const std::string reason = refusal(directory, name); !reason.empty())
                leaveOut(directory.shown(name), reason);
    // Each turn but the last leaves out at least one file.
    const SignatureDirectory* failed = nullptr;
    while (!(unpacking_ = loadOnce(true, failed))) {
        if (!failed || !leaveOutBadFiles(*failed))
            return false;
    }
    if (count_ != 0)
        return true;
    remark_ = "No signatures to scan with were found." + (remark_.empty() ? "" : " " + remark_);
    return false;
}

cl_engine* SignatureSet::engine(bool packed, const std::function<void()>& tick)
{
    if (!packed && !notUnpacking_ && unpacking_ && fingerprint() == fingerprint_) {
        const SignatureDirectory* failed = nullptr;
        const unsigned int count = count_;
        tick_ = tick;
        notUnpacking_ = loadOnce(false, failed);
        tick_ = {};
        count_ = count;
        if (fingerprint() != fingerprint_)
            notUnpacking_.reset();
    }
    return packed || !notUnpacking_ ? unpacking_.get() : notUnpacking_.get();
}

EnginePtr SignatureSet::newEngine() const
{
    EnginePtr engine(cl_engine_new());
    if (!engine)
        return engine;
    // Its cache of clean files does not ask with which options they were clean.
    cl_engine_set_num(engine.get(), CL_ENGINE_DISABLE_CACHE, 1);
    // What is compiled at run time would need memory that is writable and executable.
    cl_engine_set_num(engine.get(), CL_ENGINE_BYTECODE_MODE, CL_BYTECODE_MODE_INTERPRETER);
    cl_engine_set_str(engine.get(), CL_ENGINE_TMPDIR, temporary_.c_str());
    auto* tick = const_cast<std::function<void()>*>(&tick_);
    cl_engine_set_clcb_sigload_progress(engine.get(), tickOn, tick);
    cl_engine_set_clcb_engine_compile_progress(engine.get(), tickOn, tick);
    return engine;
}

EnginePtr SignatureSet::loadOnce(bool packed, const SignatureDirectory*& failed)
{
    EnginePtr engine = newEngine();
    failed = nullptr;
    count_ = 0;
    for (const SignatureDirectory& directory : directories_) {
        if (!loadDirectory(engine.get(), directory)) {
            failed = &directory;
            return nullptr;
        }
    }
    if (!packed) {
        const ScopedDirectory own(temporary_ + "/settings");
        const std::string file = own.path + "/unpacking.cfg";
        std::ofstream(file) << noUnpacking;
        unsigned int none = 0;
        if (cl_load(file.c_str(), engine.get(), &none, CL_DB_STDOPT) != CL_SUCCESS)
            return nullptr;
    }
    if (const cl_error_t code = cl_engine_compile(engine.get()); code != CL_SUCCESS) {
        remark_ = std::string("The signatures cannot be used: ") + cl_strerror(code);
        return nullptr;
    }
    return engine;
}

bool SignatureSet::loadDirectory(cl_engine* engine, const SignatureDirectory& directory)
{
    std::vector<std::string> names = signatureFiles(directory);
    const std::size_t present = names.size();
    std::erase_if(names, [&](const std::string& name) { return leftOut_.contains(directory.shown(name)); });
    if (names.empty())
        return true;
    if (names.size() != present)
        return loadLinked(engine, directory, names);
    const Inside inside(directory);
    return cl_load(".", engine, &count_, CL_DB_STDOPT) == CL_SUCCESS;
}

bool SignatureSet::loadLinked(cl_engine* engine, const SignatureDirectory& directory,
                              const std::vector<std::string>& names)
{
    // The library loads the files of a directory in the order that they need.
    const ScopedDirectory links(temporary_ + "/links");
    const std::string place = "/proc/self/fd/" + std::to_string(directory.held.get()) + "/";
    const Lookable lookable;
    for (const std::string& name : names)
        if (symlink((place + name).c_str(), (links.path + "/" + name).c_str()) != 0)
            return false;
    return cl_load(links.path.c_str(), engine, &count_, CL_DB_STDOPT) == CL_SUCCESS;
}

bool SignatureSet::leaveOutBadFiles(const SignatureDirectory& directory)
{
    const std::size_t before = leftOut_.size();
    for (const std::string& name : signatureFiles(directory)) {
        if (leftOut_.contains(directory.shown(name)))
            continue;
        const EnginePtr trial = newEngine();
        unsigned int ignored = 0;
        const Inside inside(directory);
        const cl_error_t code = cl_load(name.c_str(), trial.get(), &ignored, CL_DB_STDOPT);
        if (code != CL_SUCCESS)
            leaveOut(directory.shown(name), cl_strerror(code));
    }
    if (leftOut_.size() != before)
        return true;
    // Each file by itself is fine: without knowing better, none of them can be used.
    for (const std::string& name : signatureFiles(directory))
        leftOut_.insert(directory.shown(name));
    addRemark(directory.path + " was left out: its files do not go together.");
    return leftOut_.size() != before;
}

void SignatureSet::addRemark(const std::string& text)
{
    remark_ += (remark_.empty() ? "" : " ") + text;
}

void SignatureSet::leaveOut(const std::string& path, const std::string& reason)
{
    leftOut_.insert(path);
    addRemark(path + " was left out: " + reason + ".");
}

} // namespace qsavd
