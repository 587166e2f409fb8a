#pragma once

#include "contracts/station.pb.h"
#include "platform/rpc/connection.h"

#include <memory>
#include <utility>

namespace Rpc
{

/// Subscribes to a stream of a service; what arrives after the client has gone is dropped.
/// @param prepare  the stub's PrepareAsyncSubscribe…
/// @param receive  takes the client and a message
template <class Message, class Client, class Stub, class Prepare, class Receive>
void SubscribeFor(const std::shared_ptr<Client>& client,
                  CConnection& connection,
                  const char* operation,
                  std::shared_ptr<Stub> stub,
                  Prepare prepare,
                  Receive receive)
{
    connection.Subscribe<Message>(
        operation,
        [stub = std::move(stub), prepare](grpc::ClientContext* context, grpc::CompletionQueue* queue)
        { return ((*stub).*prepare)(context, ipc::MVoid(), queue); },
        [weakClient = std::weak_ptr<Client>(client), receive](const Message& message)
        {
            if (const auto living = weakClient.lock())
            {
                receive(*living, message);
            }
        });
}

} // namespace Rpc
