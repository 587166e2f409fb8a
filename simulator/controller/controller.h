#pragma once

#include "contracts/station.pb.h"
#include "platform/worker/worker.h"
#include "simulator/controller/cancellablecalls.h"
#include "simulator/controller/controllerlogic.h"
#include "simulator/controller/controllerrecord.h"
#include "simulator/controller/streamkeeper.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace Simulator
{

/// The controller of the process: listens to its states and alive signals, and enables it unless set to
/// manual.
///
/// It finds the process by itself whenever that starts, ends or restarts.
/// Threads: any; two of its own listen, a third sends what the controller decides.
class CController
{
public:
    enum class EMode
    {
        Automatic,
        Manual
    };

    /// @param address     of the process, as gRPC takes it
    /// @param firstPause  before a process that reported an error is enabled again
    CController(std::string address, std::chrono::milliseconds firstPause, UtcSource utcNow);

    /// Stops.
    ~CController();
    CController(const CController&) = delete;
    CController& operator=(const CController&) = delete;
    CController(CController&&) = delete;
    CController& operator=(CController&&) = delete;

    void Start();

    /// Ends requests under way and joins the threads.
    void Stop();

    void SetMode(EMode newMode);
    EMode Mode() const;

    /// Sends a request and waits for its answer.
    /// @return the process's result code
    /// @throws std::runtime_error if it can't be reached or does not answer within 10 seconds
    int Send(ERequest request);

    CControllerRecord& Record() { return record; }

private:
    using Plan = std::optional<CControllerLogic::SPlan>;

    bool ListenToStates(ipc::WebbackendGenCtrl::Stub& stub, grpc::ClientContext& context);
    bool ListenToAlive(ipc::WebbackendGenCtrl::Stub& stub, grpc::ClientContext& context);
    void SetAliveStands(bool stands);

    /// A state counts once the alive signals are listened to as well, so that none of them is missed.
    void AwaitAlive();
    void HandleState(int state);
    void HandleDisconnect();
    void ScheduleLocked(const Plan& plan);
    void Execute(ERequest request);

    // Constant after construction
    const std::string address;

    CControllerRecord record;
    CCancellableCalls calls;
    CWorker worker;

    mutable std::mutex mutex;

    std::condition_variable aliveChanged;

    // Guarded by mutex
    bool aliveStands = false;
    EMode mode = EMode::Automatic;
    CControllerLogic logic;
    std::shared_ptr<CWorkerCall> planned;

    // touched by Start and Stop only; they end before what they use
    CStreamKeeper states;
    CStreamKeeper alives;
};

} // namespace Simulator
