#include "platform/json/jsonutil.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include "tests/support/temporarydirectory.h"
#include "tests/unit/platform/config/faultyfilesystem.h"
#include "tests/unit/src/statistics/historytest.h"

using testing::ElementsAre;
using testing::Pair;

// What a booking does to the file.

namespace
{

const std::string Before =
    R"({"HistoryMonth":[{"Energy":[5],"Month":5,"Year":2024}],"HistoryYear":[{"Energy":[0,0,0,0,5],"Year":2024}]})";
const std::string Between =
    R"({"HistoryMonth":[{"Energy":[12],"Month":5,"Year":2024}],"HistoryYear":[{"Energy":[0,0,0,0,5],"Year":2024}]})";
const std::string After =
    R"({"HistoryMonth":[{"Energy":[12],"Month":5,"Year":2024}],"HistoryYear":[{"Energy":[0,0,0,0,12],"Year":2024}]})";

class HistoryFile : public HistoryTest
{
protected:
    using EStep = CFaultyFileSystem::EStep;

    /// A history over the file of before, on a file system that can fail, after the start of a charge of 7.
    void StartOnFaultyFileSystem()
    {
        component.reset();
        fileSystem = std::make_shared<CFaultyFileSystem>();
        WriteFile(Before);
        Start(std::make_shared<TarnConfig>(
            "charging_history",
            files.Root(),
            TarnConfig::EAccess::Writable,
            [this](const std::string& key, const Json::Value& /*value*/) { writes.push_back(key); },
            fileSystem));
        fileSystem->TakeSteps();
        Notify(Charging);
        Count(7);
    }

    std::shared_ptr<CFaultyFileSystem> fileSystem;
    std::vector<std::string> writes;
};

} // namespace

TEST_F(HistoryFile, IsWrittenOncePerBookingAndKey)
{
    StartOnFaultyFileSystem();

    Notify(Finishing);

    EXPECT_THAT(writes, ElementsAre("HistoryMonth", "HistoryYear"));
    const std::vector<EStep> steps = fileSystem->TakeSteps();
    EXPECT_EQ(std::count(steps.begin(), steps.end(), EStep::Rename), 2);
    EXPECT_EQ(File(), After);
}

TEST_F(HistoryFile, IsLeftAloneByABookingOfNothing)
{
    StartOnFaultyFileSystem();
    Notify(Finishing);
    writes.clear();
    fileSystem->TakeSteps();

    Notify(Finishing);

    EXPECT_THAT(writes, testing::IsEmpty());
    EXPECT_THAT(fileSystem->TakeSteps(), testing::Not(testing::Contains(EStep::Rename)));
}

TEST_F(HistoryFile, IsWholeWhereverThePowerIsCut)
{
    std::vector<std::string> found;
    bool isCut = true;
    for (int calls = 0; isCut; ++calls)
    {
        StartOnFaultyFileSystem();
        fileSystem->CutPowerAfter(calls);
        isCut = false;
        try
        {
            Notify(Finishing);
        }
        catch (const SPowerCut&)
        {
            isCut = true;
        }
        fileSystem->LoseWhatIsNotSynced();
        if (const std::string file = File(); found.empty() || found.back() != file)
        {
            found.push_back(file);
        }
    }
    EXPECT_THAT(found, ElementsAre(Before, Between, After));
}

TEST_F(HistoryFile, KeepsTheStateOfBeforeWhenItCannotBeWritten)
{
    StartOnFaultyFileSystem();
    fileSystem->Fail(EStep::Write, 1, ENOSPC);

    EXPECT_THROW(Notify(Finishing), std::runtime_error);

    EXPECT_EQ(File(), Before);
    EXPECT_EQ(JsonUtil::WriteUnstyled(component->ReadHistoryStatistics()), Before);
    Count(1);
    Notify(Finishing);
    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(1, 6))) << "the energy of the failed booking is lost";
}

TEST_F(HistoryFile, KeepsTheMonthsOfABookingWhoseYearsCannotBeWritten)
{
    StartOnFaultyFileSystem();
    fileSystem->Fail(EStep::Rename, 2, EIO);

    EXPECT_THROW(Notify(Finishing), std::runtime_error);

    EXPECT_EQ(File(), Between);
    EXPECT_EQ(JsonUtil::WriteUnstyled(component->ReadHistoryStatistics()), Between);
}

TEST_F(HistoryFile, KeepsWhatElseIsInIt)
{
    WriteFile(R"({"Other":[1]})");
    Start();
    Charge(Local(2024, 5, 3, 8), Local(2024, 5, 3, 9), 1);
    EXPECT_EQ(File("Other"), "[1]");
    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(3, 1)));
}

TEST_F(HistoryFile, OfTheImageIsWhatTheFirstBookingBuildsOn)
{
    const CTemporaryDirectory root;
    root.Write("etc/config/charging_history.json", Before);
    Start(TarnConfig::Create("charging_history", root.Root()));

    Charge(Local(2024, 5, 3, 8), Local(2024, 5, 3, 9), 1);

    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(1, 5), Pair(3, 1)));
    EXPECT_THAT(Months(2024), ElementsAre(Pair(5, 6)));
}
