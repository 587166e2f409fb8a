#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>

/// The answer to a steering request of the simulated station.
struct SSteeringAnswer
{
    int status = 0;
    /// null if the body is no JSON
    Json::Value body;
};

/// Steers the simulated station from a test, over HTTP. docs/simulator.md lists the requests.
///
///     CSteeringClient station(8090);
///     station.Post("/connector", R"({"State": 11})");
///     const std::uint64_t before = station.LastCall();
///     ...
///     EXPECT_EQ(station.AwaitCall("NetM", "ValidateConfig", before)["Request"], Json::objectValue);
///
/// Every operation throws std::runtime_error, which fails the test with its text, if the station can't be
/// reached. Threads: any.
class CSteeringClient
{
public:
    explicit CSteeringClient(std::uint16_t port);

    SSteeringAnswer Get(const std::string& target) const;
    SSteeringAnswer Delete(const std::string& target) const;

    /// @param body JSON text
    SSteeringAnswer Post(const std::string& path, const std::string& body = {}) const;

    /// The number of the last call that has arrived at any service.
    std::uint64_t LastCall() const;

    /// Waits until a call of the operation arrives with a number above @p after.
    /// @return the first such call: {"Number", "Service", "Operation", "Request", "Time"}
    /// @throws std::runtime_error if none arrives in time
    Json::Value
    AwaitCall(const std::string& service, const std::string& operation, std::uint64_t after = 0) const;

    /// All calls of the operation so far with a number above @p after.
    Json::Value
    Calls(const std::string& service, const std::string& operation, std::uint64_t after = 0) const;

    /// Waits until the process has reported this state and is in it.
    /// @throws std::runtime_error if it does not get there in time
    void AwaitProcessState(int state) const;

private:
    SSteeringAnswer Request(const char* method, const std::string& target, const std::string& body) const;

    // Constant after construction
    const std::uint16_t port;
};
