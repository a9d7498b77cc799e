// Scanning speed on a generated tree of 100,000 files of mixed kinds
// (TreeGenerator.h): the first scan into an empty library and a rescan with
// nothing changed, in files per second and against
// `find TREE -printf '%s %T@ %p\n'` on the same warm tree in the same run.
// Then contentTyping: the scanner's way of typing files whose names don't
// decide their type (the screen of the MIME databases' rules first) against
// QMimeDatabase's content matching alone, per file, in the same run.
//
//   bench_scan [FILES] [--keep TREE]
//   bench_scan --benchmark_filter=contentTyping    (content typing only)
#include "indexing/FileScanner.h"
#include "platform/FileTypes.h"
#include "platform/SharedMimeInfo.h"
#include "store/IndexStore.h"
#include "TreeGenerator.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <ctime>

#include <sys/resource.h>

namespace {

using TreeGenerator::pdfBytes;
using TreeGenerator::pngBytes;
using TreeGenerator::wavBytes;

// CPU seconds of this process: the machine is shared, so wall time alone
// says little about the program.
double processorSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
        + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

double seconds(const QElapsedTimer &timer)
{
    return double(timer.nsecsElapsed()) / 1e9;
}

double timeFind(const QString &root)
{
    QElapsedTimer timer;
    timer.start();
    QProcess find;
    find.setStandardOutputFile(QProcess::nullDevice());
    find.start(QStringLiteral("find"), {root, QStringLiteral("-printf"), QStringLiteral("%s %T@ %p\\n")});
    find.waitForFinished(-1);
    return seconds(timer);
}

struct ScanResult
{
    qint64 files = 0;
    qint64 removed = 0;
    double seconds = 0;
    double processor = 0;
};

ScanResult scan(IndexStore &store, const QString &root)
{
    QElapsedTimer timer;
    timer.start();
    const double processorStart = processorSeconds();
    const double seenAt = double(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
    FileScanner scanner(&store);
    ScanResult result;
    result.files = scanner.walk(root, FileScanner::defaultBatchSize,
                                [&](const QList<FileRecord> &batch) { store.files().upsert(batch, root, seenAt); });
    result.removed = store.files().reconcile(root, seenAt);
    result.seconds = seconds(timer);
    result.processor = processorSeconds() - processorStart;
    return result;
}

// ---- content typing ----

// A file whose name leaves its type to the content, with its opening bytes.
struct ContentSample
{
    QString name;
    FileTypes::NameMatch match;
    QByteArray head;
};

// Up to a few thousand of the machine's files under /usr/share and /usr/lib
// whose names don't decide their type, at most 20 a folder for variety, and
// generated ones: the kinds of the scan's tree without their extensions,
// random bytes and plain text.
QList<ContentSample> contentSamples()
{
    FileTypes types;
    QList<ContentSample> samples;
    const auto add = [&](const QString &name, const QByteArray &head) {
        const FileTypes::ByName named = types.byName(name);
        if (named.match != FileTypes::NameMatch::decides)
            samples.append({name, named.match, head});
    };
    for (const char *root : {"/usr/share", "/usr/lib"}) {
        QHash<QString, int> perFolder;
        QDirIterator files(QString::fromLatin1(root), QDir::Files | QDir::NoSymLinks, QDirIterator::Subdirectories);
        const qsizetype wanted = samples.size() + 1500;
        while (files.hasNext() && samples.size() < wanted) {
            const QFileInfo info = files.nextFileInfo();
            int &taken = perFolder[info.path()];
            if (taken >= 20)
                continue;
            QFile file(info.filePath());
            if (!file.open(QIODevice::ReadOnly))
                continue;
            const qsizetype before = samples.size();
            add(info.fileName(), file.read(FileTypes::headSize));
            taken += int(samples.size() - before);
        }
    }
    const QList<QByteArray> made{pngBytes(), pdfBytes(), wavBytes(), QByteArray("PK\x05\x06", 4) + QByteArray(18, '\0'),
                                 "{\"a\": 1}\n", QByteArray(256, '\x7f'),
                                 QByteArray("Notes about the quarterly budget and the lease.\n").repeated(40)};
    QRandomGenerator random(7);
    for (int i = 0; i < 500; ++i) {
        QByteArray head = made.value(i % 10);
        if (head.isEmpty()) {
            head.resize(qsizetype(random.bounded(1, int(FileTypes::headSize))));
            for (char &byte : head)
                byte = char(random.bounded(256));
        }
        add(QString::fromLatin1(i % 2 ? "file%1" : "file%1.bin").arg(i), head);
    }
    return samples;
}

double threadSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

// Each iteration types every sample both ways, one after the other, in this
// thread's CPU time; the screen's way starts with an empty memory, as a scan
// does. The two must agree on every file.
void contentTyping(benchmark::State &state)
{
    const QList<ContentSample> samples = contentSamples();
    if (!SharedMimeInfo::MagicScreen::instance().isUsable()) {
        state.SkipWithError("the MIME databases' magic files can't be read");
        return;
    }
    const QMimeDatabase database;
    const auto byLibrary = [&](const ContentSample &sample) {
        return sample.match == FileTypes::NameMatch::several ? database.mimeTypeForFileNameAndData(sample.name, sample.head)
                                                             : database.mimeTypeForData(sample.head);
    };
    qint64 screenedOut = 0;
    for (const ContentSample &sample : samples)
        screenedOut += SharedMimeInfo::MagicScreen::instance().mayMatch(sample.head) ? 0 : 1;

    double screenSeconds = 0, librarySeconds = 0;
    qint64 disagreements = 0;
    for (auto _ : state) {
        FileTypes types;
        QList<QMimeType> ours;
        ours.reserve(samples.size());
        double start = threadSeconds();
        for (const ContentSample &sample : samples)
            ours.append(types.byContent(sample.name, sample.match, sample.head));
        screenSeconds += threadSeconds() - start;

        QList<QMimeType> theirs;
        theirs.reserve(samples.size());
        start = threadSeconds();
        for (const ContentSample &sample : samples)
            theirs.append(byLibrary(sample));
        librarySeconds += threadSeconds() - start;
        for (qsizetype i = 0; i < samples.size(); ++i)
            disagreements += ours.at(i) == theirs.at(i) ? 0 : 1;
    }
    if (disagreements > 0)
        state.SkipWithError("the screen's types differ from the database's");
    const double typed = double(samples.size()) * double(state.iterations());
    const double screenMicroseconds = screenSeconds / typed * 1e6;
    const double libraryMicroseconds = librarySeconds / typed * 1e6;
    state.counters["files"] = double(samples.size());
    state.counters["screened_out_%"] = 100.0 * double(screenedOut) / double(samples.size());
    state.counters["screen_us"] = screenMicroseconds;
    state.counters["library_us"] = libraryMicroseconds;
    state.counters["ratio"] = libraryMicroseconds / screenMicroseconds;
}

BENCHMARK(contentTyping)->Unit(benchmark::kMillisecond)->MinTime(3);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    // With benchmark options, only the benchmarks they pick run.
    const bool benchmarksOnly = app.arguments().join(u' ').contains(QLatin1String("--benchmark_"));
    benchmark::Initialize(&argc, argv);
    if (benchmarksOnly) {
        benchmark::RunSpecifiedBenchmarks();
        benchmark::Shutdown();
        return 0;
    }
    const TreeGenerator::TreeArguments parsed = TreeGenerator::treeArguments(app.arguments().mid(1), 100000);
    const int files = int(parsed.files);
    const QString kept = parsed.kept;

    QTemporaryDir temporary;
    const QString tree = kept.isEmpty() ? temporary.path() + QStringLiteral("/tree") : kept;
    if (!QDir(tree).exists()) {
        std::printf("Generating %d files in %s …\n", files, qPrintable(tree));
        std::fflush(stdout);
        TreeGenerator::generate(tree, files);
    }
    // Warm the caches, then measure the reference.
    timeFind(tree);
    const double findFirst = timeFind(tree);

    auto store = IndexStore::open(QUrl::fromLocalFile(temporary.path() + QStringLiteral("/Library.sqlite")));
    const ScanResult first = scan(*store, tree);
    const double findSecond = timeFind(tree);
    const ScanResult again = scan(*store, tree);
    const double find = std::min(findFirst, findSecond);

    std::printf("find -printf:  %8.3f s  %10.0f files/s\n", find, double(first.files) / find);
    const auto report = [&](const char *label, const ScanResult &r) {
        std::printf("%s %8.3f s  %10.0f files/s  %6.1f× find's time;  CPU %.3f s, %.0f files per CPU second\n",
                    label, r.seconds, double(r.files) / r.seconds, r.seconds / find, r.processor,
                    double(r.files) / r.processor);
    };
    report("first scan:   ", first);
    report("rescan:       ", again);
    std::printf("(%lld files; %lld removed by the rescan)\n\n", qlonglong(first.files), qlonglong(again.removed));
    std::fflush(stdout);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return first.files == again.files && again.removed == 0 ? 0 : 1;
}
