#pragma once

#include <functional>

/// What a SIGINT does while the state machine runs. It is the only signal that the process acts on; the REST
/// library has a handler for SIGPIPE that does nothing.
/// Threads: the main thread; the callable runs in signal context.
namespace SignalSlot
{

/// Puts in place what is called with the number of each signal that arrives.
void Fill(std::function<void(int)> callable);

/// Hands SIGINT to the callable from now on.
void Install();

/// Gives SIGINT its default effect again.
void Remove();

} // namespace SignalSlot
