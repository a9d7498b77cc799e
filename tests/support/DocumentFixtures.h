// Documents made at test time for the text readers: PDFs with a text layer
// and image-only ones, an encrypted PDF, pictures of text for OCR, and
// office and OpenDocument files written with libzip.
#pragma once

#include "store/FileRecord.h"

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

#include <functional>

namespace DocumentFixtures {

// The record of a file on disk, as the scanner would give it: name,
// lowercased extension, size, modification date and the given kind.
FileRecord recordOf(const QString &path, FileKind kind = FileKind::document);

// Makes count files in folder, named by nameOf(i) and written by write(path, i);
// returns their paths in order.
QStringList makeFiles(const QString &folder, int count, const std::function<QString(int)> &nameOf,
                      const std::function<void(const QString &, int)> &write);

// A PDF whose pages carry the given texts as real text (a text layer).
void writeTextPdf(const QString &path, const QStringList &pages);
// A PDF whose pages are pictures of the given texts, with no text layer.
void writeScannedPdf(const QString &path, const QStringList &pages);
// A one-page PDF encrypted with a password nobody knows.
void writeEncryptedPdf(const QString &path);

// Black lines of text on white, in a large sans-serif face, like a
// screenshot of a document.
QImage textImage(const QStringList &lines, QSize size = QSize(1200, 400), int pixelSize = 40);
// Saves an image in the format of the path's extension.
void writeImage(const QString &path, const QImage &image, int quality = -1);
// Encodes an image as HEIC with heif-enc. False when no HEVC encoder is there.
bool writeHeic(const QString &path, const QImage &image);

// A zip file with the given members, in the given order.
using Members = QList<QPair<QString, QByteArray>>;
void writeZip(const QString &path, const Members &members);
// A zip file whose one member inflates to size bytes of repeated unit,
// written without ever holding the member in memory.
void writeZipBomb(const QString &path, const QString &member, const QByteArray &unit, qint64 size);

void writeDocx(const QString &path, const QStringList &paragraphs);
void writeXlsx(const QString &path, const QStringList &sharedStrings);
void writePptx(const QString &path, const QStringList &slides);
// A text document: paragraphs, each a list of pieces joined by tab tags.
void writeOdt(const QString &path, const QList<QStringList> &paragraphs);

} // namespace DocumentFixtures
