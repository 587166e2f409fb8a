#include <signal.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <random>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/e2e/stationtest.h"
#include "tests/support/quickpassword.h"

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

namespace
{

const std::string Password = "correct horse";
const HttpHeaders JsonContent{{"Content-Type", "application/json"}};
const std::string PlainLogin = R"({"Password": "correct horse"})";
const std::string PersistentLogin = R"({"Password": "correct horse", "PersistentSession": true})";

constexpr std::size_t MostPersistentSessions = 10;

/// The key in the cookie that an answer sets, empty without one.
std::string KeyOf(const SHttpResponse& response)
{
    static const std::regex cookie("sessionid=([0-9a-f]{64});.*");
    std::smatch parts;
    const std::string header = response.Header("Set-Cookie");
    return std::regex_match(header, parts, cookie) ? parts[1].str() : "";
}

HttpHeaders With(const std::string& key)
{
    return {{"Cookie", "sessionid=" + key}, {"Content-Type", "application/json"}};
}

SHttpResponse LogIn(const std::string& body, const HttpHeaders& headers = JsonContent)
{
    return HttpRequest(RestPort, "POST", "/auth/login", headers, body);
}

SHttpResponse LogOut(const std::string& key)
{
    return HttpRequest(RestPort, "POST", "/auth/logout", With(key));
}

bool IsActive(const std::string& key)
{
    return HttpRequest(RestPort, "GET", "/auth/status", With(key)).body == "{\n\t\"Active\" : true\n}\n";
}

int GatedStatus(const HttpHeaders& headers)
{
    return HttpRequest(RestPort, "GET", "/system/info", headers).status;
}

class Sessions : public StationTest
{
protected:
    Sessions()
    {
        root.Write("data/config/secrets.json", "{}");
        root.SetDefault("secrets", "WebIfManagementPassword", EncodedQuickly(Password));
    }

    std::set<std::string> StoredKeys() const
    {
        std::set<std::string> keys;
        const Json::Value stored = root.Stored("secrets");
        for (const Json::Value& session : stored["WebSessions"])
        {
            keys.insert(session["Key"].asString());
        }
        return keys;
    }

    /// For a process that follows a killed one: the controller may not have noticed yet.
    void StartProcessAndAwaitServer()
    {
        StartProcess();
        ASSERT_TRUE(process->AwaitErrorLine("REST webserver started"));
    }

    void Restart()
    {
        ExpectCleanEnd();
        StartProcess();
        station.AwaitProcessState(ReportEnabled);
    }
};

} // namespace

TEST_F(Sessions, LoginOpensTheGateAndLogoutClosesIt)
{
    StartAll();
    EXPECT_EQ(GatedStatus({}), 401);

    const SHttpResponse login = LogIn(PlainLogin);

    EXPECT_EQ(login.status, 204);
    EXPECT_EQ(login.body, "");
    const std::string key = KeyOf(login);
    EXPECT_EQ(login.Header("Set-Cookie"), "sessionid=" + key + "; path=/; SameSite=Strict");
    EXPECT_EQ(GatedStatus(With(key)), 200);
    EXPECT_TRUE(IsActive(key));
    const Json::Value signal = station.AwaitCall("Diagnostics", "SendSignal")["Request"]["Signal"];
    EXPECT_EQ(signal["Identifier"], 20502);
    EXPECT_EQ(signal["Value"][0], "Successful web interface login");

    const SHttpResponse logout = LogOut(key);
    EXPECT_EQ(logout.status, 204);
    EXPECT_FALSE(logout.HasHeader("Set-Cookie"));
    EXPECT_EQ(GatedStatus(With(key)), 401);
    EXPECT_FALSE(IsActive(key));
    ExpectCleanEnd();
}

TEST_F(Sessions, WrongPasswordIsRefusedAndLeavesTheSessionThatWas)
{
    StartAll();
    const std::string key = KeyOf(LogIn(PlainLogin));

    const SHttpResponse refused = LogIn(R"({"Password": "wrong"})", With(key));

    EXPECT_EQ(refused.status, 401);
    EXPECT_EQ(refused.body, "\"\\\"Login failed\\\"\"\n");
    EXPECT_FALSE(refused.HasHeader("Set-Cookie"));
    EXPECT_TRUE(IsActive(key));
    ExpectCleanEnd();
}

TEST_F(Sessions, LoginWithAnOldCookieEndsItsSession)
{
    StartAll();
    const std::string first = KeyOf(LogIn(PlainLogin));

    const std::string second = KeyOf(LogIn(PlainLogin, With(first)));

    EXPECT_NE(first, second);
    EXPECT_FALSE(IsActive(first));
    EXPECT_TRUE(IsActive(second));
    ExpectCleanEnd();
}

TEST_F(Sessions, PersistentOnesOutliveTheProcessAndOthersDoNot)
{
    StartAll();
    const std::string plain = KeyOf(LogIn(PlainLogin));
    const std::string persistent = KeyOf(LogIn(PersistentLogin));
    EXPECT_EQ(StoredKeys(), std::set<std::string>{persistent});

    Restart();

    EXPECT_FALSE(IsActive(plain));
    const SHttpResponse status = HttpRequest(RestPort, "GET", "/auth/status", With(persistent));
    EXPECT_EQ(status.body, "{\n\t\"Active\" : true\n}\n");
    EXPECT_EQ(status.Header("Set-Cookie"),
              "sessionid=" + persistent + "; path=/; SameSite=Strict; Max-Age=315360000");
    EXPECT_EQ(GatedStatus(With(persistent)), 200);

    LogOut(persistent);
    EXPECT_EQ(StoredKeys(), std::set<std::string>{});
    Restart();
    EXPECT_FALSE(IsActive(persistent));
    ExpectCleanEnd();
}

TEST_F(Sessions, EleventhPersistentLoginThrowsTheFirstOut)
{
    StartAll();
    std::vector<std::string> keys;
    for (std::size_t login = 0; login <= MostPersistentSessions; ++login)
    {
        keys.push_back(KeyOf(LogIn(PersistentLogin)));
    }

    EXPECT_FALSE(IsActive(keys.front()));
    EXPECT_EQ(StoredKeys(), std::set<std::string>(keys.begin() + 1, keys.end()));
    ExpectCleanEnd();
}

TEST_F(Sessions, EveryPersistentLoginThatWasAnsweredSurvivesAKill)
{
    constexpr std::size_t logins = MostPersistentSessions + 5;
    StartStation();
    std::mt19937 random(1);
    for (int round = 0; round < 10; ++round)
    {
        root.Write("data/config/secrets.json", "{}");
        StartProcessAndAwaitServer();
        CCollector<std::string> answered;
        std::thread browser(
            [&]
            {
                try
                {
                    for (std::size_t login = 0; login < logins; ++login)
                    {
                        const SHttpResponse response = LogIn(PersistentLogin);
                        EXPECT_EQ(response.status, 204);
                        EXPECT_THAT(response.Header("Set-Cookie"), HasSubstr("; Max-Age="));
                        answered.Add(KeyOf(response));
                    }
                }
                catch (const std::runtime_error&)
                {
                    // killed
                }
            });
        answered.Await(random() % logins);
        process->Signal(SIGKILL);
        process->AwaitEnd();
        browser.join();

        StartProcessAndAwaitServer();
        const std::vector<std::string> keys = answered.Await(0);
        // the login that the kill broke off may have thrown one more out
        const std::size_t kept =
            keys.size() < MostPersistentSessions ? keys.size() : MostPersistentSessions - 1;
        for (std::size_t key = keys.size() - kept; key < keys.size(); ++key)
        {
            EXPECT_TRUE(IsActive(keys[key])) << "round " << round << ", login " << key;
        }
        ExpectCleanEnd();
    }
}

TEST_F(Sessions, LoginFailsWhileDiagnosticsIsOutOfReach)
{
    StartAll();
    station.Post("/service", R"({"Service": "Diagnostics", "State": "down"})");

    const SHttpResponse login = LogIn(PersistentLogin);

    EXPECT_EQ(login.status, 500);
    EXPECT_THAT(login.body, HasSubstr("Diagnostics.SendSignal"));
    EXPECT_EQ(StoredKeys(), std::set<std::string>{});
    station.Post("/service", R"({"Service": "Diagnostics", "State": "up"})");
    EXPECT_EQ(LogIn(PersistentLogin).status, 204);
    ExpectCleanEnd();
}

TEST_F(Sessions, OddCookiesOpenNothingAndHurtNothing)
{
    StartAll();
    const std::string key = KeyOf(LogIn(PlainLogin));

    for (const std::string& cookie : {std::string(),
                                      std::string("sessionid"),
                                      std::string("sessionid="),
                                      std::string("sessionid=\"\""),
                                      "sessionid=" + key.substr(1),
                                      "sessionid=" + key + "0",
                                      std::string("sessionid=\x01\x02\x7f\x80\xff"),
                                      std::string(";;;=;=,"),
                                      "sessionid=" + std::string(4 << 10, 'a')})
    {
        EXPECT_EQ(GatedStatus({{"Cookie", cookie}}), 401) << cookie.substr(0, 100);
    }
    EXPECT_EQ(GatedStatus({{"Cookie", "SessionId=" + key}}), 200) << "names of cookies ignore case";
    EXPECT_EQ(GatedStatus({{"Cookie", "sessionid=" + key + "; sessionid=other"}}), 200);
    EXPECT_EQ(GatedStatus({{"Cookie", "sessionid=other; sessionid=" + key}}), 401);
    EXPECT_EQ(GatedStatus({{"Cookie", "theme=dark; sessionid=" + key + "; lang=en"}}), 200);
    EXPECT_TRUE(IsActive(key));
    ExpectCleanEnd();
}

TEST_F(Sessions, CookieOf64KilobytesIsRefusedAndTheProcessStays)
{
    StartAll();

    CRawHttp client(RestPort);
    client.Send(
        HttpRequestText("GET", "/system/info", {{"Cookie", "sessionid=" + std::string(64 << 10, 'a')}}));

    EXPECT_EQ(client.Receive().status, 431);
    EXPECT_EQ(HttpRequest(RestPort, "GET", "/system/health").status, 204);
    ExpectCleanEnd();
}

TEST_F(Sessions, OddPasswordsAreWrongOnes)
{
    StartAll();

    for (const std::string& password : {std::string(),
                                        Password + "\\u0000",
                                        Password + "\\u0000more",
                                        "\\u0000" + Password,
                                        std::string("\xff\xfe\x80"),
                                        std::string(1 << 20, 'x'),
                                        Password + std::string(100, ' ')})
    {
        std::string body = R"({"Password": ")";
        body += password + "\"}";
        EXPECT_EQ(LogIn(body).status, 401) << password.substr(0, 40);
        EXPECT_EQ(HttpRequest(RestPort, "POST", "/auth/verify-password", JsonContent, body).body,
                  "{\n\t\"PasswordCorrect\" : false\n}\n");
    }
    EXPECT_EQ(HttpRequest(RestPort, "POST", "/auth/verify-password", JsonContent, PlainLogin).body,
              "{\n\t\"PasswordCorrect\" : true\n}\n");
    ExpectCleanEnd();
}

TEST_F(Sessions, UndecodablePasswordRefusesEverybodyAndIsSaid)
{
    root.SetDefault("secrets", "WebIfManagementPassword", "plain text");
    StartAll();

    EXPECT_TRUE(process->AwaitErrorLine("Failed to decode web interface authorization password from "
                                        "configuration. Any authorization attempts will fail."));
    EXPECT_EQ(LogIn(R"({"Password": "plain text"})").status, 401);
    EXPECT_EQ(LogIn(R"({"Password": ""})").status, 401);
    ExpectCleanEnd();
}

TEST_F(Sessions, PasswordThatWasChangedInTheFileHoldsFromTheNextLoginOn)
{
    StartAll();
    EXPECT_EQ(LogIn(PlainLogin).status, 204);

    root.Write("data/config/secrets.json",
               R"({"WebIfManagementPassword": ")" + EncodedQuickly("another") + "\"}");

    EXPECT_EQ(LogIn(PlainLogin).status, 401);
    EXPECT_EQ(LogIn(R"({"Password": "another"})").status, 204);
    root.Write("data/config/secrets.json", R"({"WebIfManagementPassword": "plain text"})");
    EXPECT_EQ(LogIn(R"({"Password": "another"})").status, 204);
    ExpectCleanEnd();
}

TEST_F(Sessions, StoredOnesOfTheWrongShapeAreSaidAndTheProcessServes)
{
    root.Write("data/config/secrets.json", R"({"WebSessions": {"Key": "k"}})");
    StartAll();
    EXPECT_TRUE(process->AwaitErrorLine("Invalid sessions format: Not an array"));
    ExpectCleanEnd();

    root.Write("data/config/secrets.json",
               R"({"WebSessions": ["k", {"Key": "good", "Expiry": 4102444800}, 7]})");
    StartProcess();
    station.AwaitProcessState(ReportEnabled);
    EXPECT_TRUE(process->AwaitErrorLine("Invalid session format: Session is not an object"));
    EXPECT_TRUE(IsActive("good"));
    ExpectCleanEnd();
}

TEST_F(Sessions, NoPasswordAndNoLiveKeyReachesTheLog)
{
    StartStation();
    StartProcess({"-vvv"});
    station.AwaitProcessState(ReportEnabled);

    const std::string key = KeyOf(LogIn(PlainLogin));
    EXPECT_EQ(GatedStatus(With(key)), 200);
    EXPECT_TRUE(IsActive(key));
    LogIn(R"({"Password": "hunter2"})", With(key));
    HttpRequest(RestPort, "POST", "/auth/verify-password", JsonContent, R"({"Password": "hunter2"})");
    for (const std::string body : {R"({"Password": "hunter2)",
                                   R"({"Password": "hunter2\u0000"})",
                                   R"({"Password": ["hunter2"]})",
                                   "{\"Password\": \"hunter2\xff\xfe\"}",
                                   R"("hunter2")"})
    {
        LogIn(body, With(key));
        HttpRequest(RestPort, "POST", "/auth/verify-password", With(key), body);
    }
    LogIn(R"({"Password": ")" + std::string(1 << 20, 'x') + R"(hunter2"})");
    EXPECT_TRUE(IsActive(key));
    ExpectCleanEnd();

    const std::string log = process->Errors();
    EXPECT_THAT(log, HasSubstr("CAuthenticationApi::Login"));
    for (const std::string& secret : {Password, std::string("hunter2"), key, EncodedQuickly(Password)})
    {
        EXPECT_THAT(log, Not(HasSubstr(secret)));
    }
}

namespace
{

/// Seconds that the tests below keep the process busy; a soak gives more.
std::chrono::seconds LoadTime()
{
    const char* given = std::getenv("WEBBACKEND_LOAD_SECONDS");
    return std::chrono::seconds(given ? std::stoi(given) : 1);
}

/// A browser that logs in and out and in between, over one connection, and watches what becomes of its
/// session.
class CBusyBrowser
{
public:
    CBusyBrowser(unsigned seed, CCollector<std::string>& faults, CCollector<std::string>& plainKeys)
        : random(seed)
        , faults(faults)
        , plainKeys(plainKeys)
    {
    }

    void Act()
    {
        switch (random() % 4)
        {
        case 0:
            LogIn(PlainLogin);
            break;
        case 1:
            LogIn(PersistentLogin);
            break;
        case 2:
            LogOut();
            break;
        default:
            Look();
        }
    }

    int Actions() const { return actions; }

private:
    void LogIn(const std::string& body)
    {
        const SHttpResponse response = Request("POST", "/auth/login", body);
        Check(response.status == 204, "login: " + response.statusLine);
        ended = key;
        key = KeyOf(response);
        if (body == PlainLogin)
        {
            plainKeys.Add(key);
        }
    }

    void LogOut()
    {
        Check(Request("POST", "/auth/logout", "").status == 204, "logout");
        ended = std::exchange(key, "");
    }

    void Look()
    {
        const int status = Request("GET", "/system/info", "").status;
        // a session need not be alive: the eleventh persistent login may have thrown it out
        Check(!key.empty() || status == 401, "no session, but " + std::to_string(status));
        if (!ended.empty())
        {
            const SHttpResponse response = client.Request("GET", "/system/info", With(ended));
            Check(response.status == 401, "session outlived its end: " + response.statusLine);
        }
    }

    SHttpResponse Request(const std::string& method, const std::string& path, const std::string& body)
    {
        ++actions;
        return client.Request(method, path, With(key), body);
    }

    void Check(bool good, const std::string& fault)
    {
        if (!good)
        {
            faults.Add(fault);
        }
    }

    std::mt19937 random;
    CCollector<std::string>& faults;
    CCollector<std::string>& plainKeys;
    CRawHttp client{RestPort, std::chrono::seconds(60)};
    std::string key;
    std::string ended;
    int actions = 0;
};

} // namespace

TEST_F(Sessions, SixteenBrowsersAtTheSameTimeKeepTheStoreInOrder)
{
    constexpr unsigned browserCount = 16;
    StartAll();
    CCollector<std::string> faults;
    CCollector<std::string> plainKeys;
    std::atomic<bool> over{false};
    std::atomic<int> actions{0};
    std::vector<std::thread> browsers;
    for (unsigned number = 0; number < browserCount; ++number)
    {
        browsers.emplace_back(
            [&, number]
            {
                try
                {
                    CBusyBrowser browser(number, faults, plainKeys);
                    while (!over)
                    {
                        browser.Act();
                    }
                    actions += browser.Actions();
                }
                catch (const std::runtime_error& error)
                {
                    faults.Add(error.what());
                }
            });
    }
    std::set<std::string> stored;
    const auto end = std::chrono::steady_clock::now() + LoadTime();
    while (std::chrono::steady_clock::now() < end)
    {
        const std::set<std::string> now = StoredKeys();
        // each browser has one session, and for a moment two
        EXPECT_LE(now.size(), 2 * browserCount);
        stored.insert(now.begin(), now.end());
    }
    over = true;
    for (std::thread& browser : browsers)
    {
        browser.join();
    }

    EXPECT_THAT(faults.Await(0), testing::IsEmpty());
    EXPECT_GT(actions, static_cast<int>(browserCount));
    for (const std::string& key : plainKeys.Await(0))
    {
        EXPECT_EQ(stored.count(key), 0U) << "a plain session in the file";
    }
    ExpectCleanEnd();
}

TEST_F(Sessions, ManyPersistentLoginsAtTheSameTimeLeaveTenInTheFile)
{
    StartAll();
    std::vector<std::thread> browsers;
    for (int number = 0; number < 16; ++number)
    {
        browsers.emplace_back(
            []
            {
                for (int login = 0; login < 3; ++login)
                {
                    EXPECT_EQ(LogIn(PersistentLogin).status, 204);
                }
            });
    }
    const auto end = std::chrono::steady_clock::now() + LoadTime();
    while (std::chrono::steady_clock::now() < end)
    {
        EXPECT_LE(StoredKeys().size(), MostPersistentSessions);
    }
    for (std::thread& browser : browsers)
    {
        browser.join();
    }

    EXPECT_EQ(StoredKeys().size(), MostPersistentSessions);
    ExpectCleanEnd();
}
