#include "platform/config/tarnconfig.h"

#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporarydirectory.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace
{

constexpr const char* ImageFile = "etc/config/settings.json";
constexpr const char* WritableFile = "data/config/settings.json";

class TarnConfigTest : public testing::Test
{
protected:
    std::shared_ptr<TarnConfig> Open(TarnConfig::ChangeCallback callback = {})
    {
        return TarnConfig::Create("settings", directory.Root(), std::move(callback));
    }

    /// Creates an object whose changes go to the list.
    std::shared_ptr<TarnConfig> OpenWatched()
    {
        return Open([this](const std::string& key, const Json::Value& value)
                    { changes.emplace_back(key, value); });
    }

    std::string WritableText() const
    {
        const std::ifstream stream(directory.Path() / WritableFile);
        std::ostringstream text;
        text << stream.rdbuf();
        return text.str();
    }

    bool HasWritableFile() const { return std::filesystem::exists(directory.Path() / WritableFile); }

    /// What Create says of the present files.
    std::string CreateFault()
    {
        try
        {
            Open();
        }
        catch (const std::runtime_error& error)
        {
            return error.what();
        }
        return "no fault";
    }

    CTemporaryDirectory directory;
    std::vector<std::pair<std::string, Json::Value>> changes;
};

Json::Value Array(int first, int second)
{
    Json::Value array(Json::arrayValue);
    array.append(first);
    array.append(second);
    return array;
}

} // namespace

TEST_F(TarnConfigTest, ReadsTheImagesValues)
{
    directory.Write(ImageFile, R"({"On": true, "Name": "tarn", "Limit": 16, "List": [1, 2]})");
    const auto config = Open();

    EXPECT_TRUE(config->GetBool("On", false));
    EXPECT_EQ(config->GetString("Name", ""), "tarn");
    EXPECT_EQ(config->GetInt("Limit", 0), 16);
    EXPECT_EQ(config->GetValue("List", Json::Value()), Array(1, 2));
}

TEST_F(TarnConfigTest, WritableLayerWinsKeyByKey)
{
    directory.Write(ImageFile, R"({"One": 1, "Two": 2})");
    directory.Write(WritableFile, R"({"Two": 20, "Three": 30})");
    const auto config = Open();

    EXPECT_EQ(config->GetInt("One", 0), 1);
    EXPECT_EQ(config->GetInt("Two", 0), 20);
    EXPECT_EQ(config->GetInt("Three", 0), 30);
}

TEST_F(TarnConfigTest, StaticOnlySeesTheImageAlone)
{
    directory.Write(ImageFile, R"({"One": 1, "Two": 2})");
    directory.Write(WritableFile, R"({"Two": 20, "Three": 30})");
    const auto config = TarnConfig::CreateStaticOnly("settings", directory.Root());

    EXPECT_EQ(config->GetInt("Two", 0), 2);
    EXPECT_FALSE(config->Contains("Three", false));
}

TEST_F(TarnConfigTest, RootIsAPlainTextPrefix)
{
    directory.Write("rootetc/config/settings.json", R"({"One": 1})");
    const auto config = TarnConfig::Create("settings", directory.Root() + "root");

    config->SetBool("On", true);

    EXPECT_EQ(config->GetInt("One", 0), 1);
    EXPECT_TRUE(std::filesystem::exists(directory.Path() / "rootdata/config/settings.json"));
}

TEST_F(TarnConfigTest, MissingFilesCountAsEmpty)
{
    const auto config = Open();

    EXPECT_FALSE(config->Contains("Any", false));
    EXPECT_THAT(config->GetKeys(), IsEmpty());
    EXPECT_FALSE(HasWritableFile());
}

TEST_F(TarnConfigTest, FileWithoutJsonIsRefusedWithPathLineAndReason)
{
    directory.Write(WritableFile, "{\n\"One\": 1,\n}");

    EXPECT_EQ(CreateFault(),
              directory.Root() + WritableFile + ": line 3, column 1: Missing '}' or object member name");
}

TEST_F(TarnConfigTest, FileWithoutAnObjectIsRefusedWithPathLineAndReason)
{
    directory.Write(ImageFile, "[]");

    EXPECT_EQ(CreateFault(), directory.Root() + ImageFile + ": line 1: not an object");
}

TEST_F(TarnConfigTest, FileThatCanNotBeReadIsRefusedWithPathAndReason)
{
    std::filesystem::create_directories(directory.Path() / WritableFile);

    EXPECT_EQ(CreateFault(), directory.Root() + WritableFile + ": can't read: Is a directory");
}

TEST_F(TarnConfigTest, StaticOnlyDoesNotMindTheWritableFile)
{
    directory.Write(WritableFile, "no JSON");

    EXPECT_NO_THROW(TarnConfig::CreateStaticOnly("settings", directory.Root()));
}

TEST_F(TarnConfigTest, GetterGivesTheDefaultForAnAbsentKey)
{
    const auto config = Open();

    EXPECT_TRUE(config->GetBool("Absent", true));
    EXPECT_EQ(config->GetInt("Absent", -3), -3);
    EXPECT_EQ(config->GetString("Absent", "none"), "none");
    EXPECT_EQ(config->GetValue("Absent", 5), Json::Value(5));
}

TEST_F(TarnConfigTest, GetterGivesTheDefaultForAValueOfAnotherType)
{
    directory.Write(ImageFile,
                    R"({"Text": "true", "Number": 1, "Null": null, "Fraction": 1.5, "Big": 2147483648})");
    const auto config = Open();

    EXPECT_TRUE(config->GetBool("Number", true));
    EXPECT_FALSE(config->GetBool("Text", false));
    EXPECT_TRUE(config->GetBool("Null", true));
    EXPECT_EQ(config->GetString("Number", "none"), "none");
    EXPECT_EQ(config->GetString("Null", "none"), "none");
    EXPECT_EQ(config->GetInt("Text", 7), 7);
    EXPECT_EQ(config->GetInt("Fraction", 7), 7);
    EXPECT_EQ(config->GetInt("Big", 7), 7);
}

TEST_F(TarnConfigTest, WritableValueOfAnotherTypeDoesNotLetTheImagesThrough)
{
    directory.Write(ImageFile, R"({"On": true})");
    directory.Write(WritableFile, R"({"On": "yes"})");

    EXPECT_FALSE(Open()->GetBool("On", false));
}

TEST_F(TarnConfigTest, ContainsLooksInBothLayersOrInTheWritableOne)
{
    directory.Write(ImageFile, R"({"Image": null})");
    directory.Write(WritableFile, R"({"Written": 1})");
    const auto config = Open();

    EXPECT_TRUE(config->Contains("Image"));
    EXPECT_TRUE(config->Contains("Image", false));
    EXPECT_TRUE(config->Contains("Written", false));
    EXPECT_FALSE(config->Contains("image", false));
    EXPECT_FALSE(config->Contains("Image", true));
    EXPECT_TRUE(config->Contains("Written", true));
}

TEST_F(TarnConfigTest, GetKeysNamesEachKeyOfBothLayersOnce)
{
    directory.Write(ImageFile, R"({"b": 1, "c": 1})");
    directory.Write(WritableFile, R"({"c": 2, "a": 2})");

    EXPECT_THAT(Open()->GetKeys(), ElementsAre("a", "b", "c"));
}

TEST_F(TarnConfigTest, GetAfterSetReturnsTheNewValue)
{
    const auto config = Open();

    config->SetBool("On", true);
    config->SetString("Name", "a\xc3\xbc");
    config->SetValue("List", Array(3, 4));

    EXPECT_TRUE(config->GetBool("On", false));
    EXPECT_EQ(config->GetString("Name", ""), "a\xc3\xbc");
    EXPECT_EQ(config->GetValue("List", Json::Value()), Array(3, 4));
}

TEST_F(TarnConfigTest, SetHasReachedTheFileWhenItReturns)
{
    const auto config = Open();

    config->SetString("Name", "tarn");
    EXPECT_EQ(WritableText(), "{\"Name\":\"tarn\"}\n");
    config->SetBool("On", false);

    EXPECT_EQ(WritableText(), "{\"Name\":\"tarn\",\"On\":false}\n");
    EXPECT_EQ(Open()->GetString("Name", ""), "tarn");
}

TEST_F(TarnConfigTest, SetLeavesTheImageAloneAndWritesItsOwnKeyOnly)
{
    directory.Write(ImageFile, R"({"One": 1, "Two": 2})");
    const auto config = Open();

    config->SetValue("Two", 20);

    EXPECT_EQ(WritableText(), "{\"Two\":20}\n");
    EXPECT_EQ(TarnConfig::CreateStaticOnly("settings", directory.Root())->GetInt("Two", 0), 2);
}

TEST_F(TarnConfigTest, WrittenFileIsItsOwnersAlone)
{
    directory.Write(WritableFile, "{}");
    std::filesystem::permissions(directory.Path() / WritableFile, std::filesystem::perms(0644));

    Open()->SetBool("On", true);

    struct stat status
    {
    };
    ASSERT_EQ(stat((directory.Path() / WritableFile).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST_F(TarnConfigTest, NothingButTheFileIsLeftInTheDirectory)
{
    const auto config = Open();
    config->SetBool("On", true);
    config->SetBool("On", false);

    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory.Path() / "data/config"))
    {
        names.push_back(entry.path().filename());
    }
    EXPECT_THAT(names, ElementsAre("settings.json"));
}

TEST_F(TarnConfigTest, SetOverwritesWhatACrashLeftBehind)
{
    directory.Write("data/config/.settings.json.tmp", "half a fi");
    const auto config = Open();

    config->SetBool("On", true);

    EXPECT_EQ(WritableText(), "{\"On\":true}\n");
    EXPECT_FALSE(std::filesystem::exists(directory.Path() / "data/config/.settings.json.tmp"));
}

TEST_F(TarnConfigTest, SetOfAnEqualValueWritesNothing)
{
    directory.Write(ImageFile, R"({"On": true, "Limit": 16})");
    const auto config = OpenWatched();

    config->SetBool("On", true);
    config->SetValue("Limit", 16U);

    EXPECT_FALSE(HasWritableFile());
    EXPECT_FALSE(std::filesystem::exists(directory.Path() / "data"));
    EXPECT_FALSE(config->HasChanged());
    EXPECT_THAT(changes, IsEmpty());
}

TEST_F(TarnConfigTest, SetOfAnEqualNumberOfAnotherIntegerTypeWritesNothing)
{
    const auto config = OpenWatched();
    config->SetValue("Expiry", Json::Value::UInt64(7));
    config->Reload();

    config->SetValue("Expiry", Json::Value::UInt64(7));

    EXPECT_FALSE(config->HasChanged());
    EXPECT_EQ(changes.size(), 1U);
}

TEST_F(TarnConfigTest, SetOfNullIsAChange)
{
    const auto config = OpenWatched();

    config->SetValue("Null", Json::Value());

    EXPECT_TRUE(config->Contains("Null", false));
    EXPECT_EQ(WritableText(), "{\"Null\":null}\n");
    EXPECT_THAT(changes, ElementsAre(Pair("Null", Json::Value())));
}

TEST_F(TarnConfigTest, SetBackToTheImagesValueIsAChange)
{
    directory.Write(ImageFile, R"({"On": true})");
    directory.Write(WritableFile, R"({"On": false})");
    const auto config = OpenWatched();

    config->SetBool("On", true);

    EXPECT_TRUE(Open()->GetBool("On", false));
    EXPECT_THAT(changes, ElementsAre(Pair("On", Json::Value(true))));
}

TEST_F(TarnConfigTest, MemoryHoldsWhatTheFileHolds)
{
    const auto config = Open();

    config->SetString("Name", "a\xff");

    EXPECT_EQ(config->GetString("Name", ""), "a\xef\xbf\xbd");
    EXPECT_EQ(Open()->GetString("Name", ""), "a\xef\xbf\xbd");
}

TEST_F(TarnConfigTest, ValueThatJsonCanNotHoldIsRefused)
{
    const auto config = Open();
    config->SetBool("On", true);

    EXPECT_THROW(config->SetValue("Number", std::numeric_limits<double>::infinity()), std::runtime_error);

    EXPECT_FALSE(config->Contains("Number", false));
    EXPECT_EQ(WritableText(), "{\"On\":true}\n");
}

TEST_F(TarnConfigTest, StaticOnlyRefusesChanges)
{
    directory.Write(ImageFile, R"({"On": true})");
    const auto config = TarnConfig::CreateStaticOnly("settings", directory.Root());

    EXPECT_THROW(config->SetBool("On", false), std::logic_error);
    EXPECT_THROW(config->SetString("Name", "x"), std::logic_error);
    EXPECT_THROW(config->SetValue("On", true), std::logic_error);
    EXPECT_THROW(config->Clear(), std::logic_error);
    EXPECT_FALSE(HasWritableFile());
}

TEST_F(TarnConfigTest, CallbackGetsKeyAndNewValueAfterTheWrite)
{
    std::string textAtCall;
    const auto config = Open(
        [&](const std::string& key, const Json::Value& value)
        {
            changes.emplace_back(key, value);
            textAtCall = WritableText();
        });

    config->SetString("Name", "tarn");

    EXPECT_THAT(changes, ElementsAre(Pair("Name", Json::Value("tarn"))));
    EXPECT_EQ(textAtCall, "{\"Name\":\"tarn\"}\n");
}

TEST_F(TarnConfigTest, CallbackMayUseTheConfiguration)
{
    std::shared_ptr<TarnConfig> config;
    config = Open(
        [&](const std::string& key, const Json::Value& value)
        {
            if (key == "Name")
            {
                config->SetValue("Copy", config->GetValue("Name", Json::Value()));
                EXPECT_EQ(config->GetValue(key, Json::Value()), value);
            }
        });

    config->SetString("Name", "tarn");

    EXPECT_EQ(config->GetString("Copy", ""), "tarn");
}

TEST_F(TarnConfigTest, WhatTheCallbackThrowsReachesTheCallerAndTheChangeStands)
{
    const auto config = Open([](const std::string& /*key*/, const Json::Value& /*value*/)
                             { throw std::domain_error("no diagnostics"); });

    EXPECT_THROW(config->SetBool("On", true), std::domain_error);

    EXPECT_TRUE(config->GetBool("On", false));
    EXPECT_EQ(WritableText(), "{\"On\":true}\n");
}

TEST_F(TarnConfigTest, ClearEmptiesTheWritableFileAndPutsTheImagesValuesInForce)
{
    directory.Write(ImageFile, R"({"One": 1, "Two": 2})");
    directory.Write(WritableFile, R"({"Two": 20, "Three": 30})");
    const auto config = Open();

    config->Clear();

    EXPECT_EQ(WritableText(), "{}\n");
    EXPECT_THAT(config->GetKeys(), ElementsAre("One", "Two"));
    EXPECT_EQ(config->GetInt("Two", 0), 2);
}

TEST_F(TarnConfigTest, ClearTellsWhatIsInForceNow)
{
    directory.Write(ImageFile, R"({"Same": 1, "Two": 2})");
    directory.Write(WritableFile, R"({"Same": 1, "Two": 20, "Three": 30})");
    const auto config = OpenWatched();

    config->Clear();

    EXPECT_THAT(changes, ElementsAre(Pair("Three", Json::Value()), Pair("Two", Json::Value(2))));
}

TEST_F(TarnConfigTest, ClearOfAnEmptyFileWritesNothing)
{
    const auto config = Open();

    config->Clear();

    EXPECT_FALSE(HasWritableFile());
}

TEST_F(TarnConfigTest, HasChangedFromAnOwnChangeUntilReload)
{
    const auto config = Open();
    EXPECT_FALSE(config->HasChanged());

    config->SetBool("On", true);
    EXPECT_TRUE(config->HasChanged());
    EXPECT_TRUE(config->HasChanged());
    config->SetBool("On", false);
    EXPECT_TRUE(config->HasChanged());

    config->Reload();
    EXPECT_FALSE(config->HasChanged());
}

TEST_F(TarnConfigTest, HasChangedFromAnothersChangeUntilReload)
{
    const auto config = Open();
    const auto other = Open();
    config->SetBool("On", true);
    config->Reload();

    other->SetBool("Off", true);
    EXPECT_TRUE(config->HasChanged());
    EXPECT_FALSE(config->Contains("Off", false));

    config->Reload();
    EXPECT_FALSE(config->HasChanged());
    EXPECT_TRUE(config->GetBool("Off", false));
    EXPECT_TRUE(config->GetBool("On", false));
}

TEST_F(TarnConfigTest, HasChangedWhenTheFileGoesAndReloadGivesTheImagesValues)
{
    directory.Write(ImageFile, R"({"On": false})");
    directory.Write(WritableFile, R"({"On": true})");
    const auto config = Open();

    std::filesystem::remove(directory.Path() / WritableFile);
    EXPECT_TRUE(config->HasChanged());
    config->Reload();

    EXPECT_FALSE(config->HasChanged());
    EXPECT_FALSE(config->GetBool("On", true));
}

TEST_F(TarnConfigTest, HasChangedFromAChangeInPlaceThatKeepsTheSize)
{
    directory.Write(WritableFile, R"({"One": 1})");
    const auto path = directory.Path() / WritableFile;
    std::filesystem::last_write_time(path,
                                     std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    const auto config = Open();

    directory.Write(WritableFile, R"({"One": 2})");

    EXPECT_TRUE(config->HasChanged());
}

TEST_F(TarnConfigTest, StaticOnlyHasChangedWithTheImage)
{
    directory.Write(ImageFile, R"({"One": 1})");
    const auto config = TarnConfig::CreateStaticOnly("settings", directory.Root());
    EXPECT_FALSE(config->HasChanged());

    directory.Write(WritableFile, R"({"One": 10})");
    EXPECT_FALSE(config->HasChanged());
    directory.Write(ImageFile, R"({"One": 100})");
    EXPECT_TRUE(config->HasChanged());
    config->Reload();

    EXPECT_EQ(config->GetInt("One", 0), 100);
}

TEST_F(TarnConfigTest, ReloadOfABrokenFileThrowsAndKeepsTheValues)
{
    const auto config = Open();
    config->SetBool("On", true);
    directory.Write(WritableFile, "{");

    EXPECT_THROW(config->Reload(), std::runtime_error);

    EXPECT_TRUE(config->GetBool("On", false));
    EXPECT_TRUE(config->HasChanged());
}

TEST_F(TarnConfigTest, SetTakesOverWhatAnotherWroteFirst)
{
    const auto config = OpenWatched();
    const auto other = Open();
    config->SetValue("One", 1);
    other->SetValue("Two", 2);

    config->SetValue("Three", 3);

    EXPECT_EQ(WritableText(), "{\"One\":1,\"Three\":3,\"Two\":2}\n");
    EXPECT_EQ(config->GetInt("Two", 0), 2);
    EXPECT_THAT(changes, ElementsAre(Pair("One", Json::Value(1)), Pair("Three", Json::Value(3))));
}

TEST_F(TarnConfigTest, SetOfTheFormerValueAfterAnothersChangeIsAChange)
{
    const auto config = Open();
    const auto other = Open();
    config->SetValue("One", 1);
    other->SetValue("One", 2);

    config->SetValue("One", 1);

    EXPECT_EQ(WritableText(), "{\"One\":1}\n");
}

TEST_F(TarnConfigTest, SetOfWhatAnotherHasJustSetWritesNothing)
{
    const auto config = OpenWatched();
    const auto other = Open();
    other->SetValue("One", 1);
    const auto before = std::filesystem::last_write_time(directory.Path() / WritableFile);

    config->SetValue("One", 1);

    EXPECT_EQ(std::filesystem::last_write_time(directory.Path() / WritableFile), before);
    EXPECT_EQ(config->GetInt("One", 0), 1);
    EXPECT_THAT(changes, IsEmpty());
}

TEST_F(TarnConfigTest, SetAfterTheFileWentWritesItsKeyAlone)
{
    const auto config = Open();
    config->SetValue("One", 1);
    std::filesystem::remove_all(directory.Path() / "data/config");

    config->SetValue("Two", 2);

    EXPECT_EQ(WritableText(), "{\"Two\":2}\n");
    EXPECT_FALSE(config->Contains("One", false));
}

TEST_F(TarnConfigTest, SetDoesNotOverwriteAFileThatItCanNotRead)
{
    const auto config = Open();
    directory.Write(WritableFile, "{\"One\": 1");

    EXPECT_THROW(config->SetValue("Two", 2), std::runtime_error);

    EXPECT_EQ(WritableText(), "{\"One\": 1");
    EXPECT_FALSE(config->Contains("Two", false));
}

TEST_F(TarnConfigTest, EachStateOfTheFileIsLaterThanTheOneBeforeWhateverTheClockSays)
{
    directory.Write(WritableFile, "{}");
    const auto path = directory.Path() / WritableFile;
    auto before = std::filesystem::file_time_type::clock::now() + std::chrono::hours(1);
    std::filesystem::last_write_time(path, before);
    const auto config = Open();
    for (const bool value : {true, false, true})
    {
        config->SetBool("On", value);
        const auto now = std::filesystem::last_write_time(path);
        ASSERT_GT(now, before);
        before = now;
    }
}
