#include "simulator/operations.h"

#include <set>
#include <string>

#include <gtest/gtest.h>

using Simulator::EAnswer;
using Simulator::FindOperation;
using Simulator::IsServiceName;
using Simulator::SOperation;

TEST(OperationTable, FindsByServiceAndName)
{
    const SOperation* const operation = FindOperation("NetM", "ValidateConfig");
    ASSERT_NE(operation, nullptr);
    EXPECT_EQ(operation->answer, EAnswer::Bool);
    EXPECT_EQ(FindOperation("Rfid", "ValidateConfig"), nullptr);
    EXPECT_EQ(FindOperation("NetM", "validateconfig"), nullptr);
}

TEST(OperationTable, EveryRowBelongsToAServiceAndIsUnique)
{
    std::set<std::pair<std::string_view, std::string_view>> seen;
    for (const SOperation& row : Simulator::Operations::All)
    {
        EXPECT_TRUE(IsServiceName(row.service)) << row.service;
        EXPECT_TRUE(seen.emplace(row.service, row.name).second) << row.name;
        EXPECT_EQ(FindOperation(row.service, row.name)->answer, row.answer) << row.name;
    }
}

TEST(OperationTable, EveryStreamHasItsNotification)
{
    for (const SOperation& row : Simulator::Operations::All)
    {
        if (row.answer == EAnswer::Stream)
        {
            const std::string name(row.name.substr(std::string("Subscribe").size()));
            ASSERT_NE(FindOperation(row.service, name), nullptr) << name;
            EXPECT_EQ(FindOperation(row.service, name)->answer, EAnswer::Notification) << name;
        }
    }
}
