// OCR of 20 generated screenshots, against the tesseract command on the same
// images in the same run. Larder's side goes through one extraction worker
// process, as indexing does. Both run with one OCR thread (OMP_THREAD_LIMIT=1),
// as each extraction slot does. Prints both times and the ratio (goal:
// within 1.2 times the command's time).
#include "BenchSupport.h"

#include "support/DocumentFixtures.h"

#include <QGuiApplication>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <cstdio>

namespace {

constexpr int imageCount = 20;

QStringList linesOf(int image)
{
    return {QStringLiteral("Inbox (%1) - Project Larder").arg(image + 3),
            QStringLiteral("From: Alex Morgan  Subject: Invoice %1 for March").arg(1000 + image),
            QStringLiteral("Please find attached the signed lease and the receipt."),
            QStringLiteral("The meeting moved to Thursday at half past two."),
            QStringLiteral("Reply   Forward   Archive   Delete"),
            QStringLiteral("Total due: %1.50 GBP before the end of the month").arg(40 + image)};
}

qint64 wordCount(const QString &text)
{
    return text.split(QRegularExpression(QStringLiteral("\\s+"), QRegularExpression::UseUnicodePropertiesOption),
                      Qt::SkipEmptyParts)
        .size();
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QTemporaryDir dir;
    const QStringList paths = DocumentFixtures::makeFiles(
        dir.path(), imageCount,
        [](int i) { return QStringLiteral("Screenshot from 2026-03-%1.png").arg(i + 1, 2, 10, QLatin1Char('0')); },
        [](const QString &path, int i) {
            DocumentFixtures::writeImage(path, DocumentFixtures::textImage(linesOf(i), QSize(1440, 900), 26));
        });

    const auto reference = BenchSupport::runReference(
        QStringLiteral("tesseract"), [](const QString &path) { return QStringList{path, QStringLiteral("stdout")}; },
        paths, {QStringLiteral("OMP_THREAD_LIMIT=1")});
    if (!reference)
        return 1;
    qint64 referenceWords = 0;
    for (const QString &output : reference->outputs)
        referenceWords += wordCount(output);

    ExtractionWorker worker(BenchSupport::workerOptions());
    QElapsedTimer timer;
    timer.start();
    qint64 words = 0;
    for (const QString &path : std::as_const(paths)) {
        FileRecord record = DocumentFixtures::recordOf(path, FileKind::image);
        record.isScreenshot = true;
        const ExtractionWorker::Result result = worker.extract(record);
        if (result.outcome != ExtractionWorker::Outcome::extracted || !result.content.text) {
            std::fprintf(stderr, "no text from %s\n", qPrintable(path));
            return 1;
        }
        words += wordCount(*result.content.text);
    }
    const double larder = timer.nsecsElapsed() / 1e9;

    std::printf("OCR of %d screenshots (1440 x 900)\n", imageCount);
    std::printf("  tesseract command:      %7.3f s  (%lld words)\n", reference->seconds, static_cast<long long>(referenceWords));
    std::printf("  larder (worker process): %7.3f s  (%lld words)\n", larder, static_cast<long long>(words));
    std::printf("  ratio larder / tesseract: %.2f (goal: 1.2 or less)\n", larder / reference->seconds);
    return 0;
}
