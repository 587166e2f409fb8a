#include "simulator/downloads/downloads.h"

namespace Simulator
{

void CDownloads::Set(const std::string& path, const SDownload& download)
{
    const std::lock_guard lock(mutex);
    SEntry& entry = entries[path];
    entry.download = download;
    entry.edition = ++lastEdition;
    changed.notify_all();
}

std::map<std::string, CDownloads::SEntry> CDownloads::All() const
{
    const std::lock_guard lock(mutex);
    return entries;
}

std::optional<CDownloads::SEntry> CDownloads::Request(const std::string& path)
{
    const std::lock_guard lock(mutex);
    const auto found = entries.find(path);
    if (found == entries.end())
    {
        return std::nullopt;
    }
    ++found->second.requests;
    changed.notify_all();
    return found->second;
}

void CDownloads::AwaitRequests(const std::string& path,
                               std::uint64_t count,
                               std::chrono::milliseconds limit) const
{
    std::unique_lock lock(mutex);
    changed.wait_for(lock,
                     limit,
                     [&]
                     {
                         const auto found = entries.find(path);
                         return isWaitingEnded || (found != entries.end() && found->second.requests >= count);
                     });
}

bool CDownloads::WaitWhileStanding(const std::string& path,
                                   std::uint64_t edition,
                                   std::optional<std::chrono::milliseconds> limit) const
{
    std::unique_lock lock(mutex);
    const auto isOver = [&] { return !Stands(path, edition); };
    if (limit)
    {
        return !changed.wait_for(lock, *limit, isOver);
    }
    changed.wait(lock, isOver);
    return false;
}

void CDownloads::EndWaiting()
{
    const std::lock_guard lock(mutex);
    isWaitingEnded = true;
    changed.notify_all();
}

bool CDownloads::Stands(const std::string& path, std::uint64_t edition) const
{
    const auto found = entries.find(path);
    return !isWaitingEnded && found != entries.end() && found->second.edition == edition;
}

} // namespace Simulator
