#include <string>

#include <gmock/gmock.h>

#include "tests/e2e/interface/wire.h"

using namespace Interface;

namespace
{

const std::string Key(64, 'a');

std::string Fill(const std::string& expected, const std::string& actual)
{
    std::string key = "none";
    return Filled(expected, actual, key);
}

} // namespace

TEST(InterfaceWire, FillsPlaceholdersWithWhatFits)
{
    EXPECT_EQ(Fill("a <key>; b", "a " + Key + "; b"), "a " + Key + "; b");
    EXPECT_EQ(Fill("[\"<time>\", \"<time>\"]", "[\"2024-05-01T12:00:00Z\", \"2025-12-31T23:59:59Z\"]"),
              "[\"2024-05-01T12:00:00Z\", \"2025-12-31T23:59:59Z\"]");
    EXPECT_EQ(Fill("A_<stamp>.pedp", "A_2024-05-01T120000.pedp"), "A_2024-05-01T120000.pedp");
    EXPECT_EQ(Fill("NetM: <...>\"", "NetM: failed\""), "NetM: failed\"");
}

TEST(InterfaceWire, LeavesPlaceholdersThatDoNotFit)
{
    EXPECT_EQ(Fill("<key>", Key.substr(1)), "<key>");
    EXPECT_EQ(Fill("<key>", std::string(64, 'A')), "<key>");
    EXPECT_EQ(Fill("<time>", "2024-05-01 12:00:00Z"), "<time>");
    EXPECT_EQ(Fill("<time>", "2024-05-01T12:00:00"), "<time>");
    EXPECT_EQ(Fill("<stamp>.pedp", "2024-05-01.pedp"), "<stamp>.pedp");
    EXPECT_EQ(Fill("NetM: <...>\"", "NetM: \""), "NetM: <...>\"");
    EXPECT_EQ(Fill("NetM: <...>\"", "NetM: two\nlines\""), "NetM: <...>\"");
    EXPECT_EQ(Fill("<archive>", std::string(1024, 'x')), "<archive>");
}

TEST(InterfaceWire, LeavesWhatDiffersAheadOfOrBehindAPlaceholder)
{
    EXPECT_EQ(Fill("a <time> b", "c 2024-05-01T12:00:00Z b"), "a <time> b");
    EXPECT_EQ(Fill("a <time> b", "a 2024-05-01T12:00:00Z c"), "a 2024-05-01T12:00:00Z b");
    EXPECT_EQ(Fill("a <time>", "a 2024-05-01T12:00:00Z and more"), "a 2024-05-01T12:00:00Z");
}

TEST(InterfaceWire, RemembersTheKey)
{
    std::string key;
    Filled("sessionid=<key>; path=/", "sessionid=" + Key + "; path=/", key);
    EXPECT_EQ(key, Key);
    EXPECT_EQ(Filled("sessionid=<latest>;", "sessionid=other;", key), "sessionid=" + Key + ";");
}

TEST(InterfaceWire, ShowsAllOfAnAnswerButItsDate)
{
    SHttpResponse response;
    response.statusLine = "HTTP/1.1 401 Unauthorized";
    response.headers = {
        {"Date", "today"}, {"X-Other", "x"}, {"Content-Type", "application/json"}, {"Content-Length", "15"}};
    response.body = "\"Unauthorized\"\n";

    EXPECT_EQ(Text(response),
              "HTTP/1.1 401 Unauthorized\nX-Other: x\nContent-Type: application/json\nContent-Length: 15\n\n"
              "\"Unauthorized\"\n");
    std::string key;
    EXPECT_EQ(Expected(Unauthorized(), "GET", response, key),
              "HTTP/1.1 401 Unauthorized\nContent-Type: application/json\nContent-Length: 15\n\n"
              "\"Unauthorized\"\n");
    EXPECT_EQ(Expected(Unauthorized(), "HEAD", response, key),
              "HTTP/1.1 401 Unauthorized\nContent-Type: application/json\nContent-Length: 15\n\n");
    EXPECT_EQ(Expected(NoContent(), "GET", response, key),
              "HTTP/1.1 204 No Content\nContent-Type: text/plain\n\n");
}
