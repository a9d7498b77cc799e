// File records for tests that fill a library without scanning a disk.
#pragma once

#include "store/FileRecord.h"

#include <optional>

// A record named after the path's last component, its extension lowercased.
FileRecord makeFileRecord(const QString &path, FileKind kind = FileKind::document, qint64 size = 1,
                          std::optional<double> modified = 1000.0);
