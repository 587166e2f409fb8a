#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

#include "tests/support/eventually.h"

/// A server of the loopback that answers what comes first on each connection with fixed bytes and closes it.
class CRawServer
{
public:
    /// @param answer  nothing to keep each connection open and silent
    explicit CRawServer(std::string answer);
    ~CRawServer();
    CRawServer(const CRawServer&) = delete;
    CRawServer& operator=(const CRawServer&) = delete;
    CRawServer(CRawServer&&) = delete;
    CRawServer& operator=(CRawServer&&) = delete;

    std::uint16_t Port() const;

    /// What came first on each connection.
    CCollector<std::string> requests;

private:
    void Serve();
    void Answer(int connection);

    // Constant after construction
    const std::string answer;
    int listener = -1;

    std::atomic<bool> over{false};
    std::thread thread;
};
