// What the commands that print files share: the JSON form of a record, its
// one-line text form, and the reading of sizes and file filters from the
// command line.
#pragma once

#include "search/SearchQuery.h"
#include "store/FileRecord.h"

#include <QCommandLineParser>
#include <QJsonObject>

#include <optional>

namespace FileOutput {

// The record's field names; dates in seconds since 1970, sizes in bytes;
// absent values are left out.
QJsonObject json(const FileRecord &record);

// "document   1.2 MB  2024-05-01  /home/ada/Documents/lease.pdf"
QString line(const FileRecord &record);

// The options --kind, --ext, --from, --folder, --screenshots, --min-size and
// --max-size, and their reading into a filter.
void addFilterOptions(QCommandLineParser &parser);
// Fills filter from the parsed options; on a bad value returns the one-line
// usage message.
std::optional<QString> readFilterOptions(const QCommandLineParser &parser, FileFilter &filter);

} // namespace FileOutput
