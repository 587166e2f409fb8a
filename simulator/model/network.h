#pragma once

#include "contracts/station.pb.h"
#include "simulator/model/networkconfig.h"

#include <json/value.h>

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace Simulator
{

/// A WLAN that the station can see.
struct SWlanNetwork
{
    ipc::MWlanNetwork scan;
    /// what it takes to join; an open network takes any
    std::string password;
};

/// The network interfaces of the station and the WLAN networks around it.
///
/// An enabled interface connects at once. The WLAN connects to the network of the configuration, if that is
/// in sight and the password is right. Threads: any. The output runs on the caller's thread and outside the
/// lock.
class CNetwork
{
public:
    using Output = std::function<void(const ipc::MNetStatus&)>;

    explicit CNetwork(Output networkStatus);

    ipc::MScanWlan Scan() const;

    /// Puts a configuration into force. Interfaces whose part of it is as before keep their status.
    /// @return false if it has a fault, and then nothing changes, or if the WLAN could not be joined
    bool Apply(const NetworkConfig& config);

    /// Changes the status of an interface and reports it, whether it differs or not.
    /// @param interface number of ipc::EIfName, or one that has no name
    void Update(int interface, const std::function<void(ipc::MNetStatus&)>& change);

    void SetNeighbourhood(std::vector<SWlanNetwork> networks);

    /// Signal strengths as diagnostics signals, for the interfaces that have one.
    std::vector<ipc::MDiagnosticsSignal> Signals() const;

    /// {"Interfaces", "Wlans"}
    Json::Value ToJson() const;

private:
    ipc::MNetStatus StatusFor(ipc::EIfName interface, const SInterfaceConfig& config) const;
    const SWlanNetwork* FindJoinable(const SInterfaceConfig& config) const;
    bool IsWlanJoined() const;

    // Constant after construction
    const Output networkStatus;

    mutable std::mutex mutex;

    // Guarded by mutex
    NetworkConfig applied;
    std::map<int, ipc::MNetStatus> interfaces;
    std::vector<SWlanNetwork> neighbourhood;
};

} // namespace Simulator
