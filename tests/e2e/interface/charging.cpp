/// Statistics, and the slider of the charging current.
#include "tests/e2e/interface/sections.h"

namespace Interface
{

namespace
{

std::string Limit(int milliamperes)
{
    return R"(CurrentControl.SetLimit {"Limit":)" + std::to_string(milliamperes) + R"(,"Source":14})";
}

const std::string History = R"({
    "HistoryMonth": [{"Year": 2024, "Month": 2, "Energy": [1, 0, 3]}, {"Year": 2024, "Month": 3, "Energy": []}],
    "HistoryYear": [{"Year": 2024, "Energy": [0, 4]}]})";

const std::string LimitChanged =
    "Diagnostics.SendSignal 20500 Parameter UserDefinedChargeLimitCurrent has been reconfigured to ";

} // namespace

Sections Charging()
{
    // clang-format off
    return {
    {"Statistics", EMode::Dashboard, {}, {
        {NoneOrWrong, "GET /statistics/session", {}, Unauthorized()},
        {NoneOrWrong, "GET /statistics/history", {}, Unauthorized()},
        {Valid,   "GET /statistics/session", {}, Ok(R"({"data": []})")},
        {Valid,   "GET /statistics/history", {}, Ok("null")},
        {Station, "POST /meter",     R"({"Power": [3680, 3450, 230]})"},
        {Station, "POST /connector", R"({"State": 11})"},
        {Valid | Soon, "GET /statistics/session", {}, Ok(R"({"data": [{"timestamp": "<time>", "averagePower": [3680, 3450, 230]}]})")},
        {Valid,   "GET /statistics/history", {}, Ok("null")},
    }},
    {"StatisticsWithAHistory", EMode::Dashboard, {{"charging_history", History}}, {
        {Valid,   "GET /statistics/history", {}, Ok(History)},
        {Valid,   "GET /statistics/history?from=2024", "{}", Ok(History)},
    }},
    {"StatisticsOfHalfAHistory", EMode::Dashboard, {{"charging_history", R"({"HistoryYear": []})"}}, {
        {Valid,   "GET /statistics/history", {}, Ok(R"({"HistoryYear": []})")},
    }},
    {BareStation, EMode::Dashboard, {{"charging_history", History}}, {
        {Station, "POST /connector", R"({"State": 11})"},
        {Station, "POST /connector", R"({"State": 9})"},
        {Valid,   "GET /statistics/session", {}, Ok(R"({"data": []})")},
        {Valid,   "GET /statistics/history", {}, Ok(History)},
    }},
    {"Slider", EMode::Dashboard, {}, {
        {NoneOrWrong, "POST /charging/current-slider", {}, Unauthorized()},
        {Valid,   "POST /charging/current-slider", {},     NoContent(), {Limit(32000)}},
        {Valid,   "POST /charging/current-slider", "no JSON at all", NoContent(), {Limit(32000)}},
        {Valid,   "PATCH /config/user", R"({"UserDefinedChargeLimitCurrent": 16, "Unknown": 1})", BadRequest()},
        {Station, "POST /fault", R"({"Service": "CurrentControl", "Operation": "SetLimit", "Refuse": true, "Times": 1})"},
        {Valid,   "POST /charging/current-slider", {},     NoContent(), {Limit(32000)}},
        {Station, "POST /fault", R"({"Service": "CurrentControl", "Operation": "SetLimit", "Fail": true, "Times": 1})"},
        {Valid,   "POST /charging/current-slider", {},     NoContent(), {Limit(32000)}},
    }},
    {"SliderAtSixAmperes", EMode::Dashboard, {{"settings", R"({"UserDefinedChargeLimitCurrent": 6})"}}, {
        {Valid,   "POST /charging/current-slider", {},     NoContent(), {Limit(6000)}},
    }},
    {"SliderWithoutASetting", EMode::Dashboard, {{"settings", R"({"UserDefinedChargeLimitCurrent": null})"}}, {
        {Valid,   "POST /charging/current-slider", {},     NoContent(), {Limit(32000)}},
    }},
    {"SliderThatIsNotAllowed", EMode::Dashboard, {{"settings", R"({"UserDefinedChargeLimitCurrentAllowed": false})"}}, {
        {Valid,   "POST /charging/current-slider", {},     NoContent()},
    }},
    {BareStation, EMode::Dashboard, {}, {
        {Valid,   "POST /charging/current-slider", {},     NoContent()},
    }},
    {Commissioning, EMode::Commissioning, {}, {
        {Anybody, "GET /statistics/session",       {}, NoSuchPath()},
        {Anybody, "GET /statistics/history",       {}, NoSuchPath()},
        {Anybody, "POST /charging/current-slider", {}, NoSuchPath()},
    }},
    };
    // clang-format on
}

} // namespace Interface
