#pragma once

#include <signal.h>

/// Holds up the signals that ask the process to end, SIGINT and SIGTERM, on the calling thread while it
/// lives. Threads that are made meanwhile never take one: they go to the main thread, which is to act on
/// them, and never find a thread in the midst of what its handler needs.
class CHeldSignals
{
public:
    CHeldSignals();

    /// What has arrived meanwhile takes effect here.
    ~CHeldSignals();
    CHeldSignals(const CHeldSignals&) = delete;
    CHeldSignals& operator=(const CHeldSignals&) = delete;
    CHeldSignals(CHeldSignals&&) = delete;
    CHeldSignals& operator=(CHeldSignals&&) = delete;

private:
    sigset_t before;
};
