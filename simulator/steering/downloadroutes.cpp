#include "simulator/steering/jsonreader.h"
#include "simulator/steering/routes.h"
#include "simulator/steering/steeringerror.h"

#include <chrono>
#include <cstdint>
#include <limits>

namespace Simulator
{

namespace
{

/// seconds
constexpr double LongestWait = 60;
/// the greatest whole number that a query can hold
constexpr double MostRequests = 1e15;
constexpr std::int64_t LargestBody = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t NotAnnounced = -1;
constexpr std::int64_t LeastStatus = 200;
constexpr std::int64_t GreatestStatus = 599;
constexpr unsigned Found = 302;

std::optional<std::int64_t> ReadAnnounced(CJsonReader& reader)
{
    if (reader.Has("Announced") && reader.IsNull("Announced"))
    {
        return NotAnnounced;
    }
    return reader.OptionalInteger("Announced", 0, LargestBody);
}

SDownload ReadDownload(CJsonReader& reader)
{
    SDownload download;
    download.location = reader.OptionalText("Location").value_or("");
    if (!download.location.empty())
    {
        download.status = Found;
    }
    if (const auto status = reader.OptionalInteger("Status", LeastStatus, GreatestStatus))
    {
        download.status = static_cast<unsigned>(*status);
    }
    download.text = reader.OptionalText("Text").value_or("");
    download.size = reader.OptionalInteger("Size", 0, LargestBody);
    download.announced = ReadAnnounced(reader);
    download.cutAfter = reader.OptionalInteger("CutAfter", 0, LargestBody);
    download.stallAfter = reader.OptionalInteger("StallAfter", 0, LargestBody);
    download.speed = reader.OptionalInteger("Speed", 1, LargestBody).value_or(0);
    download.isSilent = reader.OptionalBool("Silent").value_or(false);
    return download;
}

Json::Value ToJson(const CDownloads::SEntry& entry)
{
    const SDownload& download = entry.download;
    Json::Value json;
    json["Status"] = download.status;
    json["Length"] = Json::Int64{download.Length()};
    json["Requests"] = Json::UInt64{entry.requests};
    return json;
}

Json::Value ToJson(const CDownloads& downloads)
{
    Json::Value json(Json::objectValue);
    for (const auto& [path, entry] : downloads.All())
    {
        json[path] = ToJson(entry);
    }
    return json;
}

Json::Value GetDownloads(const CDownloads& downloads, const SSteeringRequest& request)
{
    const std::string path = QueryText(request, "path");
    const auto count = static_cast<std::uint64_t>(QueryNumber(request, "requests", 0, MostRequests));
    const std::chrono::duration<double> wait(QueryNumber(request, "wait", 0, LongestWait));
    if (count > 0)
    {
        downloads.AwaitRequests(path, count, std::chrono::duration_cast<std::chrono::milliseconds>(wait));
    }
    return ToJson(downloads);
}

Json::Value PostDownload(CDownloads& downloads, const SSteeringRequest& request)
{
    CJsonReader reader(request.body);
    const std::string path = reader.Text("Path");
    if (path.empty() || path.front() != '/')
    {
        throw CBadRequest("Path does not begin with a slash");
    }
    const SDownload download = ReadDownload(reader);
    reader.RefuseOthers();
    downloads.Set(path, download);
    return ToJson(downloads);
}

} // namespace

void AddDownloadRoutes(CSteering& steering, CDownloads& downloads)
{
    steering.Add(
        "/download", "GET", [&downloads](const auto& request) { return GetDownloads(downloads, request); });
    steering.Add(
        "/download", "POST", [&downloads](const auto& request) { return PostDownload(downloads, request); });
}

} // namespace Simulator
