#include "platform/json/jsonutil.h"

#include <string>
#include <vector>

#include "tests/unit/src/statistics/historytest.h"

using testing::ElementsAre;
using testing::Pair;

// What a file of any shape does to a booking of 7 on the 1st of May 2024.

namespace
{

constexpr const char* Throws = nullptr;

/// The shape's name stands for one value in the file.
struct SShape
{
    const char* value;

    /// The key's value after the booking; Throws if the booking fails
    const char* booked;
};

class HistoryBadInput : public HistoryTest
{
protected:
    /// @param file    text of the file, with @ in the place of the value
    /// @param booked  text of the key after the booking, with @ in the place of the shape's own
    void Expect(const std::string& file,
                const std::string& key,
                const std::string& booked,
                const std::vector<SShape>& shapes)
    {
        for (const SShape& shape : shapes)
        {
            SCOPED_TRACE(shape.value);
            component.reset();
            const std::string text = Put(shape.value, file);
            WriteFile(text);
            Start();
            Notify(Charging);
            Count(7);
            if (shape.booked == Throws)
            {
                EXPECT_THROW(Notify(Finishing), Json::Exception);
                EXPECT_EQ(File(), JsonUtil::WriteUnstyled(JsonUtil::ParseObject(text)));
            }
            else
            {
                EXPECT_NO_THROW(Notify(Finishing));
                EXPECT_EQ(File(key), Put(shape.booked, booked));
            }
        }
    }

    static std::string Put(const std::string& value, std::string text)
    {
        const std::size_t place = text.find('@');
        return place == std::string::npos ? text : text.replace(place, 1, value);
    }

    static inline const std::string May =
        R"({"Energy":[7,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0],"Month":5,"Year":2024})";
    static inline const std::string Year = R"({"Energy":[0,0,0,0,7,0,0,0,0,0,0,0],"Year":2024})";
};

} // namespace

TEST_F(HistoryBadInput, InPlaceOfTheMonths)
{
    Expect(R"({"HistoryMonth":@})",
           "HistoryMonth",
           "[" + May + "]",
           {{"null", ""},
            {"[]", ""},
            {"true", Throws},
            {"5", Throws},
            {"1.5", Throws},
            {"\"text\"", Throws},
            {"\"\"", Throws},
            {"{}", Throws},
            {R"({"Year":2024,"Month":5,"Energy":[1]})", Throws}});
}

TEST_F(HistoryBadInput, InPlaceOfTheYears)
{
    Expect(R"({"HistoryYear":@})",
           "HistoryYear",
           "[" + Year + "]",
           {{"null", ""},
            {"[]", ""},
            {"true", Throws},
            {"5", Throws},
            {"1.5", Throws},
            {"\"text\"", Throws},
            {"\"\"", Throws},
            {"{}", Throws},
            {R"({"Year":2024,"Energy":[1]})", Throws}});
}

TEST_F(HistoryBadInput, InPlaceOfAMonth)
{
    Expect(R"({"HistoryMonth":[@]})",
           "HistoryMonth",
           "[@," + May + "]",
           {{"null", "null"},
            {"{}", "{}"},
            {R"({"Energy":"text"})", R"({"Energy":"text"})"},
            {"true", Throws},
            {"5", Throws},
            {"1.5", Throws},
            {"\"text\"", Throws},
            {"[]", Throws},
            {"[5]", Throws}});
}

TEST_F(HistoryBadInput, InPlaceOfAYear)
{
    // what has no year is older than ten years
    Expect(R"({"HistoryYear":[@]})",
           "HistoryYear",
           "[" + Year + "]",
           {{"null", ""},
            {"{}", ""},
            {R"({"Energy":"text"})", ""},
            {"true", Throws},
            {"5", Throws},
            {"1.5", Throws},
            {"\"text\"", Throws},
            {"[]", Throws},
            {"[5]", Throws}});
}

TEST_F(HistoryBadInput, InPlaceOfTheNumberOfAMonth)
{
    Expect(R"({"HistoryMonth":[{"Energy":[1],"Month":@,"Year":2024}]})",
           "HistoryMonth",
           "[@]",
           {{"5", R"({"Energy":[8],"Month":5,"Year":2024})"},
            {"5.0", R"({"Energy":[8],"Month":5.0,"Year":2024})"},
            {"5.9", R"({"Energy":[8],"Month":5.9000000000000004,"Year":2024})"},
            {"\"5\"", Throws},
            {"[]", Throws},
            {"[5]", Throws},
            {"{}", Throws},
            {"3000000000", Throws},
            {"1e300", Throws}});
    Expect(R"({"HistoryMonth":[{"Energy":[1],"Month":@,"Year":2024}]})",
           "HistoryMonth",
           R"([{"Energy":[1],"Month":@,"Year":2024},)" + May + "]",
           {{"null", "null"}, {"true", "true"}, {"13", "13"}, {"-5", "-5"}});
}

TEST_F(HistoryBadInput, InPlaceOfTheYearOfAMonth)
{
    Expect(R"({"HistoryMonth":[{"Energy":[1],"Month":5,"Year":@}]})",
           "HistoryMonth",
           "[@]",
           {{"2024", R"({"Energy":[8],"Month":5,"Year":2024})"},
            {"2024.0", R"({"Energy":[8],"Month":5,"Year":2024.0})"},
            {"\"2024\"", Throws},
            {"[]", Throws},
            {"{}", Throws},
            {"3000000000", Throws},
            {"1e300", Throws}});
    Expect(R"({"HistoryMonth":[{"Energy":[1],"Month":5,"Year":@}]})",
           "HistoryMonth",
           R"([{"Energy":[1],"Month":5,"Year":@},)" + May + "]",
           {{"null", "null"}, {"false", "false"}, {"-2024", "-2024"}});
}

TEST_F(HistoryBadInput, InPlaceOfTheNumberOfAYear)
{
    Expect(R"({"HistoryYear":[{"Energy":[0,0,0,0,1],"Year":@}]})",
           "HistoryYear",
           "[@]",
           {{"2024", R"({"Energy":[0,0,0,0,8],"Year":2024})"},
            {"2024.0", R"({"Energy":[0,0,0,0,8],"Year":2024.0})"},
            {"null", Year.c_str()},
            {"true", Year.c_str()},
            {"-2024", Year.c_str()},
            {"\"2024\"", Throws},
            {"[]", Throws},
            {"{}", Throws},
            {"3000000000", Throws},
            {"1e300", Throws}});
}

TEST_F(HistoryBadInput, InPlaceOfTheDays)
{
    Expect(R"({"HistoryMonth":[{"Energy":@,"Month":5,"Year":2024}]})",
           "HistoryMonth",
           R"([{"Energy":[7],"Month":5,"Year":2024}])",
           {{"null", ""},
            {"[]", ""},
            {"true", Throws},
            {"5", Throws},
            {"1.5", Throws},
            {"\"text\"", Throws},
            {"{}", Throws}});
}

TEST_F(HistoryBadInput, InPlaceOfTheMonthsOfAYear)
{
    Expect(R"({"HistoryYear":[{"Energy":@,"Year":2024}]})",
           "HistoryYear",
           R"([{"Energy":[null,null,null,null,7],"Year":2024}])",
           {{"null", ""},
            {"[]", ""},
            {"true", Throws},
            {"5", Throws},
            {"1.5", Throws},
            {"\"text\"", Throws},
            {"{}", Throws}});
}

TEST_F(HistoryBadInput, InPlaceOfADaysEnergy)
{
    Expect(R"({"HistoryMonth":[{"Energy":[@,9],"Month":5,"Year":2024}]})",
           "HistoryMonth",
           R"([{"Energy":[@,9],"Month":5,"Year":2024}])",
           {{"null", "7"},
            {"true", "8"},
            {"1.9", "8"},
            {"-3", "4"},
            {"2147483647", "2147483654"},
            {"-2147483648", "-2147483641"},
            {"2147483648", Throws},
            {"-2147483649", Throws},
            {"18446744073709551615", Throws},
            {"1e300", Throws},
            {"\"5\"", Throws},
            {"[]", Throws},
            {"{}", Throws}});
}

TEST_F(HistoryBadInput, InPlaceOfAMonthsEnergy)
{
    Expect(R"({"HistoryYear":[{"Energy":[0,0,0,0,@],"Year":2024}]})",
           "HistoryYear",
           R"([{"Energy":[0,0,0,0,@],"Year":2024}])",
           {{"null", "7"},
            {"true", "8"},
            {"1.9", "8"},
            {"-3", "4"},
            {"2147483647", "2147483654"},
            {"2147483648", Throws},
            {"1e300", Throws},
            {"\"5\"", Throws},
            {"[]", Throws},
            {"{}", Throws}});
}

TEST_F(HistoryBadInput, InElementsOfOtherTimesIsLeftAloneUntilTheyAreLookedAt)
{
    // the month differs already, and six elements aren't rolled
    Expect(R"({"HistoryMonth":[{"Energy":"text","Month":4,"Year":@}]})",
           "HistoryMonth",
           R"([{"Energy":"text","Month":4,"Year":@},)" + May + "]",
           {{"\"2024\"", "\"2024\""}, {"[]", "[]"}, {"{}", "{}"}});
    Expect(R"({"HistoryMonth":[{"Month":4,"Year":@},{},{},{},{},{}]})",
           "HistoryMonth",
           "",
           {{"\"2024\"", Throws}, {"[]", Throws}, {"{}", Throws}});
}

TEST_F(HistoryBadInput, ElementTwiceIsBookedInTheFirst)
{
    Expect(R"({"HistoryYear":[{"Energy":[0,0,0,0,1],"Year":2024},{"Energy":[0,0,0,0,@],"Year":2024}]})",
           "HistoryYear",
           R"([{"Energy":[0,0,0,0,8],"Year":2024},{"Energy":[0,0,0,0,@],"Year":2024}])",
           {{"5", "5"}, {"\"text\"", "\"text\""}});
}

TEST_F(HistoryBadInput, LosesTheEnergyOfTheBookingThatFails)
{
    WriteFile(R"({"HistoryYear":"text"})");
    const auto config = files.Open("charging_history");
    Start(config);
    Notify(Charging);
    Count(5);
    EXPECT_THROW(Notify(Finishing), Json::Exception);
    config->SetValue("HistoryYear", Json::nullValue);

    Count(7);
    Notify(Finishing);

    EXPECT_THAT(Days(2024, 5), ElementsAre(Pair(1, 7)));
}

TEST_F(HistoryBadInput, IsReadAsItIs)
{
    WriteFile(R"({"HistoryMonth":"text","HistoryYear":{"a":[1.5,null]},"Other":1})");
    Start();
    EXPECT_EQ(JsonUtil::WriteUnstyled(component->ReadHistoryStatistics()),
              R"({"HistoryMonth":"text","HistoryYear":{"a":[1.5,null]}})");
}
