#pragma once

#include "platform/worker/heldsignals.h"

#include <functional>
#include <thread>

/// What a SIGINT does while the state machine runs. It is the only signal that the process acts on; the REST
/// library has a handler for SIGPIPE that does nothing.
/// Threads: the main thread; the callable runs in signal context, on the thread of a CThread where there is
/// one.
namespace SignalSlot
{

/// Puts in place what is called with the number of each signal that arrives.
void Fill(std::function<void(int)> callable);

/// Hands SIGINT to the callable from now on.
void Install();

/// Gives SIGINT its default effect again.
void Remove();

/// A thread that does nothing but take the signals that ask the process to end, while it lives. The callable
/// needs locks and memory, which the thread that a signal meets must not be about to take or give.
class CThread
{
public:
    /// @throws std::system_error if the thread can't be made
    CThread();
    ~CThread();
    CThread(const CThread&) = delete;
    CThread& operator=(const CThread&) = delete;
    CThread(CThread&&) = delete;
    CThread& operator=(CThread&&) = delete;

private:
    /// A pipe on which the thread waits for the end.
    struct SPipe
    {
        SPipe();
        ~SPipe();
        SPipe(const SPipe&) = delete;
        SPipe& operator=(const SPipe&) = delete;
        SPipe(SPipe&&) = delete;
        SPipe& operator=(SPipe&&) = delete;

        void CloseWriteEnd();

        int readEnd = -1;
        int writeEnd = -1;
    };

    const CHeldSignals held;
    SPipe end;
    std::thread thread;
};

} // namespace SignalSlot
