#pragma once

#include "simulator/operations.h"

#include <json/value.h>

#include <chrono>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace Simulator
{

/// How a call is answered other than by the station. A default one changes nothing.
struct SFault
{
    /// before the answer, whichever it is
    std::chrono::milliseconds delay{0};
    /// in place of the station's answer; its kind is the operation's
    std::optional<Json::Value> answer;
    /// the result "Illegal"
    bool refuse = false;
    /// a failure of the transport
    bool fail = false;
    /// no answer at all
    bool hang = false;
    /// how many calls it meets; 0 until it is removed
    unsigned times = 0;
};

/// The faults that are set for the operations of the services.
/// Threads: any.
class CFaultTable
{
public:
    /// Sets a fault behind the earlier ones of the operation, in place of one that has no number of times.
    void Add(const SOperation& operation, const SFault& fault);

    /// What meets the present call of the operation; used up with its last time.
    SFault Take(const SOperation& operation);

    /// Removes the faults of an operation, of a whole service, or all: an empty name stands for any.
    void Remove(std::string_view service, std::string_view operation);

    /// Array of the faults in the form in which they are set, by service and operation.
    Json::Value ToJson() const;

private:
    using Key = std::pair<std::string_view, std::string_view>;

    mutable std::mutex mutex;

    // Guarded by mutex; the names are those of the table of operations
    std::map<Key, std::deque<SFault>> faults;
};

} // namespace Simulator
