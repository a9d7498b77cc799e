#include "platform/FileTraces.h"

#include "core/DownloadSources.h"
#include "core/Paths.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>
#include <QUrl>

#include <gio/gio.h>
#include <glib.h>

#include <sys/xattr.h>

#include <cerrno>

namespace FileTraces {

namespace {

std::optional<QString> utf8Text(const QByteArray &bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(bytes);
    if (decoder.hasError())
        return std::nullopt;
    // Some tools store the terminating NUL.
    while (text.endsWith(QChar(0)))
        text.chop(1);
    return text;
}

} // namespace

std::optional<QByteArray> extendedAttribute(const QString &path, const char *name)
{
    const QByteArray encoded = QFile::encodeName(path);
    // Ask for the size, then the bytes; the value may grow between the two.
    for (int attempt = 0; attempt < 3; ++attempt) {
        const ssize_t size = ::lgetxattr(encoded.constData(), name, nullptr, 0);
        if (size < 1)
            return std::nullopt;
        QByteArray value(size, Qt::Uninitialized);
        const ssize_t read = ::lgetxattr(encoded.constData(), name, value.data(), size_t(value.size()));
        if (read >= 1) {
            value.truncate(read);
            return value;
        }
        if (read == 0 || errno != ERANGE)
            return std::nullopt;
    }
    return std::nullopt;
}

bool hasDownloadAttributes(const QString &path)
{
    const QByteArray encoded = QFile::encodeName(path);
    char names[1024];
    ssize_t length = ::llistxattr(encoded.constData(), names, sizeof names);
    QByteArray large;
    if (length < 0 && errno == ERANGE) {
        const ssize_t needed = ::llistxattr(encoded.constData(), nullptr, 0);
        if (needed <= 0)
            return false;
        large.resize(needed);
        length = ::llistxattr(encoded.constData(), large.data(), size_t(large.size()));
    }
    if (length <= 0)
        return false;
    const char *list = large.isEmpty() ? names : large.constData();
    for (ssize_t at = 0; at < length;) {
        const QByteArrayView name(list + at);
        if (name.startsWith("user.xdg."))
            return true;
        at += name.size() + 1;
    }
    return false;
}

QStringList whereFromAttributes(const QString &path)
{
    QStringList list;
    if (!hasDownloadAttributes(path))
        return list;
    for (const char *name : {"user.xdg.origin.url", "user.xdg.referrer.url"}) {
        const auto value = extendedAttribute(path, name);
        if (!value)
            continue;
        const auto text = utf8Text(*value);
        if (text && !text->trimmed().isEmpty())
            list.append(withoutCredentials(text->trimmed()));
    }
    return list;
}

// ---- GVfs metadata ----

namespace {

constexpr const char *downloadURIAttribute = "metadata::download-uri";

} // namespace

DownloadURIReader::DownloadURIReader()
{
    // GVfs answers metadata:: attributes only where its client module is
    // installed; a plain GIO would stat every file for nothing.
    GFile *home = g_file_new_for_path(QFile::encodeName(Paths::home()).constData());
    GFileAttributeInfoList *namespaces = g_file_query_writable_namespaces(home, nullptr, nullptr);
    if (namespaces) {
        for (int i = 0; i < namespaces->n_infos; ++i) {
            if (g_strcmp0(namespaces->infos[i].name, "metadata") == 0)
                m_available = true;
        }
        g_file_attribute_info_list_unref(namespaces);
    }
    g_object_unref(home);
}

std::optional<QString> DownloadURIReader::downloadURI(const QString &path) const
{
    if (!m_available)
        return std::nullopt;
    GFile *file = g_file_new_for_path(QFile::encodeName(path).constData());
    GFileInfo *info =
        g_file_query_info(file, downloadURIAttribute, G_FILE_QUERY_INFO_NOFOLLOW_SYMLINKS, nullptr, nullptr);
    std::optional<QString> uri;
    if (info) {
        const char *value = g_file_info_get_attribute_string(info, downloadURIAttribute);
        if (value && *value)
            uri = withoutCredentials(QString::fromUtf8(value).trimmed());
        g_object_unref(info);
    }
    g_object_unref(file);
    return uri;
}

// ---- recently-used.xbel ----

QString RecentlyUsed::defaultPath()
{
    return Paths::dataHome() + QStringLiteral("/recently-used.xbel");
}

void RecentlyUsed::refresh(const QString &path)
{
    const QFileInfo info(path);
    const qint64 modified = info.exists() ? info.lastModified().toMSecsSinceEpoch() : -1;
    const qint64 size = info.exists() ? info.size() : -1;
    if (path == m_loadedPath && modified == m_loadedModified && size == m_loadedSize)
        return;
    m_loadedPath = path;
    m_loadedModified = modified;
    m_loadedSize = size;
    m_dates.clear();
    if (!info.exists())
        return;

    GBookmarkFile *bookmarks = g_bookmark_file_new();
    if (!g_bookmark_file_load_from_file(bookmarks, QFile::encodeName(path).constData(), nullptr)) {
        g_bookmark_file_free(bookmarks);
        return;
    }
    const auto seconds = [](GDateTime *time) { return double(g_date_time_to_unix(time)) + g_date_time_get_microsecond(time) / 1e6; };
    gsize count = 0;
    gchar **uris = g_bookmark_file_get_uris(bookmarks, &count);
    for (gsize i = 0; i < count; ++i) {
        const QUrl url(QString::fromUtf8(uris[i]));
        if (!url.isLocalFile())
            continue;
        double latest = -1;
        if (GDateTime *modifiedAt = g_bookmark_file_get_modified_date_time(bookmarks, uris[i], nullptr))
            latest = seconds(modifiedAt);
        gsize appCount = 0;
        gchar **apps = g_bookmark_file_get_applications(bookmarks, uris[i], &appCount, nullptr);
        for (gsize a = 0; apps && a < appCount; ++a) {
            GDateTime *stamp = nullptr; // owned by the bookmark file
            if (g_bookmark_file_get_application_info(bookmarks, uris[i], apps[a], nullptr, nullptr, &stamp, nullptr)
                && stamp)
                latest = std::max(latest, seconds(stamp));
        }
        g_strfreev(apps);
        if (latest > 0)
            m_dates.insert(url.toLocalFile(), latest);
    }
    g_strfreev(uris);
    g_bookmark_file_free(bookmarks);
}

std::optional<double> RecentlyUsed::lastUsed(const QString &path) const
{
    const auto found = m_dates.constFind(path);
    if (found == m_dates.constEnd())
        return std::nullopt;
    return *found;
}

} // namespace FileTraces
