#include "src/api/configapplicator.h"
#include "src/api/configtable.h"
#include "src/api/jsonbody.h"

#include "platform/json/jsonutil.h"

#include <json/value.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fakerequest.h"
#include "tests/fakes/mockservices.h"
#include "tests/support/capturedlog.h"
#include "tests/support/configfiles.h"
#include "tests/support/requestfailure.h"

// What each table of settings takes and refuses, row by row.

namespace
{

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::NiceMock;
using testing::Return;

enum class EType
{
    Boolean,
    Integer,
    String
};

struct SRow
{
    std::string key;
    EType type;
    bool writable;
};

struct STable
{
    std::string file;
    std::vector<SRow> rows;
    std::function<std::unique_ptr<IConfigApplicator>(std::shared_ptr<TarnConfig>)> makeApplicator;
};

void PrintTo(const STable& table, std::ostream* stream)
{
    *stream << table.file;
}

const STable UserTable{"settings",
                       {
                           {"HmiLedIntensityMin", EType::Integer, true},
                           {"HmiLedIntensityMax", EType::Integer, true},
                           {"HmiLedIntensityManual", EType::Integer, true},
                           {"HmiLedIntensityMode", EType::String, true},
                           {"HmiBuzzerVolume", EType::Integer, true},
                           {"SessionManagerChargeWithoutAuth", EType::Boolean, true},
                           {"CurrentCtrlFixedChargeCurrentLimit", EType::Integer, true},
                           {"SeccOcppActive", EType::Boolean, true},
                           {"SeccOcppUri", EType::String, false},
                           {"GroundMonitoring", EType::Boolean, true},
                           {"ConnectedPhases", EType::Integer, true},
                           {"PhaseRotation", EType::String, true},
                           {"CurrentCtrlBopEnable", EType::Boolean, true},
                           {"CurrentCtrlBopFuseRating", EType::Integer, true},
                           {"CurrentCtrlBopCtType", EType::String, true},
                           {"GroupLoadBalancingEnable", EType::Boolean, true},
                           {"GroupLoadBalancingRole", EType::String, true},
                           {"GroupLoadBalancingMaxCurrent", EType::Integer, true},
                           {"GroupLoadBalancingFallbackCurrent", EType::Integer, true},
                           {"TimeZone", EType::String, true},
                           {"BopSource", EType::String, true},
                           {"BopSourceParameters", EType::String, true},
                           {"BopHomeWizardAddress", EType::String, true},
                           {"BopFallbackCurrent", EType::Integer, true},
                           {"LocalSmartChargingAllowed", EType::Boolean, false},
                           {"UserDefinedChargeLimitCurrentAllowed", EType::Boolean, false},
                           {"UserDefinedChargeLimitCurrent", EType::Integer, true},
                           {"ScheduledChargingAllowed", EType::Boolean, false},
                           {"ScheduledChargingEnable", EType::Boolean, true},
                           {"SolarChargingAllowed", EType::Boolean, false},
                           {"SolarChargingEnable", EType::Boolean, true},
                           {"SolarChargingSource", EType::String, true},
                           {"SolarChargingSourceParameters", EType::String, true},
                           {"SolarChargingMode", EType::String, true},
                           {"PredefinedCpoName", EType::String, false},
                       },
                       [](std::shared_ptr<TarnConfig> config)
                       { return std::make_unique<CSettingsConfigApplicator>(std::move(config), nullptr); }};

const STable NetworkTable{"network",
                          {
                              {"NetMApEnable", EType::Boolean, true},
                              {"NetMEthEnable", EType::Boolean, true},
                              {"NetMWlanEnable", EType::Boolean, true},
                              {"NetMLteEnable", EType::Boolean, true},
                              {"NetMLteNbIotEnable", EType::Boolean, true},
                              {"NetMPlcEnable", EType::Boolean, true},
                              {"NetMEthDhcpEnable", EType::Boolean, true},
                              {"NetMWlanDhcpEnable", EType::Boolean, true},
                              {"NetMDnsAuto", EType::Boolean, true},
                              {"NetMEthIpv4Addr", EType::String, true},
                              {"NetMEthIpv4Netmask", EType::String, true},
                              {"NetMWlanIpv4Addr", EType::String, true},
                              {"NetMWlanIpv4Netmask", EType::String, true},
                              {"NetMEthGatewayAddr", EType::String, true},
                              {"NetMPreferredDnsServerAddr", EType::String, true},
                              {"NetMAlternativeDnsServerAddr", EType::String, true},
                              {"NetMSsid", EType::String, true},
                          },
                          [](std::shared_ptr<TarnConfig> config)
                          {
                              auto netM = std::make_shared<NiceMock<CMockNetM>>();
                              ON_CALL(*netM, ValidateConfig).WillByDefault(Return(true));
                              return std::make_unique<CNetworkConfigApplicator>(std::move(config), netM);
                          }};

const STable SecretsTable{"secrets",
                          {{"NetMLteApn", EType::String, false}},
                          [](std::shared_ptr<TarnConfig> config)
                          { return std::make_unique<CNetworkSecretsApplicator>(std::move(config)); }};

/// Values of each type that a setting can be of, as JSON text.
const std::map<EType, std::vector<std::string>> ValuesOfType{
    {EType::Boolean, {"false", "true"}},
    {EType::Integer, {"1", "0", "-1", "2147483647", "-2147483648"}},
    {EType::String, {R"("x")", R"("")", R"("1")", R"("true")"}},
};

/// Values of no such type, as JSON text.
const std::vector<std::string> ValuesOfOtherTypes{"null",
                                                  "1.5",
                                                  "-0.5",
                                                  "2147483648",
                                                  "-2147483649",
                                                  "9223372036854775808",
                                                  "18446744073709551616",
                                                  "1e300",
                                                  "[]",
                                                  "[1]",
                                                  "{}",
                                                  R"({"a":1})"};

const std::string BadRequest = "400 Bad Request";

Json::Value Parse(const std::string& body)
{
    return ParseJsonBody(CFakeRequest(body));
}

std::string Member(const std::string& key, const std::string& value)
{
    return "\"" + key + "\":" + value;
}

/// The value that all settings have at first; no test writes it.
std::string InitialValue(EType type)
{
    switch (type)
    {
    case EType::Boolean:
        return "\"initial\"";
    case EType::Integer:
        return "7";
    case EType::String:
        return R"("initial text")";
    }
    return "";
}

class ConfigTables : public testing::TestWithParam<STable>
{
protected:
    static const std::vector<SRow>& Rows() { return GetParam().rows; }

    static std::vector<std::string> KeysInOrder()
    {
        std::vector<std::string> keys;
        for (const SRow& row : Rows())
        {
            keys.push_back(row.key);
        }
        std::sort(keys.begin(), keys.end());
        return keys;
    }

    /// All settings with their initial values, in key order, but for one.
    static std::string InitialValues(const std::string& omittedKey = "")
    {
        std::map<std::string, std::string> values;
        for (const SRow& row : Rows())
        {
            values[row.key] = InitialValue(row.type);
        }
        values.erase(omittedKey);
        std::string text;
        for (const auto& [key, value] : values)
        {
            text += (text.empty() ? "{" : ",") + Member(key, value);
        }
        return text.empty() ? "{}" : text + "}";
    }

    /// Makes an applicator over a file.
    void Start(const std::string& json)
    {
        files.Write(GetParam().file, json);
        applicator = GetParam().makeApplicator(files.Open(GetParam().file));
    }

    std::string Get() const { return JsonUtil::WriteUnstyled(applicator->GetConfig()); }

    std::string PatchFailure(const std::string& body)
    {
        return FailureOf([&] { applicator->PatchConfig(Parse(body)); });
    }

    /// Has a patch of one setting refused with the warning, and nothing written.
    void ExpectRefused(const std::string& key, const std::string& value, const std::string& warning)
    {
        SCOPED_TRACE(Member(key, value));
        const std::string before = files.Stored(GetParam().file);
        const CCapturedLog log(Log::ELogLevel::Info);
        EXPECT_EQ(PatchFailure("{" + Member(key, value) + "}"), BadRequest);
        EXPECT_THAT(log.Messages(), ElementsAre(CCapturedLog::SLine{Log::ELogLevel::Warn, warning}));
        EXPECT_EQ(files.Stored(GetParam().file), before);
    }

    static std::string Unknown(const std::string& key)
    {
        return "Attempted to write setting '" + key + "' but it does not exist in the config file.";
    }

    static std::string NotWritable(const std::string& key)
    {
        return "Attempted to write setting '" + key + "' but it is not writable from the web interface.";
    }

    static std::string WrongType(const std::string& key)
    {
        return "Attempted to write setting '" + key + "' but the value is not of the correct type.";
    }

    static std::string Missing(const std::string& key)
    {
        return "Could not populate response with setting '" + key +
               "' because it does not exist in the config file";
    }

    const CConfigFiles files;
    std::unique_ptr<IConfigApplicator> applicator;
};

/// The tables that can be written.
class WritableConfigTables : public ConfigTables
{
};

std::string NameOf(const testing::TestParamInfo<STable>& info)
{
    return info.param.file;
}

} // namespace

INSTANTIATE_TEST_SUITE_P(All, ConfigTables, testing::Values(UserTable, NetworkTable, SecretsTable), NameOf);
INSTANTIATE_TEST_SUITE_P(All, WritableConfigTables, testing::Values(UserTable, NetworkTable), NameOf);

// ----------------------------------------------------------------------------------------------- Reading

TEST_P(ConfigTables, AllKeysOfTheTableAndNoOthersAreRead)
{
    std::string json = InitialValues();
    json.pop_back();
    Start(json +
          R"(,"InstallationComplete":true,"WebIfPukCode":"puk","AuthorizationKey":"key","A":1,"zz":2})");
    const CCapturedLog log(Log::ELogLevel::Info);

    EXPECT_EQ(Get(), InitialValues());
    EXPECT_THAT(log.Messages(), IsEmpty());
}

TEST_P(ConfigTables, ValuesAreReadAsTheyAreWhateverTheirType)
{
    for (const SRow& row : Rows())
    {
        for (const std::string value : {"null", "1.5", "[1,{}]", R"({"a":1})", "true", "7", "\"text\""})
        {
            Start("{" + Member(row.key, value) + "}");
            EXPECT_EQ(Get(), "{" + Member(row.key, value) + "}");
        }
    }
}

TEST_P(ConfigTables, EachKeyThatTheFileLacksIsLeftOutWithAWarning)
{
    for (const SRow& row : Rows())
    {
        Start(InitialValues(row.key));
        const CCapturedLog log(Log::ELogLevel::Info);

        const Json::Value values = applicator->GetConfig();

        EXPECT_EQ(values.isNull() ? "{}" : JsonUtil::WriteUnstyled(values), InitialValues(row.key));
        EXPECT_THAT(log.Messages(), ElementsAre(CCapturedLog::SLine{Log::ELogLevel::Warn, Missing(row.key)}));
    }
}

TEST_P(ConfigTables, FileWithoutAnyKeyOfTheTableIsReadAsNullWithAWarningForEach)
{
    Start(R"({"InstallationComplete":true})");
    const CCapturedLog log(Log::ELogLevel::Info);

    EXPECT_EQ(Get(), "null");

    std::vector<std::string> warnings;
    for (const std::string& key : KeysInOrder())
    {
        warnings.push_back(Missing(key));
    }
    EXPECT_THAT(log.Messages(Log::ELogLevel::Warn), ElementsAreArray(warnings));
}

// ----------------------------------------------------------------------------------------------- Writing

TEST_P(WritableConfigTables, EachWritableKeyTakesEachValueOfItsType)
{
    Start(InitialValues());
    for (const SRow& row : Rows())
    {
        for (const std::string& value : ValuesOfType.at(row.type))
        {
            if (row.writable)
            {
                EXPECT_EQ(PatchFailure("{" + Member(row.key, value) + "}"), "") << row.key << value;
                EXPECT_EQ(files.Stored(GetParam().file, row.key), value) << row.key;
                EXPECT_EQ(JsonUtil::WriteUnstyled(applicator->GetConfig()[row.key]), value) << row.key;
            }
        }
    }
}

TEST_P(WritableConfigTables, EachWritableKeyIsWrittenWhenTheFileLacksIt)
{
    Start("{}");
    for (const SRow& row : Rows())
    {
        const std::string& value = ValuesOfType.at(row.type).front();
        if (row.writable)
        {
            EXPECT_EQ(PatchFailure("{" + Member(row.key, value) + "}"), "") << row.key;
            EXPECT_EQ(files.Stored(GetParam().file, row.key), value) << row.key;
        }
    }
}

TEST_P(WritableConfigTables, EachWritableKeyRefusesEachOtherType)
{
    Start(InitialValues());
    for (const SRow& row : Rows())
    {
        std::vector<std::string> values = ValuesOfOtherTypes;
        for (const auto& [type, valuesOfType] : ValuesOfType)
        {
            if (type != row.type)
            {
                values.insert(values.end(), valuesOfType.begin(), valuesOfType.end());
            }
        }
        for (const std::string& value : values)
        {
            if (row.writable)
            {
                ExpectRefused(row.key, value, WrongType(row.key));
            }
        }
    }
}

TEST_P(WritableConfigTables, EachReadOnlyKeyIsRefusedWhateverTheValue)
{
    Start(InitialValues());
    for (const SRow& row : Rows())
    {
        std::vector<std::string> values = ValuesOfOtherTypes;
        for (const auto& [type, valuesOfType] : ValuesOfType)
        {
            values.insert(values.end(), valuesOfType.begin(), valuesOfType.end());
        }
        for (const std::string& value : values)
        {
            if (!row.writable)
            {
                ExpectRefused(row.key, value, NotWritable(row.key));
            }
        }
    }
}

TEST_P(WritableConfigTables, AllWritableKeysCanBePatchedAtOnce)
{
    Start(InitialValues());
    std::string body;
    for (const SRow& row : Rows())
    {
        if (row.writable)
        {
            body += (body.empty() ? "{" : ",") + Member(row.key, ValuesOfType.at(row.type).front());
        }
    }

    EXPECT_EQ(PatchFailure(body + "}"), "");

    for (const SRow& row : Rows())
    {
        EXPECT_EQ(files.Stored(GetParam().file, row.key),
                  row.writable ? ValuesOfType.at(row.type).front() : InitialValue(row.type));
    }
}

TEST_P(WritableConfigTables, KeysOutsideTheTableAreRefusedWhateverTheValue)
{
    Start(InitialValues());
    for (const SRow& row : Rows())
    {
        const std::string spelt = row.key + " ";
        ExpectRefused(spelt, ValuesOfType.at(row.type).front(), Unknown(spelt));
    }
    for (const std::string key : {"",
                                  " ",
                                  "A",
                                  "zz",
                                  "InstallationComplete",
                                  "NetMLteApn",
                                  "NetMLteApnPass",
                                  "WebIfManagementPassword",
                                  "WebIfPukCode",
                                  "WebSessions",
                                  "AuthorizationKey",
                                  "WlanStaPassword",
                                  "hmiBuzzerVolume",
                                  "NETMDNSAUTO"})
    {
        for (const std::string value : {"true", "1", "\"text\"", "null", "{}"})
        {
            ExpectRefused(key, value, Unknown(key));
        }
    }
}

TEST_P(WritableConfigTables, KeysOfTheOtherTableAreUnknown)
{
    Start(InitialValues());
    const STable& other = GetParam().file == UserTable.file ? NetworkTable : UserTable;
    for (const SRow& row : other.rows)
    {
        ExpectRefused(row.key, ValuesOfType.at(row.type).front(), Unknown(row.key));
    }
}

TEST_P(WritableConfigTables, KeysWithAZeroByteAreUnknown)
{
    Start(InitialValues());
    for (const SRow& row : Rows())
    {
        Json::Value patch(Json::objectValue);
        const std::string key = row.key + std::string("\0x", 2);
        patch[key] = Parse(ValuesOfType.at(row.type).front());

        EXPECT_EQ(FailureOf([&] { applicator->PatchConfig(patch); }), BadRequest) << row.key;
        EXPECT_EQ(files.Stored(GetParam().file), InitialValues());
    }
}

TEST_P(WritableConfigTables, OneBadMemberRefusesTheWholePatchWhereverItStands)
{
    Start(InitialValues());
    for (const std::string& badMember : {Member("A", "1"), Member("NetMLteApn", "1"), Member("zz", "1")})
    {
        std::string body = "{" + badMember;
        for (const SRow& row : Rows())
        {
            body += row.writable ? "," + Member(row.key, ValuesOfType.at(row.type).front()) : "";
        }
        EXPECT_EQ(PatchFailure(body + "}"), BadRequest) << badMember;
        EXPECT_EQ(files.Stored(GetParam().file), InitialValues());
    }
}

TEST_P(WritableConfigTables, FirstBadMemberInKeyOrderIsTheOneThatIsLogged)
{
    Start(InitialValues());
    const CCapturedLog log(Log::ELogLevel::Info);

    EXPECT_EQ(PatchFailure(R"({"zz":1,"A":1,"B":2})"), BadRequest);

    EXPECT_THAT(log.Messages(), ElementsAre(CCapturedLog::SLine{Log::ELogLevel::Warn, Unknown("A")}));
}

TEST_P(WritableConfigTables, TenThousandUnknownKeysAreRefused)
{
    Start(InitialValues());
    Json::Value patch(Json::objectValue);
    for (int i = 0; i < 10000; ++i)
    {
        patch["key" + std::to_string(i)] = i;
    }

    EXPECT_EQ(FailureOf([&] { applicator->PatchConfig(patch); }), BadRequest);
    EXPECT_EQ(files.Stored(GetParam().file), InitialValues());
}

TEST_P(WritableConfigTables, TextOfAMegabyteIsTakenForAString)
{
    Start(InitialValues());
    const std::string huge = "\"" + std::string(1 << 20, 'x') + "\"";
    for (const std::string key : {"TimeZone", "NetMSsid"})
    {
        const bool isOwn = (key == "TimeZone") == (GetParam().file == UserTable.file);
        EXPECT_EQ(PatchFailure("{" + Member(key, huge) + "}"), isOwn ? "" : BadRequest);
        EXPECT_EQ(files.Stored(GetParam().file, key), isOwn ? huge : "");
    }
}

TEST_P(WritableConfigTables, PatchThatIsNoObjectFailsOrChangesNothing)
{
    Start(InitialValues());
    for (const std::string body : {"[]", "[1]", "\"text\"", "1", "1.5", "true"})
    {
        EXPECT_NE(PatchFailure(body), "") << body;
    }
    EXPECT_EQ(PatchFailure("null"), "");
    EXPECT_EQ(PatchFailure("{}"), "");
    EXPECT_EQ(files.Stored(GetParam().file), InitialValues());
}

// ---------------------------------------------------------------------------------------------- Integers

TEST(ConfigTablesOfIntegers, WholeNumberWrittenAsARealIsAnInteger)
{
    const CConfigFiles files;
    CSettingsConfigApplicator applicator(files.Open("settings"), nullptr);

    for (const auto& [written, value] :
         std::map<std::string, int>{{"2.0", 2}, {"-2.0", -2}, {"1e3", 1000}, {"2147483647.0", 2147483647}})
    {
        applicator.PatchConfig(Parse("{" + Member("HmiBuzzerVolume", written) + "}"));
        EXPECT_EQ(files.Open("settings")->GetInt("HmiBuzzerVolume", -7), value) << written;
    }
}

TEST(ConfigTablesOfIntegers, FractionIsNone)
{
    const CConfigFiles files;
    CSettingsConfigApplicator applicator(files.Open("settings"), nullptr);

    EXPECT_EQ(FailureOf([&] { applicator.PatchConfig(Parse(R"({"HmiBuzzerVolume": 1.5})")); }), BadRequest);
    EXPECT_EQ(files.Stored("settings"), "");
}

TEST(ConfigTablesOfIntegers, LastOfDuplicateMembersHolds)
{
    const CConfigFiles files;
    CSettingsConfigApplicator applicator(files.Open("settings"), nullptr);

    applicator.PatchConfig(Parse(R"({"HmiBuzzerVolume": "loud", "HmiBuzzerVolume": 4})"));

    EXPECT_EQ(files.Stored("settings"), R"({"HmiBuzzerVolume":4})");
}

TEST(NetworkSecretsTable, IsOneReadOnlyText)
{
    ASSERT_EQ(NetworkSecretsTable.end() - NetworkSecretsTable.begin(), 1);
    const SConfigKeyRule& rule = *NetworkSecretsTable.begin();
    EXPECT_EQ(rule.key, "NetMLteApn");
    EXPECT_FALSE(rule.writable);
    EXPECT_TRUE((Json::Value("text").*rule.isValidType)());
    EXPECT_FALSE((Json::Value(1).*rule.isValidType)());
}
