// A PDF read with poppler: lock state, page count, the text layer of a page,
// and a page rendered on white for OCR. Poppler's own complaints about broken
// files are silenced.
#pragma once

#include <QImage>
#include <QString>

#include <memory>

namespace poppler {
class document;
}

class PdfDocument
{
public:
    explicit PdfDocument(const QString &path);
    ~PdfDocument();
    PdfDocument(const PdfDocument &) = delete;
    PdfDocument &operator=(const PdfDocument &) = delete;

    bool isOpen() const { return m_document != nullptr; }
    // Encrypted with a password we don't have: the pages can't be read.
    bool isLocked() const;
    // 0 for a locked document, whose pages can't be read.
    int pageCount() const;

    // The page's text in reading order; empty when the page has none.
    QString pageText(int index) const;
    // The page drawn so that its longer side is longestSide pixels, on white.
    // Its resolution is set to the scale it was drawn at. A null image when
    // the page is missing or its media box is empty.
    QImage renderPage(int index, int longestSide) const;

private:
    std::unique_ptr<poppler::document> m_document;
};
