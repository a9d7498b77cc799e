#include "store/IndexStore.h"

#include <QRandomGenerator>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int batchSize = 400;

FileRecord recordFor(int batch, int index)
{
    FileRecord r;
    r.path = QStringLiteral("/library/batch%1/file%2.txt").arg(batch).arg(index);
    r.name = QStringLiteral("file%1.txt").arg(index);
    r.ext = QStringLiteral("txt");
    r.kind = FileKind::document;
    r.size = index;
    r.modified = 1000.0 + batch;
    return r;
}

// In a forked child: writes batch after batch into the library, reporting
// each committed batch on the pipe, until it is killed.
[[noreturn]] void writeUntilKilled(const QString &path, int reportFd, int firstBatch)
{
    try {
        auto store = IndexStore::open(QUrl::fromLocalFile(path));
        for (int batch = firstBatch;; ++batch) {
            QList<FileRecord> records;
            for (int i = 0; i < batchSize; ++i)
                records.append(recordFor(batch, i));
            store->files().upsert(records, QStringLiteral("/library"), batch);
            const char tick = 1;
            if (::write(reportFd, &tick, 1) != 1)
                ::_exit(3);
        }
    } catch (...) {
        ::_exit(2);
    }
}

} // namespace

// A kill at any moment loses at most the batch in flight, and the next open
// finds a consistent library that takes new batches.
TEST(CrashRecovery, AKilledWriterLosesAtMostTheBatchInFlight)
{
    QTemporaryDir dir;
    const QString path = dir.path() + QStringLiteral("/Library.sqlite");
    int committedBefore = 0;

    for (int round = 0; round < 3; ++round) {
        int fds[2];
        ASSERT_EQ(::pipe(fds), 0);
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ::close(fds[0]);
            writeUntilKilled(path, fds[1], 1000 * (round + 1));
        }
        ::close(fds[1]);
        // Let a few batches commit, then kill at a random moment inside the next.
        char tick;
        for (int i = 0; i < 3; ++i)
            ASSERT_EQ(::read(fds[0], &tick, 1), 1) << "the writer stopped early";
        ::usleep(QRandomGenerator::global()->bounded(1000, 30000));
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        int reported = 3;
        while (::read(fds[0], &tick, 1) == 1)
            ++reported;
        ::close(fds[0]);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the writer failed on its own with status " << WEXITSTATUS(status);

        auto store = IndexStore::open(QUrl::fromLocalFile(path));
        SQLiteDatabase db(path);
        EXPECT_EQ(db.scalar(QStringLiteral("PRAGMA integrity_check")), SQLValue(QStringLiteral("ok")));
        db.run(QStringLiteral("INSERT INTO passages(passages) VALUES('integrity-check')"));
        const LibraryStats::Counts counts = store->stats().counts();
        EXPECT_EQ(counts.files % batchSize, 0) << "no batch is half there";
        EXPECT_EQ(counts.passages, counts.files) << "every file has exactly its title row";
        const int committed = int(counts.files / batchSize) - committedBefore;
        EXPECT_GE(committed, reported) << "every reported batch survived";
        EXPECT_LE(committed, reported + 1) << "at most the batch in flight also landed";
        committedBefore = int(counts.files / batchSize);
    }
}
