#include "indexing/DocumentText.h"

#include "platform/ChildProcess.h"
#include "platform/ImageLoader.h"
#include "platform/PdfDocument.h"
#include "platform/QuietOpen.h"
#include "platform/TextRecognizer.h"
#include "platform/ZipArchive.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QStringDecoder>

#include <algorithm>
#include <cerrno>
#include <utility>
#include <fcntl.h>
#include <unistd.h>

namespace DocumentText {

// ---- markup ----

MarkupStripper::MarkupStripper(MarkupTags tags)
    : m_tags(tags)
{
}

void MarkupStripper::feed(QStringView markup)
{
    for (const QChar c : markup) {
        if (!m_inTag) {
            if (c == u'<')
                m_inTag = true;
            else
                m_text.append(c);
        } else if (c == u'>') {
            closeTag();
        } else if (m_tag.size() < maxTagPrefix) {
            // Only the start of a tag decides what it writes.
            m_tag.append(c);
        }
    }
}

void MarkupStripper::closeTag()
{
    static const QLatin1String lineEnds[] = {QLatin1String("/w:p"), QLatin1String("/a:p"), QLatin1String("/si"),
                                             QLatin1String("/p"),   QLatin1String("br"),   QLatin1String("/div"),
                                             QLatin1String("/li"),  QLatin1String("/tr"),  QLatin1String("/h")};
    static const QLatin1String tabs[] = {QLatin1String("/td"), QLatin1String("w:tab")};
    static const QLatin1String documentLineEnds[] = {QLatin1String("/text:p"), QLatin1String("/text:h"),
                                                     QLatin1String("text:line-break")};
    static const QLatin1String documentTabs[] = {QLatin1String("text:tab")};

    const auto startsWithAny = [this](const auto &prefixes) {
        return std::any_of(std::begin(prefixes), std::end(prefixes), [this](QLatin1String prefix) {
            return m_tag.startsWith(prefix, Qt::CaseInsensitive);
        });
    };
    const bool openDocument = m_tags == MarkupTags::openDocument;
    if (startsWithAny(lineEnds) || (openDocument && startsWithAny(documentLineEnds)))
        m_text.append(u'\n');
    else if (startsWithAny(tabs) || (openDocument && startsWithAny(documentTabs)))
        m_text.append(u'\t');
    m_tag.clear();
    m_inTag = false;
}

QString MarkupStripper::finish()
{
    // One pass, so that an escaped entity ("&amp;lt;") reads as the entity
    // the document shows ("&lt;"), not as the character it would stand for.
    static const std::pair<QLatin1String, QChar> entities[] = {
        {QLatin1String("&amp;"), u'&'},   {QLatin1String("&lt;"), u'<'},   {QLatin1String("&gt;"), u'>'},
        {QLatin1String("&quot;"), u'"'},  {QLatin1String("&apos;"), u'\''}, {QLatin1String("&#39;"), u'\''},
        {QLatin1String("&nbsp;"), u' '},
    };
    const QString markup = std::move(m_text);
    m_text.clear();
    QString text;
    text.reserve(markup.size());
    for (qsizetype at = 0; at < markup.size(); ++at) {
        const QChar c = markup.at(at);
        const QStringView rest = QStringView(markup).sliced(at);
        const auto entity = c != u'&' ? std::end(entities)
                                      : std::find_if(std::begin(entities), std::end(entities),
                                                     [rest](const auto &e) { return rest.startsWith(e.first); });
        if (entity == std::end(entities)) {
            text.append(c);
            continue;
        }
        text.append(entity->second);
        at += entity->first.size() - 1;
    }
    return text;
}

QString stripMarkup(QStringView markup, MarkupTags tags)
{
    MarkupStripper stripper(tags);
    stripper.feed(markup);
    return stripper.finish();
}

namespace {

// The longest entity replaced ("&nbsp;") is six characters, so once this much
// stripped text is gathered the first maxCharacters of the final text are
// settled and the rest of a container need not be read.
constexpr qsizetype strippedTextEnough = 6 * maxCharacters;

std::optional<QString> capped(std::optional<QString> text)
{
    if (text && text->size() > maxCharacters)
        text->truncate(maxCharacters);
    return text;
}

// ---- plain text ----

// Reads the head of a file, without touching its access time where allowed.
std::optional<QByteArray> readHead(const QString &path, qint64 maxBytes)
{
    const int fd = openQuietly(path);
    if (fd < 0)
        return std::nullopt;
    QByteArray bytes(maxBytes, Qt::Uninitialized);
    qint64 total = 0;
    while (total < maxBytes) {
        const ssize_t n = ::read(fd, bytes.data() + total, size_t(maxBytes - total));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            ::close(fd);
            return std::nullopt;
        }
        if (n == 0)
            break;
        total += n;
    }
    ::close(fd);
    bytes.truncate(total);
    return bytes;
}

// Drops an incomplete UTF-8 sequence from the end of bytes that were cut at a
// byte limit, so that the cut alone doesn't make a UTF-8 file read as Latin 1.
QByteArray withoutCutSequence(QByteArray bytes)
{
    qsizetype lead = bytes.size() - 1;
    int continuation = 0;
    while (lead >= 0 && continuation < 3 && (uchar(bytes.at(lead)) & 0xC0) == 0x80) {
        --lead;
        ++continuation;
    }
    if (lead < 0)
        return bytes;
    const uchar first = uchar(bytes.at(lead));
    const int needed = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : first >= 0xC0 ? 1 : 0;
    if (needed > continuation)
        bytes.truncate(lead);
    return bytes;
}

std::optional<QString> decodeUtf8(const QByteArray &bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

QString decodeUtf8OrLatin1(const QByteArray &bytes)
{
    if (auto text = decodeUtf8(bytes))
        return *text;
    return QString::fromLatin1(bytes);
}

std::optional<QString> plainTextOrMarkup(const QString &path, bool isMarkup)
{
    std::optional<QString> text = readPlainText(path);
    if (text && isMarkup)
        text = stripMarkup(*text);
    return capped(text);
}

// ---- OCR ----

std::optional<QString> recognizedText(const QImage &image, RecognitionLevel level, int dotsPerInch = 70)
{
    if (image.isNull())
        return std::nullopt;
    return TextRecognizer::recognize(image, level, dotsPerInch);
}

std::optional<QString> imageText(const FileRecord &record)
{
    if (record.size >= maxImageFileBytes)
        return std::nullopt;
    const QImage image = ImageLoader::bounded(record.path, imageLongestSide);
    if (image.isNull() || image.width() < minImageWidth || image.height() < minImageHeight)
        return std::nullopt;
    const bool accurate = record.isScreenshot || record.ext == QLatin1String("png");
    return capped(recognizedText(image, accurate ? RecognitionLevel::accurate : RecognitionLevel::fast));
}

// ---- PDF ----

QString scannedPagesText(const PdfDocument &document)
{
    const int pages = document.pageCount() > 0 ? std::min(document.pageCount(), maxScannedPages) : 1;
    QString text;
    for (int i = 0; i < pages; ++i) {
        const QImage page = document.renderPage(i, renderedPageLongestSide);
        if (page.isNull())
            continue;
        const int dotsPerInch = qRound(page.dotsPerMeterX() * 0.0254);
        text += QStringLiteral("\n\n") + TextRecognizer::recognize(page, RecognitionLevel::accurate, dotsPerInch);
    }
    return text;
}

// PDF writers set "fi", "fl" and the like as one ligature glyph; spelled out,
// the words can be found as they are typed.
QString withoutLigatures(QString text)
{
    for (qsizetype i = text.size() - 1; i >= 0; --i) {
        const char16_t c = text.at(i).unicode();
        if (c >= 0xFB00 && c <= 0xFB06)
            text.replace(i, 1, QString(QChar(c)).normalized(QString::NormalizationForm_KC));
    }
    return text;
}

ExtractedText pdfText(const QString &path)
{
    const PdfDocument document(path);
    if (!document.isOpen())
        return {};
    // A locked document's pages, their count included, can't be read.
    if (document.isLocked())
        return {QString(), {}};
    const qint64 pageCount = document.pageCount();

    QString text;
    const int readable = std::min<qint64>(pageCount, maxTextLayerPages);
    for (int i = 0; i < readable && text.size() <= maxCharacters; ++i) {
        const QString page = withoutLigatures(document.pageText(i));
        if (!page.isEmpty())
            text += QStringLiteral("\n\n") + page;
    }
    if (text.trimmed().size() < scannedTextThreshold)
        text = scannedPagesText(document);
    return {capped(text), pageCount};
}

// ---- zip containers ----

std::optional<QString> containerText(const QString &path, const QString &memberPattern, MarkupTags tags)
{
    const ZipArchive archive(path);
    if (!archive.isOpen())
        return std::nullopt;
    QStringList members;
    for (const QString &name : archive.memberNames()) {
        if (ZipArchive::matches(name, memberPattern))
            members << name;
    }

    QStringDecoder decoder(QStringDecoder::Utf8);
    MarkupStripper stripper(tags);
    qint64 budget = maxContainerBytes;
    bool gotBytes = false;
    for (const QString &member : std::as_const(members)) {
        if (budget <= 0 || stripper.length() >= strippedTextEnough)
            break;
        archive.read(member, budget, [&](const QByteArray &chunk) {
            gotBytes = true;
            budget -= chunk.size();
            stripper.feed(QString(decoder.decode(chunk)));
            return !decoder.hasError() && stripper.length() < strippedTextEnough;
        });
        if (decoder.hasError())
            return std::nullopt;
    }
    if (!gotBytes)
        return std::nullopt;
    return capped(stripper.finish());
}

// ---- iWork previews ----

std::optional<QString> iWorkPreviewText(const QString &path)
{
    QImage preview;
    if (QFileInfo(path).isDir()) {
        const QDir package(path);
        for (const QString &name : {QStringLiteral("preview.jpg"), QStringLiteral("QuickLook/Thumbnail.jpg")}) {
            const QString file = package.filePath(name);
            if (QFileInfo(file).isFile() && QFileInfo(file).size() <= maxPreviewBytes) {
                preview = ImageLoader::bounded(file, imageLongestSide);
                if (!preview.isNull())
                    break;
            }
        }
    } else {
        const QByteArray bytes = ZipArchive(path).bytes(QStringLiteral("preview.jpg"), maxPreviewBytes);
        if (bytes.isEmpty())
            return std::nullopt;
        preview = ImageLoader::bounded(bytes, imageLongestSide);
    }
    return capped(recognizedText(preview, RecognitionLevel::accurate));
}

// ---- helper programs ----

std::optional<QString> helperText(const QString &program, const QStringList &arguments)
{
    ChildProcess::Setup setup;
    setup.program = program;
    setup.arguments = arguments;
    const auto output = ChildProcess::output(setup, std::chrono::milliseconds(helperTimeLimitMs), maxHelperOutputBytes);
    if (!output || output->isEmpty())
        return std::nullopt;
    return decodeUtf8OrLatin1(*output);
}

std::optional<QString> richText(const QString &path)
{
    QString file = path;
    if (QFileInfo(path).isDir())
        file = QDir(path).filePath(QStringLiteral("TXT.rtf"));
    if (!QFileInfo(file).isFile())
        return std::nullopt;
    std::optional<QString> text = helperText(QStringLiteral("unrtf"), {QStringLiteral("--text"),
                                                                       QStringLiteral("--nopict"), file});
    if (!text)
        return std::nullopt;
    // unrtf heads its text with comment lines ("### …") and a rule of dashes.
    QStringList lines = text->split(u'\n');
    qsizetype first = 0;
    while (first < lines.size() && (lines.at(first).startsWith(QLatin1String("###")) || lines.at(first).isEmpty()))
        ++first;
    if (first < lines.size() && lines.at(first).startsWith(QLatin1String("-----")))
        ++first;
    return capped(lines.mid(first).join(u'\n'));
}

std::optional<QString> wordText(const QString &path)
{
    std::optional<QString> text = helperText(QStringLiteral("antiword"), {QStringLiteral("-m"),
                                                                          QStringLiteral("UTF-8.txt"), path});
    if (!text || text->trimmed().isEmpty())
        text = helperText(QStringLiteral("catdoc"), {QStringLiteral("-d"), QStringLiteral("utf-8"), path});
    return capped(text);
}

// ---- types ----

QMimeType typeOf(const FileRecord &record)
{
    static const QMimeDatabase database;
    if (record.uti) {
        const QMimeType type = database.mimeTypeForName(*record.uti);
        if (type.isValid())
            return type;
    }
    return database.mimeTypeForFile(QStringLiteral("file.") + record.ext, QMimeDatabase::MatchExtension);
}

bool isTextType(const QMimeType &type)
{
    return type.inherits(QStringLiteral("text/plain")) || type.name().startsWith(QLatin1String("text/"))
        || type.inherits(QStringLiteral("application/json"));
}

ExtractedText documentText(const FileRecord &record)
{
    const QString &ext = record.ext;
    const QMimeType type = typeOf(record);
    const auto is = [&ext](const char *name) { return ext == QLatin1String(name); };

    if (type.inherits(QStringLiteral("application/pdf")) || is("pdf"))
        return pdfText(record.path);
    if (is("docx"))
        return {containerText(record.path, QStringLiteral("word/document.xml"), MarkupTags::common), {}};
    if (is("xlsx"))
        return {containerText(record.path, QStringLiteral("xl/sharedStrings.xml"), MarkupTags::common), {}};
    if (is("pptx"))
        return {containerText(record.path, QStringLiteral("ppt/slides/slide*.xml"), MarkupTags::common), {}};
    if (is("pages") || is("key") || is("numbers"))
        return {iWorkPreviewText(record.path), {}};
    if (is("rtf") || is("rtfd"))
        return {richText(record.path), {}};
    if (is("doc"))
        return {wordText(record.path), {}};
    if (is("odt") || is("ods") || is("odp"))
        return {containerText(record.path, QStringLiteral("content.xml"), MarkupTags::openDocument), {}};
    if (is("wordml") || is("html") || is("htm") || is("webarchive"))
        return {plainTextOrMarkup(record.path, true), {}};
    if (isTextType(type))
        return {plainTextOrMarkup(record.path, false), {}};
    return {};
}

} // namespace

std::optional<QString> readPlainText(const QString &path)
{
    const std::optional<QByteArray> head = readHead(path, maxPlainTextBytes);
    if (!head || head->isEmpty())
        return std::nullopt;
    if (head->left(binaryTestBytes).contains('\0'))
        return std::nullopt;
    const QByteArray bytes = head->size() >= maxPlainTextBytes ? withoutCutSequence(*head) : *head;
    return decodeUtf8OrLatin1(bytes);
}

ExtractedText extractText(const FileRecord &record)
{
    // Packages are folders; anything else but a regular file (a pipe, a
    // device) could block a reader forever.
    const QFileInfo info(record.path);
    if (!info.isFile() && !info.isDir())
        return {};
    try {
        switch (record.kind) {
        case FileKind::image:
            return {imageText(record), {}};
        case FileKind::document:
            return documentText(record);
        default:
            return {};
        }
    } catch (const std::exception &) {
        // A reader library that throws (poppler on a broken file, an
        // allocation refused under the address-space cap) means no text.
        return {};
    }
}

} // namespace DocumentText
