#include "tests/support/privatemounts.h"

#include <sched.h>
#include <sys/mount.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace
{

void Check(int result, const std::string& what)
{
    if (result != 0)
    {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

} // namespace

CPrivateMounts::CPrivateMounts()
{
    Check(unshare(CLONE_NEWNS), "a namespace for mounts");
    Check(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), "make mounts private");
}

void CPrivateMounts::MountMemory(const std::filesystem::path& directory, const std::string& options) const
{
    Check(mount("tmpfs", directory.c_str(), "tmpfs", 0, options.c_str()), "mount " + directory.string());
}

void CPrivateMounts::MakeReadOnly(const std::filesystem::path& directory) const
{
    Check(mount(nullptr, directory.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr),
          "remount " + directory.string());
}

CShownFile::CShownFile(const CPrivateMounts& /*mounts*/,
                       const std::filesystem::path& file,
                       std::filesystem::path place)
    : place(std::move(place))
{
    Check(mount(file.c_str(), this->place.c_str(), nullptr, MS_BIND, nullptr),
          "mount " + this->place.string());
}

CShownFile::~CShownFile()
{
    umount2(place.c_str(), MNT_DETACH);
}
