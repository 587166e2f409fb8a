#include "simulator/model/connector.h"

#include <gtest/gtest.h>

using Simulator::CConnector;

namespace
{

CConnector::SUpdate To(int state)
{
    CConnector::SUpdate update;
    update.state = state;
    return update;
}

ipc::MConnectorReservation MakeReservation()
{
    ipc::MConnectorReservation reservation;
    reservation.set_reservation_id(7);
    return reservation;
}

} // namespace

TEST(SimulatedConnector, IsAvailableAtFirst)
{
    const CConnector connector;
    EXPECT_EQ(connector.State(), ipc::EConnectorStateAvailable);
    EXPECT_FALSE(connector.Info().has_session());
    EXPECT_FALSE(connector.Info().has_reservation());
}

TEST(SimulatedConnector, HasASessionInTheStatesOfOneOnly)
{
    for (int state = 0; state <= 12; ++state)
    {
        CConnector connector;
        connector.Update(To(state));
        const bool isSessionState = (state >= 4 && state <= 9) || state == 11 || state == 12;
        EXPECT_EQ(connector.Info().has_session(), isSessionState) << state;
    }
}

TEST(SimulatedConnector, KeepsItsSessionFromPluggedInToFinishing)
{
    CConnector connector;
    connector.Update(To(ipc::EConnectorStatePreparingPluggedIn));
    const std::string session = connector.Info().session().session_id();
    EXPECT_FALSE(session.empty());
    for (const int state : {5, 11, 7, 11, 9})
    {
        connector.Update(To(state));
        EXPECT_EQ(connector.Info().session().session_id(), session) << state;
    }
}

TEST(SimulatedConnector, NextVehicleGetsAnotherSession)
{
    CConnector connector;
    connector.Update(To(11));
    const std::string first = connector.Info().session().session_id();
    connector.Update(To(1));
    connector.Update(To(11));
    EXPECT_NE(connector.Info().session().session_id(), first);
}

TEST(SimulatedConnector, SessionIsAuthorizedFromAuthorizationOn)
{
    CConnector connector;
    connector.Update(To(4));
    EXPECT_FALSE(connector.Info().session().authorized());
    connector.Update(To(5));
    EXPECT_TRUE(connector.Info().session().authorized());
    connector.Update(To(4));
    EXPECT_TRUE(connector.Info().session().authorized());
}

TEST(SimulatedConnector, TakesSessionIdAndAuthorizationAsGiven)
{
    CConnector connector;
    CConnector::SUpdate update = To(11);
    update.sessionId = "S-42";
    update.authorized = false;
    connector.Update(update);
    EXPECT_EQ(connector.Info().session().session_id(), "S-42");
    EXPECT_FALSE(connector.Info().session().authorized());
}

TEST(SimulatedConnector, ReservationLastsWhileReserved)
{
    CConnector connector;
    CConnector::SUpdate update = To(ipc::EConnectorStateReserved);
    update.reservation = MakeReservation();
    connector.Update(update);
    connector.Update(To(ipc::EConnectorStateReserved));
    EXPECT_EQ(connector.Info().reservation().reservation_id(), 7U);
    connector.Update(To(ipc::EConnectorStateAvailable));
    EXPECT_FALSE(connector.Info().has_reservation());
}

TEST(SimulatedConnector, CurrentFlowsInTheTwoStatesOfCharging)
{
    for (int state = 0; state <= 13; ++state)
    {
        CConnector connector;
        connector.Update(To(state));
        EXPECT_EQ(connector.IsCharging(), state == 11 || state == 12) << state;
    }
}

TEST(SimulatedConnector, TakesNumbersThatHaveNoName)
{
    CConnector connector;
    connector.Update(To(-3));
    EXPECT_EQ(connector.State(), -3);
    connector.Update(To(13));
    EXPECT_EQ(connector.State(), 13);
}
