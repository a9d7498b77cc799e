#include "support/DocumentFixtures.h"

#include "support/RecordFixtures.h"
#include "support/TestEnvironment.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFont>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QProcess>

#include <zip.h>

using namespace Qt::StringLiterals;

namespace DocumentFixtures {

FileRecord recordOf(const QString &path, FileKind kind)
{
    const QFileInfo info(path);
    const auto modified = info.exists() ? std::optional(info.lastModified().toMSecsSinceEpoch() / 1000.0)
                                        : std::nullopt;
    return RecordFixtures::file(path, info.size(), modified, kind);
}

QStringList makeFiles(const QString &folder, int count, const std::function<QString(int)> &nameOf,
                      const std::function<void(const QString &, int)> &write)
{
    QStringList paths;
    for (int i = 0; i < count; ++i)
        write(paths.emplace_back(QDir(folder).filePath(nameOf(i))), i);
    return paths;
}

namespace {

QFont fixtureFont(int pixelSize)
{
    QFont font(u"DejaVu Sans"_s);
    font.setPixelSize(pixelSize);
    return font;
}

void writePdf(const QString &path, const QStringList &pages,
              const std::function<void(QPainter &, const QString &, const QRect &)> &drawPage)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QPdfWriter writer(path);
    writer.setPageSize(QPageSize(QPageSize::A4));
    writer.setResolution(72);
    QPainter painter(&writer);
    for (qsizetype i = 0; i < pages.size(); ++i) {
        if (i > 0)
            writer.newPage();
        drawPage(painter, pages.at(i), QRect(QPoint(0, 0), writer.pageLayout().paintRectPixels(72).size()));
    }
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
    writePdf(path, pages, [](QPainter &painter, const QString &text, const QRect &area) {
        painter.setFont(fixtureFont(14));
        painter.drawText(area.adjusted(20, 20, -20, -20), Qt::TextWordWrap, text);
    });
}

void writeScannedPdf(const QString &path, const QStringList &pages)
{
    writePdf(path, pages, [](QPainter &painter, const QString &text, const QRect &area) {
        const QImage scan = textImage(text.split(u'\n'), QSize(1600, 900), 44);
        const int width = area.width() - 40;
        painter.drawImage(QRect(area.left() + 20, area.top() + 20, width, width * scan.height() / scan.width()), scan);
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
    QByteArray xref = "xref\n0 " + QByteArray::number(objects.size() + 1) + "\n0000000000 65535 f \n";
    for (qsizetype i = 0; i < objects.size(); ++i) {
        xref += QByteArray::number(pdf.size()).rightJustified(10, '0') + " 00000 n \n";
        pdf += QByteArray::number(i + 1) + " 0 obj\n" + objects.at(i) + "\nendobj\n";
    }
    const QByteArray id = QByteArray(16, '\x11').toHex();
    const QByteArray start = QByteArray::number(pdf.size());
    pdf += xref + "trailer\n<< /Size " + QByteArray::number(objects.size() + 1) + " /Root 1 0 R /Encrypt 5 0 R"
        + " /ID [<" + id + "> <" + id + ">] >>\nstartxref\n" + start + "\n%%EOF\n";
    TestEnvironment::writeFile(path, pdf);
}

QImage textImage(const QStringList &lines, QSize size, int pixelSize)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.setFont(fixtureFont(pixelSize));
    for (qsizetype i = 0; i < lines.size(); ++i)
        painter.drawText(pixelSize, pixelSize * 3 / 2 + int(i) * pixelSize * 2, lines.at(i));
    painter.end();
    return image;
}

void writeImage(const QString &path, const QImage &image, int quality)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    image.save(path, nullptr, quality);
}

bool writeHeic(const QString &path, const QImage &image, int quality)
{
    const QString source = path + u".jpg"_s;
    writeImage(source, image, 100);
    const bool written = QProcess::execute(u"heif-enc"_s, {u"-q"_s, QString::number(quality), u"-p"_s,
                                                           u"preset=ultrafast"_s, u"-o"_s, path, source}) == 0;
    QFile::remove(source);
    return written && QFileInfo(path).size() > 0;
}

void writeZip(const QString &path, const Members &members)
{
    zip_t *archive = newZip(path);
    if (!archive)
        return;
    // libzip reads the members' bytes at zip_close, while they still live.
    for (const auto &[name, bytes] : members) {
        zip_source_t *source = zip_source_buffer(archive, bytes.constData(), zip_uint64_t(bytes.size()), 0);
        zip_file_add(archive, name.toUtf8().constData(), source, ZIP_FL_ENC_UTF_8);
    }
    zip_close(archive);
}

void writeZipBomb(const QString &path, const QString &member, const QByteArray &unit, qint64 size)
{
    // One block of whole units, listed again and again up to size bytes.
    writeWideZipBomb(path, {member}, unit, size);
}

void writeWideZipBomb(const QString &path, const QStringList &members, const QByteArray &unit, qint64 size)
{
    QByteArray block = unit.repeated(std::max<qsizetype>(1, 65536 / unit.size()));
    auto *data = reinterpret_cast<zip_uint8_t *>(block.data());
    QList<zip_buffer_fragment_t> fragments;
    for (qint64 at = 0; at < size; at += block.size())
        fragments.append({data, zip_uint64_t(std::min<qint64>(block.size(), size - at))});
    zip_t *archive = newZip(path);
    if (!archive)
        return;
    for (const QString &member : members) {
        zip_source_t *source = zip_source_buffer_fragment(archive, fragments.constData(), fragments.size(), 0);
        zip_file_add(archive, member.toUtf8().constData(), source, ZIP_FL_ENC_UTF_8);
    }
    zip_close(archive);
}

void writeNestedZip(const QString &path, int depth, int copies, qint64 innerSize)
{
    const QString scratch = path + u".level"_s;
    writeZipBomb(scratch, u"zeros.bin"_s, QByteArray(1, '\0'), innerSize);
    for (int level = 1; level < depth; ++level) {
        QFile inner(scratch);
        const QByteArray bytes = inner.open(QIODevice::ReadOnly) ? inner.readAll() : QByteArray();
        Members members;
        for (int i = 0; i < copies; ++i)
            members.append({u"level%1-%2.zip"_s.arg(level).arg(i), bytes});
        writeZip(scratch, members);
    }
    QFile::remove(path);
    QFile::rename(scratch, path);
}

void damage(const QString &path, Damage how)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite))
        return;
    const qint64 size = file.size();
    if (how == Damage::truncated) {
        file.resize(size / 3);
        return;
    }
    file.seek(size / 3);
    QByteArray noise(size / 3, Qt::Uninitialized);
    for (qsizetype i = 0; i < noise.size(); ++i)
        noise[i] = char((i * 131 + 17) % 251);
    file.write(noise);
}

void writeOversizedPng(const QString &path, QSize claimed)
{
    QImage row(1, 1, QImage::Format_RGB32);
    row.fill(Qt::white);
    QByteArray png;
    QBuffer buffer(&png);
    row.save(&buffer, "PNG");
    // The header chunk starts at byte 8: length, "IHDR", width, height, ...,
    // then the checksum of its type and data.
    const auto putBigEndian = [&png](qsizetype at, quint32 value) {
        for (int i = 0; i < 4; ++i)
            png[at + i] = char(value >> (24 - 8 * i));
    };
    putBigEndian(16, quint32(claimed.width()));
    putBigEndian(20, quint32(claimed.height()));
    quint32 crc = 0xFFFFFFFF;
    for (qsizetype i = 12; i < 29; ++i) {
        crc ^= uchar(png.at(i));
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ (0xEDB88320 & (0 - (crc & 1)));
    }
    putBigEndian(29, ~crc);
    TestEnvironment::writeFile(path, png);
}

void writeEntityBombDocx(const QString &path, const QString &text)
{
    QString entities = u"<!ENTITY lol0 \"lol\">"_s;
    for (int level = 1; level < 10; ++level)
        entities += u"<!ENTITY lol%1 \"%2\">"_s.arg(level).arg(u"&lol%1;"_s.arg(level - 1).repeated(10));
    const QString document = uR"(<?xml version="1.0"?><!DOCTYPE w:document [%1]><w:document><w:body>)"
                             uR"(<w:p><w:r><w:t>%2 &lol9;</w:t></w:r></w:p></w:body></w:document>)"_s.arg(entities, text.toHtmlEscaped());
    writeZip(path, {{u"[Content_Types].xml"_s, "<Types/>"}, {u"word/document.xml"_s, document.toUtf8()}});
}

void writeDocx(const QString &path, const QStringList &paragraphs)
{
    QString body;
    for (const QString &paragraph : paragraphs)
        body += uR"(<w:p><w:pPr><w:jc w:val="left"/></w:pPr><w:r><w:t>%1</w:t></w:r></w:p>)"_s.arg(
            paragraph.toHtmlEscaped());
    const QString document = uR"(<?xml version="1.0" encoding="UTF-8"?><w:document xmlns:w=")"
                             uR"(http://schemas.openxmlformats.org/wordprocessingml/2006/main"><w:body>%1</w:body>)"
                             uR"(</w:document>)"_s.arg(body);
    writeZip(path, {{u"[Content_Types].xml"_s, "<Types/>"}, {u"word/document.xml"_s, document.toUtf8()},
                    {u"word/styles.xml"_s, "<w:styles>Style text that is not content</w:styles>"}});
}

void writeXlsx(const QString &path, const QStringList &sharedStrings)
{
    QString items;
    for (const QString &text : sharedStrings)
        items += u"<si><t>%1</t></si>"_s.arg(text.toHtmlEscaped());
    const QString strings = uR"(<?xml version="1.0"?><sst count="%1">%2</sst>)"_s.arg(sharedStrings.size()).arg(items);
    writeZip(path, {{u"[Content_Types].xml"_s, "<Types/>"}, {u"xl/sharedStrings.xml"_s, strings.toUtf8()},
                    {u"xl/worksheets/sheet1.xml"_s, "<worksheet>42</worksheet>"}});
}

void writePptx(const QString &path, const QStringList &slides)
{
    Members members{{u"[Content_Types].xml"_s, "<Types/>"}};
    // Written in reverse name order, so that the container's order differs
    // from the names' order.
    for (qsizetype i = slides.size() - 1; i >= 0; --i) {
        const QString slide = u"<p:sld><p:txBody><a:p><a:r><a:t>%1</a:t></a:r></a:p></p:txBody></p:sld>"_s;
        members << qMakePair(u"ppt/slides/slide%1.xml"_s.arg(i + 1), slide.arg(slides.at(i).toHtmlEscaped()).toUtf8())
                << qMakePair(u"ppt/slides/_rels/slide%1.xml.rels"_s.arg(i + 1),
                             QByteArray("<Relationships>not slide text</Relationships>"));
    }
    members << qMakePair(u"ppt/slideLayouts/slideLayout1.xml"_s, QByteArray("<a:t>Layout text</a:t>"));
    writeZip(path, members);
}

void writeOdt(const QString &path, const QList<QStringList> &paragraphs)
{
    QString body;
    for (const QStringList &pieces : paragraphs)
        body += uR"(<text:p text:style-name="P1">%1</text:p>)"_s.arg(
            pieces.join(u'\t').toHtmlEscaped().replace(u'\t', u"<text:tab/>"_s));
    const QString content = uR"(<?xml version="1.0"?><office:document-content><office:body>)"
                            uR"(<office:text>%1</office:text></office:body></office:document-content>)"_s.arg(body);
    writeZip(path, {{u"mimetype"_s, "application/vnd.oasis.opendocument.text"}, {u"content.xml"_s, content.toUtf8()}});
}

} // namespace DocumentFixtures
