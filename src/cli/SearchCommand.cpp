// `larder search TEXT`: a plain-English request read on the machine and run
// against the library, as the search screen's instant results are.
#include "cli/Command.h"
#include "cli/Printable.h"

#include "cli/HitText.h"
#include "cli/SearchJson.h"
#include "app/AppModel.h"
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
    const QList<FileHit> hits = SearchEngine(store).search(query, limit);
    const bool explain = context.options().isSet(explainOption);
    const QList<FilterChip> chips = explain || hits.isEmpty() ? filterChips(query) : QList<FilterChip>();
    const std::optional<SearchQuery> suggestion =
        hits.isEmpty() ? SpellingSuggester(store).suggestion(query) : std::nullopt;

    if (context.wantsJson()) {
        QJsonArray hitArray;
        for (const FileHit &hit : std::as_const(hits))
            hitArray.append(hitJson(hit));
        QJsonObject result{{QStringLiteral("query"), queryJson(query)},
                           {QStringLiteral("hits"), hitArray},
                           {QStringLiteral("suggestion"), suggestion ? QJsonValue(suggestion->raw) : QJsonValue()}};
        if (explain) {
            QJsonArray labels;
            for (const FilterChip &chip : chips)
                labels.append(chip.label);
            result.insert(QStringLiteral("chips"), labels);
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
        out.flush();
        return 0;
    }
    const Emphasis emphasis = CommandContext::isTerminal(stdout) ? Emphasis::terminalBold : Emphasis::plain;
    const QString home = QDir::homePath();
    for (qsizetype i = 0; i < hits.size(); ++i) {
        if (i > 0)
            out << "\n";
        out << hitText(hits.at(i), emphasis, home);
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
                parser.addPositionalArgument(QStringLiteral("TEXT"), QStringLiteral("What to look for, in English."),
                                             QStringLiteral("TEXT..."));
            },
            runSearch};
}
