#include "search/SearchPlan.h"

#include "claude/JSONDecoder.h"
#include "core/DownloadSources.h"
#include "core/Format.h"
#include "search/LocalQueryParser.h"

#include <QSet>

#include <algorithm>

namespace {

// A kept related term list stays short enough for one full-text statement.
constexpr qsizetype relatedTermLimit = 16;

std::optional<JSONValue> member(const JSONDecoder &decoder, const QString &name)
{
    return decoder.optionalField<JSONValue>(name);
}

QString text(const std::optional<JSONValue> &value)
{
    return value ? value->stringValue().value_or(QString()) : QString();
}

// The strings of an array; other items, and a value that is no array, give nothing.
QStringList strings(const std::optional<JSONValue> &value)
{
    QStringList list;
    if (!value)
        return list;
    for (const JSONValue &item : value->arrayItems()) {
        if (const auto string = item.stringValue())
            list.append(*string);
    }
    return list;
}

qint64 integer(const std::optional<JSONValue> &value)
{
    return value ? value->integerValue().value_or(0) : 0;
}

QString trimmedLower(const QString &text)
{
    return text.trimmed().toLower();
}

// "YYYY-MM-DD" as a day: the pieces between "-", empty ones dropped, must be
// exactly three whole numbers. A day past the end of its month rolls over
// into the next, as a calendar builds dates from parts.
std::optional<QDate> planDay(const QString &text)
{
    const QStringList pieces = text.trimmed().split(u'-', Qt::SkipEmptyParts);
    if (pieces.size() != 3)
        return std::nullopt;
    int parts[3] = {};
    for (int i = 0; i < 3; ++i) {
        bool ok = false;
        parts[i] = pieces.at(i).trimmed().toInt(&ok);
        if (!ok)
            return std::nullopt;
    }
    const QDate day = QDate(parts[0], 1, 1).addMonths(parts[1] - 1).addDays(parts[2] - 1);
    if (!day.isValid())
        return std::nullopt;
    return day;
}

double startOf(const QDate &day, const UserCalendar &calendar)
{
    return double(day.startOfDay(calendar.timeZone).toMSecsSinceEpoch()) / 1000.0;
}

QDate dayOf(double seconds, const UserCalendar &calendar)
{
    return QDateTime::fromMSecsSinceEpoch(qint64(seconds * 1000.0), calendar.timeZone).date();
}

std::optional<FileKind> knownKind(const QString &word)
{
    const QString raw = trimmedLower(word);
    for (FileKind kind : allFileKinds()) {
        if (fileKindRawValue(kind) == raw)
            return kind;
    }
    return std::nullopt;
}

QString withoutDotsAndBlanks(const QString &extension)
{
    const QString lower = extension.toLower();
    qsizetype first = 0;
    qsizetype last = lower.size();
    const auto trimmable = [](QChar c) { return c == u'.' || c.isSpace(); };
    while (first < last && trimmable(lower.at(first)))
        ++first;
    while (last > first && trimmable(lower.at(last - 1)))
        --last;
    return lower.mid(first, last - first);
}

} // namespace

SearchPlan SearchPlan::decode(const JSONDecoder &decoder)
{
    SearchPlan plan;
    plan.keywords = strings(member(decoder, QStringLiteral("keywords")));
    plan.relatedTerms = strings(member(decoder, QStringLiteral("relatedTerms")));
    plan.kinds = strings(member(decoder, QStringLiteral("kinds")));
    plan.extensions = strings(member(decoder, QStringLiteral("extensions")));
    plan.dateField = text(member(decoder, QStringLiteral("dateField")));
    plan.dateFrom = text(member(decoder, QStringLiteral("dateFrom")));
    plan.dateTo = text(member(decoder, QStringLiteral("dateTo")));
    plan.minBytes = integer(member(decoder, QStringLiteral("minBytes")));
    plan.maxBytes = integer(member(decoder, QStringLiteral("maxBytes")));
    plan.sources = strings(member(decoder, QStringLiteral("sources")));
    const auto screenshots = member(decoder, QStringLiteral("screenshotsOnly"));
    plan.screenshotsOnly = screenshots && screenshots->boolValue().value_or(false);
    plan.summary = text(member(decoder, QStringLiteral("summary")));
    return plan;
}

RankedMatches RankedMatches::decode(const JSONDecoder &decoder)
{
    RankedMatches result;
    const auto matches = member(decoder, QStringLiteral("matches"));
    if (!matches)
        return result;
    for (const JSONValue &item : matches->arrayItems()) {
        const auto id = item[QStringLiteral("id")].integerValue();
        if (!id)
            continue;
        const double relevance = item[QStringLiteral("relevance")].numberValue().value_or(0);
        result.matches.append({*id, std::clamp(relevance, 0.0, 1.0),
                               item[QStringLiteral("reason")].stringValue().value_or(QString()).trimmed()});
    }
    return result;
}

std::optional<QString> dateLabel(std::optional<double> from, std::optional<double> to, const UserCalendar &calendar)
{
    const QLocale locale = calendar.locale.language() == QLocale::C ? Format::locale() : calendar.locale;
    const auto written = [&](const QDate &day) { return Format::date(day, locale); };
    if (from && to) {
        const QDate first = dayOf(*from, calendar);
        const QDate last = QDateTime::fromMSecsSinceEpoch(qint64(*to * 1000.0), calendar.timeZone).addDays(-1).date();
        if (first == last)
            return written(first);
        return written(first) + QStringLiteral(" – ") + written(last);
    }
    if (from)
        return QStringLiteral("Since ") + written(dayOf(*from, calendar));
    if (to)
        return QStringLiteral("Before ") + written(dayOf(*to, calendar));
    return std::nullopt;
}

SearchQuery SearchQuery::merged(const SearchPlan &plan, const UserCalendar &calendar) const
{
    SearchQuery result = *this;
    FileFilter &filter = result.filter;

    QStringList keywords;
    for (const QString &keyword : plan.keywords) {
        if (const QString word = trimmedLower(keyword); !word.isEmpty())
            keywords.append(word);
    }
    if (!keywords.isEmpty())
        result.keywords = keywords;

    const QSet<QString> inForce(result.keywords.cbegin(), result.keywords.cend());
    QStringList related;
    QSet<QString> seen;
    for (const QString &term : plan.relatedTerms) {
        const QString word = trimmedLower(term);
        if (word.isEmpty() || inForce.contains(word) || seen.contains(word))
            continue;
        seen.insert(word);
        related.append(word);
        if (related.size() == relatedTermLimit)
            break;
    }
    result.relatedTerms = related;

    QSet<FileKind> kinds;
    for (const QString &word : plan.kinds) {
        if (const auto kind = knownKind(word))
            kinds.insert(*kind);
    }
    QSet<QString> extensions;
    for (const QString &extension : plan.extensions) {
        if (const QString ext = withoutDotsAndBlanks(extension); !ext.isEmpty())
            extensions.insert(ext);
    }
    if (!kinds.isEmpty() || !extensions.isEmpty()) {
        filter.kinds = kinds;
        filter.extensions = extensions;
    }

    const std::optional<QDate> fromDay = planDay(plan.dateFrom);
    const std::optional<QDate> lastDay = planDay(plan.dateTo);
    if (fromDay || lastDay) {
        filter.dateFrom = fromDay ? std::optional<double>(startOf(*fromDay, calendar)) : std::nullopt;
        // The plan's end is the last day included; the filter's is the first day left out.
        filter.dateTo = lastDay ? std::optional<double>(startOf(lastDay->addDays(1), calendar)) : std::nullopt;
        result.dateLabel = ::dateLabel(filter.dateFrom, filter.dateTo, calendar);
        if (const auto field = dateFieldFromRawValue(trimmedLower(plan.dateField)))
            filter.dateField = *field;
    }

    if (plan.minBytes > 0)
        filter.minSize = plan.minBytes;
    if (plan.maxBytes > 0)
        filter.maxSize = plan.maxBytes;

    QSet<QString> sources;
    for (const QString &source : plan.sources) {
        if (const QString id = trimmedLower(source); KnownSource::byID().contains(id))
            sources.insert(id);
    }
    if (!sources.isEmpty())
        filter.sources = sources;

    // Screenshots are images, and the image kind would let every photo in.
    if (plan.screenshotsOnly) {
        filter.screenshotsOnly = true;
        filter.kinds.remove(FileKind::image);
    }

    const QString summary = plan.summary.trimmed();
    result.summary = summary.isEmpty() ? std::nullopt : std::optional<QString>(summary);
    return result;
}
