// The only way user text reaches the full-text index. Every routine here
// reduces its input to runs of letters and digits and quotes them, so that no
// text, however odd, can become an FTS5 operator or a syntax error.
#pragma once

#include "store/FileQuery.h"

#include <QString>
#include <QStringList>

#include <optional>

enum class PrefixMatch { exact, lastTokenPrefix };

// The lower-case runs of letters and numbers of one term. A token keeps at
// least two characters, unless it is made of numbers only.
QStringList ftsTokens(const QString &term);

// Any of the terms: each term is one quoted phrase; repeats are dropped.
// Absent when no term yields a token.
std::optional<FullTextMatch> ftsMatchAny(const QStringList &terms);

// Every token of every term, each quoted on its own and joined with AND. With
// lastTokenPrefix, a last token of three characters or more matches as a
// prefix. Absent when no term yields a token.
std::optional<FullTextMatch> ftsMatchAll(const QStringList &terms, PrefixMatch prefix);
