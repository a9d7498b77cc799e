#include "indexing/IndexingStatus.h"

#include "core/Format.h"

QString IndexingPhase::statusText() const
{
    switch (kind) {
    case Kind::scanning:
        return QStringLiteral("Scanning ") + folder + QStringLiteral(" · ") + Format::counted(found, QStringLiteral("item"));
    case Kind::reading:
        return QStringLiteral("Reading contents · ") + Format::count(remaining) + QStringLiteral(" left");
    case Kind::idle:
        return QStringLiteral("Getting ready");
    case Kind::ready:
        break;
    }
    return QStringLiteral("Up to date");
}

IndexingStatus::IndexingStatus(QObject *parent)
    : QObject(parent)
{
}

void IndexingStatus::setPhase(const IndexingPhase &phase)
{
    if (_phase == phase)
        return;
    _phase = phase;
    Q_EMIT phaseChanged();
}

void IndexingStatus::bumpRevision()
{
    ++_revision;
    Q_EMIT revisionChanged();
}

void IndexingStatus::setLastError(const std::optional<QString> &error)
{
    if (_lastError == error)
        return;
    _lastError = error;
    Q_EMIT lastErrorChanged();
}
