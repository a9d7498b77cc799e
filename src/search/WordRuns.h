// Splitting text into words the way search reads it: runs of letters and
// numbers in the Unicode sense, counted in whole code points, so letters
// outside the basic plane stay letters and stray surrogates separate words.
#pragma once

#include <QString>
#include <QStringList>

enum class Hyphens { separate, joinWords };

// The runs of letters and numbers (and hyphens, with joinWords), in order,
// without empty ones.
QStringList wordRuns(const QString &text, Hyphens hyphens);

// True when every code point is a number.
bool isNumbersOnly(const QString &text);

qsizetype codePointCount(const QString &text);
