// The library's folders as Settings and the onboarding list them: each
// folder's name, path and how many files it holds, counted on disk in the
// background. The folder dialog feeds add(); remove() drops a folder.
#pragma once

#include "core/Tasks.h"

#include <QHash>
#include <QObject>
#include <QUrl>
#include <QVariantList>

class AppModel;

class FolderList : public QObject
{
    Q_OBJECT
    // [{path, name, countText}] in the order of the settings.
    Q_PROPERTY(QVariantList folders READ folders NOTIFY foldersChanged)

public:
    // A folder's files are counted up to this many; beyond, it is "10,000+".
    static constexpr qint64 countLimit = 10000;

    explicit FolderList(AppModel &app, QObject *parent = nullptr);
    ~FolderList() override;

    QVariantList folders() const;

    // A folder the dialog chose, as a file URL or a path.
    Q_INVOKABLE void add(const QUrl &folder);
    Q_INVOKABLE void remove(const QString &path);

    // "No files", "1 file", "2,345 files", "10,000+ files", or "Not found"
    // for a folder that isn't there.
    static QString countText(std::optional<qint64> count);
    // The files under the folder, at most countLimit of them, hidden ones
    // left out; none for a folder that doesn't exist.
    static std::optional<qint64> countFiles(const QString &folder, const CancellationToken &token);

Q_SIGNALS:
    void foldersChanged();

private:
    void recount();

    AppModel &m_app;
    CancellationToken m_counting;
    // The count of each folder once known; absent means not counted yet, a
    // held absent value that the folder wasn't found.
    QHash<QString, std::optional<qint64>> m_counts;
};
