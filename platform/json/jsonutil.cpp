#include "platform/json/jsonutil.h"

#include <fmt/format.h>
#include <json/reader.h>
#include <json/writer.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <stdexcept>

namespace JsonUtil
{

namespace
{

Json::StreamWriterBuilder UnstyledWriterBuilder()
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    // a reader keeps the comments of a request's body in the value
    builder["commentStyle"] = "None";
    return builder;
}

Json::CharReaderBuilder StrictReaderBuilder()
{
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    return builder;
}

/// The first of the library's messages, which have the form "* Line L, Column C\n  REASON\n".
std::string FirstFault(const std::string& messages)
{
    const std::size_t lineEnd = messages.find('\n');
    const std::size_t reason = messages.find_first_not_of(' ', lineEnd + 1);
    std::string place = messages.substr(0, lineEnd);
    place.erase(0, place.find_first_not_of("* "));
    std::transform(place.begin(),
                   place.end(),
                   place.begin(),
                   [](char letter) { return letter == 'L'   ? 'l'
                                            : letter == 'C' ? 'c'
                                                            : letter; });
    return place + ": " + messages.substr(reason, messages.find('\n', reason) - reason);
}

} // namespace

std::string WriteUnstyled(const Json::Value& value)
{
    static const Json::StreamWriterBuilder builder = UnstyledWriterBuilder();
    return Json::writeString(builder, value);
}

Json::Value ParseObject(std::string_view text)
try
{
    static const Json::CharReaderBuilder builder = StrictReaderBuilder();
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string messages;
    if (!reader->parse(text.data(), text.data() + text.size(), &value, &messages))
    {
        throw std::runtime_error(FirstFault(messages));
    }
    if (!value.isObject())
    {
        const std::string_view before = text.substr(0, static_cast<std::size_t>(value.getOffsetStart()));
        throw std::runtime_error(
            fmt::format("line {}: not an object", 1 + std::count(before.begin(), before.end(), '\n')));
    }
    return value;
}
catch (const Json::Exception& error)
{
    // too deep a nesting: the one fault that the library throws, and without its place
    throw std::runtime_error(error.what());
}

} // namespace JsonUtil
