#include "search/FilterChips.h"

#include "core/DownloadSources.h"
#include "core/Format.h"

#include <algorithm>

namespace {

struct KindLook
{
    const char *label;
    const char *symbol;
};

KindLook kindLook(FileKind kind)
{
    switch (kind) {
    case FileKind::image: return {"Images", "photo.fill"};
    case FileKind::video: return {"Videos", "play.rectangle.fill"};
    case FileKind::audio: return {"Music", "music.note"};
    case FileKind::document: return {"Documents", "doc.text.fill"};
    case FileKind::archive: return {"Archives", "archivebox.fill"};
    case FileKind::app: return {"Apps", "app.badge.fill"};
    case FileKind::other: break;
    }
    return {"Other", "doc.fill"};
}

QString dateFieldWord(DateField field)
{
    switch (field) {
    case DateField::added: return QStringLiteral("Downloaded");
    case DateField::opened: return QStringLiteral("Opened");
    case DateField::created: return QStringLiteral("Created");
    case DateField::modified: break;
    }
    return {};
}

QStringList sorted(const QSet<QString> &values)
{
    QStringList list(values.begin(), values.end());
    std::sort(list.begin(), list.end());
    return list;
}

} // namespace

QList<FilterChip> filterChips(const SearchQuery &query)
{
    using Facet = FilterChip::Facet;
    const FileFilter &filter = query.filter;
    QList<FilterChip> chips;

    QList<FileKind> kinds(filter.kinds.begin(), filter.kinds.end());
    std::sort(kinds.begin(), kinds.end(),
              [](FileKind a, FileKind b) { return fileKindRawValue(a) < fileKindRawValue(b); });
    for (FileKind kind : kinds) {
        const KindLook look = kindLook(kind);
        chips.append({Facet::kind, kind, fileKindRawValue(kind), QString::fromLatin1(look.label),
                      QString::fromLatin1(look.symbol)});
    }
    for (const QString &ext : sorted(filter.extensions))
        chips.append({Facet::ext, FileKind::other, ext, ext.toUpper(), QStringLiteral("doc")});
    if (filter.screenshotsOnly)
        chips.append({Facet::screenshots, FileKind::other, {}, QStringLiteral("Screenshots"),
                      QStringLiteral("camera.viewfinder")});
    if (filter.dateFrom || filter.dateTo) {
        QStringList parts;
        if (const QString word = dateFieldWord(filter.dateField); !word.isEmpty())
            parts.append(word);
        if (query.dateLabel)
            parts.append(*query.dateLabel);
        const QString label = parts.isEmpty() ? QStringLiteral("Date") : parts.join(QStringLiteral(" · "));
        chips.append({Facet::date, FileKind::other, {}, label, QStringLiteral("calendar")});
    }
    if (filter.minSize)
        chips.append({Facet::minSize, FileKind::other, {}, QStringLiteral("Over ") + Format::byteCount(*filter.minSize),
                      QStringLiteral("arrow.up.right")});
    if (filter.maxSize)
        chips.append({Facet::maxSize, FileKind::other, {}, QStringLiteral("Under ") + Format::byteCount(*filter.maxSize),
                      QStringLiteral("arrow.down.right")});
    for (const QString &source : sorted(filter.sources))
        chips.append({Facet::source, FileKind::other, source, QStringLiteral("From ") + sourceDisplayName(source),
                      sourceSymbol(source)});
    for (const QString &keyword : query.keywords)
        chips.append({Facet::keyword, FileKind::other, keyword, QStringLiteral("“") + keyword + QStringLiteral("”"), {}});
    return chips;
}

QColor chipTint(const FilterChip &chip)
{
    using Facet = FilterChip::Facet;
    switch (chip.facet) {
    case Facet::kind:
        switch (chip.kind) {
        case FileKind::image: return QColor(0x30, 0xb0, 0xc7);
        case FileKind::video: return QColor(0xaf, 0x52, 0xde);
        case FileKind::audio: return QColor(0xff, 0x2d, 0x55);
        case FileKind::document: return QColor(0x00, 0x7a, 0xff);
        case FileKind::archive: return QColor(0xa2, 0x84, 0x5e);
        case FileKind::app: return QColor(0x58, 0x56, 0xd6);
        case FileKind::other: break;
        }
        return QColor(0x63, 0x63, 0x66);
    case Facet::ext: return QColor(0xff, 0x95, 0x00);
    case Facet::screenshots: return QColor(0x32, 0xad, 0xe6);
    case Facet::date: return QColor(0xff, 0x3b, 0x30);
    case Facet::minSize:
    case Facet::maxSize: return QColor(0x34, 0xc7, 0x59);
    case Facet::source: return QColor(0x00, 0xc7, 0xbe);
    case Facet::keyword: break;
    }
    return QColor(0x8e, 0x8e, 0x93);
}
