// The overview of the whole library for the home screen: counts and bytes
// per kind, the sources files came from, the newest files and the clean-up
// suggestions. Reads run on the userInitiated pool; results are published on
// the main thread. Main thread only.
#pragma once

#include "core/Tasks.h"
#include "store/IndexStore.h"
#include "tidy/CleanupRules.h"

#include <QHash>
#include <QObject>
#include <QVariantList>

#include <functional>

class LibraryModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QVariantList kindStats READ kindStatItems NOTIFY kindStatsChanged)
    Q_PROPERTY(qint64 totalCount READ totalCount NOTIFY kindStatsChanged)
    Q_PROPERTY(qint64 totalBytes READ totalBytes NOTIFY kindStatsChanged)
    Q_PROPERTY(QString totalBytesText READ totalBytesText NOTIFY kindStatsChanged)
    Q_PROPERTY(QVariantList sources READ sourceItems NOTIFY sourcesChanged)
    Q_PROPERTY(QVariantList recents READ recentItems NOTIFY recentsChanged)
    Q_PROPERTY(QVariantList cleanup READ cleanupItems NOTIFY cleanupChanged)
    Q_PROPERTY(qint64 reclaimableBytes READ reclaimableBytes NOTIFY cleanupChanged)
    Q_PROPERTY(QString reclaimableText READ reclaimableText NOTIFY cleanupChanged)
    Q_PROPERTY(bool loaded READ isLoaded NOTIFY loadedChanged)

public:
    // How long the overview waits after a change of the library before it
    // reloads, so that a long scan updates it about once a second.
    static constexpr int reloadDelayMs = 1200;
    // The newest files of these kinds make the recents: not apps, not other.
    static constexpr int recentsLimit = 24;

    // The rules of the clean-up pass, made when it runs.
    using RulesSource = std::function<CleanupRules()>;

    explicit LibraryModel(IndexStore store, QObject *parent = nullptr);
    ~LibraryModel() override;

    // Reloads now, cancelling a reload in flight or waiting.
    Q_INVOKABLE void refresh();
    // Reloads after reloadDelayMs; a later call replaces the waiting one.
    // This is the debounce of a burst of library changes.
    Q_INVOKABLE void refreshSoon();
    // Recomputes the clean-up suggestions.
    Q_INVOKABLE void refreshCleanup();

    // For tests: another debounce interval, and other clean-up rules.
    void setReloadDelay(int delayMs);
    void setRulesSource(RulesSource rules) { m_rules = std::move(rules); }
    // How many reloads have published, for tests of the debounce.
    int publishedReloads() const { return m_published; }

    QHash<FileKind, KindStat> kindStats() const { return _kindStats; }
    qint64 totalCount() const { return _totalCount; }
    qint64 totalBytes() const { return _totalBytes; }
    QList<SourceStat> sources() const { return _sources; }
    QList<FileRecord> recents() const { return _recents; }
    QList<CleanupCategory> cleanup() const { return _cleanup; }
    qint64 reclaimableBytes() const;
    QString totalBytesText() const;
    QString reclaimableText() const;
    bool isLoaded() const { return _loaded; }

    // One entry a kind, in the kinds' order: kind, title, symbol, tint,
    // count, bytes, bytesText.
    QVariantList kindStatItems() const;
    QVariantList sourceItems() const;
    QVariantList recentItems() const;
    QVariantList cleanupItems() const;

Q_SIGNALS:
    void kindStatsChanged();
    void sourcesChanged();
    void recentsChanged();
    void cleanupChanged();
    void loadedChanged();

private:
    struct Overview;
    void load(const CancellationToken &token);
    void publish(const Overview &overview);

    IndexStore m_store;
    std::unique_ptr<Debouncer> m_reload;
    // The reload started by refresh(), which a later request cancels.
    CancellationToken m_immediate;
    CancellationToken m_cleanupTask;
    RulesSource m_rules;
    int m_published = 0;

    QHash<FileKind, KindStat> _kindStats;
    qint64 _totalCount = 0;
    qint64 _totalBytes = 0;
    QList<SourceStat> _sources;
    QList<FileRecord> _recents;
    QList<CleanupCategory> _cleanup;
    bool _loaded = false;
};
