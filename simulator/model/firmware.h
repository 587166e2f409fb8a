#pragma once

#include "contracts/station.pb.h"
#include "platform/worker/worker.h"

#include <json/value.h>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace Simulator
{

/// The firmware update of the station: idle, then checking the package, then programming it, then idle again.
///
/// A check fails when there is no package or a vehicle is charging; programming ends as it was planned.
/// Threads: any. The output runs on the worker's thread, or on the caller's of Report, outside the lock.
class CFirmware : public std::enable_shared_from_this<CFirmware>
{
public:
    /// How the next updates go.
    struct SPlan
    {
        std::string newIdentifier = "2.0.0-simulated";
        /// number of ipc::EFwUpdateStatus
        int result = ipc::EFwUpdateStatusSuccess;
        std::chrono::milliseconds programmingTime{2000};
    };

    struct SConditions
    {
        std::function<bool()> isPackageThere;
        std::function<bool()> isStationIdle;
    };

    using Output = std::function<void(const ipc::MFwUpdateStatus&)>;

    CFirmware(std::shared_ptr<CWorker> worker,
              SConditions conditions,
              std::string installedIdentifier,
              Output updateStatus);

    /// Begins an update.
    /// @return false while one is under way
    bool Request();

    SPlan Plan() const;
    void SetPlan(const SPlan& plan);

    /// Reports a status that no update led to.
    /// @param status number of ipc::EFwUpdateStatus
    void Report(int status) const;

    /// {"State", "Installed", "Plan"}
    Json::Value ToJson() const;

private:
    enum class EState
    {
        Idle,
        Checking,
        Programming
    };

    static const char* NameOf(EState state);
    void StepAfter(std::chrono::milliseconds delay);
    void Check();
    void FinishProgramming();
    ipc::MFwUpdateStatus MakeStatus(int status) const;

    // Constant after construction
    const std::shared_ptr<CWorker> worker;
    const SConditions conditions;
    const Output updateStatus;

    mutable std::mutex mutex;

    // Guarded by mutex
    EState state = EState::Idle;
    SPlan plan;
    std::string installedIdentifier;
    std::shared_ptr<CWorkerCall> nextStep;
};

} // namespace Simulator
