#include "base/begin.h"
#include "installation/membership.h"
#include "tools/vardoquarantine/options.h"
#include "tools/vardoquarantine/output.h"
#include "tools/vardoquarantine/store.h"

#include <cerrno>
#include <cstdio>

namespace {

enum ExitCode : int { Done = 0, Mismatch = 1, SomethingWrong = 2 };

int list(const Store& store, Output& output)
{
    bool allMatch = true;
    for (const Item& item : store.items()) {
        const bool matches = store.matches(item);
        output.item(item, matches);
        allMatch = allMatch && matches;
    }
    output.summary();
    return allMatch ? Done : Mismatch;
}

int repair(const Store& store, Output& output)
{
    const auto repairs = store.repair();
    if (!repairs) {
        output.failure({}, repairs.error().text);
        return SomethingWrong;
    }
    for (const Repair& repair : repairs.value())
        output.repair(repair);
    return Done;
}

/// Does `act` to every name. What fails does not keep the others from it.
template <class Act>
int forEach(const std::vector<std::string>& names, Output& output, const Act& act)
{
    int code = Done;
    for (const std::string& name : names) {
        if (const base::Error error = act(name); !error.text.empty()) {
            output.failure(name, error.text);
            code = SomethingWrong;
        }
    }
    return code;
}

int run(const Options& options)
{
    Output output(options.json);
    const auto opened = Store::open(options.quarantineDir);
    if (!opened) {
        const std::string hint = opened.error().code == EACCES ? membershipHint() : "";
        output.failure({}, "cannot open the quarantine: " + opened.error().text +
                               (hint.empty() ? "" : ": " + hint));
        return SomethingWrong;
    }
    const Store& store = opened.value();
    switch (options.task) {
    case Options::Task::List:
        return list(store, output);
    case Options::Task::Repair:
        return repair(store, output);
    case Options::Task::Restore:
        return forEach(options.names, output, [&](const std::string& name) {
            const auto path = store.restore(name);
            if (path)
                output.restored(name, path.value());
            return path ? base::Error{} : path.error();
        });
    default:
        return forEach(options.names, output, [&](const std::string& name) {
            const auto removed = store.remove(name);
            if (removed)
                output.deleted(name);
            return removed ? base::Error{} : removed.error();
        });
    }
}

} // namespace

int main(int argc, char** argv)
{
    base::beginProgram();
    std::string error;
    const std::optional<Options> options = parseOptions(argc, argv, error);
    if (!options) {
        Output(false).failure({}, error);
        std::fprintf(stderr, "Try 'vardoquarantine --help'.\n");
        return SomethingWrong;
    }
    if (options->task == Options::Task::Help)
        std::fputs(usage(), stdout);
    else if (options->task == Options::Task::Version)
        std::printf("vardoquarantine %s\n", VARDO_VERSION);
    else
        return run(*options);
    return Done;
}
