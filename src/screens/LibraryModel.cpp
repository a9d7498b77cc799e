#include "screens/LibraryModel.h"

#include "app/SidebarItem.h"
#include "core/DownloadSources.h"
#include "core/Format.h"
#include "screens/FileItems.h"

struct LibraryModel::Overview
{
    QList<KindStat> kinds;
    QList<SourceStat> sources;
    QList<FileRecord> recents;
};

namespace {

// Every read turns its error into an empty answer: the overview shows what it
// could read.
template<typename Read>
auto orEmpty(Read read) -> decltype(read())
{
    try {
        return read();
    } catch (const std::exception &) {
        return {};
    }
}

} // namespace

LibraryModel::LibraryModel(IndexStore store, QObject *parent)
    : QObject(parent)
    , m_store(std::move(store))
    , m_reload(std::make_unique<Debouncer>(reloadDelayMs))
    , m_rules(&CleanupRules::current)
{
}

LibraryModel::~LibraryModel()
{
    m_reload->cancel();
    m_immediate.cancel();
    m_cleanupTask.cancel();
}

void LibraryModel::setReloadDelay(int delayMs)
{
    m_reload->cancel();
    m_reload = std::make_unique<Debouncer>(delayMs);
}

void LibraryModel::refresh()
{
    // A reload waiting or in flight is replaced by this one.
    m_reload->cancel();
    m_immediate.cancel();
    m_immediate = CancellationToken();
    load(m_immediate);
}

void LibraryModel::refreshSoon()
{
    m_immediate.cancel();
    m_reload->call([this](const CancellationToken &token) { load(token); });
}

void LibraryModel::load(const CancellationToken &token)
{
    const IndexStore store = m_store;
    Tasks::run(Tasks::Priority::UserInitiated, [this, store, token](const CancellationToken &) {
        Overview overview;
        overview.kinds = orEmpty([&] { return store.stats().kinds(); });
        overview.sources = orEmpty([&] { return store.stats().sources(); });
        FileFilter recents;
        recents.kinds = {FileKind::image, FileKind::video, FileKind::audio, FileKind::document, FileKind::archive};
        overview.recents = orEmpty([&] { return store.files().list(recents, FileSort::recent, recentsLimit); });
        if (token.isCancelled())
            return;
        Tasks::deliver(this, token, [this, overview] { publish(overview); });
    }, token);
}

void LibraryModel::publish(const Overview &overview)
{
    ++m_published;
    QHash<FileKind, KindStat> kinds;
    qint64 count = 0, bytes = 0;
    for (const KindStat &stat : overview.kinds) {
        kinds.insert(stat.kind, stat);
        count += stat.count;
        bytes += stat.bytes;
    }
    if (kinds != _kindStats || count != _totalCount || bytes != _totalBytes) {
        _kindStats = kinds;
        _totalCount = count;
        _totalBytes = bytes;
        Q_EMIT kindStatsChanged();
    }
    if (overview.sources != _sources) {
        _sources = overview.sources;
        Q_EMIT sourcesChanged();
    }
    if (overview.recents != _recents) {
        _recents = overview.recents;
        Q_EMIT recentsChanged();
    }
    if (!_loaded) {
        _loaded = true;
        Q_EMIT loadedChanged();
    }
}

void LibraryModel::refreshCleanup()
{
    m_cleanupTask.cancel();
    CancellationToken token;
    m_cleanupTask = token;
    const IndexStore store = m_store;
    const CleanupRules rules = m_rules();
    Tasks::run(Tasks::Priority::UserInitiated, [this, store, rules, token](const CancellationToken &) {
        const QList<CleanupCategory> categories =
            orEmpty([&] { return rules.categories(store.tidy().cleanup(rules.downloadsFolder)); });
        Tasks::deliver(this, token, [this, categories] {
            if (categories == _cleanup)
                return;
            _cleanup = categories;
            Q_EMIT cleanupChanged();
        });
    }, token);
}

qint64 LibraryModel::reclaimableBytes() const
{
    qint64 bytes = 0;
    for (const CleanupCategory &category : _cleanup)
        bytes += category.bytes();
    return bytes;
}

QString LibraryModel::totalBytesText() const
{
    return Format::byteCount(_totalBytes);
}

QString LibraryModel::reclaimableText() const
{
    return Format::byteCount(reclaimableBytes());
}

QVariantList LibraryModel::kindStatItems() const
{
    QVariantList items;
    for (FileKind kind : allFileKinds()) {
        const SidebarItem item = SidebarItem::ofKind(kind);
        const KindStat stat = _kindStats.value(kind, KindStat{kind, 0, 0});
        items.append(QVariantMap{
            {QStringLiteral("key"), item.key()},
            {QStringLiteral("kind"), fileKindRawValue(kind)},
            {QStringLiteral("title"), item.title()},
            {QStringLiteral("symbol"), item.symbol()},
            {QStringLiteral("tint"), item.tint()},
            {QStringLiteral("count"), stat.count},
            {QStringLiteral("bytes"), stat.bytes},
            {QStringLiteral("countText"), Format::count(stat.count)},
            {QStringLiteral("bytesText"), Format::byteCount(stat.bytes)},
        });
    }
    return items;
}

QVariantList LibraryModel::sourceItems() const
{
    QVariantList items;
    for (const SourceStat &stat : _sources) {
        items.append(QVariantMap{
            {QStringLiteral("id"), stat.source.id},
            {QStringLiteral("name"), sourceDisplayName(stat.source.id)},
            {QStringLiteral("symbol"), sourceSymbol(stat.source.id)},
            {QStringLiteral("count"), stat.count},
            {QStringLiteral("bytesText"), Format::byteCount(stat.bytes)},
        });
    }
    return items;
}

QVariantList LibraryModel::recentItems() const
{
    QVariantList items;
    for (const FileRecord &record : _recents)
        items.append(FileItems::map(record));
    return items;
}

QVariantList LibraryModel::cleanupItems() const
{
    QVariantList items;
    for (const CleanupCategory &category : _cleanup) {
        items.append(QVariantMap{
            {QStringLiteral("kind"), CleanupCategory::rawValue(category.kind)},
            {QStringLiteral("title"), CleanupCategory::title(category.kind)},
            {QStringLiteral("detail"), CleanupCategory::detail(category.kind)},
            {QStringLiteral("symbol"), CleanupCategory::symbol(category.kind)},
            {QStringLiteral("count"), qint64(category.files.size())},
            {QStringLiteral("bytesText"), Format::byteCount(category.bytes())},
        });
    }
    return items;
}
