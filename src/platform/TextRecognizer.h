// OCR with Tesseract 5 and its English model. One engine per thread, made on
// first use, since loading the model costs far more than one page.
#pragma once

#include <QImage>
#include <QString>

enum class RecognitionLevel {
    // The image as it is, with the dictionary: screenshots, PNGs, scans.
    accurate,
    // A smaller copy of the image: photos, where text is large if present.
    fast,
};

namespace TextRecognizer {

// Longest side of the copy that the fast level reads.
constexpr int fastLongestSide = 1600;
// Tesseract's line confidence, 0 to 100, that a line must pass to be kept.
constexpr float lineConfidenceThreshold = 30.0f;

// The recognised lines joined with "\n", in reading order; empty when no
// line passes the confidence threshold or the engine can't start.
// dotsPerInch tells the engine the image's scale, when known.
QString recognize(const QImage &image, RecognitionLevel level, int dotsPerInch = 70);

} // namespace TextRecognizer
