// The home page's greeting: the part of the day by the hour, and the first
// name of the account's full name when it has one.
#pragma once

#include <QString>

// "Good evening" below 5 and from 18 on, "Good morning" from 5, "Good
// afternoon" from 12; then ", " and the first word of the full name.
QString greetingText(int hour, const QString &fullName);

// The full name of the account running Larder (the password database's
// comment field up to its first comma); empty when none is set.
QString accountFullName();
