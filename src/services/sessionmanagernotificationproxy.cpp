#include "src/services/sessionmanagernotificationproxy.h"

#include <utility>

CSessionManagerNotificationProxy::CSessionManagerNotificationProxy(std::shared_ptr<ISessionManager> client)
    : client(std::move(client))
    , listeners(std::make_shared<Listeners>())
{
    this->client->ConnectorState = [weak = std::weak_ptr(listeners)](const ipc::MConnectorState& message)
    {
        if (const std::shared_ptr<Listeners> living = weak.lock())
        {
            Notify(*living, message);
        }
    };
}

void CSessionManagerNotificationProxy::AddListener(const std::shared_ptr<Listener>& listener)
{
    listeners->emplace_back(listener);
}

void CSessionManagerNotificationProxy::Notify(Listeners& listeners, const ipc::MConnectorState& message)
{
    for (auto listener = listeners.begin(); listener != listeners.end();)
    {
        if (const std::shared_ptr<Listener> living = listener->lock())
        {
            (*living)(message);
            ++listener;
        }
        else
        {
            listener = listeners.erase(listener);
        }
    }
}
