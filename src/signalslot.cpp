#include "src/signalslot.h"

#include <csignal>

namespace
{

std::function<void(int)>& Slot()
{
    static std::function<void(int)> slot;
    return slot;
}

extern "C" void HandleSignal(int number)
{
    if (Slot())
    {
        Slot()(number);
    }
}

} // namespace

void SignalSlot::Fill(std::function<void(int)> callable)
{
    Slot().swap(callable);
}

void SignalSlot::Install()
{
    std::signal(SIGINT, &HandleSignal);
}

void SignalSlot::Remove()
{
    std::signal(SIGINT, SIG_DFL);
}
