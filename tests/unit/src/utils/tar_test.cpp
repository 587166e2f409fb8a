#include "src/utils/tar.h"

#include "platform/toolbox/program.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/capturedlog.h"
#include "tests/support/temporarydirectory.h"

namespace
{

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class TarHelper : public testing::Test
{
protected:
    std::string Path(const std::string& name) const { return (directory.Path() / name).string(); }

    /// What the archive holds of a file of the temporary directory.
    std::string Packed(const std::string& archive, const std::string& name) const
    {
        const fs::path unpacked = directory.Path() / "unpacked";
        fs::remove_all(unpacked);
        fs::create_directory(unpacked);
        const auto end =
            Toolbox::RunProgram({"/bin/tar", "--force-local", "-xf", archive, "-C", unpacked.string()});
        EXPECT_EQ(end.status, 0) << end.errors;
        std::ifstream stream(unpacked.string() + Path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    const CTemporaryDirectory directory;
};

TEST_F(TarHelper, PacksADirectoryUnderItsPath)
{
    directory.Write("log/system.log", "a line\n");
    directory.Write("log/frames/1.json", "{}");

    EXPECT_TRUE(Tar(Path("log"), Path("archive")));

    EXPECT_EQ(Packed(Path("archive"), "log/system.log"), "a line\n");
    EXPECT_EQ(Packed(Path("archive"), "log/frames/1.json"), "{}");
}

TEST_F(TarHelper, LogsTheRegularFilesOfTheDirectory)
{
    directory.Write("log/system.log", "");
    directory.Write("log/kernel.log", "");
    directory.Write("log/frames/1.json", "");
    const CCapturedLog log;

    Tar(Path("log"), Path("archive"));

    EXPECT_THAT(
        log.Messages(Log::ELogLevel::Debug),
        UnorderedElementsAre("Packaging " + Path("log/system.log"), "Packaging " + Path("log/kernel.log")));
    EXPECT_THAT(log.Messages(Log::ELogLevel::Error), IsEmpty());
}

TEST_F(TarHelper, OverwritesAnEarlierArchive)
{
    directory.Write("archive", "old");
    directory.Write("log/system.log", "new");

    EXPECT_TRUE(Tar(Path("log"), Path("archive")));

    EXPECT_EQ(Packed(Path("archive"), "log/system.log"), "new");
}

TEST_F(TarHelper, TellsOfACommandThatFailed)
{
    const CCapturedLog log;

    EXPECT_FALSE(Tar(Path("nowhere"), Path("archive")));
    directory.Write("log/system.log", "");
    EXPECT_FALSE(Tar(Path("log"), Path("nowhere/archive")));

    EXPECT_THAT(
        log.Messages(Log::ELogLevel::Error),
        ElementsAre("Command '/bin/tar -cf " + Path("archive") + " " + Path("nowhere") + "' failed: 2",
                    "Command '/bin/tar -cf " + Path("nowhere/archive") + " " + Path("log") + "' failed: 2"));
}

TEST_F(TarHelper, TakesOddNamesAsTheyAreAndRunsNoneOfThem)
{
    const fs::path before = fs::current_path();
    fs::current_path(directory.Path());
    for (const std::string name : {"a b",
                                   "$(touch ran)",
                                   "`touch ran`",
                                   "; touch ran",
                                   "| touch ran",
                                   "--to-command=touch ran",
                                   "quote'\"",
                                   "line\nfeed",
                                   "host:name"})
    {
        directory.Write(name + "/" + name, name);

        EXPECT_TRUE(Tar(Path(name), Path(name + ".tar")));

        EXPECT_EQ(Packed(Path(name + ".tar"), name + "/" + name), name);
        EXPECT_FALSE(fs::exists("ran")) << name;
    }
    fs::current_path(before);
}

TEST_F(TarHelper, TakesARelativeDirectoryThatLooksLikeAnOption)
{
    const fs::path before = fs::current_path();
    fs::current_path(directory.Path());
    directory.Write("--checkpoint-action=exec=touch ran/file", "x");

    EXPECT_TRUE(Tar("--checkpoint-action=exec=touch ran", "archive"));

    EXPECT_FALSE(fs::exists("ran"));
    fs::current_path(before);
}

} // namespace
