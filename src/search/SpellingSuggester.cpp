#include "search/SpellingSuggester.h"

#include "search/FullTextQuery.h"
#include "search/SearchEngine.h"
#include "store/IndexStore.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace {

// Edits allowed between a term and a library word: none for terms under
// four characters, where nearly every word is close to another.
qsizetype allowedEdits(QStringView term)
{
    if (term.size() < 4)
        return 0;
    return term.size() < 6 ? 1 : 2;
}

// Insertions, deletions, substitutions and swaps of neighbours, each one
// edit ("pritner" is one from "printer").
qsizetype editDistance(QStringView a, QStringView b)
{
    const qsizetype width = b.size() + 1;
    std::vector<qsizetype> before(width), previous(width), current(width);
    for (qsizetype j = 0; j < width; ++j)
        previous[j] = j;
    for (qsizetype i = 1; i <= a.size(); ++i) {
        current[0] = i;
        for (qsizetype j = 1; j < width; ++j) {
            const qsizetype cost = a[i - 1] == b[j - 1] ? 0 : 1;
            current[j] = std::min({previous[j] + 1, current[j - 1] + 1, previous[j - 1] + cost});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                current[j] = std::min(current[j], before[j - 2] + 1);
        }
        std::swap(before, previous);
        std::swap(previous, current);
    }
    return previous[width - 1];
}

// The library holds stems ("invoic"). The ending the stemmer took off the
// typed word goes back on the library's term: "invoces" is "invoc" + "es",
// so "invoic" reads "invoices".
QString spelledLike(const QString &word, const QString &stem, const QString &term)
{
    qsizetype common = 0;
    while (common < word.size() && common < stem.size() && word[common] == stem[common])
        ++common;
    const QStringView stemEnding = QStringView(stem).mid(common);
    if (!term.endsWith(stemEnding))
        return term;
    return term.chopped(stemEnding.size()) + word.mid(common);
}

// The text with the first whole-word occurrence of `word` replaced, if any.
std::optional<QString> replacedWord(const QString &text, const QString &word, const QString &replacement)
{
    const auto isWordCharacter = [&](qsizetype i) {
        return i >= 0 && i < text.size() && text.at(i).isLetterOrNumber();
    };
    for (qsizetype at = text.indexOf(word, 0, Qt::CaseInsensitive); at >= 0;
         at = text.indexOf(word, at + 1, Qt::CaseInsensitive)) {
        if (!isWordCharacter(at - 1) && !isWordCharacter(at + word.size()))
            return QString(text).replace(at, word.size(), replacement);
    }
    return std::nullopt;
}

} // namespace

SpellingSuggester::SpellingSuggester(IndexStore &store, CancellationToken token)
    : m_store(store)
    , m_token(std::move(token))
{
}

std::optional<QString> SpellingSuggester::correction(const QString &keyword) const
{
    const QStringList tokens = ftsTokens(keyword);
    if (tokens.size() != 1)
        return std::nullopt;
    const QString &word = tokens.first();
    const QStringList stems = m_store.passages().termsOf(word);
    if (stems.size() != 1)
        return std::nullopt;
    const QString &stem = stems.first();
    const qsizetype allowed = allowedEdits(stem);
    if (allowed == 0)
        return std::nullopt;

    // Words that start with the same letter: reading the vocabulary of one
    // letter costs a fraction of reading all of it, and typing slips rarely
    // touch the first letter.
    const qsizetype firstLength = stem.at(0).isHighSurrogate() ? 2 : 1;
    std::optional<IndexedTerm> best;
    qsizetype bestDistance = allowed + 1;
    const QList<IndexedTerm> terms = m_store.passages().termsStartingWith(stem.left(firstLength), m_token);
    if (m_token.isCancelled())
        return std::nullopt;
    for (const IndexedTerm &term : terms) {
        if (term.term == stem)
            return std::nullopt;
        if (std::abs(term.term.size() - stem.size()) > allowed)
            continue;
        const qsizetype distance = editDistance(stem, term.term);
        if (distance < bestDistance || (distance == bestDistance && best && term.passages > best->passages)) {
            best = term;
            bestDistance = distance;
        }
    }
    if (!best)
        return std::nullopt;
    return spelledLike(word, stem, best->term);
}

std::optional<SearchQuery> SpellingSuggester::suggestion(const SearchQuery &query) const
{
    SearchQuery suggested = query;
    bool replaced = false;
    for (QString &keyword : suggested.keywords) {
        const std::optional<QString> corrected = correction(keyword);
        if (!corrected)
            continue;
        replaced = true;
        suggested.raw = replacedWord(suggested.raw, keyword, *corrected).value_or(QString());
        keyword = *corrected;
    }
    if (!replaced || m_token.isCancelled())
        return std::nullopt;
    // A keyword the text doesn't show as typed leaves the keywords to say it.
    if (suggested.raw.isEmpty())
        suggested.raw = suggested.keywords.join(u' ');
    if (SearchEngine(m_store).search(suggested, 1).isEmpty())
        return std::nullopt;
    return suggested;
}
