#include "tests/unit/src/api/configtest.h"

#include "src/api/configapplicator.h"

#include "platform/json/jsonutil.h"

using Resources::CConfigApi;

ConfigApiTest::ConfigApiTest()
{
    ON_CALL(*netM, ValidateConfig).WillByDefault(testing::Return(true));
}

void ConfigApiTest::Start(const std::shared_ptr<IAuthorization>& sessions)
{
    const auto settings = files.Open("settings");
    const auto network = files.Open("network");
    rfidConfig = files.Open("rfid_standalone");
    secretsConfig = files.Open("secrets");
    api =
        std::make_unique<CConfigApi>(sessions,
                                     rfidConfig,
                                     std::make_shared<CSettingsConfigApplicator>(settings, scheduledCharging),
                                     std::make_shared<CNetworkConfigApplicator>(network, netM),
                                     std::make_shared<CNetworkSecretsApplicator>(secretsConfig),
                                     std::make_shared<COcppBackofficeApplicator>(
                                         files.Open("ocpp_backoffices"), settings, network, secretsConfig),
                                     secretsConfig,
                                     scheduledCharging);
}

std::vector<ConfigApiTest::SHandler> ConfigApiTest::HandlersOfBodies()
{
    const auto handler = [this](const std::string& name, Response (CConfigApi::*method)(const IHttpRequest&))
    {
        return SHandler{name,
                        [this, method](const CFakeRequest& request) { return (*api.*method)(request); }};
    };
    return {
        handler("PatchUserConfig", &CConfigApi::PatchUserConfig),
        handler("PatchNetworkConfig", &CConfigApi::PatchNetworkConfig),
        handler("PostAuthStandaloneList", &CConfigApi::PostAuthStandaloneList),
        handler("PatchAuthStandaloneToken", &CConfigApi::PatchAuthStandaloneToken),
        handler("PutWebIfManagementPassword", &CConfigApi::PutWebIfManagementPassword),
        handler("PutWebIfManagementPasswordPuk", &CConfigApi::PutWebIfManagementPasswordPuk),
        handler("PostLocalChargingSchedule", &CConfigApi::PostLocalChargingSchedule),
        handler("PutOcppBackofficeConfig", &CConfigApi::PutOcppBackofficeConfig),
    };
}

std::string ConfigApiTest::AnswerOf(const std::function<Response()>& call)
{
    Response response;
    std::string failure = FailureOf([&] { response = call(); });
    if (!failure.empty())
    {
        return failure;
    }
    const auto& answer = dynamic_cast<const JsonResponse&>(*response);
    const int status = answer.get_response_code();
    if (status == 204)
    {
        EXPECT_EQ(std::string(response->get_header("Content-Type")), "text/plain");
        EXPECT_TRUE(answer.GetValue().isNull());
        return "204";
    }
    return std::to_string(status) + " " + JsonUtil::WriteUnstyled(answer.GetValue());
}
