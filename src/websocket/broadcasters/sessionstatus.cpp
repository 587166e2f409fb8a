#include "src/websocket/broadcasters/sessionstatus.h"

#include "src/websocket/broadcasters/whilealive.h"

#include "platform/log/log.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <utility>

namespace
{

constexpr std::chrono::seconds BroadcastPeriod{2};

constexpr std::size_t PhaseCount = 3;

/// By number of ipc::EConnectorState
constexpr std::array<const char*, 13> StateWords{
    "unknown",
    "available",
    "unavailable",
    "reserved",
    "preparingPluggedIn",
    "preparingAuthorized",
    "charging",
    "charging",
    "charging",
    "finishing",
    "faulted",
    "charging",
    "charging",
};

struct SMeterReading
{
    std::int64_t totalEnergy = 0;
    std::optional<std::int64_t> sessionEnergy;
    std::array<std::int32_t, PhaseCount> instantaneousPower{};
};

/// Null for a state that is of no interest.
const char* FindWord(ipc::EConnectorState state)
{
    const auto number = static_cast<std::size_t>(state);
    return number < StateWords.size() ? StateWords[number] : nullptr;
}

/// Wraps around, so that no pair of registers is out of range.
std::int64_t Difference(std::int64_t later, std::int64_t earlier)
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(later) - static_cast<std::uint64_t>(earlier));
}

SMeterReading MakeReading(const ipc::MMeterData& data)
{
    SMeterReading reading;
    reading.totalEnergy = data.total_energy();
    if (!data.session_marker().empty())
    {
        reading.sessionEnergy = Difference(data.total_energy(), data.energy_at_session_start());
    }
    if (data.power_size() >= 1)
    {
        reading.instantaneousPower[0] = data.power(0);
    }
    if (data.power_size() >= 3)
    {
        reading.instantaneousPower[1] = data.power(1);
        reading.instantaneousPower[2] = data.power(2);
    }
    return reading;
}

Json::Value ToJson(const SMeterReading& reading)
{
    Json::Value json;
    json["totalEnergy"] = Json::Int64{reading.totalEnergy};
    for (const std::int32_t power : reading.instantaneousPower)
    {
        json["instantaneousPower"].append(power);
    }
    if (reading.sessionEnergy)
    {
        json["sessionEnergy"] = Json::Int64{*reading.sessionEnergy};
    }
    return json;
}

} // namespace

/// What handlers and calls under way share with the broadcaster.
class CSessionStatusBroadcaster::CCore : public std::enable_shared_from_this<CCore>
{
public:
    CCore(std::shared_ptr<ITopic> topic, std::shared_ptr<IMeter> meter, std::weak_ptr<CWorker> worker)
        : topic(std::move(topic))
        , meter(std::move(meter))
        , worker(std::move(worker))
    {
    }

    void ConnectTopic() { topic->OnSubscribe = WhileAlive(shared_from_this(), &CCore::HandleSubscription); }

    void HandleSessionStateChange(const ipc::MConnectorState& message)
    {
        LOG_ENTRY(CSessionStatusBroadcaster, "HandleSessionStateChange");
        const ipc::EConnectorState newState = message.state();
        if (newState == ipc::EConnectorStateFinishing)
        {
            StopPeriodicBroadcast();
            PollMeterData();
            StoreState(newState);
            BroadcastMessage();
            return;
        }
        StoreState(newState);
        BroadcastMessage();
        if (newState == ipc::EConnectorStateCharging)
        {
            StartPeriodicBroadcast();
        }
    }

    void StopPeriodicBroadcast()
    {
        LOG_ENTRY(CSessionStatusBroadcaster, "StopPeriodicBroadcast");
        if (const std::shared_ptr<CWorkerCall> call = ExchangePeriodicCall(nullptr))
        {
            call->Cancel();
        }
        if (const std::shared_ptr<CWorker> living = worker.lock())
        {
            living->Sync();
        }
    }

private:
    void HandleSubscription(const ITopic::Reply& reply)
    {
        if (!reply)
        {
            LOG_DEBUG("OnSubscribe callback was not provided with a reply callback object.");
            return;
        }
        PollMeterData();
        if (const std::optional<Json::Value> message = ConstructMessage())
        {
            reply(*message);
        }
        else
        {
            LOG_DEBUG("Can't send message because it is nullopt");
        }
    }

    void StartPeriodicBroadcast()
    {
        LOG_ENTRY(CSessionStatusBroadcaster, "StartPeriodicBroadcast");
        if (HasPeriodicCall())
        {
            LOG_DEBUG("Request to start broadcasts of session status data, but they are already running.");
        }
        if (const std::shared_ptr<CWorker> living = worker.lock())
        {
            // an earlier call ends here, with its handle
            ExchangePeriodicCall(living->AddCall(
                WhileAlive(shared_from_this(), &CCore::BroadcastMeterData), living->Now(), BroadcastPeriod));
        }
    }

    void BroadcastMeterData()
    {
        PollMeterData();
        BroadcastMessage();
    }

    void PollMeterData()
    {
        LOG_ENTRY(CSessionStatusBroadcaster, "PollMeterData");
        if (!meter)
        {
            LOG_TRACE("No meter service available to poll.");
            return;
        }
        const SMeterReading reading = MakeReading(meter->GetMeterData());
        const std::lock_guard lock(mutex);
        lastReading = reading;
    }

    std::optional<Json::Value> ConstructMessage()
    {
        LOG_ENTRY(CSessionStatusBroadcaster, "ConstructMessage");
        const auto [presentState, reading] = StateAndReading();
        const char* const word = FindWord(presentState);
        if (word == nullptr)
        {
            LOG_DEBUG("Can't create message for uninteresting session state change to '{}'.",
                      ipc::EConnectorState_Name(presentState));
            return std::nullopt;
        }
        LOG_DEBUG("Creating message for state: {}", ipc::EConnectorState_Name(presentState));
        Json::Value message;
        if (reading)
        {
            LOG_TRACE("Including meterdata");
            message["meterData"] = ToJson(*reading);
        }
        message["state"] = word;
        return message;
    }

    void BroadcastMessage()
    {
        LOG_ENTRY(CSessionStatusBroadcaster, "BroadcastMessage");
        if (const std::optional<Json::Value> message = ConstructMessage())
        {
            topic->Broadcast(*message);
        }
    }

    void StoreState(ipc::EConnectorState newState)
    {
        const std::lock_guard lock(mutex);
        state = newState;
    }

    std::pair<ipc::EConnectorState, std::optional<SMeterReading>> StateAndReading() const
    {
        const std::lock_guard lock(mutex);
        return {state, lastReading};
    }

    bool HasPeriodicCall() const
    {
        const std::lock_guard lock(mutex);
        return periodicCall != nullptr;
    }

    /// @return the earlier one
    std::shared_ptr<CWorkerCall> ExchangePeriodicCall(std::shared_ptr<CWorkerCall> call)
    {
        const std::lock_guard lock(mutex);
        periodicCall.swap(call);
        return call;
    }

    // Constant after construction
    const std::shared_ptr<ITopic> topic;
    const std::shared_ptr<IMeter> meter;
    /// weak, since a worker must not end on its own thread, where the last of this object may go
    const std::weak_ptr<CWorker> worker;

    mutable std::mutex mutex;

    // Guarded by mutex
    ipc::EConnectorState state = ipc::EConnectorStateUnknown;
    std::optional<SMeterReading> lastReading;
    /// null while no periodic broadcast runs
    std::shared_ptr<CWorkerCall> periodicCall;
};

CSessionStatusBroadcaster::CSessionStatusBroadcaster(
    std::shared_ptr<ITopic> topic,
    std::shared_ptr<CSessionManagerNotificationProxy> sessionManager,
    std::shared_ptr<IMeter> meter,
    std::shared_ptr<CWorker> worker)
    : sessionManager(std::move(sessionManager))
    , worker(std::move(worker))
    , core(std::make_shared<CCore>(std::move(topic), meter, this->worker))
{
    if (!meter)
    {
        LOG_INFO("Session status broadcaster is constructed without a meter service. No meter data will be "
                 "included in events.");
    }
    ConnectService();
}

CSessionStatusBroadcaster::~CSessionStatusBroadcaster()
{
    core->StopPeriodicBroadcast();
}

void CSessionStatusBroadcaster::ConnectService()
{
    LOG_ENTRY(CSessionStatusBroadcaster, "ConnectService");
    listener = std::make_shared<CSessionManagerNotificationProxy::Listener>(
        WhileAlive(core, &CCore::HandleSessionStateChange));
    sessionManager->AddListener(listener);
    core->ConnectTopic();
}
