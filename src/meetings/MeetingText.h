// The text forms of meetings: the transcript as plain text, positions and
// lengths of time, and the short date line of a meeting or a file.
#pragma once

#include "meetings/MeetingModels.h"

#include "core/Format.h"

#include <QLocale>
#include <QSet>

// One line a run of one speaker: "[01:05] You: text". A run takes the next
// segment of its speaker while that starts less than 90 seconds after the
// run's first, so a monologue still breaks every 90 seconds.
QString transcriptText(QList<TranscriptSegment> segments);

// A position in a transcript, truncated: "01:05", "1:02:03".
QString timestampText(double seconds);
// A length of time, rounded: "1:06", "1:00:00".
QString durationText(double seconds);

// "Today, 4:05 PM", "Yesterday, 9:10 AM", "Monday 3:00 PM" within a week,
// else "Mar 3, 2026"; "—" without a date.
QString relativeDateText(const std::optional<QDateTime> &date, const QDateTime &now = QDateTime::currentDateTime(),
                         const QLocale &locale = Format::locale());

// The whole meeting as a Markdown document: its notes (Claude's, or a heading
// and the user's own), then the transcript.
QString meetingMarkdown(const Meeting &meeting, const QList<TranscriptSegment> &segments, const QLocale &locale);

// The word set of a text, for telling whether two remarks say the same: lower
// case, cut at every character that is neither a letter nor a number (so an
// apostrophe cuts too), pieces of one character dropped.
QSet<QString> echoTokens(const QString &text);
