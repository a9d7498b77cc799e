// Match expressions for the full-text index: their exact form, and that no
// text whatsoever can make FTS5 reject them.
#include "search/FullTextQuery.h"
#include "search/LocalQueryParser.h"
#include "support/TestLibrary.h"

#include <QRandomGenerator>
#include <QRegularExpression>

#include <gtest/gtest.h>

namespace {

TEST(FullTextTokens, SplitLowerAndDropLoneLetters)
{
    const struct
    {
        QString term;
        QStringList tokens;
    } cases[] = {
        {QStringLiteral("Tax-Return 2024"), {QStringLiteral("tax"), QStringLiteral("return"), QStringLiteral("2024")}},
        {QStringLiteral("a I 7"), {QStringLiteral("7")}},
        {QStringLiteral("ÜBER café"), {QStringLiteral("über"), QStringLiteral("café")}},
        {QStringLiteral("東京 report"), {QStringLiteral("東京"), QStringLiteral("report")}},
        // Letters outside the basic plane are letters, one character each.
        {QStringLiteral("𝐀𝐁 𝐀"), {QStringLiteral("𝐀𝐁")}},
        {QStringLiteral("\"title\":*(NEAR)"), {QStringLiteral("title"), QStringLiteral("near")}},
        {QStringLiteral(" -- "), {}},
    };
    for (const auto &c : cases)
        EXPECT_EQ(ftsTokens(c.term), c.tokens) << c.term.toStdString();
}

TEST(FullTextMatch, QuotesWordsPrefixesALongLastWordAndDropsRepeats)
{
    const std::optional<FullTextMatch> none;
    const auto all = [](const QStringList &terms) { return ftsMatchAll(terms, PrefixMatch::lastTokenPrefix); };
    const auto any = PhraseJoin::any;
    const struct
    {
        std::optional<FullTextMatch> match;
        std::optional<FullTextMatch> expected;
    } cases[] = {
        {all({QStringLiteral("tax"), QStringLiteral("invoi")}), FullTextMatch{"\"tax\" AND \"invoi\"*", PhraseJoin::all}},
        {ftsMatchAll({QStringLiteral("tax return")}, PrefixMatch::exact), FullTextMatch{"\"tax\" AND \"return\"", PhraseJoin::all}},
        {all({QStringLiteral("abc"), QStringLiteral("ab")}), FullTextMatch{"\"abc\" AND \"ab\"", PhraseJoin::all}},
        // One word joins as any-word matches do.
        {all({QStringLiteral("7")}), FullTextMatch{"\"7\"", any}},
        {all({QStringLiteral("invoice")}), FullTextMatch{"\"invoice\"*", any}},
        {all({QStringLiteral("a"), QStringLiteral("I")}), none},
        {ftsMatchAll({}, PrefixMatch::exact), none},
        // Any-word expressions keep each term as a phrase.
        {ftsMatchAny({QStringLiteral("tax return"), QStringLiteral("invoice")}), FullTextMatch{"(\"tax return\" OR \"invoice\")", any}},
        {ftsMatchAny({QStringLiteral("Invoice"), QStringLiteral("invoice!")}), FullTextMatch{"\"invoice\"", any}},
        {ftsMatchAny({QStringLiteral("a"), QStringLiteral("lease"), QStringLiteral("x"), QStringLiteral("lease")}),
         FullTextMatch{"\"lease\"", any}},
        {ftsMatchAny({QStringLiteral("I")}), none},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(c.match, c.expected) << (c.match ? c.match->expression.toStdString() : "none");
    }
}

// Text that people paste or that terminals produce, and FTS5's own syntax.
QStringList hostileTexts()
{
    QStringList texts;
    for (const char *text : {"\"unbalanced quote", "\"\"", "star* *star * **", "(((paren ) ) ()", "cats NEAR dogs",
                             "NEAR(cats dogs, 3)", "AND OR NOT", "tax AND NOT invoice OR", "title:report body:x owner_type:file",
                             "{title body}: x", "^start -minus +plus", "a\tb\nc\rd\x1b[31mred\x07", "₀₁ ½ Ⅻ", "e\u0301\u0301\u0301",
                             "NOT", "'; DROP TABLE files; --", "\xff\xfe broken \xc3\x28 utf8 \xed\xa0\x80"})
        texts.append(QString::fromUtf8(text));
    texts << QString(QChar(0)) + QStringLiteral("nul") << QString(QChar(0xD800)) + QStringLiteral("lone") + QChar(0xDC00);
    QString longText;
    for (int i = 0; i < 10'000; ++i)
        longText.append(QChar(u"ab\"*( )NEAR:^-"[i % 14]));
    texts.append(longText);

    // Random code points from the whole range, seeded so a failure repeats.
    QRandomGenerator random(20240515);
    for (int n = 0; n < 300; ++n) {
        QString text;
        const int length = int(random.bounded(1, 40));
        for (int i = 0; i < length; ++i) {
            char32_t c = char32_t(random.bounded(random.bounded(2) ? 0x80u : 0x110000u));
            text.append(QString::fromUcs4(&c, 1));
        }
        texts.append(text);
    }
    return texts;
}

TEST(FullTextMatch, NoTextYieldsAnExpressionFullTextSearchRejects)
{
    TestLibrary library;
    library.db->run(QStringLiteral("INSERT INTO passages(title, body, owner_type, owner_id, ord) "
                                   "VALUES('cats and dogs', 'near the tax invoice', 'file', '1', 0)"));
    // Runs an expression against the real full-text table; throws on a syntax error.
    const auto matches = [&](const QString &expression) {
        return library.db->query(QStringLiteral("SELECT rowid FROM passages WHERE passages MATCH ?"), {expression}).size();
    };
    // Only quoted words, the star and the three operators may reach FTS5.
    static const QRegularExpression allowed(QStringLiteral(R"(^(?:"[^"\s]+(?: [^"\s]+)*"\*?|[()]| AND | OR )+$)"),
                                            QRegularExpression::UseUnicodePropertiesOption);
    const LocalQueryParser parser;
    for (const QString &text : hostileTexts()) {
        const QStringList terms{text, text.left(20)};
        const QStringList keywords = parser.parse(text).keywords;
        for (const std::optional<FullTextMatch> &match :
             {ftsMatchAll(terms, PrefixMatch::lastTokenPrefix), ftsMatchAll(keywords, PrefixMatch::lastTokenPrefix),
              ftsMatchAny(terms), ftsMatchAny(keywords)}) {
            if (!match)
                continue;
            EXPECT_TRUE(allowed.match(match->expression).hasMatch()) << match->expression.left(200).toStdString();
            EXPECT_NO_THROW(matches(match->expression)) << match->expression.left(200).toStdString();
        }
    }
    // Operator words are searched as words.
    EXPECT_EQ(matches(ftsMatchAll({QStringLiteral("NEAR")}, PrefixMatch::exact).value_or(FullTextMatch()).expression), 1);
}

} // namespace
