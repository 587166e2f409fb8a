#include "src/api/system/freezeframes.h"

#include "platform/rpc/communicationexception.h"
#include "platform/toolbox/interruption.h"

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/mockservices.h"
#include "tests/support/capturedlog.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StrictMock;
using Level = Log::ELogLevel;
using Line = CCapturedLog::SLine;

ipc::MResult Result(ipc::EResult status)
{
    ipc::MResult result;
    result.set_status(status);
    return result;
}

/// Freeze frames in a time that passes when a test says so.
class FreezeFrames : public testing::Test
{
protected:
    /// The service takes a request and does @p meanwhile before it answers.
    void ExpectRequest(const std::function<void()>& meanwhile = {}, ipc::EResult answer = ipc::EResultOk)
    {
        EXPECT_CALL(*service, CreateFreezeFrame("a reason"))
            .WillOnce(
                [meanwhile, answer](const std::string&)
                {
                    if (meanwhile)
                    {
                        meanwhile();
                    }
                    return Result(answer);
                })
            .RetiresOnSaturation();
    }

    /// A freeze frame that the service takes and finishes at once.
    void ExpectGoodRequest(const std::string& file)
    {
        ExpectRequest([this, file] { service->FreezeFrameDone(file); });
    }

    void Create() { frames->Create("a reason"); }

    /// What was logged but for entries.
    std::vector<Line> Logged() const
    {
        std::vector<Line> lines;
        for (const Line& line : log.Messages())
        {
            if (line.level != Level::Trace)
            {
                lines.push_back(line);
            }
        }
        return lines;
    }

    /// Expects that a freeze frame can be had, as if nothing had been before.
    void ExpectNextOneWorks()
    {
        log.Clear();
        whileWaiting = {};
        ExpectGoodRequest("/log/next");
        Create();
        EXPECT_THAT(Logged(),
                    ElementsAre(Line{Level::Info, "Freezeframe is done @ /log/next"},
                                Line{Level::Info, "Freezeframe created at /log/next"}));
    }

    /// What happens during the wait, in which the whole time passes unless the file name comes.
    std::function<void()> whileWaiting;
    std::vector<std::chrono::nanoseconds> waits;

    const std::shared_ptr<StrictMock<CMockDiagnostics>> service =
        std::make_shared<StrictMock<CMockDiagnostics>>();
    Toolbox::CInterruption interruption;
    std::unique_ptr<CFreezeFrames> frames = std::make_unique<CFreezeFrames>(
        service,
        interruption,
        [this](const std::future<std::string>& fileName, std::chrono::nanoseconds longest)
        {
            waits.push_back(longest);
            if (whileWaiting)
            {
                whileWaiting();
            }
            return fileName.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
        });
    CCapturedLog log;
};

// ------------------------------------------------------------------------------------------- that come

TEST_F(FreezeFrames, IsDoneWhenItsNameComesDuringTheWait)
{
    ExpectRequest();
    whileWaiting = [this] { service->FreezeFrameDone("/log/1"); };

    Create();

    EXPECT_THAT(Logged(),
                ElementsAre(Line{Level::Info, "Freezeframe is done @ /log/1"},
                            Line{Level::Info, "Freezeframe created at /log/1"}));
    EXPECT_THAT(waits, ElementsAre(std::chrono::seconds(10)));
}

TEST_F(FreezeFrames, IsDoneWhenItsNameComesBeforeTheServiceHasAnswered)
{
    ExpectGoodRequest("/log/1");

    Create();

    EXPECT_THAT(Logged(),
                ElementsAre(Line{Level::Info, "Freezeframe is done @ /log/1"},
                            Line{Level::Info, "Freezeframe created at /log/1"}));
}

TEST_F(FreezeFrames, FollowEachOther)
{
    ExpectGoodRequest("/log/1");
    Create();
    ExpectNextOneWorks();
    ExpectNextOneWorks();
}

TEST_F(FreezeFrames, LogsItsEntries)
{
    ExpectGoodRequest("/log/1");
    Create();
    EXPECT_TRUE(log.Has(Level::Trace, "CFreezeFrames::Create"));
    EXPECT_TRUE(log.Has(Level::Trace, "CFreezeFrames::Request"));
}

// ------------------------------------------------------------------------------------------- that don't

TEST_F(FreezeFrames, GivesUpAfterTenSecondsOfSilence)
{
    ExpectRequest();

    Create();

    EXPECT_THAT(Logged(), ElementsAre(Line{Level::Error, "Timeout while creating freezeframe"}));
    EXPECT_THAT(waits, ElementsAre(std::chrono::nanoseconds(10000000000)));
    ExpectNextOneWorks();
}

TEST_F(FreezeFrames, TakesANameThatComesAfterTheTimeForNothing)
{
    ExpectRequest();
    Create();
    log.Clear();

    service->FreezeFrameDone("/log/late");

    EXPECT_THAT(Logged(), ElementsAre(Line{Level::Info, "Freezeframe is done @ /log/late"}));
    ExpectNextOneWorks();
}

TEST_F(FreezeFrames, IsNotWaitedForWhenTheServiceRefuses)
{
    ExpectRequest({}, ipc::EResultIllegal);

    Create();

    EXPECT_THAT(Logged(), ElementsAre(Line{Level::Error, "CreateFreezeFrame call failed"}));
    EXPECT_THAT(waits, IsEmpty());
    ExpectNextOneWorks();
}

TEST_F(FreezeFrames, IsRefusedByAnyCodeButZero)
{
    ExpectRequest({}, static_cast<ipc::EResult>(-7));
    Create();
    EXPECT_THAT(Logged(), ElementsAre(Line{Level::Error, "CreateFreezeFrame call failed"}));
}

TEST_F(FreezeFrames, IsRefusedAlsoWhenItsNameHasCome)
{
    ExpectRequest([this] { service->FreezeFrameDone("/log/1"); }, ipc::EResultIllegal);

    Create();

    EXPECT_THAT(Logged(),
                ElementsAre(Line{Level::Info, "Freezeframe is done @ /log/1"},
                            Line{Level::Error, "CreateFreezeFrame call failed"}));
    ExpectNextOneWorks();
}

TEST_F(FreezeFrames, CountsAServiceOutOfReachAsARefusal)
{
    ExpectRequest([] { throw Rpc::CommunicationException("Diagnostics.CreateFreezeFrame"); });

    Create();

    EXPECT_THAT(Logged(), ElementsAre(Line{Level::Error, "CreateFreezeFrame call failed"}));
    EXPECT_THAT(waits, IsEmpty());
    ExpectNextOneWorks();
}

TEST_F(FreezeFrames, PassesOnAnotherExceptionAndWorksTheNextTime)
{
    ExpectRequest([] { throw std::logic_error("something else"); });
    EXPECT_THROW(Create(), std::logic_error);
    ExpectNextOneWorks();
}

TEST_F(FreezeFrames, TellsOfAnEmptyName)
{
    ExpectRequest();
    whileWaiting = [this] { service->FreezeFrameDone(""); };

    Create();

    EXPECT_THAT(Logged(),
                ElementsAre(Line{Level::Info, "Freezeframe is done @ "},
                            Line{Level::Error, "No filename received for freezeframe"}));
    ExpectNextOneWorks();
}

// ------------------------------------------------------------------------------------------- too many names

TEST_F(FreezeFrames, KeepsTheFirstOfTwoNames)
{
    ExpectRequest();
    whileWaiting = [this]
    {
        service->FreezeFrameDone("/log/1");
        service->FreezeFrameDone("/log/2");
    };

    Create();

    EXPECT_THAT(
        Logged(),
        ElementsAre(
            Line{Level::Info, "Freezeframe is done @ /log/1"},
            Line{Level::Warn, "Unexpected freezeframe promise std::future_error: Promise already satisfied"},
            Line{Level::Info, "Freezeframe created at /log/1"}));
    ExpectNextOneWorks();
}

TEST_F(FreezeFrames, WarnsOfANameThatNobodyAskedFor)
{
    service->FreezeFrameDone("/log/before");
    EXPECT_THAT(Logged(), IsEmpty());
    ExpectGoodRequest("/log/1");
    Create();
    log.Clear();

    service->FreezeFrameDone("/log/after");

    EXPECT_THAT(
        Logged(),
        ElementsAre(Line{Level::Warn,
                         "Unexpected freezeframe promise std::future_error: Promise already satisfied"}));
    ExpectNextOneWorks();
}

TEST_F(FreezeFrames, TakesALateNameForItsOwnDuringTheNextWait)
{
    ExpectRequest();
    Create();
    log.Clear();
    ExpectRequest();
    whileWaiting = [this] { service->FreezeFrameDone("/log/late"); };

    Create();

    EXPECT_TRUE(log.Has(Level::Info, "Freezeframe created at /log/late"));
    ExpectNextOneWorks();
}

TEST_F(FreezeFrames, TakesNamesAlsoWhenItIsGone)
{
    ExpectRequest();
    Create();
    frames.reset();
    log.Clear();

    service->FreezeFrameDone("/log/late");

    EXPECT_THAT(Logged(), ElementsAre(Line{Level::Info, "Freezeframe is done @ /log/late"}));
}

// ------------------------------------------------------------------------------------------- two at once

TEST_F(FreezeFrames, TurnsASecondCallerAwayDuringTheWait)
{
    ExpectRequest();
    whileWaiting = [this]
    {
        EXPECT_THROW(Create(), std::future_error);
        service->FreezeFrameDone("/log/1");
    };

    Create();

    EXPECT_TRUE(log.Has(Level::Info, "Freezeframe created at /log/1"));
    EXPECT_EQ(waits.size(), 1U);
    ExpectNextOneWorks();
}

TEST_F(FreezeFrames, TurnsASecondCallerAwayDuringTheRequest)
{
    ExpectRequest(
        [this]
        {
            EXPECT_THROW(Create(), std::future_error);
            service->FreezeFrameDone("/log/1");
        });

    Create();

    EXPECT_TRUE(log.Has(Level::Info, "Freezeframe created at /log/1"));
    ExpectNextOneWorks();
}

// ------------------------------------------------------------------------------------------- interrupted

TEST_F(FreezeFrames, FailsWhenItIsInterrupted)
{
    ExpectRequest();
    whileWaiting = [this] { interruption.Interrupt(); };

    EXPECT_THROW(Create(), Rpc::CommunicationException);

    EXPECT_THAT(Logged(), IsEmpty());
    interruption.Resume();
    ExpectNextOneWorks();
}

TEST_F(FreezeFrames, FailsWhenItsRequestIsInterrupted)
{
    ExpectRequest(
        [this]
        {
            interruption.Interrupt();
            throw Rpc::CommunicationException("Diagnostics.CreateFreezeFrame: cancelled");
        });

    EXPECT_THROW(Create(), Rpc::CommunicationException);

    EXPECT_THAT(Logged(), IsEmpty());
    EXPECT_THAT(waits, IsEmpty());
    interruption.Resume();
    ExpectNextOneWorks();
}

TEST_F(FreezeFrames, FailsWhileAnInterruptionLasts)
{
    interruption.Interrupt();
    ExpectRequest();

    EXPECT_THROW(Create(), Rpc::CommunicationException);

    interruption.Resume();
    ExpectNextOneWorks();
}

TEST_F(FreezeFrames, IsNotUndoneByAnInterruption)
{
    ExpectRequest();
    whileWaiting = [this]
    {
        service->FreezeFrameDone("/log/1");
        interruption.Interrupt();
    };

    Create();

    EXPECT_TRUE(log.Has(Level::Info, "Freezeframe created at /log/1"));
}

TEST_F(FreezeFrames, WorksAfterAnInterruptionOfNothing)
{
    interruption.Interrupt();
    interruption.Resume();
    ExpectNextOneWorks();
}

// ------------------------------------------------------------------------------------------- real time

TEST_F(FreezeFrames, WaitsForAnotherThread)
{
    CFreezeFrames real(service, interruption);
    std::thread notification;
    ExpectRequest([&] { notification = std::thread([this] { service->FreezeFrameDone("/log/1"); }); });

    real.Create("a reason");

    notification.join();
    EXPECT_TRUE(log.Has(Level::Info, "Freezeframe created at /log/1"));
}

TEST_F(FreezeFrames, CanBeInterruptedFromAnotherThread)
{
    CFreezeFrames real(service, interruption);
    std::thread stopping;
    ExpectRequest([&] { stopping = std::thread([this] { interruption.Interrupt(); }); });

    EXPECT_THROW(real.Create("a reason"), Rpc::CommunicationException);

    stopping.join();
}

} // namespace
