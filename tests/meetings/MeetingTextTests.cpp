// The text forms of meetings: transcript lines, clock texts, the relative date
// line and the notes' Markdown, with the locale pinned to US English.
#include "meetings/MeetingText.h"

#include <QTimeZone>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QLocale english(QLocale::English, QLocale::UnitedStates);

TranscriptSegment said(Speaker speaker, double start, const QString &text)
{
    return {0, u"m1"_s, speaker, start, start + 1, text};
}

QDateTime utc(int year, int month, int day, int hour, int minute)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute), QTimeZone::utc());
}

} // namespace

TEST(MeetingText, TranscriptRunsBreakAtTheSpeakerAndEveryNinetySeconds)
{
    const Speaker me = Speaker::me, them = Speaker::them;
    const struct { const char *name; QList<TranscriptSegment> segments; QString text; } cases[] = {
        {"none", {}, u""_s},
        {"89.9 s apart share a line", {said(me, 0, u"a"_s), said(me, 89.9, u"b"_s)}, u"[00:00] You: a b"_s},
        {"90 s apart do not", {said(me, 0, u"a"_s), said(me, 90, u"b"_s)}, u"[00:00] You: a\n[01:30] You: b"_s},
        {"measured from the run's first segment", {said(me, 0, u"a"_s), said(me, 60, u"b"_s), said(me, 100, u"c"_s)},
         u"[00:00] You: a b\n[01:40] You: c"_s},
        {"blank text neither adds nor closes", {said(them, 3, u"a"_s), said(me, 4, u" \n "_s), said(them, 5, u" b "_s)},
         u"[00:03] Them: a b"_s},
        {"sorted by start", {said(me, 7, u"later"_s), said(them, 5, u"first"_s)},
         u"[00:05] Them: first\n[00:07] You: later"_s},
    };
    for (const auto &c : cases)
        EXPECT_EQ(transcriptText(c.segments), c.text) << c.name;
}

TEST(MeetingText, ClockTextsTruncateOrRoundAtTheBoundaries)
{
    const struct { double seconds; const char *timestamp; const char *duration; } cases[] = {
        {0, "00:00", "0:00"},       {59, "00:59", "0:59"},          {65.5, "01:05", "1:06"},
        {65.9, "01:05", "1:06"},    {3599.9, "59:59", "1:00:00"},   {3600, "1:00:00", "1:00:00"},
        {-3, "00:00", "0:00"},      {36125, "10:02:05", "10:02:05"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(timestampText(c.seconds), QString::fromLatin1(c.timestamp)) << c.seconds;
        EXPECT_EQ(durationText(c.seconds), QString::fromLatin1(c.duration)) << c.seconds;
    }
}

TEST(MeetingText, RelativeDatesAcrossMidnightAndTheYearsEnd)
{
    const QDateTime now = utc(2027, 1, 1, 0, 30);
    const struct { std::optional<QDateTime> date; QString text; } cases[] = {
        {std::nullopt, u"—"_s},
        {utc(2027, 1, 1, 0, 10), u"Today, 12:10 AM"_s},
        {utc(2026, 12, 31, 23, 50), u"Yesterday, 11:50 PM"_s},
        {utc(2026, 12, 28, 15, 0), u"Monday 3:00 PM"_s},
        {utc(2026, 12, 25, 1, 0), u"Friday 1:00 AM"_s},
        {utc(2026, 12, 24, 15, 0), u"Dec 24, 2026"_s},
    };
    for (const auto &c : cases)
        EXPECT_EQ(relativeDateText(c.date, now, english), c.text) << qPrintable(c.text);
}

TEST(MeetingText, MarkdownLeavesOutEmptyPartsAndTrimsActionItems)
{
    using Notes = EnhancedNotes;
    const QDateTime started = utc(2027, 1, 1, 0, 30).toLocalTime();
    const QString head = u"# Sync\n\n_"_s + Format::completeDate(started, english) + u", "_s
        + Format::shortTime(started, english) + u"_\n\n"_s;
    Notes bare{u"Sync"_s, u"Short."_s, {{u"Empty"_s, {}}}, {}, {}};
    EXPECT_EQ(bare.markdown(started, english), head + u"Short.\n"_s);

    Notes full{u"Sync"_s, QString(), {{u"Plan"_s, {{u"Ship it"_s, u"ai"_s}}}}, {u"Go"_s},
               {{u"Send deck"_s, u"You"_s, u"Friday"_s}, {u"Send deck"_s, u" "_s, QString()}}};
    EXPECT_EQ(full.markdown(started, english),
              head + u"## Plan\n- Ship it\n\n## Decisions\n- Go\n\n## Action items\n"
                     "- [ ] Send deck — You (due Friday)\n- [ ] Send deck\n"_s);
    EXPECT_EQ(Notes::fromJSON(full.json().serialized()), full);
    // Every key is required: notes without decisions don't decode.
    JSONValue missing = full.json();
    JSONValue::Object members = missing.objectMembers();
    members.erase(u"decisions"_s);
    EXPECT_THROW(Notes::fromJSON(JSONValue(members).serialized()), DescribedError);
}
