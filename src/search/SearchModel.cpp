#include "search/SearchModel.h"

#include "claude/ClaudeClient.h"
#include "core/AppSettings.h"
#include "search/ClaudeSearch.h"
#include "search/LocalQueryParser.h"
#include "search/SearchEngine.h"
#include "search/SpellingSuggester.h"
#include "store/SQLite.h"

#include <QVariantMap>

namespace {

qsizetype wordCount(const QString &text)
{
    return text.simplified().split(u' ', Qt::SkipEmptyParts).size();
}

// The Claude step runs for requests of this many words or more by itself.
constexpr qsizetype automaticStepWords = 3;

QString facetName(FilterChip::Facet facet)
{
    switch (facet) {
    case FilterChip::Facet::kind: return QStringLiteral("kind");
    case FilterChip::Facet::ext: return QStringLiteral("ext");
    case FilterChip::Facet::source: return QStringLiteral("source");
    case FilterChip::Facet::keyword: return QStringLiteral("keyword");
    case FilterChip::Facet::date: return QStringLiteral("date");
    case FilterChip::Facet::minSize: return QStringLiteral("minSize");
    case FilterChip::Facet::maxSize: return QStringLiteral("maxSize");
    case FilterChip::Facet::screenshots: break;
    }
    return QStringLiteral("screenshots");
}

} // namespace

// What one Claude step carries from one hand-back to the next.
struct SearchModel::ClaudeStep
{
    QString text;
    SearchQuery local;
    SearchQuery merged;
    QString model;
    bool rerank = true;
    QDateTime now;
    UserCalendar calendar;
    CancellationToken token;
};

SearchModel::SearchModel(const SearchEngine &engine, const ClaudeClient &claude, AppSettings &settings,
                         KeyPresence hasKey, QObject *parent)
    : QObject(parent)
    , m_engine(engine)
    , m_claude(claude)
    , m_settings(settings)
    , m_hasKey(std::move(hasKey))
    , m_localDelay(new Debouncer(localDelayMs, this))
    , m_localStart(new Debouncer(localDelayMs / 2, this))
    , m_claudeDelay(new Debouncer(claudeDelayMs, this))
    , m_calls(std::make_unique<CallThreads>())
{
    m_localDelay->setObjectName(QStringLiteral("localSearchDelay"));
    m_localStart->setObjectName(QStringLiteral("localSearchStart"));
    m_claudeDelay->setObjectName(QStringLiteral("claudeStepDelay"));
}

SearchModel::~SearchModel()
{
    m_localTask.cancel();
    m_aiTask.cancel();
}

QList<FileHit> SearchModel::otherResults() const
{
    return withoutPicks(_results, _ranked);
}

QList<FileHit> SearchModel::upcomingResults() const
{
    if (!m_localOutcome || _aiAnswered)
        return {};
    return withoutPicks(m_localOutcome->hits, _ranked);
}

QVariantList SearchModel::chipList() const
{
    QVariantList list;
    for (const FilterChip &chip : chips()) {
        list.append(QVariantMap{{QStringLiteral("facet"), facetName(chip.facet)},
                                {QStringLiteral("label"), chip.label},
                                {QStringLiteral("symbol"), chip.symbol},
                                {QStringLiteral("tint"), chipTint(chip)}});
    }
    return list;
}

void SearchModel::setText(const QString &text)
{
    if (_text == text)
        return;
    _text = text;
    textEdited();
}

void SearchModel::textEdited()
{
    // The pause is timed from the keystroke: the search is scheduled before
    // anyone hears of the new text, so that what the screen does with it
    // doesn't lengthen the pause.
    const QString trimmed = _text.trimmed();
    const SearchQuery query = trimmed.isEmpty() ? SearchQuery{} : LocalQueryParser().parse(trimmed);
    if (trimmed.isEmpty()) {
        m_localTask.cancel();
        m_localDelay->cancel();
        m_localStart->cancel();
        m_localOutcome.reset();
    } else {
        scheduleLocalSearch(query, localDelayMs);
    }
    m_aiTask.cancel();
    m_claudeDelay->cancel();
    Q_EMIT textChanged();
    setRanked({});
    setAiAnswered(false);
    setSuggestion({});
    setQuery(query);
    if (trimmed.isEmpty()) {
        setResults({});
        setPhase(Phase::idle);
        return;
    }
    setPhase(Phase::searching);

    // A purely structured request such as "videos last month" never costs a
    // Claude call by itself.
    const bool wordsLeft = !_query.keywords.isEmpty() || !_query.relatedTerms.isEmpty();
    if (m_settings.aiSearchEnabled() && wordCount(trimmed) >= automaticStepWords && wordsLeft && m_hasKey())
        m_claudeDelay->call([this](const CancellationToken &) { submit(); });
}

void SearchModel::searchNow()
{
    scheduleLocalSearch(_query, 0);
    setPhase(Phase::searching);
    showLocalResults();
}

void SearchModel::scheduleLocalSearch(const SearchQuery &query, int delayMs)
{
    m_localTask.cancel();
    m_localDelay->cancel();
    m_localStart->cancel();
    m_localOutcome.reset();
    m_localStarted = false;
    m_showWhenIn = false;
    if (delayMs > 0) {
        m_localStart->call([this, query](const CancellationToken &) { runLocalSearch(query); });
        m_localDelay->call([this, query](const CancellationToken &) {
            if (!m_localStarted)
                runLocalSearch(query);
            showLocalResults();
        });
        return;
    }
    runLocalSearch(query);
}

void SearchModel::runLocalSearch(const SearchQuery &query)
{
    m_localStart->cancel();
    m_localStarted = true;
    m_localTask = CancellationToken();
    const SearchEngine *engine = &m_engine;
    Tasks::run(
        Tasks::Priority::UserInitiated,
        [this, engine, query](const CancellationToken &token) {
            LocalOutcome outcome;
            // The local path never fails visibly: a store error shows as no
            // results. A newer request stops this one's reads where they are.
            try {
                const StopWhenCancelled stop(token);
                outcome.hits = engine->search(query, resultLimit);
            } catch (const std::exception &) {
            }
            if (token.isCancelled())
                return;
            Tasks::deliver(this, token, [this, outcome] {
                m_localOutcome = outcome;
                if (m_showWhenIn)
                    showLocalResults();
                else if (!_aiAnswered)
                    Q_EMIT resultsUpcoming();
            });
            // Nothing found: perhaps a word was misspelt. The library's own
            // spelling follows the empty results, which don't wait for it.
            if (!outcome.hits.isEmpty() || query.keywords.isEmpty())
                return;
            std::optional<SearchQuery> other;
            try {
                const StopWhenCancelled stop(token);
                other = SpellingSuggester(engine->store(), token).suggestion(query);
            } catch (const std::exception &) {
            }
            if (!other)
                return;
            Tasks::deliver(this, token, [this, suggestion = other->raw] {
                if (m_localOutcome)
                    m_localOutcome->suggestion = suggestion;
                else if (_results.isEmpty() && !_aiAnswered)
                    setSuggestion(suggestion);
            });
        },
        m_localTask);
}

void SearchModel::showLocalResults()
{
    if (!m_localOutcome) {
        m_showWhenIn = true;
        return;
    }
    m_showWhenIn = false;
    const LocalOutcome outcome = *std::exchange(m_localOutcome, std::nullopt);
    if (!_aiAnswered) {
        setResults(outcome.hits);
        setSuggestion(outcome.suggestion);
    }
    if (_phase == Phase::searching)
        setPhase(Phase::done);
}

void SearchModel::submit()
{
    m_claudeDelay->cancel();
    const QString trimmed = _text.trimmed();
    if (trimmed.isEmpty())
        return;
    // The pause timer or Return may see text that the query has not caught up with.
    if (trimmed != _query.raw) {
        setQuery(LocalQueryParser().parse(trimmed));
        searchNow();
    }
    if (!m_settings.aiSearchEnabled())
        return;
    if (m_hasKey()) {
        // A second Return on an answered request costs nothing.
        if (m_lastAIText != trimmed || !_aiAnswered)
            startClaudeStep(trimmed, _query);
        return;
    }
    if (wordCount(trimmed) >= automaticStepWords)
        setPhase(Phase::failed, ClaudeError::missingAPIKey().description());
}

void SearchModel::startClaudeStep(const QString &text, const SearchQuery &query)
{
    m_aiTask.cancel();
    m_aiTask = CancellationToken();
    m_lastAIText = text;
    ClaudeStep step{text, query, query, m_settings.fastModel(), m_settings.aiRerankEnabled(),
                    QDateTime::currentDateTime(), UserCalendar::current(), m_aiTask};
    setPhase(Phase::understanding);

    const SearchPlanner planner(m_claude, step.model);
    m_calls->start([this, planner, step]() mutable {
        try {
            const SearchPlan plan = planner.plan(step.text, step.now, step.calendar, step.token);
            step.merged = step.local.merged(plan, step.calendar);
            Tasks::deliver(this, step.token, [this, step] { planArrived(step); });
        } catch (const CancellationError &) {
        } catch (const DescribedError &error) {
            failClaudeStep(step.token, error.description());
        } catch (const std::exception &error) {
            failClaudeStep(step.token, QString::fromLocal8Bit(error.what()));
        }
    });
}

void SearchModel::planArrived(const ClaudeStep &step)
{
    setQuery(step.merged);
    const SearchEngine *engine = &m_engine;
    Tasks::run(
        Tasks::Priority::UserInitiated,
        [this, engine, step](const CancellationToken &token) {
            try {
                const StopWhenCancelled stop(token);
                const QList<FileHit> candidates = claudeCandidates(*engine, step.merged, step.local);
                if (token.isCancelled())
                    return;
                Tasks::deliver(this, token, [this, step, candidates] { candidatesArrived(step, candidates); });
            } catch (const DescribedError &error) {
                failClaudeStep(token, error.description());
            }
        },
        step.token);
}

void SearchModel::candidatesArrived(const ClaudeStep &step, const QList<FileHit> &candidates)
{
    setResults(candidates);
    // From here on a local search still in flight cannot overwrite them.
    setAiAnswered(true);
    if (!step.rerank || candidates.isEmpty()) {
        setPhase(Phase::done);
        return;
    }
    setPhase(Phase::ranking);
    const QList<FileHit> shown = candidates.mid(0, ClaudeSearch::rerankShown);
    const SearchReranker reranker(m_claude, step.model);
    m_calls->start([this, reranker, step, shown] {
        try {
            const QList<RankedMatch> matches = reranker.rank(step.text, step.merged.summary, shown, step.token);
            const QList<FileHit> picks = rankedPicks(matches, shown);
            Tasks::deliver(this, step.token, [this, picks] {
                setRanked(picks);
                setPhase(Phase::done);
            });
        } catch (const CancellationError &) {
        } catch (const DescribedError &error) {
            failClaudeStep(step.token, error.description());
        } catch (const std::exception &error) {
            failClaudeStep(step.token, QString::fromLocal8Bit(error.what()));
        }
    });
}

// The results stay as they are: a failed plan leaves the local results on
// screen, a failed rerank the candidates.
void SearchModel::failClaudeStep(const CancellationToken &token, const QString &description)
{
    Tasks::deliver(this, token, [this, description] { setPhase(Phase::failed, description); });
}

void SearchModel::remove(const FilterChip &chip)
{
    m_aiTask.cancel();
    m_claudeDelay->cancel();
    SearchQuery query = _query;
    FileFilter &filter = query.filter;
    switch (chip.facet) {
    case FilterChip::Facet::kind: filter.kinds.remove(chip.kind); break;
    case FilterChip::Facet::ext: filter.extensions.remove(chip.value); break;
    case FilterChip::Facet::source: filter.sources.remove(chip.value); break;
    case FilterChip::Facet::keyword:
        query.keywords.removeAll(chip.value);
        query.relatedTerms.removeAll(chip.value);
        break;
    case FilterChip::Facet::date:
        filter.dateFrom.reset();
        filter.dateTo.reset();
        query.dateLabel.reset();
        break;
    case FilterChip::Facet::minSize: filter.minSize.reset(); break;
    case FilterChip::Facet::maxSize: filter.maxSize.reset(); break;
    case FilterChip::Facet::screenshots: filter.screenshotsOnly = false; break;
    }
    setQuery(query);
    setRanked({});
    setAiAnswered(false);
    searchNow();
}

void SearchModel::removeChip(int index)
{
    const QList<FilterChip> shown = chips();
    if (index >= 0 && index < shown.size())
        remove(shown.at(index));
}

void SearchModel::setQuery(const SearchQuery &query)
{
    if (_query == query)
        return;
    _query = query;
    Q_EMIT queryChanged();
}

void SearchModel::setResults(const QList<FileHit> &results)
{
    if (_results == results)
        return;
    _results = results;
    Q_EMIT resultsChanged();
}

void SearchModel::setRanked(const QList<FileHit> &ranked)
{
    if (_ranked == ranked)
        return;
    _ranked = ranked;
    Q_EMIT rankedChanged();
}

void SearchModel::setPhase(Phase phase, const QString &failureText)
{
    if (_phase == phase && _failureText == failureText)
        return;
    _phase = phase;
    _failureText = failureText;
    Q_EMIT phaseChanged();
}

void SearchModel::setAiAnswered(bool answered)
{
    if (_aiAnswered == answered)
        return;
    _aiAnswered = answered;
    Q_EMIT aiAnsweredChanged();
}

void SearchModel::setSuggestion(const QString &suggestion)
{
    if (_suggestion == suggestion)
        return;
    _suggestion = suggestion;
    Q_EMIT suggestionChanged();
}
