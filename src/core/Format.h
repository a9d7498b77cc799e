// The one formatter for numbers and byte counts shown to people.
#pragma once

#include <QDateTime>
#include <QLocale>
#include <QString>

namespace Format {

// The locale for display: the user's, or US English when the process runs
// in the bare C locale (which has no digit grouping).
QLocale locale();

// 12345 -> "12,345" in the display locale.
QString count(qint64 value);

// Byte counts in decimal units, file style: "0 bytes", "1 byte", "999 bytes",
// "12 KB", "1.2 MB", "3.45 GB".
QString byteCount(qint64 bytes, const QLocale &locale = Format::locale());

// A day in the locale's abbreviated style, the month named and the year in
// full: "Mar 31, 2024", "31 Mar 2024".
QString date(const QDate &day, const QLocale &locale = Format::locale());

// A date and time in the locale's medium style, the month named and the
// year in full: "Nov 23, 2026, 4:38 AM", "23. Nov. 2026, 04:38".
QString dateTime(const QDateTime &time, const QLocale &locale = Format::locale());

// The date alone in that medium style: "Nov 23, 2026".
QString date(const QDateTime &time, const QLocale &locale = Format::locale());

// The date in full, weekday and all: "Monday, November 23, 2026".
QString completeDate(const QDateTime &time, const QLocale &locale = Format::locale());

// The time in the locale's short style: "4:38 AM", "04:38".
QString shortTime(const QDateTime &time, const QLocale &locale = Format::locale());

// How long ago a moment was, in words: "just now" under a minute, then
// "5 minutes ago", "1 hour ago", "yesterday", "3 days ago", and the date
// itself after a week.
QString relativeTime(const QDateTime &time, const QDateTime &now = QDateTime::currentDateTime(),
                     const QLocale &locale = Format::locale());

// The folder that holds a file, the home folder shown as "~":
// "/home/ada/Documents/a.pdf" -> "~/Documents".
QString folderOf(const QString &filePath, const QString &home);

} // namespace Format
