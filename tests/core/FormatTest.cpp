#include "core/ByteSize.h"
#include "core/Format.h"
#include "indexing/IndexingStatus.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

TEST(Format, ByteCountsInDecimalFileStyle)
{
    const QLocale english(QLocale::English, QLocale::UnitedStates);
    const std::pair<qint64, QString> cases[] = {
        {0, "0 bytes"}, {1, "1 byte"}, {999, "999 bytes"}, {1000, "1 KB"}, {1499, "1 KB"}, {999499, "999 KB"},
        {1000000, "1 MB"}, {1250000, "1.3 MB"}, {123456789, "123.5 MB"}, {1000000000, "1 GB"}, {3456789012, "3.46 GB"},
        {2000000000000, "2 TB"},
    };
    for (const auto &[bytes, text] : cases)
        EXPECT_EQ(Format::byteCount(bytes, english), text) << bytes;
    EXPECT_EQ(Format::byteCount(1250000, QLocale(QLocale::German, QLocale::Germany)), "1,3 MB");
}

// The noun follows the count: singular for one only, grouped digits in the
// locale's style.
TEST(Format, CountsWithTheirNoun)
{
    const QLocale english(QLocale::English, QLocale::UnitedStates);
    const std::tuple<qint64, const char *, QString> cases[] = {
        {0, "file", "0 files"}, {1, "file", "1 file"}, {2, "item", "2 items"}, {-1, "item", "-1 items"},
        {12345, "file", "12,345 files"},
    };
    for (const auto &[value, noun, text] : cases)
        EXPECT_EQ(Format::counted(value, QString::fromLatin1(noun), english), text) << value;
    EXPECT_EQ(Format::counted(12345, QStringLiteral("file"), QLocale(QLocale::German, QLocale::Germany)), "12.345 files");
}

// A date and time with the month named, in the locale's order; no two-digit years.
TEST(Format, DatesInTheLocalesMediumStyle)
{
    const QDateTime time(QDate(2026, 11, 23), QTime(4, 38));
    const std::pair<QLocale, QString> cases[] = {
        {QLocale(QLocale::English, QLocale::UnitedStates), "Nov 23, 2026, 4:38 AM"},
        {QLocale(QLocale::English, QLocale::UnitedKingdom), "23 Nov 2026, 04:38"},
        {QLocale(QLocale::German, QLocale::Germany), "23. Nov. 2026, 04:38"},
    };
    for (const auto &[locale, text] : cases)
        EXPECT_EQ(Format::dateTime(time, locale), text) << locale.name().toStdString();
}

// A day among others: today and yesterday by the calendar, not by 24 hours,
// else weekday, day and month in the locale's order, without the year.
TEST(Format, DayHeadingsAndTimesAgo)
{
    const QDateTime now(QDate(2026, 11, 23), QTime(0, 30));
    const QLocale us(QLocale::English, QLocale::UnitedStates);
    const std::pair<QDateTime, QString> days[] = {
        {now.addSecs(-3600), "Yesterday"}, // 23:30, an hour ago, but another day
        {QDateTime(QDate(2026, 11, 23), QTime(0, 1)), "Today"},
        {QDateTime(QDate(2026, 11, 21), QTime(9, 0)), "Saturday, November 21"},
        {QDateTime(QDate(2025, 11, 21), QTime(9, 0)), "Friday, November 21"},
    };
    for (const auto &[time, text] : days)
        EXPECT_EQ(Format::dayHeading(time, now, us), text) << time.toString().toStdString();
    EXPECT_EQ(Format::dayHeading(days[2].first, now, QLocale(QLocale::German, QLocale::Germany)), "Samstag, 21. November");
    EXPECT_EQ(Format::dayHeading(days[2].first, now, QLocale(QLocale::English, QLocale::UnitedKingdom)), "Saturday, 21 November");

    const std::pair<qint64, QString> ago[] = {
        {-50, "now"}, {30, "now"}, {60, "1 minute ago"}, {25 * 60, "25 minutes ago"},
        {31 * 60, "31 minutes ago"}, {2 * 3600, "yesterday"}, {2 * 86400, "2 days ago"}, {9 * 86400, "last week"}, {20 * 86400, "2 weeks ago"},
        {40 * 86400, "last month"}, {100 * 86400, "3 months ago"}, {400 * 86400, "last year"}, {800 * 86400, "2 years ago"},
    };
    for (const auto &[seconds, text] : ago)
        EXPECT_EQ(Format::timeAgo(now.addSecs(-seconds), now), text) << seconds;
    EXPECT_EQ(Format::timeAgo(now.addSecs(3 * 3600), now.addSecs(10 * 3600)), "7 hours ago");
}

// Decimal fractions count exactly: in binary floating point 8.11k is
// 8,109.99... bytes, and large byte counts lose their last digits.
TEST(ByteSize, ReadsBytesAndDecimalUnitsExactly)
{
    const std::pair<const char *, std::optional<qint64>> cases[] = {
        {"0", 0}, {"512", 512}, {"10k", 10'000}, {"10K", 10'000}, {"1.5m", 1'500'000}, {"2g", 2'000'000'000},
        {"1t", 1'000'000'000'000}, {"3mb", 3'000'000}, {" 2.5 GB ", 2'500'000'000}, {"700 bytes", 700}, {"1 byte", 1},
        {"7b", 7}, {"8.11k", 8'110}, {"4.1m", 4'100'000}, {"1.5", 1}, {"1.0000005k", 1'000},
        {"9007199254740993", 9'007'199'254'740'993}, {"9223372036854775807", 9'223'372'036'854'775'807},
        {"9223372036854775808", std::nullopt}, {"10000000t", std::nullopt}, {"", std::nullopt}, {"-5", std::nullopt},
        {"ten", std::nullopt}, {"5x", std::nullopt}, {"1.", std::nullopt}, {".5", std::nullopt}, {"1,5m", std::nullopt},
        {"1e3", std::nullopt},
    };
    for (const auto &[text, bytes] : cases)
        EXPECT_EQ(ByteSize::parse(QString(text)), bytes) << text;
}

TEST(IndexingStatus, StatusTextsAndQuietRepeats)
{
    IndexingStatus status;
    EXPECT_EQ(status.statusText(), "Getting ready");
    QSignalSpy spy(&status, &IndexingStatus::phaseChanged);
    for (int i = 0; i < 2; ++i)
        status.setPhase(IndexingPhase::scanning("Documents", 12345));
    EXPECT_EQ(spy.count(), 1);
    EXPECT_EQ(status.statusText(), "Scanning Documents · 12,345 items");
    status.setPhase(IndexingPhase::reading(7));
    EXPECT_EQ(status.statusText(), "Reading contents · 7 left");
}
