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

QString relativeTime(const QDateTime &time, const QDateTime &now, const QLocale &locale)
{
    const qint64 seconds = std::max<qint64>(0, time.secsTo(now));
    const auto ago = [](qint64 count, const char *unit) {
        return QStringLiteral("%1 %2%3 ago").arg(count).arg(QLatin1String(unit), count == 1 ? QString() : QStringLiteral("s"));
    };
    if (seconds < 60)
        return QStringLiteral("just now");
    if (seconds < 3600)
        return ago(seconds / 60, "minute");
    if (seconds < 86400)
        return ago(seconds / 3600, "hour");
    const qint64 days = seconds / 86400;
    if (days == 1)
        return QStringLiteral("yesterday");
    if (days < 7)
        return ago(days, "day");
    return date(time, locale);
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
