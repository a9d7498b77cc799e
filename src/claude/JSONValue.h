// The one dynamic JSON type of the program. Every Messages API body, content
// block, tool definition, schema and server event passes through it untyped,
// so a block kind the client doesn't know survives a round trip through the
// conversation history unchanged.
#pragma once

#include "core/Errors.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <concepts>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <variant>

class JSONLookup;

// Parsing or writing JSON failed; the description is the decoder's or the
// encoder's own message.
class JSONError : public DescribedError
{
public:
    explicit JSONError(QString description);
    QString description() const override;

private:
    QString m_description;
};

class JSONValue
{
public:
    // The order of the cases is part of the type: hashing feeds the index.
    enum class Type { Null = 0, Bool = 1, Number = 2, String = 3, Array = 4, Object = 5 };

    using Array = QList<JSONValue>;
    // Keys are kept sorted in memory, which costs nothing in equality (an
    // object is a dictionary) and gives the wire its sorted order for free.
    using Object = std::map<QString, JSONValue>;
    using Member = std::pair<const QString, JSONValue>;

    JSONValue() = default;
    JSONValue(std::nullptr_t) { }
    JSONValue(bool value);
    JSONValue(double value);
    template<std::integral Integer>
        requires(!std::same_as<Integer, bool>)
    JSONValue(Integer value)
        : JSONValue(static_cast<double>(value))
    {
    }
    JSONValue(const QString &value);
    JSONValue(const char *utf8);
    JSONValue(Array value);
    JSONValue(Object value);

    // Literal forms for bodies, schemas and tool definitions:
    // JSONValue::object({{"type", "text"}, {"text", text}}), JSONValue::array({1, "a"}).
    static JSONValue object(std::initializer_list<Member> members);
    static JSONValue array(std::initializer_list<JSONValue> elements);
    static JSONValue strings(const QStringList &texts);

    Type type() const { return static_cast<Type>(m_payload.index()); }
    bool isNull() const { return type() == Type::Null; }

    // Case tests: the payload when the value is of that case.
    std::optional<bool> boolValue() const;
    std::optional<double> numberValue() const;
    std::optional<QString> stringValue() const;
    // The number truncated to a signed 64-bit integer, when it is finite and in range.
    std::optional<qint64> integerValue() const;
    // Empty unless the value is of that case.
    const Array &arrayItems() const;
    const Object &objectMembers() const;
    bool isArray() const { return type() == Type::Array; }
    bool isObject() const { return type() == Type::Object; }

    // The stored value if this is an object holding key; absent for a missing
    // key and for every other case. Never fails; chains: v["a"]["b"].
    JSONLookup operator[](const QString &key) const;

    // Mutation of containers. insert() turns a non-object into an empty
    // object first; append() does the same for arrays.
    void insert(const QString &key, JSONValue value);
    void append(JSONValue value);

    // Parses UTF-8 text; throws JSONError with the decoder's message.
    static JSONValue parse(const QByteArray &utf8);
    // Writes compact JSON with sorted keys and unescaped slashes; throws
    // JSONError for a number JSON can't express (NaN, infinity).
    QByteArray serialized() const;

    friend bool operator==(const JSONValue &a, const JSONValue &b);

private:
    using ArrayBox = std::shared_ptr<Array>;
    using ObjectBox = std::shared_ptr<Object>;
    // Containers are shared between copies and copied on first write, so
    // passing a whole conversation around by value stays cheap.
    std::variant<std::monostate, bool, double, QString, ArrayBox, ObjectBox> m_payload;

    Array &mutableArray();
    Object &mutableObject();
};

size_t qHash(const JSONValue &value, size_t seed = 0);

// The result of a key lookup: an optional value that can be looked into
// again, with the same case tests as JSONValue (all absent when it is absent).
class JSONLookup : public std::optional<JSONValue>
{
public:
    using std::optional<JSONValue>::optional;
    JSONLookup(std::optional<JSONValue> value)
        : std::optional<JSONValue>(std::move(value))
    {
    }

    JSONLookup operator[](const QString &key) const;
    std::optional<bool> boolValue() const;
    std::optional<double> numberValue() const;
    std::optional<QString> stringValue() const;
    std::optional<qint64> integerValue() const;
    bool isObject() const { return has_value() && value().isObject(); }
    bool isArray() const { return has_value() && value().isArray(); }
};

template<>
struct std::hash<JSONValue>
{
    size_t operator()(const JSONValue &value) const { return qHash(value); }
};
