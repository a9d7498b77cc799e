// Peak memory of `larder index` over a generated tree of mixed files (by
// default 10,000): text and source files, web pages, PDFs with a text layer,
// Word documents, small pictures and a few screenshots with text, archives
// and binary files. The goal is a peak under 300 MB for the larder process.
//
// The larder process's own peak is its VmHWM, sampled from /proc every 50 ms
// while it runs; wait4() gives the largest peak among larder and its text
// worker processes.
//
//   bench_index_memory [FILES] [--keep TREE]
#include "support/DocumentFixtures.h"

#include <QGuiApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <cstdio>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr double goalMegabytes = 300;

const char *const words[] = {"ledger",  "harbour", "invoice", "lantern", "orchard", "quartz", "meadow",
                             "copper",  "thimble", "voyage",  "saffron", "granite", "willow", "ember",
                             "cobalt",  "parsley", "tundra",  "velvet",  "walnut",  "zephyr"};

QByteArray prose(QRandomGenerator &random, int bytes)
{
    QByteArray text;
    text.reserve(bytes + 16);
    while (text.size() < bytes) {
        text += words[random.bounded(int(std::size(words)))];
        text += random.bounded(12) == 0 ? ".\n" : " ";
    }
    return text;
}

void write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(bytes);
}

// Fills tree with count files in folders of 100.
void generate(const QString &tree, int count)
{
    QRandomGenerator random(42);
    const QString samples = tree + QStringLiteral("/.samples");
    QDir().mkpath(samples);
    // A few distinct documents, copied many times under other names.
    QStringList pdfs, docxs;
    for (int i = 0; i < 20; ++i) {
        const QString pdf = samples + QStringLiteral("/s%1.pdf").arg(i);
        QStringList pages;
        for (int p = 0; p < 1 + i % 4; ++p)
            pages << QString::fromLatin1(prose(random, 1500));
        DocumentFixtures::writeTextPdf(pdf, pages);
        pdfs << pdf;
        const QString docx = samples + QStringLiteral("/s%1.docx").arg(i);
        DocumentFixtures::writeDocx(docx, {QString::fromLatin1(prose(random, 3000))});
        docxs << docx;
    }
    QImage small(64, 48, QImage::Format_RGB32);
    small.fill(Qt::darkCyan);

    for (int i = 0; i < count; ++i) {
        const QString folder = tree + QStringLiteral("/folder%1").arg(i / 100);
        if (i % 100 == 0)
            QDir().mkpath(folder);
        const QString base = folder + QStringLiteral("/file%1").arg(i);
        const int slot = i % 20;
        if (slot < 8) {
            const char *ext = slot < 4 ? ".txt" : slot < 6 ? ".md" : ".cpp";
            write(base + QLatin1String(ext), prose(random, 200 + random.bounded(40000)));
        } else if (slot < 10) {
            write(base + QStringLiteral(".html"),
                  "<html><body><p>" + prose(random, 500 + random.bounded(20000)) + "</p></body></html>");
        } else if (slot < 12) {
            QFile::copy(pdfs.at(random.bounded(int(pdfs.size()))), base + QStringLiteral(".pdf"));
        } else if (slot == 12) {
            QFile::copy(docxs.at(random.bounded(int(docxs.size()))), base + QStringLiteral(".docx"));
        } else if (slot < 16) {
            if (i % 500 == 13) // about 20 screenshots over 10,000 files, read by OCR
                DocumentFixtures::writeImage(
                    folder + QStringLiteral("/Screenshot from 2024-05-%1.png").arg(i),
                    DocumentFixtures::textImage({QString::fromLatin1(prose(random, 40)).trimmed()}, QSize(900, 200)));
            else
                small.save(base + QStringLiteral(".png"));
        } else if (slot < 18) {
            QByteArray bytes(1000 + random.bounded(50000), Qt::Uninitialized);
            random.fillRange(reinterpret_cast<quint32 *>(bytes.data()), bytes.size() / 4);
            write(base + QStringLiteral(".bin"), bytes);
        } else {
            DocumentFixtures::writeZip(base + QStringLiteral(".zip"),
                                       {{QStringLiteral("a.txt"), prose(random, 2000)}});
        }
    }
    QDir(samples).removeRecursively();
}

long vmHighWaterKilobytes(pid_t pid)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toLong();
    }
    return -1;
}

} // namespace

int main(int argc, char **argv)
{
    // The PDFs and screenshots are drawn with Qt's painters, which need fonts.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    int count = 10000;
    QString kept;
    const QStringList arguments = app.arguments();
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        if (arguments.at(i) == QLatin1String("--keep") && i + 1 < arguments.size())
            kept = arguments.at(++i);
        else
            count = std::max(1, arguments.at(i).toInt());
    }
    QTemporaryDir scratch(QDir::tempPath() + QStringLiteral("/larder-bench-XXXXXX"));
    const QString tree = kept.isEmpty() ? scratch.path() + QStringLiteral("/tree") : kept;
    QElapsedTimer timer;
    if (!QDir(tree).exists()) {
        timer.start();
        QDir().mkpath(tree);
        generate(tree, count);
        std::printf("generated %d files in %.1f s\n", count, timer.nsecsElapsed() / 1e9);
    }
    const QByteArray database = QFile::encodeName(scratch.path() + QStringLiteral("/Library.sqlite"));
    const QByteArray program = LARDER_BINARY;
    const QByteArray roots = QFile::encodeName(tree);

    timer.start();
    const pid_t child = ::fork();
    if (child == 0) {
        ::setenv("XDG_STATE_HOME", (scratch.path() + QStringLiteral("/state")).toLocal8Bit().constData(), 1);
        const int null = ::open("/dev/null", O_WRONLY);
        ::dup2(null, STDOUT_FILENO);
        ::execl(program.constData(), program.constData(), "index", "--roots", roots.constData(), "--database",
                database.constData(), static_cast<char *>(nullptr));
        ::_exit(127);
    }
    long ownPeak = 0;
    int status = 0;
    struct rusage usage = {};
    for (;;) {
        const pid_t done = ::wait4(child, &status, WNOHANG, &usage);
        if (done == child)
            break;
        ownPeak = std::max(ownPeak, vmHighWaterKilobytes(child));
        ::usleep(50000);
    }
    const double seconds = timer.nsecsElapsed() / 1e9;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::fprintf(stderr, "larder index failed (status %d)\n", status);
        return 1;
    }
    const double ownMegabytes = ownPeak / 1024.0;
    const double anyMegabytes = usage.ru_maxrss / 1024.0;
    std::printf("larder index over %d files: %.1f s, %.0f files/s\n", count, seconds, count / seconds);
    std::printf("peak memory of larder:                    %.1f MB (goal %.0f MB, ratio %.2f)\n", ownMegabytes,
                goalMegabytes, ownMegabytes / goalMegabytes);
    std::printf("largest peak of larder and its workers:   %.1f MB (ratio %.2f)\n", anyMegabytes,
                anyMegabytes / goalMegabytes);
    return ownMegabytes < goalMegabytes ? 0 : 1;
}
