#include "support/MediaFixtures.h"

#include "support/DocumentFixtures.h"

#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QImageWriter>
#include <QProcess>

namespace MediaFixtures {

namespace {

bool runTool(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForStarted(5000))
        return false;
    process.waitForFinished(60000);
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

} // namespace

bool writeImage(const QString &path, int width, int height, QImageIOHandler::Transformations transformation)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(QColor(40, 120, 200));
    QImageWriter writer(path);
    writer.setTransformation(transformation);
    return writer.write(image);
}

bool writeHeic(const QString &path, int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(QColor(90, 90, 90));
    return DocumentFixtures::writeHeic(path, image);
}

bool writePdf(const QString &path, int pages)
{
    QStringList texts;
    for (int page = 0; page < pages; ++page)
        texts << QStringLiteral("Page %1 of the lease").arg(page + 1);
    DocumentFixtures::writeTextPdf(path, texts);
    return QFileInfo(path).size() > 0;
}

bool writeTone(const QString &path, double seconds)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    return runTool(QStringLiteral("sox"), {QStringLiteral("-n"), QStringLiteral("-r"), QStringLiteral("8000"), path,
                                           QStringLiteral("synth"), QString::number(seconds), QStringLiteral("sine"),
                                           QStringLiteral("440")});
}

bool writeVideo(const QString &path, int width, int height, double seconds)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    return runTool(QStringLiteral("ffmpeg"),
                   {QStringLiteral("-loglevel"), QStringLiteral("quiet"), QStringLiteral("-y"), QStringLiteral("-f"),
                    QStringLiteral("lavfi"), QStringLiteral("-i"),
                    QStringLiteral("testsrc=size=%1x%2:rate=10").arg(width).arg(height), QStringLiteral("-t"),
                    QString::number(seconds), QStringLiteral("-pix_fmt"), QStringLiteral("yuv420p"), path});
}

} // namespace MediaFixtures
