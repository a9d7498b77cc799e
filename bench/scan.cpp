// Scanning speed on a generated tree of 100,000 files of mixed kinds: the
// first scan into an empty library and a rescan with nothing changed, in
// files per second and against `find TREE -printf '%s %T@ %p\n'` on the same
// warm tree in the same run.
//
//   bench_scan [FILES] [--keep TREE]
#include "indexing/FileScanner.h"
#include "store/IndexStore.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>

#include <cstdio>

#include <sys/resource.h>

namespace {

QByteArray pngBytes()
{
    QImage image(64, 48, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

// One page, no text: enough for the page count to be read.
QByteArray pdfBytes()
{
    return "%PDF-1.4\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n"
           "2 0 obj<</Type/Pages/Kids[3 0 R]/Count 1>>endobj\n"
           "3 0 obj<</Type/Page/Parent 2 0 R/MediaBox[0 0 612 792]>>endobj\n"
           "trailer<</Root 1 0 R>>\n%%EOF\n";
}

// A tenth of a second of silence, 8 kHz mono 16-bit.
QByteArray wavBytes()
{
    const quint32 samples = 800;
    QByteArray bytes;
    const auto u32 = [&](quint32 v) { bytes.append(reinterpret_cast<const char *>(&v), 4); };
    const auto u16 = [&](quint16 v) { bytes.append(reinterpret_cast<const char *>(&v), 2); };
    bytes.append("RIFF");
    u32(36 + samples * 2);
    bytes.append("WAVEfmt ");
    u32(16);
    u16(1);
    u16(1);
    u32(8000);
    u32(16000);
    u16(2);
    u16(16);
    bytes.append("data");
    u32(samples * 2);
    bytes.append(QByteArray(samples * 2, '\0'));
    return bytes;
}

void generate(const QString &root, int files)
{
    struct Kind
    {
        const char *extension;
        QByteArray bytes;
    };
    const QList<Kind> kinds{
        {"txt", QByteArray("Notes about the quarterly budget and the lease.\n").repeated(4)},
        {"md", "# Plan\n\n- one\n- two\n"},
        {"png", pngBytes()},
        {"pdf", pdfBytes()},
        {"wav", wavBytes()},
        {"zip", QByteArray("PK\x05\x06", 4) + QByteArray(18, '\0')},
        {"cpp", "int main() { return 0; }\n"},
        {"csv", "a,b,c\n1,2,3\n"},
        {"json", "{\"a\": 1}\n"},
        {"bin", QByteArray(256, '\x7f')},
    };
    // Ten top folders of ten folders of a hundred files each, and so on.
    for (int i = 0; i < files; ++i) {
        const QString folder = QStringLiteral("%1/d%2/e%3").arg(root).arg(i / 10000).arg((i / 100) % 100);
        if (i % 100 == 0)
            QDir().mkpath(folder);
        const Kind &kind = kinds.at(i % kinds.size());
        QFile file(QStringLiteral("%1/file%2.%3").arg(folder).arg(i).arg(QLatin1String(kind.extension)));
        if (file.open(QIODevice::WriteOnly))
            file.write(kind.bytes);
    }
}

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

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    int files = 100000;
    QString kept;
    const QStringList arguments = app.arguments().mid(1);
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        if (arguments.at(i) == QLatin1String("--keep") && i + 1 < arguments.size())
            kept = arguments.at(++i);
        else
            files = arguments.at(i).toInt();
    }

    QTemporaryDir temporary;
    const QString tree = kept.isEmpty() ? temporary.path() + QStringLiteral("/tree") : kept;
    if (!QDir(tree).exists()) {
        std::printf("Generating %d files in %s …\n", files, qPrintable(tree));
        std::fflush(stdout);
        generate(tree, files);
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
    std::printf("(%lld files; %lld removed by the rescan)\n", qlonglong(first.files), qlonglong(again.removed));
    return first.files == again.files && again.removed == 0 ? 0 : 1;
}
