#include "tests/support/privatenetwork.h"

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>

#include "tests/support/privatenamespace.h"

namespace
{

void BringLoopbackUp()
{
    const int any = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq loopback = {};
    std::string("lo").copy(loopback.ifr_name, sizeof(loopback.ifr_name) - 1);
    loopback.ifr_flags = IFF_UP | IFF_RUNNING;
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): ioctl has no other form
    const int result = ioctl(any, SIOCSIFFLAGS, &loopback);
    const int error = errno;
    close(any);
    if (result != 0)
    {
        throw std::system_error(error, std::generic_category(), "bring the private network's loopback up");
    }
}

} // namespace

void EnterPrivateNetwork()
{
    EnterPrivateNamespace(CLONE_NEWNET, "a private network for the tests");
    BringLoopbackUp();
}

void CPrivateNetwork::SetUp()
{
    // thrown through, since a failure that is only noted here has the tests skipped, which ctest takes for
    // well
    EnterPrivateNetwork();
}
