/// Round trips over one keep-alive connection, in one process, beside a bare one:
/// - the REST frame beside a libmicrohttpd server that answers with the same bytes (goal for health: 0.9);
/// - a gated route among twenty sessions beside the same route without a gate (goal: 0.95);
/// - all settings of the user read from their configuration beside a route that prints the same value
///   (goal: 0.9).
#include "src/api/configapplicator.h"
#include "src/api/configtable.h"
#include "src/api/jsonresponse.h"
#include "src/api/restserver.h"
#include "src/session/authorization.h"

#include "contracts/diagnostics.h"
#include "contracts/diagnostics/diagnosticscommclient.h"
#include "platform/config/tarnconfig.h"

#include <json/value.h>

#include <microhttpd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

#include "tests/support/quickpassword.h"
#include "tests/support/temporarydirectory.h"

#include "bench/keepaliveclient.h"
#include "bench/ratio.h"

namespace
{

constexpr std::uint16_t OurPort = 18080;
constexpr std::uint16_t BarePort = 18081;
constexpr std::uint16_t GatePort = 18082;
constexpr std::uint16_t ConfigPort = 18083;
constexpr unsigned Threads = 5;
constexpr unsigned ConnectionTimeoutSeconds = 180;

struct SBareAnswer
{
    unsigned status;
    std::string contentType;
    std::string body;
};

/// A bare server with the settings of ours, which answers each request with one text.
class CBareServer
{
public:
    explicit CBareServer(SBareAnswer newAnswer)
        : answer(std::move(newAnswer))
        , daemon(MHD_start_daemon(MHD_USE_INTERNAL_POLLING_THREAD,
                                  BarePort,
                                  nullptr,
                                  nullptr,
                                  &Answer,
                                  &answer,
                                  MHD_OPTION_THREAD_POOL_SIZE,
                                  Threads,
                                  MHD_OPTION_CONNECTION_TIMEOUT,
                                  ConnectionTimeoutSeconds,
                                  MHD_OPTION_END))
    {
        if (daemon == nullptr)
        {
            throw std::runtime_error("Cannot start the bare server");
        }
    }

    ~CBareServer() { MHD_stop_daemon(daemon); }
    CBareServer(const CBareServer&) = delete;
    CBareServer& operator=(const CBareServer&) = delete;
    CBareServer(CBareServer&&) = delete;
    CBareServer& operator=(CBareServer&&) = delete;

private:
    static MHD_Result Answer(void* context,
                             MHD_Connection* connection,
                             const char* /*url*/,
                             const char* /*method*/,
                             const char* /*version*/,
                             const char* /*upload*/,
                             std::size_t* /*uploadSize*/,
                             void** request)
    {
        static int seen = 0;
        if (*request == nullptr)
        {
            *request = &seen;
            return MHD_YES;
        }
        const auto& answer = *static_cast<const SBareAnswer*>(context);
        MHD_Response* response = MHD_create_response_from_buffer(
            answer.body.size(), const_cast<char*>(answer.body.data()), MHD_RESPMEM_PERSISTENT);
        MHD_add_response_header(response, "Content-Type", answer.contentType.c_str());
        const MHD_Result result = MHD_queue_response(connection, answer.status, response);
        MHD_destroy_response(response);
        return result;
    }

    SBareAnswer answer;
    MHD_Daemon* daemon;
};

/// Everything but the date must be the same, or the comparison means nothing.
std::string WithoutDate(std::string answer)
{
    const std::size_t date = answer.find("Date: ");
    return date == std::string::npos ? answer : answer.erase(date, answer.find("\r\n", date) - date);
}

void Measure(const char* name, const char* path, const SBareAnswer& bareAnswer)
{
    const CBareServer bareServer(bareAnswer);
    const std::string request = std::string("GET ") + path + " HTTP/1.1\r\nHost: localhost:8080\r\n\r\n";
    CKeepAliveClient ours(OurPort, request);
    CKeepAliveClient bare(BarePort, request);
    if (WithoutDate(ours.RoundTrip()) != WithoutDate(bare.RoundTrip()))
    {
        throw std::runtime_error("The two answers differ:\n" + ours.RoundTrip() + bare.RoundTrip());
    }
    Print(name, MeasureRatio([&] { ours.RoundTrip(); }, [&] { bare.RoundTrip(); }));
}

constexpr int SessionCount = 20;
const char* const Password = "correct horse";

/// Takes the signals of logins, as a service that answers at once would.
class CSilentReport : public IDiagnosticsReport
{
public:
    ipc::MResult SendSignal(const ipc::MSignalReport& /*report*/) override { return {}; }
};

/// A gated route beside an open one with the same handler.
void MeasureGate()
{
    const CTemporaryDirectory directory;
    directory.Write("etc/config/secrets.json",
                    R"({"WebIfManagementPassword": ")" + EncodedQuickly(Password) + "\"}");
    CDiagnosticsCommClient::Initialize(std::make_shared<CSilentReport>());
    const auto authorization =
        std::make_shared<CAuthorization>(TarnConfig::Create("secrets", directory.Root()));
    std::string key;
    for (int session = 0; session < SessionCount; ++session)
    {
        key = *authorization->CreateSession(Password, 900, false);
    }
    CRestServer server(GatePort, authorization);
    const auto handler = [](const IHttpRequest&) { return std::make_shared<JsonResponse>(); };
    server.AddRoute(EHttpMethod::Get, "/gated", handler, true);
    server.AddRoute(EHttpMethod::Get, "/open", handler, false);
    server.Start();

    const std::string rest = " HTTP/1.1\r\nHost: localhost:8080\r\nCookie: sessionid=" + key + "\r\n\r\n";
    CKeepAliveClient gated(GatePort, "GET /gated" + rest);
    CKeepAliveClient open(GatePort, "GET /open" + rest);
    if (gated.RoundTrip().find(" 204 ") == std::string::npos)
    {
        throw std::runtime_error("The gate is shut");
    }
    Print("gated beside open", MeasureRatio([&] { gated.RoundTrip(); }, [&] { open.RoundTrip(); }));
    CDiagnosticsCommClient::Shutdown();
}

/// All settings that the user may see, from a configuration that has them.
void MeasureUserConfig()
{
    const CTemporaryDirectory directory;
    Json::Value values;
    for (const SConfigKeyRule& rule : UserConfigTable)
    {
        values[std::string(rule.key)] = "a usual value";
    }
    directory.Write("etc/config/settings.json", values.toStyledString());
    CSettingsConfigApplicator applicator(TarnConfig::Create("settings", directory.Root()), nullptr);
    CRestServer server(ConfigPort, nullptr);
    server.AddRoute(
        EHttpMethod::Get,
        "/config",
        [&](const IHttpRequest&) { return std::make_shared<JsonResponse>(applicator.GetConfig()); },
        false);
    server.AddRoute(
        EHttpMethod::Get,
        "/value",
        [&](const IHttpRequest&) { return std::make_shared<JsonResponse>(values); },
        false);
    server.Start();

    CKeepAliveClient config(ConfigPort, "GET /config HTTP/1.1\r\nHost: localhost:8080\r\n\r\n");
    CKeepAliveClient value(ConfigPort, "GET /value HTTP/1.1\r\nHost: localhost:8080\r\n\r\n");
    if (WithoutDate(config.RoundTrip()) != WithoutDate(value.RoundTrip()))
    {
        throw std::runtime_error("The two answers differ:\n" + config.RoundTrip() + value.RoundTrip());
    }
    Print("GET /config/user", MeasureRatio([&] { config.RoundTrip(); }, [&] { value.RoundTrip(); }));
}

/// About what GET /system/info gives.
Json::Value InfoLikeObject()
{
    Json::Value object;
    for (int key = 0; key < 36; ++key)
    {
        object["InformationKey" + std::to_string(key)] = key;
    }
    return object;
}

} // namespace

int main()
{
    CRestServer server(OurPort, nullptr);
    const Json::Value info = InfoLikeObject();
    server.AddRoute(
        EHttpMethod::Get,
        "/system/health",
        [](const IHttpRequest&) { return std::make_shared<JsonResponse>(); },
        false);
    server.AddRoute(
        EHttpMethod::Get,
        "/system/info",
        [&](const IHttpRequest&) { return std::make_shared<JsonResponse>(info); },
        false);
    server.Start();

    Measure("GET /system/health", "/system/health", {MHD_HTTP_NO_CONTENT, "text/plain", ""});
    Measure("GET /system/info", "/system/info", {MHD_HTTP_OK, "application/json", info.toStyledString()});
    MeasureGate();
    MeasureUserConfig();
    return 0;
}
