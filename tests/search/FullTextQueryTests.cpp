// Match expressions for the full-text index: their exact form, and that no
// text whatsoever can make FTS5 reject them.
#include "search/FullTextQuery.h"
#include "search/LocalQueryParser.h"
#include "support/TestLibrary.h"

#include <QRandomGenerator>
#include <QRegularExpression>

#include <gtest/gtest.h>

namespace {

// Terms split into lowercase tokens without lone letters; expressions quote
// each token and prefix a long last word.
TEST(FullTextMatch, QuotesTokensPrefixesALongLastWordAndDropsRepeats)
{
    const std::pair<QString, QStringList> tokenCases[] = {
        {"Tax-Return 2024", {"tax", "return", "2024"}}, {"a I 7", {"7"}},
        {"ÜBER café", {"über", "café"}}, {"東京 report", {"東京", "report"}},
        // Letters outside the basic plane are letters, one character each.
        {"𝐀𝐁 𝐀", {"𝐀𝐁"}}, {"\"title\":*(NEAR)", {"title", "near"}}, {" -- ", {}},
    };
    for (const auto &[term, tokens] : tokenCases)
        EXPECT_EQ(ftsTokens(term), tokens) << term.toStdString();

    const std::optional<FullTextMatch> none;
    const auto all = [](const QStringList &terms) { return ftsMatchAll(terms, PrefixMatch::lastTokenPrefix); };
    const auto any = PhraseJoin::any;
    const std::pair<std::optional<FullTextMatch>, std::optional<FullTextMatch>> cases[] = {
        {all({"tax", "invoi"}), FullTextMatch{"\"tax\" AND \"invoi\"*", PhraseJoin::all}},
        {ftsMatchAll({"tax return"}, PrefixMatch::exact), FullTextMatch{"\"tax\" AND \"return\"", PhraseJoin::all}},
        {all({"abc", "ab"}), FullTextMatch{"\"abc\" AND \"ab\"", PhraseJoin::all}},
        // One word joins as any-word matches do.
        {all({"7"}), FullTextMatch{"\"7\"", any}},
        {all({"a", "I"}), none},
        // Any-word expressions keep each term as a phrase.
        {ftsMatchAny({"tax return", "invoice"}), FullTextMatch{"(\"tax return\" OR \"invoice\")", any}},
        {ftsMatchAny({"Invoice", "invoice!"}), FullTextMatch{"\"invoice\"", any}},
        {ftsMatchAny({"a", "lease", "x", "lease"}), FullTextMatch{"\"lease\"", any}},
        {ftsMatchAny({"I"}), none},
    };
    for (const auto &[match, expected] : cases)
        EXPECT_EQ(match, expected) << (match ? match->expression.toStdString() : "none");
}

TEST(FullTextMatch, NoTextYieldsAnExpressionFullTextSearchRejects)
{
    TestLibrary library;
    // Only quoted words, the star and the three operators may reach FTS5, and
    // the real full-text table takes every expression without a syntax error.
    static const QRegularExpression allowed(R"(^(?:"[^"\s]+(?: [^"\s]+)*"\*?|[()]| AND | OR )+$)",
                                            QRegularExpression::UseUnicodePropertiesOption);
    // Text that people paste or that terminals produce, and FTS5's own syntax.
    QStringList texts{"\"unbalanced quote", "\"\"", "star* *star * **", "(((paren ) ) ()", "cats NEAR dogs", "NOT",
                      "NEAR(cats dogs, 3)", "AND OR NOT", "tax AND NOT invoice OR", "title:report owner_type:file",
                      "{title body}: x", "^start -minus +plus", "a\tb\nc\rd\x1b[31mred\x07", "₀₁ ½ Ⅻ", "e\u0301\u0301",
                      "'; DROP TABLE files; --", "\xff\xfe broken \xc3\x28 utf8 \xed\xa0\x80"};
    texts << QString(QChar(0)) + "nul" << QString(QChar(0xD800)) + "lone" + QChar(0xDC00)
          << QString("ab\"*( )NEAR:^-").repeated(715);
    // Random code points from the whole range, seeded so a failure repeats.
    QRandomGenerator random(20240515);
    for (int n = 0; n < 300; ++n) {
        QList<char32_t> codePoints(random.bounded(1, 40));
        for (char32_t &c : codePoints)
            c = char32_t(random.bounded(random.bounded(2) ? 0x80u : 0x110000u));
        texts.append(QString::fromUcs4(codePoints.data(), codePoints.size()));
    }
    for (const QString &text : texts) {
        const QStringList terms{text, text.left(20)};
        const QStringList keywords = LocalQueryParser().parse(text).keywords;
        for (const std::optional<FullTextMatch> &match :
             {ftsMatchAll(terms, PrefixMatch::lastTokenPrefix), ftsMatchAll(keywords, PrefixMatch::lastTokenPrefix),
              ftsMatchAny(terms), ftsMatchAny(keywords)}) {
            if (!match)
                continue;
            const std::string shown = match->expression.left(200).toStdString();
            EXPECT_TRUE(allowed.match(match->expression).hasMatch()) << shown;
            EXPECT_NO_THROW(library.db->query("SELECT rowid FROM passages WHERE passages MATCH ?", {match->expression}))
                << shown;
        }
    }
}

} // namespace
