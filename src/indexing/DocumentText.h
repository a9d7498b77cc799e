// The text inside a file: PDFs (their text layer, or OCR of the first pages of
// a scan), images and screenshots by OCR, office and OpenDocument files,
// iWork previews, rich text and old Word files through helper programs, web
// pages, plain text and source code. Stateless; any thread. Every reader has
// a cap, so no file can make it read or hold more than a bounded amount.
#pragma once

#include "store/FileRecord.h"

#include <QString>

#include <optional>

struct ExtractedText
{
    std::optional<QString> text;
    std::optional<qint64> pages;

    friend bool operator==(const ExtractedText &, const ExtractedText &) = default;
};

namespace DocumentText {

constexpr qsizetype maxCharacters = 80'000;
constexpr int maxTextLayerPages = 60;
constexpr int maxScannedPages = 3;
constexpr int scannedTextThreshold = 40;
constexpr int renderedPageLongestSide = 1700;
constexpr qint64 maxPlainTextBytes = 400'000;
constexpr qint64 binaryTestBytes = 4096;
constexpr qint64 maxImageFileBytes = 60'000'000;
constexpr int imageLongestSide = 3000;
constexpr int minImageWidth = 120;
constexpr int minImageHeight = 60;
// Inflated bytes read from the members of one zip container.
constexpr qint64 maxContainerBytes = 64LL * 1024 * 1024;
// Bytes of a preview image taken out of an iWork file.
constexpr qint64 maxPreviewBytes = 32LL * 1024 * 1024;
// Helper programs for rich text and old Word files.
constexpr int helperTimeLimitMs = 20'000;
constexpr qint64 maxHelperOutputBytes = 4LL * 1024 * 1024;

// The text and page count of the record's file. Never throws: any failure
// gives no text.
ExtractedText extractText(const FileRecord &record);

// Which closing tags end a line or write a tab, besides the common ones of
// HTML and the Office formats.
enum class MarkupTags { common, openDocument };

// Turns markup into text: tags go, paragraph and line ends become newlines,
// cell ends and tab tags become tabs, and the usual entities are replaced.
// Feed it in pieces and take the text at the end.
class MarkupStripper
{
public:
    explicit MarkupStripper(MarkupTags tags = MarkupTags::common);
    void feed(QStringView markup);
    // The text written so far, before entities are replaced.
    qsizetype length() const { return m_text.size(); }
    QString finish();

private:
    void closeTag();

    static constexpr qsizetype maxTagPrefix = 32;

    MarkupTags m_tags;
    QString m_text;
    QString m_tag;
    bool m_inTag = false;
};

QString stripMarkup(QStringView markup, MarkupTags tags = MarkupTags::common);

// The first 400,000 bytes of a file as text: nothing when it can't be read,
// is empty, or holds a zero byte in its first 4096 bytes. UTF-8, or ISO
// Latin 1 when the bytes aren't UTF-8.
std::optional<QString> readPlainText(const QString &path);

} // namespace DocumentText
