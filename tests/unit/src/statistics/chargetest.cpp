#include "tests/unit/src/statistics/chargetest.h"

#include "platform/rpc/communicationexception.h"

#include "tests/support/eventually.h"

CStationTime::CStationTime(Time start, std::chrono::nanoseconds look)
    : state(
          [start, look]
          {
              const auto clock = std::make_shared<CManualClock>();
              return std::shared_ptr<SState>(new SState{clock, clock->Now(), look, start});
          }())
{
}

CStationTime::Time CStationTime::SState::Now() const
{
    return start.load(std::memory_order_relaxed) +
           std::chrono::duration_cast<Time::duration>(clock->Now() - begin);
}

Toolbox::SystemClock CStationTime::Source() const
{
    return [state = state]
    {
        const Time now = state->Now();
        if (state->look.count() > 0)
        {
            state->clock->Jump(state->look);
        }
        return now;
    };
}

void CStationTime::Set(Time time)
{
    state->start.store(state->start.load() + (time - Now()), std::memory_order_relaxed);
}

ipc::MMeterData CCommandedMeter::GetMeterData()
{
    readings.fetch_add(1, std::memory_order_relaxed);
    onReading();
    ipc::MMeterData reading = data;
    reading.set_total_energy(total.load(std::memory_order_relaxed));
    return reading;
}

void CCommandedMeter::SetPower(const std::vector<std::int32_t>& values)
{
    data.clear_power();
    for (const std::int32_t value : values)
    {
        data.add_power(value);
    }
}

void CCommandedMeter::Fail()
{
    onReading = [] { throw Rpc::CommunicationException("MeterService.GetMeterData: out of reach"); };
}

CHungMeter::CHungMeter(CCommandedMeter& meter)
{
    meter.onReading = [state = state]
    {
        if (!state->hasHung.exchange(true))
        {
            state->hanging.set_value();
        }
        state->gone.wait();
    };
}

bool CHungMeter::Await()
{
    return hanging.wait_for(TestPatience) == std::future_status::ready;
}

void CHungMeter::GoOn()
{
    if (!state->hasGoneOn.exchange(true))
    {
        state->goOn.set_value();
    }
}

ChargeTest::ChargeTest(Time start, std::chrono::nanoseconds look)
    : time(start, look)
    , worker(std::make_shared<CWorker>(time.WorkerClock()))
{
    worker->Start();
}

ChargeTest::~ChargeTest()
{
    worker->Stop();
}

void ChargeTest::Notify(int state) const
{
    ipc::MConnectorState message;
    message.set_state(static_cast<ipc::EConnectorState>(state));
    sessionManager->ConnectorState(message);
}
