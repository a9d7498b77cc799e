// Which remarks of a call are questions worth looking up. A cheap local filter
// in plain word rules, run on every finished segment: it passes "What did we
// pay for the lease?" and rejects the small talk and mechanics of any call
// ("can everyone see my screen", "you know what I mean"). English only, no
// state.
#pragma once

#include <QStringList>

namespace QuestionSpotting {

// The text cut after every "?", "." and "!", which stays with its sentence;
// each piece trimmed, empty ones dropped. No knowledge of abbreviations or
// numbers: "3.5 million" is cut after "3.".
QStringList sentences(const QString &text);

// Whether the sentence is a question the user's files might answer: at least
// four words, no small-talk phrase, an opening that asks (or a question
// mark), and one word with something to search for.
bool isQuestion(const QString &sentence);

} // namespace QuestionSpotting
