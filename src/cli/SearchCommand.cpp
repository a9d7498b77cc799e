// `larder search TEXT`: a plain-English request read on the machine and run
// against the library, as the search screen's instant results are; with
// --ai, Claude then reads the request and ranks the best candidates, as the
// screen does when typing pauses.
#include "cli/Command.h"
#include "cli/Printable.h"

#include "cli/HitText.h"
#include "cli/SearchJson.h"
#include "app/AppModel.h"
#include "claude/APIKeyStore.h"
#include "claude/ClaudeClient.h"
#include "core/AppSettings.h"
#include "search/ClaudeSearch.h"
#include "search/FilterChips.h"
#include "search/LocalQueryParser.h"
#include "search/SearchEngine.h"
#include "search/SpellingSuggester.h"

#include <QDir>
#include <QJsonArray>

namespace {

const QCommandLineOption jsonOption(QStringLiteral("json"), QStringLiteral("Print the result as JSON."));
const QCommandLineOption limitOption(QStringLiteral("limit"), QStringLiteral("Show at most N files (default 80)."),
                                     QStringLiteral("N"), QStringLiteral("80"));
const QCommandLineOption explainOption(QStringLiteral("explain"),
                                       QStringLiteral("Show how the request was understood."));
const QCommandLineOption aiOption(QStringLiteral("ai"),
                                  QStringLiteral("Then have Claude read the request and pick the best matches."));

// What Claude made of a request: its plan, the query with the plan laid over
// it, the candidates that query found, and Claude's picks among them.
struct ClaudeAnswer
{
    SearchPlan plan;
    SearchQuery merged;
    QList<FileHit> candidates;
    QList<FileHit> picks;
};

// Plans, searches again and ranks, as the search screen's Claude step does.
// Absent without a key, after saying so in one line. Throws ClaudeError
// and what the store throws.
std::optional<ClaudeAnswer> askClaude(CommandContext &context, const QString &text, const SearchQuery &local,
                                      const SearchEngine &engine)
{
    if (const auto missing = CommandContext::missingClaudeKey(QStringLiteral("read the request"))) {
        context.err() << *missing << " These are the local results only.\n";
        context.err().flush();
        return std::nullopt;
    }
    const ClaudeClient client([] { return APIKeyStore::shared().key(); });
    const QString model = context.settings().fastModel();
    const UserCalendar calendar = UserCalendar::current();
    ClaudeAnswer answer;
    try {
        context.progress(QStringLiteral("Claude is reading the request…"));
        answer.plan = SearchPlanner(client, model).plan(text, QDateTime::currentDateTime(), calendar,
                                                        CancellationToken::none());
        answer.merged = local.merged(answer.plan, calendar);
        answer.candidates = claudeCandidates(engine, answer.merged, local);
        if (context.settings().aiRerankEnabled() && !answer.candidates.isEmpty()) {
            const QList<FileHit> shown = answer.candidates.mid(0, ClaudeSearch::rerankShown);
            context.progress(QStringLiteral("Claude is ranking %1 files…").arg(shown.size()));
            const SearchReranker reranker(client, model);
            answer.picks = rankedPicks(reranker.rank(text, answer.merged.summary, shown, CancellationToken::none()), shown);
        }
    } catch (...) {
        context.endProgress();
        throw;
    }
    context.endProgress();
    return answer;
}

QJsonArray hitArray(const QList<FileHit> &hits)
{
    QJsonArray array;
    for (const FileHit &hit : hits)
        array.append(hitJson(hit));
    return array;
}

enum class Reasons { hidden, shown };

void printHits(QTextStream &out, const QList<FileHit> &hits, Reasons reasons)
{
    const Emphasis emphasis = CommandContext::isTerminal(stdout) ? Emphasis::terminalBold : Emphasis::plain;
    const QString home = QDir::homePath();
    for (qsizetype i = 0; i < hits.size(); ++i) {
        if (i > 0)
            out << "\n";
        out << hitText(hits.at(i), emphasis, home);
        if (reasons == Reasons::shown && hits.at(i).reason && !hits.at(i).reason->isEmpty())
            out << "    Why: " << printable(*hits.at(i).reason) << "\n";
    }
}

// After the local results: what Claude understood, its picks with their
// reasons, then the other candidates.
void printClaudeAnswer(QTextStream &out, const ClaudeAnswer &answer)
{
    out << "\nClaude read it as: " << printable(answer.merged.summary.value_or(answer.merged.raw)) << "\n";
    if (answer.candidates.isEmpty()) {
        out << "No files found.\n";
        return;
    }
    if (!answer.picks.isEmpty()) {
        out << "\nBest matches\n\n";
        printHits(out, answer.picks, Reasons::shown);
    }
    const QList<FileHit> others = withoutPicks(answer.candidates, answer.picks);
    if (!others.isEmpty()) {
        out << (answer.picks.isEmpty() ? "\nMatches\n\n" : "\nOther matches\n\n");
        printHits(out, others, Reasons::hidden);
    }
}

int runSearch(CommandContext &context)
{
    const QStringList words = context.positional();
    if (words.isEmpty())
        return context.usageError(QStringLiteral("missing TEXT"));
    bool ok = false;
    const int limit = context.options().value(limitOption).toInt(&ok);
    if (!ok || limit < 1)
        return context.usageError(QStringLiteral("'%1' is not a whole number above 0").arg(context.options().value(limitOption)));

    const QString text = words.join(u' ');
    // Blank text asks for nothing in particular: the newest files.
    const SearchQuery query = text.trimmed().isEmpty() ? SearchQuery{text, {}, {}, {}, {}, {}}
                                                       : LocalQueryParser().parse(text);
    // Never the empty stand-in library, which would only ever say that
    // nothing was found.
    IndexStore &store = context.library().store();
    const SearchEngine engine(store);
    const QList<FileHit> hits = engine.search(query, limit);
    const bool ai = context.options().isSet(aiOption);
    const bool explain = context.options().isSet(explainOption);
    const QList<FilterChip> chips = explain || hits.isEmpty() ? filterChips(query) : QList<FilterChip>();
    const std::optional<SearchQuery> suggestion =
        hits.isEmpty() ? SpellingSuggester(store).suggestion(query) : std::nullopt;

    if (context.wantsJson()) {
        QJsonObject result{{QStringLiteral("query"), queryJson(query)},
                           {QStringLiteral("hits"), hitArray(hits)},
                           {QStringLiteral("suggestion"), suggestion ? QJsonValue(suggestion->raw) : QJsonValue()}};
        if (explain) {
            QJsonArray labels;
            for (const FilterChip &chip : chips)
                labels.append(chip.label);
            result.insert(QStringLiteral("chips"), labels);
        }
        if (!ai || text.trimmed().isEmpty()) {
            context.printJson(result);
            return 0;
        }
        // The local results are printed whatever becomes of Claude's part.
        try {
            const std::optional<ClaudeAnswer> answer = askClaude(context, text.trimmed(), query, engine);
            if (answer) {
                result.insert(QStringLiteral("ai"), QJsonObject{
                    {QStringLiteral("plan"), planJson(answer->plan)},
                    {QStringLiteral("query"), queryJson(answer->merged)},
                    {QStringLiteral("picks"), hitArray(answer->picks)},
                    {QStringLiteral("others"), hitArray(withoutPicks(answer->candidates, answer->picks))},
                });
            } else {
                result.insert(QStringLiteral("ai"), QJsonValue::Null);
            }
        } catch (const DescribedError &error) {
            result.insert(QStringLiteral("ai"), QJsonObject{{QStringLiteral("error"), error.description()}});
            context.printJson(result);
            return context.failure(error.description());
        }
        context.printJson(result);
        return 0;
    }

    QTextStream &out = context.out();
    if (explain) {
        out << "Understood as:";
        if (chips.isEmpty())
            out << " any file";
        for (const FilterChip &chip : chips)
            out << "\n  " << printable(chip.label);
        out << "\n\n";
    }
    if (hits.isEmpty()) {
        out << "No files found.\n";
        // One line of what the request was read as, so that a filter that
        // left nothing shows and can be dropped.
        if (!explain && !chips.isEmpty()) {
            QStringList labels;
            for (const FilterChip &chip : chips)
                labels.append(chip.label);
            out << "Read as: " << labels.join(QStringLiteral(" · ")) << "\n";
        }
        if (suggestion)
            out << "Did you mean “" << suggestion->raw << "”?\n";
    } else {
        printHits(out, hits, Reasons::hidden);
    }
    out.flush();
    if (!ai || text.trimmed().isEmpty())
        return 0;
    try {
        if (const std::optional<ClaudeAnswer> answer = askClaude(context, text.trimmed(), query, engine))
            printClaudeAnswer(out, *answer);
    } catch (const DescribedError &error) {
        out.flush();
        return context.failure(error.description());
    }
    out.flush();
    return 0;
}

} // namespace

Command searchCommand()
{
    return {QStringLiteral("search"), QStringLiteral("Find files from a request in plain English."),
            [](QCommandLineParser &parser) {
                parser.addOption(jsonOption);
                parser.addOption(limitOption);
                parser.addOption(explainOption);
                parser.addOption(aiOption);
                parser.addPositionalArgument(QStringLiteral("TEXT"), QStringLiteral("What to look for, in English."),
                                             QStringLiteral("TEXT..."));
            },
            runSearch};
}
