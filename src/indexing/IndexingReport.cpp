#include "indexing/IndexingReport.h"

#include "core/Paths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace {

QJsonObject readAll()
{
    QFile file(IndexingReport::file());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).object();
}

std::optional<double> number(const QJsonObject &object, const char *key)
{
    const QJsonValue value = object.value(QLatin1String(key));
    return value.isDouble() ? std::optional<double>(value.toDouble()) : std::nullopt;
}

void put(QJsonObject &object, const char *key, const std::optional<double> &value)
{
    if (value)
        object.insert(QLatin1String(key), *value);
}

} // namespace

QString IndexingReport::file()
{
    return Paths::stateHome() + QStringLiteral("/Larder/indexing.json");
}

IndexingReport IndexingReport::load(const QString &library)
{
    const QJsonObject object = readAll().value(library).toObject();
    IndexingReport report;
    for (const QJsonValue &root : object.value(QLatin1String("roots")).toArray()) {
        if (root.isString())
            report.roots.append(root.toString());
    }
    report.startedAt = number(object, "startedAt");
    report.scannedAt = number(object, "scannedAt");
    if (const QJsonValue error = object.value(QLatin1String("lastError")); error.isString())
        report.lastError = error.toString();
    report.lastErrorAt = number(object, "lastErrorAt");
    report.skippedNames = qint64(object.value(QLatin1String("skippedNames")).toDouble());
    report.unreadableFolders = qint64(object.value(QLatin1String("unreadableFolders")).toDouble());
    return report;
}

void IndexingReport::save(const QString &library) const
{
    QJsonObject object;
    object.insert(QLatin1String("roots"), QJsonArray::fromStringList(roots));
    put(object, "startedAt", startedAt);
    put(object, "scannedAt", scannedAt);
    if (lastError)
        object.insert(QLatin1String("lastError"), *lastError);
    put(object, "lastErrorAt", lastErrorAt);
    object.insert(QLatin1String("skippedNames"), double(skippedNames));
    object.insert(QLatin1String("unreadableFolders"), double(unreadableFolders));

    QJsonObject all = readAll();
    all.insert(library, object);
    QDir().mkpath(QFileInfo(file()).absolutePath());
    QSaveFile out(file());
    if (!out.open(QIODevice::WriteOnly))
        return;
    out.write(QJsonDocument(all).toJson(QJsonDocument::Indented));
    out.commit();
}
