#include "fetcher/check.h"

#include "base/databasename.h"
#include "engine/update.h"
#include "fetcher/members.h"
#include "fetcher/say.h"

#include <memory>

#include <clamav.h>

namespace fetcher {

namespace {

struct EngineDeleter
{
    void operator()(cl_engine* engine) const { cl_engine_free(engine); }
};

struct CvdDeleter
{
    void operator()(cl_cvd* cvd) const { cl_cvdfree(cvd); }
};

/// The number of signatures that the head of `file` tells.
unsigned signaturesOf(const std::string& file)
{
    const std::unique_ptr<cl_cvd, CvdDeleter> head(cl_cvdhead(file.c_str()));
    return head ? head->sigs : 0;
}

std::string verify(const std::string& file)
{
    const auto name = base::databaseOf(file);
    if (!name)
        return file + " is not the name of a database";
    if (const cl_error_t code = cl_cvdverify(file.c_str()); code != CL_SUCCESS)
        return file + " is not genuine: " + cl_strerror(code);
    const std::string wrong = wrongMembers(file, *name);
    return wrong.empty() ? wrong : file + " is not genuine: " + wrong;
}

/// Loads the working directory as the scanning service does.
std::string load(unsigned wanted)
{
    const std::unique_ptr<cl_engine, EngineDeleter> engine(cl_engine_new());
    if (!engine)
        return "there is not enough memory";
    const std::string temporary = "/proc/self/fd/" + std::to_string(temporaryFolder);
    cl_engine_set_str(engine.get(), CL_ENGINE_TMPDIR, temporary.c_str());
    cl_engine_set_num(engine.get(), CL_ENGINE_BYTECODE_MODE, CL_BYTECODE_MODE_INTERPRETER);
    unsigned count = 0;
    cl_error_t code = cl_load(".", engine.get(), &count, CL_DB_STDOPT);
    if (code == CL_SUCCESS)
        code = cl_engine_compile(engine.get());
    if (code != CL_SUCCESS)
        return std::string("the new signatures cannot be loaded: ") + cl_strerror(code);
    // The library takes a directory in which it sees nothing for a success.
    if (wanted > 0 && count == 0)
        return "the new signatures are none";
    sayDetail("Checked and loaded: " + std::to_string(count) + " signatures");
    return {};
}

std::string wrongWith(const std::vector<std::string>& files)
{
    if (cl_init(CL_INIT_DEFAULT) != CL_SUCCESS)
        return "the library for signatures does not start";
    unsigned signatures = 0;
    for (const std::string& file : files) {
        if (std::string wrong = verify(file); !wrong.empty())
            return wrong;
        signatures += signaturesOf(file);
    }
    return load(signatures);
}

} // namespace

void check(const std::vector<std::string>& files)
{
    const std::string wrong = wrongWith(files);
    say(update::MessageResult, wrong.empty() ? UPDATE_DONE : UPDATE_ERROR, 0, wrong);
}

} // namespace fetcher
