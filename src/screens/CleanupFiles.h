// The files of the opened clean-up category, as the card lists them: a page
// at a time, the next as the screen scrolls near the end of those shown, so
// that a category of a hundred thousand files opens as quickly as one of ten.
// Each row is the file's values with "checked" and "where". Main thread only.
#pragma once

#include "store/FileRecord.h"

#include <QAbstractListModel>

#include <functional>

class CleanupFiles : public QAbstractListModel
{
    Q_OBJECT

public:
    // The card lays out every row it is given, so pages stay small.
    static constexpr int pageSize = 200;
    enum Role { EntryRole = Qt::UserRole + 1 };

    // Whether a file is still chosen for the Trash.
    using ChosenTest = std::function<bool(qint64 id)>;

    explicit CleanupFiles(ChosenTest isChosen, QObject *parent = nullptr);

    // Shows these files, from the first page.
    void setFiles(const QList<FileRecord> &files);
    // The file was checked or unchecked; its row shows it.
    void checkChanged(qint64 id);
    // Many files changed at once.
    void checksChanged();

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;
    bool canFetchMore(const QModelIndex &parent) const override;
    void fetchMore(const QModelIndex &parent) override;

private:
    ChosenTest m_isChosen;
    QList<FileRecord> m_files;
    int m_shown = 0;
};
