// Filter and sort compilation: the clause text, its parameters in order,
// and that the clause selects what it says on a real table.
#include "store/FileQuery.h"
#include "store/IndexStore.h"

#include <gtest/gtest.h>

namespace {

TEST(FilterCompiler, ClauseAndParametersInOrder)
{
    struct Case
    {
        const char *name;
        FileFilter filter;
        QString clause;
        SQLBindings bindings;
    };
    FileFilter kindsAndExt;
    kindsAndExt.kinds = {FileKind::video, FileKind::image};
    kindsAndExt.extensions = {"pdf"};
    FileFilter kindsOnly;
    kindsOnly.kinds = {FileKind::audio};
    FileFilter extensionsOnly;
    extensionsOnly.extensions = {"zip", "docx", "csv"};
    FileFilter opened;
    opened.dateField = DateField::opened;
    opened.dateFrom = 100.5;
    opened.dateTo = 200.0;
    FileFilter fieldWithoutBound;
    fieldWithoutBound.dateField = DateField::created;
    FileFilter everything;
    everything.kinds = {FileKind::document};
    everything.dateFrom = 1.0;
    everything.minSize = 10;
    everything.maxSize = 20;
    everything.sources = {"web:b.example", "gmail"};
    everything.screenshotsOnly = true;
    everything.folder = "/Users/a/Docs";

    const Case cases[] = {
        {"default", FileFilter(), "1", {}},
        {"kinds widen extensions", kindsAndExt, "(f.kind IN (?,?) OR f.ext IN (?))", {"image", "video", "pdf"}},
        {"kinds alone keep parentheses", kindsOnly, "(f.kind IN (?))", {"audio"}},
        {"extensions sorted", extensionsOnly, "(f.ext IN (?,?,?))", {"csv", "docx", "zip"}},
        {"half-open range on the chosen date", opened, "f.opened >= ? AND f.opened < ?", {100.5, 200.0}},
        {"date field without a bound", fieldWithoutBound, "1", {}},
        {"all clauses in order", everything,
         "(f.kind IN (?)) AND f.modified >= ? AND f.size >= ? AND f.size <= ? AND f.source IN (?,?) "
         "AND f.is_screenshot = 1 AND substr(f.path, 1, ?) = ?",
         {"document", 1.0, qint64(10), qint64(20), "gmail", "web:b.example", qint64(14), "/Users/a/Docs/"}},
    };
    for (const Case &c : cases) {
        const CompiledFilter compiled = compileFilter(c.filter);
        EXPECT_EQ(compiled.clause, c.clause) << c.name;
        EXPECT_EQ(compiled.bindings, c.bindings) << c.name;
    }
}

TEST(FilterCompiler, FolderWithOrWithoutSlashAndCountedInScalars)
{
    FileFilter plain;
    plain.folder = "/Users/a/Docs";
    FileFilter slashed;
    slashed.folder = "/Users/a/Docs/";
    EXPECT_EQ(compileFilter(plain).bindings, compileFilter(slashed).bindings);

    // "é" as e + combining accent, and a character outside the BMP.
    FileFilter accented;
    accented.folder = QStringLiteral("/Cafe\u0301/\U0001F600");
    const auto bindings = compileFilter(accented).bindings;
    EXPECT_EQ(bindings.at(0), SQLValue(qint64(9)));
}

TEST(SortCompiler, FourOrders)
{
    EXPECT_EQ(compileSort(FileSort::recent), "COALESCE(MAX(COALESCE(f.modified, 0), COALESCE(f.added, 0)), 0) DESC");
    EXPECT_EQ(compileSort(FileSort::name), "f.name COLLATE NOCASE ASC");
    EXPECT_EQ(compileSort(FileSort::size), "f.size DESC");
    EXPECT_EQ(compileSort(FileSort::kind), "f.kind ASC, f.name COLLATE NOCASE ASC");
    for (FileSort sort : allFileSorts())
        EXPECT_EQ(fileSortFromRawValue(fileSortRawValue(sort)), sort);
    for (DateField field : allDateFields())
        EXPECT_EQ(dateFieldFromRawValue(dateFieldRawValue(field)), field);
    EXPECT_FALSE(fileSortFromRawValue("newest"));
}

// The clauses run against SQLite select the rows they promise.
TEST(FilterCompiler, SelectsOnARealTable)
{
    auto store = IndexStore::openInMemory();
    const auto add = [&](const QString &path, qint64 size, std::optional<double> opened, bool screenshot) {
        FileRecord r;
        r.path = path;
        r.name = path.section(u'/', -1);
        r.size = size;
        r.opened = opened;
        r.isScreenshot = screenshot;
        r.kind = FileKind::image;
        store->files().upsert({r}, "/", 1);
    };
    add(QStringLiteral("/Cafe\u0301/a.png"), 10, 150, true);
    add(QStringLiteral("/Cafe\u0301x/b.png"), 20, std::nullopt, false);
    add(QStringLiteral("/other/c.png"), 10, 50, false);

    const auto matching = [&](const FileFilter &filter) {
        QStringList names;
        for (const FileRecord &r : store->files().list(filter, FileSort::name, 10))
            names.append(r.name);
        return names;
    };
    FileFilter folder;
    folder.folder = QStringLiteral("/Cafe\u0301");
    EXPECT_EQ(matching(folder), QStringList{"a.png"});
    FileFilter exactSize;
    exactSize.minSize = 10;
    exactSize.maxSize = 10;
    EXPECT_EQ(matching(exactSize), (QStringList{"a.png", "c.png"}));
    FileFilter emptyRange;
    emptyRange.dateFrom = 50;
    emptyRange.dateTo = 50;
    EXPECT_TRUE(matching(emptyRange).isEmpty());
    FileFilter openedRange;
    openedRange.dateField = DateField::opened;
    openedRange.dateFrom = 0;
    openedRange.dateTo = 1000;
    EXPECT_EQ(matching(openedRange), (QStringList{"a.png", "c.png"})) << "a file never opened is outside any range";
    FileFilter screenshots;
    screenshots.screenshotsOnly = true;
    EXPECT_EQ(matching(screenshots), QStringList{"a.png"});
}

} // namespace
