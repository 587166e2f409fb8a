#pragma once

#include "contracts/genericcontrol.h"
#include "platform/rpc/appcommunicationhost.h"

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/eventually.h"

/// The process that a controller brings into service, in the smallest form: it offers "WebbackendGenCtrl",
/// reports states, and follows disable and enable. Going is what its destructor does. Threads: the
/// transport's calls it; the others are the test's.
class CProcessDouble
{
public:
    explicit CProcessDouble(const std::string& root);
    ~CProcessDouble();
    CProcessDouble(const CProcessDouble&) = delete;
    CProcessDouble& operator=(const CProcessDouble&) = delete;
    CProcessDouble(CProcessDouble&&) = delete;
    CProcessDouble& operator=(CProcessDouble&&) = delete;

    /// The next enables lead to an error, reported as 4 and then 2.
    void FailEnables(int count);

    /// The next requests are answered with 1 and have no effect.
    void RefuseRequests(int count);

    void Report(int state) const;
    void SendAlive() const;

    /// Requests in order of arrival: "Enable" and "Disable".
    CCollector<std::string>& Requests();

private:
    class CControl;

    // Constant after construction
    const std::shared_ptr<CControl> control;

    AppCommunicationHost<GrpcBackend> host;
    std::thread server;
};
