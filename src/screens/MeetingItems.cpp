#include "screens/MeetingItems.h"

#include "core/Format.h"
#include "meetings/MeetingText.h"

#include <QDir>
#include <QStandardPaths>
#include <QUrl>
#include <QVariantMap>

using namespace Qt::StringLiterals;

MeetingItems::MeetingItems(QObject *parent)
    : QObject(parent)
{
}

QVariantList MeetingItems::rows(const QVariantList &meetings) const
{
    return rows(meetings, QDateTime::currentDateTime());
}

QVariantList MeetingItems::rows(const QVariantList &meetings, const QDateTime &now)
{
    QVariantList rows;
    QString previous;
    for (const QVariant &value : meetings) {
        QVariantMap row = value.toMap();
        const QDateTime started = row.value(u"started"_s).toDateTime();
        // A meeting belongs to the day it started, even when it ran past
        // midnight.
        const QString heading = Format::dayHeading(started, now);
        row.insert(u"header"_s, heading == previous ? QString() : heading);
        previous = heading;
        QString time = Format::shortTime(started.toLocalTime());
        const QString length = row.value(u"length"_s).toString();
        if (!length.isEmpty())
            time += u" · "_s + length;
        row.insert(u"time"_s, time);
        rows.append(row);
    }
    return rows;
}

QString MeetingItems::elapsedText(const QDateTime &startedAt) const
{
    if (!startedAt.isValid())
        return u"0:00"_s;
    return durationText(std::max(0.0, double(startedAt.msecsTo(QDateTime::currentDateTime())) / 1000.0));
}

QString MeetingItems::writtenText(const QDateTime &enhancedAt) const
{
    if (!enhancedAt.isValid())
        return QString();
    return u"Written by Claude "_s + Format::timeAgo(enhancedAt, QDateTime::currentDateTime());
}

QString MeetingItems::pathOf(const QUrl &url)
{
    return url.isLocalFile() ? url.toLocalFile() : url.toString();
}

QUrl MeetingItems::proposedFile(const QString &title)
{
    QString folder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    if (folder.isEmpty() || !QDir(folder).exists())
        folder = QDir::homePath();
    QString name = title.trimmed().isEmpty() ? u"Untitled meeting"_s : title.trimmed();
    name.replace(u'/', u'-');
    return QUrl::fromLocalFile(folder + u'/' + name + u".md"_s);
}
