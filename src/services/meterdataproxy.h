#pragma once

#include "contracts/meter.h"

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

/// Stands before the meter service, of which it gets no more than one reading in a given time, however many
/// ask.
///
/// The other operations of the interface are answered here, as the service's client answers them: a result of
/// status 1, an empty string.
///
/// Threads: any. Who asks while another reads waits for that reading, and reads anew if it fails.
class CMeterDataProxy : public IMeter
{
public:
    using SteadyClock = std::function<std::chrono::steady_clock::time_point()>;

    /// @param meter   the service; null for a station that has none, whose data read 0
    /// @param maxAge  age from which on data are read anew
    CMeterDataProxy(std::shared_ptr<IMeter> meter,
                    std::chrono::seconds maxAge,
                    SteadyClock clock = &std::chrono::steady_clock::now);

    /// @throws Rpc::CommunicationException if the service can't be reached: the next call tries again
    ipc::MMeterData GetMeterData() override;

    ipc::MResult Enable() override;
    ipc::MResult Disable() override;
    ipc::MResult Reset() override;
    std::string GetSerialNumber() override;
    ipc::MResult StartSession() override;
    ipc::MResult StopSession() override;
    ipc::MResult EnableDisplay() override;
    ipc::MResult DisableDisplay() override;
    ipc::MResult SelfTest() override;
    std::string GetFirmwareVersion() override;

private:
    // Constant after construction
    const std::shared_ptr<IMeter> meter;
    const std::chrono::seconds maxAge;
    const SteadyClock clock;

    // held while the service is read, so that all who ask meanwhile wait and share the reading
    std::mutex mutex;

    // Guarded by mutex
    std::chrono::steady_clock::time_point lastRead;
    ipc::MMeterData data;
};
