#include "cli/SearchJson.h"

#include "cli/FileOutput.h"

#include <QJsonArray>

#include <algorithm>

namespace {

template<typename T>
QJsonValue optional(const std::optional<T> &value)
{
    if (!value)
        return QJsonValue::Null;
    return QJsonValue(*value);
}

QJsonArray sortedArray(QStringList values)
{
    std::sort(values.begin(), values.end());
    return QJsonArray::fromStringList(values);
}

} // namespace

QJsonObject hitJson(const FileHit &hit)
{
    return QJsonObject{
        {QStringLiteral("file"), FileOutput::json(hit.file)},
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

QJsonObject planJson(const SearchPlan &plan)
{
    return QJsonObject{
        {QStringLiteral("keywords"), QJsonArray::fromStringList(plan.keywords)},
        {QStringLiteral("relatedTerms"), QJsonArray::fromStringList(plan.relatedTerms)},
        {QStringLiteral("kinds"), QJsonArray::fromStringList(plan.kinds)},
        {QStringLiteral("extensions"), QJsonArray::fromStringList(plan.extensions)},
        {QStringLiteral("dateField"), plan.dateField},
        {QStringLiteral("dateFrom"), plan.dateFrom},
        {QStringLiteral("dateTo"), plan.dateTo},
        {QStringLiteral("minBytes"), plan.minBytes},
        {QStringLiteral("maxBytes"), plan.maxBytes},
        {QStringLiteral("sources"), QJsonArray::fromStringList(plan.sources)},
        {QStringLiteral("screenshotsOnly"), plan.screenshotsOnly},
        {QStringLiteral("summary"), plan.summary},
    };
}
