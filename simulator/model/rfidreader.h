#pragma once

#include <functional>
#include <mutex>
#include <string>

namespace Simulator
{

/// The reader of RFID tokens, which reports taps while somebody wants to hear of them.
/// Threads: any. The output runs on the caller's thread and outside the lock.
class CRfidReader
{
public:
    explicit CRfidReader(std::function<void(const std::string&)> tokenFound);

    void SetReport(bool on);
    bool IsReporting() const;

    /// A token is held before the reader.
    /// @return whether it was reported
    bool Tap(const std::string& token) const;

private:
    // Constant after construction
    const std::function<void(const std::string&)> tokenFound;

    mutable std::mutex mutex;

    // Guarded by mutex
    bool isReporting = false;
};

} // namespace Simulator
