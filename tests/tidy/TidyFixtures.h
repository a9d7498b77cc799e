// Shared pieces of the tidy-up tests: where the real photographs are, and a
// lock that keeps a file from being moved.
#pragma once

#include <QString>

#include <ostream>

// Readable failure messages for texts.
inline void PrintTo(const QString &text, std::ostream *out)
{
    *out << '"' << text.toStdString() << '"';
}

namespace TidyFixtures {

// Photographs of the mate-backgrounds package.
inline constexpr char photoFolder[] = "/usr/share/backgrounds/mate/nature";

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
