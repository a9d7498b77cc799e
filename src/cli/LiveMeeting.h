// A meeting held on the command line: what is said comes in as lines of
// text, each a segment of the transcript, while the questions heard are
// printed and answered from the library as they come; at the end the
// meeting is finished and its notes written.
#pragma once

#include <QString>

#include <optional>

class CommandContext;

enum class AfterMeeting { writeNotes, skipNotes };

// Follows the meeting of the id, or a new one, until standard input ends.
// Returns the command's exit status.
int holdMeeting(CommandContext &context, const std::optional<QString> &meetingID, AfterMeeting after);
