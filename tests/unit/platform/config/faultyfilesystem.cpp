#include "tests/unit/platform/config/faultyfilesystem.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <stdexcept>

namespace
{

std::string PathOf(int descriptor)
{
    return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
}

std::optional<std::string> ContentsOf(const std::string& path)
{
    const std::ifstream stream(path, std::ios::binary);
    if (!stream)
    {
        return std::nullopt;
    }
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

} // namespace

CFaultyFileSystem::CFaultyFileSystem()
    : writeLimit(std::numeric_limits<std::size_t>::max())
{
}

CFaultyFileSystem::~CFaultyFileSystem()
{
    for (const auto& [descriptor, second] : notSynced)
    {
        close(second);
    }
}

void CFaultyFileSystem::Fail(EStep step, int occurrence, int error)
{
    faults[step][occurrences[step] + occurrence] = error;
}

void CFaultyFileSystem::LimitWrites(std::size_t size)
{
    writeLimit = size;
}

void CFaultyFileSystem::CutPowerAfter(int calls)
{
    callsUntilPowerCut = calls;
}

void CFaultyFileSystem::LoseWhatIsNotSynced()
{
    for (const auto& [descriptor, second] : notSynced)
    {
        if (ftruncate(second, 0) != 0)
        {
            throw std::runtime_error("can't truncate");
        }
    }
    for (const auto& [path, contents] : replaced)
    {
        if (contents)
        {
            std::ofstream(path, std::ios::binary) << *contents;
        }
        else
        {
            std::filesystem::remove(path);
        }
    }
}

std::vector<CFaultyFileSystem::EStep> CFaultyFileSystem::TakeSteps()
{
    std::vector<EStep> taken;
    taken.swap(steps);
    return taken;
}

bool CFaultyFileSystem::Meets(EStep step)
{
    if (callsUntilPowerCut && (*callsUntilPowerCut)-- <= 0)
    {
        throw SPowerCut();
    }
    steps.push_back(step);
    const auto& ordered = faults[step];
    const auto fault = ordered.find(++occurrences[step]);
    if (fault == ordered.end())
    {
        return false;
    }
    errno = fault->second;
    return true;
}

int CFaultyFileSystem::Open(int directory, const std::string& path, int flags, mode_t mode)
{
    if (Meets(EStep::Open))
    {
        return -1;
    }
    const int descriptor = host->Open(directory, path, flags, mode);
    openDescriptors += descriptor >= 0 ? 1 : 0;
    return descriptor;
}

int CFaultyFileSystem::Close(int descriptor)
{
    --openDescriptors;
    return host->Close(descriptor);
}

ssize_t CFaultyFileSystem::Read(int descriptor, void* buffer, std::size_t size)
{
    return Meets(EStep::Read) ? -1 : host->Read(descriptor, buffer, size);
}

ssize_t CFaultyFileSystem::Write(int descriptor, const void* data, std::size_t size)
{
    if (Meets(EStep::Write))
    {
        return -1;
    }
    if (notSynced.count(descriptor) == 0)
    {
        notSynced[descriptor] = dup(descriptor);
    }
    return host->Write(descriptor, data, std::min(size, writeLimit));
}

int CFaultyFileSystem::Sync(int descriptor)
{
    if (Meets(EStep::Sync))
    {
        return -1;
    }
    const auto written = notSynced.find(descriptor);
    if (written != notSynced.end())
    {
        close(written->second);
        notSynced.erase(written);
    }
    else
    {
        replaced.clear();
    }
    return host->Sync(descriptor);
}

int CFaultyFileSystem::Lock(int descriptor)
{
    return Meets(EStep::Lock) ? -1 : host->Lock(descriptor);
}

int CFaultyFileSystem::Status(int descriptor, struct stat& status)
{
    return Meets(EStep::Status) ? -1 : host->Status(descriptor, status);
}

int CFaultyFileSystem::StatusOf(int directory, const std::string& path, struct stat& status)
{
    return Meets(EStep::StatusOf) ? -1 : host->StatusOf(directory, path, status);
}

int CFaultyFileSystem::SetModificationTime(int descriptor, timespec time)
{
    return Meets(EStep::SetModificationTime) ? -1 : host->SetModificationTime(descriptor, time);
}

int CFaultyFileSystem::Rename(int directory, const std::string& from, const std::string& to)
{
    if (Meets(EStep::Rename))
    {
        return -1;
    }
    const std::string path = PathOf(directory) + "/" + to;
    replaced.emplace(path, ContentsOf(path));
    return host->Rename(directory, from, to);
}

int CFaultyFileSystem::Remove(int directory, const std::string& path)
{
    return Meets(EStep::Remove) ? -1 : host->Remove(directory, path);
}

int CFaultyFileSystem::MakeDirectory(const std::string& path, mode_t mode)
{
    return Meets(EStep::MakeDirectory) ? -1 : host->MakeDirectory(path, mode);
}
