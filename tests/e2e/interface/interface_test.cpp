#include <algorithm>
#include <cctype>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>

#include <gmock/gmock.h>

#include "tests/e2e/interface/interfacetest.h"
#include "tests/e2e/interface/sections.h"

namespace Interface
{

namespace
{

/// Adds a section, or its files and rows to the one that has its name.
void Add(const SSection& section, Sections& all)
{
    const auto same = std::find_if(
        all.begin(), all.end(), [&](const SSection& other) { return other.name == section.name; });
    if (same == all.end())
    {
        all.push_back(section);
        return;
    }
    if (same->mode != section.mode)
    {
        throw std::runtime_error(section.name + " has two modes");
    }
    same->files.insert(same->files.end(), section.files.begin(), section.files.end());
    same->rows.insert(same->rows.end(), section.rows.begin(), section.rows.end());
}

} // namespace

Sections AllSections()
{
    Sections all;
    for (const auto& area : {Frame,
                             Authentication,
                             Passwords,
                             UserSettings,
                             NetworkSettings,
                             Backoffices,
                             Tokens,
                             Schedules,
                             SystemControl,
                             Installation,
                             Diagnostics,
                             AutomaticUpdate,
                             NetworkSetUp,
                             Charging,
                             Events,
                             Uploads})
    {
        for (const SSection& section : area())
        {
            Add(section, all);
        }
    }
    return all;
}

void PrintTo(const SSection& section, std::ostream* stream)
{
    *stream << section.name;
}

} // namespace Interface

namespace
{

using namespace Interface;

class InterfaceTable : public InterfaceTest, public testing::WithParamInterface<SSection>
{
};

bool IsSame(const SAnswer& one, const SAnswer& other)
{
    return one.status == other.status && one.headers == other.headers && one.body == other.body;
}

/// Whether an answer tells that a handler was there.
bool IsHandled(const SAnswer& answer)
{
    const std::vector<SAnswer> others{
        Unauthorized(), NotAllowed(), NoSuchPath(), NoSuchMethod(), NoConnection()};
    return std::none_of(
        others.begin(), others.end(), [&](const SAnswer& other) { return IsSame(answer, other); });
}

bool IsRefusal(const SAnswer& answer)
{
    return IsSame(answer, Unauthorized());
}

bool IsAbsence(const SAnswer& answer)
{
    return IsSame(answer, NoSuchPath()) || IsSame(answer, NotAllowed());
}

/// A path as the server takes it.
std::string Plain(const std::string& path)
{
    std::string plain;
    for (const char character : path.substr(0, path.find('?')))
    {
        if (character != '/' || plain.empty() || plain.back() != '/')
        {
            plain += static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
        }
    }
    if (const std::size_t slash = plain.find("%2f"); slash != std::string::npos)
    {
        plain.replace(slash, 3, "/");
    }
    if (plain.size() > 1 && plain.back() == '/')
    {
        plain.pop_back();
    }
    return plain;
}

/// The path of the route that a path belongs to: the longest one.
std::string RouteOf(const std::string& path)
{
    const std::string plain = Plain(path);
    const std::string tokens = std::string(TokenList) + "/";
    if (plain.rfind(tokens, 0) == 0)
    {
        return tokens + "none";
    }
    std::string best;
    for (const SRoute& route : Routes)
    {
        const std::string candidate = route.path;
        const bool isBelow = plain == candidate || plain.rfind(candidate + "/", 0) == 0;
        if (isBelow && candidate.size() > best.size())
        {
            best = candidate;
        }
    }
    return best;
}

bool IsThere(EMode where, EMode mode)
{
    return where == EMode::Both || where == mode;
}

bool HasRoute(const std::string& method, const std::string& path, EMode mode)
{
    return std::any_of(Routes.begin(),
                       Routes.end(),
                       [&](const SRoute& route)
                       { return route.path == path && route.method == method && IsThere(route.mode, mode); });
}

/// Whether there is a row of this kind.
bool HasRow(EMode mode,
            unsigned who,
            const std::string& method,
            const std::string& path,
            bool (*isExpected)(const SAnswer&))
{
    static const Sections all = AllSections();
    for (const SSection& section : all)
    {
        for (const SRow& row : section.rows)
        {
            const auto [rowMethod, rowPath] = Split(row.request);
            if (section.mode == mode && IsRequest(row) && (row.who & who) != 0 && rowMethod == method &&
                RouteOf(rowPath) == path && isExpected(row.answer))
            {
                return true;
            }
        }
    }
    return false;
}

/// Whether there is a row in which a connection gets this frame first.
bool HasFrame(EMode mode, unsigned who, const std::string& request, const std::string& frame)
{
    static const Sections all = AllSections();
    for (const SSection& section : all)
    {
        for (const SRow& row : section.rows)
        {
            if (section.mode == mode && row.who == who && row.request == request &&
                !row.answer.frames.empty() && row.answer.frames.front() == frame)
            {
                return true;
            }
        }
    }
    return false;
}

/// Rows for a route that is there: a handler with a session, and without one where none is needed.
void ExpectRowsOf(const SRoute& route, EMode mode)
{
    const bool needsSession = route.gated && mode == EMode::Dashboard;
    EXPECT_TRUE(HasRow(mode, Valid, route.method, route.path, IsHandled));
    for (const unsigned who : {None, Wrong})
    {
        EXPECT_TRUE(HasRow(mode, who, route.method, route.path, needsSession ? IsRefusal : IsHandled));
    }
}

} // namespace

TEST_P(InterfaceTable, StandsAsItIsWritten)
{
    Run(GetParam());
}

INSTANTIATE_TEST_SUITE_P(,
                         InterfaceTable,
                         testing::ValuesIn(AllSections()),
                         [](const auto& section) { return section.param.name; });

TEST(InterfaceTables, HaveRowsOfEveryRouteInBothModesWithAndWithoutASession)
{
    for (const SRoute& route : Routes)
    {
        for (const EMode mode : {EMode::Dashboard, EMode::Commissioning})
        {
            SCOPED_TRACE(std::string(route.method) + " " + route.path +
                         (mode == EMode::Dashboard ? " of the dashboard" : " of commissioning"));
            if (IsThere(route.mode, mode))
            {
                ExpectRowsOf(route, mode);
                continue;
            }
            for (const unsigned who : {None, Wrong, Valid})
            {
                EXPECT_TRUE(HasRow(mode, who, route.method, route.path, IsAbsence));
            }
        }
    }
}

TEST(InterfaceTables, ReachNoHandlerOutsideTheRoutes)
{
    for (const SSection& section : AllSections())
    {
        for (const SRow& row : section.rows)
        {
            const auto [method, path] = Split(row.request);
            if (IsRequest(row) && path.front() == '/' && IsHandled(row.answer) &&
                !IsSame(row.answer, Message(400, "Invalid content type")))
            {
                EXPECT_TRUE(HasRoute(method, RouteOf(path), section.mode)) << section.name << row.request;
            }
        }
    }
}

TEST(InterfaceTables, HaveRowsOfEveryTopicInBothModesWithAndWithoutASession)
{
    for (const STopic& topic : Topics)
    {
        SCOPED_TRACE(topic.name);
        const std::string request = std::string("subscribe ") + topic.name;
        EXPECT_TRUE(HasFrame(EMode::Dashboard, Browser, request, Subscribed(topic.name)));
        EXPECT_TRUE(HasFrame(EMode::Dashboard, Second, request, Subscribed(topic.name)));
        const bool isThere = IsThere(topic.mode, EMode::Commissioning);
        for (const unsigned who : {Browser, BrowserOfNone, BrowserOfWrong})
        {
            EXPECT_TRUE(HasFrame(EMode::Commissioning,
                                 who,
                                 request,
                                 isThere ? Subscribed(topic.name) : InvalidTopic("subscribe", topic.name)));
        }
    }
    for (const unsigned who : {BrowserOfNone, BrowserOfWrong})
    {
        EXPECT_TRUE(HasFrame(EMode::Dashboard, who, "hears", Closed(4401, "Unauthorized")));
    }
}
