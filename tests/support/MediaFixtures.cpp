#include "support/MediaFixtures.h"

#include "support/DocumentFixtures.h"

#include <QDir>
#include <QImageWriter>
#include <QProcess>

using namespace Qt::StringLiterals;

namespace MediaFixtures {

namespace {

bool run(const QString &program, const QStringList &arguments, const QString &path)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    return QProcess::execute(program, arguments) == 0;
}

} // namespace

bool writeImage(const QString &path, int width, int height, QImageIOHandler::Transformations transformation)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QImageWriter writer(path);
    writer.setTransformation(transformation);
    return writer.write(DocumentFixtures::textImage({}, QSize(width, height)));
}

bool writeHeic(const QString &path, int width, int height)
{
    return DocumentFixtures::writeHeic(path, DocumentFixtures::textImage({}, QSize(width, height)));
}

bool writePdf(const QString &path, int pages)
{
    QStringList texts;
    for (int page = 1; page <= pages; ++page)
        texts << u"Page %1 of the lease"_s.arg(page);
    DocumentFixtures::writeTextPdf(path, texts);
    return QFileInfo(path).size() > 0;
}

bool writeTone(const QString &path, double seconds)
{
    return run(u"sox"_s, {u"-n"_s, u"-r"_s, u"8000"_s, path, u"synth"_s, QString::number(seconds), u"sine"_s, u"440"_s},
               path);
}

bool writeVideo(const QString &path, int width, int height, double seconds)
{
    return run(u"ffmpeg"_s, {u"-loglevel"_s, u"quiet"_s, u"-y"_s, u"-f"_s, u"lavfi"_s, u"-i"_s,
                             u"testsrc=size=%1x%2:rate=10"_s.arg(width).arg(height), u"-t"_s, QString::number(seconds),
                             u"-pix_fmt"_s, u"yuv420p"_s, path},
               path);
}

} // namespace MediaFixtures
