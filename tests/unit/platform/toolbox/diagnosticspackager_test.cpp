#include "platform/toolbox/diagnosticspackager.h"
#include "platform/toolbox/interruption.h"
#include "platform/toolbox/program.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/capturedlog.h"
#include "tests/support/privatenamespace.h"
#include "tests/support/temporarydirectory.h"

namespace
{

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using testing::UnorderedElementsAre;
using Toolbox::CDiagnosticsPackager;

constexpr std::int64_t EndOfTime = 0x7fffffffffffffff;
const std::string PackageName = "diagnostics_package_webbackend.pedp";

/// Names that a shell or tar could take for something else.
const std::vector<std::string> OddNames{"a b",
                                        "$(touch ran)",
                                        "`touch ran`",
                                        "; touch ran",
                                        "--checkpoint-action=exec=touch ran",
                                        "-C",
                                        "*",
                                        "quote'\"",
                                        "line\nfeed",
                                        "back\\nslash",
                                        "host:file",
                                        "umlaut \xC3\xA4",
                                        "no text \xFF"};

std::string Read(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

class DiagnosticsPackager : public testing::Test
{
protected:
    DiagnosticsPackager()
    {
        fs::create_directory(log);
        fs::create_directory(target);
    }

    void WriteLog(const std::string& name, const std::string& contents) const
    {
        directory.Write("log/" + name, contents);
    }

    CDiagnosticsPackager Packager() const { return {log, target}; }

    CDiagnosticsPackager::Collection Everything() const { return Packager().CollectFiles(0, EndOfTime); }

    /// Packs all that there is. @return the package's path
    std::string Pack() const { return Packager().CreatePackage(PackageName, Everything()); }

    /// Unpacks a package into an empty directory. @return the paths of the files in it, from there
    std::vector<std::string> Unpack(const std::string& package) const
    {
        fs::remove_all(unpacked);
        fs::create_directory(unpacked);
        const auto end = Toolbox::RunProgram({"/bin/tar", "-xf", package, "-C", unpacked.string()});
        EXPECT_EQ(end.status, 0) << end.errors;
        std::vector<std::string> names;
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(unpacked))
        {
            if (!entry.is_directory())
            {
                names.push_back(entry.path().lexically_relative(unpacked).string());
            }
        }
        return names;
    }

    /// A packager whose tar is a script.
    CDiagnosticsPackager PackagerWithTar(const std::string& script) const
    {
        const fs::path tar = directory.Path() / "tar";
        directory.Write("tar", "#!/bin/sh\n" + script);
        fs::permissions(tar, fs::perms::owner_all);
        return {log, target, std::chrono::system_clock::now, tar.string()};
    }

    std::vector<std::string> InTarget() const
    {
        std::vector<std::string> names;
        for (const fs::directory_entry& entry : fs::directory_iterator(target))
        {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }

    const CTemporaryDirectory directory;
    const fs::path log = directory.Path() / "log";
    const fs::path target = directory.Path() / "target";
    const fs::path unpacked = directory.Path() / "unpacked";
};

/// The name of a package of noon on the first of May 2024.
std::string FileName(const std::string& customer, const std::string& serialNumber)
{
    const auto now = [] { return std::chrono::system_clock::from_time_t(1714564800); };
    return CDiagnosticsPackager("log", "target", now).GetPackageFileName(customer, serialNumber);
}

// ------------------------------------------------------------------------------------------- file name

TEST(DiagnosticsPackageName, IsOfCustomerSerialNumberAndTime)
{
    EXPECT_EQ(FileName("ACME", "SN-0042"), "ACME_SN-0042_2024-05-01T120000.pedp");
    EXPECT_EQ(FileName("a.b_c-d", "09"), "a.b_c-d_09_2024-05-01T120000.pedp");
}

TEST(DiagnosticsPackageName, HasItsPlacesAlsoWhenNothingIsKnown)
{
    EXPECT_EQ(FileName("", ""), "__2024-05-01T120000.pedp");
    EXPECT_EQ(FileName("", "SN"), "_SN_2024-05-01T120000.pedp");
}

TEST(DiagnosticsPackageName, HoldsNothingThatCouldEndAHeaderOrLeadElsewhere)
{
    EXPECT_EQ(FileName("../../etc", "a/b\\c"), ".._.._etc_a_b_c_2024-05-01T120000.pedp");
    EXPECT_EQ(FileName("a\r\nSet-Cookie: x=y", "\"; filename=evil"),
              "a__Set-Cookie__x_y____filename_evil_2024-05-01T120000.pedp");
    EXPECT_EQ(FileName(std::string("a\0b", 3), "\xC3\xA4\x7F"), "a_b_____2024-05-01T120000.pedp");
}

TEST(DiagnosticsPackageName, TakesThePresentTimeByDefault)
{
    EXPECT_THAT(CDiagnosticsPackager("log", "target").GetPackageFileName("A", "B"),
                testing::MatchesRegex("A_B_20[0-9]{2}-[0-9]{2}-[0-9]{2}T[0-9]{6}[.]pedp"));
}

// ------------------------------------------------------------------------------------------- collection

TEST_F(DiagnosticsPackager, CollectsAllFilesInAndBelowTheDirectory)
{
    WriteLog("system.log", "1");
    WriteLog("frames/freezeframe_1.json", "{}");
    WriteLog("frames/old/freezeframe_0.json", "{}");
    fs::create_directory(log / "empty");

    EXPECT_THAT(Everything(),
                ElementsAre("frames/freezeframe_1.json", "frames/old/freezeframe_0.json", "system.log"));
}

TEST_F(DiagnosticsPackager, CollectsFilesOfTheGivenTimeOnly)
{
    for (const std::int64_t time : {999, 1000, 2000, 2001})
    {
        WriteLog(std::to_string(time), "x");
        const timespec changed{time, 500000000};
        const std::array<timespec, 2> times{changed, changed};
        ASSERT_EQ(utimensat(AT_FDCWD, (log / std::to_string(time)).c_str(), times.data(), 0), 0);
    }

    EXPECT_THAT(Packager().CollectFiles(1000, 2000), ElementsAre("1000", "2000"));
    EXPECT_THAT(Everything(), ElementsAre("1000", "2000", "2001", "999"));
}

TEST_F(DiagnosticsPackager, FollowsNoLinksAndLeavesPipesAlone)
{
    directory.Write("secret/password", "x");
    WriteLog("system.log", "1");
    fs::create_symlink(directory.Path() / "secret/password", log / "file link");
    fs::create_directory_symlink(directory.Path() / "secret", log / "directory link");
    fs::create_symlink(log, log / "loop");
    ASSERT_EQ(mkfifo((log / "pipe").c_str(), 0600), 0);

    EXPECT_THAT(Everything(), ElementsAre("system.log"));
}

TEST_F(DiagnosticsPackager, CollectsNothingFromADirectoryThatIsNotThere)
{
    fs::remove(log);
    const CCapturedLog capture(Log::ELogLevel::Warn);

    EXPECT_THAT(Everything(), IsEmpty());
    EXPECT_TRUE(
        capture.Has(Log::ELogLevel::Warn, "Cannot read " + log.string() + ": No such file or directory"));
}

// ------------------------------------------------------------------------------------------- package

TEST_F(DiagnosticsPackager, PacksTheFilesWithTheirContents)
{
    WriteLog("system.log", "a line\n");
    WriteLog("frames/freezeframe_1.json", "{}");

    const std::string package = Pack();

    EXPECT_EQ(package, target / PackageName);
    EXPECT_THAT(Unpack(package), UnorderedElementsAre("system.log", "frames/freezeframe_1.json"));
    EXPECT_EQ(Read(unpacked / "system.log"), "a line\n");
    EXPECT_EQ(Read(unpacked / "frames/freezeframe_1.json"), "{}");
}

TEST_F(DiagnosticsPackager, PacksOddNamesAndRunsNoneOfThem)
{
    const fs::path before = fs::current_path();
    fs::current_path(directory.Path());
    for (const std::string& name : OddNames)
    {
        WriteLog(name, name);
    }

    EXPECT_THAT(Unpack(Pack()), testing::UnorderedElementsAreArray(OddNames));

    for (const std::string& name : OddNames)
    {
        EXPECT_EQ(Read(unpacked / name), name);
    }
    EXPECT_FALSE(fs::exists(directory.Path() / "ran"));
    EXPECT_FALSE(fs::exists(log / "ran"));
    fs::current_path(before);
}

TEST_F(DiagnosticsPackager, WorksInDirectoriesOfOddNames)
{
    for (const std::string& name : OddNames)
    {
        directory.Write("odd/" + name + "/system.log", name);
        directory.Write("odd/" + name + "/target/keep", "");
        const fs::path odd = directory.Path() / "odd" / name;
        const CDiagnosticsPackager packager(odd, odd / "target");

        const std::string package = packager.CreatePackage(PackageName, {"system.log"});

        EXPECT_THAT(Unpack(package), ElementsAre("system.log")) << name;
        EXPECT_EQ(Read(unpacked / "system.log"), name);
    }
}

TEST_F(DiagnosticsPackager, PacksNothingIntoAnEmptyArchive)
{
    EXPECT_THAT(Unpack(Pack()), IsEmpty());
}

TEST_F(DiagnosticsPackager, PacksALongListOfLongNames)
{
    const std::string longName(200, 'n');
    for (int number = 0; number < 500; ++number)
    {
        WriteLog(longName + std::to_string(number), "x");
    }
    EXPECT_EQ(Unpack(Pack()).size(), 500U);
}

TEST_F(DiagnosticsPackager, LeavesOutWhatHasGoneSinceItWasCollected)
{
    WriteLog("gone", "1");
    WriteLog("system.log", "2");
    const auto files = Everything();
    fs::remove(log / "gone");
    const CCapturedLog capture(Log::ELogLevel::Warn);

    EXPECT_THAT(Unpack(Packager().CreatePackage(PackageName, files)), ElementsAre("system.log"));

    EXPECT_THAT(capture.Messages(Log::ELogLevel::Warn),
                ElementsAre(AllOf(StartsWith("Packing " + log.string() + " ended with 0: "),
                                  HasSubstr("gone: Warning: Cannot stat: No such file or directory"))));
}

TEST_F(DiagnosticsPackager, WarnsOfWhatTarTellsAndTakesItsArchive)
{
    const CDiagnosticsPackager packager =
        PackagerWithTar("echo 'system.log: file changed as we read it' >&2; echo archive; exit 1");
    const CCapturedLog capture(Log::ELogLevel::Warn);

    EXPECT_EQ(Read(packager.CreatePackage(PackageName, {})), "archive\n");

    EXPECT_THAT(
        capture.Messages(Log::ELogLevel::Warn),
        ElementsAre("Packing " + log.string() + " ended with 1: system.log: file changed as we read it\n"));
}

TEST_F(DiagnosticsPackager, WarnsOfNothingWhenAllIsPacked)
{
    WriteLog("system.log", "1");
    const CCapturedLog capture(Log::ELogLevel::Warn);
    Pack();
    EXPECT_THAT(capture.Messages(Log::ELogLevel::Warn), IsEmpty());
}

TEST_F(DiagnosticsPackager, TakesThePlaceOfTheEarlierPackageAndLeavesNothingElse)
{
    WriteLog("old", "1");
    Pack();
    fs::remove(log / "old");
    WriteLog("new", "2");

    EXPECT_THAT(Unpack(Pack()), ElementsAre("new"));
    EXPECT_THAT(InTarget(), ElementsAre(PackageName));
}

TEST_F(DiagnosticsPackager, LeavesADownloadOfTheEarlierPackageAlone)
{
    WriteLog("system.log", "1");
    const std::string package = Pack();
    const std::string whole = Read(package);
    std::ifstream download(package, std::ios::binary);
    WriteLog("system.log", std::string(100000, '2'));
    Pack();

    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(download), {}), whole);
}

TEST_F(DiagnosticsPackager, IsReadableForItsOwnerOnly)
{
    struct stat status = {};
    ASSERT_EQ(stat(Pack().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(DiagnosticsPackager, ReplacesALinkInsteadOfFollowingIt)
{
    directory.Write("precious", "as it was");
    fs::create_symlink(directory.Path() / "precious", target / PackageName);

    EXPECT_THAT(Unpack(Pack()), IsEmpty());
    EXPECT_EQ(Read(directory.Path() / "precious"), "as it was");
    EXPECT_FALSE(fs::is_symlink(target / PackageName));
}

TEST_F(DiagnosticsPackager, GivesNoPathWhenTheTargetCanNotBeWritten)
{
    fs::remove(target);
    const CCapturedLog capture(Log::ELogLevel::Error);

    EXPECT_EQ(Pack(), "");
    EXPECT_TRUE(
        capture.Has(Log::ELogLevel::Error,
                    "Cannot write " + (target / PackageName).string() + ": No such file or directory"));
}

TEST_F(DiagnosticsPackager, GivesNoPathWhenTheNameIsTaken)
{
    fs::create_directories(target / PackageName / "full");

    EXPECT_EQ(Pack(), "");
    EXPECT_THAT(InTarget(), ElementsAre(PackageName));
}

TEST_F(DiagnosticsPackager, GivesNoPathWhenTheLogIsNotThere)
{
    fs::remove(log);
    const CCapturedLog capture(Log::ELogLevel::Error);

    EXPECT_EQ(Pack(), "");
    EXPECT_THAT(capture.Messages(Log::ELogLevel::Error),
                ElementsAre(HasSubstr("Packing " + log.string() + " failed with 2: ")));
    EXPECT_THAT(InTarget(), IsEmpty());
}

/// Makes what a directory holds live in a file system of one mebibyte, for this process alone.
void MakeSmall(const fs::path& path)
{
    EnterPrivateNamespace(CLONE_NEWNS, "a small file system for the tests");
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("small", path.c_str(), "tmpfs", 0, "size=1m") != 0)
    {
        throw std::system_error(errno, std::generic_category(), "a small file system");
    }
}

TEST_F(DiagnosticsPackager, GivesUpTheEarlierPackageWhenThereIsNoSpaceForBoth)
{
    WriteLog("system.log", std::string(700000, 'x'));

    EXPECT_EXIT(
        {
            MakeSmall(target);
            const bool isFirstThere = !Pack().empty();
            const bool isSecondThere = !Pack().empty();
            WriteLog("more.log", std::string(700000, 'x'));
            const bool isTooLargeThere = !Pack().empty();
            std::_Exit(isFirstThere && isSecondThere && !isTooLargeThere && InTarget().empty() ? 0 : 1);
        },
        testing::ExitedWithCode(0),
        "");
}

TEST_F(DiagnosticsPackager, KeepsTheEarlierPackageWhenTheLogIsNotThere)
{
    WriteLog("system.log", "1");
    const std::string package = Pack();
    fs::remove_all(log);

    EXPECT_EQ(Pack(), "");

    EXPECT_THAT(Unpack(package), ElementsAre("system.log"));
    EXPECT_THAT(InTarget(), ElementsAre(PackageName));
}

TEST_F(DiagnosticsPackager, KeepsTheEarlierPackageWhenTarFails)
{
    WriteLog("system.log", "1");
    const std::string package = Pack();
    const CCapturedLog capture(Log::ELogLevel::Error);

    EXPECT_EQ(PackagerWithTar("echo part; echo broken >&2; exit 2").CreatePackage(PackageName, {}), "");

    EXPECT_THAT(capture.Messages(Log::ELogLevel::Error),
                ElementsAre("Packing " + log.string() + " failed with 2: broken\n"));
    EXPECT_THAT(Unpack(package), ElementsAre("system.log"));
    EXPECT_THAT(InTarget(), ElementsAre(PackageName));
}

// ------------------------------------------------------------------------------------------- unfinished ones

TEST_F(DiagnosticsPackager, RemovesWhatACrashLeftAndNothingElse)
{
    directory.Write("target/" + PackageName + ".a1B2c3", "left");
    directory.Write("target/" + PackageName + ".abcdefg", "longer");
    directory.Write("target/" + PackageName + "_a1B2c3", "other");
    directory.Write("target/other.pedp.a1B2c3", "other");

    Pack();

    EXPECT_THAT(InTarget(),
                UnorderedElementsAre(
                    PackageName, PackageName + ".abcdefg", PackageName + "_a1B2c3", "other.pedp.a1B2c3"));
}

TEST_F(DiagnosticsPackager, RemovesWhatACrashLeftAlsoWhenItFails)
{
    directory.Write("target/" + PackageName + ".a1B2c3", "left");
    fs::remove(log);

    EXPECT_EQ(Pack(), "");

    EXPECT_THAT(InTarget(), IsEmpty());
}

/// Leaves this process so many free descriptors.
void LimitDescriptors(int count)
{
    const int next = dup(STDIN_FILENO);
    close(next);
    rlimit limit = {};
    limit.rlim_cur = static_cast<rlim_t>(next) + static_cast<rlim_t>(count);
    limit.rlim_max = limit.rlim_cur;
    setrlimit(RLIMIT_NOFILE, &limit);
}

TEST_F(DiagnosticsPackager, LeavesNothingUnfinishedWhenThereAreNoDescriptorsForTar)
{
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer needs descriptors of its own to look at what is thrown";
#endif
    EXPECT_EXIT(
        {
            LimitDescriptors(1);
            bool thrown = false;
            try
            {
                Packager().CreatePackage(PackageName, {});
            }
            catch (const std::system_error&)
            {
                thrown = true;
            }
            std::_Exit(thrown && InTarget().empty() ? 0 : 1);
        },
        testing::ExitedWithCode(0),
        "");
}

// ------------------------------------------------------------------------------------------- interruption

TEST_F(DiagnosticsPackager, IsInterruptedWithoutATrace)
{
    const fs::path pipe = directory.Path() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    WriteLog("system.log", "1");
    const std::string package = Pack();
    const CDiagnosticsPackager packager =
        PackagerWithTar("echo part; echo running >" + pipe.string() + "; exec sleep 600");
    Toolbox::CInterruption interruption;
    std::thread stopping(
        [&]
        {
            EXPECT_EQ(Read(pipe), "running\n");
            interruption.Interrupt();
        });

    EXPECT_THROW(packager.CreatePackage(PackageName, {}, &interruption), std::system_error);

    stopping.join();
    EXPECT_THAT(InTarget(), ElementsAre(PackageName));
    EXPECT_THAT(Unpack(package), ElementsAre("system.log"));
}

TEST_F(DiagnosticsPackager, PacksAgainAfterAnInterruption)
{
    WriteLog("system.log", "1");
    const CDiagnosticsPackager packager = Packager();
    Toolbox::CInterruption interruption;
    interruption.Interrupt();
    EXPECT_THROW(packager.CreatePackage(PackageName, {"system.log"}, &interruption), std::system_error);
    EXPECT_THAT(InTarget(), IsEmpty());

    interruption.Resume();

    EXPECT_THAT(Unpack(packager.CreatePackage(PackageName, {"system.log"}, &interruption)),
                ElementsAre("system.log"));
}

// ------------------------------------------------------------------------------------------- several

TEST_F(DiagnosticsPackager, PacksForSeveralAtTheSameTime)
{
    WriteLog("system.log", std::string(1000000, 'x'));
    const CDiagnosticsPackager packager = Packager();
    std::vector<std::string> paths(4);
    std::vector<std::thread> threads;
    for (std::string& path : paths)
    {
        threads.emplace_back([&packager, &path]
                             { path = packager.CreatePackage(PackageName, {"system.log"}); });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_THAT(paths, testing::Each(target / PackageName));
    EXPECT_THAT(Unpack(paths.front()), ElementsAre("system.log"));
    EXPECT_THAT(InTarget(), ElementsAre(PackageName));
}

} // namespace
