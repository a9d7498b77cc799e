// Decoding a finished JSON answer into a caller's own record. The record says
// which fields it has, by their camelCase names; the answer's snake_case keys
// are converted to match (so "action_items" feeds actionItems).
//
//   struct Plan {
//       static constexpr const char *typeName = "Plan";
//       QString query; QStringList actionItems; std::optional<double> limit;
//       static Plan decode(const JSONDecoder &d) {
//           return {d.field<QString>("query"), d.field<QStringList>("actionItems"),
//                   d.optionalField<double>("limit")};
//       }
//   };
#pragma once

#include "claude/JSONValue.h"

#include <QHash>

#include <cmath>
#include <concepts>
#include <limits>

// The answer didn't fit the record: a key is missing or has the wrong type.
class JSONDecodingError : public DescribedError
{
public:
    explicit JSONDecodingError(QString description)
        : m_description(std::move(description))
    {
    }
    QString description() const override { return m_description; }

private:
    QString m_description;
};

class JSONDecoder;

template<typename T>
concept JSONDecodable = requires(const JSONDecoder &decoder) {
    { T::decode(decoder) } -> std::same_as<T>;
};

template<typename T>
T decodeJSON(const JSONValue &value, const QString &path);

class JSONDecoder
{
public:
    // Throws JSONDecodingError unless value is an object.
    JSONDecoder(const JSONValue &value, QString path);

    // A field that must be there and not null.
    template<typename T>
    T field(const QString &name) const
    {
        const JSONValue *found = find(name);
        if (!found || found->isNull())
            throw JSONDecodingError(QStringLiteral("no value for the key \"%1\"").arg(childPath(name)));
        return decodeJSON<T>(*found, childPath(name));
    }

    // A field that may be missing or null; a value of the wrong type still fails.
    template<typename T>
    std::optional<T> optionalField(const QString &name) const
    {
        const JSONValue *found = find(name);
        if (!found || found->isNull())
            return std::nullopt;
        return decodeJSON<T>(*found, childPath(name));
    }

    // Swift-style key conversion: "action_items" -> "actionItems",
    // "_private_key_" keeps its outer underscores.
    static QString fromSnakeCase(const QString &key);

private:
    const JSONValue *find(const QString &name) const;
    QString childPath(const QString &name) const;

    JSONValue m_value;
    QString m_path;
    QHash<QString, QString> m_keys; // converted key -> key in the answer
};

template<typename> inline constexpr bool isQList = false;
template<typename T> inline constexpr bool isQList<QList<T>> = true;

[[noreturn]] void throwJSONTypeMismatch(const QString &expected, const QString &path);

template<typename T>
T decodeJSON(const JSONValue &value, const QString &path)
{
    if constexpr (std::same_as<T, JSONValue>) {
        return value;
    } else if constexpr (std::same_as<T, QString>) {
        if (const auto text = value.stringValue())
            return *text;
        throwJSONTypeMismatch(QStringLiteral("a string"), path);
    } else if constexpr (std::same_as<T, bool>) {
        if (const auto flag = value.boolValue())
            return *flag;
        throwJSONTypeMismatch(QStringLiteral("a boolean"), path);
    } else if constexpr (std::floating_point<T>) {
        if (const auto number = value.numberValue())
            return T(*number);
        throwJSONTypeMismatch(QStringLiteral("a number"), path);
    } else if constexpr (std::integral<T>) {
        const auto number = value.numberValue();
        if (number && std::trunc(*number) == *number && *number >= double(std::numeric_limits<T>::min())
            && *number <= double(std::numeric_limits<T>::max()))
            return T(*number);
        throwJSONTypeMismatch(QStringLiteral("an integer"), path);
    } else if constexpr (std::same_as<T, QStringList> || isQList<T>) {
        if (!value.isArray())
            throwJSONTypeMismatch(QStringLiteral("an array"), path);
        T items;
        const JSONValue::Array &source = value.arrayItems();
        items.reserve(source.size());
        for (qsizetype i = 0; i < source.size(); ++i)
            items.append(decodeJSON<typename T::value_type>(source.at(i), QStringLiteral("%1[%2]").arg(path).arg(i)));
        return items;
    } else {
        static_assert(JSONDecodable<T>, "a record needs a static decode(const JSONDecoder &)");
        return T::decode(JSONDecoder(value, path));
    }
}
