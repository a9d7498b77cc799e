// The JSON forms of what `larder search --json` prints: each hit with its
// file as `larder ls --json` prints records, and the understood request.
#pragma once

#include "search/SearchPlan.h"

#include <QJsonObject>

// The file, the score, the snippet with its ⟦ ⟧ markers, and the reason;
// an absent snippet or reason is null.
QJsonObject hitJson(const FileHit &hit);
// The request as typed, its keywords and related terms, its filter, the date
// label and the summary; absent values are null.
QJsonObject queryJson(const SearchQuery &query);
// Claude's plan as it came back, under the plan's field names.
QJsonObject planJson(const SearchPlan &plan);
