// The search engine over a real library in memory.
#include "search/SearchEngine.h"
#include "search/SpellingSuggester.h"
#include "support/LibraryBuilder.h"

#include <gtest/gtest.h>

namespace {

// A request for the words among the kinds and extensions (any when empty).
SearchQuery request(const QStringList &keywords, const QSet<FileKind> &kinds = {}, const QStringList &related = {},
                    const QSet<QString> &extensions = {})
{
    SearchQuery query;
    query.keywords = keywords;
    query.relatedTerms = related;
    query.filter.kinds = kinds;
    query.filter.extensions = extensions;
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
        {"/library/Docs/lease-2024.pdf", FileKind::document, 2000, 1000, "The lease agreement for the flat."},
        {"/library/Docs/notes.txt", FileKind::document, 300, 900, "Shopping list. The lease came up once."},
        {"/library/Videos/holiday.mp4", FileKind::video, 9'000'000, 5000, {}},
        {"/library/Videos/older.mp4", FileKind::video, 8'000'000, 100, {}},
        {"/library/Docs/march.pdf", FileKind::document, 100, 600, "Invoice for March, to be paid."},
    });
    const SearchEngine engine(*store);
    const QStringList bothLeases{"lease-2024.pdf", "notes.txt"};
    const QStringList videos{"holiday.mp4", "older.mp4"};
    const QSet<FileKind> video{FileKind::video};
    const struct
    {
        const char *name;
        SearchQuery query;
        QStringList expected = {};
        bool broad = false;
        int limit = 80;
    } cases[] = {
        {"no keywords browse the newest", request({}, video), videos},
        {"browsing stops at the limit", request({}, video), {"holiday.mp4"}, false, 1},
        {"keywords without a usable word find nothing", request({"a", "I"})},
        {"related terms alone find nothing", request({}, {}, {"lease"})},
        {"a name match outranks a text match", request({"lease"}), bothLeases},
        {"a long last word is a prefix", request({"invoi"}), {"march.pdf"}},
        // Only the first file holds both words; the other lease file follows.
        {"few all-word hits are widened", request({"lease", "agreement"}), bothLeases},
        {"widening keeps the filter", request({"lease"}, {}, {}, {"pdf"}), {"lease-2024.pdf"}},
        {"broad search uses related terms", request({"rental"}, {}, {"lease", "Rental"}), bothLeases, true},
        {"broad search without a usable word browses", request({"a"}, video), videos, true},
    };
    for (const auto &c : cases) {
        const QList<FileHit> hits = c.broad ? engine.searchBroad(c.query, c.limit) : engine.search(c.query, c.limit);
        EXPECT_EQ(names(hits), c.expected) << c.name;
    }

    // Widening keeps to the limit; text hits rank and show the words.
    EXPECT_EQ(engine.search(request({"lease", "invoice"}), 2).size(), 2);
    const QList<FileHit> leases = engine.search(request({"lease"}), 80);
    ASSERT_EQ(leases.size(), 2);
    EXPECT_GT(leases.at(0).score, leases.at(1).score);
    EXPECT_TRUE(leases.at(1).snippet.value_or(QString()).contains("⟦lease⟧"));
}

TEST(SearchEngine, WidensOnlyForSevenAllWordHitsOrFewer)
{
    for (const int bothWords : {7, 8}) {
        auto store = IndexStore::openInMemory();
        QList<LibraryBuilder::File> files{{"/library/only.txt", FileKind::document, 10, 0, "alpha gamma"}};
        for (int i = 0; i < bothWords; ++i)
            files.append({QString("/library/both%1.txt").arg(i), FileKind::document, 10, double(i), "alpha beta"});
        LibraryBuilder::add(*store, files);
        const QStringList found = names(SearchEngine(*store).search(request({"alpha", "beta"}), 80));
        EXPECT_EQ(found.size(), 8);
        EXPECT_EQ(found.indexOf("only.txt"), bothWords == 7 ? 7 : -1) << bothWords;
    }
}

// A request that found nothing is offered the library's own words, and only
// when they find files under the same filter.
TEST(SpellingSuggester, OffersTheClosestFrequentWordsThatFindFiles)
{
    auto store = IndexStore::openInMemory();
    LibraryBuilder::add(*store, {
        {"/library/Docs/printer-manual.pdf", FileKind::document, 100, 0, "Load paper, then print."},
        {"/library/Screenshots/screenshot-1.png", FileKind::image, 100, 0, {}},
        {"/library/Docs/march.txt", FileKind::document, 100, 0, "Invoice for March."},
        {"/library/Docs/april.txt", FileKind::document, 100, 0, "Paid in March."},
        {"/library/Docs/birds.txt", FileKind::document, 100, 0, "Marsh birds."},
        {"/library/Docs/invoices.txt", FileKind::document, 100, 0, "Invoices."},
    });
    const SpellingSuggester suggester(*store);
    const QSet<FileKind> video{FileKind::video};
    const struct
    {
        QString raw;
        QStringList keywords;
        QSet<FileKind> kinds = {};
        QString expected = {}; // none when empty
    } cases[] = {
        {"Pritner manual", {"pritner", "manual"}, {}, "printer manual"},
        {"screnshots", {"screnshots"}, {}, "screenshots"},
        // The stem's ending goes back on: "invoic" reads "invoices".
        {"invoces from may", {"invoces"}, {}, "invoices from may"},
        // "march" is in more passages than "marsh", as close to "marxh".
        {"marxh", {"marxh"}, {}, "march"},
        {"pritner videos", {"pritner"}, video},
        {"printer videos", {"printer"}, video},
        {"xyzzy", {"xyzzy"}},
    };
    for (const auto &c : cases) {
        SearchQuery query = request(c.keywords, c.kinds);
        query.raw = c.raw;
        const std::optional<SearchQuery> suggestion = suggester.suggestion(query);
        EXPECT_EQ(suggestion ? suggestion->raw : QString(), c.expected) << c.raw.toStdString();
        EXPECT_TRUE(!suggestion || suggestion->filter == query.filter);
    }
    // A request the user has typed on from gets nothing.
    const CancellationToken typedOn;
    typedOn.cancel();
    SearchQuery query = request({"pritner"}, {});
    query.raw = "pritner";
    EXPECT_FALSE(SpellingSuggester(*store, typedOn).suggestion(query));
}

} // namespace
