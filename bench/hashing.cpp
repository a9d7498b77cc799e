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
#include <sys/resource.h>

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

    // CPU seconds (user and system) of this process or of its finished
    // children: on a machine shared with other work, wall time mostly
    // measures the neighbours.
    const auto cpuSeconds = [](int who) {
        rusage usage{};
        getrusage(who, &usage);
        return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
            + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    };
    struct Timing
    {
        double wall = 0;
        double cpu = 0;
    };

    const auto timeOurs = [&] {
        QElapsedTimer timer;
        timer.start();
        const double cpu = cpuSeconds(RUSAGE_SELF);
        for (const QString &path : paths) {
            if (!FileDigest::sha256(path))
                std::fprintf(stderr, "could not hash %s\n", qPrintable(path));
        }
        return Timing{timer.nsecsElapsed() / 1e9, cpuSeconds(RUSAGE_SELF) - cpu};
    };
    const auto timeReference = [&] {
        QElapsedTimer timer;
        timer.start();
        const double cpu = cpuSeconds(RUSAGE_CHILDREN);
        QProcess process;
        process.start(sha256sum, paths);
        process.waitForFinished(-1);
        return Timing{timer.nsecsElapsed() / 1e9, cpuSeconds(RUSAGE_CHILDREN) - cpu};
    };

    // Warm the page cache, then take the best of five runs of each, interleaved.
    timeOurs();
    timeReference();
    Timing ours{1e9, 1e9};
    Timing reference{1e9, 1e9};
    for (int round = 0; round < 5; ++round) {
        const Timing a = timeOurs();
        const Timing b = timeReference();
        ours = {std::min(ours.wall, a.wall), std::min(ours.cpu, a.cpu)};
        reference = {std::min(reference.wall, b.wall), std::min(reference.cpu, b.cpu)};
    }
    std::printf("hashing %.0f MB in %d files (best of 5, page cache warm)\n", megabytes, fileCount);
    std::printf("              wall MB/s   CPU MB/s\n");
    std::printf("  larder      %9.1f  %9.1f\n", megabytes / ours.wall, megabytes / ours.cpu);
    std::printf("  sha256sum   %9.1f  %9.1f\n", megabytes / reference.wall, megabytes / reference.cpu);
    std::printf("  ratio       %9.2f  %9.2f (goal >= 0.90)\n", reference.wall / ours.wall, reference.cpu / ours.cpu);
    return 0;
}
