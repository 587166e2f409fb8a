#include "simulator/model/firmware.h"

#include <utility>

namespace Simulator
{

namespace
{

constexpr std::chrono::milliseconds CheckingTime{200};

} // namespace

CFirmware::CFirmware(std::shared_ptr<CWorker> worker,
                     SConditions conditions,
                     std::string installedIdentifier,
                     Output updateStatus)
    : worker(std::move(worker))
    , conditions(std::move(conditions))
    , updateStatus(std::move(updateStatus))
    , installedIdentifier(std::move(installedIdentifier))
{
}

bool CFirmware::Request()
{
    const std::lock_guard lock(mutex);
    if (state != EState::Idle)
    {
        return false;
    }
    state = EState::Checking;
    StepAfter(CheckingTime);
    return true;
}

CFirmware::SPlan CFirmware::Plan() const
{
    const std::lock_guard lock(mutex);
    return plan;
}

void CFirmware::SetPlan(const SPlan& newPlan)
{
    const std::lock_guard lock(mutex);
    plan = newPlan;
}

void CFirmware::Report(int status) const
{
    ipc::MFwUpdateStatus report;
    {
        const std::lock_guard lock(mutex);
        report = MakeStatus(status);
    }
    updateStatus(report);
}

Json::Value CFirmware::ToJson() const
{
    const std::lock_guard lock(mutex);
    Json::Value json;
    json["State"] = NameOf(state);
    json["Installed"] = installedIdentifier;
    json["Plan"]["NewIdentifier"] = plan.newIdentifier;
    json["Plan"]["Result"] = plan.result;
    json["Plan"]["ProgrammingMs"] = Json::Int64{plan.programmingTime.count()};
    return json;
}

const char* CFirmware::NameOf(EState state)
{
    switch (state)
    {
    case EState::Checking:
        return "Checking";
    case EState::Programming:
        return "Programming";
    default:
        return "Idle";
    }
}

void CFirmware::StepAfter(std::chrono::milliseconds delay)
{
    const bool isCheck = state == EState::Checking;
    nextStep = worker->AddCall(
        [weak = weak_from_this(), isCheck]
        {
            if (const auto self = weak.lock())
            {
                isCheck ? self->Check() : self->FinishProgramming();
            }
        },
        worker->Now() + delay,
        std::chrono::nanoseconds(0));
}

void CFirmware::Check()
{
    int fault = ipc::EFwUpdateStatusSuccess;
    if (!conditions.isPackageThere())
    {
        fault = ipc::EFwUpdateStatusPackageMissing;
    }
    else if (!conditions.isStationIdle())
    {
        fault = ipc::EFwUpdateStatusNotIdle;
    }
    {
        const std::lock_guard lock(mutex);
        if (fault == ipc::EFwUpdateStatusSuccess)
        {
            state = EState::Programming;
            StepAfter(plan.programmingTime);
            return;
        }
        state = EState::Idle;
    }
    Report(fault);
}

void CFirmware::FinishProgramming()
{
    ipc::MFwUpdateStatus report;
    {
        const std::lock_guard lock(mutex);
        state = EState::Idle;
        report = MakeStatus(plan.result);
        if (plan.result == ipc::EFwUpdateStatusSuccess)
        {
            installedIdentifier = plan.newIdentifier;
        }
    }
    updateStatus(report);
}

ipc::MFwUpdateStatus CFirmware::MakeStatus(int status) const
{
    ipc::MFwUpdateStatus report;
    report.set_old_firmware_identifier(installedIdentifier);
    report.set_new_firmware_identifier(plan.newIdentifier);
    report.set_status(static_cast<ipc::EFwUpdateStatus>(status));
    return report;
}

} // namespace Simulator
