#include "screens/CleanupFiles.h"

#include "core/Format.h"
#include "screens/FileItems.h"

#include <QDir>

CleanupFiles::CleanupFiles(ChosenTest isChosen, QObject *parent)
    : QAbstractListModel(parent)
    , m_isChosen(std::move(isChosen))
{
}

void CleanupFiles::setFiles(const QList<FileRecord> &files)
{
    beginResetModel();
    m_files = files;
    m_shown = int(std::min<qsizetype>(pageSize, m_files.size()));
    endResetModel();
}

void CleanupFiles::checkChanged(qint64 id)
{
    for (int row = 0; row < m_shown; ++row) {
        if (m_files.at(row).id == id) {
            Q_EMIT dataChanged(index(row), index(row), {EntryRole});
            return;
        }
    }
}

void CleanupFiles::checksChanged()
{
    if (m_shown > 0)
        Q_EMIT dataChanged(index(0), index(m_shown - 1), {EntryRole});
}

int CleanupFiles::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_shown;
}

QVariant CleanupFiles::data(const QModelIndex &index, int role) const
{
    if (role != EntryRole || !index.isValid() || index.row() >= m_shown)
        return {};
    const FileRecord &file = m_files.at(index.row());
    QVariantMap entry = FileItems::map(file);
    entry.insert(QStringLiteral("checked"), m_isChosen(file.id));
    entry.insert(QStringLiteral("where"), Format::folderOf(file.path, QDir::homePath()));
    return entry;
}

QHash<int, QByteArray> CleanupFiles::roleNames() const
{
    return {{EntryRole, "entry"}};
}

bool CleanupFiles::canFetchMore(const QModelIndex &parent) const
{
    return !parent.isValid() && m_shown < m_files.size();
}

void CleanupFiles::fetchMore(const QModelIndex &parent)
{
    if (!canFetchMore(parent))
        return;
    const int more = int(std::min<qsizetype>(pageSize, m_files.size() - m_shown));
    beginInsertRows(QModelIndex(), m_shown, m_shown + more - 1);
    m_shown += more;
    endInsertRows();
}
