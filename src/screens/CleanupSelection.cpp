#include "screens/CleanupSelection.h"

#include "core/Format.h"
#include "screens/FileItems.h"
#include "screens/LibraryModel.h"

#include <QDir>

CleanupSelection::CleanupSelection(const LibraryModel &library, QObject *parent)
    : QObject(parent)
    , m_library(library)
{
    connect(&library, &LibraryModel::cleanupChanged, this, &CleanupSelection::changed);
}

void CleanupSelection::changed()
{
    ++m_revision;
    Q_EMIT selectionChanged();
}

void CleanupSelection::setExpanded(const QString &kind)
{
    if (_expanded == kind)
        return;
    _expanded = kind;
    Q_EMIT expandedChanged();
}

QList<FileRecord> CleanupSelection::categoryFiles(const QString &kind) const
{
    for (const CleanupCategory &category : m_library.cleanup()) {
        if (CleanupCategory::rawValue(category.kind) == kind)
            return category.files;
    }
    return {};
}

QVariantList CleanupSelection::files(const QString &kind) const
{
    QVariantList items;
    for (const FileRecord &file : categoryFiles(kind)) {
        QVariantMap item = FileItems::map(file);
        item.insert(QStringLiteral("checked"), !isDeselected(file.id));
        item.insert(QStringLiteral("where"), Format::folderOf(file.path, QDir::homePath()));
        items.append(item);
    }
    return items;
}

void CleanupSelection::setChecked(qint64 id, bool checked)
{
    if (isDeselected(id) == !checked)
        return;
    if (checked)
        _deselected.remove(id);
    else
        _deselected.insert(id);
    changed();
}

void CleanupSelection::setCategoryChecked(const QString &kind, bool checked)
{
    bool any = false;
    for (const FileRecord &file : categoryFiles(kind)) {
        any = any || isDeselected(file.id) == checked;
        if (checked)
            _deselected.remove(file.id);
        else
            _deselected.insert(file.id);
    }
    if (any)
        changed();
}

QList<FileRecord> CleanupSelection::chosen(const QString &kind) const
{
    QList<FileRecord> files = categoryFiles(kind);
    files.removeIf([this](const FileRecord &file) { return isDeselected(file.id); });
    return files;
}

int CleanupSelection::chosenCount(const QString &kind) const
{
    return int(chosen(kind).size());
}

QString CleanupSelection::chosenBytesText(const QString &kind) const
{
    qint64 bytes = 0;
    for (const FileRecord &file : chosen(kind))
        bytes += file.size;
    return Format::byteCount(bytes);
}

QVariantList CleanupSelection::chosenRecords(const QString &kind) const
{
    QVariantList records;
    for (const FileRecord &file : chosen(kind))
        records.append(QVariant::fromValue(file));
    return records;
}
