// The first load of an empty library: the indexes that only reads use wait
// for its end, and a load cut short is mended by the next open.
#include "store/BulkLoad.h"
#include "store/IndexStore.h"
#include "store/LibraryLock.h"
#include "support/RecordFixtures.h"
#include "support/TestLibrary.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using RecordFixtures::file;

namespace {

QStringList namesBySize(const IndexStore &store)
{
    QStringList names;
    for (const FileRecord &record : store.files().list({}, FileSort::size, 10))
        names.append(record.name);
    return names;
}

// How SQLite reads the largest files first.
QString sizeListingPlan(SQLiteDatabase &db)
{
    QStringList steps;
    for (const SQLRow &row : db.query(u"EXPLAIN QUERY PLAN SELECT id FROM files ORDER BY size DESC LIMIT 5"_s))
        steps.append(row.string(u"detail"_s).value_or(QString()));
    return steps.join(u"; "_s);
}

const QList<FileRecord> threeFiles{file(u"/r/small.txt"_s, 1, 10), file(u"/r/big.txt"_s, 300, 20),
                                   file(u"/r/mid.txt"_s, 20, 30)};

} // namespace

TEST(BulkLoad, AnEmptyLibraryIsLoadedWithoutItsReadIndexesAndEndsWithAllOfThem)
{
    enum class End { finish, scope };
    for (const End end : {End::finish, End::scope}) {
        SCOPED_TRACE(end == End::finish ? "finished" : "left at the end of its scope");
        TestLibrary library;
        {
            BulkLoad load(library.store);
            EXPECT_TRUE(load.isActive());
            EXPECT_FALSE(library.store.missingFileIndexes().isEmpty());
            library.store.files().upsert(threeFiles, u"/r"_s, 1);
            EXPECT_EQ(namesBySize(library.store), (QStringList{u"big.txt"_s, u"mid.txt"_s, u"small.txt"_s}))
                << "reads stay correct meanwhile";
            EXPECT_FALSE(sizeListingPlan(*library.db).contains(u"files_size"_s));
            if (end == End::finish) {
                load.finish();
                EXPECT_FALSE(load.isActive());
                load.finish(); // nothing more to do
            }
        }
        EXPECT_EQ(library.store.missingFileIndexes(), QStringList());
        EXPECT_TRUE(sizeListingPlan(*library.db).contains(u"files_size"_s)) << sizeListingPlan(*library.db).toStdString();
        EXPECT_EQ(library.db->scalar(u"PRAGMA integrity_check"_s), SQLValue(u"ok"_s));
    }
}

TEST(BulkLoad, ALibraryThatHoldsFilesKeepsItsIndexes)
{
    TestLibrary library;
    library.store.files().upsert({threeFiles.first()}, u"/r"_s, 1);
    BulkLoad load(library.store);
    EXPECT_FALSE(load.isActive());
    library.store.files().upsert(threeFiles, u"/r"_s, 2);
    EXPECT_EQ(library.store.missingFileIndexes(), QStringList());
    EXPECT_TRUE(sizeListingPlan(*library.db).contains(u"files_size"_s));
}

// A load killed before its end leaves the indexes missing. The next open
// builds them, unless another process holds the library: that one may be
// loading it, and builds them when it ends.
TEST(BulkLoad, ALoadCutShortIsMendedByTheNextOpenThatHasTheLibraryToItself)
{
    QTemporaryDir dir;
    const QString path = dir.path() + u"/Library.sqlite"_s;
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // Ends without the load's destructor, as a kill would.
        auto store = IndexStore::open(QUrl::fromLocalFile(path));
        BulkLoad load(*store);
        store->files().upsert(threeFiles, u"/r"_s, 1);
        ::_exit(load.isActive() ? 0 : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    const auto missing = [&] { return IndexStore(std::make_shared<SQLiteDatabase>(path)).missingFileIndexes(); };
    ASSERT_FALSE(missing().isEmpty());

    {
        LibraryLock otherWriter(path);
        ASSERT_TRUE(otherWriter.tryLock());
        auto store = IndexStore::open(QUrl::fromLocalFile(path));
        EXPECT_FALSE(missing().isEmpty()) << "left to the process that holds the library";
        EXPECT_EQ(namesBySize(*store).size(), 3);
    }
    auto store = IndexStore::open(QUrl::fromLocalFile(path));
    EXPECT_EQ(missing(), QStringList());
    EXPECT_EQ(namesBySize(*store), (QStringList{u"big.txt"_s, u"mid.txt"_s, u"small.txt"_s}));
    LibraryLock writer(path);
    EXPECT_TRUE(writer.tryLock()) << "the open let go of the library";
}
