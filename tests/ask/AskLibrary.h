// A library for the Ask tests: a lease document with a modification date, a
// long text file, a meeting with notes and a transcript, and two passages
// whose file and meeting have left the library.
#pragma once

#include "ask/LibraryRetriever.h"
#include "meetings/MeetingStore.h"
#include "support/LibraryBuilder.h"
#include "support/TestLibrary.h"

using namespace Qt::StringLiterals;

struct AskLibrary : TestLibrary
{
    MeetingStore meetings{store};

    AskLibrary()
    {
        const QList<qint64> ids = LibraryBuilder::add(
            store, {{.path = u"/library/lease.pdf"_s, .modified = 1772539200, .text = u"the lease deposit is due"_s},
                    {.path = u"/library/long.txt"_s, .text = u"refund"_s}});
        store.passages().setPassages(u"file"_s, QString::number(ids.at(1)), u"long.txt"_s,
                                     {u"refund "_s + QString(1993, u'x')});
        meetings.insert(u"m1"_s, QDateTime(QDate(2026, 3, 3), QTime(10, 0)), std::nullopt);
        Meeting meeting = *meetings.meeting(u"m1"_s);
        meeting.userNotes = u"deposit back in May"_s;
        meetings.update(meeting);
        meetings.insertSegment({0, u"m1"_s, Speaker::them, 1, 2, u"the deposit, yes"_s});
        meetings.indexPassages(meeting);
        // Passages whose file or meeting has left the library; short, so
        // they rank first.
        store.meetingRows().replacePassages(u"note"_s, u"gone"_s, u"Gone"_s, {u"deposit deposit"_s});
        store.passages().setPassages(u"file"_s, u"999"_s, u"gone.pdf"_s, {u"deposit deposit"_s});
    }
};
