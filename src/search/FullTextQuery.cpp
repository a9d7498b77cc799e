#include "search/FullTextQuery.h"

#include "search/WordRuns.h"

namespace {

QString quoted(const QString &text)
{
    return u'"' + text + u'"';
}

} // namespace

QStringList ftsTokens(const QString &term)
{
    QStringList tokens;
    for (const QString &run : wordRuns(term.toLower(), Hyphens::separate)) {
        // A lone letter says too little to search for; a lone digit stays.
        if (codePointCount(run) >= 2 || isNumbersOnly(run))
            tokens.append(run);
    }
    return tokens;
}

std::optional<FullTextMatch> ftsMatchAny(const QStringList &terms)
{
    QStringList phrases;
    for (const QString &term : terms) {
        const QStringList tokens = ftsTokens(term);
        if (tokens.isEmpty())
            continue;
        const QString phrase = quoted(tokens.join(u' '));
        if (!phrases.contains(phrase))
            phrases.append(phrase);
    }
    if (phrases.isEmpty())
        return std::nullopt;
    if (phrases.size() == 1)
        return FullTextMatch{phrases.first(), PhraseJoin::any};
    return FullTextMatch{u'(' + phrases.join(QStringLiteral(" OR ")) + u')', PhraseJoin::any};
}

std::optional<FullTextMatch> ftsMatchAll(const QStringList &terms, PrefixMatch prefix)
{
    QStringList tokens;
    for (const QString &term : terms)
        tokens += ftsTokens(term);
    if (tokens.isEmpty())
        return std::nullopt;
    QStringList phrases;
    phrases.reserve(tokens.size());
    for (const QString &token : tokens)
        phrases.append(quoted(token));
    if (prefix == PrefixMatch::lastTokenPrefix && codePointCount(tokens.last()) >= 3)
        phrases.last().append(u'*');
    // One phrase joins like an any-word match.
    return FullTextMatch{phrases.join(QStringLiteral(" AND ")), phrases.size() == 1 ? PhraseJoin::any : PhraseJoin::all};
}
