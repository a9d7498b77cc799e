// Suggestions of what the user might no longer need: old installers,
// forgotten downloads, old screenshots, large old videos and unused apps.
// A pure function of file records and the clock; acting on it is the user's
// step, through the Trash.
#pragma once

#include "store/FileRecord.h"

#include <QList>
#include <QString>
#include <QStringList>

struct CleanupCategory
{
    // In the order the suggestions are shown.
    enum class Kind { installers, downloads, screenshots, videos, apps };

    Kind kind = Kind::installers;
    QList<FileRecord> files;

    qint64 bytes() const;

    static QList<Kind> allKinds();
    // The stored and sent name, which is the case name.
    static QString rawValue(Kind kind);
    static QString title(Kind kind);
    static QString detail(Kind kind);
    static QString symbol(Kind kind);

    friend bool operator==(const CleanupCategory &, const CleanupCategory &) = default;
};

size_t qHash(const CleanupCategory &category, size_t seed = 0);

class CleanupRules
{
public:
    // The extensions of installers: disk images and packages of both worlds.
    static const QStringList &installerExtensions();
    static constexpr qint64 largeVideoSize = 500000000;

    // Seconds since 1970: the clock for all ages.
    double now = 0;
    // The Downloads folder; empty turns the downloads rule off.
    QString downloadsFolder;
    // This application's own identifier, never suggested.
    QString ownBundleID = QStringLiteral("co.norvale.larder");

    // Rules for the present moment and the user's Downloads folder.
    static CleanupRules current();

    // The non-empty categories in Kind order, each largest file first.
    QList<CleanupCategory> categories(const QList<FileRecord> &files) const;

    // Apps that the system's package manager installed: under /usr or
    // /var/lib/flatpak.
    static bool isSystemManagedApp(const FileRecord &file);
};
