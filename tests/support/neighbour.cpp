#include "tests/support/neighbour.h"

#include <stdexcept>

namespace
{

void AwaitReady(CChildProcess& process, const std::string& ready)
{
    if (!process.AwaitErrorLine(ready))
    {
        throw std::runtime_error("Not ready: " + process.Errors());
    }
}

} // namespace

CNeighbour::CNeighbour()
    : machine(
          std::make_unique<CChildProcess>(std::vector<std::string>{"/usr/bin/setpriv",
                                                                   "--pdeathsig",
                                                                   "KILL",
                                                                   "/usr/bin/unshare",
                                                                   "--net",
                                                                   "/bin/sh",
                                                                   "-c",
                                                                   "echo ready >&2; exec sleep infinity"}))
{
    AwaitReady(*machine, "ready");
    const std::string ip = "/usr/sbin/ip";
    const auto setUp = [&](const char* end, const std::string& number, auto&& run)
    {
        run({ip, "address", "add", "10.9.0." + number + "/24", "dev", end});
        run({ip, "link", "set", end, "addrgenmode", "none"});
        run({ip, "link", "set", end, "up"});
        // without the second in which nobody may use them
        run({ip, "address", "add", "fd00:9::" + number + "/64", "dev", end, "nodad"});
        run({ip, "address", "add", "fe80::" + number + "/64", "dev", end, "nodad"});
    };
    Run({ip,
         "link",
         "add",
         OurEnd,
         "type",
         "veth",
         "peer",
         "name",
         TheirEnd,
         "netns",
         std::to_string(machine->Id())});
    setUp(OurEnd, "1", [this](const std::vector<std::string>& command) { Run(command); });
    setUp(TheirEnd, "2", [this](const std::vector<std::string>& command) { Run(Command(command)); });
    Run(Command({ip, "link", "set", "lo", "up"}));
    Run({ip, "neigh", "add", SilentAddress, "lladdr", "02:00:00:00:00:99", "dev", OurEnd});
}

CNeighbour::~CNeighbour()
{
    // at once, while the namespace of the other end goes some time after its last process
    CChildProcess({"/usr/sbin/ip", "link", "delete", OurEnd}).AwaitEnd();
}

std::vector<std::string> CNeighbour::Command(const std::vector<std::string>& program) const
{
    std::vector<std::string> command{"/usr/bin/setpriv",
                                     "--pdeathsig",
                                     "KILL",
                                     "/usr/bin/nsenter",
                                     "--net=/proc/" + std::to_string(machine->Id()) + "/ns/net"};
    command.insert(command.end(), program.begin(), program.end());
    return command;
}

std::unique_ptr<CChildProcess> CNeighbour::Start(const std::vector<std::string>& program,
                                                 const std::string& ready) const
{
    auto process = std::make_unique<CChildProcess>(Command(program));
    AwaitReady(*process, ready);
    return process;
}

void CNeighbour::Run(const std::vector<std::string>& command) const
{
    CChildProcess process(command);
    if (process.AwaitEnd().status != 0)
    {
        throw std::runtime_error(process.Errors());
    }
}
