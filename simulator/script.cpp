#include "simulator/script.h"

#include "platform/json/jsonutil.h"
#include "platform/log/log.h"
#include "simulator/steering/jsonreader.h"

#include <json/reader.h>

#include <exception>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace Simulator
{

namespace
{

/// seconds: a day
constexpr double LongestWait = 86400;

Json::Value ParseArray(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
    {
        throw std::runtime_error("it can't be read");
    }
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    Json::Value steps;
    std::string errors;
    if (!Json::parseFromStream(builder, file, &steps, &errors) || !steps.isArray())
    {
        throw std::runtime_error("it is no JSON array. " + errors);
    }
    return steps;
}

SScriptStep ReadStep(const Json::Value& json, const CSteering& steering)
{
    CJsonReader reader(json, "the step");
    const std::chrono::duration<double> after(reader.Number("After", LongestWait));
    SScriptStep step;
    step.after = std::chrono::duration_cast<std::chrono::milliseconds>(after);
    step.path = reader.Text("Post");
    if (reader.Has("Body"))
    {
        reader.Object("Body");
        step.body = JsonUtil::WriteUnstyled(json["Body"]);
    }
    reader.RefuseOthers();
    if (!steering.Knows(step.path, "POST"))
    {
        throw std::runtime_error("there is no POST " + step.path);
    }
    return step;
}

} // namespace

std::vector<SScriptStep> ReadScript(const std::string& path, const CSteering& steering)
{
    std::vector<SScriptStep> steps;
    try
    {
        for (const Json::Value& json : ParseArray(path))
        {
            steps.push_back(ReadStep(json, steering));
        }
    }
    catch (const std::exception& error)
    {
        throw std::runtime_error("script " + path + ", step " + std::to_string(steps.size() + 1) + ": " +
                                 error.what());
    }
    return steps;
}

CScript::CScript(std::vector<SScriptStep> steps, const CSteering& steering)
    : steps(std::move(steps))
    , steering(steering)
    , worker("script")
{
}

CScript::~CScript()
{
    Stop();
}

void CScript::Start()
{
    due = worker.Now();
    PlanNext();
    worker.Start();
}

void CScript::Stop()
{
    worker.Stop();
}

void CScript::PlanNext()
{
    if (next < steps.size())
    {
        due += steps[next].after;
        planned = worker.AddCall([this] { RunNext(); }, due, std::chrono::nanoseconds(0));
    }
}

void CScript::RunNext()
{
    const SScriptStep& step = steps[next];
    const SHttpAnswer answer = steering.Handle({"POST", step.path, {}, step.body});
    if (answer.status == 200)
    {
        LOG_INFO("Script step {}: {}", next + 1, step.path);
    }
    else
    {
        LOG_WARN("Script step {}: {} was answered with {}", next + 1, step.path, answer.status);
    }
    ++next;
    PlanNext();
}

} // namespace Simulator
