#include "store/BulkLoad.h"
#include "store/IndexStore.h"
#include "support/RecordFixtures.h"

#include <QRandomGenerator>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

// A kill at any moment loses at most the batch in flight, and the next open
// finds a consistent library, with every index, that takes new batches.
TEST(CrashRecovery, AKilledWriterLosesAtMostTheBatchInFlight)
{
    QTemporaryDir dir;
    const QString path = dir.path() + u"/Library.sqlite"_s;
    qint64 committedBefore = 0;
    constexpr int batchSize = 400;
    // In a forked child: writes batch after batch into the library, reporting
    // each committed batch on the pipe, until it is killed.
    const auto writeUntilKilled = [&](int reportFd, int firstBatch) {
        try {
            auto store = IndexStore::open(QUrl::fromLocalFile(path));
            // The first round loads the empty library in bulk.
            BulkLoad load(*store);
            for (int batch = firstBatch;; ++batch) {
                QList<FileRecord> records(batchSize);
                for (int i = 0; i < batchSize; ++i)
                    records[i] = RecordFixtures::file(u"/library/%1/%2.txt"_s.arg(batch).arg(i), i, 1000.0 + batch);
                store->files().upsert(records, u"/library"_s, batch);
                if (const char tick = 1; ::write(reportFd, &tick, 1) != 1)
                    ::_exit(3);
            }
        } catch (...) {
            ::_exit(2);
        }
    };
    for (int round = 0; round < 3; ++round) {
        int fds[2];
        ASSERT_EQ(::pipe(fds), 0);
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ::close(fds[0]);
            writeUntilKilled(fds[1], 1000 * (round + 1));
        }
        ::close(fds[1]);
        // Let a few batches commit, then kill at a random moment inside the next.
        char tick;
        int reported = 0;
        while (reported < 3 && ::read(fds[0], &tick, 1) == 1)
            ++reported;
        ::usleep(QRandomGenerator::global()->bounded(1000, 30000));
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        while (::read(fds[0], &tick, 1) == 1)
            ++reported;
        ::close(fds[0]);
        ASSERT_TRUE(WIFSIGNALED(status) && reported >= 3) << "the writer stopped on its own: " << WEXITSTATUS(status);

        auto store = IndexStore::open(QUrl::fromLocalFile(path));
        SQLiteDatabase db(path);
        EXPECT_EQ(db.scalar(u"PRAGMA integrity_check"_s), SQLValue(u"ok"_s));
        EXPECT_EQ(store->missingFileIndexes(), QStringList()) << "the open built what a load cut short left out";
        db.run(u"INSERT INTO passages(passages) VALUES('integrity-check')"_s);
        const LibraryStats::Counts counts = store->stats().counts();
        EXPECT_EQ(counts.files % batchSize, 0) << "no batch is half there";
        EXPECT_EQ(counts.passages, counts.files) << "every file has exactly its title row";
        const qint64 committed = counts.files / batchSize - committedBefore;
        EXPECT_TRUE(committed == reported || committed == reported + 1) << "at most the batch in flight also landed";
        committedBefore = counts.files / batchSize;
    }
}
