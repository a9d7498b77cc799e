// Content digests of files, for telling byte-identical copies apart.
#pragma once

#include "core/Tasks.h"

#include <QString>

#include <optional>

namespace FileDigest {

// The size of each read: 1 MiB.
constexpr qsizetype chunkSize = 0x100000;

// The SHA-256 of the file's bytes as lower-case hexadecimal. The file is read
// in chunks without touching its access time where the system allows.
// Nothing when the file can't be opened or read, or when the token is
// cancelled midway.
std::optional<QString> sha256(const QString &path, const CancellationToken &token = CancellationToken::none());

} // namespace FileDigest
