#pragma once

#include "platform/rpc/client.h"
#include "platform/rpc/grpcbackend.h"
#include "platform/rpc/iofferedservice.h"

#include <memory>
#include <string>
#include <utility>

/// The process's host of all inter-process traffic: what the backend offers, by interface.
template <class Backend>
class AppCommunicationHost : public Backend
{
public:
    using Backend::Backend;

    /// @throws std::runtime_error if the transport configuration does not know the service
    template <class T>
    std::shared_ptr<IClient<T>> CreateClient(const std::string& name)
    {
        return std::make_shared<CClient<T>>(Backend::Connect(name));
    }

    /// Offers @p object to the other processes from StartServices on.
    template <class T>
    void AddService(const std::string& name, const std::shared_ptr<T>& object)
    {
        Backend::Offer(name, Rpc::MakeOfferedService<T>(object));
    }

private:
    template <class T>
    class CClient : public IClient<T>
    {
    public:
        explicit CClient(std::shared_ptr<Rpc::CConnection> connection)
            : connection(std::move(connection))
            , interface(Rpc::MakeClient<T>(this->connection))
        {
        }

        std::shared_ptr<T> GetInterface() override { return interface; }
        void SetCallTimeLimit(int seconds) override { Rpc::SetCallTimeLimit(*connection, seconds); }
        void SetConnectTimeLimit(int seconds) override { Rpc::SetConnectTimeLimit(*connection, seconds); }

    private:
        const std::shared_ptr<Rpc::CConnection> connection;
        const std::shared_ptr<T> interface;
    };
};
