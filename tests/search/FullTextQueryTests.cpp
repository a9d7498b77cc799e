// Match expressions for the full-text index: their exact form, and that no
// text whatsoever can make FTS5 reject them.
#include "search/FullTextQuery.h"
#include "search/LocalQueryParser.h"
#include "store/IndexStore.h"

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

TEST(FullTextMatchAll, QuotesEachWordAndPrefixesALongLastWord)
{
    const struct
    {
        QStringList terms;
        PrefixMatch prefix;
        std::optional<QString> expected;
    } cases[] = {
        {{QStringLiteral("tax"), QStringLiteral("invoi")}, PrefixMatch::lastTokenPrefix,
         QStringLiteral("\"tax\" AND \"invoi\"*")},
        {{QStringLiteral("tax return")}, PrefixMatch::exact, QStringLiteral("\"tax\" AND \"return\"")},
        {{QStringLiteral("abc"), QStringLiteral("ab")}, PrefixMatch::lastTokenPrefix,
         QStringLiteral("\"abc\" AND \"ab\"")},
        {{QStringLiteral("7")}, PrefixMatch::lastTokenPrefix, QStringLiteral("\"7\"")},
        {{QStringLiteral("a"), QStringLiteral("I")}, PrefixMatch::lastTokenPrefix, std::nullopt},
        {{}, PrefixMatch::exact, std::nullopt},
    };
    for (const auto &c : cases)
        EXPECT_EQ(ftsMatchAll(c.terms, c.prefix), c.expected) << c.terms.join(u'|').toStdString();
}

TEST(FullTextMatchAny, KeepsTermsAsPhrasesWithoutRepeats)
{
    const struct
    {
        QStringList terms;
        std::optional<QString> expected;
    } cases[] = {
        {{QStringLiteral("tax return"), QStringLiteral("invoice")}, QStringLiteral("(\"tax return\" OR \"invoice\")")},
        {{QStringLiteral("Invoice"), QStringLiteral("invoice!")}, QStringLiteral("\"invoice\"")},
        {{QStringLiteral("a"), QStringLiteral("lease"), QStringLiteral("x"), QStringLiteral("lease")},
         QStringLiteral("\"lease\"")},
        {{QStringLiteral("I")}, std::nullopt},
    };
    for (const auto &c : cases)
        EXPECT_EQ(ftsMatchAny(c.terms), c.expected) << c.terms.join(u'|').toStdString();
}

// Text that people paste or that terminals produce, and FTS5's own syntax.
QStringList hostileTexts()
{
    QStringList texts{
        QStringLiteral("\"unbalanced quote"),
        QStringLiteral("\"\""),
        QStringLiteral("star* *star * **"),
        QStringLiteral("(((paren ) ) ()"),
        QStringLiteral("cats NEAR dogs"),
        QStringLiteral("NEAR(cats dogs, 3)"),
        QStringLiteral("AND OR NOT"),
        QStringLiteral("tax AND NOT invoice OR"),
        QStringLiteral("title:report body:x owner_type:file"),
        QStringLiteral("{title body}: x"),
        QStringLiteral("^start -minus +plus"),
        QStringLiteral("a\tb\nc\rd\x1b[31mred\x07"),
        QString(QChar(0)) + QStringLiteral("nul"),
        QString(QChar(0xD800)) + QStringLiteral("lone") + QChar(0xDC00),
        QString::fromUtf8("\xff\xfe broken \xc3\x28 utf8 \xed\xa0\x80"),
        QStringLiteral("₀₁ ½ Ⅻ"),
        QStringLiteral("e\u0301\u0301\u0301"),
        QStringLiteral("NOT"),
        QStringLiteral("'; DROP TABLE files; --"),
    };
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

class HostileText : public ::testing::Test
{
protected:
    void SetUp() override
    {
        store = IndexStore::openInMemory();
        store->db().run(QStringLiteral("INSERT INTO passages(title, body, owner_type, owner_id, ord) "
                                       "VALUES('cats and dogs', 'near the tax invoice', 'file', '1', 0)"));
    }

    // Runs the expression against the real full-text table; throws on a
    // syntax error.
    void match(const QString &expression)
    {
        store->db().query(QStringLiteral("SELECT rowid FROM passages WHERE passages MATCH ?"), {expression});
    }

    std::unique_ptr<IndexStore> store;
};

TEST_F(HostileText, NeverYieldsAnExpressionFullTextSearchRejects)
{
    // Only quoted words, the star and the three operators may reach FTS5.
    static const QRegularExpression allowed(QStringLiteral(R"(^(?:"[^"\s]+(?: [^"\s]+)*"\*?|[()]| AND | OR )+$)"),
                                            QRegularExpression::UseUnicodePropertiesOption);
    const LocalQueryParser parser;
    for (const QString &text : hostileTexts()) {
        const QStringList terms{text, text.left(20)};
        const QStringList keywords = parser.parse(text).keywords;
        const std::optional<QString> expressions[] = {
            ftsMatchAll(terms, PrefixMatch::lastTokenPrefix), ftsMatchAll(keywords, PrefixMatch::lastTokenPrefix),
            ftsMatchAny(terms), ftsMatchAny(keywords)};
        for (const auto &expression : expressions) {
            if (!expression)
                continue;
            EXPECT_TRUE(allowed.match(*expression).hasMatch()) << expression->left(200).toStdString();
            EXPECT_NO_THROW(match(*expression)) << expression->left(200).toStdString();
        }
    }
}

TEST_F(HostileText, OperatorWordsAreSearchedAsWords)
{
    const auto expression = ftsMatchAll({QStringLiteral("NEAR")}, PrefixMatch::exact);
    ASSERT_TRUE(expression);
    const auto rows = store->db().query(QStringLiteral("SELECT rowid FROM passages WHERE passages MATCH ?"),
                                        {*expression});
    EXPECT_EQ(rows.size(), 1);
}

} // namespace
