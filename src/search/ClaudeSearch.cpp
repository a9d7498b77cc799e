#include "search/ClaudeSearch.h"

#include "claude/ClaudeClient.h"
#include "core/DownloadSources.h"
#include "core/Format.h"
#include "search/LocalQueryParser.h"
#include "search/SearchEngine.h"

#include <QDir>
#include <QHash>
#include <QSet>

namespace {

constexpr qint64 answerTokens = 4000;
constexpr qsizetype excerptLength = 280;

const char *const planPrompt = R"(You turn a person's request for files on their computer into a search plan for a local full-text index. The index covers file names, folder names, and text extracted from documents, including OCR of screenshots, photos and scanned PDFs.

Fill every field:
- keywords: the 1-4 most distinctive words the file's name or text would contain, lowercase. Leave out filler like "file", "find", "my", "the".
- related_terms: up to 12 other words or short phrases that such a document typically contains: synonyms, regional wording, provider and brand names, jargon. For "home electricity plan" in Australia that would include "energy", "tariff", "kwh", "supply charge", "usage rate", "agl", "origin energy", "energyaustralia", "power bill".
- kinds: only when the person names a type of file (image, video, audio, document, archive, app); otherwise [].
- extensions: formats named or strongly implied, like ["pdf"]; otherwise [].
- date_field: "added" when they mean when it was downloaded or received, "opened", "created", or "modified"; "any" when no date is mentioned.
- date_from / date_to: inclusive YYYY-MM-DD bounds resolved against today's date, or "" when unbounded.
- min_bytes / max_bytes: sizes in bytes, 0 when not mentioned.
- sources: where it was downloaded from, using only the allowed ids; otherwise [].
- screenshots_only: true only when they ask for screenshots.
- summary: at most 8 words describing what's being looked for, like "Home electricity plan".

Don't add constraints the person didn't ask for.)";

const char *const rerankPrompt = R"(You rank files from someone's computer by how well each matches what they're looking for. For each candidate you see its name, type, size, dates, where it was downloaded from, its folder, and a short excerpt of its text.

Return only candidates that plausibly match, best first. relevance is 0 to 1. reason is at most 12 words and cites concrete evidence from the name or excerpt, for example "AGL residential electricity plan listing 29.7c/kWh". Prefer the document itself over files that only mention the topic in passing.)";

JSONValue typed(const char *type)
{
    return JSONValue::object({{QStringLiteral("type"), type}});
}

JSONValue arrayOf(JSONValue items)
{
    return JSONValue::object({{QStringLiteral("type"), "array"}, {QStringLiteral("items"), std::move(items)}});
}

JSONValue enumOf(const QStringList &values)
{
    return JSONValue::object({{QStringLiteral("type"), "string"}, {QStringLiteral("enum"), JSONValue::strings(values)}});
}

JSONValue closedObject(JSONValue properties, const QStringList &required)
{
    return JSONValue::object({{QStringLiteral("type"), "object"},
                              {QStringLiteral("additionalProperties"), false},
                              {QStringLiteral("required"), JSONValue::strings(required)},
                              {QStringLiteral("properties"), std::move(properties)}});
}

const JSONValue &planSchema()
{
    static const JSONValue schema = [] {
        QStringList kinds;
        for (FileKind kind : allFileKinds()) {
            if (kind != FileKind::other)
                kinds.append(fileKindRawValue(kind));
        }
        QStringList sources;
        for (const KnownSource &source : KnownSource::all())
            sources.append(source.id);
        const JSONValue properties = JSONValue::object({
            {QStringLiteral("keywords"), arrayOf(typed("string"))},
            {QStringLiteral("related_terms"), arrayOf(typed("string"))},
            {QStringLiteral("kinds"), arrayOf(enumOf(kinds))},
            {QStringLiteral("extensions"), arrayOf(typed("string"))},
            {QStringLiteral("date_field"), enumOf({QStringLiteral("modified"), QStringLiteral("added"),
                                                   QStringLiteral("opened"), QStringLiteral("created"),
                                                   QStringLiteral("any")})},
            {QStringLiteral("date_from"), typed("string")},
            {QStringLiteral("date_to"), typed("string")},
            {QStringLiteral("min_bytes"), typed("integer")},
            {QStringLiteral("max_bytes"), typed("integer")},
            {QStringLiteral("sources"), arrayOf(enumOf(sources))},
            {QStringLiteral("screenshots_only"), typed("boolean")},
            {QStringLiteral("summary"), typed("string")},
        });
        QStringList required;
        for (const auto &[key, value] : properties.objectMembers())
            required.append(key);
        return closedObject(properties, required);
    }();
    return schema;
}

const JSONValue &rerankSchema()
{
    static const JSONValue schema = [] {
        const JSONValue match = closedObject(JSONValue::object({{QStringLiteral("id"), typed("integer")},
                                                                {QStringLiteral("relevance"), typed("number")},
                                                                {QStringLiteral("reason"), typed("string")}}),
                                             {QStringLiteral("id"), QStringLiteral("relevance"), QStringLiteral("reason")});
        return closedObject(JSONValue::object({{QStringLiteral("matches"), arrayOf(match)}}), {QStringLiteral("matches")});
    }();
    return schema;
}

MessageRequest structuredRequest(const QString &model, const char *system, const QString &message, const JSONValue &schema)
{
    MessageRequest request;
    request.model = model;
    request.maxTokens = answerTokens;
    request.system = QString::fromUtf8(system);
    request.messages = {userMessage(message)};
    request.effort = QStringLiteral("low");
    request.outputSchema = schema;
    request.cacheSystemPrompt = false;
    return request;
}

// The region the person lives in, in English, for the regional vocabulary
// of the plan.
QString regionName(const QLocale &locale)
{
    const QLocale::Territory territory = locale.territory();
    if (territory == QLocale::AnyTerritory)
        return QStringLiteral("unknown");
    const QString name = QLocale::territoryToString(territory);
    return name.isEmpty() ? QLocale::territoryToCode(territory) : name;
}

QString isoDay(double seconds)
{
    return QDateTime::fromMSecsSinceEpoch(qint64(seconds * 1000.0)).date().toString(Qt::ISODate);
}

QString folderOf(const QString &path, const QString &home)
{
    const qsizetype slash = path.lastIndexOf(u'/');
    const QString folder = slash <= 0 ? (slash == 0 ? QStringLiteral("/") : QString()) : path.left(slash);
    if (!home.isEmpty() && (folder == home || folder.startsWith(home + u'/')))
        return u'~' + folder.mid(home.size());
    return folder;
}

QString excerptOf(const FileHit &hit)
{
    QString text = hit.snippet.value_or(hit.file.textExcerpt.value_or(QString()));
    text.remove(u'⟦');
    text.remove(u'⟧');
    text.replace(u'\n', u' ');
    text.replace(u'\r', u' ');
    if (text.size() <= excerptLength)
        return text;
    // Never cut a character in half.
    const qsizetype cut = text.at(excerptLength - 1).isHighSurrogate() ? excerptLength - 1 : excerptLength;
    return text.left(cut);
}

} // namespace

SearchPlanner::SearchPlanner(const ClaudeClient &client, QString model)
    : m_client(client)
    , m_model(std::move(model))
{
}

MessageRequest SearchPlanner::request(const QString &text, const QDateTime &now, const UserCalendar &calendar) const
{
    // The date always reads like "Wednesday, 15 May 2024", whatever the
    // person's own locale.
    const QLocale dateLocale(QLocale::English, QLocale::Australia);
    const QString today = dateLocale.toString(now.toTimeZone(calendar.timeZone).date(), QStringLiteral("dddd, d MMMM yyyy"));
    const QString message = QStringLiteral("Today is ") + today + QStringLiteral(" (")
        + QString::fromUtf8(calendar.timeZone.id()) + QStringLiteral("). The person lives in ")
        + regionName(calendar.locale) + QStringLiteral(".\n\nRequest: ") + text;
    return structuredRequest(m_model, planPrompt, message, planSchema());
}

SearchPlan SearchPlanner::plan(const QString &text, const QDateTime &now, const UserCalendar &calendar,
                               const CancellationToken &token) const
{
    return m_client.structured<SearchPlan>(request(text, now, calendar), token);
}

SearchReranker::SearchReranker(const ClaudeClient &client, QString model)
    : m_client(client)
    , m_model(std::move(model))
{
}

MessageRequest SearchReranker::request(const QString &text, const std::optional<QString> &summary,
                                       const QList<FileHit> &hits) const
{
    QString message = QStringLiteral("Looking for: ") + text;
    if (summary)
        message += QStringLiteral("\nInterpreted as: ") + *summary;
    QStringList lines;
    const QString home = QDir::homePath();
    for (const FileHit &hit : hits)
        lines.append(candidateLine(hit, home));
    message += QStringLiteral("\n\nCandidates:\n") + lines.join(u'\n');
    return structuredRequest(m_model, rerankPrompt, message, rerankSchema());
}

QList<RankedMatch> SearchReranker::rank(const QString &text, const std::optional<QString> &summary,
                                        const QList<FileHit> &hits, const CancellationToken &token) const
{
    if (hits.isEmpty())
        return {};
    const QList<RankedMatch> matches = m_client.structured<RankedMatches>(request(text, summary, hits), token).matches;
    QSet<qint64> sent;
    for (const FileHit &hit : hits)
        sent.insert(hit.file.id);
    QList<RankedMatch> kept;
    for (const RankedMatch &match : matches) {
        if (sent.contains(match.id))
            kept.append(match);
    }
    return kept;
}

QString candidateLine(const FileHit &hit, const QString &home)
{
    const FileRecord &file = hit.file;
    QStringList fields;
    fields.append(u'[' + QString::number(file.id) + QStringLiteral("] ") + file.name);
    fields.append(file.ext.isEmpty() ? fileKindWord(file.kind) : fileKindWord(file.kind) + QStringLiteral(" .") + file.ext);
    fields.append(Format::byteCount(file.size));
    if (file.modified)
        fields.append(QStringLiteral("modified ") + isoDay(*file.modified));
    if (file.added)
        fields.append(QStringLiteral("added ") + isoDay(*file.added));
    if (file.sourceID) {
        const QString &id = *file.sourceID;
        if (const auto known = KnownSource::byID().constFind(id); known != KnownSource::byID().constEnd())
            fields.append(QStringLiteral("from ") + known->title);
        else if (id.startsWith(QLatin1String("web:")))
            fields.append(QStringLiteral("from ") + id.mid(4));
        else
            fields.append(QStringLiteral("from ") + id);
    }
    fields.append(folderOf(file.path, home));
    if (const QString excerpt = excerptOf(hit); !excerpt.isEmpty())
        fields.append(QStringLiteral("excerpt: \"") + excerpt + u'"');
    return fields.join(QStringLiteral(" | "));
}

QList<FileHit> claudeCandidates(const SearchEngine &engine, const SearchQuery &merged, const SearchQuery &local)
{
    // Few candidates mean the plan's vocabulary missed; the typed words get a say.
    constexpr int topUpBelow = 10;
    constexpr int topUpLimit = 20;
    QList<FileHit> candidates = engine.searchBroad(merged, ClaudeSearch::candidateLimit);
    if (candidates.size() >= topUpBelow)
        return candidates;
    QSet<qint64> seen;
    for (const FileHit &hit : std::as_const(candidates))
        seen.insert(hit.file.id);
    for (const FileHit &hit : engine.search(local, topUpLimit)) {
        if (!seen.contains(hit.file.id)) {
            seen.insert(hit.file.id);
            candidates.append(hit);
        }
    }
    return candidates;
}

QList<FileHit> rankedPicks(const QList<RankedMatch> &matches, const QList<FileHit> &shown)
{
    QHash<qint64, const FileHit *> byID;
    for (const FileHit &hit : shown)
        byID.insert(hit.file.id, &hit);
    QList<FileHit> picks;
    QSet<qint64> picked;
    for (const RankedMatch &match : matches) {
        if (match.relevance < ClaudeSearch::pickRelevance || picked.contains(match.id))
            continue;
        if (const FileHit *hit = byID.value(match.id)) {
            picked.insert(match.id);
            FileHit pick = *hit;
            pick.reason = match.reason;
            pick.score = match.relevance;
            picks.append(pick);
        }
    }
    return picks;
}

QList<FileHit> withoutPicks(const QList<FileHit> &hits, const QList<FileHit> &picks)
{
    QSet<qint64> picked;
    for (const FileHit &pick : picks)
        picked.insert(pick.file.id);
    QList<FileHit> others;
    for (const FileHit &hit : hits) {
        if (!picked.contains(hit.file.id))
            others.append(hit);
    }
    return others;
}
