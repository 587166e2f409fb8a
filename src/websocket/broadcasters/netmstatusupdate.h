#pragma once

#include "src/websocket/itopic.h"

#include "contracts/netm.h"

#include <memory>

/// Sends the status of the network interfaces 1 to 5, each when it changes and all that are known to a new
/// subscriber:
/// {"interface": string, "status": string, "signalStrength": integer,
///  "netProperties": {"ipv4Addr", "ipv4Netmask", "gateway"},
///  "netDns": {"preferredDnsServer", "alternativeDnsServer"},
///  "lteInfo": {"carrier", "technology", "iccid", "imsi", "imei"}}
/// Interface and status are names of enumerators. The last three, all of strings, are there when the network
/// manager tells them; the signal strength is 0 when it doesn't.
///
/// Threads: those that deliver the network manager's notifications and run the topic's handlers. What is
/// under way while the broadcaster is destroyed ends undisturbed.
class CNetMStatusUpdateBroadcaster
{
public:
    /// Takes the network manager's one place for a receiver and the topic's handler of subscriptions, and
    /// leaves them behind without effect.
    CNetMStatusUpdateBroadcaster(std::shared_ptr<ITopic> topic, std::shared_ptr<INetM> netM);

private:
    struct SCore;

    void ConnectService();

    // Constant after construction
    const std::shared_ptr<SCore> core;
};
