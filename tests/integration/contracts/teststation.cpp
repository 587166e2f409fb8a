#include "tests/integration/contracts/teststation.h"

#include <grpcpp/security/server_credentials.h>
#include <grpcpp/server_builder.h>

#include <chrono>

#include <gtest/gtest.h>

namespace
{

/// How often a hanging or streaming service looks whether its caller has gone.
constexpr std::chrono::milliseconds LookAround{20};

} // namespace

class CTestStation::CBoard : public ipc::BoardControl::Service
{
public:
    explicit CBoard(CTestStation& station)
        : station(station)
    {
    }

    grpc::Status
    Reboot(grpc::ServerContext* context, const ipc::MRebootType* request, ipc::MResult* response) override
    {
        station.reboots.Add(request->type());
        if (station.Waits(*context))
        {
            return grpc::Status::CANCELLED;
        }
        response->set_status(ipc::EResultIllegal);
        return grpc::Status::OK;
    }

private:
    CTestStation& station;
};

class CTestStation::CSession : public ipc::SessionManager::Service
{
public:
    explicit CSession(CTestStation& station)
        : station(station)
    {
    }

    grpc::Status SubscribeConnectorState(grpc::ServerContext* context,
                                         const ipc::MVoid* /*request*/,
                                         grpc::ServerWriter<ipc::MConnectorState>* writer) override
    {
        station.subscriptions.Add(1);
        std::unique_lock lock(station.mutex);
        while (!station.stopping && !context->IsCancelled())
        {
            station.changed.wait_for(lock, LookAround);
            while (!station.outgoing.empty())
            {
                ipc::MConnectorState message;
                message.set_state(station.outgoing.front());
                station.outgoing.pop_front();
                writer->Write(message);
            }
        }
        return grpc::Status::OK;
    }

private:
    CTestStation& station;
};

class CTestStation::CDiagnostics : public ipc::Diagnostics::Service
{
public:
    explicit CDiagnostics(CTestStation& station)
        : station(station)
    {
    }

    grpc::Status SendSignal(grpc::ServerContext* /*context*/,
                            const ipc::MSignalReport* request,
                            ipc::MResult* /*response*/) override
    {
        station.reports.Add(*request);
        return grpc::Status::OK;
    }

private:
    CTestStation& station;
};

CTestStation::CTestStation()
    : board(std::make_unique<CBoard>(*this))
    , session(std::make_unique<CSession>(*this))
    , diagnostics(std::make_unique<CDiagnostics>(*this))
{
    directory.Write("etc/iipc.json", R"({
        "Listen": "unix:process.sock",
        "Services": {"BoardControl": "unix:station.sock", "SessionManager": "unix:station.sock",
                     "Diagnostics": "unix:station.sock"}})");
}

CTestStation::~CTestStation()
{
    Stop();
}

void CTestStation::Start()
{
    {
        const std::lock_guard lock(mutex);
        stopping = false;
        hanging = false;
        outgoing.clear();
    }
    grpc::ServerBuilder builder;
    builder.AddListeningPort("unix:" + directory.Root() + "station.sock", grpc::InsecureServerCredentials());
    builder.RegisterService(board.get());
    builder.RegisterService(session.get());
    builder.RegisterService(diagnostics.get());
    server = builder.BuildAndStart();
    ASSERT_TRUE(server);
}

void CTestStation::Stop()
{
    {
        const std::lock_guard lock(mutex);
        stopping = true;
    }
    changed.notify_all();
    if (server)
    {
        server->Shutdown(std::chrono::system_clock::now());
        server.reset();
    }
}

void CTestStation::Hang()
{
    const std::lock_guard lock(mutex);
    hanging = true;
}

bool CTestStation::Waits(grpc::ServerContext& context)
{
    std::unique_lock lock(mutex);
    const bool waits = hanging;
    while (hanging && !stopping && !context.IsCancelled())
    {
        changed.wait_for(lock, LookAround);
    }
    return waits;
}

void CTestStation::SendConnectorStates(const std::vector<ipc::EConnectorState>& states)
{
    {
        const std::lock_guard lock(mutex);
        outgoing.insert(outgoing.end(), states.begin(), states.end());
    }
    changed.notify_all();
}
