#pragma once

#include "contracts/station.grpc.pb.h"

#include <grpcpp/server.h>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "tests/support/eventually.h"
#include "tests/support/temporarydirectory.h"

/// A station that consists of a BoardControl, a SessionManager and a Diagnostics on one socket each, as far
/// as the tests of the transport need them. Threads: any.
class CTestStation
{
public:
    CTestStation();
    ~CTestStation();
    CTestStation(const CTestStation&) = delete;
    CTestStation& operator=(const CTestStation&) = delete;
    CTestStation(CTestStation&&) = delete;
    CTestStation& operator=(CTestStation&&) = delete;

    /// Path of the transport configuration for a process of this station.
    std::string ConfigPath() const { return directory.Root() + "etc/iipc.json"; }

    /// Address at which that process offers its services.
    std::string ProcessAddress() const { return "unix:" + directory.Root() + "process.sock"; }

    void Start();

    /// Ends the services at once, as a crash would.
    void Stop();

    /// From now on calls hang until Stop or until the caller gives up.
    void Hang();

    /// Types of the reboots asked for.
    CCollector<int> reboots;

    /// Reports of signals.
    CCollector<ipc::MSignalReport> reports;

    /// Number of subscribers to the connector state that there were when one came.
    CCollector<int> subscriptions;

    /// Sends the states to the subscriber, in order.
    void SendConnectorStates(const std::vector<ipc::EConnectorState>& states);

private:
    class CBoard;
    class CSession;
    class CDiagnostics;

    bool Waits(grpc::ServerContext& context);

    const CTemporaryDirectory directory;
    std::unique_ptr<CBoard> board;
    std::unique_ptr<CSession> session;
    std::unique_ptr<CDiagnostics> diagnostics;
    std::unique_ptr<grpc::Server> server;

    std::mutex mutex;
    std::condition_variable changed;

    // Guarded by mutex
    bool hanging = false;
    bool stopping = false;
    std::deque<ipc::EConnectorState> outgoing;
};
