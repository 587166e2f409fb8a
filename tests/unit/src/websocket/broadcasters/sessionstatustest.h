#pragma once

#include "src/services/sessionmanagernotificationproxy.h"
#include "src/websocket/broadcasters/sessionstatus.h"

#include "platform/worker/worker.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/faketopic.h"
#include "tests/fakes/mockservices.h"
#include "tests/support/manualclock.h"

/// A reading of three phases.
ipc::MMeterData Reading(std::int64_t totalEnergy, const std::vector<int>& power = {});

/// A message of the session manager's.
ipc::MConnectorState ConnectorState(int number);

/// The event of a state with a Reading, and without one.
std::string Event(const std::string& word, std::int64_t totalEnergy);
std::string Event(const std::string& word);

/// A broadcaster between a session manager and a meter of the test's and a topic without a server. Its worker
/// has a manual clock and runs when the test starts it.
class SessionStatus : public testing::Test
{
protected:
    SessionStatus();
    ~SessionStatus() override;
    SessionStatus(const SessionStatus&) = delete;
    SessionStatus& operator=(const SessionStatus&) = delete;
    SessionStatus(SessionStatus&&) = delete;
    SessionStatus& operator=(SessionStatus&&) = delete;

    void MakeBroadcaster(std::shared_ptr<IMeter> itsMeter);

    /// The connector changes to a state.
    void Set(int number) { sessionManager->ConnectorState(ConnectorState(number)); }

    /// What the meter reads from now on.
    void SetReading(const ipc::MMeterData& reading);

    const std::shared_ptr<testing::StrictMock<CMockSessionManager>> sessionManager =
        std::make_shared<testing::StrictMock<CMockSessionManager>>();
    const std::shared_ptr<CSessionManagerNotificationProxy> proxy =
        std::make_shared<CSessionManagerNotificationProxy>(sessionManager);
    const std::shared_ptr<testing::NiceMock<CMockMeter>> meter =
        std::make_shared<testing::NiceMock<CMockMeter>>();
    const std::shared_ptr<CFakeTopic> topic = std::make_shared<CFakeTopic>();
    const std::shared_ptr<CManualClock> clock = std::make_shared<CManualClock>();
    std::shared_ptr<CWorker> worker = std::make_shared<CWorker>(clock);
    std::unique_ptr<CSessionStatusBroadcaster> broadcaster;
};
