#include "tidy/PhotoRules.h"

#include <QSet>

#include <algorithm>
#include <functional>
#include <vector>

namespace PhotoRules {

namespace {

// Colours are counted at 5 bits a channel, so that the noise of JPEG
// compression doesn't turn one flat colour into many.
constexpr int colourBits = 5;
// In a drawing, a screenshot or a page a handful of flat colours cover
// nearly all of the picture; a photo needs more, even of wood or of sky.
// Measured at 256 pixels: text pages, charts and screenshots need 1 to 14
// colours for 95 % of their pixels (at 5 bits a channel), nature photos 29
// and up, and a dimmed photo of wood keeps more than 16.
constexpr double coveredShare = 0.95;
constexpr int drawingColours = 16;

bool hasTransparency(const QImage &image)
{
    if (!image.hasAlphaChannel())
        return false;
    const QImage pixels = image.convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < pixels.height(); ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(pixels.constScanLine(y));
        if (std::any_of(line, line + pixels.width(), [](QRgb pixel) { return qAlpha(pixel) < 255; }))
            return true;
    }
    return false;
}

// How many colours it takes to cover coveredShare of the pixels.
int coveringColours(const QImage &image)
{
    const QImage pixels = image.convertToFormat(QImage::Format_RGB32);
    constexpr int shift = 8 - colourBits;
    std::vector<qint64> counts(1 << (3 * colourBits), 0);
    for (int y = 0; y < pixels.height(); ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(pixels.constScanLine(y));
        for (int x = 0; x < pixels.width(); ++x) {
            const QRgb p = line[x];
            ++counts[((qRed(p) >> shift) << (2 * colourBits)) | ((qGreen(p) >> shift) << colourBits) | (qBlue(p) >> shift)];
        }
    }
    std::sort(counts.begin(), counts.end(), std::greater<>());
    const double wanted = coveredShare * double(qint64(pixels.width()) * pixels.height());
    qint64 covered = 0;
    int colours = 0;
    while (colours < int(counts.size()) && double(covered) < wanted)
        covered += counts[size_t(colours++)];
    return colours;
}

} // namespace

bool mayBePhoto(const FileRecord &record)
{
    static const QSet<QString> drawnFormats{QStringLiteral("svg"), QStringLiteral("gif"), QStringLiteral("ico"),
                                            QStringLiteral("icns")};
    if (record.kind != FileKind::image || record.path.isEmpty() || drawnFormats.contains(record.ext))
        return false;
    // Screenshots look alike by nature and would fill the list.
    if (record.isScreenshot)
        return false;
    if (record.path.contains(QLatin1String("/icons/"), Qt::CaseInsensitive) || record.path.contains(QLatin1String("/.icons/")))
        return false;
    return !record.width || !record.height || std::max(*record.width, *record.height) >= minimumSide;
}

bool looksLikePhoto(const QImage &image)
{
    if (image.isNull() || std::max(image.width(), image.height()) < minimumSide)
        return false;
    return !hasTransparency(image) && coveringColours(image) > drawingColours;
}

} // namespace PhotoRules
