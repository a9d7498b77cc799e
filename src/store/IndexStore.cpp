#include "store/IndexStore.h"

#include "store/FullTextRank.h"

#include "core/Paths.h"

#include <QFileInfo>

#include <filesystem>
#include <system_error>

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
    auto store = std::make_unique<IndexStore>(std::make_shared<SQLiteDatabase>(path));
    store->migrate();
    return store;
}

std::unique_ptr<IndexStore> IndexStore::openInMemory()
{
    auto store = std::make_unique<IndexStore>(std::make_shared<SQLiteDatabase>(QStringLiteral(":memory:")));
    store->migrate();
    return store;
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
