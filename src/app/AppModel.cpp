#include "app/AppModel.h"

#include "core/AppSettings.h"
#include "core/Defaults.h"
#include "indexing/Indexer.h"
#include "indexing/IndexingStatus.h"
#include "store/IndexStore.h"
#include "store/LibraryLock.h"
#include "tidy/FileActions.h"

#include <QFileInfo>

AppModel::AppModel(AppSettings &settings, QObject *parent)
    : QObject(parent)
    , m_indexing(std::make_unique<IndexingStatus>())
    , m_settings(settings)
{
    try {
        m_store = isRunningTests() ? IndexStore::openInMemory() : IndexStore::open(databaseURL());
    } catch (const DescribedError &error) {
        // The program runs on an empty library that lives as long as the
        // session; the file on disk is left untouched and tried again at the
        // next start. An in-memory library that fails too ends the program.
        m_store = IndexStore::openInMemory();
        m_libraryFailure = QStringLiteral("Couldn't open the library database: ") + error.description();
        _toast = m_libraryFailure;
    }

    // The indexer, over the store. The library's own files are never
    // reported as changes, even when it lives inside a watched folder.
    Indexer::Options indexing;
    const QString database = m_store->path();
    if (!m_libraryFailure && !m_store->isInMemory()) {
        for (const char *suffix : {"", "-wal", "-shm", "-journal"})
            indexing.ignoredPaths.append(database + QLatin1String(suffix));
        indexing.reportKey = database;
        m_writerLock = std::make_unique<LibraryLock>(database);
    }
    m_indexer = std::make_unique<Indexer>(*m_store, *m_indexing, std::move(indexing));

    _showOnboarding = !m_settings.onboardingComplete() && !isRunningTests();
}

AppModel::~AppModel() = default;

bool AppModel::isRunningTests()
{
    return qEnvironmentVariableIsSet("LARDER_TEST_HOST");
}

QUrl AppModel::databaseURL() const
{
    const auto path = m_settings.defaults().string(QStringLiteral("LarderDatabase"));
    if (path && !path->isEmpty())
        return QUrl::fromLocalFile(QFileInfo(*path).absoluteFilePath());
    return IndexStore::defaultURL();
}

FileActions AppModel::fileActions() const
{
    return FileActions(*m_store, [status = m_indexing.get()] { status->bumpRevision(); });
}

void AppModel::launch()
{
    if (m_launched || isRunningTests())
        return;
    m_launched = true;
    if (m_settings.onboardingComplete() || m_settings.defaults().contains(QStringLiteral("LarderIndexRoots")))
        startIndexing();
}

QStringList AppModel::existingIndexRoots() const
{
    QStringList roots;
    for (const QString &root : m_settings.indexRoots()) {
        if (QFileInfo(root).isDir())
            roots.append(root);
    }
    return roots;
}

std::optional<QString> AppModel::claimLibrary()
{
    // A library in memory is this process's alone.
    if (!m_writerLock)
        return std::nullopt;
    try {
        if (m_writerLock->tryLock())
            return std::nullopt;
    } catch (const DescribedError &error) {
        return error.description();
    }
    const qint64 pid = m_writerLock->holder();
    return pid > 0 ? QStringLiteral("The library is being indexed by another process (pid %1).").arg(pid)
                   : QStringLiteral("The library is being indexed by another process.");
}

void AppModel::startIndexing()
{
    if (const auto busy = claimLibrary()) {
        setToast(*busy + QStringLiteral(" Try again when it has finished."));
        return;
    }
    const QStringList roots = existingIndexRoots();
    m_indexer->start(roots);
    Q_EMIT indexingStarted(roots);
}

void AppModel::setToast(const std::optional<QString> &toast)
{
    if (_toast == toast)
        return;
    _toast = toast;
    Q_EMIT toastChanged();
}

void AppModel::setToastText(const QString &toast)
{
    setToast(toast.isEmpty() ? std::nullopt : std::optional<QString>(toast));
}

void AppModel::setShowOnboarding(bool show)
{
    if (_showOnboarding == show)
        return;
    _showOnboarding = show;
    Q_EMIT showOnboardingChanged();
}

void AppModel::setShowInspector(bool show)
{
    if (_showInspector == show)
        return;
    _showInspector = show;
    Q_EMIT showInspectorChanged();
}

void AppModel::setFocusSearchField(bool focus)
{
    if (_focusSearchField == focus)
        return;
    _focusSearchField = focus;
    Q_EMIT focusSearchFieldChanged();
}
