#include "screens/LibraryBrowserModel.h"

#include "core/Format.h"
#include "screens/FileItems.h"
#include "screens/LibraryModel.h"

struct LibraryBrowserModel::Page
{
    int offset = 0;
    QList<FileRecord> files;
    FileRecords::Total total;
};

LibraryBrowserModel::LibraryBrowserModel(IndexStore store, const SidebarItem &item, QObject *parent)
    : QAbstractListModel(parent)
    , m_store(std::move(store))
    , m_item(item)
    , m_filter(item.filter())
    , m_reload(std::make_unique<Debouncer>(LibraryModel::reloadDelayMs))
{
}

LibraryBrowserModel::LibraryBrowserModel(IndexStore store, const SidebarItem &item, const FileFilter &filter,
                                         QObject *parent)
    : QAbstractListModel(parent)
    , m_store(std::move(store))
    , m_item(item)
    , m_filter(filter)
    , m_reload(std::make_unique<Debouncer>(LibraryModel::reloadDelayMs))
{
}

LibraryBrowserModel::~LibraryBrowserModel()
{
    m_task.cancel();
    m_reload->cancel();
}

void LibraryBrowserModel::load()
{
    m_reload->cancel();
    m_task.cancel();
    m_task = CancellationToken();
    m_fetching = false;
    setLoading(true);
    read(0, m_task);
}

void LibraryBrowserModel::reloadSoon()
{
    m_reload->call([this](const CancellationToken &) { load(); });
}

void LibraryBrowserModel::read(int offset, const CancellationToken &token)
{
    const auto filter = m_filter;
    const IndexStore store = m_store;
    const FileSort sort = _sort;
    Tasks::run(Tasks::Priority::UserInitiated, [this, store, filter, sort, offset, token](const CancellationToken &) {
        Page page;
        page.offset = offset;
        // An item that isn't a listing lists nothing.
        if (filter) {
            try {
                page.files = store.files().list(*filter, sort, pageSize, offset);
                page.total = store.files().count(*filter);
            } catch (const std::exception &) {
                // A listing that can't be read shows as empty.
            }
        }
        Tasks::deliver(this, token, [this, page] { publish(page); });
    }, token);
}

void LibraryBrowserModel::publish(const Page &page)
{
    if (page.offset == 0) {
        beginResetModel();
        _files = page.files;
        endResetModel();
    } else if (page.offset == _files.size() && !page.files.isEmpty()) {
        beginInsertRows(QModelIndex(), int(_files.size()), int(_files.size() + page.files.size() - 1));
        _files.append(page.files);
        endInsertRows();
    }
    m_fetching = false;
    if (page.total.count != _total || page.total.bytes != _bytes) {
        _total = page.total.count;
        _bytes = page.total.bytes;
        Q_EMIT totalChanged();
    }
    // Selected files that are gone from the listing are dropped.
    QSet<qint64> present;
    for (const FileRecord &file : std::as_const(_files)) {
        if (_selection.contains(file.id))
            present.insert(file.id);
    }
    setSelection(present);
    setLoading(false);
    Q_EMIT loaded();
}

void LibraryBrowserModel::setLoading(bool loading)
{
    if (_loading == loading)
        return;
    _loading = loading;
    Q_EMIT loadingChanged();
}

void LibraryBrowserModel::setSort(FileSort sort)
{
    if (_sort == sort)
        return;
    _sort = sort;
    Q_EMIT sortChanged();
    load();
}

void LibraryBrowserModel::setSortText(const QString &raw)
{
    if (const auto sort = fileSortFromRawValue(raw))
        setSort(*sort);
}

QString LibraryBrowserModel::countText() const
{
    return Format::counted(_total, QStringLiteral("item")) + QStringLiteral(" · ") + Format::byteCount(_bytes);
}

void LibraryBrowserModel::setSelection(const QSet<qint64> &selection)
{
    if (_selection == selection)
        return;
    const QSet<qint64> before = _selection;
    _selection = selection;
    // Only the rows whose mark changed are repainted.
    for (int row = 0; row < _files.size(); ++row) {
        const qint64 id = _files.at(row).id;
        if (before.contains(id) != _selection.contains(id)) {
            const QModelIndex changed = index(row);
            Q_EMIT dataChanged(changed, changed, {FileItems::SelectedRole});
        }
    }
    Q_EMIT selectionChanged();
}

void LibraryBrowserModel::selectOnly(qint64 id)
{
    setSelection({id});
}

void LibraryBrowserModel::toggleSelected(qint64 id)
{
    QSet<qint64> selection = _selection;
    if (!selection.remove(id))
        selection.insert(id);
    setSelection(selection);
}

void LibraryBrowserModel::selectAll()
{
    QSet<qint64> all;
    for (const FileRecord &file : std::as_const(_files))
        all.insert(file.id);
    setSelection(all);
}

void LibraryBrowserModel::clearSelection()
{
    setSelection({});
}

QVariantList LibraryBrowserModel::selectedRecords() const
{
    QVariantList records;
    for (const FileRecord &file : _files) {
        if (_selection.contains(file.id))
            records.append(QVariant::fromValue(file));
    }
    return records;
}

QVariantList LibraryBrowserModel::allRecords() const
{
    QVariantList records;
    records.reserve(_files.size());
    for (const FileRecord &file : _files)
        records.append(QVariant::fromValue(file));
    return records;
}

QVariant LibraryBrowserModel::recordAt(int row) const
{
    if (row < 0 || row >= _files.size())
        return {};
    return QVariant::fromValue(_files.at(row));
}

int LibraryBrowserModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(_files.size());
}

QVariant LibraryBrowserModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= _files.size())
        return {};
    const FileRecord &file = _files.at(index.row());
    if (role == FileItems::SelectedRole)
        return _selection.contains(file.id);
    return FileItems::data(file, role);
}

QHash<int, QByteArray> LibraryBrowserModel::roleNames() const
{
    return FileItems::roleNames();
}

bool LibraryBrowserModel::canFetchMore(const QModelIndex &parent) const
{
    return !parent.isValid() && !_loading && !m_fetching && _files.size() < _total;
}

void LibraryBrowserModel::fetchMore(const QModelIndex &parent)
{
    if (!canFetchMore(parent))
        return;
    m_fetching = true;
    read(int(_files.size()), m_task);
}
