// The state of the duplicates screen: the groups of the last scan, the scan
// in flight, and the user's own choices of keepers and skipped groups. Main
// thread only.
#pragma once

#include "tidy/Duplicates.h"

#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QSet>

#include <memory>
#include <optional>

struct DuplicatesPhase
{
    enum class Kind { idle, scanning, done };

    Kind kind = Kind::idle;
    QString text; // scanning
    double fraction = 0; // scanning, 0 to 1

    static DuplicatesPhase idle() { return {}; }
    static DuplicatesPhase scanning(const QString &text, double fraction) { return {Kind::scanning, text, fraction}; }
    static DuplicatesPhase done() { return {Kind::done, {}, 0}; }

    friend bool operator==(const DuplicatesPhase &, const DuplicatesPhase &) = default;
};

class DuplicatesModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QList<DuplicateGroup> identical READ identical NOTIFY identicalChanged)
    Q_PROPERTY(QList<DuplicateGroup> similar READ similar NOTIFY similarChanged)
    Q_PROPERTY(bool scanning READ isScanning NOTIFY phaseChanged)
    Q_PROPERTY(QString phaseText READ phaseText NOTIFY phaseChanged)
    Q_PROPERTY(double fraction READ fraction NOTIFY phaseChanged)
    Q_PROPERTY(QDateTime lastScan READ lastScanTime NOTIFY lastScanChanged)
    Q_PROPERTY(Mode mode READ mode WRITE setMode NOTIFY modeChanged)
    Q_PROPERTY(qint64 reclaimableBytes READ reclaimableBytes NOTIFY removalsChanged)

public:
    enum class Mode { identical, similar };
    Q_ENUM(Mode)

    // A burst of library changes is followed once it has rested this long.
    static constexpr int followDelayMs = 1200;

    static constexpr const char *comparingText = "Comparing files with the same size…";
    static constexpr const char *lookingText = "Looking for similar photos…";
    // The identical scan fills the bar up to here, the photos the rest.
    static constexpr double identicalShare = 0.4;

    explicit DuplicatesModel(IndexStore store, QObject *parent = nullptr);
    // Cancels a scan in flight.
    ~DuplicatesModel() override;

    // Starts a scan unless one is running.
    void scan();

    QList<DuplicateGroup> identical() const { return _identical; }
    QList<DuplicateGroup> similar() const { return _similar; }
    // The list the screen shows now.
    QList<DuplicateGroup> groups() const { return _mode == Mode::identical ? _identical : _similar; }

    DuplicatesPhase phase() const { return _phase; }
    bool isScanning() const { return _phase.kind == DuplicatesPhase::Kind::scanning; }
    QString phaseText() const { return _phase.text; }
    double fraction() const { return _phase.fraction; }

    std::optional<QDateTime> lastScan() const { return _lastScan; }
    QDateTime lastScanTime() const { return _lastScan.value_or(QDateTime()); }

    Mode mode() const { return _mode; }
    void setMode(Mode mode);

    // The user's keeper where they chose one, else the proposed one.
    qint64 keeperID(const DuplicateGroup &group) const;
    void chooseKeeper(const DuplicateGroup &group, qint64 fileID);
    bool isSkipped(const DuplicateGroup &group) const;
    void setSkipped(const DuplicateGroup &group, bool skipped);

    // A group's files other than its keeper.
    QList<FileRecord> removals(const DuplicateGroup &group) const;
    // The removals of every group of the current list that isn't skipped.
    QList<FileRecord> allRemovals() const;
    qint64 reclaimableBytes() const;

    // After files went to the Trash: each group of both lists keeps the
    // files that didn't move, a group left with fewer than two is dropped,
    // and a group whose keeper moved gets a new one by its rule.
    void removeMoved(const QStringList &movedPaths);
    // The library changed under the lists: files that left it since (moved
    // to the Trash in the file manager, deleted, in a folder no longer
    // indexed) leave their groups as removeMoved() has them leave, once a
    // burst of changes has rested. The library is read in the background.
    void followLibrarySoon();

Q_SIGNALS:
    void identicalChanged();
    void similarChanged();
    void phaseChanged();
    void lastScanChanged();
    void modeChanged();
    // Keepers, skipped groups or the lists changed what would be removed.
    void removalsChanged();

private:
    void setPhase(const DuplicatesPhase &phase);
    // Progress from the scan, applied only while still scanning.
    void applyProgress(double fraction);
    void finish(const QList<DuplicateGroup> &identical, const QList<DuplicateGroup> &similar);
    void setLists(const QList<DuplicateGroup> &identical, const QList<DuplicateGroup> &similar);
    // Drops the files of the ids asked about that the library no longer
    // holds at the same path.
    void dropGone(const QList<qint64> &asked, const QHash<qint64, FileRecord> &present);

    IndexStore m_store;
    DuplicateScanner m_scanner;
    std::unique_ptr<Debouncer> m_follow;
    QList<DuplicateGroup> _identical;
    QList<DuplicateGroup> _similar;
    DuplicatesPhase _phase;
    std::optional<QDateTime> _lastScan;
    Mode _mode = Mode::identical;
    QHash<QString, qint64> _keepers;
    QSet<QString> _skipped;
    std::optional<CancellationToken> _task;
};
