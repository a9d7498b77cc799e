// Turns the user's shorthand and the transcript of a meeting into structured
// notes: a title, a summary, topic sections whose bullets remember whether
// the point came from the user ("user") or from Claude ("ai"), decisions and
// action items. One structured call, streamed, since notes can be long.
// Blocks on the network, so never on the main thread.
#pragma once

#include "claude/ClaudeMessage.h"
#include "core/Tasks.h"
#include "meetings/MeetingModels.h"

#include <QLocale>

class ClaudeClient;

class NoteEnhancer
{
public:
    NoteEnhancer(const ClaudeClient &client, QString model);

    // The notes as Claude wrote them; what to do with the title is the
    // caller's business. Throws ClaudeError: truncated notes, a refusal,
    // notes that don't decode, network and HTTP failures. The meeting is not
    // touched here.
    EnhancedNotes enhance(const Meeting &meeting, const QList<TranscriptSegment> &segments,
                          const CancellationToken &token = CancellationToken::none()) const;

    // The call for a meeting, with its date written for the given locale.
    MessageRequest request(const Meeting &meeting, const QList<TranscriptSegment> &segments,
                           const QLocale &locale) const;

    static constexpr qint64 noteTokens = 32000;

private:
    const ClaudeClient &m_client;
    QString m_model;
};

// Takes fresh notes into the meeting: they replace Claude's earlier notes
// whole, the user's own notes stay as they were typed, and the notes' title
// is used only while the meeting has none (a title of blanks counts as none).
void adoptNotes(Meeting &meeting, const EnhancedNotes &notes, const QDateTime &at);
