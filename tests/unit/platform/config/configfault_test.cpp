#include "platform/config/tarnconfig.h"

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporarydirectory.h"
#include "tests/unit/platform/config/faultyfilesystem.h"

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using EStep = CFaultyFileSystem::EStep;

namespace
{

constexpr const char* WritableFile = "data/config/settings.json";

struct SFault
{
    EStep step;
    int occurrence;
    int error;
};

/// A configuration that holds {"Value": 1} in its file, on a file system that can fail.
class ConfigFaultTest : public testing::Test
{
protected:
    ConfigFaultTest()
    {
        directory.Write(WritableFile, R"({"Value":1})");
        config = Open(fileSystem);
        fileSystem->TakeSteps();
    }

    std::shared_ptr<TarnConfig> Open(const std::shared_ptr<IFileSystem>& on)
    {
        return std::make_shared<TarnConfig>(
            "settings",
            directory.Root(),
            TarnConfig::EAccess::Writable,
            [this](const std::string& /*key*/, const Json::Value& /*value*/) { ++calls; },
            on);
    }

    /// The value that a process finds which opens the file now.
    int ValueInFile() const { return TarnConfig::Create("settings", directory.Root())->GetInt("Value", -1); }

    std::vector<std::string> NamesInDirectory() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(directory.Path() / "data/config"))
        {
            names.push_back(entry.path().filename());
        }
        return names;
    }

    /// What a Set of the value 2 throws.
    std::string SetFault()
    {
        try
        {
            config->SetValue("Value", 2);
        }
        catch (const std::runtime_error& error)
        {
            return error.what();
        }
        return "no fault";
    }

    CTemporaryDirectory directory;
    std::shared_ptr<CFaultyFileSystem> fileSystem = std::make_shared<CFaultyFileSystem>();
    std::shared_ptr<TarnConfig> config;
    int calls = 0;
};

class FailedSetTest : public ConfigFaultTest, public testing::WithParamInterface<SFault>
{
};

/// The same, after another process has changed the file.
class FailedTakeOverTest : public FailedSetTest
{
};

/// Opening both files.
class FailedOpenTest : public FailedSetTest
{
};

/// A Set that makes the directory.
class FailedDirectoryTest : public FailedSetTest
{
};

} // namespace

TEST_P(FailedSetTest, ThrowsPathAndReasonAndLeavesMemoryAndFileAsTheyWere)
{
    const SFault fault = GetParam();
    fileSystem->LimitWrites(5);
    // so that the time of the new file has to be set
    std::filesystem::last_write_time(directory.Path() / WritableFile,
                                     std::filesystem::file_time_type::clock::now() + std::chrono::hours(1));
    config->Reload();
    fileSystem->Fail(fault.step, fault.occurrence, fault.error);

    EXPECT_THAT(SetFault(),
                AllOf(HasSubstr(directory.Root() + "data/config"),
                      HasSubstr(std::system_category().message(fault.error))));

    EXPECT_EQ(config->GetInt("Value", -1), 1);
    EXPECT_EQ(ValueInFile(), 1);
    EXPECT_FALSE(config->HasChanged());
    EXPECT_THAT(NamesInDirectory(), ElementsAre("settings.json"));
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(fileSystem->OpenDescriptors(), 0);

    config->SetValue("Value", 2);
    EXPECT_EQ(ValueInFile(), 2);
}

INSTANTIATE_TEST_SUITE_P(Steps,
                         FailedSetTest,
                         testing::Values(SFault{EStep::Open, 1, EACCES},
                                         SFault{EStep::Lock, 1, ENOLCK},
                                         SFault{EStep::StatusOf, 1, EIO},
                                         SFault{EStep::StatusOf, 2, EIO},
                                         SFault{EStep::Open, 2, ENOSPC},
                                         SFault{EStep::Open, 2, EROFS},
                                         SFault{EStep::Write, 1, ENOSPC},
                                         SFault{EStep::Write, 2, ENOSPC},
                                         SFault{EStep::Write, 3, EIO},
                                         SFault{EStep::Status, 1, EIO},
                                         SFault{EStep::SetModificationTime, 1, EIO},
                                         SFault{EStep::Sync, 1, EIO},
                                         SFault{EStep::Rename, 1, EIO}));

TEST_P(FailedTakeOverTest, ThrowsAndLeavesTheOthersChange)
{
    const SFault fault = GetParam();
    TarnConfig::Create("settings", directory.Root())->SetValue("Value", 7);
    fileSystem->Fail(fault.step, fault.occurrence, fault.error);

    EXPECT_THAT(SetFault(),
                AllOf(HasSubstr(directory.Root() + WritableFile),
                      HasSubstr(std::system_category().message(fault.error))));

    EXPECT_EQ(ValueInFile(), 7);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(fileSystem->OpenDescriptors(), 0);
}

INSTANTIATE_TEST_SUITE_P(Steps,
                         FailedTakeOverTest,
                         testing::Values(SFault{EStep::Open, 2, EACCES},
                                         SFault{EStep::Status, 1, EIO},
                                         SFault{EStep::Read, 1, EIO}));

TEST_F(ConfigFaultTest, FailedSetAfterAnothersChangeLeavesMemoryAtWhatTheFileHolds)
{
    TarnConfig::Create("settings", directory.Root())->SetValue("Value", 7);
    fileSystem->Fail(EStep::Rename, 1, EIO);

    EXPECT_THAT(SetFault(), HasSubstr("Input/output error"));

    EXPECT_EQ(config->GetInt("Value", -1), 7);
    EXPECT_EQ(ValueInFile(), 7);
}

TEST_P(FailedOpenTest, ThrowsPathAndReason)
{
    const SFault fault = GetParam();
    directory.Write("etc/config/settings.json", "{}");
    fileSystem->Fail(fault.step, fault.occurrence, fault.error);

    try
    {
        Open(fileSystem);
        FAIL() << "opened";
    }
    catch (const std::runtime_error& error)
    {
        EXPECT_THAT(error.what(),
                    AllOf(HasSubstr(directory.Root()),
                          HasSubstr("config/settings.json: "),
                          HasSubstr(std::system_category().message(fault.error))));
    }
    EXPECT_EQ(fileSystem->OpenDescriptors(), 0);
}

INSTANTIATE_TEST_SUITE_P(Steps,
                         FailedOpenTest,
                         testing::Values(SFault{EStep::Open, 1, EACCES},
                                         SFault{EStep::Open, 2, EACCES},
                                         SFault{EStep::Status, 1, EIO},
                                         SFault{EStep::Read, 1, EIO},
                                         SFault{EStep::Read, 3, EIO}));

TEST_P(FailedDirectoryTest, ThrowsPathAndReason)
{
    const SFault fault = GetParam();
    std::filesystem::remove_all(directory.Path() / "data");
    config->Reload();
    fileSystem->Fail(fault.step, fault.occurrence, fault.error);

    EXPECT_THAT(SetFault(),
                AllOf(HasSubstr(directory.Root()), HasSubstr(std::system_category().message(fault.error))));

    EXPECT_FALSE(config->Contains("Value", false));
    EXPECT_FALSE(std::filesystem::exists(directory.Path() / WritableFile));
    EXPECT_EQ(fileSystem->OpenDescriptors(), 0);
    config->SetValue("Value", 2);
    EXPECT_EQ(ValueInFile(), 2);
}

// the first MakeDirectory finds no parent, the second makes that, the third makes the directory itself
INSTANTIATE_TEST_SUITE_P(Steps,
                         FailedDirectoryTest,
                         testing::Values(SFault{EStep::MakeDirectory, 1, EACCES},
                                         SFault{EStep::MakeDirectory, 2, EROFS},
                                         SFault{EStep::MakeDirectory, 3, ENOSPC},
                                         SFault{EStep::Open, 2, EMFILE},
                                         SFault{EStep::Sync, 1, EIO},
                                         SFault{EStep::Open, 4, EMFILE}));

TEST_F(ConfigFaultTest, DirectoryThatCanNotBeSyncedThrowsThoughTheChangeIsInForce)
{
    fileSystem->Fail(EStep::Sync, 2, EIO);

    EXPECT_EQ(SetFault(), directory.Root() + "data/config: can't sync: Input/output error");

    EXPECT_EQ(config->GetInt("Value", -1), 2);
    EXPECT_EQ(ValueInFile(), 2);
    EXPECT_THAT(NamesInDirectory(), ElementsAre("settings.json"));
    EXPECT_EQ(calls, 1);
}

TEST_F(ConfigFaultTest, HasChangedThrowsWhenTheStateCanNotBeTold)
{
    fileSystem->Fail(EStep::StatusOf, 1, EIO);

    EXPECT_THROW(static_cast<void>(config->HasChanged()), std::runtime_error);
}

TEST_F(ConfigFaultTest, InterruptedCallsAreRepeated)
{
    fileSystem->Fail(EStep::Lock, 1, EINTR);
    fileSystem->Fail(EStep::Write, 1, EINTR);
    fileSystem->Fail(EStep::Read, 1, EINTR);

    config->SetValue("Value", 2);
    config->Reload();

    EXPECT_EQ(config->GetInt("Value", -1), 2);
}

TEST_F(ConfigFaultTest, ShortWritesAreContinued)
{
    fileSystem->LimitWrites(1);

    config->SetString("Name", std::string(1000, 'x'));

    EXPECT_EQ(TarnConfig::Create("settings", directory.Root())->GetString("Name", ""),
              std::string(1000, 'x'));
}

TEST_F(ConfigFaultTest, HasChangedCostsAStat)
{
    static_cast<void>(config->HasChanged());

    EXPECT_THAT(fileSystem->TakeSteps(), ElementsAre(EStep::StatusOf));
}

TEST_F(ConfigFaultTest, ReadingTouchesNoFile)
{
    config->GetInt("Value", 0);
    config->GetBool("Absent", false);
    config->GetValue("Value", Json::Value());
    config->GetKeys();

    EXPECT_THAT(fileSystem->TakeSteps(), IsEmpty());
}

TEST_F(ConfigFaultTest, SetOfAnEqualValueLooksAtTheFilesStateAndNoMore)
{
    config->SetValue("Value", 1);

    EXPECT_THAT(fileSystem->TakeSteps(), ElementsAre(EStep::StatusOf));
}

TEST_F(ConfigFaultTest, SetDoesNotReadAFileThatNobodyElseChanged)
{
    config->SetValue("Value", 2);
    config->SetValue("Value", 3);

    EXPECT_THAT(fileSystem->TakeSteps(), Not(Contains(EStep::Read)));
}

TEST_F(ConfigFaultTest, PowerCutAtAnyStepLeavesTheOldFileOrTheNew)
{
    int value = 1;
    for (int steps = 0;; ++steps)
    {
        const auto cut = std::make_shared<CFaultyFileSystem>();
        const auto victim = Open(cut);
        cut->CutPowerAfter(steps);
        bool isThrough = false;
        try
        {
            victim->SetValue("Value", value + 1);
            isThrough = true;
        }
        catch (const SPowerCut&)
        {
        }
        cut->LoseWhatIsNotSynced();

        const int found = ValueInFile();
        if (isThrough)
        {
            EXPECT_EQ(found, value + 1);
            EXPECT_GE(steps, 8);
            break;
        }
        EXPECT_TRUE(found == value || found == value + 1) << "after " << steps << " steps: " << found;
        value = found;
    }
}

TEST_F(ConfigFaultTest, PowerCutAtAnyStepOfTheFirstWriteLeavesNoFileOrTheNew)
{
    for (int steps = 0;; ++steps)
    {
        std::filesystem::remove_all(directory.Path() / "data");
        const auto cut = std::make_shared<CFaultyFileSystem>();
        const auto victim = Open(cut);
        cut->CutPowerAfter(steps);
        bool isThrough = false;
        try
        {
            victim->SetValue("Value", 2);
            isThrough = true;
        }
        catch (const SPowerCut&)
        {
        }
        cut->LoseWhatIsNotSynced();

        const int found = ValueInFile();
        if (isThrough)
        {
            EXPECT_EQ(found, 2);
            break;
        }
        EXPECT_TRUE(found == -1 || found == 2) << "after " << steps << " steps: " << found;
    }
}
