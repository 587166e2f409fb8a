#pragma once

#include "platform/worker/worker.h"
#include "simulator/callrecorder.h"
#include "simulator/faulttable.h"
#include "simulator/operations.h"
#include "simulator/services/delayedcalls.h"
#include "simulator/services/subscribers.h"

#include <json/value.h>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

namespace Simulator
{

/// What all calls and notifications of the services pass through: it looks up once whether a fault meets
/// them, and lets them go on at once, later or never. Threads: any. What goes on does so on the caller's
/// thread, on the worker's after a delay, or on that of whoever lets a service recover.
class CCallGate
{
public:
    using Proceed = std::function<void(const SFault& fault)>;

    CCallGate(std::shared_ptr<CWorker> worker, CFaultTable& faults, CCallRecorder& recorder);

    void Record(const SOperation& operation, const Json::Value& request);

    void Pass(const SOperation& operation, const Proceed& proceed);

    template <class Message>
    void Notify(const SOperation& notification,
                const std::shared_ptr<CSubscribers<Message>>& subscribers,
                const Message& message)
    {
        Pass(notification, [subscribers, message](const SFault&) { subscribers->Publish(message); });
    }

    /// What comes to a service that hangs waits, and goes on when the service recovers.
    /// @param service one of the table of operations
    void SetHung(std::string_view service, bool isHung);

    /// The service ends: what waits at it is dropped.
    void Forget(std::string_view service);

private:
    struct SHeld
    {
        const SOperation* operation;
        Proceed proceed;
    };

    bool Hold(const SOperation& operation, const Proceed& proceed);

    // Constant after construction
    CFaultTable& faults;
    CCallRecorder& recorder;
    const std::shared_ptr<CDelayedCalls> delayed;

    std::mutex mutex;

    // Guarded by mutex: what waits at each service that hangs
    std::map<std::string_view, std::vector<SHeld>> held;
};

} // namespace Simulator
