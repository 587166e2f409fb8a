#pragma once

#include "contracts/station.pb.h"

#include <string>
#include <utility>

/// One signal of the station's catalogue. Immutable; lives as long as the signals made from it.
/// @tparam T bool, int, unsigned int, long long, float, std::string, or a std::vector of one of them
template <class T>
class CSignalDefinition
{
public:
    CSignalDefinition(ipc::ESignalIdentifier identifier,
                      std::string description,
                      T initialValue,
                      std::string unit)
        : identifier(identifier)
        , description(std::move(description))
        , initialValue(std::move(initialValue))
        , unit(std::move(unit))
    {
    }

    ipc::ESignalIdentifier Identifier() const { return identifier; }
    const std::string& Description() const { return description; }
    const T& InitialValue() const { return initialValue; }
    const std::string& Unit() const { return unit; }

private:
    ipc::ESignalIdentifier identifier;
    std::string description;
    T initialValue;
    std::string unit;
};
