// Documents made at test time for the text readers: PDFs with a text layer
// and image-only ones, an encrypted PDF, pictures of text for OCR, and
// office and OpenDocument files written with libzip.
#pragma once

#include "store/FileRecord.h"

#include <QImage>
#include <QPair>
#include <QStringList>

#include <functional>

namespace DocumentFixtures {

// The record of a file on disk as the scanner would give it, of the given kind.
FileRecord recordOf(const QString &path, FileKind kind = FileKind::document);

// Makes count files in folder named nameOf(i), written by write(path, i); their paths.
QStringList makeFiles(const QString &folder, int count, const std::function<QString(int)> &nameOf,
                      const std::function<void(const QString &, int)> &write);

// PDFs whose pages carry the texts as a text layer, or as pictures only; and
// a one-page PDF encrypted with a password nobody knows.
void writeTextPdf(const QString &path, const QStringList &pages);
void writeScannedPdf(const QString &path, const QStringList &pages);
void writeEncryptedPdf(const QString &path);

// Black lines of text on white in a large sans-serif face, like a screenshot.
QImage textImage(const QStringList &lines, QSize size = QSize(1200, 400), int pixelSize = 40);
// Saves an image in the format of the path's extension.
void writeImage(const QString &path, const QImage &image, int quality = -1);
// Encodes an image as HEIC with heif-enc. False when no HEVC encoder is there.
bool writeHeic(const QString &path, const QImage &image, int quality = 90);

// A zip file with the given members, in the given order.
using Members = QList<QPair<QString, QByteArray>>;
void writeZip(const QString &path, const Members &members);
// A zip file whose one member inflates to size bytes of unit repeated, never held whole.
void writeZipBomb(const QString &path, const QString &member, const QByteArray &unit, qint64 size);

// A zip file whose members each inflate to size bytes of unit repeated: wide
// where writeZipBomb is long.
void writeWideZipBomb(const QString &path, const QStringList &members, const QByteArray &unit, qint64 size);
// Zip files nested depth deep, each level holding copies of the level below
// and the innermost a member of zeros that inflates to innerSize bytes.
void writeNestedZip(const QString &path, int depth, int copies, qint64 innerSize);

// Harm done in place to a file written by another builder: cut to a third
// of its length, or with bytes through its middle overwritten.
enum class Damage { truncated, scrambled };
void damage(const QString &path, Damage how);
// A PNG whose header claims size pixels over a single row of image data.
void writeOversizedPng(const QString &path, QSize claimed);
// A Word document whose XML declares entities nested ten deep, ten wide
// (the billion laughs), used in its one paragraph beside the given text.
void writeEntityBombDocx(const QString &path, const QString &text);

void writeDocx(const QString &path, const QStringList &paragraphs);
void writeXlsx(const QString &path, const QStringList &sharedStrings);
void writePptx(const QString &path, const QStringList &slides);
// A text document: paragraphs, each a list of pieces joined by tab tags.
void writeOdt(const QString &path, const QList<QStringList> &paragraphs);

} // namespace DocumentFixtures
