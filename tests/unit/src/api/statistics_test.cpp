#include "src/api/jsonresponse.h"
#include "src/api/restserver.h"
#include "src/api/statistics.h"
#include "src/statistics/historystatisticscomponent.h"
#include "src/statistics/sessionstatisticscomponent.h"

#include "platform/config/tarnconfig.h"
#include "platform/json/jsonutil.h"

#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/mockservices.h"
#include "tests/support/capturedlog.h"
#include "tests/support/configfiles.h"
#include "tests/support/manualsystemclock.h"
#include "tests/support/privatenetwork.h"
#include "tests/support/rawhttp.h"
#include "tests/unit/src/api/answertext.h"

namespace
{

using namespace std::chrono_literals;
using Resources::CStatisticsApi;
using testing::ElementsAre;
using testing::Return;

const auto* const network = testing::AddGlobalTestEnvironment(new CPrivateNetwork);

constexpr std::uint16_t Port = 8080;

const std::string History =
    R"({"HistoryMonth":[{"Energy":[5],"Month":5,"Year":2024}],"HistoryYear":[{"Energy":[0,0,0,0,5],"Year":2024}]})";

/// The API over both components, at noon on the 1st of May 2024.
class StatisticsApi : public testing::Test
{
protected:
    StatisticsApi()
    {
        ipc::MMeterData reading;
        reading.add_power(3680);
        reading.add_power(-3690);
        reading.add_power(0);
        ON_CALL(*meter, GetMeterData).WillByDefault(Return(reading));
    }

    void Start(const std::shared_ptr<IMeter>& ofStation)
    {
        sessionStatistics = std::make_shared<CSessionStatisticsComponent>(
            ofStation, notifications, worker, 30s, 300s, 288, clock.Source());
        historyStatistics = std::make_shared<CHistoryStatisticsComponent>(
            ofStation, notifications, files.Open("charging_history"), worker, 6, 10, clock.Source());
        api = std::make_unique<CStatisticsApi>(sessionStatistics, historyStatistics);
    }

    void Charge() const
    {
        ipc::MConnectorState message;
        message.set_state(ipc::EConnectorStateCharging);
        sessionManager->ConnectorState(message);
    }

    /// The whole answer as it goes over the wire.
    std::string Answer(CStatisticsApi::Response (CStatisticsApi::*handler)()) const
    {
        CRestServer server(Port, nullptr);
        server.AddRoute(
            EHttpMethod::Get,
            "/statistics",
            [this, handler](const IHttpRequest& /*request*/) { return (api.get()->*handler)(); },
            false);
        server.Start();
        return AnswerText(HttpRequest(Port, "GET", "/statistics"));
    }

    const CConfigFiles files;
    const CManualSystemClock clock{CManualSystemClock::Time(1714564800s)};
    const std::shared_ptr<testing::NiceMock<CMockMeter>> meter =
        std::make_shared<testing::NiceMock<CMockMeter>>();
    const std::shared_ptr<CMockSessionManager> sessionManager = std::make_shared<CMockSessionManager>();
    const std::shared_ptr<CSessionManagerNotificationProxy> notifications =
        std::make_shared<CSessionManagerNotificationProxy>(sessionManager);
    const std::shared_ptr<CWorker> worker = std::make_shared<CWorker>();
    std::shared_ptr<CSessionStatisticsComponent> sessionStatistics;
    std::shared_ptr<CHistoryStatisticsComponent> historyStatistics;
    std::unique_ptr<CStatisticsApi> api;
};

} // namespace

TEST_F(StatisticsApi, SessionIsTheCurveOfTheRunningCharge)
{
    Start(meter);
    Charge();

    EXPECT_EQ(Answer(&CStatisticsApi::GetSessionStatistics),
              JsonAnswer("200 OK",
                         "{\n\t\"data\" : \n\t[\n\t\t{\n\t\t\t\"averagePower\" : \n\t\t\t[\n\t\t\t\t3680,\n"
                         "\t\t\t\t-3690,\n\t\t\t\t0\n\t\t\t],\n"
                         "\t\t\t\"timestamp\" : \"2024-05-01T12:00:00Z\"\n\t\t}\n\t]\n}\n"));
}

TEST_F(StatisticsApi, SessionOfAStationWithoutAMeterIsAnEmptyArray)
{
    Start(nullptr);
    Charge();

    EXPECT_EQ(Answer(&CStatisticsApi::GetSessionStatistics), JsonAnswer("200 OK", "{\n\t\"data\" : []\n}\n"));
}

TEST_F(StatisticsApi, HistoryIsWhatTheFileHolds)
{
    files.Write("charging_history", History);
    for (const std::shared_ptr<IMeter>& ofStation :
         {std::shared_ptr<IMeter>(meter), std::shared_ptr<IMeter>()})
    {
        Start(ofStation);
        const auto response = api->GetHistoryStatistics();
        EXPECT_EQ(response->get_response_code(), 200);
        EXPECT_EQ(JsonUtil::WriteUnstyled(dynamic_cast<const JsonResponse&>(*response).GetValue()), History);
    }
}

TEST_F(StatisticsApi, HistoryOfANewStationIsNull)
{
    Start(meter);
    EXPECT_EQ(Answer(&CStatisticsApi::GetHistoryStatistics), JsonAnswer("200 OK", "null\n"));
}

TEST_F(StatisticsApi, HandlersLogTheirEntry)
{
    Start(nullptr);
    CCapturedLog log;

    api->GetSessionStatistics();
    EXPECT_THAT(log.Messages(Log::ELogLevel::Trace),
                ElementsAre("Resources::CStatisticsApi::GetSessionStatistics"));
    log.Clear();

    api->GetHistoryStatistics();
    EXPECT_THAT(log.Messages(Log::ELogLevel::Trace),
                ElementsAre("Resources::CStatisticsApi::GetHistoryStatistics",
                            "CHistoryStatisticsComponent::ReadHistoryStatistics"));
}
