#include "tidy/FileActions.h"

#include "core/Format.h"
#include "platform/Trash.h"
#include "store/IndexStore.h"

#include <QClipboard>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMimeData>
#include <QUrl>

namespace {

QList<QUrl> fileURLs(const QList<FileRecord> &records)
{
    QList<QUrl> urls;
    urls.reserve(records.size());
    for (const FileRecord &record : records)
        urls.append(QUrl::fromLocalFile(record.path));
    return urls;
}

void openFolders(const QList<FileRecord> &records)
{
    QStringList folders;
    for (const FileRecord &record : records) {
        const QString folder = QFileInfo(record.path).absolutePath();
        if (!folders.contains(folder))
            folders.append(folder);
    }
    for (const QString &folder : folders)
        QDesktopServices::openUrl(QUrl::fromLocalFile(folder));
}

struct FolderContents
{
    qint64 files = 0;
    qint64 bytes = 0;
};

// Every file under the folder, hidden ones included, without following links.
FolderContents folderContents(const QString &folder)
{
    FolderContents contents;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System | QDir::NoSymLinks, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        ++contents.files;
        contents.bytes += it.nextFileInfo().size();
    }
    return contents;
}

// A file manager that takes longer than this to answer is taken as absent.
constexpr int revealTimeoutMs = 3000;

} // namespace

FileActions::FileActions(IndexStore &store, LibraryChanged libraryChanged)
    : m_store(store)
    , m_libraryChanged(std::move(libraryChanged))
{
}

QString FileActions::trashToast(qint64 count, qint64 bytes)
{
    return QStringLiteral("Moved %1 to the Trash · %2 freed")
        .arg(Format::counted(count, QStringLiteral("file")), Format::byteCount(bytes));
}

QString FileActions::trashFailureToast()
{
    return QStringLiteral("Couldn't move those files to the Trash.");
}

FileActions::TrashOutcome FileActions::trash(const QList<FileRecord> &records)
{
    TrashOutcome outcome;
    QStringList movedFolders;
    for (const FileRecord &record : records) {
        const QFileInfo info(record.path);
        // Counted before it goes: a folder frees the files inside it.
        const std::optional<FolderContents> contents =
            info.isDir() && !info.isSymLink() ? std::optional(folderContents(record.path)) : std::nullopt;
        if (!Trash::move(record.path))
            continue;
        outcome.movedPaths.append(record.path);
        outcome.moved += contents ? contents->files : 1;
        outcome.bytes += contents ? contents->bytes : record.size;
        if (contents)
            movedFolders.append(record.path);
    }
    // The library answers correctly at once instead of waiting for the
    // change events; a failure here is left to the next scan.
    try {
        m_store.files().deletePaths(outcome.movedPaths);
        for (const QString &folder : std::as_const(movedFolders))
            m_store.files().deleteFolder(folder);
    } catch (const DescribedError &) {
    }
    if (m_libraryChanged)
        m_libraryChanged();
    outcome.toast = outcome.movedPaths.isEmpty() ? trashFailureToast() : trashToast(outcome.moved, outcome.bytes);
    return outcome;
}

QString FileActions::text(const FileRecord &record) const
{
    try {
        return m_store.passages().text({QStringLiteral("file"), QString::number(record.id)});
    } catch (const DescribedError &) {
        return record.textExcerpt.value_or(QString());
    }
}

std::optional<QString> FileActions::copyText(const FileRecord &record) const
{
    const QString body = text(record);
    if (body.isEmpty())
        return std::nullopt;
    QClipboard *clipboard = QGuiApplication::clipboard();
    clipboard->clear();
    clipboard->setText(body);
    return QStringLiteral("Copied text from ") + record.name;
}

void FileActions::copyFiles(const QList<FileRecord> &records)
{
    auto *data = new QMimeData;
    const QList<QUrl> urls = fileURLs(records);
    data->setUrls(urls);
    // GNOME Files and its kin paste from their own list.
    QStringList lines{QStringLiteral("copy")};
    for (const QUrl &url : urls)
        lines.append(QString::fromUtf8(url.toEncoded()));
    data->setData(QStringLiteral("x-special/gnome-copied-files"), lines.join(u'\n').toUtf8());
    QClipboard *clipboard = QGuiApplication::clipboard();
    clipboard->clear();
    clipboard->setMimeData(data);
}

void FileActions::copyPaths(const QList<FileRecord> &records)
{
    QStringList paths;
    for (const FileRecord &record : records)
        paths.append(record.path);
    QClipboard *clipboard = QGuiApplication::clipboard();
    clipboard->clear();
    clipboard->setText(paths.join(u'\n'));
}

void FileActions::reveal(const QList<FileRecord> &records)
{
    if (records.isEmpty())
        return;
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        openFolders(records);
        return;
    }
    QStringList uris;
    for (const QUrl &url : fileURLs(records))
        uris.append(QString::fromUtf8(url.toEncoded()));
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << uris << QString();
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, revealTimeoutMs));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [records](QDBusPendingCallWatcher *done) {
        if (done->isError())
            openFolders(records);
        done->deleteLater();
    });
}

void FileActions::open(const QList<FileRecord> &records)
{
    for (const QUrl &url : fileURLs(records))
        QDesktopServices::openUrl(url);
}
