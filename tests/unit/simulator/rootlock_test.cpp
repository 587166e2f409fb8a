#include "simulator/rootlock.h"

#include <optional>
#include <stdexcept>

#include <gtest/gtest.h>

#include "tests/support/temporarydirectory.h"

using Simulator::CRootLock;

TEST(RootLock, IsHeldByOneAtATime)
{
    const CTemporaryDirectory root;
    std::optional<CRootLock> first(root.Path());
    EXPECT_THROW(const CRootLock second(root.Path()), std::runtime_error);
    first.reset();
    EXPECT_NO_THROW(const CRootLock third(root.Path()));
}

TEST(RootLock, OtherRootsAreFree)
{
    const CTemporaryDirectory root;
    const CTemporaryDirectory other;
    const CRootLock first(root.Path());
    EXPECT_NO_THROW(const CRootLock second(other.Path()));
}
