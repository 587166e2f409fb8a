#include "tests/unit/src/session/authorizationtest.h"

using testing::ElementsAre;
using testing::SizeIs;

namespace
{

class AuthorizationPruning : public AuthorizationTest
{
protected:
    // keys before and behind those of the first two logins
    static constexpr const char* Before = "0";
    static constexpr const char* Behind = "f";
};

} // namespace

TEST_F(AuthorizationPruning, LeavesTenPersistentSessionsAlone)
{
    StoreSessions(Elements(Behind, 9, 100));
    Start();

    PersistentLogin();

    EXPECT_THAT(StoredKeys(), ElementsAre(FirstKey, "f0", "f1", "f2", "f3", "f4", "f5", "f6", "f7", "f8"));
}

TEST_F(AuthorizationPruning, OfElevenPersistentSessionsRemovesTheOneThatExpiresFirst)
{
    StoreSessions("[" + Element("f0", 200) + "," + Element("f1", 200) + "," + Element("f2", 200) + "," +
                  Element("f3", 200) + "," + Element("f4", 100) + "," + Element("f5", 200) + "," +
                  Element("f6", 200) + "," + Element("f7", 200) + "," + Element("f8", 200) + "," +
                  Element("f9", 101) + "]");
    Start();

    PersistentLogin();

    EXPECT_THAT(StoredKeys(), ElementsAre(FirstKey, "f0", "f1", "f2", "f3", "f5", "f6", "f7", "f8", "f9"));
    EXPECT_FALSE(authorization->IsSessionValid("f4"));
    EXPECT_THAT(saves, SizeIs(1));
}

TEST_F(AuthorizationPruning, TakesTheLeastKeyOfSeveralThatExpireFirst)
{
    StoreSessions("[" + Element("f0", 200) + "," + Element("f1", 100) + "," + Element("f2", 100) + "," +
                  Element("f3", 200) + "," + Element("f4", 200) + "," + Element("f5", 200) + "," +
                  Element("f6", 200) + "," + Element("f7", 200) + "," + Element("f8", 200) + "," +
                  Element("f9", 200) + "]");
    Start();

    PersistentLogin();

    EXPECT_THAT(StoredKeys(), ElementsAre(FirstKey, "f0", "f2", "f3", "f4", "f5", "f6", "f7", "f8", "f9"));
}

TEST_F(AuthorizationPruning, MayRemoveTheVerySessionThatBegins)
{
    StoreSessions(Elements(Behind, 10, 100));
    Start();

    const std::string key = PersistentLogin(50);

    EXPECT_FALSE(authorization->IsSessionValid(key));
    EXPECT_THAT(StoredKeys(), ElementsAre("f0", "f1", "f2", "f3", "f4", "f5", "f6", "f7", "f8", "f9"));
}

TEST_F(AuthorizationPruning, GoesByRenewedLives)
{
    StoreSessions(Elements(Behind, 10, 100));
    Start();
    clock.Advance(std::chrono::seconds(50));
    // now expires at 150, behind all others
    authorization->RefreshSession("f0");

    PersistentLogin();

    EXPECT_THAT(StoredKeys(), ElementsAre(FirstKey, "f0", "f2", "f3", "f4", "f5", "f6", "f7", "f8", "f9"));
}

TEST_F(AuthorizationPruning, RemovesAPassingSessionThatHasTheLeastKeyAndExpiresFirst)
{
    StoreSessions(Elements(Behind, 10, 1000));
    Start();
    const std::string passing = Login(ShortLife, false).value();

    const std::string persistent = PersistentLogin();

    EXPECT_FALSE(authorization->IsSessionValid(passing));
    EXPECT_THAT(StoredKeys(),
                ElementsAre(persistent, "f0", "f1", "f2", "f3", "f4", "f5", "f6", "f7", "f8", "f9"));
}

TEST_F(AuthorizationPruning, RemovesOneSessionAtEachPersistentLogin)
{
    StoreSessions(Elements(Behind, 10, 1000));
    Start();
    Login(ShortLife, false);
    PersistentLogin();
    ASSERT_THAT(StoredKeys(), SizeIs(11));

    PersistentLogin();

    EXPECT_THAT(StoredKeys(), SizeIs(11));
    EXPECT_FALSE(authorization->IsSessionValid("f0"));
}

TEST_F(AuthorizationPruning, LeavesAPassingSessionThatHasTheLeastKeyButDoesNotExpireFirst)
{
    StoreSessions(Elements(Behind, 10, 100));
    Start();
    const std::string passing = Login(ShortLife, false).value();

    PersistentLogin();

    EXPECT_TRUE(authorization->IsSessionValid(passing));
    EXPECT_THAT(StoredKeys(), ElementsAre(SecondKey, "f1", "f2", "f3", "f4", "f5", "f6", "f7", "f8", "f9"));
}

TEST_F(AuthorizationPruning, LeavesAPassingSessionThatExpiresFirstButDoesNotHaveTheLeastKey)
{
    StoreSessions(Elements(Before, 10, 1000));
    Start();
    const std::string passing = Login(ShortLife, false).value();

    PersistentLogin();

    EXPECT_TRUE(authorization->IsSessionValid(passing));
    EXPECT_THAT(StoredKeys(), ElementsAre("01", "02", "03", "04", "05", "06", "07", "08", "09", SecondKey));
}

TEST_F(AuthorizationPruning, CountsExpiredSessionsThatNobodyHasLookedAt)
{
    StoreSessions(Elements(Behind, 10, 100));
    Start();
    clock.Advance(std::chrono::seconds(1000));

    PersistentLogin();

    EXPECT_THAT(StoredKeys(), ElementsAre(FirstKey, "f1", "f2", "f3", "f4", "f5", "f6", "f7", "f8", "f9"));
}

TEST_F(AuthorizationPruning, HasNoLimitForPassingSessions)
{
    Start();
    std::vector<std::string> keys;
    for (int i = 0; i < 50; ++i)
    {
        keys.push_back(Login(ShortLife, false).value());
    }

    PersistentLogin();

    for (const std::string& key : keys)
    {
        EXPECT_TRUE(authorization->IsSessionValid(key));
    }
}

TEST_F(AuthorizationPruning, IsLeftToPersistentLogins)
{
    StoreSessions(Elements(Behind, 12, 1000));
    Start();

    Login(ShortLife, false);

    EXPECT_TRUE(authorization->IsSessionValid("f0"));
    EXPECT_TRUE(authorization->IsSessionValid(FirstKey));
    EXPECT_THAT(StoredKeys(), SizeIs(12));
}
