#include "src/services/sessionmanagernotificationproxy.h"

#include <utility>

CSessionManagerNotificationProxy::CSessionManagerNotificationProxy(std::shared_ptr<ISessionManager> client)
    : client(std::move(client))
{
    this->client->ConnectorState = [this](const ipc::MConnectorState& message) { Notify(message); };
}

CSessionManagerNotificationProxy::~CSessionManagerNotificationProxy()
{
    client->ConnectorState = Listener();
}

void CSessionManagerNotificationProxy::AddListener(const std::shared_ptr<Listener>& listener)
{
    listeners.emplace_back(listener);
}

void CSessionManagerNotificationProxy::Notify(const ipc::MConnectorState& message)
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
