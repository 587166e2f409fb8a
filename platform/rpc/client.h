#pragma once

#include "platform/rpc/interface.h"

#include <memory>

namespace Rpc
{
class CConnection;
}

/// A service as CreateClient gives it: the interface and two settings. The interface outlives this object.
template <class T>
class IClient : public Rpc::CInterface
{
public:
    virtual std::shared_ptr<T> GetInterface() = 0;

    /// @param seconds time limit of a call that has reached the service; -1 for none
    virtual void SetCallTimeLimit(int seconds) = 0;

    /// @param seconds how long a call tries to reach the service
    virtual void SetConnectTimeLimit(int seconds) = 0;
};

namespace Rpc
{

/// Makes the client of interface T over a connection to its service. Specialised beside each interface.
template <class T>
std::shared_ptr<T> MakeClient(const std::shared_ptr<CConnection>& connection);

/// What the two settings of IClient come down to.
void SetCallTimeLimit(CConnection& connection, int seconds);
void SetConnectTimeLimit(CConnection& connection, int seconds);

class IOfferedService;

/// Makes the service that offers an object of interface T. Specialised beside each interface.
template <class T>
std::unique_ptr<IOfferedService> MakeOfferedService(const std::shared_ptr<T>& object);

} // namespace Rpc
