// Sizes typed by people, on the command line ("--min-size 10m") and in
// search requests ("over 2.5 gb").
#pragma once

#include <QStringView>

#include <optional>

namespace ByteSize {

// Bytes, or a number with a decimal unit: k, m, g or t, each with or without
// a "b", and "b", "byte" or "bytes"; any case, blanks allowed around the
// number and the unit. The number is read exactly as written, so "8.11k" is
// 8,110 bytes; a part of a byte left over is dropped ("1.5" is 1 byte).
// Nothing for any other text or for more than 2^63 - 1 bytes.
std::optional<qint64> parse(QStringView text);

} // namespace ByteSize
