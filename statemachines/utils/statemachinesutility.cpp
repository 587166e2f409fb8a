#include "statemachines/utils/statemachinesutility.h"

#include "statemachines/webbackendhsmevents.h"

#include <future>
#include <utility>

namespace
{

/// Posts a new event and waits for its outcome.
template <class Event>
ipc::MResult Request(IHsmInterface& hsm)
{
    auto event = std::make_shared<Event>();
    std::future<bool> outcome = event->Outcome();
    // The machine gets the only reference: an event that it lets go breaks the promise and ends the wait.
    hsm.PostEvent(std::move(event));

    ipc::MResult result;
    result.set_status(outcome.get() ? ipc::EResultOk : ipc::EResultIllegal);
    return result;
}

} // namespace

std::function<ipc::MResult()> MakeEnableCall(const std::shared_ptr<IHsmInterface>& hsm)
{
    return [hsm]
    {
        LOG_TRACE("IEnableCall");
        return Request<WebbackendHsm::ExtEnableReq>(*hsm);
    };
}

std::function<ipc::MResult()> MakeDisableCall(const std::shared_ptr<IHsmInterface>& hsm)
{
    return [hsm]
    {
        LOG_TRACE("IDisableCall");
        return Request<WebbackendHsm::ExtDisableReq>(*hsm);
    };
}
