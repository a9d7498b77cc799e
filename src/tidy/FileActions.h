// What the user can do with files from any list: move them to the Trash,
// copy them, their paths or their text, show them in the file manager, and
// open them. The application model calls these for its menus and screens,
// and the command line for `larder trash`.
#pragma once

#include "store/FileRecord.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

class IndexStore;

class FileActions
{
public:
    // Called after files left the library, so that whatever shows the
    // library reloads.
    using LibraryChanged = std::function<void()>;

    FileActions(IndexStore &store, LibraryChanged libraryChanged);

    struct TrashOutcome
    {
        qint64 moved = 0; // files, counting those inside a folder that moved
        qint64 bytes = 0; // the sizes of the files that moved
        QStringList movedPaths; // as given: a folder's files aren't listed
        // "Moved 2 files to the Trash · 1.2 MB freed", or the failure text.
        QString toast;
    };

    // Moves each file or folder to the Trash in order; one that can't be
    // moved is passed over and stays listed. What moved leaves the library
    // at once, a folder with every file under it, and the library-changed
    // callback runs so that every screen reloads.
    // Never throws.
    TrashOutcome trash(const QList<FileRecord> &records);

    static QString trashToast(qint64 count, qint64 bytes);
    static QString trashFailureToast();

    // The extracted text of a file: all its passages joined by newlines, or
    // its excerpt when they can't be read.
    QString text(const FileRecord &record) const;
    // Puts the file's text on the clipboard and returns the toast ("Copied
    // text from NAME"); nothing, and the clipboard untouched, without text.
    std::optional<QString> copyText(const FileRecord &record) const;

    // The files themselves, as a file manager copies them (text/uri-list).
    static void copyFiles(const QList<FileRecord> &records);
    // The paths, one a line, as text.
    static void copyPaths(const QList<FileRecord> &records);

    // Asks the file manager to show the files selected
    // (org.freedesktop.FileManager1.ShowItems on the session bus); without a
    // file manager that answers, their folders are opened instead. Returns at
    // once; the answer is handled in the event loop.
    static void reveal(const QList<FileRecord> &records);
    // Opens each file with its default application.
    static void open(const QList<FileRecord> &records);

private:
    IndexStore &m_store;
    LibraryChanged m_libraryChanged;
};
