#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/e2e/routelist.h"
#include "tests/e2e/stationtest.h"

namespace
{

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
    return std::string(route.path) == TokenList || std::string(route.path) == HomeWizardScan
               ? std::vector<std::string>{""}
               : std::vector<std::string>{"", "/below", "/below/that"};
}

/// What a route of the other mode gets: the library's page, or a refusal where the path has other methods.
void ExpectAbsence(const SHttpResponse& response, int status)
{
    EXPECT_EQ(response.status, status);
    if (status == NoPath)
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
                if (std::string(route.path) == HomeWizardScan && !headers.empty())
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
