#include "core/Defaults.h"

#include "core/Paths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>

#include <memory>

namespace {

QStringList &standardArguments()
{
    static QStringList arguments;
    return arguments;
}

std::unique_ptr<Defaults> &standardInstance()
{
    static std::unique_ptr<Defaults> instance;
    return instance;
}

bool isArgumentKey(const QString &flag)
{
    return flag.size() > 2 && flag.at(0) == u'-' && flag.at(1).isLetter();
}

// The launch arguments as keys and values; the pairs come from
// splitArguments(), so each key is followed by its value. A key given more
// than once holds the list of its values.
QHash<QString, QJsonValue> argumentValues(const QStringList &launch)
{
    QHash<QString, QJsonValue> values;
    for (qsizetype i = 0; i + 1 < launch.size(); i += 2) {
        const QString key = launch.at(i).mid(1), given = launch.at(i + 1);
        if (!values.contains(key)) {
            values.insert(key, given);
            continue;
        }
        QJsonValue &value = values[key];
        QJsonArray list = value.isArray() ? value.toArray() : QJsonArray{value};
        list.append(given);
        value = list;
    }
    return values;
}

} // namespace

Defaults::Defaults(QString filePath, const QStringList &arguments)
    : m_filePath(std::move(filePath))
    , m_arguments(argumentValues(splitArguments(arguments).launch))
    , m_values(readFile())
{
}

Defaults &Defaults::standard()
{
    auto &instance = standardInstance();
    if (!instance)
        instance = std::make_unique<Defaults>(Paths::settingsFile(), standardArguments());
    return *instance;
}

void Defaults::setStandardArguments(const QStringList &arguments)
{
    standardArguments() = arguments;
    standardInstance().reset();
}

Defaults::SplitArguments Defaults::splitArguments(const QStringList &arguments)
{
    SplitArguments split;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        if (argument == QLatin1String("--")) {
            split.rest += arguments.mid(i);
            break;
        }
        if (isArgumentKey(argument) && i + 1 < arguments.size()) {
            split.launch << argument << arguments.at(i + 1);
            ++i;
            continue;
        }
        split.rest << argument;
    }
    return split;
}

QJsonObject Defaults::readFile() const
{
    QFile file(m_filePath);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    // A file that isn't a JSON object reads as empty; it is replaced at the
    // next write.
    return QJsonDocument::fromJson(file.readAll()).object();
}

void Defaults::writeFile(const QJsonObject &object)
{
    m_lastWriteError.clear();
    QDir().mkpath(QFileInfo(m_filePath).absolutePath());
    QSaveFile file(m_filePath);
    if (!file.open(QIODevice::WriteOnly)) {
        m_lastWriteError = file.errorString();
        return;
    }
    file.write(QJsonDocument(object).toJson(QJsonDocument::Indented));
    if (!file.commit())
        m_lastWriteError = file.errorString();
}

QJsonValue Defaults::value(const QString &key) const
{
    const auto argument = m_arguments.constFind(key);
    if (argument != m_arguments.constEnd())
        return *argument;
    return m_values.value(key);
}

bool Defaults::contains(const QString &key) const
{
    return m_arguments.contains(key) || m_values.contains(key);
}

void Defaults::setValue(const QString &key, const QJsonValue &value)
{
    QJsonObject onDisk = readFile();
    onDisk.insert(key, value);
    m_values = onDisk;
    writeFile(onDisk);
}

void Defaults::remove(const QString &key)
{
    QJsonObject onDisk = readFile();
    onDisk.remove(key);
    m_values = onDisk;
    writeFile(onDisk);
}

std::optional<QString> Defaults::string(const QString &key) const
{
    const QJsonValue v = value(key);
    if (v.isString())
        return v.toString();
    return std::nullopt;
}

std::optional<QStringList> Defaults::stringList(const QString &key) const
{
    const QJsonValue v = value(key);
    if (!v.isArray())
        return std::nullopt;
    QStringList list;
    for (const QJsonValue &item : v.toArray()) {
        if (!item.isString())
            return std::nullopt;
        list.append(item.toString());
    }
    return list;
}

std::optional<bool> Defaults::boolean(const QString &key) const
{
    const QJsonValue v = value(key);
    if (v.isBool())
        return v.toBool();
    return std::nullopt;
}

std::optional<double> Defaults::real(const QString &key) const
{
    const QJsonValue v = value(key);
    if (v.isDouble())
        return v.toDouble();
    return std::nullopt;
}

bool Defaults::boolForKey(const QString &key) const
{
    const QJsonValue v = value(key);
    if (v.isBool())
        return v.toBool();
    if (v.isDouble())
        return v.toDouble() != 0.0;
    if (v.isString()) {
        const QString text = v.toString().trimmed().toLower();
        if (text == QLatin1String("yes") || text == QLatin1String("true"))
            return true;
        bool ok = false;
        const qlonglong number = text.toLongLong(&ok);
        return ok && number != 0;
    }
    return false;
}
