// What the clean-up screen would move to the Trash: the suggestions of the
// overview, less the files the user took out. A file taken out stays out
// across refreshes, since it is held by its id. The files of the opened
// category are listed through one paged model.
#pragma once

#include "store/FileRecord.h"

#include <QObject>
#include <QSet>
#include <QVariantList>

class CleanupFiles;
class LibraryModel;

class CleanupSelection : public QObject
{
    Q_OBJECT
    Q_MOC_INCLUDE("screens/CleanupFiles.h")
    // The raw value of the opened category; empty when all are closed.
    Q_PROPERTY(QString expanded READ expanded WRITE setExpanded NOTIFY expandedChanged)
    // Changes whenever a file is taken out or put back, or the suggestions change.
    Q_PROPERTY(int revision READ revision NOTIFY selectionChanged)
    // The opened category's files, a page at a time.
    Q_PROPERTY(CleanupFiles *files READ files CONSTANT)

public:
    // The model must outlive this.
    explicit CleanupSelection(const LibraryModel &library, QObject *parent = nullptr);

    QString expanded() const { return _expanded; }
    void setExpanded(const QString &kind);
    int revision() const { return m_revision; }

    bool isDeselected(qint64 id) const { return _deselected.contains(id); }
    CleanupFiles *files() const { return m_files; }
    Q_INVOKABLE void setChecked(qint64 id, bool checked);
    // Takes every file of the category out, or puts them all back.
    Q_INVOKABLE void setCategoryChecked(const QString &kind, bool checked);

    // The category's files that are still chosen.
    QList<FileRecord> chosen(const QString &kind) const;
    Q_INVOKABLE int chosenCount(const QString &kind) const;
    Q_INVOKABLE QString chosenBytesText(const QString &kind) const;
    // As QVariants holding FileRecord, for the Trash.
    Q_INVOKABLE QVariantList chosenRecords(const QString &kind) const;

Q_SIGNALS:
    void expandedChanged();
    void selectionChanged();

private:
    QList<FileRecord> categoryFiles(const QString &kind) const;
    void changed();
    void suggestionsChanged();

    const LibraryModel &m_library;
    CleanupFiles *m_files;
    int m_revision = 0;
    QString _expanded;
    QSet<qint64> _deselected;
};
