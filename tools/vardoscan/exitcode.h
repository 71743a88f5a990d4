#pragma once

/// What the program ends with. Scripts rely on the numbers.
enum ExitCode : int { NothingFound = 0, SomethingFound = 1, SomethingWrong = 2 };

/// What one run has come to, as far as the exit code tells it.
struct ExitFacts
{
    bool found = false;     ///< of whatever kind, whether or not the action succeeded
    bool wrong = false;     ///< something was not scanned or not done
    bool unwritten = false; ///< the output or the log is not whole
};

/// The one rule: what was found goes before what went wrong, and both before nothing; whoever reads the
/// output or the log must know first of all that it is not whole.
constexpr ExitCode exitCode(const ExitFacts& facts)
{
    if (facts.unwritten)
        return SomethingWrong;
    if (facts.found)
        return SomethingFound;
    return facts.wrong ? SomethingWrong : NothingFound;
}
