#include "claude/JSONDecoder.h"
#include "claude/JSONValue.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

TEST(JSONValue, ParsesEachLiteralToItsOwnCaseOrRefusesIt)
{
    EXPECT_EQ(JSONValue::parse(" \n [true,-2.5e3,\"1\",null,{\"a\":1}] "),
              JSONValue::array({true, -2500, "1", nullptr, JSONValue::object({{QStringLiteral("a"), 1.0}})}));
    EXPECT_FALSE(JSONValue::parse("1").boolValue());
    EXPECT_FALSE(JSONValue::parse("true").numberValue());
    EXPECT_EQ(JSONValue::parse("\"héllo \\u00e9\"").stringValue(), QStringLiteral("héllo é"));
    for (const char *text : {"", "{", "[1,]", "1 2", "1],[2", "{\"a\" 1}", "nul", "\"open", "]["}) {
        try {
            JSONValue::parse(text);
            ADD_FAILURE() << "parsed: " << text;
        } catch (const JSONError &error) {
            EXPECT_FALSE(error.description().isEmpty()) << text;
        }
    }
}

TEST(JSONValue, WritesIntegralNumbersAsIntegersAndRefusesNonFiniteOnes)
{
    const struct
    {
        double number;
        const char *expected; // null: not expressible in JSON
    } cases[] = {
        {3.0, "3"}, {3.5, "3.5"}, {16000, "16000"}, {-9007199254740991.0, "-9007199254740991"},
        // At 2^53 and beyond the double form is written; it has no fraction to show.
        {9007199254740992.0, "9007199254740992"}, {1e300, "1e+300"}, {-1.5e-7, "-1.5e-07"}, {0.1, "0.1"}, {-0.0, "0"},
        {std::nan(""), nullptr}, {std::numeric_limits<double>::infinity(), nullptr},
    };
    for (const auto &c : cases) {
        if (c.expected)
            EXPECT_EQ(JSONValue(c.number).serialized(), QByteArray(c.expected)) << c.number;
        else
            EXPECT_THROW(JSONValue::array({1, c.number}).serialized(), JSONError) << c.number;
    }
    EXPECT_EQ(JSONValue::parse(JSONValue(9007199254740992.0).serialized()).numberValue(), 9007199254740992.0);
}

TEST(JSONValue, SerialisesWithSortedKeysAndUnescapedSlashes)
{
    EXPECT_EQ(JSONValue::parse(R"({"b":1,"a":"x/y"})").serialized(), QByteArray(R"({"a":"x/y","b":1})"));
    const JSONValue nested = JSONValue::object({
        {QStringLiteral("z"), JSONValue::array({true, nullptr, "q\"uote\\\n\t\x01"})},
        {QStringLiteral("m"), JSONValue::object({{QStringLiteral("é"), 1}, {QStringLiteral("B"), 2.25}})},
    });
    const QByteArray text = nested.serialized();
    EXPECT_EQ(text, QByteArray(R"({"m":{"B":2.25,"é":1},"z":[true,null,"q\"uote\\\n\t\u0001"]})"));
    EXPECT_EQ(JSONValue::parse(text), nested);
}

TEST(JSONValue, EqualValuesHashAlikeAndCopiesStayApart)
{
    JSONValue first;
    first.insert(QStringLiteral("x"), 1);
    first.insert(QStringLiteral("y"), JSONValue::array({"a", false}));
    const JSONValue second = JSONValue::parse(R"({"y":["a",false],"x":1.0})");
    EXPECT_EQ(first, second);
    EXPECT_EQ(qHash(first), qHash(second));
    // Values of different cases differ even where their payloads look alike.
    EXPECT_NE(JSONValue(1), JSONValue(true));
    EXPECT_NE(JSONValue("1"), JSONValue(1));
    EXPECT_NE(JSONValue::array({}), JSONValue(JSONValue::Object()));
    EXPECT_NE(qHash(JSONValue(0)), qHash(JSONValue(false)));
    EXPECT_EQ(qHash(JSONValue(0.0)), qHash(JSONValue(-0.0)));

    JSONValue copy = first;
    copy.insert(QStringLiteral("x"), 2);
    EXPECT_EQ(first.serialized(), QByteArray(R"({"x":1,"y":["a",false]})"));
}

TEST(JSONValue, IntegerReadingTruncatesFiniteInRangeNumbers)
{
    EXPECT_EQ(JSONValue(2.9).integerValue(), 2);
    EXPECT_EQ(JSONValue(-2.9).integerValue(), -2);
    for (const JSONValue &value : {JSONValue(std::nan("")), JSONValue(1e19), JSONValue("3")})
        EXPECT_FALSE(value.integerValue()) << value.serialized().constData();
}

namespace {

struct Item
{
    static constexpr const char *typeName = "Item";
    QString title;
    int count = 0;
    static Item decode(const JSONDecoder &decoder)
    {
        return {decoder.field<QString>(QStringLiteral("title")), decoder.field<int>(QStringLiteral("count"))};
    }
};

struct Notes
{
    static constexpr const char *typeName = "Notes";
    QStringList actionItems;
    QList<Item> items;
    std::optional<QString> summaryText;
    static Notes decode(const JSONDecoder &decoder)
    {
        return {decoder.field<QStringList>(QStringLiteral("actionItems")), decoder.field<QList<Item>>(QStringLiteral("items")),
                decoder.optionalField<QString>(QStringLiteral("summaryText"))};
    }
};

} // namespace

TEST(JSONDecoder, FeedsSnakeCaseKeysIntoCamelCaseFields)
{
    const Notes notes = decodeJSON<Notes>(
        JSONValue::parse(R"({"action_items":["a","b"],"items":[{"title":"t","count":2}],"summary_text":null})"), {});
    EXPECT_EQ(notes.actionItems, QStringList({"a", "b"}));
    ASSERT_EQ(notes.items.size(), 1);
    EXPECT_EQ(notes.items.first().count, 2);
    EXPECT_FALSE(notes.summaryText);

    const std::pair<const char *, const char *> keys[] = {{"action_items", "actionItems"}, {"_private_key_", "_privateKey_"},
                                                          {"plain", "plain"}, {"URL_Path", "urlPath"}, {"a__b", "aB"},
                                                          {"___", "___"}};
    for (const auto &[key, converted] : keys)
        EXPECT_EQ(JSONDecoder::fromSnakeCase(QString::fromUtf8(key)), QString::fromUtf8(converted));
}

TEST(JSONDecoder, NamesTheKeyThatDoesNotFit)
{
    const std::pair<const char *, const char *> cases[] = {
        {R"({"items":[]})", "actionItems"},
        {R"({"action_items":"a","items":[]})", "actionItems"},
        {R"({"action_items":[],"items":[{"title":"t","count":1.5}]})", "items[0].count"},
        {R"({"action_items":[],"items":[],"summary_text":3})", "summaryText"},
        {R"([1])", "object"},
    };
    for (const auto &[json, mentions] : cases) {
        try {
            decodeJSON<Notes>(JSONValue::parse(json), {});
            ADD_FAILURE() << json;
        } catch (const JSONDecodingError &error) {
            EXPECT_TRUE(error.description().contains(QLatin1String(mentions))) << qPrintable(error.description());
        }
    }
}
