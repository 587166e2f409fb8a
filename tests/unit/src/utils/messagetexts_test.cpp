#include "src/utils/messagetexts.h"

#include <stdlib.h>
#include <time.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace
{

using std::chrono::nanoseconds;
using std::chrono::system_clock;

ipc::MDiagnosticsData Data(const std::function<void(ipc::MDiagnosticsData&)>& set)
{
    ipc::MDiagnosticsData data;
    set(data);
    return data;
}

ipc::MTimestamp Timestamp(std::int64_t seconds, std::int32_t microseconds)
{
    ipc::MTimestamp timestamp;
    timestamp.set_seconds(seconds);
    timestamp.set_microseconds(microseconds);
    return timestamp;
}

template <class T>
std::string Printed(const T& value)
{
    std::ostringstream stream;
    stream << value;
    return stream.str();
}

nanoseconds SinceEpoch(const ipc::MTimestamp& timestamp)
{
    return ToSystemClock(timestamp).time_since_epoch();
}

ipc::MTimestamp AfterEpoch(nanoseconds time)
{
    return ToTimestamp(system_clock::time_point(time));
}

/// The process's time zone, for as long as the object lives.
class CTimeZone
{
public:
    explicit CTimeZone(const char* zone)
    {
        const char* const present = getenv("TZ");
        if (present != nullptr)
        {
            before = present;
        }
        Set(zone);
    }
    ~CTimeZone() { Set(before ? before->c_str() : nullptr); }
    CTimeZone(const CTimeZone&) = delete;
    CTimeZone& operator=(const CTimeZone&) = delete;
    CTimeZone(CTimeZone&&) = delete;
    CTimeZone& operator=(CTimeZone&&) = delete;

private:
    static void Set(const char* zone)
    {
        zone == nullptr ? unsetenv("TZ") : setenv("TZ", zone, 1);
        tzset();
    }

    std::optional<std::string> before;
};

} // namespace

// ------------------------------------------------------------------------------------------- composed texts

TEST(MessageTexts, OfASuccessfulFirmwareUpdateNameBothFirmwares)
{
    ipc::MFwUpdateStatus status;
    status.set_old_firmware_identifier("1.0.0");
    status.set_new_firmware_identifier("1.1.0");
    EXPECT_EQ(FwUpdateStatusToString(status), "Success, old FW: 1.0.0, new FW: 1.1.0");
}

TEST(MessageTexts, OfAFailedFirmwareUpdateNameNoFirmware)
{
    ipc::MFwUpdateStatus status;
    status.set_old_firmware_identifier("1.0.0");
    status.set_new_firmware_identifier("1.1.0");
    status.set_status(ipc::EFwUpdateStatusNotIdle);
    EXPECT_EQ(FwUpdateStatusToString(status), "Error: System is not idle");
    status.set_status(static_cast<ipc::EFwUpdateStatus>(11));
    EXPECT_EQ(FwUpdateStatusToString(status), "Unknown status");
}

TEST(MessageTexts, OfASessionAreItsIdAndAWord)
{
    ipc::MConnectorSession session;
    EXPECT_EQ(ConnectorSessionToString(session), "Session Id: , Authorized: false");
    session.set_session_id("S-17");
    session.set_authorized(true);
    EXPECT_EQ(ConnectorSessionToString(session), "Session Id: S-17, Authorized: true");
}

TEST(MessageTexts, OfAReservationPrintItsIdWithoutSign)
{
    ipc::MConnectorReservation reservation;
    EXPECT_EQ(ConnectorReservationToString(reservation), "Reservation Id: 0, Expiration Date: , Id Token: ");
    reservation.set_reservation_id(4000000000U);
    reservation.set_expiry_date("2030-01-01T00:00:00Z");
    reservation.set_id_token("04AABB");
    EXPECT_EQ(ConnectorReservationToString(reservation),
              "Reservation Id: 4000000000, Expiration Date: 2030-01-01T00:00:00Z, Id Token: 04AABB");
}

TEST(MessageTexts, OfAConnectorHoldItsSessionAndItsReservation)
{
    ipc::MConnectorInfo info;
    info.set_connector_state(ipc::EConnectorStateCharging);
    info.mutable_session()->set_session_id("S-17");
    info.mutable_session()->set_authorized(true);
    info.mutable_reservation()->set_reservation_id(7);
    info.mutable_reservation()->set_expiry_date("tomorrow");
    info.mutable_reservation()->set_id_token("04AABB");
    EXPECT_EQ(ConnectorInfoToString(info),
              "State: EConnectorStateCharging, Session Info: (Session Id: S-17, Authorized: true), "
              "Reservation Info: (Reservation Id: 7, Expiration Date: tomorrow, Id Token: 04AABB)");
}

TEST(MessageTexts, OfAConnectorPrintAbsentPartsAsEmptyOnes)
{
    EXPECT_EQ(ConnectorInfoToString(ipc::MConnectorInfo()),
              "State: EConnectorStateUnknown, Session Info: (Session Id: , Authorized: false), "
              "Reservation Info: (Reservation Id: 0, Expiration Date: , Id Token: )");
}

TEST(MessageTexts, OfAHashAreLowerCaseHexadecimalWithoutPadding)
{
    EXPECT_EQ(SmcuHashToString(0, false), "0");
    EXPECT_EQ(SmcuHashToString(0xABCDEF, false), "abcdef");
    EXPECT_EQ(SmcuHashToString(0x00C0FFEE, true), "c0ffee - dirty");
    EXPECT_EQ(SmcuHashToString(std::numeric_limits<std::uint64_t>::max(), false), "ffffffffffffffff");
}

// ------------------------------------------------------------------------------------------- diagnostics

TEST(DiagnosticsStream, PrintsEachKindAsTheStreamDoes)
{
    EXPECT_EQ(Printed(Data([](auto& data) { data.set_bool_value(true); })), "1");
    EXPECT_EQ(Printed(Data([](auto& data) { data.set_bool_value(false); })), "0");
    EXPECT_EQ(Printed(Data([](auto& data) { data.set_int_value(-5); })), "-5");
    EXPECT_EQ(Printed(Data([](auto& data) { data.set_uint_value(4000000000U); })), "4000000000");
    EXPECT_EQ(Printed(Data([](auto& data) { data.set_float_value(-1000.0F); })), "-1000");
    EXPECT_EQ(Printed(Data([](auto& data) { data.set_float_value(1.5F); })), "1.5");
    EXPECT_EQ(Printed(Data([](auto& data) { data.set_string_value("a text"); })), "a text");
}

TEST(DiagnosticsStream, FollowsTheStreamsFlags)
{
    std::ostringstream stream;
    stream << std::boolalpha << Data([](auto& data) { data.set_bool_value(true); });
    EXPECT_EQ(stream.str(), "true");
}

TEST(DiagnosticsStream, PrintsNothingForALongIntegerAndForNoValue)
{
    EXPECT_EQ(Printed(Data([](auto& data) { data.set_int64_value(5); })), "");
    EXPECT_EQ(Printed(ipc::MDiagnosticsData()), "");
}

TEST(DiagnosticsStream, PrintsOneValueOfASignalAloneAndSeveralInBrackets)
{
    ipc::MDiagnosticsSignal signal;
    EXPECT_EQ(Printed(signal), "");
    signal.add_data()->set_int_value(16000);
    EXPECT_EQ(Printed(signal), "16000");
    signal.add_data()->set_int_value(-1000);
    EXPECT_EQ(Printed(signal), "[16000, -1000]");
    signal.add_data()->set_string_value("");
    signal.add_data()->set_bool_value(true);
    EXPECT_EQ(Printed(signal), "[16000, -1000, , 1]");
}

// ------------------------------------------------------------------------------------------- time stamps

TEST(TimestampStream, PrintsSixDigitsOfTheSecond)
{
    const CTimeZone zone("UTC0");
    EXPECT_EQ(Printed(Timestamp(1, 5)), "1970-01-01T00:00:01.000005+0000");
    EXPECT_EQ(Printed(Timestamp(1714564800, 250000)), "2024-05-01T12:00:00.250000+0000");
    EXPECT_EQ(Printed(Timestamp(0, 0)), "1970-01-01T00:00:00.000000+0000");
}

TEST(TimestampStream, PrintsLocalTimeWithItsOffset)
{
    {
        const CTimeZone zone("CET-1CEST,M3.5.0,M10.5.0/3");
        EXPECT_EQ(Printed(Timestamp(1714564800, 1)), "2024-05-01T14:00:00.000001+0200");
        EXPECT_EQ(Printed(Timestamp(1704110400, 1)), "2024-01-01T13:00:00.000001+0100");
    }
    const CTimeZone zone("NST3:30");
    EXPECT_EQ(Printed(Timestamp(1714564800, 1)), "2024-05-01T08:30:00.000001-0330");
}

TEST(TimestampStream, RefusesASecondThatIsInNoYear)
{
    std::ostringstream stream;
    try
    {
        stream << Timestamp(std::numeric_limits<std::int64_t>::max(), 0);
        FAIL() << stream.str();
    }
    catch (const std::runtime_error& error)
    {
        EXPECT_STREQ(error.what(), "time_t value out of range");
    }
}

TEST(TimestampConversion, GivesNanosecondsSinceTheEpoch)
{
    EXPECT_EQ(SinceEpoch(Timestamp(0, 0)), nanoseconds(0));
    EXPECT_EQ(SinceEpoch(Timestamp(1, 5)), nanoseconds(1000005000));
    EXPECT_EQ(SinceEpoch(Timestamp(0, 999999)), nanoseconds(999999000));
}

TEST(TimestampConversion, SubtractsTheMicrosecondsOfNegativeSeconds)
{
    EXPECT_EQ(SinceEpoch(Timestamp(-1, 500000)), nanoseconds(-1500000000));
    EXPECT_EQ(SinceEpoch(Timestamp(-2, 0)), nanoseconds(-2000000000));
}

TEST(TimestampConversion, CutsOffWhatIsBelowAMicrosecond)
{
    const ipc::MTimestamp timestamp = AfterEpoch(nanoseconds(1714564800123456789));
    EXPECT_EQ(timestamp.seconds(), 1714564800);
    EXPECT_EQ(timestamp.microseconds(), 123456);
}

TEST(TimestampConversion, GivesTheRestBeforeTheEpochANegativeSign)
{
    const ipc::MTimestamp timestamp = AfterEpoch(nanoseconds(-1500000999));
    EXPECT_EQ(timestamp.seconds(), -1);
    EXPECT_EQ(timestamp.microseconds(), -500000);
}

TEST(TimestampConversion, ComesBackToTheSameMicrosecond)
{
    for (const std::int64_t microseconds : {0LL, 1LL, 999999LL, 1000000LL, 1714564800123456LL})
    {
        const auto time = system_clock::time_point(std::chrono::microseconds(microseconds));
        EXPECT_EQ(ToSystemClock(ToTimestamp(time)), time) << microseconds;
    }
}
