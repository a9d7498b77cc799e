#include "support/DocumentFixtures.h"

#include "support/RecordFixtures.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFont>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QProcess>

#include <zip.h>

#include <cstring>

namespace DocumentFixtures {

FileRecord recordOf(const QString &path, FileKind kind)
{
    const QFileInfo info(path);
    std::optional<double> modified;
    if (info.exists())
        modified = info.lastModified().toMSecsSinceEpoch() / 1000.0;
    return RecordFixtures::file(path, info.size(), modified, kind);
}

QStringList makeFiles(const QString &folder, int count, const std::function<QString(int)> &nameOf,
                      const std::function<void(const QString &, int)> &write)
{
    QStringList paths;
    for (int i = 0; i < count; ++i) {
        paths << QDir(folder).filePath(nameOf(i));
        write(paths.last(), i);
    }
    return paths;
}

namespace {

QFont fixtureFont(int pixelSize)
{
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(pixelSize);
    return font;
}

template<typename DrawPage>
void writePdf(const QString &path, int pageCount, DrawPage drawPage)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QPdfWriter writer(path);
    writer.setPageSize(QPageSize(QPageSize::A4));
    writer.setResolution(72);
    QPainter painter(&writer);
    for (int i = 0; i < pageCount; ++i) {
        if (i > 0)
            writer.newPage();
        drawPage(painter, i, QRect(QPoint(0, 0), writer.pageLayout().paintRectPixels(72).size()));
    }
    painter.end();
}

zip_t *newZip(const QString &path)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    int error = 0;
    return zip_open(QFile::encodeName(path).constData(), ZIP_CREATE | ZIP_TRUNCATE, &error);
}

} // namespace

void writeTextPdf(const QString &path, const QStringList &pages)
{
    writePdf(path, int(pages.size()), [&pages](QPainter &painter, int index, const QRect &area) {
        painter.setFont(fixtureFont(14));
        painter.drawText(area.adjusted(20, 20, -20, -20), Qt::TextWordWrap, pages.at(index));
    });
}

void writeScannedPdf(const QString &path, const QStringList &pages)
{
    writePdf(path, int(pages.size()), [&pages](QPainter &painter, int index, const QRect &area) {
        const QImage scan = textImage(pages.at(index).split(u'\n'), QSize(1600, 900), 44);
        painter.drawImage(QRect(area.left() + 20, area.top() + 20, area.width() - 40,
                                (area.width() - 40) * scan.height() / scan.width()),
                          scan);
    });
}

void writeEncryptedPdf(const QString &path)
{
    // The standard security handler with owner and user keys that match no
    // password: a reader can see the file is encrypted but not open its pages.
    const QByteArray key32 = QByteArray(32, '\x5a').toHex();
    const QList<QByteArray> objects{
        "<< /Type /Catalog /Pages 2 0 R >>",
        "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 595 842] /Contents 4 0 R >>",
        "<< /Length 16 >>\nstream\n\x13\x37\xa4\x02\x99\x10\x55\xfe\x81\x7c\x22\x03\x44\xee\x01\x9b\nendstream",
        "<< /Filter /Standard /V 1 /R 2 /O <" + key32 + "> /U <" + key32 + "> /P -44 >>",
    };
    QByteArray pdf = "%PDF-1.4\n";
    QList<qsizetype> offsets;
    for (qsizetype i = 0; i < objects.size(); ++i) {
        offsets << pdf.size();
        pdf += QByteArray::number(i + 1) + " 0 obj\n" + objects.at(i) + "\nendobj\n";
    }
    const qsizetype xref = pdf.size();
    pdf += "xref\n0 " + QByteArray::number(objects.size() + 1) + "\n0000000000 65535 f \n";
    for (const qsizetype offset : offsets)
        pdf += QByteArray::number(offset).rightJustified(10, '0') + " 00000 n \n";
    const QByteArray id = QByteArray(16, '\x11').toHex();
    pdf += "trailer\n<< /Size " + QByteArray::number(objects.size() + 1) + " /Root 1 0 R /Encrypt 5 0 R /ID [<" + id
        + "> <" + id + ">] >>\nstartxref\n" + QByteArray::number(xref) + "\n%%EOF\n";
    TestEnvironment::writeFile(path, pdf);
}

QImage textImage(const QStringList &lines, QSize size, int pixelSize)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.setPen(Qt::black);
    painter.setFont(fixtureFont(pixelSize));
    int y = pixelSize + pixelSize / 2;
    for (const QString &line : lines) {
        painter.drawText(pixelSize, y, line);
        y += pixelSize * 2;
    }
    painter.end();
    return image;
}

void writeImage(const QString &path, const QImage &image, int quality)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    image.save(path, nullptr, quality);
}

bool writeHeic(const QString &path, const QImage &image)
{
    // Through libheif's own encoder program, from a JPEG of the picture.
    const QString source = path + QStringLiteral(".jpg");
    writeImage(source, image, 100);
    const bool written = QProcess::execute(QStringLiteral("heif-enc"), {QStringLiteral("-q"), QStringLiteral("90"),
                                                                       QStringLiteral("-o"), path, source})
        == 0;
    QFile::remove(source);
    return written && QFileInfo(path).size() > 0;
}

void writeZip(const QString &path, const Members &members)
{
    zip_t *archive = newZip(path);
    if (!archive)
        return;
    for (const auto &[name, bytes] : members) {
        // libzip reads the buffers at zip_close, so each gets a copy it frees.
        void *copy = std::malloc(size_t(std::max<qsizetype>(bytes.size(), 1)));
        std::memcpy(copy, bytes.constData(), size_t(bytes.size()));
        zip_source_t *source = zip_source_buffer(archive, copy, zip_uint64_t(bytes.size()), 1);
        zip_file_add(archive, name.toUtf8().constData(), source, ZIP_FL_ENC_UTF_8);
    }
    zip_close(archive);
}

namespace {

struct RepeatingSource
{
    QByteArray unit;
    qint64 size = 0;
    qint64 offset = 0;
};

zip_int64_t repeatingCallback(void *userdata, void *data, zip_uint64_t length, zip_source_cmd_t command)
{
    auto *source = static_cast<RepeatingSource *>(userdata);
    switch (command) {
    case ZIP_SOURCE_OPEN:
        source->offset = 0;
        return 0;
    case ZIP_SOURCE_READ: {
        const qint64 count = std::min<qint64>(qint64(length), source->size - source->offset);
        auto *out = static_cast<char *>(data);
        const qint64 unitSize = source->unit.size();
        for (qint64 done = 0; done < count;) {
            const qint64 at = (source->offset + done) % unitSize;
            const qint64 piece = std::min(unitSize - at, count - done);
            std::memcpy(out + done, source->unit.constData() + at, size_t(piece));
            done += piece;
        }
        source->offset += count;
        return count;
    }
    case ZIP_SOURCE_CLOSE:
        return 0;
    case ZIP_SOURCE_STAT: {
        auto *stat = static_cast<zip_stat_t *>(data);
        zip_stat_init(stat);
        stat->size = zip_uint64_t(source->size);
        stat->valid |= ZIP_STAT_SIZE;
        return sizeof(zip_stat_t);
    }
    case ZIP_SOURCE_FREE:
        delete source;
        return 0;
    case ZIP_SOURCE_SUPPORTS:
        return zip_source_make_command_bitmap(ZIP_SOURCE_OPEN, ZIP_SOURCE_READ, ZIP_SOURCE_CLOSE, ZIP_SOURCE_STAT,
                                              ZIP_SOURCE_ERROR, ZIP_SOURCE_FREE, -1);
    default:
        return 0;
    }
}

} // namespace

void writeZipBomb(const QString &path, const QString &member, const QByteArray &unit, qint64 size)
{
    zip_t *archive = newZip(path);
    if (!archive)
        return;
    zip_source_t *source = zip_source_function(archive, repeatingCallback, new RepeatingSource{unit, size, 0});
    zip_file_add(archive, member.toUtf8().constData(), source, ZIP_FL_ENC_UTF_8);
    zip_close(archive);
}

void writeDocx(const QString &path, const QStringList &paragraphs)
{
    QString body;
    for (const QString &paragraph : paragraphs)
        body += QStringLiteral("<w:p><w:pPr><w:jc w:val=\"left\"/></w:pPr><w:r><w:t>%1</w:t></w:r></w:p>")
                    .arg(paragraph.toHtmlEscaped());
    const QString document = QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
                                            "<w:document xmlns:w=\"http://schemas.openxmlformats.org/"
                                            "wordprocessingml/2006/main\"><w:body>%1</w:body></w:document>")
                                 .arg(body);
    writeZip(path, {{QStringLiteral("[Content_Types].xml"), "<Types/>"},
                    {QStringLiteral("word/document.xml"), document.toUtf8()},
                    {QStringLiteral("word/styles.xml"), "<w:styles>Style text that is not content</w:styles>"}});
}

void writeXlsx(const QString &path, const QStringList &sharedStrings)
{
    QString items;
    for (const QString &text : sharedStrings)
        items += QStringLiteral("<si><t>%1</t></si>").arg(text.toHtmlEscaped());
    const QString strings = QStringLiteral("<?xml version=\"1.0\"?><sst count=\"%1\">%2</sst>")
                                .arg(sharedStrings.size())
                                .arg(items);
    writeZip(path, {{QStringLiteral("[Content_Types].xml"), "<Types/>"},
                    {QStringLiteral("xl/sharedStrings.xml"), strings.toUtf8()},
                    {QStringLiteral("xl/worksheets/sheet1.xml"), "<worksheet>42</worksheet>"}});
}

void writePptx(const QString &path, const QStringList &slides)
{
    Members members{{QStringLiteral("[Content_Types].xml"), "<Types/>"}};
    // Written in reverse name order, so that the container's order differs
    // from the names' order.
    for (qsizetype i = slides.size() - 1; i >= 0; --i) {
        const QString slide = QStringLiteral("<p:sld><p:txBody><a:p><a:r><a:t>%1</a:t></a:r></a:p></p:txBody></p:sld>")
                                  .arg(slides.at(i).toHtmlEscaped());
        members << qMakePair(QStringLiteral("ppt/slides/slide%1.xml").arg(i + 1), slide.toUtf8());
        members << qMakePair(QStringLiteral("ppt/slides/_rels/slide%1.xml.rels").arg(i + 1),
                             QByteArray("<Relationships>not slide text</Relationships>"));
    }
    members << qMakePair(QStringLiteral("ppt/slideLayouts/slideLayout1.xml"), QByteArray("<a:t>Layout text</a:t>"));
    writeZip(path, members);
}

void writeOdt(const QString &path, const QList<QStringList> &paragraphs)
{
    QString body;
    for (const QStringList &pieces : paragraphs) {
        QStringList escaped;
        for (const QString &piece : pieces)
            escaped << piece.toHtmlEscaped();
        body += QStringLiteral("<text:p text:style-name=\"P1\">%1</text:p>").arg(escaped.join(QStringLiteral("<text:tab/>")));
    }
    const QString content = QStringLiteral("<?xml version=\"1.0\"?><office:document-content><office:body>"
                                           "<office:text>%1</office:text></office:body></office:document-content>")
                                .arg(body);
    writeZip(path, {{QStringLiteral("mimetype"), "application/vnd.oasis.opendocument.text"},
                    {QStringLiteral("content.xml"), content.toUtf8()}});
}

} // namespace DocumentFixtures
