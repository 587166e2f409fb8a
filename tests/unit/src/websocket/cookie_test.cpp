#include "src/websocket/cookie.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::Optional;

namespace
{

std::optional<std::string> SessionId(const std::string& header)
{
    return ExtractCookie(header, "sessionid", ';');
}

} // namespace

TEST(Cookie, IsFoundAlone)
{
    EXPECT_THAT(SessionId("sessionid=a"), Optional(std::string("a")));
}

TEST(Cookie, ThatComesFirstEndsAtTheDelimiter)
{
    EXPECT_THAT(SessionId("sessionid=a;x=1"), Optional(std::string("a")));
}

TEST(Cookie, ThatComesLastIsFound)
{
    EXPECT_THAT(SessionId("x=1;sessionid=a"), Optional(std::string("a")));
}

TEST(Cookie, InTheMiddleRunsOnBehindItsDelimiter)
{
    EXPECT_THAT(SessionId("x=1;sessionid=a;y=2"), Optional(std::string("a;y=2")));
}

TEST(Cookie, InTheMiddleRunsOnByAsMuchAsStandsBeforeItsText)
{
    EXPECT_THAT(SessionId("x=1;sessionid=a;y=2;z=3"), Optional(std::string("a;y=2")));
}

TEST(Cookie, BehindABlankIsNotFound)
{
    EXPECT_EQ(SessionId("x=1; sessionid=a"), std::nullopt);
    EXPECT_EQ(SessionId(" sessionid=a"), std::nullopt);
}

TEST(Cookie, KeepsTheBlanksOfItsValue)
{
    EXPECT_THAT(SessionId("sessionid= a ;x=1"), Optional(std::string(" a ")));
}

TEST(Cookie, NameWithABlankBeforeTheEqualsSignIsAnotherName)
{
    EXPECT_EQ(SessionId("sessionid =a"), std::nullopt);
}

TEST(Cookie, NameOfAnotherCaseIsAnotherName)
{
    EXPECT_EQ(SessionId("SessionId=a"), std::nullopt);
}

TEST(Cookie, NameThatBeginsOrEndsLikeItIsAnotherName)
{
    EXPECT_EQ(SessionId("sessionid2=a"), std::nullopt);
    EXPECT_EQ(SessionId("xsessionid=a"), std::nullopt);
    EXPECT_EQ(SessionId("session=a"), std::nullopt);
}

TEST(Cookie, WithoutAValueIsEmpty)
{
    EXPECT_THAT(SessionId("sessionid="), Optional(std::string()));
    EXPECT_THAT(SessionId("sessionid=;x=1"), Optional(std::string()));
}

TEST(Cookie, WithoutAnEqualsSignIsNone)
{
    EXPECT_EQ(SessionId("sessionid"), std::nullopt);
    EXPECT_EQ(SessionId("sessionid;x=1"), std::nullopt);
}

TEST(Cookie, ValueHoldsFurtherEqualsSigns)
{
    EXPECT_THAT(SessionId("sessionid=a=b"), Optional(std::string("a=b")));
}

TEST(Cookie, OfTwoTheFirstIsTaken)
{
    EXPECT_THAT(SessionId("sessionid=a;sessionid=b"), Optional(std::string("a")));
}

TEST(Cookie, DelimitersInARowCountAsOne)
{
    EXPECT_THAT(SessionId(";;sessionid=a"), Optional(std::string("a")));
    EXPECT_THAT(SessionId("x=1;;;sessionid=a"), Optional(std::string("a")));
}

TEST(Cookie, IsNotInATextWithoutAnyToken)
{
    EXPECT_EQ(SessionId(""), std::nullopt);
    EXPECT_EQ(SessionId(";"), std::nullopt);
    EXPECT_EQ(SessionId(";;;"), std::nullopt);
    EXPECT_EQ(SessionId("x=1;"), std::nullopt);
}
