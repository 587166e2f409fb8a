#include "tests/support/privatenamespace.h"

#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
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

/// A user namespace gives its maker the rights that other namespaces need.
void EnterUserNamespace(const std::string& purpose)
{
    const std::string user = std::to_string(geteuid());
    const std::string group = std::to_string(getegid());
    if (unshare(CLONE_NEWUSER) != 0)
    {
        ThrowErrno(purpose + " needs root, or unprivileged user namespaces");
    }
    WriteFile("/proc/self/setgroups", "deny");
    WriteFile("/proc/self/uid_map", user + ' ' + user + " 1");
    WriteFile("/proc/self/gid_map", group + ' ' + group + " 1");
}

} // namespace

void EnterPrivateNamespace(int kind, const std::string& purpose)
{
    if (unshare(kind) == 0)
    {
        return;
    }
    if (errno != EPERM)
    {
        ThrowErrno(purpose);
    }
    EnterUserNamespace(purpose);
    if (unshare(kind) != 0)
    {
        ThrowErrno(purpose + ", within a user namespace");
    }
}
