#include "src/websocket/message.h"

#include <json/reader.h>
#include <json/writer.h>

#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace
{

Json::Value Parsed(const std::string& text)
{
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value value;
    std::string errors;
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &errors)) << errors;
    return value;
}

std::string Styled(const std::string& type, const std::string& topic, const Json::Value& data)
{
    Json::Value envelope;
    envelope["data"] = data;
    envelope["topic"] = topic;
    envelope["type"] = type;
    return envelope.toStyledString();
}

class MessageText : public testing::TestWithParam<const char*>
{
};

} // namespace

TEST_P(MessageText, IsStyled)
{
    const Json::Value data = Parsed(GetParam());
    const std::string type = "event";
    const std::string topic = "/news";
    EXPECT_EQ(*CMessage(type, topic, data).Text(), Styled(type, topic, data));
}

INSTANTIATE_TEST_SUITE_P(
    Data,
    MessageText,
    testing::Values(
        "null",
        "true",
        "-12",
        "0.1",
        "1e300",
        R"("")",
        R"("two\nlines\t\"quoted\" \u0000 \u00e4 \ud83d\ude00")",
        "{}",
        "[]",
        R"({"a": 1})",
        R"({"a": {"b": {"c": [], "d": {}}}, "e\nf": "g\nh"})",
        "[1, 2, 3]",
        // longer and longer, up to several lines
        "[0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17]",
        "[0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18]",
        "[0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24]",
        R"([{"a": [1, [2, 3], {}]}, [], "x"])"));

TEST(Message, EscapesItsTopic)
{
    const Json::Value data = 1;
    const std::string type = "result";
    const std::string topic("/a\n\"\0\xff", 6);
    EXPECT_EQ(*CMessage(type, topic, data).Text(), Styled(type, topic, data));
}

TEST(Message, IsPrintedOnce)
{
    const Json::Value data = 1;
    const std::string type = "event";
    const std::string topic = "/news";
    CMessage message(type, topic, data);
    const auto text = message.Text();
    EXPECT_EQ(message.Text(), text);
}
