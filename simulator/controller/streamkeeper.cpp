#include "simulator/controller/streamkeeper.h"

#include <grpcpp/create_channel.h>
#include <grpcpp/security/credentials.h>
#include <grpcpp/support/channel_arguments.h>

#include <algorithm>

namespace Simulator
{

namespace
{

constexpr std::chrono::milliseconds FirstPause{10};
constexpr std::chrono::milliseconds LongestPause{200};

} // namespace

std::shared_ptr<grpc::Channel> MakeFreshChannel(const std::string& address)
{
    grpc::ChannelArguments arguments;
    arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
    // measuring the bandwidth for messages as small as these would only wake the process
    arguments.SetInt(GRPC_ARG_HTTP2_BDP_PROBE, 0);
    return grpc::CreateCustomChannel(address, grpc::InsecureChannelCredentials(), arguments);
}

CStreamKeeper::CStreamKeeper(std::string address, ReadStream readStream)
    : address(std::move(address))
    , readStream(std::move(readStream))
{
}

CStreamKeeper::~CStreamKeeper()
{
    Stop();
}

void CStreamKeeper::Start()
{
    thread = std::thread([this] { Run(); });
}

void CStreamKeeper::Stop()
{
    {
        const std::lock_guard lock(mutex);
        isStopping = true;
    }
    stopRequested.notify_all();
    calls.CancelAll();
    if (thread.joinable())
    {
        thread.join();
    }
}

void CStreamKeeper::Run()
{
    std::chrono::milliseconds pause = FirstPause;
    do
    {
        pause = ReadOnce() ? FirstPause : std::min(2 * pause, LongestPause);
    } while (Pause(pause));
}

bool CStreamKeeper::ReadOnce()
{
    bool hasRead = false;
    calls.Run(
        [this, &hasRead](grpc::ClientContext& context)
        {
            const auto stub = ipc::WebbackendGenCtrl::NewStub(MakeFreshChannel(address));
            hasRead = readStream(*stub, context);
        });
    return hasRead;
}

bool CStreamKeeper::Pause(std::chrono::milliseconds pause)
{
    std::unique_lock lock(mutex);
    return !stopRequested.wait_for(lock, pause, [this] { return isStopping; });
}

} // namespace Simulator
