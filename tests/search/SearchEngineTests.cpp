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

class SearchEngineTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        store = IndexStore::openInMemory();
        LibraryBuilder::add(
            *store,
            {
                {QStringLiteral("/library/Docs/lease-2024.pdf"), FileKind::document, 2000, 1000,
                 QStringLiteral("The lease agreement for the flat on the corner.")},
                {QStringLiteral("/library/Docs/notes.txt"), FileKind::document, 300, 900,
                 QStringLiteral("Shopping list. The lease came up once. Nothing else to say.")},
                {QStringLiteral("/library/Videos/holiday.mp4"), FileKind::video, 9'000'000, 5000, QString()},
                {QStringLiteral("/library/Videos/older.mp4"), FileKind::video, 8'000'000, 100, QString()},
                {QStringLiteral("/library/Docs/chapter.txt"), FileKind::document, 100, 700,
                 QStringLiteral("Chapter 7 of the book.")},
                {QStringLiteral("/library/Docs/march.pdf"), FileKind::document, 100, 600,
                 QStringLiteral("Invoice for March, to be paid.")},
            });
        engine = std::make_unique<SearchEngine>(*store);
    }

    std::unique_ptr<IndexStore> store;
    std::unique_ptr<SearchEngine> engine;
};

TEST_F(SearchEngineTest, NoKeywordsBrowsesTheNewestUnderTheFilter)
{
    SearchQuery query;
    query.filter.kinds = {FileKind::video};
    const QList<FileHit> hits = engine->search(query, 80);
    EXPECT_EQ(names(hits), QStringList({QStringLiteral("holiday.mp4"), QStringLiteral("older.mp4")}));
    for (const FileHit &hit : hits) {
        EXPECT_EQ(hit.score, 0);
        EXPECT_FALSE(hit.snippet);
        EXPECT_FALSE(hit.reason);
    }
    EXPECT_EQ(engine->search(query, 1).size(), 1);
}

TEST_F(SearchEngineTest, KeywordsWithoutTokensFindNothingRatherThanBrowse)
{
    EXPECT_TRUE(engine->search(withKeywords({QStringLiteral("a"), QStringLiteral("I")}), 80).isEmpty());
    SearchQuery related;
    related.relatedTerms = {QStringLiteral("lease")};
    EXPECT_TRUE(engine->search(related, 80).isEmpty());
}

TEST_F(SearchEngineTest, NameMatchesOutrankTextMatchesAndCarrySnippets)
{
    const QList<FileHit> hits = engine->search(withKeywords({QStringLiteral("lease")}), 80);
    ASSERT_EQ(names(hits), QStringList({QStringLiteral("lease-2024.pdf"), QStringLiteral("notes.txt")}));
    EXPECT_GT(hits.at(0).score, hits.at(1).score);
    ASSERT_TRUE(hits.at(1).snippet);
    EXPECT_TRUE(hits.at(1).snippet->contains(QStringLiteral("⟦lease⟧")));
}

TEST_F(SearchEngineTest, LastWordMatchesAsAPrefixOnlyWhenLongEnough)
{
    EXPECT_EQ(names(engine->search(withKeywords({QStringLiteral("invoi")}), 80)),
              QStringList{QStringLiteral("march.pdf")});
    EXPECT_TRUE(engine->search(withKeywords({QStringLiteral("le")}), 80).isEmpty());
    EXPECT_EQ(names(engine->search(withKeywords({QStringLiteral("7")}), 80)),
              QStringList{QStringLiteral("chapter.txt")});
}

TEST_F(SearchEngineTest, FewAllWordHitsAreWidenedWithAnyWordHits)
{
    const QList<FileHit> hits =
        engine->search(withKeywords({QStringLiteral("lease"), QStringLiteral("agreement")}), 80);
    // Only the first file holds both words; the other lease file follows.
    EXPECT_EQ(names(hits), QStringList({QStringLiteral("lease-2024.pdf"), QStringLiteral("notes.txt")}));

    const QList<FileHit> either = engine->search(withKeywords({QStringLiteral("lease"), QStringLiteral("invoice")}), 2);
    EXPECT_EQ(either.size(), 2);

    SearchQuery filtered = withKeywords({QStringLiteral("lease")});
    filtered.filter.extensions = {QStringLiteral("pdf")};
    EXPECT_EQ(names(engine->search(filtered, 80)), QStringList{QStringLiteral("lease-2024.pdf")});
}

TEST_F(SearchEngineTest, BroadSearchUsesRelatedTermsAndBrowsesWithoutAny)
{
    SearchQuery query = withKeywords({QStringLiteral("rental")});
    query.relatedTerms = {QStringLiteral("lease"), QStringLiteral("Rental")};
    EXPECT_EQ(names(engine->searchBroad(query, 80)),
              QStringList({QStringLiteral("lease-2024.pdf"), QStringLiteral("notes.txt")}));

    SearchQuery none;
    none.filter.kinds = {FileKind::video};
    none.keywords = {QStringLiteral("a")};
    EXPECT_EQ(names(engine->searchBroad(none, 80)),
              QStringList({QStringLiteral("holiday.mp4"), QStringLiteral("older.mp4")}));
}

// n files that hold both words, one that holds only the first.
QStringList widenedSearch(int bothWords)
{
    auto store = IndexStore::openInMemory();
    QList<File> files;
    for (int i = 0; i < bothWords; ++i)
        files.append({QStringLiteral("/library/both%1.txt").arg(i), FileKind::document, 10, double(i),
                      QStringLiteral("alpha beta")});
    files.append({QStringLiteral("/library/only.txt"), FileKind::document, 10, 0, QStringLiteral("alpha gamma")});
    LibraryBuilder::add(*store, files);
    return names(SearchEngine(*store).search(withKeywords({QStringLiteral("alpha"), QStringLiteral("beta")}), 80));
}

TEST(SearchEngineWidening, RunsOnlyForSevenAllWordHitsOrFewer)
{
    const QStringList seven = widenedSearch(7);
    ASSERT_EQ(seven.size(), 8);
    EXPECT_EQ(seven.last(), QStringLiteral("only.txt"));
    EXPECT_FALSE(widenedSearch(8).contains(QStringLiteral("only.txt")));
}

} // namespace
