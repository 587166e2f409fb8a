#pragma once

#include <signal.h>

/// Holds up the signals that ask the process to end, SIGINT and SIGTERM, on the calling thread while it
/// lives. Threads that are made meanwhile never take one, so that a handler does not run in the midst of what
/// they do, under locks that it needs.
class CHeldSignals
{
public:
    CHeldSignals();

    /// What has arrived meanwhile takes effect here.
    ~CHeldSignals();

    /// Has the calling thread take them, whatever it has inherited.
    static void Release();
    CHeldSignals(const CHeldSignals&) = delete;
    CHeldSignals& operator=(const CHeldSignals&) = delete;
    CHeldSignals(CHeldSignals&&) = delete;
    CHeldSignals& operator=(CHeldSignals&&) = delete;

private:
    sigset_t before;
};
