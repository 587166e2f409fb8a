#pragma once

#include <stdexcept>
#include <string>

namespace Simulator
{

/// A steering request that is answered with an error.
class CSteeringError : public std::runtime_error
{
public:
    CSteeringError(unsigned status, const std::string& reason)
        : std::runtime_error(reason)
        , status(status)
    {
    }

    unsigned Status() const { return status; }

private:
    unsigned status;
};

/// The request is wrong: 400.
class CBadRequest : public CSteeringError
{
public:
    explicit CBadRequest(const std::string& reason)
        : CSteeringError(400, reason)
    {
    }
};

} // namespace Simulator
