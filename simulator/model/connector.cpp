#include "simulator/model/connector.h"

namespace Simulator
{

namespace
{

bool HasSession(int state)
{
    return (state >= ipc::EConnectorStatePreparingPluggedIn && state <= ipc::EConnectorStateFinishing) ||
           state == ipc::EConnectorStateCharging || state == ipc::EConnectorStateChargingLimited;
}

} // namespace

ipc::MConnectorInfo CConnector::AvailableInfo()
{
    ipc::MConnectorInfo info;
    info.set_connector_state(ipc::EConnectorStateAvailable);
    return info;
}

void CConnector::Update(const SUpdate& update)
{
    info.set_connector_state(static_cast<ipc::EConnectorState>(update.state));
    UpdateSession(update);
    if (update.reservation)
    {
        *info.mutable_reservation() = *update.reservation;
    }
    else if (update.state != ipc::EConnectorStateReserved)
    {
        info.clear_reservation();
    }
}

void CConnector::UpdateSession(const SUpdate& update)
{
    if (!HasSession(update.state))
    {
        info.clear_session();
        return;
    }
    if (!info.has_session())
    {
        info.mutable_session()->set_session_id("session-" + std::to_string(++sessions));
    }
    ipc::MConnectorSession& session = *info.mutable_session();
    if (update.sessionId)
    {
        session.set_session_id(*update.sessionId);
    }
    const bool isAuthorized = session.authorized() || update.state != ipc::EConnectorStatePreparingPluggedIn;
    session.set_authorized(update.authorized.value_or(isAuthorized));
}

bool CConnector::IsCharging() const
{
    return State() == ipc::EConnectorStateCharging || State() == ipc::EConnectorStateChargingLimited;
}

} // namespace Simulator
