#pragma once

namespace base {

/// How a thread stands back behind others on the processor and on the disk.
struct Priority
{
    int nice = 0;   ///< 0, as usual, to 19
    int io = 0;     ///< as ioprio_set(2) takes it
    int policy = 0; ///< SCHED_OTHER, SCHED_BATCH or SCHED_IDLE

    /// True for a thread that reads only when nobody else does.
    bool readsWhenIdle() const;
};

/// That of the calling thread, which the threads and processes that it makes begin with. What goes before
/// others counts as usual.
Priority ownPriority();

/// Gives the calling thread this priority, or another one of ours, by its id. Only root gets back what was
/// given up on the processor.
void takePriority(const Priority& priority, int thread = 0);

/// The class of those who read only when nobody else does.
int idleIo();

/// How many processor cores the machine has.
unsigned allCores();

/// How many of them the calling thread may use.
unsigned usableCores();

/// Lets the calling thread, and what it makes from now on, use `count` cores of those that it may use.
void limitCores(unsigned count);

/// Lets it use all that the machine gives to it.
void useAllCores();

} // namespace base
