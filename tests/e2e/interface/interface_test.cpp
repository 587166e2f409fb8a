#include <gmock/gmock.h>

#include "tests/e2e/interface/interfacetest.h"
#include "tests/e2e/interface/sections.h"

namespace Interface
{

Sections AllSections()
{
    Sections all;
    for (const auto& area : {Frame,
                             Authentication,
                             Passwords,
                             UserSettings,
                             NetworkSettings,
                             Backoffices,
                             Tokens,
                             Schedules,
                             SystemControl,
                             Installation,
                             Diagnostics,
                             Charging,
                             Topics,
                             Uploads})
    {
        for (SSection& section : area())
        {
            all.push_back(std::move(section));
        }
    }
    return all;
}

void PrintTo(const SSection& section, std::ostream* stream)
{
    *stream << section.name;
}

} // namespace Interface

namespace
{

using namespace Interface;

class InterfaceTable : public InterfaceTest, public testing::WithParamInterface<SSection>
{
};

} // namespace

TEST_P(InterfaceTable, StandsAsItIsWritten)
{
    Run(GetParam());
}

INSTANTIATE_TEST_SUITE_P(,
                         InterfaceTable,
                         testing::ValuesIn(AllSections()),
                         [](const auto& section) { return section.param.name; });
