#include "cli/RecordJson.h"

#include <QJsonArray>

#include <algorithm>

namespace {

template<typename T>
QJsonValue optional(const std::optional<T> &value)
{
    if (!value)
        return QJsonValue::Null;
    if constexpr (std::is_same_v<T, qint64>)
        return QJsonValue(double(*value));
    else
        return QJsonValue(*value);
}

QJsonArray sortedArray(QStringList values)
{
    std::sort(values.begin(), values.end());
    return QJsonArray::fromStringList(values);
}

} // namespace

QJsonObject recordJson(const FileRecord &r)
{
    return QJsonObject{
        {QStringLiteral("id"), double(r.id)},
        {QStringLiteral("path"), r.path},
        {QStringLiteral("name"), r.name},
        {QStringLiteral("ext"), r.ext},
        {QStringLiteral("uti"), optional(r.uti)},
        {QStringLiteral("kind"), fileKindRawValue(r.kind)},
        {QStringLiteral("size"), double(r.size)},
        {QStringLiteral("created"), optional(r.created)},
        {QStringLiteral("modified"), optional(r.modified)},
        {QStringLiteral("added"), optional(r.added)},
        {QStringLiteral("opened"), optional(r.opened)},
        {QStringLiteral("sourceID"), optional(r.sourceID)},
        {QStringLiteral("sourceURL"), optional(r.sourceURL)},
        {QStringLiteral("bundleID"), optional(r.bundleID)},
        {QStringLiteral("isScreenshot"), r.isScreenshot},
        {QStringLiteral("width"), optional(r.width)},
        {QStringLiteral("height"), optional(r.height)},
        {QStringLiteral("duration"), optional(r.duration)},
        {QStringLiteral("pages"), optional(r.pages)},
        {QStringLiteral("sha256"), optional(r.sha256)},
        {QStringLiteral("textExcerpt"), optional(r.textExcerpt)},
    };
}

QJsonObject hitJson(const FileHit &hit)
{
    return QJsonObject{
        {QStringLiteral("file"), recordJson(hit.file)},
        {QStringLiteral("score"), hit.score},
        {QStringLiteral("snippet"), optional(hit.snippet)},
        {QStringLiteral("reason"), optional(hit.reason)},
    };
}

QJsonObject queryJson(const SearchQuery &query)
{
    const FileFilter &f = query.filter;
    QStringList kinds;
    for (FileKind kind : f.kinds)
        kinds.append(fileKindRawValue(kind));
    const QJsonObject filter{
        {QStringLiteral("kinds"), sortedArray(kinds)},
        {QStringLiteral("extensions"), sortedArray(QStringList(f.extensions.begin(), f.extensions.end()))},
        {QStringLiteral("dateField"), dateFieldRawValue(f.dateField)},
        {QStringLiteral("dateFrom"), optional(f.dateFrom)},
        {QStringLiteral("dateTo"), optional(f.dateTo)},
        {QStringLiteral("minSize"), optional(f.minSize)},
        {QStringLiteral("maxSize"), optional(f.maxSize)},
        {QStringLiteral("sources"), sortedArray(QStringList(f.sources.begin(), f.sources.end()))},
        {QStringLiteral("screenshotsOnly"), f.screenshotsOnly},
        {QStringLiteral("folder"), optional(f.folder)},
    };
    return QJsonObject{
        {QStringLiteral("raw"), query.raw},
        {QStringLiteral("keywords"), QJsonArray::fromStringList(query.keywords)},
        {QStringLiteral("relatedTerms"), QJsonArray::fromStringList(query.relatedTerms)},
        {QStringLiteral("filter"), filter},
        {QStringLiteral("dateLabel"), optional(query.dateLabel)},
        {QStringLiteral("summary"), optional(query.summary)},
    };
}
