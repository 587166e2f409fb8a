#include <atomic>
#include <functional>
#include <future>
#include <mutex>
#include <set>
#include <thread>

#include "tests/support/eventually.h"
#include "tests/unit/src/session/authorizationtest.h"

using testing::_;

namespace
{

/// What a test shows by what does not happen, it watches for this long.
constexpr std::chrono::milliseconds Watch{100};

class AuthorizationConcurrency : public AuthorizationTest
{
protected:
    /// Runs each of the actions on a thread of its own, @p rounds times.
    static void RunTogether(const std::vector<std::function<void()>>& actions, int rounds)
    {
        std::vector<std::thread> threads;
        threads.reserve(actions.size());
        for (const auto& action : actions)
        {
            threads.emplace_back(
                [&action, rounds]
                {
                    for (int round = 0; round < rounds; ++round)
                    {
                        action();
                    }
                });
        }
        for (std::thread& thread : threads)
        {
            thread.join();
        }
    }
};

} // namespace

TEST_F(AuthorizationConcurrency, CheckOfThePasswordDoesNotWaitForALogin)
{
    Start();
    std::future<bool> check;
    std::future_status status = std::future_status::deferred;
    EXPECT_CALL(*diagnostics, SendSignal(_))
        .WillOnce(
            [&](const ipc::MSignalReport&)
            {
                check =
                    std::async(std::launch::async, [&] { return authorization->CheckPassword(Password); });
                status = check.wait_for(TestPatience);
                return ipc::MResult();
            });

    EXPECT_TRUE(Login());

    EXPECT_EQ(status, std::future_status::ready);
    EXPECT_TRUE(check.get());
}

TEST_F(AuthorizationConcurrency, LookUpWaitsForALogin)
{
    StoreSessions("[" + Element("1", 500) + "]");
    Start();
    std::future<bool> lookUp;
    std::future_status status = std::future_status::ready;
    EXPECT_CALL(*diagnostics, SendSignal(_))
        .WillOnce(
            [&](const ipc::MSignalReport&)
            {
                lookUp = std::async(std::launch::async, [&] { return authorization->RefreshSession("1"); });
                status = lookUp.wait_for(Watch);
                return ipc::MResult();
            });

    EXPECT_TRUE(Login());

    EXPECT_EQ(status, std::future_status::timeout);
    EXPECT_TRUE(lookUp.get());
}

TEST_F(AuthorizationConcurrency, OneSessionIsRenewedByManyThreads)
{
    Start();
    const std::string key = PersistentLogin(100);
    const auto renew = [&] { EXPECT_TRUE(authorization->RefreshSession(key)); };
    const auto ask = [&] { EXPECT_TRUE(authorization->IsSessionValid(key)); };
    const auto askForKind = [&] { EXPECT_TRUE(authorization->IsSessionPersistent(key)); };
    const auto moveTime = [&] { clock.Advance(std::chrono::milliseconds(1)); };

    RunTogether({renew, renew, renew, ask, askForKind, moveTime}, 1000);
}

TEST_F(AuthorizationConcurrency, ManyLoginsGiveAsManyKeys)
{
    Start();
    std::mutex mutex;
    std::set<std::string> keys;
    const auto logIn = [&]
    {
        const std::string key = Login().value();
        const std::lock_guard lock(mutex);
        keys.insert(key);
    };

    RunTogether({logIn, logIn, logIn, logIn}, 25);

    EXPECT_EQ(keys.size(), 100U);
    for (const std::string& key : keys)
    {
        EXPECT_TRUE(authorization->IsSessionValid(key));
    }
}

TEST_F(AuthorizationConcurrency, SessionsMayExpireWhileOthersComeAndGo)
{
    constexpr std::uint64_t OneSecond = 1;
    Start();
    std::mutex mutex;
    std::vector<std::string> left;
    const auto logInAndLeave = [&]
    {
        for (const bool persistent : {false, true})
        {
            const std::string key = Login(OneSecond, persistent).value();
            authorization->RefreshSession(key);
            const std::lock_guard lock(mutex);
            left.push_back(key);
        }
    };
    const auto logInAndOut = [&]
    {
        const std::string key = PersistentLogin(OneSecond);
        authorization->IsSessionPersistent(key);
        authorization->RemoveSession(key);
        EXPECT_FALSE(authorization->IsSessionValid(key));
    };
    const auto lookUp = [&] { authorization->IsSessionValid("none"); };
    const auto moveTime = [&] { clock.Advance(std::chrono::milliseconds(300)); };

    RunTogether({logInAndLeave, logInAndLeave, logInAndOut, lookUp, moveTime}, 50);
    clock.Advance(std::chrono::seconds(2));

    EXPECT_EQ(left.size(), 200U);
    for (const std::string& key : left)
    {
        EXPECT_FALSE(authorization->IsSessionValid(key));
    }
    EXPECT_THAT(StoredKeys(), testing::IsEmpty());
}

TEST_F(AuthorizationConcurrency, AllOperationsMayMeet)
{
    constexpr int Rounds = 20;
    Start();
    const std::string key = PersistentLogin();
    std::atomic<int> round{0};
    const auto logInAndOut = [&]
    {
        for (const bool persistent : {false, true})
        {
            for (const std::string& password : {Password, OtherPassword})
            {
                const auto own = authorization->CreateSession(password, LongLife, persistent);
                if (own)
                {
                    authorization->RefreshSession(*own);
                    authorization->RemoveSession(*own);
                    EXPECT_FALSE(authorization->IsSessionValid(*own));
                }
            }
        }
    };
    const auto lookUp = [&]
    {
        authorization->RefreshSession(key);
        authorization->IsSessionPersistent(key);
        authorization->IsSessionValid("");
    };
    const auto checkPassword = [&]
    {
        // one of the two at any time, and never anything else
        EXPECT_FALSE(authorization->CheckPassword("neither"));
        authorization->CheckPassword(Password);
        authorization->CheckPassword(OtherPassword);
    };
    const auto changePassword = [&]
    {
        const bool odd = ++round % 2 != 0;
        ChangeElsewhere("WebIfManagementPassword", odd ? EncodedOtherPassword : EncodedPassword);
        if (round == Rounds / 2)
        {
            authorization->RemoveAllSessions();
        }
    };

    RunTogether({logInAndOut, logInAndOut, lookUp, lookUp, checkPassword, changePassword}, Rounds);

    // the last change has brought the first password back
    EXPECT_TRUE(Login());
    EXPECT_TRUE(authorization->CheckPassword(Password));
    EXPECT_FALSE(authorization->IsSessionValid(key));
}
