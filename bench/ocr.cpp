// OCR of 20 generated screenshots, against the tesseract command on the same
// images in the same run. Larder's side goes through one extraction worker
// process, as indexing does. Both run with one OCR thread (OMP_THREAD_LIMIT=1),
// as each extraction slot does. Prints both times and the ratio (goal:
// within 1.2 times the command's time).
#include "indexing/ExtractionWorker.h"
#include "platform/ChildProcess.h"

#include "support/DocumentFixtures.h"

#include <QElapsedTimer>
#include <QFileInfo>
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
    QStringList paths;
    for (int i = 0; i < imageCount; ++i) {
        paths << dir.filePath(QStringLiteral("Screenshot from 2026-03-%1.png").arg(i + 1, 2, 10, QLatin1Char('0')));
        DocumentFixtures::writeImage(paths.last(), DocumentFixtures::textImage(linesOf(i), QSize(1440, 900), 26));
    }

    QElapsedTimer timer;
    timer.start();
    qint64 referenceWords = 0;
    for (const QString &path : std::as_const(paths)) {
        ChildProcess::Setup setup;
        setup.program = QStringLiteral("tesseract");
        setup.arguments = {path, QStringLiteral("stdout")};
        setup.environment = {QStringLiteral("OMP_THREAD_LIMIT=1")};
        const auto output = ChildProcess::output(setup, std::chrono::seconds(60), 16 * 1024 * 1024);
        if (!output) {
            std::fprintf(stderr, "tesseract failed on %s\n", qPrintable(path));
            return 1;
        }
        referenceWords += wordCount(QString::fromUtf8(*output));
    }
    const double reference = timer.nsecsElapsed() / 1e9;

    ExtractionWorker::Options options;
    options.program = QStringLiteral(LARDER_BINARY);
    ExtractionWorker worker(options);
    timer.restart();
    qint64 words = 0;
    for (const QString &path : std::as_const(paths)) {
        FileRecord record;
        record.path = path;
        record.name = QFileInfo(path).fileName();
        record.ext = QStringLiteral("png");
        record.kind = FileKind::image;
        record.size = QFileInfo(path).size();
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
    std::printf("  tesseract command:      %7.3f s  (%lld words)\n", reference, static_cast<long long>(referenceWords));
    std::printf("  larder (worker process): %7.3f s  (%lld words)\n", larder, static_cast<long long>(words));
    std::printf("  ratio larder / tesseract: %.2f (goal: 1.2 or less)\n", larder / reference);
    return 0;
}
