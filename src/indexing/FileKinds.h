// The one table that turns a file's type into its kind, and the fixed name
// lists of the walk: folders never entered, folder packages that count as one
// file, and screenshot names.
#pragma once

#include "store/FileRecord.h"

#include <QMimeDatabase>
#include <QMimeType>
#include <QSet>
#include <QString>

#include <optional>

namespace FileKinds {

// The kind of a shared-mime-info type, in this order: no type is other;
// AppImages, desktop entries and Flatpak bundles are apps; then images, audio,
// video (audio first, as audio types are audiovisual too); archives and disk
// images; documents (PDF, text and source, office formats, e-books); the rest
// is other. Only the type decides, never the extension.
FileKind kind(const QMimeType &type);

// Folder names never descended into, matched exactly.
const QSet<QString> &skippedFolderNames();

// A folder with one of these extensions (compared lowercased) is one file.
const QSet<QString> &packageExtensions();
// The kind of such a folder, from its extension; other for unknown ones,
// which the walk leaves out whole.
FileKind packageKind(const QString &extension);

// Whether a file name reads as a screenshot's ("Screenshot from …",
// "Screenshot_…", "Screen Shot …", …).
bool isScreenshotName(const QString &name);

} // namespace FileKinds
