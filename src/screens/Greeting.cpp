#include "screens/Greeting.h"

#include <QStringList>

#include <pwd.h>
#include <unistd.h>

QString greetingText(int hour, const QString &fullName)
{
    QString greeting = hour < 5 || hour >= 18 ? QStringLiteral("Good evening")
                       : hour < 12            ? QStringLiteral("Good morning")
                                              : QStringLiteral("Good afternoon");
    const QString first = fullName.simplified().section(u' ', 0, 0);
    if (!first.isEmpty())
        greeting += QStringLiteral(", ") + first;
    return greeting;
}

QString accountFullName()
{
    const passwd *account = getpwuid(getuid());
    if (!account || !account->pw_gecos)
        return {};
    return QString::fromLocal8Bit(account->pw_gecos).section(u',', 0, 0).trimmed();
}
