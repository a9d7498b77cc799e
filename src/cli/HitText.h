// A search hit as people read it on the command line.
#pragma once

#include "search/SearchQuery.h"

enum class Emphasis { plain, terminalBold };

// The snippet on one line, its matched words in bold on a terminal; plain
// text drops the ⟦ ⟧ markers.
QString snippetText(const QString &snippet, Emphasis emphasis);

// The name; then the folder (home shown as ~), size, date and source joined
// by " · "; then the snippet when there is one. Lines end in "\n".
QString hitText(const FileHit &hit, Emphasis emphasis, const QString &home);
