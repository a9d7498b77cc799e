// What the clean-up screen would move to the Trash: the suggestions of the
// overview, less the files the user took out. A file taken out stays out
// across refreshes, since it is held by its id.
#pragma once

#include "store/FileRecord.h"

#include <QObject>
#include <QSet>
#include <QVariantList>

class LibraryModel;

class CleanupSelection : public QObject
{
    Q_OBJECT
    // The raw value of the opened category; empty when all are closed.
    Q_PROPERTY(QString expanded READ expanded WRITE setExpanded NOTIFY expandedChanged)
    // Changes whenever a file is taken out or put back, or the suggestions change.
    Q_PROPERTY(int revision READ revision NOTIFY selectionChanged)

public:
    // The model must outlive this.
    explicit CleanupSelection(const LibraryModel &library, QObject *parent = nullptr);

    QString expanded() const { return _expanded; }
    void setExpanded(const QString &kind);
    int revision() const { return m_revision; }

    bool isDeselected(qint64 id) const { return _deselected.contains(id); }
    // The files of the category, the values of each with "checked".
    Q_INVOKABLE QVariantList files(const QString &kind) const;
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

    const LibraryModel &m_library;
    int m_revision = 0;
    QString _expanded;
    QSet<qint64> _deselected;
};
