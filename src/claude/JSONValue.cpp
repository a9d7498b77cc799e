#include "claude/JSONValue.h"

#include <QHashFunctions>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QLocale>

#include <cmath>

JSONError::JSONError(QString description)
    : m_description(std::move(description))
{
}

QString JSONError::description() const
{
    return m_description;
}

// ---- construction and access ----

JSONValue::JSONValue(bool value)
    : m_payload(value)
{
}

JSONValue::JSONValue(double value)
    : m_payload(value)
{
}

JSONValue::JSONValue(const QString &value)
    : m_payload(value)
{
}

JSONValue::JSONValue(const char *utf8)
    : m_payload(QString::fromUtf8(utf8))
{
}

JSONValue::JSONValue(Array value)
    : m_payload(std::make_shared<Array>(std::move(value)))
{
}

JSONValue::JSONValue(Object value)
    : m_payload(std::make_shared<Object>(std::move(value)))
{
}

JSONValue JSONValue::object(std::initializer_list<Member> members)
{
    return JSONValue(Object(members));
}

JSONValue JSONValue::array(std::initializer_list<JSONValue> elements)
{
    return JSONValue(Array(elements));
}

JSONValue JSONValue::strings(const QStringList &texts)
{
    Array items;
    items.reserve(texts.size());
    for (const QString &text : texts)
        items.append(JSONValue(text));
    return JSONValue(std::move(items));
}

std::optional<bool> JSONValue::boolValue() const
{
    if (const bool *value = std::get_if<bool>(&m_payload))
        return *value;
    return std::nullopt;
}

std::optional<double> JSONValue::numberValue() const
{
    if (const double *value = std::get_if<double>(&m_payload))
        return *value;
    return std::nullopt;
}

std::optional<QString> JSONValue::stringValue() const
{
    if (const QString *value = std::get_if<QString>(&m_payload))
        return *value;
    return std::nullopt;
}

std::optional<qint64> JSONValue::integerValue() const
{
    const std::optional<double> number = numberValue();
    // 2^63 itself is out of range; the lower bound -2^63 is exactly representable.
    if (!number || !std::isfinite(*number) || *number >= 9223372036854775808.0 || *number < -9223372036854775808.0)
        return std::nullopt;
    return static_cast<qint64>(*number);
}

const JSONValue::Array &JSONValue::arrayItems() const
{
    static const Array empty;
    if (const ArrayBox *box = std::get_if<ArrayBox>(&m_payload))
        return **box;
    return empty;
}

const JSONValue::Object &JSONValue::objectMembers() const
{
    static const Object empty;
    if (const ObjectBox *box = std::get_if<ObjectBox>(&m_payload))
        return **box;
    return empty;
}

JSONLookup JSONValue::operator[](const QString &key) const
{
    const ObjectBox *box = std::get_if<ObjectBox>(&m_payload);
    if (!box)
        return std::nullopt;
    const auto found = (*box)->find(key);
    if (found == (*box)->end())
        return std::nullopt;
    return found->second;
}

JSONValue::Array &JSONValue::mutableArray()
{
    ArrayBox *box = std::get_if<ArrayBox>(&m_payload);
    if (!box) {
        m_payload = std::make_shared<Array>();
        box = std::get_if<ArrayBox>(&m_payload);
    } else if (box->use_count() > 1) {
        *box = std::make_shared<Array>(**box);
    }
    return **box;
}

JSONValue::Object &JSONValue::mutableObject()
{
    ObjectBox *box = std::get_if<ObjectBox>(&m_payload);
    if (!box) {
        m_payload = std::make_shared<Object>();
        box = std::get_if<ObjectBox>(&m_payload);
    } else if (box->use_count() > 1) {
        *box = std::make_shared<Object>(**box);
    }
    return **box;
}

void JSONValue::insert(const QString &key, JSONValue value)
{
    mutableObject().insert_or_assign(key, std::move(value));
}

void JSONValue::append(JSONValue value)
{
    mutableArray().append(std::move(value));
}

bool operator==(const JSONValue &a, const JSONValue &b)
{
    if (a.type() != b.type())
        return false;
    switch (a.type()) {
    case JSONValue::Type::Null:
        return true;
    case JSONValue::Type::Bool:
        return a.boolValue() == b.boolValue();
    case JSONValue::Type::Number:
        return *a.numberValue() == *b.numberValue();
    case JSONValue::Type::String:
        return std::get<QString>(a.m_payload) == std::get<QString>(b.m_payload);
    case JSONValue::Type::Array:
        return a.arrayItems() == b.arrayItems();
    case JSONValue::Type::Object:
        return a.objectMembers() == b.objectMembers();
    }
    return false;
}

size_t qHash(const JSONValue &value, size_t seed)
{
    QtPrivate::QHashCombine combine;
    size_t hash = combine(seed, static_cast<int>(value.type()));
    switch (value.type()) {
    case JSONValue::Type::Null:
        return hash;
    case JSONValue::Type::Bool:
        return combine(hash, *value.boolValue());
    case JSONValue::Type::Number: {
        const double number = *value.numberValue();
        // 0.0 and -0.0 are equal, so they must hash alike.
        return combine(hash, number == 0 ? 0.0 : number);
    }
    case JSONValue::Type::String:
        return combine(hash, *value.stringValue());
    case JSONValue::Type::Array:
        for (const JSONValue &item : value.arrayItems())
            hash = combine(hash, qHash(item, seed));
        return hash;
    case JSONValue::Type::Object: {
        // A commutative sum of the entries' hashes, so order never matters.
        size_t members = 0;
        for (const auto &[key, item] : value.objectMembers())
            members += combine(qHash(key, seed), qHash(item, seed));
        return combine(hash, members);
    }
    }
    return hash;
}

// ---- lookups ----

JSONLookup JSONLookup::operator[](const QString &key) const
{
    if (!has_value())
        return std::nullopt;
    return value()[key];
}

std::optional<bool> JSONLookup::boolValue() const
{
    return has_value() ? value().boolValue() : std::nullopt;
}

std::optional<double> JSONLookup::numberValue() const
{
    return has_value() ? value().numberValue() : std::nullopt;
}

std::optional<QString> JSONLookup::stringValue() const
{
    return has_value() ? value().stringValue() : std::nullopt;
}

std::optional<qint64> JSONLookup::integerValue() const
{
    return has_value() ? value().integerValue() : std::nullopt;
}

// ---- parsing ----

namespace {

JSONValue fromQt(const QJsonValue &value)
{
    switch (value.type()) {
    case QJsonValue::Bool:
        return JSONValue(value.toBool());
    case QJsonValue::Double:
        return JSONValue(value.toDouble());
    case QJsonValue::String:
        return JSONValue(value.toString());
    case QJsonValue::Array: {
        const QJsonArray source = value.toArray();
        JSONValue::Array items;
        items.reserve(source.size());
        for (const QJsonValue &item : source)
            items.append(fromQt(item));
        return JSONValue(std::move(items));
    }
    case QJsonValue::Object: {
        const QJsonObject source = value.toObject();
        JSONValue::Object members;
        for (auto it = source.begin(); it != source.end(); ++it)
            members.emplace(it.key(), fromQt(it.value()));
        return JSONValue(std::move(members));
    }
    case QJsonValue::Null:
    case QJsonValue::Undefined:
        break;
    }
    return JSONValue();
}

} // namespace

JSONValue JSONValue::parse(const QByteArray &utf8)
{
    // Qt's decoder takes only an array or an object at the top, so the text
    // goes in as the single element of an array; anything that is not exactly
    // one value makes that array malformed or longer than one.
    QByteArray wrapped;
    wrapped.reserve(utf8.size() + 2);
    wrapped.append('[').append(utf8).append(']');
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(wrapped, &error);
    if (error.error != QJsonParseError::NoError) {
        const int offset = qBound(0, error.offset - 1, int(utf8.size()));
        throw JSONError(QStringLiteral("%1 at offset %2").arg(error.errorString()).arg(offset));
    }
    const QJsonArray array = document.array();
    if (array.size() != 1)
        throw JSONError(array.isEmpty() ? QStringLiteral("no value") : QStringLiteral("garbage at the end of the document"));
    return fromQt(array.first());
}

// ---- writing ----

namespace {

// Writes text that holds no unpaired surrogate, escaped.
void writeEscaped(QByteArray &out, QStringView text)
{
    const QByteArray utf8 = text.toUtf8();
    for (const char byte : utf8) {
        const auto c = static_cast<unsigned char>(byte);
        switch (c) {
        case '"':
            out.append("\\\"");
            break;
        case '\\':
            out.append("\\\\");
            break;
        case '\n':
            out.append("\\n");
            break;
        case '\r':
            out.append("\\r");
            break;
        case '\t':
            out.append("\\t");
            break;
        case '\b':
            out.append("\\b");
            break;
        case '\f':
            out.append("\\f");
            break;
        default:
            if (c < 0x20) {
                static const char hex[] = "0123456789abcdef";
                out.append("\\u00").append(hex[c >> 4]).append(hex[c & 0xf]);
            } else {
                out.append(byte);
            }
        }
    }
}

void writeString(QByteArray &out, const QString &text)
{
    out.append('"');
    // A "\ud83d" without its other half reads into a string as it stands;
    // UTF-8 can't carry it, so it goes out escaped the way it came in.
    qsizetype run = 0;
    for (qsizetype at = 0; at < text.size(); ++at) {
        const QChar c = text.at(at);
        if (c.isHighSurrogate() && at + 1 < text.size() && text.at(at + 1).isLowSurrogate()) {
            ++at;
            continue;
        }
        if (!c.isSurrogate())
            continue;
        writeEscaped(out, QStringView(text).sliced(run, at - run));
        out.append("\\u").append(QByteArray::number(c.unicode(), 16));
        run = at + 1;
    }
    writeEscaped(out, QStringView(text).sliced(run));
    out.append('"');
}

void writeNumber(QByteArray &out, double number)
{
    if (!std::isfinite(number))
        throw JSONError(QStringLiteral("Unable to encode %1 directly in JSON.").arg(number));
    // Integral values below 2^53 go out as integers: 16000, never 16000.0.
    if (std::round(number) == number && std::fabs(number) < 9007199254740992.0) {
        out.append(QByteArray::number(static_cast<qint64>(number)));
        return;
    }
    out.append(QByteArray::number(number, 'g', QLocale::FloatingPointShortest));
}

void writeValue(QByteArray &out, const JSONValue &value)
{
    switch (value.type()) {
    case JSONValue::Type::Null:
        out.append("null");
        return;
    case JSONValue::Type::Bool:
        out.append(*value.boolValue() ? "true" : "false");
        return;
    case JSONValue::Type::Number:
        writeNumber(out, *value.numberValue());
        return;
    case JSONValue::Type::String:
        writeString(out, *value.stringValue());
        return;
    case JSONValue::Type::Array: {
        out.append('[');
        bool first = true;
        for (const JSONValue &item : value.arrayItems()) {
            if (!first)
                out.append(',');
            first = false;
            writeValue(out, item);
        }
        out.append(']');
        return;
    }
    case JSONValue::Type::Object: {
        out.append('{');
        bool first = true;
        // The map keeps keys sorted, so the order is the sorted order.
        for (const auto &[key, item] : value.objectMembers()) {
            if (!first)
                out.append(',');
            first = false;
            writeString(out, key);
            out.append(':');
            writeValue(out, item);
        }
        out.append('}');
        return;
    }
    }
}

} // namespace

QByteArray JSONValue::serialized() const
{
    QByteArray out;
    writeValue(out, *this);
    return out;
}
