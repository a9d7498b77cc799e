// The texts of the meetings screen that depend on the clock: the list's rows
// grouped by day, how long a recording has run, and when Claude wrote the
// notes.
#pragma once

#include <QDateTime>
#include <QObject>
#include <QVariantList>

class MeetingItems : public QObject
{
    Q_OBJECT

public:
    explicit MeetingItems(QObject *parent = nullptr);

    // The meetings as the list shows them, newest first, each with "header"
    // (the day's heading on the first row of a day, else empty) and "time"
    // (the start's time of day, then " · " and the length when it ended).
    Q_INVOKABLE QVariantList rows(const QVariantList &meetings) const;
    static QVariantList rows(const QVariantList &meetings, const QDateTime &now);

    // The length of a recording so far; "0:00" before it began.
    Q_INVOKABLE QString elapsedText(const QDateTime &startedAt) const;
    // "Written by Claude yesterday"; empty without a date.
    Q_INVOKABLE QString writtenText(const QDateTime &enhancedAt) const;
    // What "Save as Markdown…" proposes: the title (slashes made dashes)
    // and ".md", in the Documents folder, or home without one.
    Q_INVOKABLE static QUrl proposedFile(const QString &title);
    // A file URL as a path, for the save dialog's choice.
    Q_INVOKABLE static QString pathOf(const QUrl &url);
};
