#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace Toolbox
{

class CInterruption;

/// A device that offers a service on the local network.
struct SMdnsDevice
{
    /// e.g. "p1meter-1a2b3c.local"; what is no letter, digit or "-_" is escaped as in zone files
    std::string hostname;

    /// IPv4 if the device has told of such an address, else IPv6; one that is valid on its link only with the
    /// interface, such as "fe80::1%eth0"
    std::string ipAddress;
};

/// Path of the program that does the asking: "webbackend-mdns" beside the program that runs.
std::string MdnsProgram();

/// Asks on all networks by multicast DNS who offers a service, and takes answers until the time is over. Each
/// device comes once, whatever it answers and over which interface, in the order of their first answers; at
/// most 256 answers of a run of the program count.
///
/// The asking is done by a program of its own: what comes in from the network can end the library that
/// reads it, and with it the process. The program is started again then, for the rest of the time.
///
/// A search also gives what another one for the same service has heard that was under way when it began.
///
/// Threads: any, several at the same time; there may be other mDNS responders on the machine.
/// @param serviceName   e.g. "_hwenergy._tcp.local."
/// @param interruption  ends the search, if it isn't null: what was found by then is the result
/// @return empty, perhaps before the time is over, if it can't be asked, of which the log tells
std::vector<SMdnsDevice> QueryMdnsDevices(const std::string& serviceName,
                                          std::chrono::seconds timeout,
                                          CInterruption* interruption = nullptr,
                                          const std::string& program = MdnsProgram());

} // namespace Toolbox
