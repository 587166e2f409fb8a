#include "contracts/diagnostics/signalcatalogue.h"

#include <gtest/gtest.h>

TEST(SignalCatalogue, UserActionIsATextWithoutUnit)
{
    EXPECT_EQ(Signals::UserActionPerformed.Identifier(), 20502);
    EXPECT_EQ(Signals::UserActionPerformed.Description(), "User has interacted with ZORN");
    EXPECT_EQ(Signals::UserActionPerformed.InitialValue(), "");
    EXPECT_EQ(Signals::UserActionPerformed.Unit(), "");
}
