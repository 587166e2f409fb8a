#include "simulator/messagejson.h"
#include "simulator/steering/jsonreader.h"
#include "simulator/steering/routes.h"
#include "simulator/steering/steeringerror.h"

#include <chrono>
#include <cstdint>
#include <limits>
#include <vector>

namespace Simulator
{

namespace
{

/// The meter has a value per phase; more than three are for trying odd meters.
constexpr Json::ArrayIndex PhaseLimit = 16;
/// milliseconds
constexpr std::int64_t LongestProgramming = 3'600'000;
/// seconds: ten years
constexpr std::int64_t LongestSkip = 315'360'000;

ipc::MConnectorReservation ReadReservation(CJsonReader reader)
{
    ipc::MConnectorReservation reservation;
    reservation.set_reservation_id(static_cast<std::uint32_t>(
        reader.Integer("ReservationId", 0, std::numeric_limits<std::uint32_t>::max())));
    reservation.set_expiry_date(reader.OptionalText("ExpiryDate").value_or(""));
    reservation.set_id_token(reader.OptionalText("IdToken").value_or(""));
    reader.RefuseOthers();
    return reservation;
}

Json::Value PostConnector(const SStation& station, const SSteeringRequest& request)
{
    CJsonReader reader(request.body);
    CConnector::SUpdate update;
    update.state = reader.Enumerator<ipc::EConnectorState>("State", &ipc::EConnectorState_Parse);
    update.sessionId = reader.OptionalText("SessionId");
    update.authorized = reader.OptionalBool("Authorized");
    if (reader.Has("Reservation"))
    {
        update.reservation = ReadReservation(reader.Object("Reservation"));
    }
    reader.RefuseOthers();
    station.charging->SetConnector(update);
    return ToJson(station.charging->ConnectorInfo());
}

std::vector<std::int32_t> ReadPower(const Json::Value& array)
{
    if (array.size() > PhaseLimit)
    {
        throw CBadRequest("Power has more than " + std::to_string(PhaseLimit) + " values");
    }
    std::vector<std::int32_t> power;
    for (const Json::Value& watts : array)
    {
        if (!watts.isInt())
        {
            throw CBadRequest("Power is no array of 32-bit integers");
        }
        power.push_back(watts.asInt());
    }
    return power;
}

Json::Value PostMeter(const SStation& station, const SSteeringRequest& request)
{
    CJsonReader reader(request.body);
    std::optional<std::vector<std::int32_t>> power;
    if (reader.Has("Power"))
    {
        power = ReadPower(reader.Array("Power"));
    }
    const auto energy = reader.OptionalInteger(
        "TotalEnergy", std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max());
    reader.RefuseOthers();
    if (power)
    {
        station.charging->SetDemand(*power);
    }
    if (energy)
    {
        station.charging->SetTotalEnergy(*energy);
    }
    return ToJson(station.charging->MeterData());
}

Json::Value PostLimit(const SStation& station, const SSteeringRequest& request)
{
    CJsonReader reader(request.body);
    const int source =
        reader.Enumerator<ipc::ECurrentControlSource>("Source", &ipc::ECurrentControlSource_Parse);
    bool isTaken = false;
    if (reader.IsNull("Limit"))
    {
        reader.RefuseOthers();
        isTaken = station.charging->ClearLimit(source);
    }
    else
    {
        const auto limit = reader.Integer("Limit", 0, std::numeric_limits<std::uint32_t>::max());
        reader.RefuseOthers();
        isTaken = station.charging->SetLimit(source, static_cast<std::uint32_t>(limit));
    }
    if (!isTaken)
    {
        throw CBadRequest("the limit of source " + std::to_string(source) + " can't be set");
    }
    return station.charging->ToJson()["Limits"];
}

Json::Value PostRfid(const SStation& station, const SSteeringRequest& request)
{
    CJsonReader reader(request.body);
    const std::string token = reader.Text("Token");
    reader.RefuseOthers();
    Json::Value answer;
    answer["Reported"] = station.rfid->Tap(token);
    return answer;
}

Json::Value PostFirmware(const SStation& station, const SSteeringRequest& request)
{
    CJsonReader reader(request.body);
    if (reader.Has("Status"))
    {
        const int status = reader.Enumerator<ipc::EFwUpdateStatus>("Status", &ipc::EFwUpdateStatus_Parse);
        reader.RefuseOthers();
        station.firmware->Report(status);
        return station.firmware->ToJson();
    }
    CFirmware::SPlan plan = station.firmware->Plan();
    plan.newIdentifier = reader.OptionalText("NewIdentifier").value_or(plan.newIdentifier);
    if (reader.Has("Result"))
    {
        plan.result = reader.Enumerator<ipc::EFwUpdateStatus>("Result", &ipc::EFwUpdateStatus_Parse);
    }
    plan.programmingTime =
        std::chrono::milliseconds(reader.OptionalInteger("ProgrammingMs", 0, LongestProgramming)
                                      .value_or(plan.programmingTime.count()));
    reader.RefuseOthers();
    station.firmware->SetPlan(plan);
    return station.firmware->ToJson();
}

Json::Value TimeToJson(const SStation& station)
{
    Json::Value json;
    json["Factor"] = station.charging->TimeFactor();
    json["Synchronised"] = station.files->IsTimeSynchronised();
    return json;
}

Json::Value PostTime(const SStation& station, const SSteeringRequest& request)
{
    CJsonReader reader(request.body);
    const auto factor = reader.OptionalInteger("Factor", 0, GreatestTimeFactor);
    const auto skip = reader.OptionalInteger("Skip", 0, LongestSkip);
    const auto isSynchronised = reader.OptionalBool("Synchronised");
    reader.RefuseOthers();
    if (isSynchronised)
    {
        station.files->SetTimeSynchronised(*isSynchronised);
    }
    if (factor)
    {
        station.charging->SetTimeFactor(static_cast<std::int32_t>(*factor));
    }
    if (skip)
    {
        station.charging->SkipTime(std::chrono::seconds(*skip));
    }
    return TimeToJson(station);
}

} // namespace

void AddStationRoutes(CSteering& steering, const SStation& station)
{
    steering.Add("/station", "GET", [&station](const SSteeringRequest&) { return ToJson(station); });
    steering.Add(
        "/connector", "POST", [&station](const auto& request) { return PostConnector(station, request); });
    steering.Add("/meter", "POST", [&station](const auto& request) { return PostMeter(station, request); });
    steering.Add("/time", "GET", [&station](const SSteeringRequest&) { return TimeToJson(station); });
    steering.Add("/time", "POST", [&station](const auto& request) { return PostTime(station, request); });
    steering.Add("/limit", "POST", [&station](const auto& request) { return PostLimit(station, request); });
    steering.Add("/rfid", "POST", [&station](const auto& request) { return PostRfid(station, request); });
    steering.Add(
        "/firmware", "POST", [&station](const auto& request) { return PostFirmware(station, request); });
}

} // namespace Simulator
