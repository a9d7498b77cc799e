#include "claude/JSONDecoder.h"

void throwJSONTypeMismatch(const QString &expected, const QString &path)
{
    throw JSONDecodingError(QStringLiteral("expected %1 at \"%2\"").arg(expected, path.isEmpty() ? QStringLiteral(".") : path));
}

JSONDecoder::JSONDecoder(const JSONValue &value, QString path)
    : m_value(value)
    , m_path(std::move(path))
{
    if (!value.isObject())
        throwJSONTypeMismatch(QStringLiteral("an object"), m_path);
    for (const auto &[key, member] : value.objectMembers())
        m_keys.insert(fromSnakeCase(key), key);
}

const JSONValue *JSONDecoder::find(const QString &name) const
{
    const auto key = m_keys.constFind(name);
    if (key == m_keys.constEnd())
        return nullptr;
    const JSONValue::Object &members = m_value.objectMembers();
    const auto found = members.find(*key);
    return found == members.end() ? nullptr : &found->second;
}

QString JSONDecoder::childPath(const QString &name) const
{
    return m_path.isEmpty() ? name : m_path + u'.' + name;
}

QString JSONDecoder::fromSnakeCase(const QString &key)
{
    qsizetype first = 0;
    while (first < key.size() && key.at(first) == u'_')
        ++first;
    if (first == key.size())
        return key;
    qsizetype last = key.size() - 1;
    while (last > first && key.at(last) == u'_')
        --last;

    const QStringList words = key.mid(first, last - first + 1).split(u'_', Qt::SkipEmptyParts);
    if (words.size() == 1)
        return key;
    QString joined = words.first().toLower();
    for (qsizetype i = 1; i < words.size(); ++i)
        joined += words.at(i).left(1).toUpper() + words.at(i).mid(1).toLower();
    return key.left(first) + joined + key.mid(last + 1);
}
