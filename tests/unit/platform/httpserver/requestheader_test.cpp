#include <vector>

#include "tests/unit/platform/httpserver/httpservertest.h"

/// A server that sends back the header X-Test and the cookie s, between brackets.
class HttpRequestHeader : public HttpServer
{
public:
    ~HttpRequestHeader() override { server.stop(); }

protected:
    HttpRequestHeader()
    {
        Serve("/header",
              [](const httpserver::http_request& request)
              { return TextResponse('[' + std::string(request.get_header("X-Test")) + ']'); });
        Serve("/cookie",
              [](const httpserver::http_request& request)
              { return TextResponse('[' + std::string(request.get_cookie("s")) + ']'); });
        Serve("/session",
              [](const httpserver::http_request& request)
              { return TextResponse(std::string(request.get_cookie("sessionid"))); });
    }

    std::string HeaderOf(const HttpHeaders& headers) { return Ask("GET", "/header", headers).body; }
    std::string CookieOf(const HttpHeaders& headers) { return Ask("GET", "/cookie", headers).body; }
};

TEST_F(HttpRequestHeader, NameIgnoresCaseAndTheFirstCounts)
{
    EXPECT_EQ(HeaderOf({{"x-tEST", "One"}}), "[One]");
    EXPECT_EQ(HeaderOf({{"X-Test", "one"}, {"x-test", "two"}}), "[one]");
    EXPECT_EQ(HeaderOf({{"X-Tes", "one"}}), "[]");
    EXPECT_EQ(HeaderOf({}), "[]");
}

TEST_F(HttpRequestHeader, ValueIsKeptButForBlanksBeforeIt)
{
    EXPECT_EQ(HeaderOf({{"X-Test", "application/JSON; charset=utf-8"}}), "[application/JSON; charset=utf-8]");
    EXPECT_EQ(HeaderOf({{"X-Test", "  value  "}}), "[value  ]");
}

TEST_F(HttpRequestHeader, CookieIsFoundAmongOthers)
{
    for (const std::string header : {"s=1; b=2", "b=2; s=1", "b=2;s=1", "b=2;  s=1", ";s=1", "; s=1; b=2"})
    {
        EXPECT_EQ(CookieOf({{"Cookie", header}}), "[1]") << header;
    }
    EXPECT_EQ(CookieOf({{"Cookie", "ss=1; b=s"}}), "[]");
    EXPECT_EQ(CookieOf({}), "[]");
}

TEST_F(HttpRequestHeader, CookiesNameIgnoresCaseAndTheFirstCounts)
{
    EXPECT_EQ(Ask("GET", "/session", {{"Cookie", "SessionId=m; sessionid=l"}}).body, "m");
    EXPECT_EQ(Ask("GET", "/session", {{"Cookie", "sessionid=l; SessionId=m"}}).body, "l");
    EXPECT_EQ(CookieOf({{"Cookie", "s=1"}, {"Cookie", "s=2"}}), "[1]");
    EXPECT_EQ(CookieOf({{"Cookie", "b=1"}, {"Cookie", "s=2"}}), "[]");
}

TEST_F(HttpRequestHeader, CookiesValueIsReadAsItStands)
{
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"s=a,b", "[a]"},
        {R"(s="a;b")", "[a;b]"},
        {"s=a b", "[a b]"},
        {"s= a", "[ a]"},
        {"s = a", "[ a]"},
        {"s=a ", "[a ]"},
        {"s=a=b", "[a=b]"},
        {"s=%41", "[%41]"},
        {"s=", "[]"},
        {"s", "[]"},
    };
    for (const auto& [header, value] : rows)
    {
        EXPECT_EQ(CookieOf({{"Cookie", header}}), value) << header;
    }
}

TEST_F(HttpRequestHeader, CookieBehindAnUnclosedQuoteIsNotFound)
{
    EXPECT_EQ(CookieOf({{"Cookie", R"(a="b; s=1)"}}), "[]");
    EXPECT_EQ(CookieOf({{"Cookie", R"(a="b"; s=1)"}}), "[1]");
}

TEST_F(HttpRequestHeader, MayBeOfSixteenKilobytesButNotOfForty)
{
    const std::string value(16'384, 'x');
    EXPECT_EQ(HeaderOf({{"X-Test", value}}), '[' + value + ']');
    EXPECT_EQ(Ask("GET", "/header", {{"X-Test", std::string(40'960, 'x')}}).status, 431);
    EXPECT_EQ(HeaderOf({{"X-Test", "next"}}), "[next]");
}
