// Text extraction of 200 generated PDFs with a text layer, against pdftotext
// on the same files in the same run. Larder's side goes the way indexing
// goes: through one extraction worker process, with the text written to a
// library on disk as passages. Prints both times and the ratio (goal: within
// 1.5 times pdftotext's time).
#include "indexing/DocumentText.h"
#include "store/PassageChunker.h"
#include "BenchSupport.h"
#include "store/IndexStore.h"

#include "support/DocumentFixtures.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QTemporaryDir>
#include <QUrl>

#include <cstdio>

namespace {

constexpr int fileCount = 200;

QStringList pagesOf(int file)
{
    static const QString paragraph = QStringLiteral(
        "The harbour authority met on Tuesday to review the ferry timetable, the cost of dredging the "
        "eastern channel and the plans for a new footbridge. Members asked for a survey of the quay wall "
        "before the winter storms, and for the fishing cooperative to be consulted on berth fees. ");
    QStringList pages;
    for (int page = 0; page < 3; ++page)
        pages << QStringLiteral("Report %1, page %2. ").arg(file).arg(page + 1) + paragraph.repeated(4);
    return pages;
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QTemporaryDir dir;
    const QStringList paths = DocumentFixtures::makeFiles(
        dir.path(), fileCount, [](int i) { return QStringLiteral("report-%1.pdf").arg(i); },
        [](const QString &path, int i) { DocumentFixtures::writeTextPdf(path, pagesOf(i)); });

    // pdftotext, one process per file as a shell loop would run it.
    const auto reference = BenchSupport::runReference(
        QStringLiteral("pdftotext"),
        [](const QString &path) {
            return QStringList{QStringLiteral("-enc"), QStringLiteral("UTF-8"), path, QStringLiteral("-")};
        },
        paths);
    if (!reference)
        return 1;
    qint64 referenceCharacters = 0;
    for (const QString &output : reference->outputs)
        referenceCharacters += output.size();

    // Larder: the worker process, then the passages written to the library.
    const auto store = IndexStore::open(QUrl::fromLocalFile(dir.filePath(QStringLiteral("Library.sqlite"))));
    ExtractionWorker worker(BenchSupport::workerOptions());
    QElapsedTimer timer;
    timer.start();
    qint64 characters = 0;
    for (int i = 0; i < fileCount; ++i) {
        const FileRecord record = DocumentFixtures::recordOf(paths.at(i), FileKind::document);
        const ExtractionWorker::Result result = worker.extract(record);
        if (result.outcome != ExtractionWorker::Outcome::extracted || !result.content.text) {
            std::fprintf(stderr, "no text from %s\n", qPrintable(record.path));
            return 1;
        }
        characters += result.content.text->size();
        store->transaction([&] {
            store->passages().setPassages(QStringLiteral("file"), QString::number(i + 1), record.name,
                                          splitIntoPassages(*result.content.text));
        });
    }
    const double larder = timer.nsecsElapsed() / 1e9;

    // The same extraction in this process, without a worker or the library.
    timer.restart();
    for (const QString &path : std::as_const(paths))
        DocumentText::extractText(DocumentFixtures::recordOf(path, FileKind::document));
    const double inProcess = timer.nsecsElapsed() / 1e9;

    std::printf("PDF text of %d files (3 pages each)\n", fileCount);
    std::printf("  pdftotext:                      %7.3f s  (%lld characters)\n", reference->seconds,
                static_cast<long long>(referenceCharacters));
    std::printf("  larder (worker + library write): %7.3f s  (%lld characters)\n", larder,
                static_cast<long long>(characters));
    std::printf("  larder readers alone, in process: %6.3f s\n", inProcess);
    std::printf("  ratio larder / pdftotext: %.2f (goal: 1.5 or less)\n", larder / reference->seconds);
    return 0;
}
