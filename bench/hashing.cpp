// Hashing throughput of the duplicate scan's file digests against the
// system's sha256sum on the same files in the same run. Prints MB/s for both
// and the ratio (goal: at least 0.9).
#include "tidy/FileDigest.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QString sha256sum = QStandardPaths::findExecutable(QStringLiteral("sha256sum"));
    if (sha256sum.isEmpty()) {
        std::fprintf(stderr, "sha256sum is not installed\n");
        return 1;
    }
    // 8 files of 48 MiB: big enough to measure, small enough to stay cached.
    constexpr int fileCount = 8;
    constexpr qint64 fileSize = qint64(48) << 20;
    QTemporaryDir folder;
    QStringList paths;
    QByteArray block(1 << 20, Qt::Uninitialized);
    for (int i = 0; i < fileCount; ++i) {
        const QString path = folder.filePath(QStringLiteral("file-%1.bin").arg(i));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            return 1;
        for (qint64 written = 0; written < fileSize; written += block.size()) {
            QRandomGenerator::global()->fillRange(reinterpret_cast<quint32 *>(block.data()), block.size() / 4);
            file.write(block);
        }
        paths.append(path);
    }
    const double megabytes = double(fileCount) * double(fileSize) / 1e6;

    const auto timeOurs = [&] {
        QElapsedTimer timer;
        timer.start();
        for (const QString &path : paths) {
            if (!FileDigest::sha256(path))
                std::fprintf(stderr, "could not hash %s\n", qPrintable(path));
        }
        return timer.nsecsElapsed() / 1e9;
    };
    const auto timeReference = [&] {
        QElapsedTimer timer;
        timer.start();
        QProcess process;
        process.start(sha256sum, paths);
        process.waitForFinished(-1);
        return timer.nsecsElapsed() / 1e9;
    };

    // Warm the page cache, then take the best of five runs of each, interleaved.
    timeOurs();
    timeReference();
    double ours = 1e9;
    double reference = 1e9;
    for (int round = 0; round < 5; ++round) {
        ours = std::min(ours, timeOurs());
        reference = std::min(reference, timeReference());
    }
    std::printf("hashing %.0f MB in %d files (best of 5, page cache warm)\n", megabytes, fileCount);
    std::printf("  larder    %8.1f MB/s\n", megabytes / ours);
    std::printf("  sha256sum %8.1f MB/s\n", megabytes / reference);
    std::printf("  ratio     %8.2f (goal >= 0.90)\n", reference / ours);
    return 0;
}
