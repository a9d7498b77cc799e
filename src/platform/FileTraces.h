// What the desktop records about a file outside its content: the download
// URLs that browsers and download tools leave in extended attributes or in
// GVfs metadata, and the list of recently used files.
#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QStringList>

#include <optional>

namespace FileTraces {

// An extended attribute of the path itself (a final link is not followed);
// absent when unset, empty or unreadable.
std::optional<QByteArray> extendedAttribute(const QString &path, const char *name);

// Whether the path carries any user.xdg.* attribute at all: one call that
// spares the lookups for the many files that have none.
bool hasDownloadAttributes(const QString &path);

// The where-from list: the download URL (user.xdg.origin.url), then the page
// that led to it (user.xdg.referrer.url). Values that aren't UTF-8 text are
// absent. Credentials are stripped.
QStringList whereFromAttributes(const QString &path);

// Reads GVfs's metadata::download-uri, which Firefox and WebKitGTK browsers
// write. Lookups are only made when this desktop keeps GVfs metadata.
class DownloadURIReader
{
public:
    DownloadURIReader();
    bool isAvailable() const { return m_available; }
    std::optional<QString> downloadURI(const QString &path) const;

private:
    bool m_available = false;
};

// The last-used dates of the freedesktop list of recently used files,
// $XDG_DATA_HOME/recently-used.xbel: for each local path the latest of the
// bookmark's modification and its applications' own dates. A missing or
// malformed list gives no dates.
class RecentlyUsed
{
public:
    static QString defaultPath();

    // Reads the list again when it changed on disk since the last load.
    void refresh(const QString &path = defaultPath());
    std::optional<double> lastUsed(const QString &path) const;
    qsizetype size() const { return m_dates.size(); }

private:
    QHash<QString, double> m_dates;
    QString m_loadedPath;
    qint64 m_loadedModified = -1;
    qint64 m_loadedSize = -1;
};

} // namespace FileTraces
