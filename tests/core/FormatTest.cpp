#include "core/Format.h"
#include "indexing/IndexingStatus.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

TEST(Format, ByteCountsInDecimalFileStyle)
{
    const QLocale english(QLocale::English, QLocale::UnitedStates);
    const struct
    {
        qint64 bytes;
        const char *text;
    } cases[] = {
        {0, "Zero KB"},        {1, "1 byte"},          {999, "999 bytes"},      {1000, "1 KB"},
        {1499, "1 KB"},        {999499, "999 KB"},     {1000000, "1 MB"},       {1250000, "1.3 MB"},
        {123456789, "123.5 MB"}, {1000000000, "1 GB"}, {3456789012, "3.46 GB"}, {2000000000000, "2 TB"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(Format::byteCount(c.bytes, english), QString::fromUtf8(c.text)) << c.bytes;
    EXPECT_EQ(Format::byteCount(1250000, QLocale(QLocale::German, QLocale::Germany)), QStringLiteral("1,3 MB"));
}

TEST(IndexingStatus, StatusTextsAndQuietRepeats)
{
    IndexingStatus status;
    EXPECT_EQ(status.statusText(), QStringLiteral("Getting ready"));
    QSignalSpy spy(&status, &IndexingStatus::phaseChanged);
    status.setPhase(IndexingPhase::scanning(QStringLiteral("Documents"), 12345));
    status.setPhase(IndexingPhase::scanning(QStringLiteral("Documents"), 12345));
    EXPECT_EQ(spy.count(), 1);
    EXPECT_EQ(status.statusText(), QStringLiteral("Scanning Documents · 12,345 items"));
    status.setPhase(IndexingPhase::reading(7));
    EXPECT_EQ(status.statusText(), QStringLiteral("Reading contents · 7 left"));
    status.setPhase(IndexingPhase::ready());
    EXPECT_EQ(status.statusText(), QStringLiteral("Up to date"));
}
