// Thumbnails of files for the window's tiles and rows. The desktop's shared
// thumbnail cache is asked first: a thumbnail there counts while its
// Thumb::MTime equals the file's modification time and it fits its size
// folder, both read before its pixels are decoded. Otherwise one is made
// here: images bounded before they are decoded, a PDF's first page, a video
// frame. Made thumbnails are kept in memory only (the last 800), never
// written to disk. Safe from any thread; making one reads the file, so call
// it off the main thread.
#pragma once

#include "store/FileRecord.h"

#include <QImage>
#include <QString>

namespace Thumbnails {

// The newest thumbnails kept in memory.
constexpr int memoryLimit = 800;

// The file's URI as GLib writes it, whose MD5 names its cached thumbnail.
QString fileURI(const QString &path);
// $XDG_CACHE_HOME/thumbnails/SIZE/MD5.png for the file, SIZE being normal,
// large, x-large or xx-large.
QString cachePath(const QString &path, const QString &sizeFolder);

// A valid thumbnail of the desktop's cache at least size pixels across when
// there is one, else the largest smaller one; a null image when none holds.
QImage cached(const QString &path, int size);

// A thumbnail made from the file's content, its longer side at most size
// pixels; null for a kind without a picture or a file that can't be read.
QImage make(const QString &path, FileKind kind, int size);

// The thumbnail of the file: from memory, the desktop's cache, or made.
// Null when there is none, and the tile keeps the kind's icon.
QImage thumbnail(const QString &path, FileKind kind, int size);

// How many thumbnails memory holds now, and forgetting them, for tests.
int memoryCount();
void clearMemory();

} // namespace Thumbnails
