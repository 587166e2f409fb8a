/// What the server promises to those who use <httpserver.hpp>, whichever implementation is behind it. The
/// tests know nothing but that header; where the bundled layer promises more than the library, the test
/// stands under HTTPSERVER_BUNDLED.
#pragma once

#include <httpserver.hpp>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "tests/support/rawhttp.h"

using RenderResult = decltype(std::declval<httpserver::http_resource&>().render(
    std::declval<const httpserver::http_request&>()));
using RenderFunction =
    std::function<std::shared_ptr<httpserver::http_response>(const httpserver::http_request&)>;

/// A resource that answers with a function.
class CFunctionResource : public httpserver::http_resource
{
public:
    explicit CFunctionResource(RenderFunction function);

    RenderResult render(const httpserver::http_request& request) override;

private:
    RenderFunction function;
};

std::shared_ptr<httpserver::http_response> TextResponse(const std::string& text, int status = 200);

/// Holds up handlers until they are released.
/// Threads: any.
class CHandlerGate
{
public:
    /// Called by handlers: waits for its release.
    void Pass();

    /// Waits until so many handlers have arrived since the start.
    /// @return false if they haven't within the time
    bool WaitForArrivals(int count, std::chrono::milliseconds time = std::chrono::seconds(20));

    /// Lets so many more handlers pass.
    void Release(int count = 1);
    void ReleaseAll();

private:
    std::mutex mutex;
    std::condition_variable changed;

    // Guarded by mutex
    int arrivals = 0;
    int departures = 0;
    int released = 0;
};

/// Counts what is destroyed.
/// Threads: any.
class CDestructionCounter
{
public:
    void Add();
    int Count() const;

    /// @return false if there aren't so many after a generous time
    bool WaitFor(int expected);

private:
    mutable std::mutex mutex;
    std::condition_variable changed;

    // Guarded by mutex
    int count = 0;
};

/// A response that tells of its end.
class CCountedResponse : public httpserver::string_response
{
public:
    CCountedResponse(CDestructionCounter& counter, const std::string& content);
    ~CCountedResponse() override;
    CCountedResponse(const CCountedResponse&) = delete;
    CCountedResponse& operator=(const CCountedResponse&) = delete;
    CCountedResponse(CCountedResponse&&) = delete;
    CCountedResponse& operator=(CCountedResponse&&) = delete;

private:
    CDestructionCounter& counter;
};

/// A server with five threads, as the process has it.
class HttpServer : public testing::Test
{
public:
    ~HttpServer() override;

protected:
    static constexpr std::uint16_t port = 8080;

    /// Has a function answer a path. To be called before the server is started.
    bool Serve(const std::string& path, RenderFunction function, bool family = false);

    /// Starts the server if it doesn't run, and sends one request over a connection of its own.
    SHttpResponse Ask(const std::string& method,
                      const std::string& target,
                      const HttpHeaders& headers = {},
                      const std::string& body = {});

    /// Starts the server if it doesn't run.
    void Start();

    httpserver::webserver server{httpserver::create_webserver(port)
                                     .start_method(httpserver::http::http_utils::INTERNAL_SELECT)
                                     .max_threads(5)};
    CHandlerGate gate;
    CDestructionCounter destroyed;

private:
    std::deque<CFunctionResource> resources;
};
