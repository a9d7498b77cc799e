#include "screens/CleanupSelection.h"

#include "core/Format.h"
#include "screens/CleanupFiles.h"
#include "screens/LibraryModel.h"

CleanupSelection::CleanupSelection(const LibraryModel &library, QObject *parent)
    : QObject(parent)
    , m_library(library)
    , m_files(new CleanupFiles([this](qint64 id) { return !isDeselected(id); }, this))
{
    connect(&library, &LibraryModel::cleanupChanged, this, &CleanupSelection::suggestionsChanged);
}

void CleanupSelection::suggestionsChanged()
{
    m_files->setFiles(categoryFiles(_expanded));
    changed();
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
    // The card closing lets go of the rows before the opening one takes
    // them, so that no card lays out the other's files.
    m_files->setFiles({});
    _expanded = kind;
    Q_EMIT expandedChanged();
    m_files->setFiles(categoryFiles(kind));
}

QList<FileRecord> CleanupSelection::categoryFiles(const QString &kind) const
{
    for (const CleanupCategory &category : m_library.cleanup()) {
        if (CleanupCategory::rawValue(category.kind) == kind)
            return category.files;
    }
    return {};
}

void CleanupSelection::setChecked(qint64 id, bool checked)
{
    if (isDeselected(id) == !checked)
        return;
    if (checked)
        _deselected.remove(id);
    else
        _deselected.insert(id);
    m_files->checkChanged(id);
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
    if (!any)
        return;
    if (kind == _expanded)
        m_files->checksChanged();
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
