// Reading a user's file without touching its access time, which for an
// application stands for its last launch.
#pragma once

#include <QFile>
#include <QString>

// Opens path for reading with O_NOATIME where the file is the user's own
// (the kernel allows it only to the owner), plainly otherwise. Returns a
// file descriptor, or -1.
int openQuietly(const QString &path);

// The same into a QFile that owns the descriptor.
bool openQuietly(QFile &file, const QString &path);
