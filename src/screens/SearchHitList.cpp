#include "screens/SearchHitList.h"

#include <QSet>

SearchHitList::SearchHitList(QObject *parent)
    : QAbstractListModel(parent)
{
}

QString SearchHitList::snippetMarkup(const QString &snippet)
{
    QString markup = snippet.toHtmlEscaped();
    markup.replace(QStringLiteral("⟦"), QStringLiteral("<b>"));
    markup.replace(QStringLiteral("⟧"), QStringLiteral("</b>"));
    return markup;
}

int SearchHitList::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_hits.size());
}

QVariant SearchHitList::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const FileHit &hit = m_hits.at(index.row());
    switch (role) {
    case SnippetRole:
        return hit.snippet ? snippetMarkup(*hit.snippet) : QString();
    case ReasonRole:
        return hit.reason.value_or(QString());
    case FileItems::SelectedRole:
        return false;
    default:
        return FileItems::data(hit.file, role);
    }
}

QHash<int, QByteArray> SearchHitList::roleNames() const
{
    QHash<int, QByteArray> names = FileItems::roleNames();
    names.insert(SnippetRole, "snippet");
    names.insert(ReasonRole, "reason");
    return names;
}

qsizetype SearchHitList::rowOf(qint64 fileID, qsizetype from) const
{
    for (qsizetype row = from; row < m_hits.size(); ++row) {
        if (m_hits.at(row).file.id == fileID)
            return row;
    }
    return -1;
}

// Rows of files the new list no longer has go first, a run of neighbours at
// a time, from the bottom so that the rows above keep their places.
void SearchHitList::removeAbsent(const QList<FileHit> &hits)
{
    QSet<qint64> wanted;
    wanted.reserve(hits.size());
    for (const FileHit &hit : hits)
        wanted.insert(hit.file.id);
    qsizetype last = m_hits.size() - 1;
    while (last >= 0) {
        if (wanted.contains(m_hits.at(last).file.id)) {
            --last;
            continue;
        }
        qsizetype first = last;
        while (first > 0 && !wanted.contains(m_hits.at(first - 1).file.id))
            --first;
        beginRemoveRows({}, int(first), int(last));
        m_hits.remove(first, last - first + 1);
        endRemoveRows();
        last = first - 1;
    }
}

void SearchHitList::setHits(const QList<FileHit> &hits)
{
    if (hits == m_hits)
        return;
    const qsizetype before = m_hits.size();
    removeAbsent(hits);
    // Then row by row: a file already in its place is updated if its values
    // changed, one further down moves up, and a run of new files goes in
    // together.
    qsizetype row = 0;
    while (row < hits.size()) {
        const FileHit &hit = hits.at(row);
        const qsizetype at = rowOf(hit.file.id, row);
        if (at == row) {
            if (m_hits.at(row) != hit) {
                m_hits[row] = hit;
                Q_EMIT dataChanged(index(int(row)), index(int(row)));
            }
            ++row;
        } else if (at > row) {
            beginMoveRows({}, int(at), int(at), {}, int(row));
            m_hits.move(at, row);
            endMoveRows();
            // Its values are compared on the next turn, now in its place.
        } else {
            qsizetype end = row + 1;
            while (end < hits.size() && rowOf(hits.at(end).file.id, row) < 0)
                ++end;
            beginInsertRows({}, int(row), int(end - 1));
            for (qsizetype i = row; i < end; ++i)
                m_hits.insert(i, hits.at(i));
            endInsertRows();
            row = end;
        }
    }
    // Left over only when the new list named a file twice.
    if (m_hits.size() > hits.size()) {
        beginRemoveRows({}, int(hits.size()), int(m_hits.size() - 1));
        m_hits.resize(hits.size());
        endRemoveRows();
    }
    if (m_hits.size() != before)
        Q_EMIT countChanged();
}
