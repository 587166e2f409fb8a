#include <json/value.h>

#include "tests/support/capturedlog.h"
#include "tests/unit/src/session/authorizationtest.h"

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

using Log::ELogLevel;

constexpr const char* NotAnArray = "Invalid sessions format: Not an array";
constexpr const char* NotAnObject = "Invalid session format: Session is not an object";

class AuthorizationRestore : public AuthorizationTest
{
protected:
    /// Starts with the stored sessions. @return what was logged at error level
    std::vector<std::string> ErrorsOfStart(const std::string& json)
    {
        StoreSessions(json);
        const CCapturedLog log(ELogLevel::Debug);
        Start();
        return log.Messages(ELogLevel::Error);
    }

    void StartWith(const std::string& json)
    {
        StoreSessions(json);
        Start();
    }

    void ExpectStartToFailWith(const std::string& json)
    {
        StoreSessions(json);
        EXPECT_THROW(Start(), Json::Exception) << json;
    }
};

/// Stored values that are no array, and elements that are no object.
class NoSessions : public AuthorizationRestore, public testing::WithParamInterface<const char*>
{
};

} // namespace

TEST_F(AuthorizationRestore, BringsBackPersistentSessionsOnly)
{
    Start();
    const std::string passing = Login().value();
    const std::string persistent = PersistentLogin();

    Start();

    EXPECT_FALSE(authorization->IsSessionValid(passing));
    EXPECT_TRUE(authorization->IsSessionValid(persistent));
    EXPECT_TRUE(authorization->IsSessionPersistent(persistent));
}

TEST_F(AuthorizationRestore, WithoutStoredSessionsLogsNothing)
{
    const CCapturedLog log(ELogLevel::Debug);

    Start();

    EXPECT_THAT(log.Messages(ELogLevel::Error), IsEmpty());
    EXPECT_EQ(File(), "");
}

TEST_F(AuthorizationRestore, LeavesOutASessionWithLessThanASecondToLive)
{
    clock.Set(Time(seconds(Noon)) + nanoseconds(1));
    StartWith("[" + Element("999999999 ns", 1) + "," + Element("a second more", 2) + "]");

    EXPECT_FALSE(authorization->IsSessionValid("999999999 ns"));
    EXPECT_TRUE(authorization->IsSessionValid("a second more"));
}

TEST_F(AuthorizationRestore, BringsBackASessionWithJustASecondToLive)
{
    StartWith("[" + Element("one second", 1) + "]");

    EXPECT_TRUE(authorization->IsSessionValid("one second"));
    clock.Advance(seconds(1) + nanoseconds(1));
    EXPECT_FALSE(authorization->IsSessionValid("one second"));
}

TEST_F(AuthorizationRestore, LeavesOutWhatHasExpiredInSilence)
{
    StoreSessions("[" + Element("now", 0) + "," + Element("long ago", -1000000) + "]");
    const CCapturedLog log(ELogLevel::Debug);
    Start();
    EXPECT_THAT(log.Messages(),
                testing::ElementsAre(CCapturedLog::SLine{
                    ELogLevel::Info,
                    "Web interface authorization password successfully initialized from configuration."}));

    clock.Set(Time(seconds(Noon - 2000000)));
    EXPECT_FALSE(authorization->IsSessionValid("now"));
    EXPECT_FALSE(authorization->IsSessionValid("long ago"));
}

TEST_F(AuthorizationRestore, GivesASessionTheWholeSecondsThatWereLeftOfItsLife)
{
    clock.Advance(milliseconds(500));
    StartWith("[" + Element("1", 101) + "]");
    const Time start = clock.Now();

    clock.Set(start + seconds(100));
    EXPECT_TRUE(authorization->RefreshSession("1"));

    clock.Set(start + seconds(200));
    EXPECT_TRUE(authorization->IsSessionValid("1"));
    clock.Set(start + seconds(200) + nanoseconds(1));
    EXPECT_FALSE(authorization->IsSessionValid("1"));
}

TEST_F(AuthorizationRestore, CountsTheRestOfTheLifeFromTheRestart)
{
    clock.Advance(milliseconds(500));
    StartWith("[" + Element("1", 101) + "]");

    clock.Advance(seconds(100) + nanoseconds(1));

    EXPECT_FALSE(authorization->IsSessionValid("1"));
}

TEST_F(AuthorizationRestore, WritesNothing)
{
    StoreSessions("[5," + Element("2", 500) + "," + Element("1", 500) + "," + Element("expired", -5) + "]");
    const std::string file = File();

    Start();

    EXPECT_THAT(saves, IsEmpty());
    EXPECT_EQ(File(), file);
}

TEST_F(AuthorizationRestore, TakesTheFirstOfTwoSessionsWithOneKey)
{
    StartWith("[" + Element("1", 100) + "," + Element("1", 500) + "]");

    clock.Advance(seconds(101));

    EXPECT_FALSE(authorization->IsSessionValid("1"));
}

TEST_F(AuthorizationRestore, DoesNotCountASessionThatItLeavesOutAsTheFirstWithItsKey)
{
    StartWith("[" + Element("1", 0) + "," + Element("1", 500) + "]");

    EXPECT_TRUE(authorization->IsSessionValid("1"));
}

TEST_F(AuthorizationRestore, PutsASessionWithoutKeyUnderTheEmptyOne)
{
    StartWith(R"([{"Expiry": 1714565800}])");

    EXPECT_TRUE(authorization->IsSessionValid(""));
}

TEST_F(AuthorizationRestore, LeavesOutASessionWithoutExpiry)
{
    EXPECT_THAT(ErrorsOfStart(R"([{"Key": "1"}, {}, {"Key": "2", "Expiry": null}])"), IsEmpty());

    clock.Set(Time());
    EXPECT_FALSE(authorization->IsSessionValid("1"));
    EXPECT_FALSE(authorization->IsSessionValid("2"));
    EXPECT_FALSE(authorization->IsSessionValid(""));
}

TEST_F(AuthorizationRestore, IgnoresOtherMembers)
{
    StartWith(R"([{"Expiry": 1714565800, "Key": "1", "Timeout": "x"}])");

    EXPECT_TRUE(authorization->IsSessionValid("1"));
}

TEST_F(AuthorizationRestore, BringsBackAnyNumberOfSessions)
{
    StartWith(Elements("a", 16, 100));

    for (const auto* key : {"a0", "a5", "aa", "af"})
    {
        EXPECT_TRUE(authorization->IsSessionValid(key)) << key;
    }
    EXPECT_THAT(saves, IsEmpty());
}

TEST_F(AuthorizationRestore, BringsBackSessionsOfTheImagesFile)
{
    directory.Write("etc/config/secrets.json", R"({"WebSessions": [)" + Element("1", 100) + "]}");

    Start();

    EXPECT_TRUE(authorization->IsSessionValid("1"));
}

TEST_F(AuthorizationRestore, TakesNumbersAndTruthValuesAsTheJsonLibraryConvertsThem)
{
    StartWith(R"([{"Expiry": 1714564900.75, "Key": 5}, {"Expiry": 1714564900, "Key": true},
                  {"Expiry": true, "Key": "as one"}])");

    EXPECT_TRUE(authorization->IsSessionValid("5"));
    EXPECT_TRUE(authorization->IsSessionValid("true"));
    clock.Advance(seconds(100) + nanoseconds(1));
    EXPECT_FALSE(authorization->IsSessionValid("5"));
    clock.Set(Time());
    EXPECT_FALSE(authorization->IsSessionValid("as one"));
}

TEST_F(AuthorizationRestore, FailsAtAnExpiryThatIsNoNumberFromZeroOn)
{
    ExpectStartToFailWith(R"([{"Expiry": "1714565800", "Key": "1"}])");
    ExpectStartToFailWith(R"([{"Expiry": "", "Key": "1"}])");
    ExpectStartToFailWith(R"([{"Expiry": -1, "Key": "1"}])");
    ExpectStartToFailWith(R"([{"Expiry": 1e300, "Key": "1"}])");
    ExpectStartToFailWith(R"([{"Expiry": [1714565800], "Key": "1"}])");
    ExpectStartToFailWith(R"([{"Expiry": {}, "Key": "1"}])");
}

TEST_F(AuthorizationRestore, FailsAtAKeyThatIsNoText)
{
    ExpectStartToFailWith(R"([{"Expiry": 1714565800, "Key": ["1"]}])");
    ExpectStartToFailWith(R"([{"Expiry": 1714565800, "Key": {}}])");
    // expired or not
    ExpectStartToFailWith(R"([{"Expiry": 0, "Key": {}}])");
}

TEST_F(AuthorizationRestore, LetsASessionThatExpiresBehindTheEndOfTheClockLastThatLong)
{
    StartWith(R"([{"Expiry": 18446744073709551615, "Key": "1"}])");

    // the last whole second of the clock
    clock.Set(Time(seconds(9223372036)));
    EXPECT_TRUE(authorization->IsSessionValid("1"));

    EXPECT_TRUE(authorization->RefreshSession("1"));
    clock.Set(Time::max());
    EXPECT_TRUE(authorization->IsSessionValid("1"));
}

TEST_P(NoSessions, IsLoggedAndLeftInTheFileUntilTheNextSaveWhereTheArrayShouldBe)
{
    EXPECT_THAT(ErrorsOfStart(GetParam()), ElementsAre(NotAnArray));
    const std::string file = File();
    EXPECT_FALSE(authorization->IsSessionValid("1"));
    Login();
    EXPECT_EQ(File(), file);

    PersistentLogin(100);

    EXPECT_EQ(File(), R"({"WebSessions":[)" + Element(SecondKey, 100) + "]}\n");
}

INSTANTIATE_TEST_SUITE_P(
    Authorization,
    NoSessions,
    testing::Values("null", "true", "5", "\"[]\"", "{}", R"({"Expiry": 1714565800, "Key": "1"})"));

TEST_F(AuthorizationRestore, LogsEachElementThatIsNoObjectAndGoesOnWithTheNext)
{
    EXPECT_THAT(ErrorsOfStart(R"([null, true, 5, "x", [], )" + Element("1", 100) + R"(, 1.5])"),
                ElementsAre(NotAnObject, NotAnObject, NotAnObject, NotAnObject, NotAnObject, NotAnObject));

    EXPECT_TRUE(authorization->IsSessionValid("1"));
}
