#include "src/websocket/broadcasters/boardcontrolfwupdatestatus.h"

#include "src/websocket/broadcasters/whilealive.h"

#include "platform/log/log.h"

#include <mutex>
#include <optional>
#include <utility>

namespace
{

Json::Value ConstructMessage(const ipc::MFwUpdateStatus& status)
{
    Json::Value message;
    message["status"] = ipc::EFwUpdateStatus_Name(status.status());
    if (status.status() == ipc::EFwUpdateStatusSuccess)
    {
        message["fwIdentOld"] = status.old_firmware_identifier();
        message["fwIdentNew"] = status.new_firmware_identifier();
    }
    return message;
}

} // namespace

struct CBoardControlFwUpdateStatusBroadcaster::SCore
{
    SCore(std::shared_ptr<ITopic> topic, std::shared_ptr<IBoardControl> boardControl)
        : topic(std::move(topic))
        , boardControl(std::move(boardControl))
    {
    }

    void HandleStatus(const ipc::MFwUpdateStatus& status)
    {
        const Json::Value message = ConstructMessage(status);
        {
            const std::lock_guard lock(mutex);
            lastMessage = message;
        }
        topic->Broadcast(message);
    }

    void HandleSubscription(const ITopic::Reply& reply)
    {
        if (!reply)
        {
            LOG_DEBUG("OnSubscribe callback was not provided with a reply callback object.");
            return;
        }
        // held while sending: no newer status overtakes the one that is being sent
        const std::lock_guard lock(mutex);
        if (lastMessage)
        {
            reply(*lastMessage);
        }
    }

    // Constant after construction
    const std::shared_ptr<ITopic> topic;
    const std::shared_ptr<IBoardControl> boardControl;

    std::mutex mutex;

    // Guarded by mutex
    std::optional<Json::Value> lastMessage;
};

CBoardControlFwUpdateStatusBroadcaster::CBoardControlFwUpdateStatusBroadcaster(
    std::shared_ptr<ITopic> topic, std::shared_ptr<IBoardControl> boardControl)
    : core(std::make_shared<SCore>(std::move(topic), std::move(boardControl)))
{
    LOG_ENTRY(CBoardControlFwUpdateStatusBroadcaster, "CBoardControlFwUpdateStatusBroadcaster");
    ConnectService();
}

void CBoardControlFwUpdateStatusBroadcaster::ConnectService()
{
    LOG_ENTRY(CBoardControlFwUpdateStatusBroadcaster, "ConnectService");
    core->boardControl->FirmwareUpdateStatus = WhileAlive(core, &SCore::HandleStatus);
    core->topic->OnSubscribe = WhileAlive(core, &SCore::HandleSubscription);
}
