#include "simulator/rootlock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <stdexcept>

namespace Simulator
{

CRootLock::CRootLock(const std::filesystem::path& root)
{
    std::filesystem::create_directories(root / "run");
    const std::filesystem::path path = root / "run/stationsim.lock";
    file = open(path.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (file < 0)
    {
        throw std::runtime_error(path.string() + " can't be opened");
    }
    if (flock(file, LOCK_EX | LOCK_NB) != 0)
    {
        close(file);
        throw std::runtime_error("another simulator runs in " + root.string());
    }
}

CRootLock::~CRootLock()
{
    close(file);
}

} // namespace Simulator
