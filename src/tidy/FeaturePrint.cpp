#include "tidy/FeaturePrint.h"

#include "platform/ImageLoader.h"
#include "tidy/PhotoRules.h"

#include <QtMath>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>

namespace FeaturePrint {

namespace {

// The picture is reduced to a 32×32 luminance grid, squashed to a square, and
// described by the lowest spatial frequencies of its cosine transform: the
// coefficients (u, v) with u + v < 8, without the constant term. Dropping the
// constant term and scaling the vector to unit length makes the print blind
// to brightness and contrast; keeping only the coarse frequencies makes it
// blind to resampling, recompression and small crops, while the layout of
// light and dark that tells two photos apart survives. Measured on real
// photos, near-duplicates stay below 0.40 and different photos above 0.64,
// around the grouping threshold of 0.45.
//
// Luminance alone can't tell apart two drawn gradients of the same design in
// different tints, or a smooth wallpaper from a hazy photo, so the print ends
// with the colour of each quarter of the picture: its chromaticity (the
// shares of red and green in the light) away from grey. Those eight numbers
// are scaled to a fixed length, so that a veil of white or black, which
// moves every colour towards grey or not at all, leaves them nearly as they
// are, while a change of tint turns them. Measured on the pictures of this
// machine, a weight of 2 keeps every tinted wallpaper apart and every
// brightened, resized or recompressed photo together; 1.2 lets tints join,
// 3 splits brightened copies.
constexpr int gridSide = 32;
constexpr int colourQuarters = 4;
constexpr int colourTerms = 2 * colourQuarters;
constexpr double colourWeight = 2.0;
// Below this distance from grey, colours are noise and aren't magnified.
constexpr double colourFloor = 0.05;
constexpr int bandLimit = 8;
constexpr int coefficientCount = bandLimit * (bandLimit + 1) / 2 - 1;
constexpr int printLength = coefficientCount + colourTerms;
// Large enough for the scaled JPEG decode to do most of the reduction.
constexpr int decodeSide = 256;
static_assert(decodeSide >= PhotoRules::minimumSide, "a decoded photo must not look tiny");

// Marks prints made since pictures that aren't photos get an empty print.
constexpr char revisionTag[] = "FP3:";
constexpr qsizetype revisionTagSize = sizeof(revisionTag) - 1;

using Grid = std::array<double, gridSide * gridSide>;
using Colours = std::array<double, colourTerms>;

// cosines[u][x] = cos(pi * (2x + 1) * u / 2N)
const std::array<std::array<double, gridSide>, bandLimit> &cosines()
{
    static const auto table = [] {
        std::array<std::array<double, gridSide>, bandLimit> t{};
        for (int u = 0; u < bandLimit; ++u) {
            for (int x = 0; x < gridSide; ++x)
                t[u][x] = std::cos(M_PI * (2 * x + 1) * u / (2.0 * gridSide));
        }
        return t;
    }();
    return table;
}

QImage smallImage(const QImage &image)
{
    return image.convertToFormat(QImage::Format_RGB32)
        .scaled(gridSide, gridSide, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

Grid luminanceGrid(const QImage &small)
{
    Grid grid{};
    for (int y = 0; y < gridSide; ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(small.constScanLine(y));
        for (int x = 0; x < gridSide; ++x)
            grid[y * gridSide + x] = 0.299 * qRed(line[x]) + 0.587 * qGreen(line[x]) + 0.114 * qBlue(line[x]);
    }
    return grid;
}

// The red and green shares of each quarter's light, less a grey's third.
Colours quarterColours(const QImage &small)
{
    constexpr int half = gridSide / 2;
    std::array<std::array<double, 3>, colourQuarters> sums{};
    for (int y = 0; y < gridSide; ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(small.constScanLine(y));
        for (int x = 0; x < gridSide; ++x) {
            auto &sum = sums[(y / half) * 2 + x / half];
            sum[0] += qRed(line[x]);
            sum[1] += qGreen(line[x]);
            sum[2] += qBlue(line[x]);
        }
    }
    Colours colours{};
    for (int quarter = 0; quarter < colourQuarters; ++quarter) {
        const auto &sum = sums[quarter];
        const double light = sum[0] + sum[1] + sum[2];
        if (light <= 0)
            continue; // black is as grey as it gets
        colours[2 * quarter] = sum[0] / light - 1.0 / 3;
        colours[2 * quarter + 1] = sum[1] / light - 1.0 / 3;
    }
    double norm = 0;
    for (double c : colours)
        norm += c * c;
    const double scale = colourWeight / std::max(std::sqrt(norm), colourFloor);
    for (double &c : colours)
        c *= scale;
    return colours;
}

} // namespace

int length()
{
    return printLength;
}

std::optional<Vector> compute(const QImage &image)
{
    if (image.isNull() || image.width() < 2 || image.height() < 2)
        return std::nullopt;
    const QImage small = smallImage(image);
    const Grid grid = luminanceGrid(small);
    const auto &cos = cosines();

    // Separable transform: rows first (down to the band), then columns.
    std::array<std::array<double, gridSide>, bandLimit> rows{};
    for (int v = 0; v < bandLimit; ++v) {
        for (int y = 0; y < gridSide; ++y) {
            double sum = 0;
            for (int x = 0; x < gridSide; ++x)
                sum += grid[y * gridSide + x] * cos[v][x];
            rows[v][y] = sum;
        }
    }
    std::array<double, coefficientCount> coefficients{};
    int index = 0;
    for (int u = 0; u < bandLimit; ++u) {
        for (int v = 0; u + v < bandLimit; ++v) {
            if (u == 0 && v == 0)
                continue;
            double sum = 0;
            for (int y = 0; y < gridSide; ++y)
                sum += rows[v][y] * cos[u][y];
            coefficients[index++] = sum;
        }
    }

    double norm = 0;
    for (double c : coefficients)
        norm += c * c;
    norm = std::sqrt(norm);
    // A flat picture has no layout to compare.
    if (!(norm > 1e-6))
        return std::nullopt;
    Vector print;
    print.reserve(printLength);
    for (double c : coefficients)
        print.append(float(c / norm));
    for (double c : quarterColours(small))
        print.append(float(c));
    return print;
}

std::optional<Vector> compute(const QString &path)
{
    const QImage image = ImageLoader::bounded(path, decodeSide);
    if (image.isNull())
        return std::nullopt;
    if (!PhotoRules::looksLikePhoto(image))
        return Vector();
    return compute(image).value_or(Vector());
}

float distance(const float *a, const float *b, qsizetype length)
{
    if (length <= 0)
        return std::numeric_limits<float>::infinity();
    float sum = 0;
    for (qsizetype i = 0; i < length; ++i) {
        const float d = a[i] - b[i];
        sum += d * d;
    }
    return std::sqrt(sum);
}

float distance(const Vector &a, const Vector &b)
{
    if (a.size() != b.size())
        return std::numeric_limits<float>::infinity();
    return distance(a.constData(), b.constData(), a.size());
}

QByteArray encode(const Vector &print)
{
    return QByteArray(revisionTag, revisionTagSize)
        + QByteArray(reinterpret_cast<const char *>(print.constData()), print.size() * qsizetype(sizeof(float)));
}

std::optional<Vector> decode(const QByteArray &bytes)
{
    if (!bytes.startsWith(revisionTag))
        return std::nullopt;
    const QByteArray floats = bytes.sliced(revisionTagSize);
    if (floats.size() % qsizetype(sizeof(float)) != 0)
        return std::nullopt;
    Vector print(floats.size() / qsizetype(sizeof(float)));
    std::memcpy(print.data(), floats.constData(), size_t(floats.size()));
    return print;
}

} // namespace FeaturePrint
