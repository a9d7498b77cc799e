#include "store/IndexStore.h"

#include "store/FullTextRank.h"
#include "store/LibraryLock.h"

#include "core/Paths.h"

#include <QFile>
#include <QFileInfo>

#include <filesystem>
#include <system_error>

#include <unistd.h>

namespace {

SQLiteDatabase::Access accessFor(const QString &path)
{
    // A library on a read-only mount, or in a folder the user can't write,
    // can still be searched.
    const QByteArray file = QFile::encodeName(path);
    const QByteArray folder = QFile::encodeName(QFileInfo(path).absolutePath());
    if (::access(file.constData(), F_OK) != 0)
        return SQLiteDatabase::Access::readWrite;
    if (::access(folder.constData(), W_OK) == 0)
        return ::access(file.constData(), W_OK) == 0 ? SQLiteDatabase::Access::readWrite : SQLiteDatabase::Access::readOnly;
    // WAL reads need its index beside the file; without one, nobody can be
    // writing to the library, so it's read as it stands.
    return QFileInfo::exists(path + QStringLiteral("-shm")) ? SQLiteDatabase::Access::readOnly
                                                           : SQLiteDatabase::Access::readOnlyUnchanging;
}

} // namespace

IndexStore::IndexStore(std::shared_ptr<SQLiteDatabase> database)
    : m_db(std::move(database))
    , m_reader(FileRecords::makeReader())
{
    FullTextRank::install(*m_db);
}

std::unique_ptr<IndexStore> IndexStore::open(const QUrl &url)
{
    const QString path = url.toLocalFile();
    const QString folder = QFileInfo(path).absolutePath();
    std::error_code error;
    std::filesystem::create_directories(folder.toStdString(), error);
    if (error) {
        throw FileSystemError(QStringLiteral("Couldn't create the folder “%1”: %2.")
                                  .arg(folder, QString::fromStdString(error.message())));
    }
    const SQLiteDatabase::Access access = accessFor(path);
    auto store = std::make_unique<IndexStore>(std::make_shared<SQLiteDatabase>(path, access));
    store->migrate();
    if (access == SQLiteDatabase::Access::readWrite && store->storedSchemaVersion() == schemaVersion)
        store->restoreFileIndexes();
    return store;
}


std::unique_ptr<IndexStore> IndexStore::openInMemory()
{
    auto store = std::make_unique<IndexStore>(std::make_shared<SQLiteDatabase>(QStringLiteral(":memory:")));
    store->migrate();
    return store;
}

void IndexStore::restoreFileIndexes()
{
    if (missingFileIndexes().isEmpty())
        return;
    LibraryLock writer(path());
    try {
        if (!writer.tryLock())
            return;
    } catch (const FileSystemError &) {
        return;
    }
    m_db->transaction([&] { buildFileIndexes(); });
}

QUrl IndexStore::defaultURL()
{
    return QUrl::fromLocalFile(Paths::dataHome() + QStringLiteral("/Larder/Library.sqlite"));
}

QString IndexStore::path() const
{
    return m_db->path();
}

bool IndexStore::isInMemory() const
{
    return m_db->path().isEmpty() || m_db->path() == QLatin1String(":memory:");
}

qint64 IndexStore::storedSchemaVersion() const
{
    return m_db->scalar(QStringLiteral("PRAGMA user_version")).intValue().value_or(0);
}

FileRecords IndexStore::files() const
{
    return FileRecords(m_db, m_reader);
}

PassageIndex IndexStore::passages() const
{
    return PassageIndex(m_db);
}

TextQueue IndexStore::textQueue() const
{
    return TextQueue(m_db);
}

TidyCandidates IndexStore::tidy() const
{
    return TidyCandidates(m_db);
}

LibraryStats IndexStore::stats() const
{
    return LibraryStats(m_db);
}

MeetingRows IndexStore::meetingRows() const
{
    return MeetingRows(m_db);
}
