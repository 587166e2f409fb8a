#include "platform/toolbox/interruption.h"

#include "platform/log/log.h"

#include <utility>

namespace Toolbox
{

// The functions run under the lock: an object that goes waits for its own, which can't come after it then

CInterruption::CHold::CHold(CInterruption& interruption, std::function<void()> end)
    : interruption(interruption)
{
    LOG_ENTRY(CInterruption::CHold, "CHold");
    const std::lock_guard lock(interruption.mutex);
    place = interruption.held.insert(interruption.held.end(), std::move(end));
    if (interruption.interrupted)
    {
        (*place)();
    }
}

CInterruption::CHold::~CHold()
{
    const std::lock_guard lock(interruption.mutex);
    interruption.held.erase(place);
}

void CInterruption::Interrupt()
{
    LOG_ENTRY(CInterruption, "Interrupt");
    const std::lock_guard lock(mutex);
    if (interrupted)
    {
        return;
    }
    interrupted = true;
    for (const std::function<void()>& end : held)
    {
        end();
    }
}

void CInterruption::Resume()
{
    LOG_ENTRY(CInterruption, "Resume");
    const std::lock_guard lock(mutex);
    interrupted = false;
}

bool CInterruption::IsInterrupted() const
{
    const std::lock_guard lock(mutex);
    return interrupted;
}

} // namespace Toolbox
