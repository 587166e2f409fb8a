#include "src/websocket/broadcasters/rfidtokenfound.h"

#include "src/websocket/broadcasters/whilealive.h"

#include "platform/log/log.h"

#include <string>
#include <utility>

struct CRfidTokenFoundBroadcaster::SCore
{
    void HandleToken(const std::string& identifier)
    {
        Json::Value message;
        message["tokenId"] = identifier;
        topic->Broadcast(message);
    }

    void HandleSubscription(const ITopic::Reply&) { rfid->SetTokenReport(true); }

    void HandleUnsubscription()
    {
        if (topic->NumberOfSubscribers() == 0)
        {
            rfid->SetTokenReport(false);
            // whoever came meanwhile had switched it on in vain
            if (topic->NumberOfSubscribers() > 0)
            {
                rfid->SetTokenReport(true);
            }
        }
    }

    // Constant after construction
    const std::shared_ptr<ITopic> topic;
    const std::shared_ptr<IRfid> rfid;
};

CRfidTokenFoundBroadcaster::CRfidTokenFoundBroadcaster(std::shared_ptr<ITopic> topic,
                                                       std::shared_ptr<IRfid> rfid)
    : core(std::make_shared<SCore>(SCore{std::move(topic), std::move(rfid)}))
{
    LOG_ENTRY(CRfidTokenFoundBroadcaster, "CRfidTokenFoundBroadcaster");
    ConnectService();
}

void CRfidTokenFoundBroadcaster::ConnectService()
{
    LOG_ENTRY(CRfidTokenFoundBroadcaster, "ConnectService");
    core->rfid->TokenFound = WhileAlive(core, &SCore::HandleToken);
    core->topic->OnSubscribe = WhileAlive(core, &SCore::HandleSubscription);
    core->topic->OnUnsubscribe = WhileAlive(core, &SCore::HandleUnsubscription);
}
