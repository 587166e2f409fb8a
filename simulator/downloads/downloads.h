/// What the simulated station's download server has: descriptors and packages of software for the station.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace Simulator
{

/// What is answered on a path, and in which way it goes wrong.
struct SDownload
{
    unsigned status = 200;
    /// the body, unless there is a size
    std::string text;
    /// of a body that is made up, in bytes
    std::optional<std::int64_t> size;
    /// where to look instead; empty for none
    std::string location;
    /// the body's length as the answer announces it, the right one if not given; negative for none
    std::optional<std::int64_t> announced;
    /// bytes of the body after which the connection is closed
    std::optional<std::int64_t> cutAfter;
    /// bytes of the body after which nothing more comes
    std::optional<std::int64_t> stallAfter;
    /// bytes of the body in a second; 0 for as many as there is room for
    std::int64_t speed = 0;
    /// whether there is no answer at all
    bool isSilent = false;

    std::int64_t Length() const { return size.value_or(static_cast<std::int64_t>(text.size())); }
};

/// The answers of the server by path.
/// Threads: any.
class CDownloads
{
public:
    /// An answer, and which one of its path's it is.
    struct SEntry
    {
        SDownload download;
        std::uint64_t edition = 0;
        /// requests of the path so far
        std::uint64_t requests = 0;
    };

    /// Answers under way on that path are broken off.
    void Set(const std::string& path, const SDownload& download);

    std::map<std::string, SEntry> All() const;

    /// Counts a request. @return empty if there is nothing on that path
    std::optional<SEntry> Request(const std::string& path);

    /// Waits until the path has been requested so often, for at most @p limit.
    void AwaitRequests(const std::string& path, std::uint64_t count, std::chrono::milliseconds limit) const;

    /// Waits for as long as the answer of that edition stands, and for at most @p limit if there is one.
    /// @return whether it still stands
    bool WaitWhileStanding(const std::string& path,
                           std::uint64_t edition,
                           std::optional<std::chrono::milliseconds> limit) const;

    /// Lets all that wait go, now and from now on, and breaks off what is under way.
    void EndWaiting();

private:
    bool Stands(const std::string& path, std::uint64_t edition) const;

    mutable std::mutex mutex;
    mutable std::condition_variable changed;

    // Guarded by mutex
    std::map<std::string, SEntry> entries;
    std::uint64_t lastEdition = 0;
    bool isWaitingEnded = false;
};

} // namespace Simulator
