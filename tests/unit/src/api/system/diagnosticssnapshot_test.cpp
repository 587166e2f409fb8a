#include "src/api/system/diagnosticssnapshot.h"

#include "contracts/diagnostics/diagnosticsdata.h"
#include "platform/json/jsonutil.h"
#include "platform/rpc/communicationexception.h"

#include <json/value.h>

#include <algorithm>
#include <limits>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/mockservices.h"
#include "tests/support/capturedlog.h"

namespace
{

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StrictMock;
using testing::Throw;

constexpr int BopCurrent = 140;
constexpr int MeterCurrent = 52;
constexpr int MeterVoltage = 53;
constexpr int Setpoint = 31;
constexpr int LteStrength = 127;
constexpr int WlanStrength = 128;
constexpr int LimitingSource = 142;

const std::vector<int> Shown{
    BopCurrent, MeterCurrent, MeterVoltage, Setpoint, LteStrength, WlanStrength, LimitingSource};

template <class... Values>
ipc::MDiagnosticsSignal Signal(int identifier, const Values&... values)
{
    ipc::MDiagnosticsSignal signal;
    signal.set_identifier(static_cast<ipc::ESignalIdentifier>(identifier));
    (AppendData(values, signal), ...);
    return signal;
}

/// A service whose signals have no values but those that a test gives them.
class DiagnosticsSnapshot : public testing::Test
{
protected:
    DiagnosticsSnapshot()
    {
        ON_CALL(*service, GetSignal)
            .WillByDefault(
                [this](const ipc::MSignalIdentifier& identifier)
                {
                    asked.push_back(identifier.identifier());
                    const auto found = signals.find(identifier.identifier());
                    return found == signals.end() ? Signal(identifier.identifier()) : found->second;
                });
        EXPECT_CALL(*service, GetSignal).Times(testing::AnyNumber());
    }

    /// The snapshot's part for the signal that the service answers with when it is asked for @p identifier,
    /// and that is the only one with values.
    Json::Value PartFor(int identifier, const ipc::MDiagnosticsSignal& signal)
    {
        signals = {{identifier, signal}};
        const auto row = std::find(Shown.begin(), Shown.end(), identifier) - Shown.begin();
        return CDiagnosticsSnapshot(service)
            .ConstructDiagnosticsDataMessage()["Signals"][static_cast<Json::ArrayIndex>(row)];
    }

    /// The same, as compact text of values and units.
    std::string Show(int identifier, const ipc::MDiagnosticsSignal& signal)
    {
        const Json::Value part = PartFor(identifier, signal);
        return JsonUtil::WriteUnstyled(part["Value"]) + " " + JsonUtil::WriteUnstyled(part["Unit"]);
    }

    const std::shared_ptr<StrictMock<CMockDiagnostics>> service =
        std::make_shared<StrictMock<CMockDiagnostics>>();
    std::map<int, ipc::MDiagnosticsSignal> signals;
    std::vector<int> asked;
};

const std::string NotAvailable = R"(["N/A"] [""])";

// ------------------------------------------------------------------------------------------- the whole

TEST_F(DiagnosticsSnapshot, HasItsSevenSignalsInOrderWithTheirUnits)
{
    signals[BopCurrent] = Signal(BopCurrent, 1.5F, 2.0F, 0.0F);
    signals[MeterCurrent] = Signal(MeterCurrent, 16000, 15900, 0);
    signals[MeterVoltage] = Signal(MeterVoltage, 230100, 229900, 231000);
    signals[Setpoint] = Signal(Setpoint, 16.0F);
    signals[LteStrength] = Signal(LteStrength, -77);
    signals[WlanStrength] = Signal(WlanStrength, -50);
    signals[LimitingSource] = Signal(LimitingSource, std::string("ECurrentControlBop"));

    const Json::Value message = CDiagnosticsSnapshot(service).ConstructDiagnosticsDataMessage();

    EXPECT_EQ(JsonUtil::WriteUnstyled(message),
              R"({"Signals":[)"
              R"({"Identifier":140,"Unit":["A","A","A"],"Value":["1.50","2.00","0.00"]},)"
              R"({"Identifier":52,"Unit":["A","A","A"],"Value":["16.0","15.9","0.0"]},)"
              R"({"Identifier":53,"Unit":["V","V","V"],"Value":["230.1","229.9","231.0"]},)"
              R"({"Identifier":31,"Unit":["A"],"Value":["16.0"]},)"
              R"({"Identifier":127,"Unit":["dBm"],"Value":["-77"]},)"
              R"({"Identifier":128,"Unit":["dBm"],"Value":["-50"]},)"
              R"({"Identifier":142,"Unit":[""],"Value":["Dynamic load balancing"]}]})");
    EXPECT_EQ(asked, Shown);
}

TEST_F(DiagnosticsSnapshot, ShowsOnlyTheIdentifierOfASignalWithoutValues)
{
    const Json::Value message = CDiagnosticsSnapshot(service).ConstructDiagnosticsDataMessage();

    ASSERT_EQ(message["Signals"].size(), 7U);
    EXPECT_EQ(JsonUtil::WriteUnstyled(message["Signals"][0]), R"({"Identifier":140})");
    EXPECT_EQ(JsonUtil::WriteUnstyled(message["Signals"][6]), R"({"Identifier":142})");
}

TEST_F(DiagnosticsSnapshot, ReadsTheSignalsAnewEachTime)
{
    CDiagnosticsSnapshot snapshot(service);
    signals[WlanStrength] = Signal(WlanStrength, -50);
    EXPECT_EQ(snapshot.ConstructDiagnosticsDataMessage()["Signals"][5]["Value"][0], "-50");
    signals[WlanStrength] = Signal(WlanStrength, -60);
    EXPECT_EQ(snapshot.ConstructDiagnosticsDataMessage()["Signals"][5]["Value"][0], "-60");
}

TEST_F(DiagnosticsSnapshot, PassesOnThatTheServiceIsOutOfReach)
{
    EXPECT_CALL(*service, GetSignal).WillOnce(Throw(Rpc::CommunicationException("Diagnostics.GetSignal")));

    EXPECT_THROW(CDiagnosticsSnapshot(service).ConstructDiagnosticsDataMessage(),
                 Rpc::CommunicationException);
}

TEST_F(DiagnosticsSnapshot, LogsItsEntries)
{
    const CCapturedLog log;
    CDiagnosticsSnapshot(service).ConstructDiagnosticsDataMessage();

    const std::vector<std::string> entries = log.Messages(Log::ELogLevel::Trace);
    ASSERT_EQ(entries.size(), 9U);
    EXPECT_EQ(entries[0], "CDiagnosticsSnapshot::CDiagnosticsSnapshot");
    EXPECT_EQ(entries[1], "CDiagnosticsSnapshot::ConstructDiagnosticsDataMessage");
    EXPECT_EQ(entries[2], "CDiagnosticsSnapshot::ConstructSignalJson");
    EXPECT_EQ(entries[8], "CDiagnosticsSnapshot::ConstructSignalJson");
}

// ------------------------------------------------------------------------------------------- formats

TEST_F(DiagnosticsSnapshot, ShowsMilliamperesAsAmperes)
{
    EXPECT_EQ(Show(MeterCurrent, Signal(MeterCurrent, 16000)), R"(["16.0"] ["A"])");
}

TEST_F(DiagnosticsSnapshot, ShowsNumbersOfEveryKindWithFactorAndDigits)
{
    EXPECT_EQ(Show(BopCurrent, Signal(95, 7U)), R"(["7.00"] ["A"])");
    EXPECT_EQ(Show(BopCurrent, Signal(50, 5000000000LL)), R"(["5000000000.00"] ["A"])");
    EXPECT_EQ(Show(MeterCurrent, Signal(50, 5000000000LL)), R"(["5000000.0"] ["A"])");
    EXPECT_EQ(Show(MeterVoltage, Signal(31, 230149.0F)), R"(["230.1"] ["V"])");
    EXPECT_EQ(Show(WlanStrength, Signal(31, -50.6F)), R"(["-51"] ["dBm"])");
    EXPECT_EQ(Show(BopCurrent, Signal(95, 4000000000U)), R"(["4000000000.00"] ["A"])");
}

TEST_F(DiagnosticsSnapshot, ShowsBooleansAsWords)
{
    EXPECT_EQ(Show(BopCurrent, Signal(1001, true)), R"(["true"] ["A"])");
    EXPECT_EQ(Show(BopCurrent, Signal(56, false)), R"(["false"] ["A"])");
}

TEST_F(DiagnosticsSnapshot, ShowsTheLimitingSourceInWords)
{
    const std::map<std::string, std::string> words{
        {"ECurrentControlFixedCable", "Charging cable"},
        {"ECurrentControlThermal", "Overtemperature"},
        {"ECurrentControlConfigurationLimit", "Installation limit"},
        {"ECurrentControlBop", "Dynamic load balancing"},
        {"ECurrentControlLoadBal", "Group load balancing"},
        {"ECurrentControlUserCable", "Charging cable"},
        {"ECurrentControlOvercurrentProtection", "Overcurrent protection"},
        {"ECurrentControlHardwareLimit", "Hardware limitation"},
        {"ECurrentControlPowerFactor", "Power factor"},
        {"ECurrentControlOcppSmartCharging", "OCPP smart charging"},
        {"ECurrentControlVDEPhaseImbalance", "Phase imbalance"},
        {"ECurrentControlLocalScheduledCharging", "Local scheduled charging"},
        {"ECurrentControlSolarCharging", "Solar charging"},
        {"ECurrentControlUserLimitCurrent", "Current limiter"}};
    for (const auto& [source, word] : words)
    {
        EXPECT_EQ(Show(LimitingSource, Signal(LimitingSource, source)), R"([")" + word + R"("] [""])");
    }
}

TEST_F(DiagnosticsSnapshot, ShowsAnUnknownWordAsItIs)
{
    EXPECT_EQ(Show(LimitingSource, Signal(LimitingSource, std::string("ECurrentControlMoon"))),
              R"(["ECurrentControlMoon"] [""])");
    EXPECT_EQ(Show(LimitingSource, Signal(LimitingSource, std::string())), R"([""] [""])");
}

TEST_F(DiagnosticsSnapshot, ShowsNumbersThatAreNoneAsTheStreamPrintsThem)
{
    const float infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(
        Show(BopCurrent, Signal(BopCurrent, std::numeric_limits<float>::quiet_NaN(), infinity, -infinity)),
        R"(["nan","inf","-inf"] ["A","A","A"])");
    EXPECT_EQ(Show(Setpoint, Signal(Setpoint, std::numeric_limits<float>::quiet_NaN())), R"(["nan"] ["A"])");
}

TEST_F(DiagnosticsSnapshot, TellsOfAValueThatIsThereButEmpty)
{
    ipc::MDiagnosticsSignal signal = Signal(MeterCurrent, 16000, 0);
    signal.mutable_data(1)->clear_value();
    signal.add_data();

    EXPECT_EQ(Show(MeterCurrent, signal),
              R"(["16.0","Signal value not found","Signal value not found"] ["A","A","A"])");
}

// ------------------------------------------------------------------------------------------- initial values

TEST_F(DiagnosticsSnapshot, ShowsOneNotAvailableForAListThatIsWhollyInitial)
{
    EXPECT_EQ(Show(MeterCurrent, Signal(MeterCurrent, -1000, -1000, -1000)), NotAvailable);
    EXPECT_EQ(Show(MeterVoltage, Signal(MeterVoltage, -1000, -1000, -1000)), NotAvailable);
    EXPECT_EQ(Show(BopCurrent, Signal(BopCurrent, -1000.0F, -1000.0F, -1000.0F)), NotAvailable);
}

TEST_F(DiagnosticsSnapshot, ShowsAllOfAListThatIsPartlyInitial)
{
    EXPECT_EQ(Show(MeterCurrent, Signal(MeterCurrent, -1000, 16000, -1000)),
              R"(["-1.0","16.0","-1.0"] ["A","A","A"])");
    EXPECT_EQ(Show(BopCurrent, Signal(BopCurrent, -1000.0F, -1000.0F, 6.0F)),
              R"(["-1000.00","-1000.00","6.00"] ["A","A","A"])");
}

TEST_F(DiagnosticsSnapshot, ShowsAndWarnsOfAListOfAnotherLengthThanTheInitialOne)
{
    const CCapturedLog log(Log::ELogLevel::Warn);

    EXPECT_EQ(Show(MeterCurrent, Signal(MeterCurrent, -1000, -1000)), R"(["-1.0","-1.0"] ["A","A"])");
    EXPECT_THAT(log.Messages(Log::ELogLevel::Warn), ElementsAre("Diagnostics Signal Vector is empty?"));
}

TEST_F(DiagnosticsSnapshot, ShowsAndWarnsOfAListThatIsInitiallyEmpty)
{
    const CCapturedLog log(Log::ELogLevel::Warn);

    EXPECT_EQ(Show(BopCurrent, Signal(145, std::string("follower"))), R"(["follower"] ["A"])");
    EXPECT_EQ(Show(BopCurrent, Signal(165, 0U, 0U)), R"(["0.00","0.00"] ["A","A"])");
    EXPECT_THAT(log.Messages(Log::ELogLevel::Warn),
                ElementsAre("Diagnostics Signal Vector is empty?", "Diagnostics Signal Vector is empty?"));
}

TEST_F(DiagnosticsSnapshot, ShowsNotAvailableForTheInitialValueOfEveryKind)
{
    const CCapturedLog log(Log::ELogLevel::Warn);

    EXPECT_EQ(Show(BopCurrent, Signal(1001, false)), NotAvailable);
    EXPECT_EQ(Show(BopCurrent, Signal(56, true)), NotAvailable);
    EXPECT_EQ(Show(WlanStrength, Signal(WlanStrength, -1000)), NotAvailable);
    EXPECT_EQ(Show(BopCurrent, Signal(162, 0U)), NotAvailable);
    EXPECT_EQ(Show(BopCurrent, Signal(50, -1000LL)), NotAvailable);
    EXPECT_EQ(Show(Setpoint, Signal(Setpoint, -1000.0F)), NotAvailable);
    EXPECT_EQ(Show(LimitingSource, Signal(LimitingSource, std::string("Unknown"))), NotAvailable);
    EXPECT_EQ(Show(BopCurrent, Signal(160, -1000000)), NotAvailable);
    EXPECT_THAT(log.Messages(Log::ELogLevel::Warn), IsEmpty());
}

TEST_F(DiagnosticsSnapshot, TakesAFloatForInitialOnlyWithinItsTolerance)
{
    EXPECT_EQ(Show(Setpoint, Signal(144, 1.0e-07F)), NotAvailable);
    EXPECT_EQ(Show(Setpoint, Signal(144, -1.0e-07F)), NotAvailable);
    EXPECT_EQ(Show(Setpoint, Signal(144, 1.1920929e-07F)), R"(["0.0"] ["A"])");
    EXPECT_EQ(Show(Setpoint, Signal(Setpoint, -999.9999F)), R"(["-1000.0"] ["A"])");
}

TEST_F(DiagnosticsSnapshot, LooksAtTheFirstValueOnlyWhereTheInitialOneIsSingle)
{
    EXPECT_EQ(Show(WlanStrength, Signal(WlanStrength, -1000, -50)), NotAvailable);
    EXPECT_EQ(Show(WlanStrength, Signal(WlanStrength, -50, -1000)), R"(["-50","-1000"] ["dBm","dBm"])");
}

TEST_F(DiagnosticsSnapshot, WarnsOfAValueOfAnotherKindAndTakesItForInitial)
{
    const CCapturedLog log(Log::ELogLevel::Warn);
    const std::string warning = "initial value type comparison invalid";

    EXPECT_EQ(Show(WlanStrength, Signal(WlanStrength, -50.0F)), NotAvailable);
    EXPECT_EQ(Show(WlanStrength, Signal(WlanStrength, -50LL)), NotAvailable);
    EXPECT_EQ(Show(WlanStrength, Signal(WlanStrength, 50U)), NotAvailable);
    EXPECT_EQ(Show(Setpoint, Signal(Setpoint, 16)), NotAvailable);
    EXPECT_EQ(Show(LimitingSource, Signal(LimitingSource, true)), NotAvailable);
    EXPECT_EQ(Show(BopCurrent, Signal(1001, 1)), NotAvailable);
    EXPECT_EQ(Show(BopCurrent, Signal(50, 16)), NotAvailable);
    EXPECT_EQ(Show(BopCurrent, Signal(162, std::string("16"))), NotAvailable);
    EXPECT_THAT(log.Messages(Log::ELogLevel::Warn), AllOf(SizeIs(8), Each(warning)));
}

TEST_F(DiagnosticsSnapshot, TakesAListWithElementsOfAnotherKindForInitial)
{
    const CCapturedLog log(Log::ELogLevel::Warn);

    EXPECT_EQ(Show(MeterCurrent, Signal(MeterCurrent, -1000, 16.0F, -1000)), NotAvailable);
    EXPECT_THAT(log.Messages(Log::ELogLevel::Warn), ElementsAre("initial value type comparison invalid"));
}

TEST_F(DiagnosticsSnapshot, WarnsOfAValueOfNoKindAndTakesItForInitial)
{
    const CCapturedLog log(Log::ELogLevel::Warn);
    ipc::MDiagnosticsSignal signal = Signal(WlanStrength);
    signal.add_data();

    EXPECT_EQ(Show(WlanStrength, signal), NotAvailable);
    EXPECT_THAT(log.Messages(Log::ELogLevel::Warn), ElementsAre("Diagnostics data type not found"));
}

// ------------------------------------------------------------------------------------------- identifiers

TEST_F(DiagnosticsSnapshot, ShowsTheIdentifierThatTheServiceAnswersWith)
{
    EXPECT_EQ(PartFor(BopCurrent, Signal(162, 16U))["Identifier"], 162);
}

TEST_F(DiagnosticsSnapshot, ThrowsForAnIdentifierThatTheCatalogueDoesNotHave)
{
    for (const int identifier : {0, 2, -1, 20999, std::numeric_limits<int>::max()})
    {
        try
        {
            Show(BopCurrent, Signal(identifier, 1));
            ADD_FAILURE() << identifier;
        }
        catch (const std::out_of_range& error)
        {
            EXPECT_STREQ(error.what(), "map::at");
        }
    }
}

TEST_F(DiagnosticsSnapshot, ShowsAnUnknownIdentifierWithoutValues)
{
    EXPECT_EQ(JsonUtil::WriteUnstyled(PartFor(BopCurrent, Signal(2))), R"({"Identifier":2})");
}

} // namespace
