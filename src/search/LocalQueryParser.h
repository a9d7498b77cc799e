// Turns what the user typed into a SearchQuery on the machine, in well under
// a keystroke: a cascade of regular expressions that each consume what they
// recognise (sizes, sources, date words, dates, kinds), leaving the rest as
// keywords. It reads English only.
#pragma once

#include "search/SearchQuery.h"

#include <QDateTime>
#include <QLocale>
#include <QSet>
#include <QTimeZone>

// The calendar that relative dates are counted in: the user's time zone, and
// the locale that decides the first day of the week and the month names.
struct UserCalendar
{
    QTimeZone timeZone;
    QLocale locale;

    // The system's time zone and locale.
    static UserCalendar current();
};

// The 102 filler words that a request's keywords leave out ("find", "my",
// "about" ...), lower case.
const QSet<QString> &queryStopWords();

class LocalQueryParser
{
public:
    explicit LocalQueryParser(QDateTime now = QDateTime::currentDateTime(),
                              UserCalendar calendar = UserCalendar::current());

    // Cannot fail. The result depends only on the text, now and the calendar.
    SearchQuery parse(const QString &text) const;

    QDateTime now() const { return m_now; }
    const UserCalendar &calendar() const { return m_calendar; }

private:
    QDateTime m_now;
    UserCalendar m_calendar;
};
