#include "src/session/sessionkey.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// The expected keys were made by another implementation of the random numbers and of the digest.

TEST(SessionKey, IsTheDigestOfTheEnginesNextThirtyTwoValues)
{
    std::mt19937 engine(1);

    EXPECT_EQ(GenerateSessionKey(engine), "8a4be18b7c78099214df4bd4d303ddaf3ed0da4deffe0d927bffc0fc9904e2c9");
    EXPECT_EQ(GenerateSessionKey(engine), "c066d5dcbc5e8b8f464c50496a5821d45af6b9799142db3f9b2e9e0efe51f849");
    EXPECT_EQ(GenerateSessionKey(engine), "8a895718f609bf93ae58420a719b25ddf6b52270a864b87da1ab95116d9090d0");
}

TEST(SessionKey, KeepsTheZeroInFrontOfASmallByte)
{
    std::mt19937 engine(2);

    EXPECT_EQ(GenerateSessionKey(engine), "022c5888860bb60e7431a43315631fe22815b1dbe5217987dc3a4d1a1e204771");
}
