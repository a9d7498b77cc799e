#include "indexing/FileKinds.h"

#include <QHash>
#include <QMutex>
#include <QStringList>

namespace FileKinds {

namespace {

// The types that are applications: self-contained AppImages, desktop
// entries that launch a program, Flatpak bundles. ELF executables are not
// (a program without a desktop entry isn't something a person launches from
// a file manager), and scripts are source code.
const QSet<QString> &applicationTypes()
{
    static const QSet<QString> types{"application/vnd.appimage", "application/x-iso9660-appimage",
                                     "application/x-desktop", "application/vnd.flatpak"};
    return types;
}

// Disk images and the installer formats without a generic package icon.
const QSet<QString> &diskImageTypes()
{
    static const QSet<QString> types{"application/x-raw-disk-image", "application/x-apple-diskimage",
                                     "application/x-cd-image", "application/vnd.snap", "application/vnd.squashfs"};
    return types;
}

// Office and iWork formats that count as documents whatever their icon.
const QSet<QString> &documentTypes()
{
    static const QSet<QString> types{
        "application/vnd.openxmlformats-officedocument.wordprocessingml.document",
        "application/msword",
        "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet",
        "application/vnd.ms-excel",
        "application/vnd.openxmlformats-officedocument.presentationml.presentation",
        "application/vnd.ms-powerpoint",
        "application/vnd.oasis.opendocument.text",
        "application/vnd.oasis.opendocument.spreadsheet",
        "application/vnd.oasis.opendocument.presentation",
        "application/vnd.apple.pages",
        "application/vnd.apple.numbers",
        "application/vnd.apple.keynote",
        "application/x-iwork-pages-sffpages",
        "application/x-iwork-numbers-sffnumbers",
        "application/x-iwork-keynote-sffkey",
        "application/epub+zip",
        "application/pdf",
        "application/rtf",
    };
    return types;
}

// The generic icon that the type or its nearest ancestor names explicitly.
// A type without one gets "<media>-x-generic" from Qt, which says nothing.
QString explicitGenericIcon(const QMimeType &type, const QStringList &ancestors)
{
    const auto explicitIcon = [](const QMimeType &t) {
        const QString icon = t.genericIconName();
        const QString derived = t.name().section(u'/', 0, 0) + QStringLiteral("-x-generic");
        return icon == derived ? QString() : icon;
    };
    if (const QString own = explicitIcon(type); !own.isEmpty())
        return own;
    static const QMimeDatabase database;
    for (const QString &ancestor : ancestors) {
        if (const QString icon = explicitIcon(database.mimeTypeForName(ancestor)); !icon.isEmpty())
            return icon;
    }
    return QString();
}

FileKind computeKind(const QMimeType &type)
{
    if (!type.isValid() || type.isDefault())
        return FileKind::other;
    const QString name = type.name();
    QStringList names{name};
    names += type.aliases();
    // Aliases name the same type under other media ("image/pdf" for PDF),
    // so only the type and its ancestors tell the medium.
    QStringList lineage{name};
    const QStringList ancestors = type.allAncestors();
    lineage += ancestors;
    const auto any = [&](auto &&test) { return std::any_of(lineage.cbegin(), lineage.cend(), test); };
    const auto mediaIs = [](const char *media) {
        return [media](const QString &t) { return t.startsWith(QLatin1String(media)); };
    };
    if (std::any_of(names.cbegin(), names.cend(), [](const QString &t) { return applicationTypes().contains(t); }))
        return FileKind::app;
    if (any(mediaIs("image/")))
        return FileKind::image;
    if (any(mediaIs("audio/")))
        return FileKind::audio;
    if (any(mediaIs("video/")))
        return FileKind::video;
    const QString icon = explicitGenericIcon(type, ancestors);
    if (icon == QLatin1String("package-x-generic")
        || any([](const QString &t) { return diskImageTypes().contains(t); }))
        return FileKind::archive;
    if (icon.startsWith(QLatin1String("x-office-")) || any([](const QString &t) {
            return t == QLatin1String("text/plain") || t.startsWith(QLatin1String("text/"))
                || documentTypes().contains(t);
        }))
        return FileKind::document;
    return FileKind::other;
}

} // namespace

FileKind kind(const QMimeType &type)
{
    // Walking the ancestors costs more than a stat, and a library has few
    // distinct types: remember each answer.
    static QMutex mutex;
    static QHash<QString, FileKind> cache;
    const QString name = type.isValid() ? type.name() : QString();
    {
        QMutexLocker locker(&mutex);
        const auto known = cache.constFind(name);
        if (known != cache.constEnd())
            return *known;
    }
    const FileKind result = computeKind(type);
    QMutexLocker locker(&mutex);
    cache.insert(name, result);
    return result;
}

const QSet<QString> &skippedFolderNames()
{
    static const QSet<QString> names{"node_modules", "DerivedData", "Pods",   ".build",  "build",  "__pycache__", "venv",
                                     ".venv",        "Library",     "Caches", "vendor",  "target", "dist"};
    return names;
}

const QSet<QString> &packageExtensions()
{
    static const QSet<QString> extensions{"app",           "pages",     "key",    "numbers", "rtfd",
                                          "photoslibrary", "musiclibrary", "xcodeproj", "bundle"};
    return extensions;
}

FileKind packageKind(const QString &extension)
{
    const QString lowered = extension.toLower();
    if (lowered == QLatin1String("app"))
        return FileKind::app;
    if (lowered == QLatin1String("pages") || lowered == QLatin1String("key") || lowered == QLatin1String("numbers")
        || lowered == QLatin1String("rtfd"))
        return FileKind::document;
    return FileKind::other;
}

bool isScreenshotName(const QString &name)
{
    static const QString prefixes[] = {QStringLiteral("screenshot "),       QStringLiteral("screen shot "),
                                       QStringLiteral("cleanshot "),        QStringLiteral("screen recording "),
                                       QStringLiteral("screenshot_"),       QStringLiteral("capture d\u2019écran")};
    const QString lowered = name.toLower();
    return std::any_of(std::begin(prefixes), std::end(prefixes),
                       [&](const QString &prefix) { return lowered.startsWith(prefix); });
}

} // namespace FileKinds
