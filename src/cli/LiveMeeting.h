// A meeting held on the command line: what is said comes in as lines of
// text, each a segment of the transcript, while the questions heard are
// printed and answered from the library as they come; at the end the
// meeting is finished and its notes written.
#pragma once

#include <QString>

#include <optional>

class CommandContext;
class MeetingSession;
class QTextStream;

enum class AfterMeeting { writeNotes, skipNotes };

// Prints each question the session takes as it is heard ("Question: …"),
// and each answer when Claude returns ("Answer: …" and its numbered
// sources).
void printAnswers(MeetingSession &session, QTextStream &out);

// The end of a finished meeting: Claude's notes, or why there are none when
// they were asked for. Returns the command's exit status.
int printNotes(CommandContext &context, const MeetingSession &session, AfterMeeting after);

// Follows the meeting of the id, or a new one, until standard input ends.
// Returns the command's exit status.
int holdMeeting(CommandContext &context, const std::optional<QString> &meetingID, AfterMeeting after);
