#include "platform/rpc/offeredservice.h"

#include "platform/rpc/transportlog.h"

#include <exception>

namespace Rpc
{

namespace
{

grpc::Status Failure(const std::string& name, const std::string& reason)
{
    TransportLog().Warning(name + " failed: " + reason);
    return {grpc::StatusCode::INTERNAL, reason};
}

} // namespace

grpc::Status RunContained(const std::string& name, const std::function<void()>& handler)
{
    try
    {
        handler();
        return grpc::Status::OK;
    }
    catch (const std::exception& error)
    {
        return Failure(name, error.what());
    }
    catch (...)
    {
        return Failure(name, "unknown failure");
    }
}

} // namespace Rpc
