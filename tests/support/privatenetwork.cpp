#include "tests/support/privatenetwork.h"

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <string>
#include <system_error>

namespace
{

[[noreturn]] void ThrowErrno(const std::string& what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

void WriteFile(const std::string& name, const std::string& text)
{
    std::ofstream file(name);
    if (!(file << text << std::flush))
    {
        ThrowErrno("write " + name);
    }
}

/// A user namespace gives its maker the rights that a network namespace needs.
void EnterUserNamespace()
{
    const std::string user = std::to_string(geteuid());
    const std::string group = std::to_string(getegid());
    if (unshare(CLONE_NEWUSER) != 0)
    {
        ThrowErrno("a private network for the tests needs root, or unprivileged user namespaces");
    }
    WriteFile("/proc/self/setgroups", "deny");
    WriteFile("/proc/self/uid_map", user + ' ' + user + " 1");
    WriteFile("/proc/self/gid_map", group + ' ' + group + " 1");
}

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
    if (unshare(CLONE_NEWNET) != 0)
    {
        if (errno != EPERM)
        {
            ThrowErrno("a private network for the tests");
        }
        EnterUserNamespace();
        if (unshare(CLONE_NEWNET) != 0)
        {
            ThrowErrno("a private network for the tests, within a user namespace");
        }
    }
    BringLoopbackUp();
}

void CPrivateNetwork::SetUp()
{
    // thrown through, since a failure that is only noted here has the tests skipped, which ctest takes for
    // well
    EnterPrivateNetwork();
}
