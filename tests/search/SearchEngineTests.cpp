// The search engine over a real library in memory.
#include "search/SearchEngine.h"
#include "support/LibraryBuilder.h"

#include <gtest/gtest.h>

namespace {

using LibraryBuilder::File;

SearchQuery withKeywords(const QStringList &keywords)
{
    SearchQuery query;
    query.keywords = keywords;
    return query;
}

QStringList names(const QList<FileHit> &hits)
{
    QStringList out;
    for (const FileHit &hit : hits)
        out.append(hit.file.name);
    return out;
}

TEST(SearchEngine, FindsRanksAndWidensOverALibrary)
{
    auto store = IndexStore::openInMemory();
    LibraryBuilder::add(*store, {
        {QStringLiteral("/library/Docs/lease-2024.pdf"), FileKind::document, 2000, 1000,
         QStringLiteral("The lease agreement for the flat on the corner.")},
        {QStringLiteral("/library/Docs/notes.txt"), FileKind::document, 300, 900,
         QStringLiteral("Shopping list. The lease came up once. Nothing else to say.")},
        {QStringLiteral("/library/Videos/holiday.mp4"), FileKind::video, 9'000'000, 5000, QString()},
        {QStringLiteral("/library/Videos/older.mp4"), FileKind::video, 8'000'000, 100, QString()},
        {QStringLiteral("/library/Docs/march.pdf"), FileKind::document, 100, 600, QStringLiteral("Invoice for March, to be paid.")},
    });
    const SearchEngine engine(*store);
    const QStringList bothLeases{QStringLiteral("lease-2024.pdf"), QStringLiteral("notes.txt")};
    const QStringList videos{QStringLiteral("holiday.mp4"), QStringLiteral("older.mp4")};
    const struct
    {
        const char *name;
        QStringList keywords;
        QStringList expected = {};
        QStringList related = {};
        QSet<FileKind> kinds = {};
        bool broad = false;
        int limit = 80;
        QSet<QString> extensions = {};
    } cases[] = {
        {"no keywords browse the newest", {}, videos, {}, {FileKind::video}},
        {"browsing stops at the limit", {}, {QStringLiteral("holiday.mp4")}, {}, {FileKind::video}, false, 1},
        {"keywords without a usable word find nothing", {QStringLiteral("a"), QStringLiteral("I")}},
        {"related terms alone find nothing", {}, {}, {QStringLiteral("lease")}},
        {"a name match outranks a text match", {QStringLiteral("lease")}, bothLeases},
        {"a long last word is a prefix", {QStringLiteral("invoi")}, {QStringLiteral("march.pdf")}},
        // Only the first file holds both words; the other lease file follows.
        {"few all-word hits are widened", {QStringLiteral("lease"), QStringLiteral("agreement")}, bothLeases},
        {"widening keeps the filter", {QStringLiteral("lease")}, {QStringLiteral("lease-2024.pdf")}, {}, {}, false, 80,
         {QStringLiteral("pdf")}},
        {"broad search uses related terms", {QStringLiteral("rental")}, bothLeases,
         {QStringLiteral("lease"), QStringLiteral("Rental")}, {}, true},
        {"broad search without a usable word browses", {QStringLiteral("a")}, videos, {}, {FileKind::video}, true},
    };
    for (const auto &c : cases) {
        SearchQuery query = withKeywords(c.keywords);
        query.relatedTerms = c.related;
        query.filter.kinds = c.kinds;
        query.filter.extensions = c.extensions;
        const QList<FileHit> hits = c.broad ? engine.searchBroad(query, c.limit) : engine.search(query, c.limit);
        EXPECT_EQ(names(hits), c.expected) << c.name;
    }

    // Browsing neither scores nor makes snippets; widening keeps to the limit.
    SearchQuery browse;
    browse.filter.kinds = {FileKind::video};
    for (const FileHit &hit : engine.search(browse, 80)) {
        EXPECT_EQ(hit.score, 0);
        EXPECT_FALSE(hit.snippet);
    }
    EXPECT_EQ(engine.search(withKeywords({QStringLiteral("lease"), QStringLiteral("invoice")}), 2).size(), 2);
    const QList<FileHit> leases = engine.search(withKeywords({QStringLiteral("lease")}), 80);
    ASSERT_EQ(leases.size(), 2);
    EXPECT_GT(leases.at(0).score, leases.at(1).score);
    ASSERT_TRUE(leases.at(1).snippet);
    EXPECT_TRUE(leases.at(1).snippet->contains(QStringLiteral("⟦lease⟧")));
}

TEST(SearchEngine, WidensOnlyForSevenAllWordHitsOrFewer)
{
    for (const int bothWords : {7, 8}) {
        auto store = IndexStore::openInMemory();
        QList<File> files{{QStringLiteral("/library/only.txt"), FileKind::document, 10, 0, QStringLiteral("alpha gamma")}};
        for (int i = 0; i < bothWords; ++i)
            files.append({QStringLiteral("/library/both%1.txt").arg(i), FileKind::document, 10, double(i), QStringLiteral("alpha beta")});
        LibraryBuilder::add(*store, files);
        const QStringList found =
            names(SearchEngine(*store).search(withKeywords({QStringLiteral("alpha"), QStringLiteral("beta")}), 80));
        EXPECT_EQ(found.size(), 8);
        EXPECT_EQ(found.indexOf(QStringLiteral("only.txt")), bothWords == 7 ? 7 : -1) << bothWords;
    }
}

} // namespace
