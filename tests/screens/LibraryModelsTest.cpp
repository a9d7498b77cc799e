// The overview and the listings behind the window: what they publish from a
// library in memory, the debounce of a burst of changes, the listings of the
// sidebar items, sorting, paging and the selection.
#include "core/Tasks.h"
#include "screens/CleanupFiles.h"
#include "screens/CleanupSelection.h"
#include "screens/LibraryBrowserModel.h"
#include "screens/LibraryModel.h"
#include "screens/Symbols.h"
#include "search/FilterChips.h"
#include "tidy/CleanupRules.h"
#include "support/LibraryBuilder.h"
#include "support/RecordFixtures.h"
#include "support/TestEnvironment.h"
#include "support/TestLibrary.h"

#include <QCoreApplication>
#include <QSignalSpy>

#include <gtest/gtest.h>

using TestEnvironment::waitUntil;

namespace {

// Waits for the pools, then delivers what they handed back.
void settle()
{
    Tasks::waitForIdle();
    QCoreApplication::processEvents();
    Tasks::waitForIdle();
    QCoreApplication::processEvents();
}

FileRecord file(const QString &path, FileKind kind, qint64 size, double modified)
{
    return RecordFixtures::file(path, size, modified, kind);
}

QStringList names(const QList<FileRecord> &files)
{
    QStringList result;
    for (const FileRecord &f : files)
        result.append(f.name);
    return result;
}

std::unique_ptr<LibraryBrowserModel> loaded(IndexStore store, const SidebarItem &item)
{
    auto model = std::make_unique<LibraryBrowserModel>(store, item);
    model->load();
    EXPECT_TRUE(waitUntil([&] { return !model->isLoading(); }));
    return model;
}

// The clean-up rules at a fixed time, with Ada's Downloads folder.
LibraryModel::RulesSource rulesAt(double now)
{
    return [now] {
        CleanupRules rules;
        rules.now = now;
        rules.downloadsFolder = "/home/ada/Downloads";
        return rules;
    };
}

} // namespace

TEST(LibraryModel, AnEmptyLibraryPublishesZeroTotalsAndIsLoaded)
{
    TestLibrary library;
    LibraryModel model(library.store);
    QSignalSpy loadedSpy(&model, &LibraryModel::loadedChanged);
    model.refresh();
    ASSERT_TRUE(waitUntil([&] { return model.isLoaded(); }));
    EXPECT_EQ(std::tuple(model.totalCount(), model.totalBytes(), model.recents().size(), model.sources().size()),
              std::tuple(0, 0, 0, 0));
    EXPECT_EQ(model.kindStatItems().size(), 7) << "every kind has a tile, empty or not";
    EXPECT_EQ(loadedSpy.count(), 1);
}

TEST(LibraryModel, OverviewSumsTheKindsAndItsRecentsLeaveOutAppsAndOther)
{
    TestLibrary library;
    LibraryBuilder::add(library.store, {
        file("/library/new.AppImage", FileKind::app, 100, 5000),
        file("/library/newer.bin", FileKind::other, 10, 5001),
        file("/library/photo.jpg", FileKind::image, 2000, 100),
        file("/library/film.mp4", FileKind::video, 7000, 200),
        file("/library/notes.pdf", FileKind::document, 300, 300),
    }, "/library");
    LibraryModel model(library.store);
    model.refresh();
    ASSERT_TRUE(waitUntil([&] { return model.isLoaded(); }));
    EXPECT_EQ(model.totalCount(), 5);
    EXPECT_EQ(model.totalBytes(), 9410);
    EXPECT_EQ(model.kindStats().value(FileKind::video).bytes, 7000);
    EXPECT_EQ(names(model.recents()), QStringList({"notes.pdf", "film.mp4", "photo.jpg"}));
    EXPECT_EQ(model.totalBytesText(), "9 KB");
}

TEST(LibraryModel, ABurstOfChangesReloadsOnceAndAnImmediateRefreshReplacesTheWait)
{
    EXPECT_EQ(LibraryModel::reloadDelayMs, 1200);
    TestLibrary library;
    LibraryModel model(library.store);
    model.setReloadDelay(0); // the wait itself is the Debouncer's; here only the count matters
    for (int i = 0; i < 10; ++i)
        model.refreshSoon();
    ASSERT_TRUE(waitUntil([&] { return model.publishedReloads() > 0; }));
    settle();
    EXPECT_EQ(model.publishedReloads(), 1);

    // A refresh now cancels a reload still waiting.
    model.setReloadDelay(60'000);
    model.refreshSoon();
    model.refresh();
    ASSERT_TRUE(waitUntil([&] { return model.publishedReloads() == 2; }));
    settle();
    EXPECT_EQ(model.publishedReloads(), 2);
}

TEST(LibraryModel, CleanupSuggestionsAddUpWhatCouldBeFreed)
{
    TestLibrary library;
    const double now = 2'000'000'000;
    const double month = 30 * 86400.0;
    FileRecord installer = file("/home/ada/Downloads/tool.deb", FileKind::other, 50'000'000, now - month);
    installer.added = installer.created = now - month;
    FileRecord fresh = file("/home/ada/Downloads/new.deb", FileKind::other, 9, now - 60);
    fresh.added = fresh.created = now - 60;
    LibraryBuilder::add(library.store, {installer, fresh}, "/home/ada");
    LibraryModel model(library.store);
    model.setRulesSource(rulesAt(now));
    QSignalSpy changed(&model, &LibraryModel::cleanupChanged);
    model.refreshCleanup();
    ASSERT_TRUE(waitUntil([&] { return changed.count() > 0; }));
    ASSERT_EQ(model.cleanup().size(), 1);
    EXPECT_EQ(model.cleanup().first().kind, CleanupCategory::Kind::installers);
    EXPECT_EQ(model.reclaimableBytes(), 50'000'000);
    EXPECT_EQ(model.reclaimableText(), "50 MB");
}

// An opened category lists a page of files at a time; a check changes the
// one row it concerns, and what the user took out stays out across pages
// and refreshes.
TEST(CleanupSelection, AnOpenedCategoryComesAPageAtATimeWithItsChecks)
{
    TestLibrary library;
    const double now = 2'000'000'000;
    const int count = 2 * CleanupFiles::pageSize + 50;
    QList<FileRecord> installers;
    for (int i = 0; i < count; ++i) {
        FileRecord installer = file(QStringLiteral("/home/ada/Downloads/tool-%1.deb").arg(i, 3, 10, QChar('0')),
                                    FileKind::other, 1000 + i, now - 40 * 86400.0);
        installer.added = installer.created = installer.modified;
        installers.append(installer);
    }
    LibraryBuilder::add(library.store, installers, "/home/ada");
    LibraryModel model(library.store);
    model.setRulesSource(rulesAt(now));
    QSignalSpy suggested(&model, &LibraryModel::cleanupChanged);
    model.refreshCleanup();
    ASSERT_TRUE(waitUntil([&] { return suggested.count() > 0; }));
    CleanupSelection selection(model);
    CleanupFiles &files = *selection.files();
    const auto entry = [&](int row) { return files.data(files.index(row), CleanupFiles::EntryRole).toMap(); };
    EXPECT_EQ(files.rowCount(), 0) << "a closed category lists nothing";

    selection.setExpanded("installers");
    EXPECT_EQ(files.rowCount(), CleanupFiles::pageSize);
    for (const int shown : {2 * CleanupFiles::pageSize, count, count}) {
        files.fetchMore({});
        EXPECT_EQ(files.rowCount(), shown);
    }
    EXPECT_FALSE(files.canFetchMore({}));

    // One file taken out from the second page: its row alone changes.
    const int row = CleanupFiles::pageSize + 7;
    const qint64 id = entry(row).value("fileID").toLongLong();
    QSignalSpy rowsChanged(&files, &QAbstractItemModel::dataChanged);
    selection.setChecked(id, false);
    ASSERT_EQ(rowsChanged.count(), 1);
    EXPECT_EQ(rowsChanged.first().at(0).toModelIndex().row(), row);
    EXPECT_EQ(rowsChanged.first().at(1).toModelIndex().row(), row);
    EXPECT_FALSE(entry(row).value("checked").toBool());
    EXPECT_TRUE(entry(row - 1).value("checked").toBool());
    EXPECT_EQ(selection.chosenCount("installers"), count - 1);

    // New suggestions start from the first page again, the file still out.
    FileRecord another = installers.first();
    another.path = "/home/ada/Downloads/another.deb";
    another.name = "another.deb";
    LibraryBuilder::add(library.store, {another}, "/home/ada");
    model.refreshCleanup();
    ASSERT_TRUE(waitUntil([&] { return suggested.count() > 1; }));
    EXPECT_EQ(files.rowCount(), CleanupFiles::pageSize);
    files.fetchMore({});
    int stillOut = 0;
    for (int shown = 0; shown < files.rowCount(); ++shown)
        stillOut += entry(shown).value("checked").toBool() ? 0 : 1;
    EXPECT_EQ(stillOut, 1);

    // The whole category out, then another opened.
    selection.setCategoryChecked("installers", false);
    EXPECT_FALSE(entry(0).value("checked").toBool());
    EXPECT_EQ(selection.chosenCount("installers"), 0);
    selection.setExpanded("apps");
    EXPECT_EQ(files.rowCount(), 0);
}

TEST(LibraryBrowserModel, EachSidebarItemListsItsFiles)
{
    TestLibrary library;
    FileRecord shot = file("/library/a/b/Screenshot 1.png", FileKind::image, 10, 50);
    shot.isScreenshot = true;
    LibraryBuilder::add(library.store, {
        shot,
        file("/library/a/b/c/deep.pdf", FileKind::document, 99'999'999, 40),
        file("/library/a/bc/sibling.pdf", FileKind::document, 100'000'000, 30),
        file("/library/huge.mkv", FileKind::video, 200'000'000, 20),
        file("/library/tool.AppImage", FileKind::app, 5, 10),
    }, "/library");
    const struct
    {
        SidebarItem item;
        QStringList expected;
    } cases[] = {
        {SidebarItem::ofKind(FileKind::document), {"deep.pdf", "sibling.pdf"}},
        {SidebarItem::ofFolder("/library/a/b"), {"Screenshot 1.png", "deep.pdf"}},
        {SidebarItem::ofFolder("/library/a/b/"), {"Screenshot 1.png", "deep.pdf"}},
        {SidebarItem(SidebarItem::Case::largeFiles), {"sibling.pdf", "huge.mkv"}},
        {SidebarItem(SidebarItem::Case::screenshots), {"Screenshot 1.png"}},
        {SidebarItem(SidebarItem::Case::recents), {"Screenshot 1.png", "deep.pdf", "sibling.pdf", "huge.mkv"}},
        {SidebarItem(SidebarItem::Case::duplicates), {}},
    };
    for (const auto &c : cases) {
        auto model = loaded(library.store, c.item);
        EXPECT_EQ(names(model->files()), c.expected) << c.item.key().toStdString();
        EXPECT_EQ(model->total(), c.expected.size());
        EXPECT_EQ(model->rowCount(), c.expected.size());
    }
    auto large = loaded(library.store, SidebarItem(SidebarItem::Case::largeFiles));
    EXPECT_EQ(large->bytes(), 300'000'000);
    EXPECT_EQ(large->countText(), "2 items · 300 MB");
}

TEST(LibraryBrowserModel, SortingReloadsAndKeepsTheSelectionWhileGoneFilesLeaveIt)
{
    TestLibrary library;
    const QList<FileRecord> stored = LibraryBuilder::add(library.store, {
        file("/library/b.pdf", FileKind::document, 300, 10),
        file("/library/a.pdf", FileKind::document, 100, 30),
        file("/library/c.pdf", FileKind::document, 200, 20),
    }, "/library");
    auto model = loaded(library.store, SidebarItem::ofKind(FileKind::document));
    EXPECT_EQ(names(model->files()), QStringList({"a.pdf", "c.pdf", "b.pdf"}));
    model->selectOnly(model->files().at(0).id);
    model->toggleSelected(model->files().at(2).id);
    const QSet<qint64> chosen = model->selection();

    const std::pair<QString, QStringList> sorts[] = {
        {"name", {"a.pdf", "b.pdf", "c.pdf"}},
        {"size", {"b.pdf", "c.pdf", "a.pdf"}},
        {"nonsense", {"b.pdf", "c.pdf", "a.pdf"}},
    };
    for (const auto &[sort, expected] : sorts) {
        model->setSortText(sort);
        ASSERT_TRUE(waitUntil([&] { return !model->isLoading(); }));
        EXPECT_EQ(names(model->files()), expected) << sort.toStdString();
        EXPECT_EQ(model->selection(), chosen);
    }
    EXPECT_EQ(model->selectedRecords().size(), 2);

    library.store.files().deletePaths({"/library/a.pdf"});
    model->load();
    ASSERT_TRUE(waitUntil([&] { return !model->isLoading(); }));
    EXPECT_EQ(model->selection(), QSet<qint64>({stored.at(0).id})) << "b.pdf stays chosen, a.pdf is gone";
}

TEST(LibraryBrowserModel, LargeListingsComeAPageAtATime)
{
    TestLibrary library;
    QList<FileRecord> records;
    for (int i = 0; i < 5000; ++i)
        records.append(file(QStringLiteral("/library/many/f%1.txt").arg(i, 4, 10, QChar('0')), FileKind::document, 1, i));
    LibraryBuilder::add(library.store, records, "/library");
    auto model = loaded(library.store, SidebarItem::ofFolder("/library/many"));
    EXPECT_EQ(model->rowCount(), LibraryBrowserModel::pageSize);
    EXPECT_EQ(model->total(), 5000);
    ASSERT_TRUE(model->canFetchMore({}));
    QSignalSpy inserted(model.get(), &QAbstractItemModel::rowsInserted);
    model->fetchMore({});
    model->fetchMore({}); // a second request while the page is on its way is ignored
    ASSERT_TRUE(waitUntil([&] { return model->rowCount() == 5000; }));
    settle();
    EXPECT_EQ(inserted.count(), 1);
    EXPECT_FALSE(model->canFetchMore({}));
    EXPECT_EQ(model->files().last().name, "f0000.txt");
}

TEST(Symbols, EverySymbolTheWindowShowsHasAGlyph)
{
    QStringList symbols;
    for (FileKind kind : allFileKinds())
        symbols.append(SidebarItem::ofKind(kind).symbol());
    for (int item = int(SidebarItem::Case::home); item <= int(SidebarItem::Case::meetings); ++item)
        symbols.append(SidebarItem(SidebarItem::Case(item)).symbol());
    for (const KnownSource &source : KnownSource::all())
        symbols.append(source.symbol);
    // Every facet's chip, and every clean-up category.
    SearchQuery query;
    query.filter.kinds = {FileKind::image};
    query.filter.extensions = {"pdf"};
    query.filter.screenshotsOnly = true;
    query.filter.dateFrom = 1.7e9;
    query.filter.minSize = 1;
    query.filter.maxSize = 2;
    query.filter.sources = {"gmail"};
    for (const FilterChip &chip : filterChips(query))
        symbols.append(chip.symbol);
    for (const CleanupCategory::Kind kind : CleanupCategory::allKinds())
        symbols.append(CleanupCategory::symbol(kind));
    symbols << "globe" << "checkmark.circle.fill" << "trash" << "sidebar.trailing" << "square.grid.2x2" << "list.bullet";
    for (const QString &symbol : symbols)
        EXPECT_TRUE(Symbols::knows(symbol)) << symbol.toStdString();
    EXPECT_EQ(Symbols::glyph("house.fill"), "home");
    EXPECT_EQ(Symbols::glyph("no.such.symbol"), "help_outline");
}
