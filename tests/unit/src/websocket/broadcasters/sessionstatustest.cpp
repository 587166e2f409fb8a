#include "tests/unit/src/websocket/broadcasters/sessionstatustest.h"

#include <utility>

ipc::MMeterData Reading(std::int64_t totalEnergy, const std::vector<int>& power)
{
    ipc::MMeterData data;
    data.set_total_energy(totalEnergy);
    for (const int watts : power)
    {
        data.add_power(watts);
    }
    return data;
}

ipc::MConnectorState ConnectorState(int number)
{
    ipc::MConnectorState message;
    message.set_state(static_cast<ipc::EConnectorState>(number));
    return message;
}

std::string Event(const std::string& word, std::int64_t totalEnergy)
{
    return R"({"meterData":{"instantaneousPower":[0,0,0],"totalEnergy":)" + std::to_string(totalEnergy) +
           R"(},"state":")" + word + R"("})";
}

std::string Event(const std::string& word)
{
    return R"({"state":")" + word + R"("})";
}

SessionStatus::SessionStatus()
{
    MakeBroadcaster(meter);
}

SessionStatus::~SessionStatus()
{
    broadcaster.reset();
    if (worker)
    {
        worker->Stop();
    }
}

void SessionStatus::MakeBroadcaster(std::shared_ptr<IMeter> itsMeter)
{
    broadcaster.reset();
    broadcaster = std::make_unique<CSessionStatusBroadcaster>(topic, proxy, std::move(itsMeter), worker);
}

void SessionStatus::SetReading(const ipc::MMeterData& reading)
{
    ON_CALL(*meter, GetMeterData).WillByDefault(testing::Return(reading));
}
