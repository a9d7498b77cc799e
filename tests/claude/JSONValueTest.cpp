// The edges of reading and writing JSON; ordinary bodies are checked byte for
// byte by the request and server tests, decoding by the structured answers.
#include "claude/JSONValue.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

TEST(JSONValue, ParsesEachLiteralToItsOwnCaseOrRefusesIt)
{
    EXPECT_EQ(JSONValue::parse(" \n [true,-2.5e3,\"1\",null,{\"a\":1}] "),
              JSONValue::array({true, -2500, "1", nullptr, JSONValue::object({{u"a"_s, 1.0}})}));
    EXPECT_FALSE(JSONValue::parse("1").boolValue());
    EXPECT_FALSE(JSONValue::parse("true").numberValue());
    EXPECT_TRUE(JSONValue(1) != JSONValue(true) && JSONValue("1") != JSONValue(1) && JSONValue::array({}) != JSONValue::Object());
    EXPECT_EQ(JSONValue::parse("\"héllo \\u00e9\"").stringValue(), u"héllo é"_s);
    for (const char *text : {"", "{", "[1,]", "1 2", "1],[2", "{\"a\" 1}", "nul", "\"open", "]["})
        EXPECT_THROW(JSONValue::parse(text), JSONError) << text;
}

TEST(JSONValue, WritesIntegralNumbersAsIntegersEscapesAndSortsKeys)
{
    // At 2^53 and beyond the double form is written; it has no fraction to show. Null: not expressible in JSON.
    const std::pair<JSONValue, const char *> cases[] = {
        {3.5, "3.5"}, {-9007199254740991.0, "-9007199254740991"}, {9007199254740992.0, "9007199254740992"},
        {1e300, "1e+300"}, {-1.5e-7, "-1.5e-07"}, {0.1, "0.1"}, {-0.0, "0"}, {std::nan(""), nullptr},
        {std::numeric_limits<double>::infinity(), nullptr}, {"q\"uote\\\n\t\x01/", R"("q\"uote\\\n\t\u0001/")"},
        {JSONValue::object({{u"é"_s, 1}, {u"B"_s, 2.25}}), R"({"B":2.25,"é":1})"},
    };
    for (const auto &[value, expected] : cases) {
        if (!expected) {
            EXPECT_THROW(JSONValue::array({1, value}).serialized(), JSONError);
            continue;
        }
        EXPECT_EQ(value.serialized(), QByteArray(expected));
        EXPECT_EQ(JSONValue::parse(expected), value) << expected;
    }
}
