// One list of search results as the rows of the search screen: each hit's
// file values (FileItems' roles), its snippet as rich text with the matched
// words in bold, and Claude's reason. A new list of hits is laid over the
// rows in place: the rows of files that stay are kept, moved when their
// place changed and updated when their values did, and only the others are
// inserted or removed, so the view keeps its row items and draws no more
// than what changed. Main thread only.
#pragma once

#include "screens/FileItems.h"
#include "store/FileQuery.h"

#include <QAbstractListModel>

class SearchHitList : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role {
        SnippetRole = FileItems::SelectedRole + 1, // rich text, or empty
        ReasonRole, // Claude's reason, or empty
    };

    explicit SearchHitList(QObject *parent = nullptr);

    int count() const { return int(m_hits.size()); }
    const QList<FileHit> &hits() const { return m_hits; }
    void setHits(const QList<FileHit> &hits);

    // The snippet's ⟦ ⟧ marks as bold, everything else escaped, so that
    // no mark and no markup of the file's own text ever shows.
    static QString snippetMarkup(const QString &snippet);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void countChanged();

private:
    // The first row at or after from that shows the file, or -1.
    qsizetype rowOf(qint64 fileID, qsizetype from) const;
    void removeAbsent(const QList<FileHit> &hits);

    QList<FileHit> m_hits;
};
