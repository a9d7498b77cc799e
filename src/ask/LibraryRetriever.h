// Which stored passages speak to a piece of plain English: the question
// becomes a full-text query over files, meeting notes and transcripts, and
// each hit comes back as the text Claude reads and the source the user sees.
// No memory between calls; blocks on the library, so never on the main thread.
#pragma once

#include "meetings/MeetingModels.h"

#include <QSet>

class IndexStore;
class MeetingStore;

struct RetrievedPassage
{
    Citation citation;
    QString text; // what Claude reads; at most 900 characters

    friend bool operator==(const RetrievedPassage &, const RetrievedPassage &) = default;
};

class LibraryRetriever
{
public:
    LibraryRetriever(IndexStore &store, MeetingStore &meetings);

    // The best passages of those kinds, best first, leaving out the passages
    // of excludingMeeting. Up to limit hits are read; those whose file or
    // meeting is gone are dropped, not replaced. A question of question
    // words and filler alone gives nothing without reading the library.
    // Throws the store's errors.
    QList<RetrievedPassage> retrieve(const QString &query, const QSet<Citation::Kind> &kinds,
                                     const std::optional<QString> &excludingMeeting, int limit) const;

    static constexpr int textLength = 900;
    static constexpr int excerptLength = 240;

private:
    IndexStore &m_store;
    MeetingStore &m_meetings;
};
