// The JSON forms of library records for the commands' --json output: the
// record's field names, dates as seconds since 1970, sizes in bytes, absent
// values as null, snippets with their ⟦ ⟧ markers.
#pragma once

#include "search/SearchQuery.h"

#include <QJsonObject>

QJsonObject recordJson(const FileRecord &record);
QJsonObject hitJson(const FileHit &hit);
QJsonObject queryJson(const SearchQuery &query);
