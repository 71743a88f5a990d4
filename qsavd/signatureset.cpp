#include "qsavd/signatureset.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <string_view>

#include <sys/stat.h>
#include <unistd.h>

namespace qsavd {

namespace fs = std::filesystem;

namespace {

/// Endings of the files that hold signatures (libclamav's own list).
constexpr std::array<std::string_view, 39> signatureEndings{
    ".cat",  ".cbc",  ".cdb", ".cfg", ".cld", ".crb", ".cud", ".cvd",  ".db",   ".fp",
    ".ftm",  ".gdb",  ".hdb", ".hdu", ".hsb", ".hsu", ".idb", ".ign",  ".ign2", ".imp",
    ".info", ".ioc",  ".ldb", ".ldu", ".mdb", ".mdu", ".msb", ".msu",  ".ndb",  ".ndu",
    ".pdb",  ".pwdb", ".rmd", ".sdb", ".sfp", ".wdb", ".yar", ".yara", ".zmd"};

/// Turns off the unpacking of packed executables alone: the bits of PE without those.
constexpr std::string_view noUnpacking = "PE:0xF001F\n";

bool isSignatureFile(const fs::path& path)
{
    const std::string ending = path.extension().string();
    return std::find(signatureEndings.begin(), signatureEndings.end(), ending) != signatureEndings.end();
}

std::string time(const timespec& t)
{
    return std::to_string(t.tv_sec) + "." + std::to_string(t.tv_nsec);
}

std::string describe(const std::string& path)
{
    struct stat info = {};
    if (stat(path.c_str(), &info) != 0)
        return path + " missing\n";
    return path + " " + std::to_string(info.st_dev) + " " + std::to_string(info.st_ino) + " " +
           std::to_string(info.st_size) + " " + time(info.st_mtim) + " " + time(info.st_ctim) + "\n";
}

cl_error_t tickOn(size_t, size_t, void* context)
{
    (*static_cast<const std::function<void()>*>(context))();
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

} // namespace

SignatureSet::SignatureSet(std::vector<std::string> directories, std::string temporary,
                           std::function<void()> tick)
    : directories_(std::move(directories))
    , temporary_(std::move(temporary))
    , tick_(std::move(tick))
{
    std::error_code ignored;
    program_ = fs::read_symlink("/proc/self/exe", ignored).string();
}

bool SignatureSet::load()
{
    fingerprint_ = fingerprint();
    // Each turn but the last leaves out at least one file.
    std::string failed;
    while (!(unpacking_ = loadOnce(true, failed))) {
        if (failed.empty() || !leaveOutBadFiles(failed))
            return false;
    }
    if (count_ != 0)
        return true;
    remark_ = "No signatures to scan with were found." + (remark_.empty() ? "" : " " + remark_);
    return false;
}

cl_engine* SignatureSet::engine(bool packed)
{
    if (packed)
        return unpacking_.get();
    if (!notUnpacking_) {
        std::string failed;
        const unsigned int count = count_;
        notUnpacking_ = loadOnce(false, failed);
        count_ = count;
    }
    return notUnpacking_.get();
}

std::vector<std::string> SignatureSet::filesIn(const std::string& directory) const
{
    std::vector<std::string> files;
    std::error_code ignored;
    for (fs::directory_iterator i(directory, ignored), end; i != end; i.increment(ignored))
        if (isSignatureFile(i->path()))
            files.push_back(i->path().string());
    std::sort(files.begin(), files.end());
    return files;
}

std::string SignatureSet::fingerprint() const
{
    std::string print = describe(program_);
    for (const std::string& directory : directories_)
        for (const std::string& file : filesIn(directory))
            print += describe(file);
    return print;
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

EnginePtr SignatureSet::loadOnce(bool packed, std::string& failedDirectory)
{
    EnginePtr engine = newEngine();
    failedDirectory.clear();
    count_ = 0;
    for (const std::string& directory : directories_) {
        if (!loadDirectory(engine.get(), directory)) {
            failedDirectory = directory;
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

bool SignatureSet::loadDirectory(cl_engine* engine, const std::string& directory)
{
    std::vector<std::string> files = filesIn(directory);
    const std::size_t present = files.size();
    std::erase_if(files, [&](const std::string& file) { return leftOut_.contains(file); });
    if (files.empty())
        return true;
    if (files.size() != present)
        return loadLinked(engine, files);
    return cl_load(directory.c_str(), engine, &count_, CL_DB_STDOPT) == CL_SUCCESS;
}

bool SignatureSet::loadLinked(cl_engine* engine, const std::vector<std::string>& files)
{
    // The library loads the files of a directory in the order that they need.
    const ScopedDirectory links(temporary_ + "/links");
    for (const std::string& file : files) {
        const std::string link = links.path + "/" + fs::path(file).filename().string();
        if (symlink(file.c_str(), link.c_str()) != 0)
            return false;
    }
    return cl_load(links.path.c_str(), engine, &count_, CL_DB_STDOPT) == CL_SUCCESS;
}

bool SignatureSet::leaveOutBadFiles(const std::string& directory)
{
    const std::size_t before = leftOut_.size();
    for (const std::string& file : filesIn(directory)) {
        const EnginePtr trial = newEngine();
        unsigned int ignored = 0;
        const cl_error_t code = cl_load(file.c_str(), trial.get(), &ignored, CL_DB_STDOPT);
        if (code != CL_SUCCESS && !leftOut_.contains(file))
            leaveOut(file, cl_strerror(code));
    }
    if (leftOut_.size() != before)
        return true;
    // Each file by itself is fine: without knowing better, none of them can be used.
    for (const std::string& file : filesIn(directory))
        leftOut_.insert(file);
    remark_ += directory + " was left out: its files do not go together. ";
    return leftOut_.size() != before;
}

void SignatureSet::leaveOut(const std::string& path, const std::string& reason)
{
    leftOut_.insert(path);
    remark_ += path + " was left out: " + reason + ". ";
}

} // namespace qsavd
