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

// A count with its noun, the noun in the plural unless the count is one:
// "1 file", "0 files", "12,345 items". Nouns that take "s" in the plural.
QString counted(qint64 value, const QString &noun, const QLocale &locale = Format::locale());

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

// The heading of a day among others: "Today", "Yesterday", else the weekday,
// the day and the month in full, in the locale's order and without the
// year: "Monday, November 23", "Montag, 23. November".
QString dayHeading(const QDateTime &time, const QDateTime &now, const QLocale &locale = Format::locale());

// How long ago, in words: "now", "5 minutes ago", "2 hours ago",
// "yesterday", "3 days ago", "last week", "2 months ago", "last year". A
// time ahead of now reads "now".
QString timeAgo(const QDateTime &time, const QDateTime &now);

// The folder that holds a file, the home folder shown as "~":
// "/home/ada/Documents/a.pdf" -> "~/Documents".
QString folderOf(const QString &filePath, const QString &home);

} // namespace Format
