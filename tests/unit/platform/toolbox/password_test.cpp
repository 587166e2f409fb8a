#include "platform/config/tarnconfig.h"
#include "platform/toolbox/password.h"

#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/stationroot.h"

using testing::StartsWith;
using Toolbox::CPassword;

namespace
{

// sha512crypt at its least cost, for tests that don't mind the method
const std::string Encoded =
    "$6$rounds=1000$abcd$"
    "r2.ruxXy.fi1haF8SbfCP8.URrOuvrx1HJt7o063BaRmwl3JfohPs90TlqDYxm/T8/6dje3xOqEfIlZqXARPG1";
const std::string EncodedText = "secret";

/// Decodes a text that must be decodable.
CPassword Decoded(const std::string& encoded)
{
    return CPassword::FromEncoded(encoded).value();
}

bool CanBeDecoded(const std::string& encoded)
{
    return CPassword::FromEncoded(encoded).has_value();
}

struct SKnown
{
    std::string encoded;
    std::string password;
};

std::ostream& operator<<(std::ostream& stream, const SKnown& known)
{
    return stream << known.encoded;
}

class CurrentMethods : public testing::TestWithParam<SKnown>
{
};

class RefusedTexts : public testing::TestWithParam<std::string>
{
};

} // namespace

TEST(Password, IsItsOwnPlainTextAndNoOther)
{
    const CPassword password = CPassword::FromPlainText("open sesame");

    EXPECT_TRUE(password.Equal("open sesame"));
    EXPECT_FALSE(password.Equal("open sesam"));
    EXPECT_FALSE(password.Equal("open sesame "));
    EXPECT_FALSE(password.Equal("Open sesame"));
    EXPECT_FALSE(password.Equal(""));
}

TEST(Password, IsTheSameAfterEncodingAndDecoding)
{
    const CPassword password = Decoded(CPassword::FromPlainText("open sesame").ToString());

    EXPECT_TRUE(password.Equal("open sesame"));
    EXPECT_FALSE(password.Equal("open barley"));
}

TEST(Password, IsEncodedByYescryptAtItsDefaultCost)
{
    EXPECT_THAT(CPassword::FromPlainText("open sesame").ToString(), StartsWith("$y$j9T$"));
}

TEST(Password, HasAnotherSaltEachTime)
{
    EXPECT_NE(CPassword::FromPlainText("open sesame").ToString(),
              CPassword::FromPlainText("open sesame").ToString());
}

TEST(Password, GivesBackTheEncodedFormThatItWasDecodedFrom)
{
    EXPECT_EQ(Decoded(Encoded).ToString(), Encoded);
}

TEST(Password, MayBeEmpty)
{
    const CPassword password = CPassword::FromPlainText("");

    EXPECT_TRUE(password.Equal(""));
    EXPECT_FALSE(password.Equal("a"));
}

TEST(Password, MayBeBytesThatAreNoUtf8)
{
    const std::string bytes = "\xff\xfe\x80 caf\xe9";
    const CPassword password = CPassword::FromPlainText(bytes);

    EXPECT_TRUE(password.Equal(bytes));
    EXPECT_FALSE(password.Equal("\xff\xfe\x80 caf\xe8"));
    EXPECT_FALSE(password.Equal("\xff\xfe\x80 caf\xc3\xa9"));
}

TEST(Password, CountsEveryByteUpToTheLimit)
{
    const std::string longest(511, 'x');
    const CPassword password = CPassword::FromPlainText(longest);

    EXPECT_TRUE(password.Equal(longest));
    EXPECT_FALSE(password.Equal(longest.substr(1)));
    EXPECT_FALSE(password.Equal(longest.substr(1) + 'y'));
}

TEST(Password, BeyondTheLimitIsNotMade)
{
    EXPECT_THROW(CPassword::FromPlainText(std::string(512, 'x')), std::invalid_argument);
    EXPECT_THROW(CPassword::FromPlainText(std::string(1U << 20U, 'x')), std::invalid_argument);
}

TEST(Password, BeyondTheLimitIsNotEqualToItsBeginning)
{
    const CPassword password = CPassword::FromPlainText(std::string(511, 'x'));

    EXPECT_FALSE(password.Equal(std::string(512, 'x')));
    EXPECT_FALSE(password.Equal(std::string(1U << 20U, 'x')));
}

TEST(Password, WithANulByteIsNotMade)
{
    EXPECT_THROW(CPassword::FromPlainText(std::string("open\0sesame", 11)), std::invalid_argument);
    EXPECT_THROW(CPassword::FromPlainText(std::string("open\0", 5)), std::invalid_argument);
    EXPECT_THROW(CPassword::FromPlainText(std::string(1, '\0')), std::invalid_argument);
}

TEST(Password, WithANulByteIsNotEqualToWhatStandsBeforeIt)
{
    EXPECT_FALSE(Decoded(Encoded).Equal(EncodedText + std::string("\0more", 5)));
    EXPECT_FALSE(Decoded(Encoded).Equal(EncodedText + std::string(1, '\0')));
    EXPECT_FALSE(CPassword::FromPlainText("").Equal(std::string(1, '\0')));
}

TEST(Password, OfBcryptEndsAtTheBytesThatTheMethodLooksAt)
{
    // the method gives the same for 72 letters and for more
    const CPassword password = Decoded("$2b$04$abcdefghijklmnopqrstuubzadhGtS2zEF.gu0yd0opP6cVzb.e0i");

    EXPECT_TRUE(password.Equal(std::string(72, 'x')));
    EXPECT_FALSE(password.Equal(std::string(73, 'x')));
}

TEST(Password, IsCopiedByValue)
{
    CPassword password = CPassword::FromPlainText("before");
    const CPassword copy = password;

    password = Decoded(Encoded);

    EXPECT_TRUE(copy.Equal("before"));
    EXPECT_TRUE(password.Equal(EncodedText));
}

TEST(Password, IsComparedByManyThreadsAtOnce)
{
    constexpr int Threads = 4;
    constexpr int Comparisons = 25;
    const CPassword password = Decoded(Encoded);
    std::vector<int> rights(Threads);
    std::vector<std::thread> threads;
    for (int& right : rights)
    {
        threads.emplace_back(
            [&]
            {
                for (int i = 0; i < Comparisons; ++i)
                {
                    right += password.Equal(EncodedText) && !password.Equal("another") ? 1 : 0;
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_THAT(rights, testing::Each(Comparisons));
}

TEST(Password, OfTheSimulatedStationIsTheDocumentedOne)
{
    const CStationRoot station;
    const auto secrets = TarnConfig::Create("secrets", station.Root());

    EXPECT_TRUE(Decoded(secrets->GetString("WebIfManagementPassword", "")).Equal("station-demo"));
    EXPECT_TRUE(Decoded(secrets->GetString("WebIfPukCode", "")).Equal("12345678"));
}

TEST_P(CurrentMethods, AreDecodedAndCompared)
{
    const CPassword password = Decoded(GetParam().encoded);

    EXPECT_TRUE(password.Equal(GetParam().password));
    EXPECT_FALSE(password.Equal(GetParam().password + "x"));
    EXPECT_FALSE(password.Equal(""));
}

TEST_P(CurrentMethods, AreRefusedWithoutTheEndOfTheHash)
{
    const std::string& whole = GetParam().encoded;

    EXPECT_FALSE(CanBeDecoded(whole.substr(0, whole.size() - 1)));
    EXPECT_FALSE(CanBeDecoded(whole.substr(0, whole.rfind('$') + 1)));
    EXPECT_FALSE(CanBeDecoded(whole.substr(0, whole.rfind('$'))));
}

TEST_P(CurrentMethods, AreRefusedWithAnythingBehindTheHash)
{
    EXPECT_FALSE(CanBeDecoded(GetParam().encoded + "x"));
    EXPECT_FALSE(CanBeDecoded(GetParam().encoded + "\n"));
    EXPECT_FALSE(CanBeDecoded(GetParam().encoded + std::string(1, '\0')));
}

INSTANTIATE_TEST_SUITE_P(
    Password,
    CurrentMethods,
    testing::Values(
        SKnown{Encoded, EncodedText},
        SKnown{"$6$saltstring$"
               "svn8UoSVapNtMuq1ukKS4tPQd8iKwSMHWjl/O817G3uBnIFNjnQJuesI68u4OTLiBFdcbYEdFCoEOfaS35inz1",
               "Hello world!"},
        SKnown{"$2a$05$CCCCCCCCCCCCCCCCCCCCC.E5YPO9kmyuRGyh0XouQYb4YMJKvyOeW", "U*U"},
        SKnown{"$2b$04$abcdefghijklmnopqrstuu2r9OfJnfCsdneAXAGHnS4UpFFP8WIrW", "secret"},
        SKnown{"$2y$04$abcdefghijklmnopqrstuu2r9OfJnfCsdneAXAGHnS4UpFFP8WIrW", "secret"},
        SKnown{"$y$j75$abcd$4kXmLgaKDvIX6kdRHPMTHEFMzZbz3KU11lQ0dx6AKZ3", "secret"},
        SKnown{"$gy$j9T$abcd$wtnEhMpT3Szw0WWGlzeenA0B1Cum1o44pZlT747rQ09", "secret"},
        SKnown{"$7$CU..../....abc$wAuEOYcLM7kO6uZQXQIbfiQLCU8Fy1YXPblM7CyxZH3", "secret"}));

TEST_P(RefusedTexts, CannotBeDecoded)
{
    EXPECT_FALSE(CanBeDecoded(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(
    Password,
    RefusedTexts,
    testing::Values("",
                    "$",
                    "$$",
                    "open sesame",
                    "*0",
                    "*1",
                    "*",
                    "!" + Encoded,
                    " " + Encoded,
                    std::string(1, '\0') + Encoded,
                    // a byte that no encoded password has
                    "$6$rounds=1000$a:cd" + Encoded.substr(Encoded.rfind('$')),
                    "$6$rounds=1000$a\ncd" + Encoded.substr(Encoded.rfind('$')),
                    "$6$rounds=1000$ab" + std::string("\0cd", 3) + Encoded.substr(Encoded.rfind('$')),
                    // method or hash missing
                    "$y$",
                    "$y$j9T$",
                    "$y$j9T$TcMG1ZQgkKAfGzXUt0htT/",
                    "$x$j9T$abcd$4kXmLgaKDvIX6kdRHPMTHEFMzZbz3KU11lQ0dx6AKZ3",
                    // outdated methods, each with its right hash of "secret"
                    "abNANd1rDfiNc",
                    "$1$legacy$OCJw7GwD/0w6XyZZ7xw1Z1",
                    "$2x$04$abcdefghijklmnopqrstuu2r9OfJnfCsdneAXAGHnS4UpFFP8WIrW",
                    "$5$rounds=1000$legacy$lfV3hbbFYpxYwpxR7G4Jo7/8Lz66C8NXyHgkv.enxS6",
                    // as long as a request's body may be
                    std::string(1U << 20U, '$'),
                    "$6$" + std::string(1U << 20U, 'a') + Encoded.substr(Encoded.rfind('$'))));
