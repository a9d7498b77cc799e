// The text queue, the tidy-up's candidates and the library's statistics.
#include "store/IndexStore.h"
#include "support/RecordFixtures.h"
#include "support/TestLibrary.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

using RecordFixtures::file;

class LibraryTest : public ::testing::Test, protected TestLibrary
{
protected:
    void upsert(const QList<FileRecord> &records) { store.files().upsert(records, "/r", 1); }
    static QStringList names(const QList<FileRecord> &records)
    {
        QStringList list;
        for (const FileRecord &r : records)
            list.append(r.name);
        return list;
    }
};

} // namespace

TEST_F(LibraryTest, SetTextStoresPassagesExcerptStateAndPages)
{
    FileRecord record = file("/r/Report.pdf", 9, 1000);
    record.pages = 4;
    upsert({record});
    record = *store.files().recordAt(record.path);
    TextQueue queue = store.textQueue();
    const auto state = [&] { return row(record.id).integer(u"text_state"_s); };

    queue.setText(record, {});
    EXPECT_EQ(state(), int(TextState::NoText));
    EXPECT_EQ(store.files().record(record.id), record) << "no excerpt, and no page count keeps the scanner's";
    EXPECT_EQ(passageCount(record.id), 1);

    queue.setText(record, {QString(700, u'a'), "second"}, 12);
    const FileRecord stored = *store.files().record(record.id);
    EXPECT_EQ(state(), int(TextState::Extracted));
    EXPECT_EQ(stored.textExcerpt, QString(600, u'a'));
    EXPECT_EQ(stored.pages, 12);
    EXPECT_EQ(store.passages().text({"file", QString::number(record.id)}), QString(700, u'a') + "\nsecond");
    EXPECT_EQ(db->scalar("SELECT title FROM passages WHERE ord = 0").textValue(), FileRecords::title(record));

    // A file deleted while its text was read gets nothing.
    store.files().deletePaths({record.path});
    queue.setText(record, {"late"});
    EXPECT_EQ(rowCount("passages"), 0);
}

TEST_F(LibraryTest, TheQueueHoldsDocumentsThenScreenshotsThenImagesNewestFirst)
{
    FileRecord shot = file("/r/shot.png", 1, 10, FileKind::image);
    shot.isScreenshot = true;
    upsert({file("/r/old.png", 1, 50, FileKind::image), shot, file("/r/old.pdf", 1, 5), file("/r/new.pdf", 1, 9),
            file("/r/song.mp3", 1, 99, FileKind::audio)});
    TextQueue queue = store.textQueue();
    EXPECT_EQ(names(queue.next(10)), (QStringList{"new.pdf", "old.pdf", "shot.png", "old.png"}));
    EXPECT_EQ(queue.next(2).size(), 2);
    EXPECT_EQ(queue.count(), 4);
    queue.setState(idOf("/r/new.pdf"), TextState::Failed);
    EXPECT_EQ(queue.count(), 3);
}

TEST_F(LibraryTest, CandidatesForDuplicatesAndCleanupAndTheirStoredPrints)
{
    FileRecord shot = file("/r/Screenshot 1.png", 10, 1, FileKind::image);
    shot.isScreenshot = true;
    upsert({file("/r/b.jpg", 4000, 1, FileKind::image), file("/r/a.jpg", 4000, 1, FileKind::image),
            file("/r/x.bin", 9000, 1, FileKind::other), file("/r/y.bin", 9000, 1, FileKind::other),
            file("/r/z.bin", 9000, 1, FileKind::other), file("/r/small1", 10, 1, FileKind::other),
            file("/r/small2", 10, 1, FileKind::other), file("/r/One.AppImage", 5000, 1, FileKind::app),
            file("/r/Two.AppImage", 5000, 1, FileKind::app), shot, file("/r/tool.deb", 1, 1, FileKind::archive),
            file("/r/tool.rpm", 1, 1, FileKind::archive), file("/r/app.flatpakref", 1, 1, FileKind::other),
            file("/r/app.snap", 1, 1, FileKind::other), file("/r/Mac.dmg", 1, 1, FileKind::archive),
            file("/r/movie.mkv", 500000000, 1, FileKind::video), file("/r/clip.mkv", 499999999, 1, FileKind::video),
            file("/home/a/Downloads/any.txt", 1, 1), file("/home/a/Downloads2/x.txt", 1, 1)});
    TidyCandidates tidy = store.tidy();

    const auto groups = tidy.sizeDuplicates(100);
    ASSERT_EQ(groups.size(), 2) << "applications never make a group; small files are below the minimum";
    EXPECT_EQ(names(groups.at(0)), (QStringList{"x.bin", "y.bin", "z.bin"}));
    EXPECT_EQ(names(groups.at(1)), (QStringList{"a.jpg", "b.jpg"}));
    for (const char *downloads : {"/home/a/Downloads", "/home/a/Downloads/"}) {
        QStringList cleanup = names(tidy.cleanup(downloads));
        cleanup.sort();
        EXPECT_EQ(cleanup, (QStringList{"Mac.dmg", "One.AppImage", "Screenshot 1.png", "Two.AppImage", "any.txt",
                                        "app.flatpakref", "app.snap", "movie.mkv", "tool.deb", "tool.rpm"}));
    }

    QList<qint64> ids{groups.at(1).at(0).id, groups.at(1).at(1).id};
    for (int i = 0; i < 1200; ++i)
        ids.append(100000 + i); // unknown ids spread the lookup over three slices
    tidy.setFeaturePrint(ids.at(0), QByteArray("\x01\x02\x03", 3));
    tidy.setFeaturePrint(ids.at(1), QByteArray());
    tidy.setDigest(ids.at(0), "beef");
    EXPECT_EQ(tidy.featurePrints(ids), (QHash<qint64, QByteArray>{{ids.at(0), "\x01\x02\x03"}, {ids.at(1), {}}}));
    EXPECT_EQ(store.files().record(ids.at(0))->sha256, "beef");
    EXPECT_TRUE(tidy.featurePrints({}).isEmpty());
}

TEST_F(LibraryTest, StatisticsByKindAndSource)
{
    QList<FileRecord> records{file("/r/b.png", 300, 10, FileKind::image), file("/r/A.pdf", 200, 30),
                              file("/r/c.zip", 100, 20, FileKind::archive), file("/r/d.txt", 50, 0)};
    records[0].sourceID = records[1].sourceID = "gmail";
    records[2].sourceID = "web:files.example";
    upsert(records);
    db->run("INSERT INTO files(path, root, name, ext, kind, size) VALUES('/r/odd', '/r', 'odd', '', 'gadget', 1)");

    const LibraryStats stats = store.stats();
    EXPECT_EQ(stats.kinds().size(), 3) << "the unknown kind is left out";
    EXPECT_TRUE(stats.kinds().contains(KindStat{FileKind::document, 2, 250}));
    EXPECT_EQ(stats.sources(),
              (QList<SourceStat>{{DownloadSource{"gmail"}, 2, 500}, {DownloadSource{"web:files.example"}, 1, 100}}));
    const LibraryStats::Counts counts = stats.counts();
    EXPECT_EQ(std::tuple(counts.files, counts.passages, counts.meetings), std::tuple(5, 4, 0));
}
