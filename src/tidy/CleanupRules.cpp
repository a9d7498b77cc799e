#include "tidy/CleanupRules.h"

#include "core/Paths.h"

#include <QDateTime>
#include <QHashFunctions>

#include <algorithm>
#include <optional>

namespace {

constexpr double week = 604800;
constexpr double month = 2592000;
constexpr double threeMonths = 7776000;
constexpr double sixMonths = 15552000;

std::optional<double> lastUsed(const FileRecord &file)
{
    if (file.opened)
        return file.opened;
    if (file.added)
        return file.added;
    return file.modified;
}

} // namespace

qint64 CleanupCategory::bytes() const
{
    qint64 total = 0;
    for (const FileRecord &file : files)
        total += file.size;
    return total;
}

QList<CleanupCategory::Kind> CleanupCategory::allKinds()
{
    return {Kind::installers, Kind::downloads, Kind::screenshots, Kind::videos, Kind::apps};
}

QString CleanupCategory::rawValue(Kind kind)
{
    switch (kind) {
    case Kind::installers: return QStringLiteral("installers");
    case Kind::downloads: return QStringLiteral("downloads");
    case Kind::screenshots: return QStringLiteral("screenshots");
    case Kind::videos: return QStringLiteral("videos");
    case Kind::apps: return QStringLiteral("apps");
    }
    return {};
}

QString CleanupCategory::title(Kind kind)
{
    switch (kind) {
    case Kind::installers: return QStringLiteral("Old installers");
    case Kind::downloads: return QStringLiteral("Forgotten downloads");
    case Kind::screenshots: return QStringLiteral("Old screenshots");
    case Kind::videos: return QStringLiteral("Large old videos");
    case Kind::apps: return QStringLiteral("Unused apps");
    }
    return {};
}

QString CleanupCategory::detail(Kind kind)
{
    switch (kind) {
    case Kind::installers:
        return QStringLiteral("Disk images and packages you already installed from, older than a week.");
    case Kind::downloads: return QStringLiteral("Downloads you haven't opened in three months.");
    case Kind::screenshots: return QStringLiteral("Screenshots older than a month.");
    case Kind::videos: return QStringLiteral("Videos over 500 MB you haven't touched in six months.");
    case Kind::apps: return QStringLiteral("Apps you haven't opened in six months.");
    }
    return {};
}

QString CleanupCategory::symbol(Kind kind)
{
    switch (kind) {
    case Kind::installers: return QStringLiteral("shippingbox");
    case Kind::downloads: return QStringLiteral("arrow.down.circle");
    case Kind::screenshots: return QStringLiteral("camera.viewfinder");
    case Kind::videos: return QStringLiteral("film.stack");
    case Kind::apps: return QStringLiteral("square.grid.3x3");
    }
    return {};
}

size_t qHash(const CleanupCategory &category, size_t seed)
{
    size_t hash = qHash(int(category.kind), seed);
    for (const FileRecord &file : category.files)
        hash = qHash(file, hash);
    return hash;
}

const QStringList &CleanupRules::installerExtensions()
{
    static const QStringList extensions{QStringLiteral("dmg"),  QStringLiteral("pkg"),
                                        QStringLiteral("mpkg"), QStringLiteral("deb"),
                                        QStringLiteral("rpm"),  QStringLiteral("flatpakref"),
                                        QStringLiteral("snap")};
    return extensions;
}

CleanupRules CleanupRules::current()
{
    CleanupRules rules;
    rules.now = double(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
    rules.downloadsFolder = Paths::userFolder(Paths::UserFolder::Downloads);
    return rules;
}

bool CleanupRules::isSystemManagedApp(const FileRecord &file)
{
    return file.path.startsWith(QLatin1String("/usr/")) || file.path.startsWith(QLatin1String("/var/lib/flatpak/"));
}

QList<CleanupCategory> CleanupRules::categories(const QList<FileRecord> &files) const
{
    using Kind = CleanupCategory::Kind;
    const auto olderThan = [this](std::optional<double> date, double age) { return date && *date < now - age; };
    QString downloadsPrefix = downloadsFolder;
    if (!downloadsPrefix.isEmpty() && !downloadsPrefix.endsWith(u'/'))
        downloadsPrefix.append(u'/');

    QHash<Kind, QList<FileRecord>> collected;
    for (const FileRecord &file : files) {
        // The first rule that claims a file decides for it.
        if (installerExtensions().contains(file.ext)) {
            // A fresh installer is left out; it doesn't fall through.
            if (olderThan(file.added ? file.added : file.modified, week))
                collected[Kind::installers].append(file);
            continue;
        }
        if (file.kind == FileKind::app) {
            const QString bundle = file.bundleID.value_or(QString());
            const bool protectedApp = bundle.startsWith(QLatin1String("com.apple.")) || bundle == ownBundleID
                || isSystemManagedApp(file);
            if (!protectedApp && olderThan(lastUsed(file), sixMonths))
                collected[Kind::apps].append(file);
            continue;
        }
        if (file.isScreenshot && olderThan(file.created ? file.created : lastUsed(file), month)) {
            collected[Kind::screenshots].append(file);
            continue;
        }
        if (file.kind == FileKind::video && file.size >= largeVideoSize && olderThan(lastUsed(file), sixMonths)) {
            collected[Kind::videos].append(file);
            continue;
        }
        if (!downloadsPrefix.isEmpty() && file.path.startsWith(downloadsPrefix)
            && olderThan(lastUsed(file), threeMonths)) {
            collected[Kind::downloads].append(file);
        }
    }

    QList<CleanupCategory> result;
    for (Kind kind : CleanupCategory::allKinds()) {
        QList<FileRecord> members = collected.value(kind);
        if (members.isEmpty())
            continue;
        std::stable_sort(members.begin(), members.end(),
                         [](const FileRecord &a, const FileRecord &b) { return a.size > b.size; });
        result.append({kind, members});
    }
    return result;
}
