#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/integration/simulator/runningsimulator.h"

namespace
{

struct SExample
{
    std::string method;
    std::string target;
    std::string body;
};

/// The curl lines of the documentation, as in: curl -X DELETE "$S/calls?after=1" -d '{}'
std::vector<SExample> ReadExamples()
{
    static const std::regex line(R"re(curl (?:-X (\w+) )?"?\$S(/[^ "]*)"?(?: -d '(.*)')?)re");
    std::vector<SExample> examples;
    std::ifstream file(WEBBACKEND_DOCUMENTATION);
    for (std::string text; std::getline(file, text);)
    {
        std::smatch match;
        if (std::regex_match(text, match, line))
        {
            const std::string method = match[3].matched ? "POST" : "GET";
            examples.push_back({match[1].matched ? match[1].str() : method, match[2], match[3]});
        }
    }
    return examples;
}

/// Nobody is there to wait for.
std::string WithoutWait(const std::string& target)
{
    return std::regex_replace(target, std::regex("&wait=\\d+"), "");
}

} // namespace

TEST(SimulatorDocumentation, ExamplesWork)
{
    const CRunningSimulator station;
    const std::vector<SExample> examples = ReadExamples();
    EXPECT_GE(examples.size(), 40U);
    for (const SExample& example : examples)
    {
        const std::string target = WithoutWait(example.target);
        const SSteeringAnswer answer = example.method == "POST" ? station.steering.Post(target, example.body)
                                       : example.method == "DELETE" ? station.steering.Delete(target)
                                                                    : station.steering.Get(target);
        // without a process there is nobody to enable or disable
        const bool isForProcess = target == "/controller/enable" || target == "/controller/disable";
        EXPECT_EQ(answer.status, isForProcess ? 502 : 200)
            << example.method << ' ' << target << ' ' << example.body;
    }
}
