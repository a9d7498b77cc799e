// Shared builders for the tidy-up tests: records of real files, and a lock
// that keeps a file from being moved.
#pragma once

#include "store/FileRecord.h"

#include <QString>

#include <memory>
#include <ostream>

// Readable failure messages for texts.
inline void PrintTo(const QString &text, std::ostream *out)
{
    *out << '"' << text.toStdString() << '"';
}

namespace TidyFixtures {

// The record the scanner would make of a file on disk: name, extension,
// size, modification date, and the pixel size of images.
FileRecord recordOf(const QString &path, FileKind kind);

// Photographs of the mate-backgrounds package.
QString photo(const QString &name);

// Keeps a file where it is for as long as it lives: the immutable attribute
// when running as root (who ignores permissions), otherwise a read-only
// parent folder, so put the file in a folder of its own. isLocked() is false
// when neither works on this file system.
class MoveLock
{
public:
    explicit MoveLock(const QString &path);
    ~MoveLock();
    MoveLock(const MoveLock &) = delete;
    MoveLock &operator=(const MoveLock &) = delete;

    bool isLocked() const { return m_locked; }

private:
    QString m_path;
    bool m_immutable = false;
    bool m_folderReadOnly = false;
    bool m_locked = false;
};

} // namespace TidyFixtures
