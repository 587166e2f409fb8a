#include "src/websocket/message.h"

#include <json/writer.h>

#include <sstream>

namespace
{

/// Prints as toStyledString does, without making a writer each time.
class CStyledPrinter
{
public:
    CStyledPrinter()
        : writer(Json::StreamWriterBuilder().newStreamWriter())
    {
    }

    /// Without the line feed at the end.
    std::string Print(const Json::Value& value)
    {
        stream.str({});
        writer->write(value, &stream);
        return stream.str();
    }

private:
    const std::unique_ptr<Json::StreamWriter> writer;
    std::ostringstream stream;
};

/// Appends a value that has been printed alone as a member of an object. What takes several lines begins on
/// one of its own; a line feed within a string is escaped and so never met here.
void AppendMember(std::string& text, const std::string& printed)
{
    const bool lines = printed.find('\n') != std::string::npos;
    text += lines ? "\n\t" : "";
    for (const char character : printed)
    {
        text += character;
        if (character == '\n')
        {
            text += '\t';
        }
    }
}

/// Prints the object of the three without making it, which would copy the data.
std::string Envelope(const std::string& type, const std::string& topic, const Json::Value& data)
{
    thread_local CStyledPrinter printer;
    std::string text = "{\n\t\"data\" : ";
    AppendMember(text, printer.Print(data));
    text += ",\n\t\"topic\" : ";
    text += printer.Print(topic);
    text += ",\n\t\"type\" : ";
    text += Json::valueToQuotedString(type.c_str());
    text += "\n}\n";
    return text;
}

} // namespace

CMessage::CMessage(const std::string& type, const std::string& topic, const Json::Value& data)
    : type(type)
    , topic(topic)
    , data(data)
{
}

std::shared_ptr<const std::string> CMessage::Text()
{
    if (!text)
    {
        text = std::make_shared<const std::string>(Envelope(type, topic, data));
    }
    return text;
}
