#include "tidy/DuplicatesModel.h"

#include <algorithm>

DuplicatesModel::DuplicatesModel(IndexStore store, QObject *parent)
    : QObject(parent)
    , m_store(store)
    , m_scanner(std::move(store))
    , m_follow(std::make_unique<Debouncer>(followDelayMs))
{
}

DuplicatesModel::~DuplicatesModel()
{
    if (_task)
        _task->cancel();
    m_follow->cancel();
}

void DuplicatesModel::scan()
{
    if (isScanning())
        return;
    setPhase(DuplicatesPhase::scanning(QString::fromUtf8(comparingText), 0));

    QPointer<DuplicatesModel> self(this);
    const DuplicateScanner scanner = m_scanner;
    _task = Tasks::run(Tasks::Priority::UserInitiated, [self, scanner](const CancellationToken &token) {
        const auto report = [self, token](double offset, double share) {
            return [self, token, offset, share](double fraction) {
                Tasks::deliver(self, token, [self, offset, share, fraction] {
                    if (self)
                        self->applyProgress(offset + share * fraction);
                });
            };
        };
        QList<DuplicateGroup> identical;
        QList<DuplicateGroup> similar;
        try {
            identical = scanner.findIdentical(report(0, identicalShare), token);
            if (token.isCancelled())
                return;
            Tasks::deliver(self, token, [self] {
                if (self)
                    self->setPhase(DuplicatesPhase::scanning(QString::fromUtf8(lookingText), identicalShare));
            });
            // An exact copy never shows up again as a similar photo.
            QSet<qint64> excluding;
            for (const DuplicateGroup &group : identical) {
                for (const FileRecord &file : group.files)
                    excluding.insert(file.id);
            }
            similar = scanner.findSimilar(excluding, report(identicalShare, 1 - identicalShare), token);
        } catch (const DescribedError &) {
            // The scan ends with what it found up to then.
        }
        Tasks::deliver(self, token, [self, identical, similar] {
            if (self)
                self->finish(identical, similar);
        });
    });
}

void DuplicatesModel::applyProgress(double fraction)
{
    if (isScanning())
        setPhase(DuplicatesPhase::scanning(_phase.text, fraction));
}

void DuplicatesModel::finish(const QList<DuplicateGroup> &identical, const QList<DuplicateGroup> &similar)
{
    _task.reset();
    _keepers.clear();
    _skipped.clear();
    setLists(identical, similar);
    const QDateTime now = QDateTime::currentDateTime();
    if (_lastScan != now) {
        _lastScan = now;
        Q_EMIT lastScanChanged();
    }
    setPhase(DuplicatesPhase::done());
    Q_EMIT removalsChanged();
}

void DuplicatesModel::setLists(const QList<DuplicateGroup> &identical, const QList<DuplicateGroup> &similar)
{
    if (_identical != identical) {
        _identical = identical;
        Q_EMIT identicalChanged();
    }
    if (_similar != similar) {
        _similar = similar;
        Q_EMIT similarChanged();
    }
}

void DuplicatesModel::setPhase(const DuplicatesPhase &phase)
{
    if (_phase == phase)
        return;
    _phase = phase;
    Q_EMIT phaseChanged();
}

void DuplicatesModel::setMode(Mode mode)
{
    if (_mode == mode)
        return;
    _mode = mode;
    Q_EMIT modeChanged();
    Q_EMIT removalsChanged();
}

qint64 DuplicatesModel::keeperID(const DuplicateGroup &group) const
{
    return _keepers.value(group.identity(), group.keeper.id);
}

void DuplicatesModel::chooseKeeper(const DuplicateGroup &group, qint64 fileID)
{
    const QString identity = group.identity();
    if (_keepers.contains(identity) && _keepers.value(identity) == fileID)
        return;
    _keepers.insert(identity, fileID);
    Q_EMIT removalsChanged();
}

bool DuplicatesModel::isSkipped(const DuplicateGroup &group) const
{
    return _skipped.contains(group.identity());
}

void DuplicatesModel::setSkipped(const DuplicateGroup &group, bool skipped)
{
    const QString identity = group.identity();
    if (_skipped.contains(identity) == skipped)
        return;
    if (skipped)
        _skipped.insert(identity);
    else
        _skipped.remove(identity);
    Q_EMIT removalsChanged();
}

QList<FileRecord> DuplicatesModel::removals(const DuplicateGroup &group) const
{
    const qint64 keeper = keeperID(group);
    QList<FileRecord> files;
    for (const FileRecord &file : group.files) {
        if (file.id != keeper)
            files.append(file);
    }
    return files;
}

QList<FileRecord> DuplicatesModel::allRemovals() const
{
    QList<FileRecord> files;
    for (const DuplicateGroup &group : groups()) {
        if (!isSkipped(group))
            files += removals(group);
    }
    return files;
}

qint64 DuplicatesModel::reclaimableBytes() const
{
    qint64 total = 0;
    for (const FileRecord &file : allRemovals())
        total += file.size;
    return total;
}

void DuplicatesModel::removeMoved(const QStringList &movedPaths)
{
    if (movedPaths.isEmpty())
        return;
    const QSet<QString> moved(movedPaths.begin(), movedPaths.end());
    const QString downloads = DuplicateRules::downloadsFolder();
    const auto prune = [&](const QList<DuplicateGroup> &groups) {
        QList<DuplicateGroup> kept;
        for (const DuplicateGroup &group : groups) {
            const auto rest = DuplicateRules::pruned(group, moved, downloads);
            if (!rest)
                continue;
            kept.append(*rest);
            // The group's identity follows its members: carry the user's
            // choices over to the smaller group.
            const QString before = group.identity();
            const QString after = rest->identity();
            if (before == after)
                continue;
            if (const auto chosen = _keepers.find(before); chosen != _keepers.end()) {
                const qint64 id = *chosen;
                if (std::any_of(rest->files.begin(), rest->files.end(), [id](const FileRecord &f) { return f.id == id; }))
                    _keepers.insert(after, id);
            }
            if (_skipped.contains(before))
                _skipped.insert(after);
        }
        return kept;
    };
    setLists(prune(_identical), prune(_similar));
    Q_EMIT removalsChanged();
}

void DuplicatesModel::followLibrarySoon()
{
    m_follow->call([this](const CancellationToken &token) {
        QList<qint64> ids;
        for (const QList<DuplicateGroup> *groups : {&_identical, &_similar}) {
            for (const DuplicateGroup &group : *groups) {
                for (const FileRecord &file : group.files)
                    ids.append(file.id);
            }
        }
        if (ids.isEmpty())
            return;
        Tasks::run(Tasks::Priority::UserInitiated, [this, store = m_store, ids](const CancellationToken &token) mutable {
            QHash<qint64, FileRecord> present;
            try {
                present = store.files().records(ids);
            } catch (const DescribedError &) {
                // Unread, nothing is taken for gone.
                return;
            }
            Tasks::deliver(this, token, [this, ids, present] { dropGone(ids, present); });
        }, token);
    });
}

void DuplicatesModel::dropGone(const QList<qint64> &asked, const QHash<qint64, FileRecord> &present)
{
    const QSet<qint64> askedIDs(asked.begin(), asked.end());
    QStringList gone;
    for (const QList<DuplicateGroup> *groups : {&_identical, &_similar}) {
        for (const DuplicateGroup &group : *groups) {
            for (const FileRecord &file : group.files) {
                if (!askedIDs.contains(file.id))
                    continue;
                const auto found = present.constFind(file.id);
                if (found == present.constEnd() || found->path != file.path)
                    gone.append(file.path);
            }
        }
    }
    removeMoved(gone);
}
