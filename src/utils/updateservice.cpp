#include "src/utils/updateservice.h"

#include "platform/log/log.h"

#include <unistd.h>

namespace
{

/// Without a name on the station.
constexpr gid_t UpdateGroup = 905;
constexpr auto SameOwner = static_cast<uid_t>(-1);

} // namespace

void GiveToUpdateService(const std::filesystem::path& package)
{
    const int result = chown(package.c_str(), SameOwner, UpdateGroup);
    if (result != 0)
    {
        LOG_ERROR(
            "Unable to change group ownership of fwupdate package file {} ({})", package.string(), result);
    }
}
