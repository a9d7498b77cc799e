// One sorted listing of the files of a sidebar item, for the grid and the
// list: the rows loaded so far, the total and bytes of everything that
// matches, and the user's selection. Rows come a page at a time: the first
// page on load, the next ones as the view scrolls toward the end. Reads run
// on the userInitiated pool. Main thread only.
#pragma once

#include "app/SidebarItem.h"
#include "core/Tasks.h"
#include "store/IndexStore.h"

#include <QAbstractListModel>
#include <QSet>

#include <memory>

class LibraryBrowserModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(QString sort READ sortText WRITE setSortText NOTIFY sortChanged)
    Q_PROPERTY(qint64 total READ total NOTIFY totalChanged)
    Q_PROPERTY(qint64 bytes READ bytes NOTIFY totalChanged)
    Q_PROPERTY(QString countText READ countText NOTIFY totalChanged)
    Q_PROPERTY(bool loading READ isLoading NOTIFY loadingChanged)
    Q_PROPERTY(int selectionCount READ selectionCount NOTIFY selectionChanged)
    Q_PROPERTY(QString title READ title CONSTANT)
    Q_PROPERTY(QString symbol READ symbol CONSTANT)

public:
    static constexpr int pageSize = 3000;

    LibraryBrowserModel(IndexStore store, const SidebarItem &item, QObject *parent = nullptr);
    // The files of a filter of its own under the item, such as the downloads
    // of one source under "Downloaded From".
    LibraryBrowserModel(IndexStore store, const SidebarItem &item, const FileFilter &filter, QObject *parent = nullptr);
    ~LibraryBrowserModel() override;

    SidebarItem item() const { return m_item; }
    QString title() const { return m_item.title(); }
    QString symbol() const { return m_item.symbol(); }

    // Loads the first page with the current sort, replacing the rows.
    Q_INVOKABLE void load();
    // load() after the overview's delay, for a burst of library changes.
    Q_INVOKABLE void reloadSoon();

    FileSort sort() const { return _sort; }
    // A new sort reloads the listing; the selection stays.
    void setSort(FileSort sort);
    QString sortText() const { return fileSortRawValue(_sort); }
    void setSortText(const QString &raw);

    QList<FileRecord> files() const { return _files; }
    qint64 total() const { return _total; }
    qint64 bytes() const { return _bytes; }
    // "1,204 items · 3.4 GB"
    QString countText() const;
    bool isLoading() const { return _loading; }

    QSet<qint64> selection() const { return _selection; }
    int selectionCount() const { return int(_selection.size()); }
    Q_INVOKABLE bool isSelected(qint64 id) const { return _selection.contains(id); }
    // Only this file is selected.
    Q_INVOKABLE void selectOnly(qint64 id);
    // Adds the file to the selection or takes it out.
    Q_INVOKABLE void toggleSelected(qint64 id);
    // Every loaded row.
    Q_INVOKABLE void selectAll();
    Q_INVOKABLE void clearSelection();
    // The selected rows as QVariants holding FileRecord, in listing order.
    Q_INVOKABLE QVariantList selectedRecords() const;
    // Every loaded row, the same way, for the preview to step through.
    Q_INVOKABLE QVariantList allRecords() const;
    Q_INVOKABLE QVariant recordAt(int row) const;

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;
    bool canFetchMore(const QModelIndex &parent) const override;
    void fetchMore(const QModelIndex &parent) override;

Q_SIGNALS:
    void sortChanged();
    void totalChanged();
    void loadingChanged();
    void selectionChanged();
    // A load or a page has been published.
    void loaded();

private:
    struct Page;
    void read(int offset, const CancellationToken &token);
    void publish(const Page &page);
    void setLoading(bool loading);
    void setSelection(const QSet<qint64> &selection);

    IndexStore m_store;
    const SidebarItem m_item;
    const std::optional<FileFilter> m_filter; // none: the item lists nothing
    CancellationToken m_task;
    std::unique_ptr<Debouncer> m_reload;
    bool m_fetching = false;

    FileSort _sort = FileSort::recent;
    QList<FileRecord> _files;
    qint64 _total = 0;
    qint64 _bytes = 0;
    bool _loading = false;
    QSet<qint64> _selection;
};
