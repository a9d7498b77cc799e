#include "core/Format.h"

#include <QRegularExpression>

#include <algorithm>
#include <cmath>

namespace Format {

QLocale locale()
{
    const QLocale system;
    if (system.language() == QLocale::C)
        return QLocale(QLocale::English, QLocale::UnitedStates);
    return system;
}

QString count(qint64 value)
{
    return locale().toString(value);
}

QString counted(qint64 value, const QString &noun, const QLocale &locale)
{
    return locale.toString(value) + QLatin1Char(' ') + noun + (value == 1 ? QString() : QStringLiteral("s"));
}

QString byteCount(qint64 bytes, const QLocale &locale)
{
    const qint64 magnitude = bytes < 0 ? -bytes : bytes;
    if (magnitude < 1000)
        return magnitude == 1 ? locale.toString(bytes) + QStringLiteral(" byte")
                              : locale.toString(bytes) + QStringLiteral(" bytes");

    struct Unit
    {
        const char *name;
        double scale;
        int decimals;
    };
    static const Unit units[] = {{"KB", 1e3, 0}, {"MB", 1e6, 1}, {"GB", 1e9, 2},
                                 {"TB", 1e12, 2}, {"PB", 1e15, 2}};
    const Unit *unit = &units[0];
    for (const Unit &candidate : units) {
        if (double(magnitude) >= candidate.scale)
            unit = &candidate;
    }
    double value = double(bytes) / unit->scale;
    const double rounding = std::pow(10.0, unit->decimals);
    value = std::round(value * rounding) / rounding;
    QString number = locale.toString(value, 'f', unit->decimals);
    // "1.0 MB" reads as "1 MB".
    const QString zeroTail = QString(locale.decimalPoint()) + QString(unit->decimals, u'0');
    if (unit->decimals > 0 && number.endsWith(zeroTail))
        number.chop(zeroTail.size());
    return number + u' ' + QLatin1String(unit->name);
}

namespace {

// Qt knows a long and a short style; the medium one is the long date
// without its weekday, the month's name abbreviated.
QString abbreviatedDateFormat(const QLocale &locale)
{
    QString format = locale.dateFormat(QLocale::LongFormat);
    static const QRegularExpression weekday(QStringLiteral("d{4}[^dMy]*"));
    format.remove(weekday);
    format.replace(QLatin1String("MMMM"), QLatin1String("MMM"));
    return format.trimmed();
}

} // namespace

QString date(const QDateTime &time, const QLocale &locale)
{
    return locale.toString(time, abbreviatedDateFormat(locale));
}

QString date(const QDate &day, const QLocale &locale)
{
    return locale.toString(day, abbreviatedDateFormat(locale));
}

QString dateTime(const QDateTime &time, const QLocale &locale)
{
    return date(time, locale) + QStringLiteral(", ") + shortTime(time, locale);
}

QString completeDate(const QDateTime &time, const QLocale &locale)
{
    return locale.toString(time.date(), QLocale::LongFormat);
}

QString shortTime(const QDateTime &time, const QLocale &locale)
{
    return locale.toString(time.time(), QLocale::ShortFormat);
}

QString dayHeading(const QDateTime &time, const QDateTime &now, const QLocale &locale)
{
    const QDate day = time.toLocalTime().date();
    const QDate today = now.toLocalTime().date();
    if (day == today)
        return QStringLiteral("Today");
    if (day == today.addDays(-1))
        return QStringLiteral("Yesterday");
    // The locale's long date with its year and the year's separators taken
    // out: "dddd, MMMM d, yyyy" becomes "dddd, MMMM d".
    QString format = locale.dateFormat(QLocale::LongFormat);
    static const QRegularExpression year(QStringLiteral("[\\s,./-]*y+[.年]?"),
                                         QRegularExpression::UseUnicodePropertiesOption);
    format.remove(year);
    format = format.trimmed();
    while (!format.isEmpty() && (format.front() == u',' || format.front() == u'.'))
        format = format.mid(1).trimmed();
    return locale.toString(day, format);
}

QString timeAgo(const QDateTime &time, const QDateTime &now)
{
    const auto counted = [](qint64 n, const char *unit) {
        return n == 1 ? QStringLiteral("1 %1 ago").arg(QLatin1String(unit))
                      : QStringLiteral("%1 %2s ago").arg(n).arg(QLatin1String(unit));
    };
    const qint64 seconds = time.secsTo(now);
    if (seconds < 60)
        return QStringLiteral("now");
    if (seconds < 3600)
        return counted(seconds / 60, "minute");
    const qint64 days = time.toLocalTime().date().daysTo(now.toLocalTime().date());
    if (days == 0)
        return counted(seconds / 3600, "hour");
    if (days == 1)
        return QStringLiteral("yesterday");
    if (days < 7)
        return counted(days, "day");
    if (days < 14)
        return QStringLiteral("last week");
    if (days < 30)
        return counted(days / 7, "week");
    if (days < 60)
        return QStringLiteral("last month");
    if (days < 365)
        return counted(days / 30, "month");
    if (days < 730)
        return QStringLiteral("last year");
    return counted(days / 365, "year");
}

QString folderOf(const QString &filePath, const QString &home)
{
    const qsizetype slash = filePath.lastIndexOf(u'/');
    const QString folder = slash > 0 ? filePath.left(slash) : QStringLiteral("/");
    if (!home.isEmpty() && home != QLatin1String("/") && (folder == home || folder.startsWith(home + u'/')))
        return u'~' + folder.mid(home.size());
    return folder;
}

} // namespace Format
