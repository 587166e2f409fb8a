#include <stdexcept>
#include <vector>

#include "tests/unit/platform/httpserver/httpservertest.h"

namespace
{

using httpserver::http_request;

/// Answers with the resource's name, the path and the parameter "id", between bars.
RenderFunction Named(const std::string& name)
{
    return [name](const http_request& request)
    {
        return TextResponse(name + '|' + std::string(request.get_path()) + '|' +
                            std::string(request.get_arg("id")));
    };
}

/// Which resource answered, "404" if none.
std::string ResourceOf(const SHttpResponse& response)
{
    return response.status == 200 ? response.body.substr(0, response.body.find('|'))
                                  : std::to_string(response.status);
}

} // namespace

class HttpRouting : public HttpServer
{
protected:
    std::string ResourceFor(const std::string& target, const std::string& method = "GET")
    {
        return ResourceOf(Ask(method, target));
    }
};

TEST_F(HttpRouting, AnswersAPathWithoutResourceWithAPlainTextPage)
{
    Serve("/a", Named("a"));
    for (const std::string method : {"GET", "POST", "HEAD", "FOO"})
    {
        SCOPED_TRACE(method);
        const auto response = Ask(method, "/nothing", {}, method == "POST" ? R"({"Key":1})" : "");
        EXPECT_EQ(response.statusLine, "HTTP/1.1 404 Not Found");
        EXPECT_EQ(response.Header("Content-Type"), "text/plain");
        EXPECT_EQ(response.Header("Content-Length"), "9");
        EXPECT_EQ(response.body, method == "HEAD" ? "" : "Not Found");
    }
}

TEST_F(HttpRouting, DoesNotServeWhatStandsAboveARegisteredPath)
{
    Serve("/a/b", Named("ab"), true);
    EXPECT_EQ(ResourceFor("/"), "404");
    EXPECT_EQ(ResourceFor("/a"), "404");
    EXPECT_EQ(ResourceFor("/a/"), "404");
    EXPECT_EQ(ResourceFor("/a/b"), "ab");
}

TEST_F(HttpRouting, FamilyAnswersPathsBelowItsOwn)
{
    Serve("/a/b", Named("ab"), true);
    EXPECT_EQ(Ask("GET", "/a/b/c").body, "ab|/a/b/c|");
    EXPECT_EQ(Ask("GET", "/a/b/c/d").body, "ab|/a/b/c/d|");
    EXPECT_EQ(ResourceFor("/a/bc"), "404");
}

TEST_F(HttpRouting, PathWithoutFamilyMatchesOnlyInFull)
{
    Serve("/a/b", Named("ab"));
    EXPECT_EQ(ResourceFor("/a/b"), "ab");
    EXPECT_EQ(ResourceFor("/a/b/c"), "404");
    EXPECT_EQ(ResourceFor("/a/bc"), "404");
}

TEST_F(HttpRouting, PathIsRootedAtRegistration)
{
    EXPECT_TRUE(Serve("a/b", Named("ab")));
    EXPECT_EQ(ResourceFor("/a/b"), "ab");
}

TEST_F(HttpRouting, SlashAtTheEndOfARegistrationIsDropped)
{
    EXPECT_TRUE(Serve("/a/b/", Named("ab")));
    EXPECT_EQ(ResourceFor("/a/b"), "ab");
    EXPECT_EQ(ResourceFor("/a/b/"), "ab");
}

TEST_F(HttpRouting, PathIsReadFromTheRequestLine)
{
    Serve("/a/b", Named("ab"), true);
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"/a/b", "/a/b"},
        {"/a/b/", "/a/b"},
        {"//a///b//", "/a/b"},
        {"/a%2Fb", "/a/b"},
        {"/a/%2fb", "/a/b"},
        {"/%61/b", "/a/b"},
        {"/A/b", "/A/b"},
        {"a/b", "a/b"},
        {"/a/b?q=/x/y", "/a/b"},
        {"/a/b/c+d%20e%2Bf", "/a/b/c d e+f"},
        {"/a/b/%2561", "/a/b/%61"},
        {"/a/b/%zz%4", "/a/b/%zz%4"},
        {"/a/b/c%00d", "/a/b/c"},
        {"/a/b/./../C;d", "/a/b/./../C;d"},
    };
    for (const auto& [target, path] : rows)
    {
        EXPECT_EQ(Ask("GET", target).body, "ab|" + path + '|') << target;
    }
}

TEST_F(HttpRouting, OtherFormsOfTargetAreNotFound)
{
    Serve("/a/b", Named("ab"), true);
    EXPECT_EQ(ResourceFor("*", "OPTIONS"), "404");
    EXPECT_EQ(ResourceFor("http://localhost/a/b"), "404");
    EXPECT_EQ(ResourceFor("?q=1"), "404");
}

TEST_F(HttpRouting, FixedSegmentsIgnoreCase)
{
    Serve("/Config/Network", Named("network"));
    EXPECT_EQ(ResourceFor("/config/NETWORK"), "network");
    EXPECT_EQ(ResourceFor("/config/net_ork"), "404");
}

TEST_F(HttpRouting, ParameterMatchesOneSegmentBesideItsList)
{
    Serve("/list", Named("list"), true);
    Serve("/list/{id}", Named("entry"), true);
    struct SRow
    {
        std::string target;
        std::string resource;
        std::string id;
    };
    const std::vector<SRow> rows = {
        {"/list", "list", ""},
        {"/list/", "list", ""},
        {"/LIST", "list", ""},
        {"/list/%2F", "list", ""},
        {"/list/%00", "list", ""},
        {"/list/AbC", "entry", "AbC"},
        {"/list/AbC/", "entry", "AbC"},
        {"/list//AbC", "entry", "AbC"},
        {"/LIST/AbC/x/y", "entry", "AbC"},
        {"/list/a%20b", "entry", "a b"},
        {"/list/a+b", "entry", "a b"},
        {"/list/a%2Bb", "entry", "a+b"},
        {"/list/a%2Fb", "entry", "a"},
        {"/list/a%2520b", "entry", "a%20b"},
        {"/list/%C3%A9", "entry", "\xC3\xA9"},
        {"/list/\xC3\xA9", "entry", "\xC3\xA9"},
        {"/list/%FF", "entry", "\xFF"},
        {"/list/a%00b", "entry", "a"},
        {"/list/..", "entry", ".."},
        {"/list/../q", "entry", ".."},
        {"/list/a%5Cb", "list", ""},
        {"/list/a%zz", "entry", "a%zz"},
        {"/list/a%3Fb", "entry", "a?b"},
        {"/list/a%0Ab", "entry", "a\nb"},
        {"/list/a#b", "entry", "a#b"},
        {"/list/a;b=c", "entry", "a;b=c"},
    };
    for (const auto& row : rows)
    {
        const std::string body = Ask("GET", row.target).body;
        EXPECT_EQ(body.substr(0, body.find('|')), row.resource) << row.target;
        EXPECT_EQ(body.substr(body.find('|', body.find('|') + 1) + 1), row.id) << row.target;
    }
}

TEST_F(HttpRouting, LongerOfTwoFamiliesWins)
{
    Serve("/s/m", Named("m"), true);
    Serve("/s/m/puk", Named("puk"), true);
    EXPECT_EQ(ResourceFor("/s/m"), "m");
    EXPECT_EQ(ResourceFor("/s/m/puk"), "puk");
    EXPECT_EQ(ResourceFor("/s/m/puk/z"), "puk");
    EXPECT_EQ(ResourceFor("/s/m/pukk"), "m");
    EXPECT_EQ(ResourceFor("/s/m/z/puk"), "m");
}

TEST_F(HttpRouting, MoreSegmentsWinOverALongerText)
{
    Serve("/{id}/c", Named("two"), true);
    Serve("/somethinglong", Named("one"), true);
    EXPECT_EQ(ResourceFor("/somethinglong/c"), "two");
}

TEST_F(HttpRouting, LongerTextWinsAmongEqualNumbersOfSegments)
{
    Serve("/x/{id}", Named("parameter"), true);
    Serve("/x/something", Named("fixed"), true);
    Serve("/y/{number}", Named("parameter"), true);
    Serve("/y/fixed", Named("fixed"), true);
    EXPECT_EQ(ResourceFor("/x/something/z"), "fixed");
    EXPECT_EQ(ResourceFor("/y/fixed/z"), "parameter");
}

TEST_F(HttpRouting, PathEqualToTheRequestsWinsOverALongerText)
{
    Serve("/x/{identity}", Named("parameter"), true);
    Serve("/x/fixed", Named("fixed"));
    EXPECT_EQ(ResourceFor("/x/fixed"), "fixed");
    EXPECT_EQ(ResourceFor("/x/FIXED"), "parameter");
}

TEST_F(HttpRouting, SecondRegistrationOfAPathIsRefused)
{
    EXPECT_TRUE(Serve("/a/b", Named("first")));
    EXPECT_FALSE(Serve("/a/b", Named("second")));
    EXPECT_FALSE(Serve("A/B/", Named("second")));
    EXPECT_TRUE(Serve("/list/{x}", Named("x")));
    EXPECT_FALSE(Serve("/list/{y}", Named("y")));
    EXPECT_EQ(ResourceFor("/a/b"), "first");
    EXPECT_EQ(ResourceFor("/list/z"), "x");
}

TEST_F(HttpRouting, MalformedParameterIsRefused)
{
    for (const std::string path : {"/a/{", "/a/{}", "/a/{id", "/a/{id/b"})
    {
        try
        {
            Serve(path, Named("a"));
            ADD_FAILURE() << path << " was accepted";
        }
        catch (const std::invalid_argument& refusal)
        {
            EXPECT_STREQ(refusal.what(), "Bad URL format") << path;
        }
    }
}

TEST_F(HttpRouting, UnregisteredPathIsNotFound)
{
    Serve("/a", Named("a"));
    Serve("/b", Named("b"));
    server.unregister_resource("/a");
    EXPECT_EQ(ResourceFor("/a"), "404");
    EXPECT_EQ(ResourceFor("/b"), "b");
}

TEST_F(HttpRouting, ArgumentsComeFromPathAndQuery)
{
    Serve("/list/{id}", Named("entry"), true);
    Serve("/plain", Named("plain"));
    EXPECT_EQ(Ask("GET", "/list/path?id=query").body, "entry|/list/path|path");
    EXPECT_EQ(Ask("GET", "/plain?other=1&id=query").body, "plain|/plain|query");
    EXPECT_EQ(Ask("GET", "/plain?id=one+two").body, "plain|/plain|one two");
    EXPECT_EQ(Ask("GET", "/plain?id=first&id=second").body, "plain|/plain|first");
    for (const std::string query : {"", "?id", "?id=", "?x=id"})
    {
        EXPECT_EQ(Ask("GET", "/plain" + query).body, "plain|/plain|") << query;
    }
}

#ifdef HTTPSERVER_BUNDLED

TEST_F(HttpRouting, ParameterLeavesTheQueryReadable)
{
    Serve("/list/{id}",
          [](const http_request& request)
          {
              return TextResponse(request.get_arg("id") + '|' + request.get_arg("q") + '|' +
                                  request.get_querystring());
          });
    EXPECT_EQ(Ask("GET", "/list/x?q=1&r=a+b&s").body, "x|1|?q=1&r=a b&s");
    EXPECT_EQ(Ask("GET", "/list/x").body, "x||");
}

TEST_F(HttpRouting, LiteralSpellingOfAParameterGivesNoValue)
{
    Serve("/list/{id}", Named("entry"), true);
    EXPECT_EQ(Ask("GET", "/list/%7Bid%7D").body, "entry|/list/{id}|");
}

TEST_F(HttpRouting, RegisteredTextIsComparedLiterally)
{
    Serve("/a.c", Named("dot"));
    EXPECT_EQ(ResourceFor("/a.c"), "dot");
    EXPECT_EQ(ResourceFor("/abc"), "404");
}

TEST_F(HttpRouting, VeryLongSegmentIsAnswered)
{
    const std::string id(30000, 'x');
    Serve("/list/{id}", Named("entry"), true);
    EXPECT_EQ(Ask("GET", "/list/" + id).body, "entry|/list/" + id + '|' + id);
    EXPECT_EQ(ResourceFor('/' + id), "404");
}

#endif
