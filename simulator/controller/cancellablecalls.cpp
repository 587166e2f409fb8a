#include "simulator/controller/cancellablecalls.h"

namespace Simulator
{

void CCancellableCalls::Run(const std::function<void(grpc::ClientContext&)>& call)
{
    grpc::ClientContext context;
    Enter(context);
    call(context);
    Leave(context);
}

void CCancellableCalls::CancelAll()
{
    const std::lock_guard lock(mutex);
    isCancelled = true;
    for (grpc::ClientContext* const context : contexts)
    {
        context->TryCancel();
    }
}

void CCancellableCalls::Enter(grpc::ClientContext& context)
{
    const std::lock_guard lock(mutex);
    contexts.insert(&context);
    if (isCancelled)
    {
        // a context that has not begun a call keeps this in mind
        context.TryCancel();
    }
}

void CCancellableCalls::Leave(grpc::ClientContext& context)
{
    const std::lock_guard lock(mutex);
    contexts.erase(&context);
}

} // namespace Simulator
