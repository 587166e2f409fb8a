/// What the macros of log.h expand to; nothing here is used directly.
#pragma once

#include <fmt/format.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <string>
#include <string_view>
#include <typeinfo>

namespace Log::Detail
{

/// Statements below this level are dropped. Above every level until Log::Init.
extern std::atomic<int> threshold;

/// Formats the statement once for each sink that takes it. A failure to format never reaches the caller: it
/// goes to the sinks' own error handler.
void WriteFormatted(int level, fmt::string_view format, fmt::format_args arguments);

std::string ReadableName(const char* typeName);

/// The text is checked against the arguments when it is compiled.
template <class... Arguments>
void Write(int level, fmt::format_string<const Arguments&...> format, const Arguments&... arguments)
{
    WriteFormatted(level, format, fmt::make_format_args(arguments...));
}

template <std::size_t Size>
struct SText
{
    std::array<char, Size> characters{};

    constexpr std::string_view View() const { return {characters.data(), Size}; }
};

constexpr std::string_view WithoutExtension(std::string_view path)
{
    return path.substr(0, path.rfind('.'));
}

constexpr std::size_t DigitCount(int number)
{
    std::size_t digits = 1;
    for (; number >= 10; number /= 10)
    {
        ++digits;
    }
    return digits;
}

/// Length of "(PATH:LINE) FORMAT".
constexpr std::size_t PrefixedSize(std::string_view file, int line, std::string_view format)
{
    return 1 + WithoutExtension(file).size() + 1 + DigitCount(line) + 2 + format.size();
}

template <std::size_t Size>
constexpr SText<Size> WithSourcePrefix(std::string_view file, int line, std::string_view format)
{
    SText<Size> text;
    std::size_t end = 0;
    const auto append = [&text, &end](std::string_view part)
    {
        for (const char character : part)
        {
            text.characters[end++] = character;
        }
    };

    append("(");
    append(WithoutExtension(file));
    append(":");
    const std::size_t digits = DigitCount(line);
    for (std::size_t digit = 0; digit < digits; ++digit, line /= 10)
    {
        text.characters[end + digits - 1 - digit] = static_cast<char>('0' + line % 10);
    }
    end += digits;
    append(") ");
    append(format);
    return text;
}

} // namespace Log::Detail
