#include "src/api/system/freezeframes.h"

#include "contracts/diagnostics.h"
#include "platform/log/log.h"
#include "platform/rpc/communicationexception.h"
#include "platform/toolbox/interruption.h"

#include <exception>
#include <utility>

namespace
{

constexpr std::chrono::seconds LongestWait{10};

bool WaitOnTheSteadyClock(const std::future<std::string>& fileName, std::chrono::nanoseconds longest)
{
    return fileName.wait_for(longest) == std::future_status::ready;
}

Rpc::CommunicationException Interrupted()
{
    return Rpc::CommunicationException("Diagnostics.CreateFreezeFrame: interrupted");
}

/// Ends the wait for a name, unless it has come.
void Break(std::promise<std::string>& promise)
{
    try
    {
        promise.set_exception(std::make_exception_ptr(Interrupted()));
    }
    catch (const std::future_error&)
    {
        LOG_DEBUG("Freezeframe was done before its interruption");
    }
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
    }

    ~CTurn()
    {
        auto fresh = std::make_shared<Promise>();
        const std::lock_guard lock(owner.mutex);
        owner.promise.swap(fresh);
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

CFreezeFrames::CFreezeFrames(std::shared_ptr<IDiagnostics> diagnostics,
                             Toolbox::CInterruption& interruption,
                             Wait wait)
    : diagnostics(std::move(diagnostics))
    , interruption(interruption)
    , wait(std::move(wait))
    , promise(std::make_shared<Promise>())
{
    LOG_ENTRY(CFreezeFrames, "CFreezeFrames");
}

CFreezeFrames::CFreezeFrames(std::shared_ptr<IDiagnostics> diagnostics, Toolbox::CInterruption& interruption)
    : CFreezeFrames(std::move(diagnostics), interruption, WaitOnTheSteadyClock)
{
}

void CFreezeFrames::Create(const std::string& reason)
{
    LOG_ENTRY(CFreezeFrames, "Create");
    CTurn turn(*this);
    const Toolbox::CInterruption::CHold hold(interruption, [promise = turn.promise] { Break(*promise); });
    diagnostics->FreezeFrameDone = [promise = turn.promise](const std::string& fileName)
    { Keep(*promise, fileName); };
    if (!Request(reason))
    {
        if (interruption.IsInterrupted())
        {
            throw Interrupted();
        }
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

bool CFreezeFrames::Request(const std::string& reason)
{
    LOG_ENTRY(CFreezeFrames, "Request");
    try
    {
        return diagnostics->CreateFreezeFrame(reason).status() == ipc::EResultOk;
    }
    catch (const Rpc::CommunicationException&)
    {
        return false;
    }
}
