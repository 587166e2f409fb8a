#pragma once

#include <grpcpp/client_context.h>

#include <functional>
#include <mutex>
#include <set>

namespace Simulator
{

/// Calls that can be ended from another thread.
/// Threads: any.
class CCancellableCalls
{
public:
    /// Runs @p call with a context of its own. After CancelAll the context is cancelled from the start.
    void Run(const std::function<void(grpc::ClientContext&)>& call);

    /// Ends the calls under way and all later ones.
    void CancelAll();

private:
    void Enter(grpc::ClientContext& context);
    void Leave(grpc::ClientContext& context);

    std::mutex mutex;

    // Guarded by mutex
    std::set<grpc::ClientContext*> contexts;
    bool isCancelled = false;
};

} // namespace Simulator
