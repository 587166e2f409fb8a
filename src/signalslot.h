#pragma once

#include <functional>

/// What a SIGINT does while the state machine runs. It is the only signal that the process acts on; the REST
/// library ignores SIGPIPE.
/// Threads: Install and Remove on the main thread; the callable runs in signal context.
namespace SignalSlot
{

/// Hands each SIGINT to @p callable as its number, from now on.
void Install(std::function<void(int)> callable);

/// Gives SIGINT its default effect again.
void Remove();

} // namespace SignalSlot
