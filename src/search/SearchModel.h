// The state behind the search screen. It runs three overlapping activities:
// an instant local search while the user types (shown 0.12 s after the
// last change, and run from halfway through that pause so that its results
// are ready when the pause ends), an automatic Claude step when typing pauses (1.1 s, for requests
// of three words or more with words left to look for, when a key exists),
// and the same Claude step on Return. A slow answer never overwrites a newer
// one: every task is cancelled when it is replaced, each hand-back re-checks
// its cancellation, and once Claude's candidates are in, a local search
// still in flight no longer replaces them. Main thread only.
#pragma once

#include "core/Tasks.h"
#include "search/FilterChips.h"

#include <QObject>
#include <QVariantList>

#include <functional>
#include <memory>

class AppSettings;
class ClaudeClient;
class SearchEngine;

class SearchModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString text READ text WRITE setText NOTIFY textChanged)
    Q_PROPERTY(SearchQuery query READ query NOTIFY queryChanged)
    Q_PROPERTY(QVariantList chips READ chipList NOTIFY queryChanged)
    Q_PROPERTY(QString summary READ summary NOTIFY queryChanged)
    Q_PROPERTY(QList<FileHit> results READ results NOTIFY resultsChanged)
    Q_PROPERTY(QList<FileHit> ranked READ ranked NOTIFY rankedChanged)
    Q_PROPERTY(Phase phase READ phase NOTIFY phaseChanged)
    Q_PROPERTY(QString failureText READ failureText NOTIFY phaseChanged)
    Q_PROPERTY(bool aiAnswered READ aiAnswered NOTIFY aiAnsweredChanged)
    // What a request that found nothing may have meant, in the library's
    // own words; empty otherwise.
    Q_PROPERTY(QString suggestion READ suggestion NOTIFY suggestionChanged)

public:
    enum class Phase { idle, searching, understanding, ranking, done, failed };
    Q_ENUM(Phase)

    // Whether an API key exists; asked each time it matters, so a key added
    // in Settings counts from the next keystroke on.
    using KeyPresence = std::function<bool()>;

    // A search asks the engine for this many hits.
    static constexpr int resultLimit = 80;
    static constexpr int localDelayMs = 120;
    static constexpr int claudeDelayMs = 1100;

    // The engine and the client must outlive the model and the searches it
    // started.
    SearchModel(const SearchEngine &engine, const ClaudeClient &claude, AppSettings &settings, KeyPresence hasKey,
                QObject *parent = nullptr);
    ~SearchModel() override;

    QString text() const { return _text; }
    void setText(const QString &text);
    const SearchQuery &query() const { return _query; }
    QList<FileHit> results() const { return _results; }
    // Claude's picks, best first, each with its reason.
    QList<FileHit> ranked() const { return _ranked; }
    // The results that are not picks, in their order: shown after the picks,
    // so that no file appears twice.
    QList<FileHit> otherResults() const;
    // The results of the present text that are in but wait for the typing
    // pause to end, without the picks; empty when there are none.
    QList<FileHit> upcomingResults() const;
    Phase phase() const { return _phase; }
    // The failure's text while the phase is failed.
    QString failureText() const { return _failureText; }
    bool aiAnswered() const { return _aiAnswered; }
    QString suggestion() const { return _suggestion; }

    // How the query in force was understood.
    QList<FilterChip> chips() const { return filterChips(_query); }
    QVariantList chipList() const;
    QString summary() const { return _query.summary.value_or(QString()); }

    // Return in the search field: the Claude step for the text, unless it
    // has already answered it.
    Q_INVOKABLE void submit();
    // Drops one part of the understood query and searches again locally;
    // the text stays as it is.
    void remove(const FilterChip &chip);
    Q_INVOKABLE void removeChip(int index);

Q_SIGNALS:
    void textChanged();
    void queryChanged();
    void resultsChanged();
    void rankedChanged();
    void phaseChanged();
    void aiAnsweredChanged();
    void suggestionChanged();
    // Results came in before the typing pause ends: they are shown when it
    // does, and can be made ready to show meanwhile.
    void resultsUpcoming();

private:
    struct ClaudeStep;

    void textEdited();
    // The local search of the query in force, shown as soon as it is in.
    void searchNow();
    // The local search of a query: run from halfway through the delay and
    // shown when it ends, or run at once when there is none.
    void scheduleLocalSearch(const SearchQuery &query, int delayMs);
    void runLocalSearch(const SearchQuery &query);
    // The local results of the present query on screen: at once when they
    // are in, else as soon as they come.
    void showLocalResults();
    void startClaudeStep(const QString &text, const SearchQuery &query);
    void planArrived(const ClaudeStep &step);
    void candidatesArrived(const ClaudeStep &step, const QList<FileHit> &candidates);
    void failClaudeStep(const CancellationToken &token, const QString &description);

    void setQuery(const SearchQuery &query);
    void setResults(const QList<FileHit> &results);
    void setRanked(const QList<FileHit> &ranked);
    void setPhase(Phase phase, const QString &failureText = QString());
    void setSuggestion(const QString &suggestion);
    void setAiAnswered(bool answered);

    QString _text;
    SearchQuery _query;
    QList<FileHit> _results;
    QList<FileHit> _ranked;
    Phase _phase = Phase::idle;
    QString _failureText;
    QString _suggestion;
    bool _aiAnswered = false;

    const SearchEngine &m_engine;
    const ClaudeClient &m_claude;
    AppSettings &m_settings;
    KeyPresence m_hasKey;
    Debouncer *m_localDelay;
    Debouncer *m_localStart;
    Debouncer *m_claudeDelay;
    CancellationToken m_localTask;
    // A local search of the present query that has run, and what it found,
    // waiting for its moment to be shown.
    struct LocalOutcome
    {
        QList<FileHit> hits;
        QString suggestion;
    };
    std::optional<LocalOutcome> m_localOutcome;
    bool m_localStarted = false;
    bool m_showWhenIn = false;
    CancellationToken m_aiTask;
    std::optional<QString> m_lastAIText;
    std::unique_ptr<CallThreads> m_calls;
};
