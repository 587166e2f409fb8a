#pragma once

#include "contracts/station.pb.h"

#include <array>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

/// The initial elements of a signal that is a list, at most one for each of three phases.
template <class T>
class CInitialList
{
public:
    constexpr CInitialList() = default;

    constexpr CInitialList(std::initializer_list<T> list)
    {
        for (const T& element : list)
        {
            elements.at(count++) = element;
        }
    }

    constexpr std::size_t Size() const { return count; }
    constexpr const T* begin() const { return elements.data(); }
    constexpr const T* end() const { return elements.data() + count; }

private:
    std::array<T, 3> elements{};
    std::size_t count = 0;
};

/// How the initial value of a signal of type @p T is kept, as a constant of the program.
template <class T>
struct SInitialValue
{
    using Type = T;
};

template <>
struct SInitialValue<std::string>
{
    using Type = std::string_view;
};

template <class T>
struct SInitialValue<std::vector<T>>
{
    using Type = CInitialList<typename SInitialValue<T>::Type>;
};

/// One signal of the station's catalogue. Immutable; lives as long as the signals made from it.
/// @tparam T bool, int, unsigned int, long long, float, std::string, or a std::vector of one of them
template <class T>
class CSignalDefinition
{
public:
    using Constant = typename SInitialValue<T>::Type;

    /// The texts are not copied.
    constexpr CSignalDefinition(int identifier,
                                std::string_view description,
                                Constant initialValue,
                                std::string_view unit)
        : identifier(static_cast<ipc::ESignalIdentifier>(identifier))
        , description(description)
        , initialValue(initialValue)
        , unit(unit)
    {
    }

    constexpr ipc::ESignalIdentifier Identifier() const { return identifier; }
    constexpr std::string_view Description() const { return description; }
    constexpr const Constant& InitialConstant() const { return initialValue; }
    constexpr std::string_view Unit() const { return unit; }

    /// A value for a signal to begin with.
    T InitialValue() const
    {
        if constexpr (std::is_constructible_v<T, Constant>)
        {
            return T(initialValue);
        }
        else
        {
            return T(initialValue.begin(), initialValue.end());
        }
    }

private:
    ipc::ESignalIdentifier identifier;
    std::string_view description;
    Constant initialValue;
    std::string_view unit;
};
