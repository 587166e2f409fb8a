#include <fmt/format.h>

#include <ostream>
#include <stdexcept>

#include "tests/support/capturedlog.h"
#include "tests/unit/src/session/authorizationtest.h"

using std::chrono::nanoseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

using Log::ELogLevel;

class AuthorizationLookUp : public AuthorizationTest
{
};

class AuthorizationLogout : public AuthorizationTest
{
};

struct SLookUp
{
    const char* name;
    bool (IAuthorization::*operation)(const std::string& key);
};

std::ostream& operator<<(std::ostream& stream, const SLookUp& lookUp)
{
    return stream << lookUp.name;
}

/// What holds for each of the three look-ups.
class EachLookUp : public AuthorizationTest, public testing::WithParamInterface<SLookUp>
{
protected:
    bool LookUp(const std::string& key) { return (*authorization.*GetParam().operation)(key); }
};

} // namespace

TEST_P(EachLookUp, FindsASessionByItsWholeKeyOnly)
{
    Start();
    const std::string key = PersistentLogin();

    EXPECT_TRUE(LookUp(key));
    EXPECT_FALSE(LookUp(key.substr(0, 63)));
    EXPECT_FALSE(LookUp(key + "0"));
    EXPECT_FALSE(LookUp(key + std::string(1, '\0')));
    EXPECT_FALSE(LookUp("1" + key.substr(1)));
    EXPECT_FALSE(LookUp("A" + key.substr(1)));
    EXPECT_FALSE(LookUp(""));
}

TEST_P(EachLookUp, FindsASessionUpToTheInstantOfItsExpiry)
{
    Start();
    const std::string key = PersistentLogin(100);

    clock.Advance(seconds(100));
    EXPECT_TRUE(LookUp(key));

    clock.Set(Time(seconds(Noon + 200)) + nanoseconds(1));
    EXPECT_FALSE(LookUp(key));
}

TEST_P(EachLookUp, RemovesEverySessionThatHasExpiredAndSavesAfterEachPersistentOne)
{
    StoreSessions("[" + Element("1", 50) + "," + Element("2", 500) + "," + Element("3", 60) + "]");
    Start();
    Login(55, false);
    clock.Advance(seconds(61));

    EXPECT_FALSE(LookUp("unknown"));

    EXPECT_THAT(
        saves,
        ElementsAre("[" + Element("2", 500) + "," + Element("3", 60) + "]", "[" + Element("2", 500) + "]"));
    EXPECT_THAT(StoredKeys(), ElementsAre("2"));
    // they are gone for good
    clock.Set(Time(seconds(Noon)));
    EXPECT_FALSE(authorization->IsSessionValid("1"));
    EXPECT_FALSE(authorization->IsSessionValid("3"));
    EXPECT_FALSE(authorization->IsSessionValid(FirstKey));
    EXPECT_TRUE(authorization->IsSessionValid("2"));
}

TEST_P(EachLookUp, GoesOnRemovingBehindTheSessionThatItFound)
{
    StoreSessions("[" + Element("1", 500) + "," + Element("2", 50) + "]");
    Start();
    clock.Advance(seconds(51));

    EXPECT_TRUE(LookUp("1"));

    EXPECT_THAT(StoredKeys(), ElementsAre("1"));
}

TEST_P(EachLookUp, RemovesTheSessionThatWasAskedForWhenItHasExpired)
{
    StoreSessions("[" + Element("1", 50) + "]");
    Start();
    clock.Advance(seconds(51));

    EXPECT_FALSE(LookUp("1"));

    EXPECT_EQ(File(), "{\"WebSessions\":[]}\n");
}

TEST_P(EachLookUp, SavesNothingForASessionThatWasNotPersistent)
{
    Start();
    Login(50, false);
    clock.Advance(seconds(51));

    EXPECT_FALSE(LookUp(FirstKey));

    EXPECT_EQ(File(), "");
}

TEST_P(EachLookUp, SavesNothingWhenNothingHasExpired)
{
    const std::string stored = "[" + Element("1", 500) + "]";
    StoreSessions(stored);
    Start();
    const std::string file = File();

    EXPECT_TRUE(LookUp("1"));
    EXPECT_FALSE(LookUp("2"));

    EXPECT_THAT(saves, IsEmpty());
    EXPECT_EQ(File(), file);
}

TEST_P(EachLookUp, ThatCannotSaveThrowsAndHasRemovedTheSession)
{
    StoreSessions("[" + Element("1", 50) + "," + Element("2", 500) + "]");
    Start();
    clock.Advance(seconds(51));
    afterSave = [] { throw std::runtime_error("no report of the change"); };

    EXPECT_THROW(LookUp("2"), std::runtime_error);

    // and the store is not locked
    EXPECT_TRUE(LookUp("2"));
}

INSTANTIATE_TEST_SUITE_P(Authorization,
                         EachLookUp,
                         testing::Values(SLookUp{"IsSessionValid", &IAuthorization::IsSessionValid},
                                         SLookUp{"RefreshSession", &IAuthorization::RefreshSession},
                                         SLookUp{"IsSessionPersistent",
                                                 &IAuthorization::IsSessionPersistent}),
                         [](const auto& row) { return row.param.name; });

TEST_F(AuthorizationLookUp, RefreshGivesTheSessionItsTimeoutAnew)
{
    Start();
    const std::string key = Login(100).value();
    clock.Advance(seconds(90));

    EXPECT_TRUE(authorization->RefreshSession(key));

    clock.Advance(seconds(100));
    EXPECT_TRUE(authorization->IsSessionValid(key));
    clock.Advance(nanoseconds(1));
    EXPECT_FALSE(authorization->IsSessionValid(key));
}

TEST_F(AuthorizationLookUp, RefreshLeavesTheOtherSessionsAsTheyAre)
{
    Start();
    const std::string key = Login(100).value();
    const std::string other = Login(100).value();
    clock.Advance(seconds(90));

    authorization->RefreshSession(key);

    clock.Advance(seconds(11));
    EXPECT_TRUE(authorization->IsSessionValid(key));
    EXPECT_FALSE(authorization->IsSessionValid(other));
}

TEST_F(AuthorizationLookUp, RefreshIsNotWrittenBeforeTheNextSave)
{
    Start();
    const std::string key = PersistentLogin(1000);
    const std::string file = File();
    clock.Advance(seconds(90));

    EXPECT_TRUE(authorization->RefreshSession(key));
    EXPECT_EQ(File(), file);
    EXPECT_THAT(saves, ElementsAre("[" + Element(FirstKey, 1000) + "]"));

    PersistentLogin(2000);
    EXPECT_EQ(saves.back(), "[" + Element(FirstKey, 1090) + "," + Element(SecondKey, 2090) + "]");
}

TEST_F(AuthorizationLookUp, QuestionsDoNotRenewTheSession)
{
    Start();
    const std::string key = PersistentLogin(100);
    clock.Advance(seconds(90));

    EXPECT_TRUE(authorization->IsSessionValid(key));
    EXPECT_TRUE(authorization->IsSessionPersistent(key));

    clock.Advance(seconds(11));
    EXPECT_FALSE(authorization->IsSessionValid(key));
}

TEST_F(AuthorizationLookUp, OnlyAPersistentSessionIsPersistent)
{
    Start();
    const std::string passing = Login(ShortLife, false).value();
    const std::string persistent = Login(ShortLife, true).value();

    EXPECT_FALSE(authorization->IsSessionPersistent(passing));
    EXPECT_TRUE(authorization->IsSessionPersistent(persistent));
    EXPECT_FALSE(authorization->IsSessionPersistent("unknown"));
}

TEST_F(AuthorizationLogout, EndsTheSessionAndTakesAPersistentOneOutOfTheFile)
{
    Start();
    PersistentLogin(100);
    const std::string key = PersistentLogin(200);
    const CCapturedLog log(ELogLevel::Debug);

    authorization->RemoveSession(key);

    EXPECT_FALSE(authorization->IsSessionValid(key));
    EXPECT_TRUE(authorization->IsSessionValid(FirstKey));
    EXPECT_EQ(File(), R"({"WebSessions":[)" + Element(FirstKey, 100) + "]}\n");
    EXPECT_THAT(log.Messages(),
                ElementsAre(CCapturedLog::SLine{
                    ELogLevel::Debug,
                    fmt::format("An active session with key '{}' is found and will be removed.", key)}));
}

TEST_F(AuthorizationLogout, OfTheLastPersistentSessionLeavesAnEmptyArray)
{
    Start();

    authorization->RemoveSession(PersistentLogin());

    EXPECT_EQ(File(), "{\"WebSessions\":[]}\n");
}

TEST_F(AuthorizationLogout, OfASessionThatIsNotPersistentSavesNothing)
{
    Start();
    const std::string key = Login().value();

    authorization->RemoveSession(key);

    EXPECT_FALSE(authorization->IsSessionValid(key));
    EXPECT_EQ(File(), "");
}

TEST_F(AuthorizationLogout, WithAnUnknownKeyOnlyLogs)
{
    StoreSessions("[" + Element("1", 50) + "]");
    Start();
    const std::string file = File();
    // an expired session stays too
    clock.Advance(seconds(51));
    const CCapturedLog log(ELogLevel::Debug);

    authorization->RemoveSession("unknown");
    authorization->RemoveSession("");

    EXPECT_THAT(
        log.Messages(),
        ElementsAre(CCapturedLog::SLine{ELogLevel::Debug, "No active session with key 'unknown' is found."},
                    CCapturedLog::SLine{ELogLevel::Debug, "No active session with key '' is found."}));
    EXPECT_THAT(saves, IsEmpty());
    EXPECT_EQ(File(), file);
}

TEST_F(AuthorizationLogout, FindsASessionThatHasExpiredAndLeavesOtherSuchSessionsAlone)
{
    StoreSessions("[" + Element("1", 50) + "," + Element("2", 60) + "]");
    Start();
    clock.Advance(seconds(61));
    const CCapturedLog log(ELogLevel::Debug);

    authorization->RemoveSession("1");

    EXPECT_TRUE(log.Has(ELogLevel::Debug, "An active session with key '1' is found and will be removed."));
    EXPECT_THAT(saves, ElementsAre("[" + Element("2", 60) + "]"));
}

TEST_F(AuthorizationLogout, ThatCannotBeSavedThrowsAndHasEndedTheSession)
{
    Start();
    const std::string key = PersistentLogin();
    afterSave = [] { throw std::runtime_error("no report of the change"); };

    EXPECT_THROW(authorization->RemoveSession(key), std::runtime_error);

    // and the store is not locked
    EXPECT_FALSE(authorization->IsSessionValid(key));
}

TEST_F(AuthorizationLogout, OfEverybodyEmptiesTableAndFile)
{
    Start();
    const std::string passing = Login().value();
    const std::string persistent = PersistentLogin();

    authorization->RemoveAllSessions();

    EXPECT_FALSE(authorization->IsSessionValid(passing));
    EXPECT_FALSE(authorization->IsSessionValid(persistent));
    EXPECT_EQ(File(), "{\"WebSessions\":[]}\n");
}

TEST_F(AuthorizationLogout, OfEverybodyReplacesAValueThatIsNoArray)
{
    StoreSessions("\"nonsense\"");
    Start();

    authorization->RemoveAllSessions();

    EXPECT_EQ(File(), "{\"WebSessions\":[]}\n");
}

TEST_F(AuthorizationLogout, OfEverybodyWritesAnEmptyArrayWhereThereWasNone)
{
    Start();

    authorization->RemoveAllSessions();

    EXPECT_EQ(File(), "{\"WebSessions\":[]}\n");
}

TEST_F(AuthorizationLogout, OfEverybodyThatCannotBeSavedThrowsAndHasEndedTheSessions)
{
    Start();
    const std::string key = PersistentLogin();
    afterSave = [] { throw std::runtime_error("no report of the change"); };

    EXPECT_THROW(authorization->RemoveAllSessions(), std::runtime_error);

    // and the store is not locked
    EXPECT_FALSE(authorization->IsSessionValid(key));
}
