#include "src/api/jsonresponse.h"
#include "src/api/restserver.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <future>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/mockauthorization.h"
#include "tests/support/capturedlog.h"
#include "tests/support/privatenetwork.h"
#include "tests/support/rawhttp.h"
#include "tests/unit/src/api/answertext.h"

namespace
{

using testing::Return;
using namespace std::chrono_literals;

const auto* const network = testing::AddGlobalTestEnvironment(new CPrivateNetwork);

constexpr std::uint16_t Port = 8080;
constexpr bool Open = false;
constexpr bool Gated = true;
constexpr auto Deadline = 20s;

CRestResource::Handler Says(const std::string& text)
{
    return [text](const IHttpRequest&) { return std::make_shared<JsonResponse>(text); };
}

std::string Get(const std::string& path)
{
    return AnswerText(HttpRequest(Port, "GET", path));
}

std::string Said(const std::string& text)
{
    return JsonAnswer("200 OK", "\"" + text + "\"\n");
}

/// Threads of this process that carry the name.
int ThreadsNamed(const std::string& name)
{
    int count = 0;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task"))
    {
        std::string found;
        std::getline(std::ifstream(thread.path() / "comm"), found);
        count += found == name ? 1 : 0;
    }
    return count;
}

std::string StartFailure(CRestServer& server)
{
    try
    {
        server.Start();
        return "";
    }
    catch (const std::runtime_error& exception)
    {
        return exception.what();
    }
}

/// Holds callers of Pass until Release. It outlives the server that calls it.
class CBarrier
{
public:
    void Pass()
    {
        std::unique_lock lock(mutex);
        ++waiting;
        changed.notify_all();
        changed.wait_for(lock, Deadline, [this] { return released; });
        --waiting;
    }

    bool WaitForCallers(int count)
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, Deadline, [this, count] { return waiting == count; });
    }

    void Release()
    {
        const std::lock_guard lock(mutex);
        released = true;
        changed.notify_all();
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    int waiting = 0;
    bool released = false;
};

TEST(RestServer, DoesNotServeBeforeItIsStarted)
{
    CRestServer server(Port, nullptr);
    server.AddRoute(EHttpMethod::Get, "/path", Says("here"), Open);

    EXPECT_FALSE(server.is_running());
    EXPECT_FALSE(CRawHttp::CanConnect(Port));
}

TEST(RestServer, ServesUntilStopped)
{
    CRestServer server(Port, nullptr);
    server.AddRoute(EHttpMethod::Get, "/path", Says("here"), Open);
    server.Start();

    EXPECT_TRUE(server.is_running());
    EXPECT_EQ(Get("/path"), Said("here"));
    server.stop();
    EXPECT_FALSE(server.is_running());
    EXPECT_FALSE(CRawHttp::CanConnect(Port));
}

TEST(RestServer, ServesTheSameRoutesAfterEachRestart)
{
    CRestServer server(Port, nullptr);
    server.AddRoute(EHttpMethod::Get, "/path", Says("here"), Open);

    for (int i = 0; i < 3; ++i)
    {
        server.Start();
        EXPECT_EQ(Get("/path"), Said("here"));
        server.stop();
        EXPECT_FALSE(CRawHttp::CanConnect(Port));
    }
}

TEST(RestServer, StartOfARunningServerThrowsAndLeavesItRunning)
{
    CRestServer server(Port, nullptr);
    server.AddRoute(EHttpMethod::Get, "/path", Says("here"), Open);
    server.Start();

    EXPECT_EQ(StartFailure(server), "Webserver is already running");

    EXPECT_EQ(Get("/path"), Said("here"));
    server.stop();
    EXPECT_FALSE(CRawHttp::CanConnect(Port));
}

TEST(RestServer, PortInUseIsARuntimeErrorWithTheLibrarysText)
{
    CRestServer first(Port, nullptr);
    first.AddRoute(EHttpMethod::Get, "/path", Says("first"), Open);
    first.Start();
    CRestServer second(Port, nullptr);
    second.AddRoute(EHttpMethod::Get, "/path", Says("second"), Open);

    EXPECT_EQ(StartFailure(second), "Unable to connect daemon to port: 8080");
    EXPECT_FALSE(second.is_running());
    EXPECT_EQ(Get("/path"), Said("first"));

    first.stop();
    second.Start();
    EXPECT_EQ(Get("/path"), Said("second"));
}

TEST(RestServer, PathWithoutRouteGetsTheLibrarysPage)
{
    CRestServer server(Port, nullptr);
    server.AddRoute(EHttpMethod::Get, "/path", Says("here"), Gated);
    server.Start();

    for (const auto* path : {"/", "/pat", "/paths", "/other", "/other/path"})
    {
        EXPECT_EQ(Get(path), NotFoundPage()) << path;
    }
    EXPECT_EQ(AnswerText(HttpRequest(Port, "POST", "/other", {{"Content-Type", "text/plain"}}, "x")),
              NotFoundPage());
    EXPECT_EQ(AnswerText(HttpRequest(Port, "FOO", "/other")), NotFoundPage());
}

TEST(RestServer, SubPathsReachTheSameHandlers)
{
    CRestServer server(Port, nullptr);
    server.AddRoute(EHttpMethod::Get, "/path", Says("here"), Open);
    server.Start();

    for (const auto* path : {"/path/", "/path/below", "/path/far/below/?q=1", "/PATH/below"})
    {
        EXPECT_EQ(Get(path), Said("here")) << path;
    }
    EXPECT_EQ(AnswerText(HttpRequest(Port, "POST", "/path/below")),
              JsonAnswer("405 Method Not Allowed", "\"Method not Allowed\"\n"));
}

TEST(RestServer, LongerPathServesWhatIsBelowIt)
{
    CRestServer server(Port, nullptr);
    server.AddRoute(EHttpMethod::Get, "/path", Says("upper"), Open);
    server.AddRoute(EHttpMethod::Get, "/path/lower", Says("lower"), Open);
    server.AddRoute(EHttpMethod::Get, "/list", Says("list"), Open);
    server.AddRoute(
        EHttpMethod::Get,
        "/list/{id}",
        [](const IHttpRequest& request)
        { return std::make_shared<JsonResponse>("id " + request.GetArg("id")); },
        Open);
    server.Start();

    EXPECT_EQ(Get("/path/other"), Said("upper"));
    EXPECT_EQ(Get("/path/lower"), Said("lower"));
    EXPECT_EQ(Get("/path/lower/below"), Said("lower"));
    EXPECT_EQ(Get("/list"), Said("list"));
    EXPECT_EQ(Get("/list/AbC"), Said("id AbC"));
}

TEST(RestServer, RelativePathIsServedBelowTheRoot)
{
    CRestServer server(Port, nullptr);
    server.AddRoute(EHttpMethod::Get, "some/path", Says("here"), Open);
    server.Start();

    EXPECT_EQ(Get("/some/path"), Said("here"));
}

TEST(RestServer, LastRouteOfAMethodAndPathReplacesHandlerAndGate)
{
    const auto authorization = std::make_shared<testing::StrictMock<CMockAuthorization>>();
    CRestServer server(Port, authorization);
    server.AddRoute(EHttpMethod::Get, "/opened", Says("first"), Gated);
    server.AddRoute(EHttpMethod::Get, "/opened", Says("second"), Open);
    server.AddRoute(EHttpMethod::Get, "/closed", Says("first"), Open);
    server.AddRoute(EHttpMethod::Get, "/closed", Says("second"), Gated);
    EXPECT_CALL(*authorization, RefreshSession("")).WillOnce(Return(false)).WillOnce(Return(true));
    server.Start();

    EXPECT_EQ(Get("/opened"), Said("second"));
    EXPECT_EQ(Get("/closed"), JsonAnswer("401 Unauthorized", "\"Unauthorized\"\n"));
    EXPECT_EQ(Get("/closed"), Said("second"));
}

TEST(RestServer, PathThatDiffersOnlyInSpellingIsRefused)
{
    CRestServer server(Port, nullptr);
    server.AddRoute(EHttpMethod::Get, "/some/path", Says("here"), Open);

    for (const auto* path : {"some/path", "/some/path/", "/Some/Path"})
    {
        EXPECT_THROW(server.AddRoute(EHttpMethod::Put, path, Says("lost"), Open), std::invalid_argument)
            << path;
    }
    server.Start();
    EXPECT_EQ(Get("/some/path"), Said("here"));
}

TEST(RestServer, MalformedParameterIsRefused)
{
    CRestServer server(Port, nullptr);

    EXPECT_THROW(server.AddRoute(EHttpMethod::Get, "/list/{id", Says("here"), Open), std::invalid_argument);
}

TEST(RestServer, WithoutAuthorizationGatedRoutesAnswerEverybody)
{
    CRestServer server(Port, nullptr);
    server.AddRoute(EHttpMethod::Get, "/path", Says("here"), Gated);
    server.Start();

    EXPECT_EQ(Get("/path"), Said("here"));
}

TEST(RestServer, OneSessionGateServesAllPaths)
{
    const auto authorization = std::make_shared<testing::StrictMock<CMockAuthorization>>();
    CRestServer server(Port, authorization);
    server.AddRoute(EHttpMethod::Get, "/a", Says("a"), Gated);
    server.AddRoute(EHttpMethod::Get, "/b", Says("b"), Gated);
    EXPECT_CALL(*authorization, RefreshSession("key")).Times(2).WillRepeatedly(Return(true));
    server.Start();

    for (const std::string name : {"a", "b"})
    {
        EXPECT_EQ(AnswerText(HttpRequest(Port, "GET", "/" + name, {{"Cookie", "sessionid=key"}})),
                  Said(name));
    }
}

TEST(RestServer, AnswersANullValueWithItsText)
{
    CRestServer server(Port, nullptr);
    const auto null = [](const IHttpRequest&) { return std::make_shared<JsonResponse>(Json::Value()); };
    server.AddRoute(EHttpMethod::Get, "/path", null, Open);
    server.Start();

    EXPECT_EQ(Get("/path"), JsonAnswer("200 OK", "null\n"));
}

TEST(RestServer, RunsFiveHandlersAtTheSameTimeAndNoMore)
{
    CBarrier barrier;
    CRestServer server(Port, nullptr);
    server.AddRoute(
        EHttpMethod::Get,
        "/path",
        [&barrier](const IHttpRequest&)
        {
            barrier.Pass();
            return std::make_shared<JsonResponse>();
        },
        Open);
    server.Start();

    std::list<CRawHttp> clients;
    for (int running = 1; running <= 5; ++running)
    {
        // one after the other, since a thread that is idle accepts, and keeps, whatever connections come
        clients.emplace_back(Port).Send(HttpRequestText("GET", "/path"));
        ASSERT_TRUE(barrier.WaitForCallers(running));
    }
    EXPECT_EQ(ThreadsNamed("MHD-worker"), 5);
    barrier.Release();
    for (CRawHttp& client : clients)
    {
        EXPECT_EQ(AnswerText(client.Receive()), EmptyAnswer());
    }
}

TEST(RestServer, ServesOthersWhileClientsAreSilentInMidRequest)
{
    CRestServer server(Port, nullptr);
    server.AddRoute(EHttpMethod::Get, "/path", Says("here"), Open);
    server.AddRoute(EHttpMethod::Post, "/path", Says("posted"), Open);
    server.Start();
    std::list<CRawHttp> silent;
    for (int i = 0; i < 10; ++i)
    {
        silent.emplace_back(Port);
        silent.emplace_back(Port).Send("GET /path HTTP/1.1\r\nHost: loc");
        silent.emplace_back(Port).Send("POST /path HTTP/1.1\r\nHost: localhost\r\nContent-Type: "
                                       "application/json\r\nContent-Length: 9\r\n\r\n\"ha");
    }

    for (int i = 0; i < 10; ++i)
    {
        EXPECT_EQ(Get("/path"), Said("here"));
    }
    silent.back().Send("lf of\"");
    EXPECT_EQ(AnswerText(silent.back().Receive("POST")), Said("posted"));
}

TEST(RestServer, StopClosesConnectionsInMidRequest)
{
    CRestServer server(Port, nullptr);
    server.AddRoute(EHttpMethod::Get, "/path", Says("here"), Open);
    server.Start();
    CRawHttp idle(Port);
    idle.Request("GET", "/path");
    CRawHttp half(Port);
    half.Request("GET", "/path");
    half.Send("GET /path HTTP/1.1\r\nHost: loc");

    server.stop();

    EXPECT_TRUE(idle.IsClosedByServer());
    EXPECT_TRUE(half.IsClosedByServer());
}

/// Tells when the closure that holds it is gone.
class CClosureGuard
{
public:
    explicit CClosureGuard(std::promise<std::string>& first)
        : first(first)
    {
    }
    CClosureGuard(const CClosureGuard&) = delete;
    CClosureGuard& operator=(const CClosureGuard&) = delete;
    CClosureGuard(CClosureGuard&&) = delete;
    CClosureGuard& operator=(CClosureGuard&&) = delete;
    ~CClosureGuard() { Report("closure gone"); }

    void Report(const std::string& event)
    {
        if (!reported.exchange(true))
        {
            first.set_value(event);
        }
    }

private:
    std::promise<std::string>& first;
    std::atomic<bool> reported = false;
};

/// Runs until the server is being stopped. Nothing of the closure that calls it is used after the beginning.
void HandleUntilStopped(httpserver::webserver& server,
                        CBarrier& entered,
                        const std::weak_ptr<CClosureGuard>& guard)
{
    entered.Pass();
    const auto limit = std::chrono::steady_clock::now() + Deadline;
    while (server.is_running() && std::chrono::steady_clock::now() < limit)
    {
        std::this_thread::yield();
    }
    if (const auto alive = guard.lock())
    {
        alive->Report("handler done");
    }
}

TEST(RestServer, DestructionWaitsForHandlersBeforeTheirClosuresGo)
{
    std::promise<std::string> firstEvent;
    CBarrier entered;
    std::optional<CRestServer> server(std::in_place, Port, nullptr);
    server->AddRoute(
        EHttpMethod::Get,
        "/path",
        [&server = *server, &entered, guard = std::make_shared<CClosureGuard>(firstEvent)](
            const IHttpRequest&)
        {
            HandleUntilStopped(server, entered, std::weak_ptr(guard));
            return std::make_shared<JsonResponse>();
        },
        Open);
    server->Start();
    CRawHttp client(Port);
    client.Send(HttpRequestText("GET", "/path"));
    ASSERT_TRUE(entered.WaitForCallers(1));
    entered.Release();

    server.reset();

    EXPECT_EQ(firstEvent.get_future().get(), "handler done");
}

TEST(RestServer, LogsTheEntryOfItsOperations)
{
    const CCapturedLog log;
    CRestServer server(Port, nullptr);
    server.AddRoute(EHttpMethod::Get, "/path", Says("here"), Open);
    server.Start();

    EXPECT_EQ(log.Messages(Log::ELogLevel::Trace),
              (std::vector<std::string>{
                  "CRestServer::CRestServer", "CRestServer::AddRoute", "CRestServer::Start"}));
}

} // namespace
