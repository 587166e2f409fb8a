/// The list of tokens, and the charging schedule.
#include <string>

#include "tests/e2e/interface/sections.h"

namespace Interface
{

namespace
{

std::string Token(const std::string& uid, const std::string& description)
{
    return R"({"RfidTokenUid": ")" + uid + R"(", "RfidTokenDescription": ")" + description + "\"}";
}

std::string Description(const std::string& description)
{
    return R"({"RfidTokenDescription": ")" + description + "\"}";
}

std::string List(const std::string& tokens)
{
    return R"({"Tokens": [)" + tokens + "]}";
}

/// So many tokens, from "T1" on
std::string ListOf(int count)
{
    std::string tokens;
    for (int number = 1; number <= count; ++number)
    {
        const std::string name = std::to_string(number);
        tokens.append(tokens.empty() ? "" : ", ").append(Token("T" + name, "D" + name));
    }
    return List(tokens);
}

const std::string LongestUid(100, 'u');
const std::string LongestDescription(250, 'd');
const std::string UidTooLong = "Token uid is too long (max: 100 characters)";
const std::string DescriptionTooLong = "Token description is too long (max: 250 characters)";
const std::string Corrupt = "Internal RFID token list format is corrupt";

const std::string Week = R"({
    "Monday":    [{"StartTime": 0, "CurrentLimit": 32000}],
    "Tuesday":   [{"StartTime": 0, "CurrentLimit": 32000}],
    "Wednesday": [{"StartTime": 0, "CurrentLimit": 32000}],
    "Thursday":  [{"StartTime": 0, "CurrentLimit": 32000}],
    "Friday":    [{"StartTime": 0, "CurrentLimit": 32000}],
    "Saturday":  [{"StartTime": 0, "CurrentLimit": 32000}],
    "Sunday":    [{"StartTime": 0, "CurrentLimit": 32000}]})";

const std::string Invalid = "Bad request. Invalid schedule.";

std::string Monday(const std::string& segments)
{
    return R"({"Monday": [)" + segments + "]}";
}

} // namespace

Sections Tokens()
{
    // clang-format off
    return {
    {"Tokens", EMode::Dashboard, {}, {
        {NoneOrWrong, "GET /config/auth/standalonelist",         {}, Unauthorized()},
        {NoneOrWrong, "POST /config/auth/standalonelist",        {}, Unauthorized()},
        {NoneOrWrong, "POST /config/auth/standalonelist",        Token("04AA", "Anna"), Unauthorized()},
        {NoneOrWrong, "GET /config/auth/standalonelist/04AA",    {}, Unauthorized()},
        {NoneOrWrong, "DELETE /config/auth/standalonelist/04AA", {}, Unauthorized()},
        {NoneOrWrong, "PATCH /config/auth/standalonelist/04AA",  {}, Unauthorized()},
        {NoneOrWrong, "PATCH /config/auth/standalonelist/04AA",  Description("Bert"), Unauthorized()},
        {Valid, "GET /config/auth/standalonelist",  {}, Ok(List(""))},
        // what is no token
        {Valid, "POST /config/auth/standalonelist", {},                                NoValue()},
        {Valid, "POST /config/auth/standalonelist", "{}",                              BadRequest()},
        {Valid, "POST /config/auth/standalonelist", "[]",                              NoObject()},
        {Valid, "POST /config/auth/standalonelist", R"({"RfidTokenUid": "04AA"})",     BadRequest()},
        {Valid, "POST /config/auth/standalonelist", Description("Anna"),               BadRequest()},
        {Valid, "POST /config/auth/standalonelist", R"({"RfidTokenUid": 4, "RfidTokenDescription": "Anna"})",      BadRequest()},
        {Valid, "POST /config/auth/standalonelist", R"({"RfidTokenUid": "", "RfidTokenDescription": null})",       BadRequest()},
        {Valid, "POST /config/auth/standalonelist", Token("", LongestDescription + "d"),               Message(400, "Empty token UID")},
        {Valid, "POST /config/auth/standalonelist", Token(LongestUid + "u", LongestDescription + "d"), Message(400, UidTooLong)},
        {Valid, "POST /config/auth/standalonelist", Token("04AA", LongestDescription + "d"),           Message(400, DescriptionTooLong)},
        {Valid, "GET /config/auth/standalonelist",  {},                                Ok(List(""))},
        // adding
        {Valid, "POST /config/auth/standalonelist", Token("04AA", "Anna"),             NoContent()},
        {Stored, "rfid_standalone", List(Token("04AA", "Anna"))},
        {Valid, "POST /config/auth/standalonelist", Token("04AA", "Bert"),             MessageOf(409, R"({"Reason": "RfidTokenUid"})")},
        {Valid, "POST /config/auth/standalonelist", Token("04AA", "Anna"),             MessageOf(409, R"({"Reason": "RfidTokenUid"})")},
        {Valid, "POST /config/auth/standalonelist", Token("04BB", "Anna"),             MessageOf(409, R"({"Reason": "RfidTokenDescription"})")},
        {Valid, "POST /config/auth/standalonelist", Token("04aa", "anna"),             NoContent()},
        {Valid, "POST /config/auth/standalonelist", Token("04CC", ""),                 NoContent()},
        {Valid, "POST /config/auth/standalonelist", Token("04DD", ""),                 MessageOf(409, R"({"Reason": "RfidTokenDescription"})")},
        {Valid, "POST /config/auth/standalonelist", Token(LongestUid, LongestDescription), NoContent()},
        {Valid, "GET /config/auth/standalonelist",  {},
         Ok(List(Token("04AA", "Anna") + "," + Token("04aa", "anna") + "," + Token("04CC", "") + "," + Token(LongestUid, LongestDescription)))},
        // one of them
        {Valid, "GET /config/auth/standalonelist/04AA",         {}, Ok(Token("04AA", "Anna"))},
        {Valid, "GET /config/auth/standalonelist/04aa",         {}, Ok(Token("04aa", "anna"))},
        {Valid, "GET /config/auth/standalonelist/04%41A",       {}, Ok(Token("04AA", "Anna"))},
        {Valid, "GET /config/auth/standalonelist/04AA/below",   {}, Ok(Token("04AA", "Anna"))},
        {Valid, "GET /config/auth/standalonelist/04AA?RfidTokenUid=04CC", {}, Ok(Token("04AA", "Anna"))},
        {Valid, "GET /config/auth/standalonelist/",             {},
         Ok(List(Token("04AA", "Anna") + "," + Token("04aa", "anna") + "," + Token("04CC", "") + "," + Token(LongestUid, LongestDescription)))},
        {Valid, "GET /config/auth/standalonelist/04FF",         {}, Reason(404)},
        {Valid, "POST /config/auth/standalonelist/04AA",        Token("04EE", "Eve"), NotAllowed()},
        // changing: without a look at the others
        {Valid, "PATCH /config/auth/standalonelist/04AA", {},                                     NoValue()},
        {Valid, "PATCH /config/auth/standalonelist/04AA", "{}",                                   BadRequest()},
        {Valid, "PATCH /config/auth/standalonelist/04AA", "[]",                                   NoObject()},
        {Valid, "PATCH /config/auth/standalonelist/04AA", R"({"RfidTokenDescription": 1})",       BadRequest()},
        {Valid, "PATCH /config/auth/standalonelist/04FF", Description("Fred"),                    Reason(404)},
        {Valid, "PATCH /config/auth/standalonelist/04FF", Description(LongestDescription + "d"),  Message(400, DescriptionTooLong)},
        {Valid, "PATCH /config/auth/standalonelist/04AA", Description(LongestDescription),        Ok(Token("04AA", LongestDescription))},
        {Valid, "PATCH /config/auth/standalonelist/04AA", Description("anna"),                    Ok(Token("04AA", "anna"))},
        {Valid, "PATCH /config/auth/standalonelist/04AA", Token("04ZZ", ""),                      Ok(Token("04AA", ""))},
        {Stored, "rfid_standalone", List(Token("04AA", "") + "," + Token("04aa", "anna") + "," + Token("04CC", "") + "," + Token(LongestUid, LongestDescription))},
        // removing: the others keep their order
        {Valid, "DELETE /config/auth/standalonelist/04FF", {}, Reason(404)},
        {Valid, "DELETE /config/auth/standalonelist/04AA", {}, NoContent()},
        {Valid, "DELETE /config/auth/standalonelist/04AA", {}, Reason(404)},
        {Valid, "GET /config/auth/standalonelist",         {},
         Ok(List(Token("04aa", "anna") + "," + Token("04CC", "") + "," + Token(LongestUid, LongestDescription)))},
        {Stored, "rfid_standalone", List(Token("04aa", "anna") + "," + Token("04CC", "") + "," + Token(LongestUid, LongestDescription))},
    }},
    {"FullListOfTokens", EMode::Dashboard, {{"rfid_standalone", ListOf(99)}}, {
        {Valid, "POST /config/auth/standalonelist",       Token("T100", "D100"), NoContent()},
        {Valid, "POST /config/auth/standalonelist",       Token("T101", "D101"), Message(400, "Maximum number of RFID tokens reached")},
        {Valid, "POST /config/auth/standalonelist",       Token("T1", "D1"),     Message(400, "Maximum number of RFID tokens reached")},
        {Valid, "POST /config/auth/standalonelist",       Token(LongestUid + "u", LongestDescription + "d"),
         Message(400, "Maximum number of RFID tokens reached")},
        {Valid, "POST /config/auth/standalonelist",       Token("", "D"),        Message(400, "Empty token UID")},
        {Valid, "GET /config/auth/standalonelist",        {}, Ok(ListOf(100))},
        {Valid, "DELETE /config/auth/standalonelist/T100", {}, NoContent()},
        {Valid, "POST /config/auth/standalonelist",       Token("T101", "D101"), NoContent()},
    }},
    {"ListOfTokensWithABadHead", EMode::Dashboard, {{"rfid_standalone", List(R"({"RfidTokenDescription": "no uid"}, )" + Token("04AA", "Anna"))}}, {
        {Valid, "GET /config/auth/standalonelist",         {}, Ok(List(R"({"RfidTokenDescription": "no uid"}, )" + Token("04AA", "Anna")))},
        {Valid, "GET /config/auth/standalonelist/04AA",    {}, Message(500, Corrupt)},
        {Valid, "DELETE /config/auth/standalonelist/04AA", {}, Message(500, Corrupt)},
        {Valid, "PATCH /config/auth/standalonelist/04AA",  Description("Bert"), Message(500, Corrupt)},
        {Valid, "POST /config/auth/standalonelist",        Token("04BB", "Bert"), Message(500, Corrupt)},
    }},
    {"ListOfTokensWithABadTail", EMode::Dashboard, {{"rfid_standalone", List(Token("04AA", "Anna") + R"(, {"RfidTokenUid": "no description"})")}}, {
        {Valid, "GET /config/auth/standalonelist/04AA",    {}, Ok(Token("04AA", "Anna"))},
        {Valid, "GET /config/auth/standalonelist/04BB",    {}, Reason(404)},
        {Valid, "POST /config/auth/standalonelist",        Token("04AA", "Bert"), MessageOf(409, R"({"Reason": "RfidTokenUid"})")},
        {Valid, "POST /config/auth/standalonelist",        Token("04BB", "Anna"), MessageOf(409, R"({"Reason": "RfidTokenDescription"})")},
        {Valid, "POST /config/auth/standalonelist",        Token("04BB", "Bert"), Message(500, Corrupt)},
    }},
    {Commissioning, EMode::Commissioning, {}, {
        {Anybody, "GET /config/auth/standalonelist",         {}, Ok(List(""))},
        {Anybody, "POST /config/auth/standalonelist",        Token("", ""), Message(400, "Empty token UID")},
        {None,    "POST /config/auth/standalonelist",        Token("04AA", "Anna"), NoContent()},
        {Anybody, "POST /config/auth/standalonelist",        Token("04AA", "Anna"), MessageOf(409, R"({"Reason": "RfidTokenUid"})")},
        {Anybody, "GET /config/auth/standalonelist/04AA",    {}, Ok(Token("04AA", "Anna"))},
        {Anybody, "PATCH /config/auth/standalonelist/04AA",  Description("Bert"), Ok(Token("04AA", "Bert"))},
        {None,    "DELETE /config/auth/standalonelist/04AA", {}, NoContent()},
        {Anybody, "DELETE /config/auth/standalonelist/04AA", {}, Reason(404)},
    }},
    };
    // clang-format on
}

Sections Schedules()
{
    // clang-format off
    return {
    {"Schedule", EMode::Dashboard, {}, {
        {NoneOrWrong, "GET /config/scheduledcharging/schedules",  {}, Unauthorized()},
        {NoneOrWrong, "POST /config/scheduledcharging/schedules", {}, Unauthorized()},
        {NoneOrWrong, "POST /config/scheduledcharging/schedules", "{}", Unauthorized()},
        {Valid, "GET /config/scheduledcharging/schedules",  {}, Ok(Week)},
        // bad ones
        {Valid, "POST /config/scheduledcharging/schedules", {},                                NoValue()},
        {Valid, "POST /config/scheduledcharging/schedules", R"({"monday": []})",               Message(400, Invalid)},
        {Valid, "POST /config/scheduledcharging/schedules", R"({"Monday": [], "Holiday": []})", Message(400, Invalid)},
        {Valid, "POST /config/scheduledcharging/schedules", Monday(R"({"CurrentLimit": 1})"),                        Message(400, Invalid)},
        {Valid, "POST /config/scheduledcharging/schedules", Monday(R"({"StartTime": 1})"),                           Message(400, Invalid)},
        {Valid, "POST /config/scheduledcharging/schedules", Monday(R"({"StartTime": 86400, "CurrentLimit": 1})"),    Message(400, Invalid)},
        {Valid, "POST /config/scheduledcharging/schedules", Monday(R"({"StartTime": -1, "CurrentLimit": 1})"),       Message(400, Invalid)},
        {Valid, "POST /config/scheduledcharging/schedules", Monday(R"({"StartTime": 10.5, "CurrentLimit": 1})"),     Message(400, Invalid)},
        {Valid, "POST /config/scheduledcharging/schedules", Monday(R"({"StartTime": "0", "CurrentLimit": 1})"),      Message(400, Invalid)},
        {Valid, "POST /config/scheduledcharging/schedules", Monday(R"({"StartTime": 0, "CurrentLimit": -1})"),       Message(400, Invalid)},
        {Valid, "POST /config/scheduledcharging/schedules", Monday(R"({"StartTime": 0, "CurrentLimit": 1.5})"),      Message(400, Invalid)},
        {Valid, "POST /config/scheduledcharging/schedules", Monday(R"({"StartTime": 0, "CurrentLimit": 1}, {})"),    Message(400, Invalid)},
        {Valid, "POST /config/scheduledcharging/schedules", Monday("5"),                                             Message(400, Invalid)},
        {Valid, "POST /config/scheduledcharging/schedules", "[]", Failure("in Json::Value::getMemberNames(), value must be objectValue")},
        {Valid, "GET /config/scheduledcharging/schedules",  {}, Ok(Week)},
        {Gone,  "data/config/local_charging_schedules.json"},
        // a good one: other days go back to the default, segments come in order, of two with one start the first stays
        {Valid, "POST /config/scheduledcharging/schedules", R"({"Sunday": [{"StartTime": 0, "CurrentLimit": 0}]})",  NoContent()},
        {Valid, "GET /config/scheduledcharging/schedules",  {}, Ok(With(Week, R"({"Sunday": [{"StartTime": 0, "CurrentLimit": 0}]})"))},
        {Valid, "POST /config/scheduledcharging/schedules",
         Monday(R"({"StartTime": 86399, "CurrentLimit": 4294967295}, {"StartTime": 60, "CurrentLimit": 6000}, {"StartTime": 60, "CurrentLimit": 7000})"), NoContent()},
        {Valid, "GET /config/scheduledcharging/schedules",  {},
         Ok(With(Week, Monday(R"({"StartTime": 60, "CurrentLimit": 6000}, {"StartTime": 86399, "CurrentLimit": 4294967295})")))},
        {Stored, "local_charging_schedules",
         Monday(R"({"StartTime": 86399, "CurrentLimit": 4294967295}, {"StartTime": 60, "CurrentLimit": 6000}, {"StartTime": 60, "CurrentLimit": 7000})")},
        // days without segments
        {Valid, "POST /config/scheduledcharging/schedules", R"({"Monday": [], "Friday": 5})",                        NoContent()},
        {Valid, "GET /config/scheduledcharging/schedules",  {}, Ok(With(Week, R"({"Monday": [], "Friday": []})"))},
        {Valid, "POST /config/scheduledcharging/schedules", "{}",                                                    NoContent()},
        {Valid, "GET /config/scheduledcharging/schedules",  {}, Ok(Week)},
        {Stored, "local_charging_schedules", R"({"Monday": null, "Friday": null})"},
    }},
    {"SwitchOfTheSchedule", EMode::Dashboard, {{"run/synchronised", ""}}, {
        // the schedule is switched before the rest of the patch is looked at
        {Valid, "PATCH /config/user", R"({"ScheduledChargingEnable": true, "Unknown": 1})",
         BadRequest(), {R"(CurrentControl.SetLimit {"Limit":32000,"Source":12})"}},
        {Valid, "PATCH /config/user", R"({"ScheduledChargingEnable": false, "Unknown": 1})", BadRequest(), {R"(CurrentControl.ClearLimit {"Source":12})"}},
        {Valid, "PATCH /config/user", R"({"ScheduledChargingEnable": 1})",     BadRequest(), {R"(CurrentControl.SetLimit {"Limit":32000,"Source":12})"}},
        {Valid, "PATCH /config/user", R"({"ScheduledChargingEnable": null})",  BadRequest(), {R"(CurrentControl.ClearLimit {"Source":12})"}},
        {Valid, "PATCH /config/user", R"({"ScheduledChargingEnable": "yes"})", Failure("Value is not convertible to bool.")},
        {Stored, "settings", R"({"ScheduledChargingEnable": false})"},
        {Station, "POST /fault", R"({"Service": "CurrentControl", "Operation": "SetLimit", "Fail": true, "Times": 1})"},
        {Valid, "PATCH /config/user", R"({"ScheduledChargingEnable": true, "Unknown": 1})",
         BadRequest(), {R"(CurrentControl.SetLimit {"Limit":32000,"Source":12})"}},
        {Station, "POST /fault", R"({"Service": "CurrentControl", "Operation": "ClearLimit", "Refuse": true, "Times": 1})"},
        {Valid, "PATCH /config/user", R"({"ScheduledChargingEnable": false, "Unknown": 1})", BadRequest(), {R"(CurrentControl.ClearLimit {"Source":12})"}},
    }},
    {"NoSchedule", EMode::Dashboard, {{"settings", R"({"ScheduledChargingAllowed": false})"}, {"run/synchronised", ""}}, {
        {NoneOrWrong, "GET /config/scheduledcharging/schedules", {}, Unauthorized()},
        {Valid, "GET /config/scheduledcharging/schedules",  {}, Reason(404)},
        {Valid, "POST /config/scheduledcharging/schedules", "{}", Reason(404)},
        {Valid, "PATCH /config/user", R"({"ScheduledChargingEnable": true, "Unknown": 1})", BadRequest()},
    }},
    {BareStation, EMode::Dashboard, {}, {
        {Valid, "GET /config/scheduledcharging/schedules",  {}, Reason(404)},
        {Valid, "POST /config/scheduledcharging/schedules", "{}", Reason(404)},
    }},
    {Commissioning, EMode::Commissioning, {}, {
        {Anybody, "GET /config/scheduledcharging/schedules",  {}, Ok(Week)},
        {Anybody, "POST /config/scheduledcharging/schedules", Monday("{}"), Message(400, Invalid)},
        {Anybody, "POST /config/scheduledcharging/schedules", Monday(R"({"StartTime": 0, "CurrentLimit": 6000})"), NoContent()},
        {Anybody, "GET /config/scheduledcharging/schedules",  {}, Ok(With(Week, Monday(R"({"StartTime": 0, "CurrentLimit": 6000})")))},
    }},
    };
    // clang-format on
}

} // namespace Interface
