#include "app/SidebarItem.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>

namespace {

struct Plain
{
    SidebarItem::Case item;
    const char *key;
    const char *title;
    const char *symbol;
    const char *tint;
};

// The items without a payload, in the order of their case.
constexpr Plain plainItems[] = {
    {SidebarItem::Case::home, "home", "Home", "house.fill", ""},
    {SidebarItem::Case::search, "search", "Search", "magnifyingglass", ""},
    {SidebarItem::Case::ask, "ask", "Ask Larder", "sparkles", "#a259e6"},
    {SidebarItem::Case::recents, "recents", "Recents", "clock.fill", "#5b6cf0"},
    {SidebarItem::Case::largeFiles, "largeFiles", "Large Files", "externaldrive.fill", "#f08c2e"},
    {SidebarItem::Case::screenshots, "screenshots", "Screenshots", "camera.viewfinder", "#2aa5d8"},
    {SidebarItem::Case::sources, "sources", "Downloaded From", "arrow.down.circle.fill", "#1fa37a"},
    {SidebarItem::Case::duplicates, "duplicates", "Duplicates", "square.on.square.fill", "#e0a100"},
    {SidebarItem::Case::cleanup, "cleanup", "Clean Up", "wand.and.sparkles", "#c04fd8"},
    {SidebarItem::Case::meetings, "meetings", "Meetings", "waveform", "#ec4a6a"},
};

const Plain *plain(SidebarItem::Case item)
{
    for (const Plain &entry : plainItems) {
        if (entry.item == item)
            return &entry;
    }
    return nullptr;
}

struct KindRow
{
    FileKind kind;
    const char *title;
    const char *symbol;
    const char *tint;
};

constexpr KindRow kindRows[] = {
    {FileKind::image, "Images", "photo.fill", "#34b35a"},
    {FileKind::video, "Videos", "play.rectangle.fill", "#ef476f"},
    {FileKind::audio, "Music", "music.note", "#f25c3c"},
    {FileKind::document, "Documents", "doc.text.fill", "#2f7cf6"},
    {FileKind::archive, "Archives", "archivebox.fill", "#a47b50"},
    {FileKind::app, "Apps", "app.badge.fill", "#3bb6c9"},
    {FileKind::other, "Other", "doc.fill", "#8a8f98"},
};

const KindRow &kindRow(FileKind kind)
{
    for (const KindRow &row : kindRows) {
        if (row.kind == kind)
            return row;
    }
    return kindRows[std::size(kindRows) - 1];
}

const QString kindPrefix = QStringLiteral("kind:");
const QString folderPrefix = QStringLiteral("folder:");

} // namespace

SidebarItem::SidebarItem(Case item)
    : m_case(item)
{
}

SidebarItem SidebarItem::ofKind(FileKind kind)
{
    SidebarItem item(Case::kind);
    item.m_kind = kind;
    return item;
}

SidebarItem SidebarItem::ofFolder(const QString &path)
{
    SidebarItem item(Case::folder);
    item.m_path = path;
    return item;
}

QString SidebarItem::title() const
{
    switch (m_case) {
    case Case::kind:
        return QString::fromUtf8(kindRow(m_kind).title);
    case Case::folder: {
        const QString name = QFileInfo(QDir::cleanPath(m_path)).fileName();
        return name.isEmpty() ? QDir::cleanPath(m_path) : name;
    }
    default:
        return QString::fromUtf8(plain(m_case)->title);
    }
}

QString SidebarItem::symbol() const
{
    switch (m_case) {
    case Case::kind:
        return QString::fromUtf8(kindRow(m_kind).symbol);
    case Case::folder:
        return QStringLiteral("folder.fill");
    default:
        return QString::fromUtf8(plain(m_case)->symbol);
    }
}

QString SidebarItem::tint() const
{
    switch (m_case) {
    case Case::kind:
        return QString::fromUtf8(kindRow(m_kind).tint);
    case Case::folder:
        return QStringLiteral("#3d8bfd");
    default:
        return QString::fromUtf8(plain(m_case)->tint);
    }
}

std::optional<FileFilter> SidebarItem::filter() const
{
    FileFilter filter;
    switch (m_case) {
    case Case::kind:
        filter.kinds = {m_kind};
        return filter;
    case Case::folder:
        filter.folder = m_path;
        return filter;
    case Case::recents:
        // Everything but applications.
        filter.kinds = {FileKind::image, FileKind::video, FileKind::audio,
                        FileKind::document, FileKind::archive, FileKind::other};
        return filter;
    case Case::largeFiles:
        filter.minSize = largeFileBytes;
        return filter;
    case Case::screenshots:
        filter.screenshotsOnly = true;
        return filter;
    default:
        return std::nullopt;
    }
}

QString SidebarItem::key() const
{
    switch (m_case) {
    case Case::kind:
        return kindPrefix + fileKindRawValue(m_kind);
    case Case::folder:
        return folderPrefix + m_path;
    default:
        return QString::fromUtf8(plain(m_case)->key);
    }
}

std::optional<SidebarItem> SidebarItem::fromKey(const QString &key)
{
    if (key.startsWith(kindPrefix)) {
        const QString raw = key.mid(kindPrefix.size());
        for (FileKind kind : allFileKinds()) {
            if (fileKindRawValue(kind) == raw)
                return ofKind(kind);
        }
        return std::nullopt;
    }
    if (key.startsWith(folderPrefix)) {
        const QString path = key.mid(folderPrefix.size());
        if (path.isEmpty())
            return std::nullopt;
        return ofFolder(path);
    }
    for (const Plain &entry : plainItems) {
        if (key == QLatin1String(entry.key))
            return SidebarItem(entry.item);
    }
    return std::nullopt;
}

size_t qHash(const SidebarItem &item, size_t seed)
{
    return qHashMulti(seed, int(item.item()), int(item.kind()), item.path());
}
