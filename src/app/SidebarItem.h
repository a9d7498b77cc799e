// One row of the window's sidebar: what the detail area shows. Twelve cases,
// two of them with a payload (a kind of file, a pinned folder). Each has its
// title, its symbol, the tint of its icon, and for the listings the filter of
// the files they list.
#pragma once

#include "store/FileQuery.h"
#include "store/FileRecord.h"

#include <QString>

#include <optional>

class SidebarItem
{
public:
    enum class Case { kind, folder, home, search, ask, recents, largeFiles, screenshots, sources, duplicates, cleanup, meetings };

    // Files of this size and above are "Large Files".
    static constexpr qint64 largeFileBytes = 100'000'000;

    SidebarItem(Case item = Case::home);
    static SidebarItem ofKind(FileKind kind);
    static SidebarItem ofFolder(const QString &path);

    Case item() const { return m_case; }
    // Meaningful for Case::kind only.
    FileKind kind() const { return m_kind; }
    // Meaningful for Case::folder only.
    QString path() const { return m_path; }

    // "Images", "Large Files", or the folder's name as the file manager shows it.
    QString title() const;
    // The symbol's name, such as "house.fill"; the window maps it to a glyph.
    QString symbol() const;
    // The icon's colour as "#rrggbb"; empty for the accent colour.
    QString tint() const;
    // The files a listing item lists; none for the items that aren't listings.
    std::optional<FileFilter> filter() const;
    bool isListing() const { return filter().has_value(); }

    // A text that names the item, for the window and the settings: "home",
    // "kind:image", "folder:/home/ada/Projects".
    QString key() const;
    static std::optional<SidebarItem> fromKey(const QString &key);

    friend bool operator==(const SidebarItem &, const SidebarItem &) = default;

private:
    Case m_case = Case::home;
    FileKind m_kind = FileKind::other;
    QString m_path;
};

size_t qHash(const SidebarItem &item, size_t seed = 0);
