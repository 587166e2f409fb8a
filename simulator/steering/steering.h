/// How the simulated station is steered from outside: the requests and what they do, apart from HTTP.
#pragma once

#include "simulator/steering/httpserver.h"

#include <json/value.h>

#include <functional>
#include <map>
#include <string>
#include <utility>

namespace Simulator
{

struct SSteeringRequest
{
    std::map<std::string, std::string> query;
    /// null without a body
    Json::Value body;
};

/// The steering requests by path and method.
/// Threads: Add before the first request; Handle from any, several at a time.
class CSteering
{
public:
    /// Gives the JSON that is answered; throws CSteeringError for another status than 200.
    using Handler = std::function<Json::Value(const SSteeringRequest&)>;

    void Add(const std::string& path, const std::string& method, Handler handler);

    /// Whether there is a request of that path and method.
    bool Knows(const std::string& path, const std::string& method) const;

    /// Answers with JSON, errors as {"Error": REASON}: 400 for a wrong request, 404 for an unknown path, 405
    /// for an unknown method of a path, 500 for what fails inside.
    SHttpAnswer Handle(const SHttpRequest& request) const;

private:
    Json::Value Run(const SHttpRequest& request) const;

    // Constant after the first request
    std::map<std::string, std::map<std::string, Handler>> routes;
};

/// A number in the query.
/// @throws CBadRequest if it is none from 0 to @p greatest
double QueryNumber(const SSteeringRequest& request, const char* key, double fallback, double greatest);

/// A text in the query, empty if absent.
std::string QueryText(const SSteeringRequest& request, const char* key);

} // namespace Simulator
