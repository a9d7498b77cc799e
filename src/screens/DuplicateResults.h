// The duplicates scan as the duplicates screen binds to it: the groups of
// the chosen list with their files and which one stays, the scan's progress,
// what would be freed, and the move of the rest to the Trash.
#pragma once

#include <QObject>
#include <QTimer>
#include <QVariantList>

#include "store/FileRecord.h"

#include <optional>

class AppModel;
class DuplicatesModel;
struct DuplicateGroup;

class DuplicateResults : public QObject
{
    Q_OBJECT
    // One entry a group of the chosen list: identity, heading ("3 identical
    // copies"), reclaimableText, skipped, and files, each the values of a
    // file with "keep" set on the one that stays.
    Q_PROPERTY(QVariantList groups READ groupItems NOTIFY groupsChanged)
    Q_PROPERTY(int identicalCount READ identicalCount NOTIFY groupsChanged)
    Q_PROPERTY(int similarCount READ similarCount NOTIFY groupsChanged)
    // "identical" or "similar".
    Q_PROPERTY(QString mode READ modeName WRITE setModeName NOTIFY modeChanged)
    Q_PROPERTY(bool scanning READ isScanning NOTIFY phaseChanged)
    Q_PROPERTY(bool scanned READ isScanned NOTIFY phaseChanged)
    Q_PROPERTY(QString phaseText READ phaseText NOTIFY phaseChanged)
    Q_PROPERTY(double fraction READ fraction NOTIFY phaseChanged)
    // "Identical files and similar photos", and after a scan what the copies
    // take and when it ran.
    Q_PROPERTY(QString subtitle READ subtitle NOTIFY subtitleChanged)
    Q_PROPERTY(int removalCount READ removalCount NOTIFY groupsChanged)
    Q_PROPERTY(QString reclaimableText READ reclaimableText NOTIFY groupsChanged)

public:
    // Both must outlive this.
    explicit DuplicateResults(AppModel &app, QObject *parent = nullptr);

    QVariantList groupItems() const;
    int identicalCount() const;
    int similarCount() const;
    QString modeName() const;
    void setModeName(const QString &mode);
    bool isScanning() const;
    bool isScanned() const;
    QString phaseText() const;
    double fraction() const;
    QString subtitle() const;
    int removalCount() const;
    QString reclaimableText() const;

    Q_INVOKABLE void scan();
    // Keeps that file of the group and marks its other copies for the Trash.
    Q_INVOKABLE void keep(const QString &identity, qint64 fileID);
    // A skipped group stays listed but none of its files move.
    Q_INVOKABLE void setSkipped(const QString &identity, bool skipped);
    // Moves every file marked for the Trash, in groups that aren't skipped,
    // and drops what moved from both lists. Returns how many files moved.
    Q_INVOKABLE qint64 moveToTrash();
    // Moves the files given as QVariants holding FileRecord, from a context
    // menu, and drops them from both lists.
    Q_INVOKABLE qint64 moveFilesToTrash(const QVariantList &records);

Q_SIGNALS:
    void groupsChanged();
    void modeChanged();
    void phaseChanged();
    void subtitleChanged();

private:
    // The group of the shown list with that identity.
    std::optional<DuplicateGroup> group(const QString &identity) const;
    qint64 trash(const QList<FileRecord> &files);

    AppModel &m_app;
    DuplicatesModel &m_model;
    // Keeps "scanned 5 minutes ago" true while the screen stands.
    QTimer m_clock;
};
