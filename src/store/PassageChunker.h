// Cutting text into the passages the library stores: for document text and
// for meeting notes and transcripts alike.
#pragma once

#include <QString>
#include <QStringList>

// Cuts text into passages of at most size characters (at least 2, so that
// one whole character fits) that overlap by at most overlap characters,
// breaking at a paragraph, a sentence or a word where the second half of a
// passage offers one. Whitespace is normalised first. The library always
// cuts with the defaults.
QStringList splitIntoPassages(const QString &text, int size = 900, int overlap = 120);
