#pragma once

#include <stdexcept>

namespace Rpc
{

/// A service could not be reached, did not answer in time, or the transport failed. The text names service
/// and operation.
class CommunicationException : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

} // namespace Rpc
