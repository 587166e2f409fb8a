#include <chrono>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/e2e/steppedclock.h"
#include "tests/e2e/uploadtest.h"

using namespace std::chrono_literals;

namespace
{

/// Of a session without anything to do.
constexpr std::chrono::seconds Life = 900s;

/// The process goes by a clock that the test moves.
class UploadAndTime : public UploadTest
{
protected:
    UploadAndTime() { program = WEBBACKEND_WITH_CLOCK_STATE; }

    /// Sends an upload of a new session, lets time go by in its midst and reads the answer.
    std::string UploadWithPause(std::chrono::seconds pause)
    {
        const std::string upload = UploadText(std::string(1'000'000, 'f'), LogIn());
        CRawHttp client(FileServerPort);
        SendFirstHalf(client, upload);
        clock.Advance(pause);
        client.Send(std::string_view(upload).substr(upload.size() / 2));
        return Outcome(client.Receive());
    }

    // noon of a day in 2024
    CSteppedClock clock{(root.Path() / "run/time").string(), CSteppedClock::Time(1714564800s)};
};

} // namespace

TEST_F(UploadAndTime, AnExpiryInTheMidstIsUnauthorizedAndLeavesNoFile)
{
    Start();

    EXPECT_EQ(UploadWithPause(Life + 1s), Unauthorized);

    ExpectNothingLeft();
    EXPECT_EQ(Requests().size(), 1U);
    ExpectCleanEnd();
}

TEST_F(UploadAndTime, APauseThatTheSessionOutlivesDoesNoHarm)
{
    Start();

    EXPECT_EQ(UploadWithPause(Life - 1s), Created);

    ExpectCleanEnd();
}
