// Meetings in the library: every field round trips, damaged rows still load,
// and a meeting's passages sit beside the files' so one search finds both.
#include "meetings/MeetingStore.h"
#include "search/FullTextQuery.h"
#include "support/LibraryBuilder.h"
#include "support/TestLibrary.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QDateTime started = QDateTime::fromSecsSinceEpoch(1790000000);

struct MeetingLibrary : TestLibrary
{
    MeetingStore meetings{store};

    Meeting add(const QString &id, const QString &title, const QString &notes, const QStringList &said)
    {
        meetings.insert(id, started, u"en_US"_s);
        Meeting meeting = *meetings.meeting(id);
        meeting.title = title;
        meeting.userNotes = notes;
        meetings.update(meeting);
        for (qsizetype i = 0; i < said.size(); ++i)
            meetings.insertSegment({0, id, Speaker::them, 10.0 * double(i), 10.0 * double(i) + 5, said.at(i)});
        meetings.indexPassages(meeting);
        return meeting;
    }
};

} // namespace

TEST(MeetingStore, EveryFieldRoundTrips)
{
    MeetingLibrary library;
    library.meetings.insert(u"m1"_s, started, u"en_GB"_s);
    Meeting meeting = *library.meetings.meeting(u"m1"_s);
    EXPECT_EQ(meeting, (Meeting{u"m1"_s, {}, started, {}, {}, {}, {}, u"en_GB"_s}));

    meeting.title = u"Lease review"_s;
    meeting.ended = started.addSecs(1800);
    meeting.userNotes = u"ask about deposit"_s;
    meeting.enhanced = EnhancedNotes{u"Lease"_s, u"Sum"_s, {{u"H"_s, {{u"b"_s, u"user"_s}}}}, {u"d"_s}, {{u"t"_s, u"o"_s, u"x"_s}}};
    meeting.enhancedAt = started.addSecs(1900);
    library.meetings.update(meeting);
    EXPECT_EQ(library.meetings.meeting(u"m1"_s), meeting);
    EXPECT_EQ(library.meetings.recentMeetings(5), QList<Meeting>{meeting});

    const TranscriptSegment segment{0, u"m1"_s, Speaker::me, 1.5, 4.25, u"hello"_s};
    const qint64 id = library.meetings.insertSegment(segment);
    EXPECT_GT(id, 0);
    TranscriptSegment stored = segment;
    stored.id = id;
    EXPECT_EQ(library.meetings.segments(u"m1"_s), QList<TranscriptSegment>{stored});

    const LiveAnswer answer{u"a1"_s, u"m1"_s, u"When?"_s, u"Friday [S1]"_s,
                            {{Citation::Kind::transcript, u"m0"_s, u"T"_s, u"D"_s, u"E"_s}}, started.addSecs(60)};
    library.meetings.save(answer);
    library.meetings.save(answer); // replaces, doesn't add
    EXPECT_EQ(library.meetings.liveAnswers(u"m1"_s), QList<LiveAnswer>{answer});
}

TEST(MeetingStore, DamagedRowsStillLoad)
{
    MeetingLibrary library;
    library.meetings.insert(u"m1"_s, started, std::nullopt);
    library.db->run(u"UPDATE meetings SET enhanced_json = '{\"title\":\"t\"}' WHERE id = 'm1'"_s);
    library.db->run(u"INSERT INTO segments(meeting_id, speaker, start, end, text) VALUES"
                    "('m1', 'ME', 1, 2, 'a'), ('m1', '', 3, 4, 'b'), ('m1', 7, 5, 6, 'c')"_s);
    library.db->run(u"INSERT INTO live_answers VALUES('a1', 'm1', 'q', 'a', 'not json', 5)"_s);

    Meeting meeting = *library.meetings.meeting(u"m1"_s);
    EXPECT_FALSE(meeting.enhanced);
    for (const TranscriptSegment &segment : library.meetings.segments(u"m1"_s))
        EXPECT_EQ(segment.speaker, Speaker::them) << qPrintable(segment.text);
    EXPECT_TRUE(library.meetings.liveAnswers(u"m1"_s).value(0).citations.isEmpty());
    // Saving the loaded meeting clears the notes that couldn't be read.
    library.meetings.update(meeting);
    EXPECT_TRUE(library.db->scalar(u"SELECT enhanced_json FROM meetings"_s).isNull());
}

TEST(MeetingStore, PassagesSitBesideFilesAndLeaveWithTheMeeting)
{
    MeetingLibrary library;
    LibraryBuilder::add(library.store, {{.path = u"/library/lease.pdf"_s, .text = u"the lease deposit is due"_s}});
    library.add(u"m1"_s, QString(), u"deposit returned in May"_s, {u"the deposit comes back"_s, u"in May"_s});
    library.add(u"m2"_s, u"Other"_s, u"unrelated"_s, {});
    library.add(u"m3"_s, u"Silent"_s, QString(), {});

    const auto hits = library.store.passages().searchPassages(ftsMatchAny({u"deposit"_s})->expression,
                                                              {u"file"_s, u"note"_s, u"transcript"_s}, std::nullopt, 10);
    QStringList owners;
    for (const PassageHit &hit : hits)
        owners.append(hit.ownerType + u':' + hit.ownerID + (hit.ownerType == u"file"_s ? QString() : u':' + hit.title));
    owners.sort();
    EXPECT_EQ(owners.join(u", "_s).toStdString(), "file:1, note:m1:Untitled meeting, transcript:m1:Untitled meeting");
    EXPECT_EQ(library.db->scalar(u"SELECT title FROM meetings WHERE id = 'm1'"_s).textValue(), QString());
    EXPECT_EQ(library.passageCount(u"transcript"_s, u"m2"_s), 0);
    EXPECT_EQ(library.passageCount(u"note"_s, u"m3"_s) + library.passageCount(u"transcript"_s, u"m3"_s), 0);

    library.meetings.save({u"a1"_s, u"m1"_s, u"q"_s, u"a"_s, {}, started});
    library.meetings.deleteMeeting(u"m1"_s);
    library.meetings.deleteMeeting(u"unknown"_s);
    for (const char *table : {"segments", "live_answers"})
        EXPECT_EQ(library.rowCount(QString::fromLatin1(table)), 0) << table;
    EXPECT_EQ(library.passageCount(u"note"_s, u"m1"_s) + library.passageCount(u"transcript"_s, u"m1"_s), 0);
    EXPECT_EQ(library.passageCount(u"note"_s, u"m2"_s), 1);
    EXPECT_EQ(library.rowCount(u"meetings"_s), 2);
}
