#pragma once

#include "contracts/station.grpc.pb.h"
#include "simulator/controller/cancellablecalls.h"

#include <grpcpp/channel.h>
#include <grpcpp/client_context.h>
#include <grpcpp/support/sync_stream.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace Simulator
{

/// A connection to @p address of its own, so that no earlier failure delays it.
std::shared_ptr<grpc::Channel> MakeFreshChannel(const std::string& address);

/// Keeps a stream open on a thread of its own: when it ends it is opened again, soon at first and then with
/// growing pauses, forever. Threads: Start and Stop on one.
class CStreamKeeper
{
public:
    /// Opens the stream and reads it until it ends.
    /// @return whether anything was read
    using ReadStream = std::function<bool(ipc::WebbackendGenCtrl::Stub& stub, grpc::ClientContext& context)>;

    CStreamKeeper(std::string address, ReadStream readStream);

    /// Stops.
    ~CStreamKeeper();
    CStreamKeeper(const CStreamKeeper&) = delete;
    CStreamKeeper& operator=(const CStreamKeeper&) = delete;
    CStreamKeeper(CStreamKeeper&&) = delete;
    CStreamKeeper& operator=(CStreamKeeper&&) = delete;

    void Start();

    /// Ends the stream and joins the thread.
    void Stop();

private:
    void Run();
    bool ReadOnce();
    /// @return false when it is time to stop
    bool Pause(std::chrono::milliseconds pause);

    // Constant after construction
    const std::string address;
    const ReadStream readStream;

    CCancellableCalls calls;
    std::thread thread;

    std::mutex mutex;
    std::condition_variable stopRequested;

    // Guarded by mutex
    bool isStopping = false;
};

/// Reads a stream of @p Message to its end.
template <class Message>
bool ReadToEnd(const std::unique_ptr<grpc::ClientReader<Message>>& reader,
               const std::function<void(const Message&)>& receive)
{
    Message message;
    bool hasRead = false;
    while (reader->Read(&message))
    {
        hasRead = true;
        receive(message);
    }
    reader->Finish();
    return hasRead;
}

} // namespace Simulator
