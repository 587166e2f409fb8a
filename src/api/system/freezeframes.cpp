#include "src/api/system/freezeframes.h"

#include "contracts/diagnostics.h"
#include "platform/log/log.h"
#include "platform/rpc/communicationexception.h"

#include <exception>
#include <utility>

namespace
{

constexpr std::chrono::seconds LongestWait{10};

bool WaitOnTheSteadyClock(const std::future<std::string>& fileName, std::chrono::nanoseconds longest)
{
    return fileName.wait_for(longest) == std::future_status::ready;
}

void Keep(std::promise<std::string>& promise, const std::string& fileName)
{
    try
    {
        promise.set_value(fileName);
        LOG_INFO("Freezeframe is done @ {}", fileName);
    }
    catch (const std::future_error& error)
    {
        LOG_WARN("Unexpected freezeframe promise {}", error.what());
    }
}

} // namespace

/// One freeze frame's hold on the promise.
class CFreezeFrames::CTurn
{
public:
    /// @throws std::future_error if another one holds it
    explicit CTurn(CFreezeFrames& owner)
        : owner(owner)
    {
        const std::lock_guard lock(owner.mutex);
        fileName = owner.promise->get_future();
        promise = owner.promise;
        owner.isUnderWay = true;
    }

    ~CTurn()
    {
        auto fresh = std::make_shared<Promise>();
        const std::lock_guard lock(owner.mutex);
        owner.promise.swap(fresh);
        owner.isUnderWay = false;
    }

    CTurn(const CTurn&) = delete;
    CTurn& operator=(const CTurn&) = delete;
    CTurn(CTurn&&) = delete;
    CTurn& operator=(CTurn&&) = delete;

    std::shared_ptr<Promise> promise;
    std::future<std::string> fileName;

private:
    CFreezeFrames& owner;
};

CFreezeFrames::CFreezeFrames(std::shared_ptr<IDiagnostics> diagnostics, Wait wait)
    : diagnostics(std::move(diagnostics))
    , wait(std::move(wait))
    , promise(std::make_shared<Promise>())
{
}

CFreezeFrames::CFreezeFrames(std::shared_ptr<IDiagnostics> diagnostics)
    : CFreezeFrames(std::move(diagnostics), WaitOnTheSteadyClock)
{
}

void CFreezeFrames::Create(const std::string& reason)
{
    LOG_ENTRY(CFreezeFrames, "Create");
    CTurn turn(*this);
    diagnostics->FreezeFrameDone = [promise = turn.promise](const std::string& fileName)
    { Keep(*promise, fileName); };
    if (!Request(reason))
    {
        LOG_ERROR("CreateFreezeFrame call failed");
        return;
    }
    if (!wait(turn.fileName, LongestWait))
    {
        LOG_ERROR("Timeout while creating freezeframe");
        return;
    }
    const std::string fileName = turn.fileName.get();
    if (fileName.empty())
    {
        LOG_ERROR("No filename received for freezeframe");
        return;
    }
    LOG_INFO("Freezeframe created at {}", fileName);
}

void CFreezeFrames::Interrupt()
{
    LOG_ENTRY(CFreezeFrames, "Interrupt");
    const std::lock_guard lock(mutex);
    if (!isUnderWay)
    {
        return;
    }
    try
    {
        promise->set_exception(std::make_exception_ptr(
            Rpc::CommunicationException("Diagnostics.CreateFreezeFrame: interrupted")));
    }
    catch (const std::future_error&)
    {
        // it was done at the same moment
        return;
    }
}

bool CFreezeFrames::Request(const std::string& reason)
{
    try
    {
        return diagnostics->CreateFreezeFrame(reason).status() == ipc::EResultOk;
    }
    catch (const Rpc::CommunicationException&)
    {
        return false;
    }
}
