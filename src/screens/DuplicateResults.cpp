#include "screens/DuplicateResults.h"

#include "app/AppModel.h"
#include "core/Format.h"
#include "screens/FileItems.h"
#include "tidy/DuplicatesModel.h"

#include <QDir>

#include <algorithm>

namespace {

// The subtitle's relative time moves on at this pace.
constexpr int clockIntervalMs = 60 * 1000;

QString groupHeading(const DuplicateGroup &group)
{
    const QString count = Format::count(group.files.size());
    return group.kind == DuplicateGroup::Kind::identical ? count + QStringLiteral(" identical copies")
                                                         : count + QStringLiteral(" similar photos");
}

qint64 bytesOf(const QList<FileRecord> &files)
{
    qint64 bytes = 0;
    for (const FileRecord &file : files)
        bytes += file.size;
    return bytes;
}

} // namespace

DuplicateResults::DuplicateResults(AppModel &app, QObject *parent)
    : QObject(parent)
    , m_app(app)
    , m_model(*app.duplicates())
{
    connect(&m_model, &DuplicatesModel::identicalChanged, this, &DuplicateResults::groupsChanged);
    connect(&m_model, &DuplicatesModel::similarChanged, this, &DuplicateResults::groupsChanged);
    connect(&m_model, &DuplicatesModel::removalsChanged, this, &DuplicateResults::groupsChanged);
    connect(&m_model, &DuplicatesModel::removalsChanged, this, &DuplicateResults::subtitleChanged);
    connect(&m_model, &DuplicatesModel::modeChanged, this, &DuplicateResults::modeChanged);
    connect(&m_model, &DuplicatesModel::modeChanged, this, &DuplicateResults::groupsChanged);
    connect(&m_model, &DuplicatesModel::phaseChanged, this, &DuplicateResults::phaseChanged);
    connect(&m_model, &DuplicatesModel::lastScanChanged, this, &DuplicateResults::subtitleChanged);
    m_clock.setInterval(clockIntervalMs);
    connect(&m_clock, &QTimer::timeout, this, &DuplicateResults::subtitleChanged);
    m_clock.start();
}

std::optional<DuplicateGroup> DuplicateResults::group(const QString &identity) const
{
    for (const DuplicateGroup &group : m_model.groups()) {
        if (group.identity() == identity)
            return group;
    }
    return std::nullopt;
}

QVariantList DuplicateResults::groupItems() const
{
    QVariantList items;
    for (const DuplicateGroup &group : m_model.groups()) {
        const qint64 keeper = m_model.keeperID(group);
        QVariantList files;
        for (const FileRecord &file : group.files) {
            QVariantMap item = FileItems::map(file);
            item.insert(QStringLiteral("keep"), file.id == keeper);
            item.insert(QStringLiteral("where"), Format::folderOf(file.path, QDir::homePath()));
            files.append(item);
        }
        items.append(QVariantMap{
            {QStringLiteral("identity"), group.identity()},
            {QStringLiteral("heading"), groupHeading(group)},
            {QStringLiteral("reclaimableText"),
             Format::byteCount(bytesOf(m_model.removals(group))) + QStringLiteral(" reclaimable")},
            {QStringLiteral("skipped"), m_model.isSkipped(group)},
            {QStringLiteral("files"), files},
        });
    }
    return items;
}

int DuplicateResults::identicalCount() const
{
    return int(m_model.identical().size());
}

int DuplicateResults::similarCount() const
{
    return int(m_model.similar().size());
}

QString DuplicateResults::modeName() const
{
    return m_model.mode() == DuplicatesModel::Mode::identical ? QStringLiteral("identical") : QStringLiteral("similar");
}

void DuplicateResults::setModeName(const QString &mode)
{
    if (mode == QLatin1String("identical"))
        m_model.setMode(DuplicatesModel::Mode::identical);
    else if (mode == QLatin1String("similar"))
        m_model.setMode(DuplicatesModel::Mode::similar);
}

bool DuplicateResults::isScanning() const
{
    return m_model.isScanning();
}

bool DuplicateResults::isScanned() const
{
    return m_model.lastScan().has_value();
}

QString DuplicateResults::phaseText() const
{
    return m_model.phaseText();
}

double DuplicateResults::fraction() const
{
    return m_model.fraction();
}

QString DuplicateResults::subtitle() const
{
    const auto lastScan = m_model.lastScan();
    if (!lastScan)
        return QStringLiteral("Identical files and similar photos");
    return Format::byteCount(m_model.reclaimableBytes()) + QStringLiteral(" in copies · scanned ")
        + Format::timeAgo(*lastScan, QDateTime::currentDateTime());
}

int DuplicateResults::removalCount() const
{
    return int(m_model.allRemovals().size());
}

QString DuplicateResults::reclaimableText() const
{
    return Format::byteCount(m_model.reclaimableBytes());
}

void DuplicateResults::scan()
{
    m_model.scan();
}

void DuplicateResults::keep(const QString &identity, qint64 fileID)
{
    const auto chosen = group(identity);
    if (!chosen)
        return;
    const bool member = std::any_of(chosen->files.begin(), chosen->files.end(),
                                    [fileID](const FileRecord &file) { return file.id == fileID; });
    if (member)
        m_model.chooseKeeper(*chosen, fileID);
}

void DuplicateResults::setSkipped(const QString &identity, bool skipped)
{
    if (const auto chosen = group(identity))
        m_model.setSkipped(*chosen, skipped);
}

qint64 DuplicateResults::trash(const QList<FileRecord> &files)
{
    if (files.isEmpty())
        return 0;
    const FileActions::TrashOutcome outcome = m_app.moveToTrash(files);
    m_model.removeMoved(outcome.movedPaths);
    return outcome.moved;
}

qint64 DuplicateResults::moveToTrash()
{
    return trash(m_model.allRemovals());
}

qint64 DuplicateResults::moveFilesToTrash(const QVariantList &records)
{
    QList<FileRecord> files;
    for (const QVariant &record : records) {
        if (record.canConvert<FileRecord>())
            files.append(record.value<FileRecord>());
    }
    return trash(files);
}
