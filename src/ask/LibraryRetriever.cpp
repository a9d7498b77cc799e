#include "ask/LibraryRetriever.h"

#include "core/Format.h"
#include "meetings/MeetingStore.h"
#include "search/FullTextQuery.h"
#include "search/LocalQueryParser.h"
#include "store/IndexStore.h"

#include <QDir>
#include <QHash>

namespace {

// Words that ask rather than say what to look for.
const QSet<QString> &questionWords()
{
    static const QSet<QString> words{
        QStringLiteral("what"),  QStringLiteral("whats"),    QStringLiteral("when"),  QStringLiteral("where"),
        QStringLiteral("who"),   QStringLiteral("whom"),     QStringLiteral("whose"), QStringLiteral("why"),
        QStringLiteral("how"),   QStringLiteral("which"),    QStringLiteral("does"),  QStringLiteral("did"),
        QStringLiteral("can"),   QStringLiteral("could"),    QStringLiteral("would"), QStringLiteral("will"),
        QStringLiteral("should"), QStringLiteral("tell"),    QStringLiteral("know"),  QStringLiteral("think"),
        QStringLiteral("remember"),
    };
    return words;
}

QString withoutMarkers(QString text)
{
    text.remove(u'⟦');
    text.remove(u'⟧');
    return text;
}

QDateTime dateOf(double seconds)
{
    return QDateTime::fromMSecsSinceEpoch(qint64(seconds * 1000.0));
}

} // namespace

LibraryRetriever::LibraryRetriever(IndexStore &store, MeetingStore &meetings)
    : m_store(store)
    , m_meetings(meetings)
{
}

QList<RetrievedPassage> LibraryRetriever::retrieve(const QString &query, const QSet<Citation::Kind> &kinds,
                                                   const std::optional<QString> &excludingMeeting, int limit) const
{
    QStringList terms;
    for (const QString &token : ftsTokens(query)) {
        if (!questionWords().contains(token) && !queryStopWords().contains(token))
            terms.append(token);
    }
    const std::optional<FullTextMatch> match = ftsMatchAny(terms);
    if (!match || kinds.isEmpty())
        return {};

    QStringList ownerTypes;
    for (Citation::Kind kind : kinds)
        ownerTypes.append(citationKindRawValue(kind));
    const QList<PassageHit> hits =
        m_store.passages().searchPassages(match->expression, ownerTypes, excludingMeeting, limit);

    QList<qint64> fileIDs;
    for (const PassageHit &hit : hits) {
        bool isNumber = false;
        const qint64 id = hit.ownerID.toLongLong(&isNumber);
        if (hit.ownerType == QLatin1String("file") && isNumber)
            fileIDs.append(id);
    }
    const QHash<qint64, FileRecord> files = m_store.files().records(fileIDs);
    // Each meeting is read once however many of its passages hit.
    QHash<QString, std::optional<Meeting>> meetings;
    const QString home = QDir::homePath();
    const QLocale locale = Format::locale();

    QList<RetrievedPassage> passages;
    for (const PassageHit &hit : hits) {
        const auto kind = citationKindFromRawValue(hit.ownerType);
        if (!kind)
            continue;
        const QString text = (hit.body.isEmpty() ? withoutMarkers(hit.snippet) : hit.body).left(textLength);
        Citation citation{*kind, hit.ownerID, QString(), QString(), text.left(excerptLength)};
        if (*kind == Citation::Kind::file) {
            bool isNumber = false;
            const auto found = files.constFind(hit.ownerID.toLongLong(&isNumber));
            if (!isNumber || found == files.constEnd())
                continue;
            citation.title = found->name;
            citation.detail = Format::folderOf(found->path, home);
            if (found->modified)
                citation.detail += QStringLiteral(" · ") + Format::date(dateOf(*found->modified), locale);
            passages.append({citation, text.isEmpty() ? found->name : text});
            continue;
        }
        auto meeting = meetings.constFind(hit.ownerID);
        if (meeting == meetings.constEnd())
            meeting = meetings.insert(hit.ownerID, m_meetings.meeting(hit.ownerID));
        if (!*meeting)
            continue;
        citation.title = (*meeting)->displayTitle();
        citation.detail = (*kind == Citation::Kind::note ? QStringLiteral("Meeting notes · ")
                                                         : QStringLiteral("Transcript · "))
            + Format::date((*meeting)->started, locale);
        passages.append({citation, text});
    }
    return passages;
}
