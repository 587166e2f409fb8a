#include "contracts/diagnostics/diagnosticssignal.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/mockservices.h"

using testing::_;
using testing::DoAll;
using testing::ElementsAre;
using testing::Return;
using testing::SaveArg;

namespace
{

constexpr auto Identifier = ipc::ESignalIdentifierReconfigurationOfParameter;

using Data = ipc::MDiagnosticsData;

template <class T>
std::vector<Data> DataOf(const T& value)
{
    ipc::MDiagnosticsSignal signal;
    AppendData(value, signal);
    return {signal.data().begin(), signal.data().end()};
}

MATCHER_P(IsBool, value, "")
{
    return arg.value_case() == Data::kBoolValue && arg.bool_value() == value;
}
MATCHER_P(IsInt, value, "")
{
    return arg.value_case() == Data::kIntValue && arg.int_value() == value;
}
MATCHER_P(IsUint, value, "")
{
    return arg.value_case() == Data::kUintValue && arg.uint_value() == value;
}
MATCHER_P(IsInt64, value, "")
{
    return arg.value_case() == Data::kInt64Value && arg.int64_value() == value;
}
MATCHER_P(IsFloat, value, "")
{
    return arg.value_case() == Data::kFloatValue &&
           testing::Value(arg.float_value(), testing::FloatEq(value));
}
MATCHER_P(IsString, value, "")
{
    return arg.value_case() == Data::kStringValue && arg.string_value() == value;
}

class DiagnosticsSignal : public testing::Test
{
protected:
    ~DiagnosticsSignal() override { CDiagnosticsCommClient::Shutdown(); }

    /// Connects the signals to a service that takes one report.
    void ExpectOneReport()
    {
        EXPECT_CALL(*service, SendSignal(_)).WillOnce(DoAll(SaveArg<0>(&report), Return(ipc::MResult())));
        CDiagnosticsCommClient::Initialize(service);
    }

    std::vector<Data> ReportedData() const
    {
        return {report.signal().data().begin(), report.signal().data().end()};
    }

    const CSignalDefinition<std::string> text{Identifier, "A text", "initially", ""};
    const CSignalDefinition<std::vector<int>> numbers{Identifier, "Numbers", {7, 8}, "A"};
    const std::shared_ptr<CMockDiagnosticsReport> service = std::make_shared<CMockDiagnosticsReport>();
    ipc::MSignalReport report;
};

} // namespace

TEST(DiagnosticsData, EachTypeHasItsKind)
{
    EXPECT_THAT(DataOf(true), ElementsAre(IsBool(true)));
    EXPECT_THAT(DataOf(-5), ElementsAre(IsInt(-5)));
    EXPECT_THAT(DataOf(4000000000U), ElementsAre(IsUint(4000000000U)));
    EXPECT_THAT(DataOf(-5000000000LL), ElementsAre(IsInt64(-5000000000LL)));
    EXPECT_THAT(DataOf(1.5F), ElementsAre(IsFloat(1.5F)));
    EXPECT_THAT(DataOf(std::string("on")), ElementsAre(IsString("on")));
}

TEST(DiagnosticsData, ValueThatIsZeroIsStillData)
{
    EXPECT_THAT(DataOf(false), ElementsAre(IsBool(false)));
    EXPECT_THAT(DataOf(0), ElementsAre(IsInt(0)));
    EXPECT_THAT(DataOf(std::string()), ElementsAre(IsString("")));
}

TEST(DiagnosticsData, VectorGivesOneDataForEachElementInOrder)
{
    EXPECT_THAT(DataOf(std::vector<bool>{true, false}), ElementsAre(IsBool(true), IsBool(false)));
    EXPECT_THAT(DataOf(std::vector<int>{1, -2}), ElementsAre(IsInt(1), IsInt(-2)));
    EXPECT_THAT(DataOf(std::vector<unsigned int>{3, 4}), ElementsAre(IsUint(3U), IsUint(4U)));
    EXPECT_THAT(DataOf(std::vector<long long>{5, 6}), ElementsAre(IsInt64(5), IsInt64(6)));
    EXPECT_THAT(DataOf(std::vector<float>{0.5F, 2.5F}), ElementsAre(IsFloat(0.5F), IsFloat(2.5F)));
    EXPECT_THAT(DataOf(std::vector<std::string>{"a", "b"}), ElementsAre(IsString("a"), IsString("b")));
    EXPECT_THAT(DataOf(std::vector<int>{}), ElementsAre());
}

TEST(DiagnosticsData, IsAppendedToWhatTheSignalHas)
{
    ipc::MDiagnosticsSignal signal;

    AppendData(1, signal);
    AppendData(true, signal);

    EXPECT_THAT(signal.data(), ElementsAre(IsInt(1), IsBool(true)));
}

TEST_F(DiagnosticsSignal, IsSentWithItsIdentifierAndTheValueThatWasSet)
{
    ExpectOneReport();
    CDiagnosticsSignal<std::string> signal(&text);

    signal.SetValue("changed");
    signal.Send();

    EXPECT_EQ(report.signal().identifier(), Identifier);
    EXPECT_THAT(ReportedData(), ElementsAre(IsString("changed")));
}

TEST_F(DiagnosticsSignal, IsSentWithTheValueThatIsGivenAlong)
{
    ExpectOneReport();
    CDiagnosticsSignal<std::string> signal(&text);
    signal.SetValue("before");

    signal.Send("changed");

    EXPECT_EQ(report.signal().identifier(), Identifier);
    EXPECT_THAT(ReportedData(), ElementsAre(IsString("changed")));
}

TEST_F(DiagnosticsSignal, IsSentWithTheInitialValueWhenNothingWasSet)
{
    ExpectOneReport();

    CDiagnosticsSignal<std::string>(&text).Send();

    EXPECT_THAT(ReportedData(), ElementsAre(IsString("initially")));
}

TEST_F(DiagnosticsSignal, OfAVectorIsSentWithAllItsElements)
{
    ExpectOneReport();

    CDiagnosticsSignal<std::vector<int>>(&numbers).Send();

    EXPECT_THAT(ReportedData(), ElementsAre(IsInt(7), IsInt(8)));
}

TEST_F(DiagnosticsSignal, IsRefusedBeforeInitialization)
{
    EXPECT_THROW(CDiagnosticsSignal<std::string>(&text).Send("lost"), std::logic_error);
}

TEST_F(DiagnosticsSignal, IsRefusedAfterShutdown)
{
    EXPECT_CALL(*service, SendSignal(_)).Times(0);
    CDiagnosticsCommClient::Initialize(service);

    CDiagnosticsCommClient::Shutdown();

    EXPECT_THROW(CDiagnosticsSignal<std::string>(&text).Send("lost"), std::logic_error);
}

TEST_F(DiagnosticsSignal, FailureOfTheServiceReachesTheSender)
{
    EXPECT_CALL(*service, SendSignal(_)).WillOnce(testing::Throw(std::runtime_error("out of reach")));
    CDiagnosticsCommClient::Initialize(service);

    EXPECT_THROW(CDiagnosticsSignal<std::string>(&text).Send("lost"), std::runtime_error);
}
