#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/e2e/stationtest.h"

namespace
{

enum class EMode
{
    Both,
    Dashboard,
    Commissioning
};

struct SRoute
{
    const char* method;
    const char* path;
    EMode mode;
    bool gated;

    /// Status of a request without a body and with a session, in dashboard mode and in commissioning mode
    int dashboardStatus;
    int commissioningStatus;
};

constexpr int NotThere = 404;
constexpr int NotAllowed = 405;

/// What is below it are its tokens.
constexpr const char* TokenList = "/config/auth/standalonelist";

/// Takes five seconds, and so is asked no more than once in each mode.
const std::string HomeWizardScan = "/network/scanhomewizard";

/// The interface of the process, written anew.
const std::vector<SRoute> Routes{
    {"GET", "/auth/status", EMode::Both, false, 200, 200},
    {"POST", "/system/reboot", EMode::Both, true, 400, 400},
    {"GET", "/system/info", EMode::Both, true, 200, 200},
    {"GET", "/system/health", EMode::Both, false, 204, 204},
    {"PUT", "/system/identify", EMode::Both, true, 204, 204},
    {"GET", "/system/diagnostics/freezeframes", EMode::Both, true, 200, 200},
    {"GET", "/system/diagnostics/snapshot", EMode::Both, true, 200, 200},
    {"GET", "/system/web-interface-mode", EMode::Both, false, 200, 200},
    {"GET", "/system/software/automatic-update/current-versions", EMode::Both, true, 200, 200},
    {"GET", "/system/software/automatic-update/available-versions", EMode::Both, true, 200, 200},
    {"POST", "/system/software/automatic-update/update", EMode::Both, true, 400, 400},
    {"GET", "/config/user", EMode::Both, true, 200, 200},
    {"PATCH", "/config/user", EMode::Both, true, 400, 400},
    {"GET", "/config/network", EMode::Both, true, 200, 200},
    {"PATCH", "/config/network", EMode::Both, true, 400, 400},
    {"GET", TokenList, EMode::Both, true, 200, 200},
    {"POST", TokenList, EMode::Both, true, 400, 400},
    {"GET", "/config/auth/standalonelist/none", EMode::Both, true, 404, 404},
    {"DELETE", "/config/auth/standalonelist/none", EMode::Both, true, 404, 404},
    {"PATCH", "/config/auth/standalonelist/none", EMode::Both, true, 400, 400},
    {"PUT", "/config/secrets/webifmanagement/puk", EMode::Both, false, 400, 400},
    {"GET", "/config/scheduledcharging/schedules", EMode::Both, true, 200, 200},
    {"POST", "/config/scheduledcharging/schedules", EMode::Both, true, 400, 400},
    {"GET", "/config/ocpp-backoffice", EMode::Both, true, 200, 200},
    {"GET", "/network/scanwlan", EMode::Both, true, 200, 200},
    {"POST", "/network/connectwlan", EMode::Both, true, 400, 400},
    {"GET", HomeWizardScan.c_str(), EMode::Both, true, 200, 200},
    {"POST", "/network/verifymodbustcpconn", EMode::Both, true, 400, 400},
    {"POST", "/auth/login", EMode::Dashboard, false, 400, NotThere},
    {"POST", "/auth/logout", EMode::Dashboard, false, 204, NotThere},
    {"POST", "/auth/verify-password", EMode::Dashboard, false, 400, NotThere},
    {"PUT", "/config/secrets/webifmanagement", EMode::Dashboard, true, 400, NotThere},
    {"POST", "/system/factory-reset", EMode::Dashboard, true, 204, NotThere},
    {"POST", "/system/recommission", EMode::Dashboard, true, 204, NotThere},
    {"GET", "/statistics/session", EMode::Dashboard, true, 200, NotThere},
    {"GET", "/statistics/history", EMode::Dashboard, true, 200, NotThere},
    {"POST", "/charging/current-slider", EMode::Dashboard, true, 204, NotThere},
    {"POST", "/system/finishcommissioning", EMode::Commissioning, false, NotThere, 204},
    {"PUT", "/config/ocpp-backoffice", EMode::Commissioning, true, NotAllowed, 400},
};

const std::vector<const char*> AllMethods{
    "GET", "POST", "PUT", "DELETE", "PATCH", "HEAD", "OPTIONS", "TRACE", "CONNECT"};

std::string Name(const SRoute& route)
{
    return std::string(route.method) + " " + route.path;
}

/// Whether the path takes the method outside the other mode.
bool HasMethod(const std::string& path, const std::string& method, EMode otherMode)
{
    return std::any_of(Routes.begin(),
                       Routes.end(),
                       [&](const SRoute& route)
                       { return route.path == path && route.method == method && route.mode != otherMode; });
}

SHttpResponse Ask(const SRoute& route, const std::string& below, const HttpHeaders& headers)
{
    return HttpRequest(RestPort, route.method, route.path + below, headers);
}

/// Ends of paths that reach the same handler.
std::vector<std::string> PathsBelow(const SRoute& route)
{
    return std::string(route.path) == TokenList || route.path == HomeWizardScan
               ? std::vector<std::string>{""}
               : std::vector<std::string>{"", "/below", "/below/that"};
}

/// What a route of the other mode gets: the library's page, or a refusal where the path has other methods.
void ExpectAbsence(const SHttpResponse& response, int status)
{
    EXPECT_EQ(response.status, status);
    if (status == NotThere)
    {
        EXPECT_EQ(response.Header("Content-Type"), "text/plain");
        EXPECT_EQ(response.body, "Not Found");
    }
}

/// A logout ends the session that it comes with.
const HttpHeaders& SessionFor(const SRoute& route)
{
    static const HttpHeaders none{{"Cookie", "sessionid=none"}};
    return std::string(route.path) == "/auth/logout" ? none : LoggedIn;
}

void ExpectRefusal(const std::string& method, const std::string& path, const HttpHeaders& headers)
{
    CRawHttp client(RestPort);
    client.Send(HttpRequestText(method, path, headers));
    const SHttpResponse response = client.Receive(method);
    EXPECT_EQ(response.status, 405) << method << ' ' << path;
    if (method != "HEAD")
    {
        EXPECT_EQ(response.body, "\"Method not Allowed\"\n") << method << ' ' << path;
    }
}

class RouteTable : public StationTest
{
protected:
    /// Some routes act on the station's files.
    RouteTable() { PutFilesInPlace(); }

    /// On all paths but those of the other mode, with a session and without.
    static void ExpectOtherMethodsToBeRefused(EMode otherMode)
    {
        for (const SRoute& route : Routes)
        {
            for (const std::string method : AllMethods)
            {
                if (route.mode == otherMode || HasMethod(route.path, method, otherMode))
                {
                    continue;
                }
                ExpectRefusal(method, route.path, {});
                ExpectRefusal(method, route.path, LoggedIn);
                ExpectRefusal(method, route.path + PathsBelow(route).back(), {});
            }
        }
    }
};

} // namespace

TEST_F(RouteTable, OfTheDashboardIsGatedAsItStands)
{
    StartAll();

    for (const SRoute& route : Routes)
    {
        for (const std::string& below : PathsBelow(route))
        {
            SCOPED_TRACE(Name(route) + below);
            if (route.mode == EMode::Commissioning)
            {
                ExpectAbsence(Ask(route, below, LoggedIn), route.dashboardStatus);
                continue;
            }
            const SHttpResponse open = Ask(route, below, {});
            EXPECT_EQ(open.status, route.gated ? 401 : route.dashboardStatus);
            if (route.gated)
            {
                EXPECT_EQ(open.body, "\"Unauthorized\"\n");
            }
            EXPECT_EQ(Ask(route, below, SessionFor(route)).status, route.dashboardStatus);
        }
    }
    ExpectCleanEnd();
}

TEST_F(RouteTable, OfCommissioningAnswersWithAndWithoutASession)
{
    root.SetDefault("settings", "InstallationComplete", false);
    StartAll();

    for (const SRoute& route : Routes)
    {
        for (const std::string& below : PathsBelow(route))
        {
            SCOPED_TRACE(Name(route) + below);
            for (const HttpHeaders& headers : {HttpHeaders(), LoggedIn})
            {
                if (route.path == HomeWizardScan && !headers.empty())
                {
                    continue;
                }
                if (route.mode == EMode::Dashboard)
                {
                    ExpectAbsence(Ask(route, below, headers), route.commissioningStatus);
                    continue;
                }
                EXPECT_EQ(Ask(route, below, headers).status, route.commissioningStatus);
            }
        }
    }
    ExpectOtherMethodsToBeRefused(EMode::Dashboard);
    ExpectCleanEnd();
}

TEST_F(RouteTable, RefusesOtherMethodsBeforeItAsksForASession)
{
    StartAll();
    ExpectOtherMethodsToBeRefused(EMode::Commissioning);
    ExpectCleanEnd();
}

TEST_F(RouteTable, StatusIsActiveForEverybodyDuringCommissioning)
{
    root.SetDefault("settings", "InstallationComplete", false);
    StartAll();

    const SHttpResponse status = HttpRequest(RestPort, "GET", "/auth/status", LoggedIn);

    EXPECT_EQ(status.body, "{\n\t\"Active\" : true\n}\n");
    EXPECT_FALSE(status.HasHeader("Set-Cookie"));
    ExpectCleanEnd();
}
