#include "platform/json/jsonutil.h"

#include <json/value.h>

#include <future>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/integration/simulator/runningsimulator.h"
#include "tests/support/rawhttp.h"

namespace
{

class Downloads : public testing::Test
{
protected:
    SHttpResponse Get(const std::string& path) const { return HttpRequest(Port(), "GET", path); }

    std::uint16_t Port() const { return station.simulator.DownloadPort(); }

    std::string UrlOf(const std::string& path) const
    {
        return "http://127.0.0.1:" + std::to_string(Port()) + path;
    }

    Json::Value Offer(const std::string& body) const
    {
        const SSteeringAnswer answer = station.steering.Post("/download", body);
        EXPECT_EQ(answer.status, 200) << JsonUtil::WriteUnstyled(answer.body);
        return answer.body;
    }

    CRunningSimulator station;
};

} // namespace

TEST_F(Downloads, DescriptorLeadsToBothPackages)
{
    const SHttpResponse answer = Get("/versions.json");
    EXPECT_EQ(answer.status, 200);
    const Json::Value descriptor = JsonUtil::ParseObject(answer.body);
    EXPECT_EQ(descriptor["firmwareUrl"], UrlOf("/firmware.swu"));
    EXPECT_EQ(descriptor["firmwareVersion"], "2.0.0-simulated");
    EXPECT_EQ(descriptor["customizationUrl"], UrlOf("/customization.swu"));
    EXPECT_EQ(descriptor["customizationVersion"], "2.0.0-custom");
    EXPECT_EQ(Get("/firmware.swu").body.size(), 1048576U);
    EXPECT_EQ(Get("/customization.swu").body.size(), 1048576U);
    EXPECT_EQ(Get("/nothing").status, 404);
}

TEST_F(Downloads, BodyIsATextOrASize)
{
    const Json::Value shown = Offer(R"({"Path": "/a", "Text": "text"})");
    EXPECT_EQ(shown["/a"]["Length"], 4);
    EXPECT_EQ(Get("/a").body, "text");

    Offer(R"({"Path": "/a", "Size": 10, "Status": 503})");
    const SHttpResponse sized = Get("/a");
    EXPECT_EQ(sized.status, 503);
    EXPECT_EQ(sized.body, "xxxxxxxxxx");
}

TEST_F(Downloads, RedirectHasItsLocation)
{
    Offer(R"({"Path": "/a", "Location": "file:///etc/passwd"})");
    const SHttpResponse found = Get("/a");
    EXPECT_EQ(found.status, 302);
    EXPECT_EQ(found.Header("Location"), "file:///etc/passwd");

    Offer(R"({"Path": "/a", "Location": "/b", "Status": 308})");
    EXPECT_EQ(Get("/a").status, 308);
}

TEST_F(Downloads, LengthIsAnnouncedAsItIsToBe)
{
    Offer(R"({"Path": "/a", "Text": "text", "Announced": null})");
    CRawHttp chunked(Port());
    chunked.Send("GET /a HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
    EXPECT_NE(chunked.ReceiveUntilClose().find("Transfer-Encoding: chunked"), std::string::npos);

    Offer(R"({"Path": "/a", "Text": "text", "Announced": 5})");
    CRawHttp longer(Port());
    longer.Send("GET /a HTTP/1.1\r\nHost: x\r\n\r\n");
    const std::string answer = longer.ReceiveUntilClose();
    EXPECT_NE(answer.find("Content-Length: 5"), std::string::npos);
    EXPECT_EQ(answer.substr(answer.size() - 8), "\r\n\r\ntext");
}

TEST_F(Downloads, BodyIsCutOff)
{
    Offer(R"({"Path": "/a", "Text": "text", "CutAfter": 2})");
    CRawHttp client(Port());
    client.Send("GET /a HTTP/1.1\r\nHost: x\r\n\r\n");
    const std::string answer = client.ReceiveUntilClose();
    EXPECT_NE(answer.find("Content-Length: 4"), std::string::npos);
    EXPECT_EQ(answer.substr(answer.size() - 6), "\r\n\r\nte");
}

TEST_F(Downloads, SilenceAndSlownessLastUntilTheAnswerIsAnother)
{
    int requests = 0;
    for (const std::string how :
         {R"("Silent": true)", R"("Size": 1000000, "StallAfter": 10)", R"("Size": 1000000, "Speed": 10)"})
    {
        Offer(R"({"Path": "/a", )" + how + "}");
        CRawHttp client(Port());
        client.Send("GET /a HTTP/1.1\r\nHost: x\r\n\r\n");
        station.steering.Get("/download?path=/a&wait=20&requests=" + std::to_string(++requests));

        Offer(R"({"Path": "/a", "Text": "text"})");

        EXPECT_THAT(client.ReceiveUntilClose(), testing::Not(testing::EndsWith("text"))) << how;
        EXPECT_EQ(Get("/a").body, "text");
        ++requests;
    }
}

TEST_F(Downloads, RequestsAreCountedByPath)
{
    auto waiting = std::async(
        std::launch::async,
        [this] { return station.steering.Get("/download?path=/firmware.swu&requests=2&wait=20"); });
    Get("/firmware.swu");
    Get("/firmware.swu");
    EXPECT_EQ(waiting.get().body["/firmware.swu"]["Requests"], 2);
    EXPECT_EQ(station.steering.Get("/download").body["/customization.swu"]["Requests"], 0);
}

TEST_F(Downloads, WrongRequestsAreRefused)
{
    for (const std::string body : {"",
                                   "{}",
                                   R"({"Path": "a"})",
                                   R"({"Path": ""})",
                                   R"({"Path": "/a", "Status": 100})",
                                   R"({"Path": "/a", "Size": -1})",
                                   R"({"Path": "/a", "Speed": 0})",
                                   R"({"Path": "/a", "Silent": 1})",
                                   R"({"Path": "/a", "Surplus": 1})"})
    {
        EXPECT_EQ(station.steering.Post("/download", body).status, 400) << body;
    }
    EXPECT_EQ(Get("/a").status, 404);
}

TEST_F(Downloads, StationEndsAtOnceWithRequestsUnderWay)
{
    Offer(R"({"Path": "/silent", "Silent": true})");
    Offer(R"({"Path": "/slow", "Size": 1000000, "Speed": 10})");
    std::vector<std::unique_ptr<CRawHttp>> clients;
    for (const std::string path : {"/silent", "/slow"})
    {
        clients.push_back(std::make_unique<CRawHttp>(Port()));
        clients.back()->Send("GET " + path + " HTTP/1.1\r\nHost: x\r\n\r\n");
        station.steering.Get("/download?path=" + path + "&requests=1&wait=20");
    }
    auto end = std::async(std::launch::async, [this] { station.simulator.Stop(); });
    EXPECT_EQ(end.wait_for(std::chrono::seconds(20)), std::future_status::ready);
}
