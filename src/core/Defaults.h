// The settings store: a typed JSON file with the launch arguments layered on
// top. Values keep their types across processes (a one-item list stays a
// list, true stays a boolean), which is why this is not QSettings.
#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QHash>
#include <QString>
#include <QStringList>

#include <optional>

class Defaults
{
public:
    // filePath: the JSON file, created on the first write. arguments: the
    // process's launch arguments; each "-Key value" pair before a "--"
    // becomes a string value that reads before the file, and a key given
    // more than once a list of strings.
    explicit Defaults(QString filePath, const QStringList &arguments = {});

    // The program's own store: Paths::settingsFile() with the launch arguments
    // given to setStandardArguments().
    static Defaults &standard();
    // Sets the launch arguments of the standard store. Call it before the
    // store is first used; a store made earlier is replaced.
    static void setStandardArguments(const QStringList &arguments);

    // The launch argument of the key if there is one, else the stored value,
    // else undefined.
    QJsonValue value(const QString &key) const;
    bool contains(const QString &key) const;

    // Writes through at once: the file is read again, the key set, and the
    // whole file replaced atomically, so keys written by another process are
    // kept. Throws nothing; a failed write leaves the value in memory.
    void setValue(const QString &key, const QJsonValue &value);
    void remove(const QString &key);

    // Typed readers. Each gives nothing when the key is absent or holds
    // another type.
    std::optional<QString> string(const QString &key) const;
    std::optional<QStringList> stringList(const QString &key) const;
    std::optional<bool> boolean(const QString &key) const;
    std::optional<double> real(const QString &key) const;
    // Lenient boolean: true for true, a non-zero number, or the texts "yes",
    // "true" and non-zero integers; false otherwise, absent included.
    bool boolForKey(const QString &key) const;

    QString filePath() const { return m_filePath; }
    QString lastWriteError() const { return m_lastWriteError; }

    // A command line split into its "-Key value" launch arguments and the
    // rest, in order. A key is one dash, a letter and at least one more
    // character ("--option" and "-h" are not keys). Everything from a "--" on
    // is the rest, so "-- -draft notes" stays words to search for.
    struct SplitArguments
    {
        QStringList launch;
        QStringList rest;
    };
    static SplitArguments splitArguments(const QStringList &arguments);

private:
    QJsonObject readFile() const;
    void writeFile(const QJsonObject &object);

    QString m_filePath;
    QHash<QString, QJsonValue> m_arguments;
    QJsonObject m_values;
    QString m_lastWriteError;
};
