#include "app/AppModel.h"

#include "ask/AskAgent.h"
#include "ask/AskModel.h"
#include "claude/APIKeyStore.h"
#include "claude/ClaudeClient.h"
#include "core/AppSettings.h"
#include "core/Defaults.h"
#include "core/Format.h"
#include "core/Tasks.h"
#include "indexing/Indexer.h"
#include "indexing/IndexingStatus.h"
#include "meetings/MeetingModels.h"
#include "meetings/MeetingRecorder.h"
#include "meetings/MeetingStore.h"
#include "search/SearchEngine.h"
#include "search/SearchModel.h"
#include "session/MeetingsModel.h"
#include "session/RecorderLink.h"
#include "store/IndexStore.h"
#include "store/LibraryLock.h"
#include "tidy/DuplicatesModel.h"
#include "tidy/FileActions.h"

#include <QClipboard>
#include <QCoreApplication>
#include <QDesktopServices>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMetaEnum>
#include <QTimer>

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
    m_meetingStore = std::make_unique<MeetingStore>(*m_store);
    m_engine = std::make_unique<SearchEngine>(*m_store);
    m_claude = std::make_unique<ClaudeClient>([] { return APIKeyStore::shared().key(); });

    // The screens' models. A key added in Settings counts from the next
    // request on, so its presence is asked each time.
    m_search = std::make_unique<SearchModel>(*m_engine, *m_claude, m_settings, [this] { return _hasAPIKey; });
    m_ask = std::make_unique<AskModel>(std::make_unique<AskAgent>(
        *m_claude, [this] { return m_settings.smartModel(); }, *m_store, *m_meetingStore));
    m_duplicates = std::make_unique<DuplicatesModel>(*m_store);
    // Files that leave the library by the watcher or a scan leave the
    // duplicate groups on screen too.
    connect(m_indexing.get(), &IndexingStatus::revisionChanged, m_duplicates.get(),
            &DuplicatesModel::followLibrarySoon);
    connect(m_ask.get(), &AskModel::citationOpened, this, [this](const Citation &citation) { open(citation); });

    // The meetings and their recorder, joined by the link: record and stop
    // reach the recorder, its state and segments reach the meetings.
    m_recorder = std::make_unique<MeetingRecorder>(*m_meetingStore);
    m_meetings = std::make_unique<MeetingsModel>(*m_store, *m_claude, m_settings, [this] { return _hasAPIKey; });
    m_recorderLink = std::make_shared<RecorderLink>(*m_recorder, *m_meetings);
    m_meetings->setRecorder(m_recorderLink);
    connect(m_recorder.get(), &MeetingRecorder::stateChanged, this, &AppModel::recordingChanged);

    _showOnboarding = !m_settings.onboardingComplete() && !isRunningTests();
    const auto key = APIKeyStore::shared().key();
    _hasAPIKey = key && !key->isEmpty();

    m_toastTimer.setParent(this);
    m_toastTimer.setSingleShot(true);
    m_toastTimer.setInterval(toastMilliseconds);
    m_toastTimer.setObjectName(QStringLiteral("toastTimer"));
    connect(&m_toastTimer, &QTimer::timeout, this, [this] { setToast(std::nullopt); });
    if (_toast)
        m_toastTimer.start();
}

AppModel::~AppModel()
{
    // The link goes before the meetings and the recorder it joins.
    m_recorderLink.reset();
    m_meetings.reset();
    m_recorder.reset();
}

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

void AppModel::completeOnboarding()
{
    m_settings.setOnboardingComplete(true);
    setShowOnboarding(false);
    startIndexing();
}

void AppModel::addIndexedFolder(const QString &path)
{
    QStringList folders = m_settings.indexedFolders();
    if (path.isEmpty() || folders.contains(path))
        return;
    folders.append(path);
    m_settings.setIndexedFolders(folders);
    if (m_settings.onboardingComplete())
        startIndexing();
}

void AppModel::removeIndexedFolder(const QString &path)
{
    QStringList folders = m_settings.indexedFolders();
    if (folders.removeAll(path) == 0)
        return;
    m_settings.setIndexedFolders(folders);
    if (!m_settings.onboardingComplete())
        return;
    // The scan of the folders that stay starts first, so that nothing walks
    // the dropped folder while its files are taken out.
    startIndexing();
    const IndexStore store = *m_store;
    const QString root = QDir::cleanPath(QDir(path).absolutePath());
    Tasks::run(Tasks::Priority::UserInitiated, [this, store, root](const CancellationToken &) {
        try {
            store.files().deleteRoot(root);
        } catch (const DescribedError &error) {
            const QString message = error.description();
            Tasks::deliver(this, [this, message] { m_indexing->setLastError(message); });
            return;
        }
        Tasks::deliver(this, [this] { m_indexing->bumpRevision(); });
    });
}

void AppModel::setToast(const std::optional<QString> &toast)
{
    // A toast stands for its time from when it is set; a newer one replaces
    // its text and starts the wait again.
    if (toast)
        m_toastTimer.start();
    else
        m_toastTimer.stop();
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

void AppModel::setSelection(const std::optional<SidebarItem> &item)
{
    if (_selection == item)
        return;
    _selection = item;
    Q_EMIT selectionChanged();
}

void AppModel::setSelectionKey(const QString &key)
{
    if (key.isEmpty()) {
        setSelection(std::nullopt);
        return;
    }
    if (const auto item = SidebarItem::fromKey(key))
        setSelection(*item);
}

void AppModel::setSelectedSource(const std::optional<QString> &source)
{
    if (_selectedSource == source)
        return;
    _selectedSource = source;
    Q_EMIT selectedSourceChanged();
}

void AppModel::setSelectedSourceText(const QString &source)
{
    setSelectedSource(source.isEmpty() ? std::nullopt : std::optional<QString>(source));
}

void AppModel::setInspectedFile(const std::optional<FileRecord> &file)
{
    if (_inspectedFile == file)
        return;
    _inspectedFile = file;
    Q_EMIT inspectedFileChanged();
}

QVariant AppModel::inspectedFileValue() const
{
    return _inspectedFile ? QVariant::fromValue(*_inspectedFile) : QVariant();
}

void AppModel::setPreviewURL(const std::optional<QUrl> &url)
{
    if (_previewURL == url)
        return;
    _previewURL = url;
    Q_EMIT previewURLChanged();
}

void AppModel::setPreviewURLValue(const QUrl &url)
{
    setPreviewURL(url.isEmpty() ? std::nullopt : std::optional<QUrl>(url));
}

void AppModel::setPreviewURLs(const QList<QUrl> &urls)
{
    if (_previewURLs == urls)
        return;
    _previewURLs = urls;
    Q_EMIT previewURLsChanged();
}

SecretStore::Status AppModel::setAPIKey(const std::optional<QString> &key)
{
    const SecretStore::Status status = APIKeyStore::shared().setKey(key);
    const auto stored = APIKeyStore::shared().key();
    const bool has = stored && !stored->isEmpty();
    if (_hasAPIKey != has) {
        _hasAPIKey = has;
        Q_EMIT hasAPIKeyChanged();
    }
    return status;
}

void AppModel::preview(const FileRecord &record, const QList<FileRecord> &among)
{
    QList<QUrl> urls;
    for (const FileRecord &file : among)
        urls.append(QUrl::fromLocalFile(file.path));
    if (urls.isEmpty())
        urls.append(QUrl::fromLocalFile(record.path));
    setPreviewURLs(urls);
    setPreviewURL(QUrl::fromLocalFile(record.path));
}

void AppModel::copyText(const FileRecord &record)
{
    if (const auto toast = fileActions().copyText(record))
        setToast(*toast);
}

qint64 AppModel::trash(const QList<FileRecord> &records)
{
    return moveToTrash(records).moved;
}

FileActions::TrashOutcome AppModel::moveToTrash(const QList<FileRecord> &records)
{
    FileActions::TrashOutcome outcome = fileActions().trash(records);
    setToast(outcome.toast);
    if (_inspectedFile && outcome.movedPaths.contains(_inspectedFile->path))
        setInspectedFile(std::nullopt);
    return outcome;
}

void AppModel::reveal(const QList<FileRecord> &records)
{
    FileActions::reveal(records);
}

void AppModel::copyFiles(const QList<FileRecord> &records)
{
    FileActions::copyFiles(records);
}

void AppModel::copyPaths(const QList<FileRecord> &records)
{
    FileActions::copyPaths(records);
}

void AppModel::open(const QList<FileRecord> &records)
{
    FileActions::open(records);
}

void AppModel::pin(const QString &path)
{
    QStringList pinned = m_settings.pinnedFolders();
    if (pinned.contains(path))
        return;
    pinned.append(path);
    m_settings.setPinnedFolders(pinned);
}

void AppModel::unpin(const QString &path)
{
    QStringList pinned = m_settings.pinnedFolders();
    if (pinned.removeAll(path) == 0)
        return;
    m_settings.setPinnedFolders(pinned);
    if (_selection == SidebarItem::ofFolder(path))
        setSelection(SidebarItem(SidebarItem::Case::home));
}

void AppModel::openFileCitation(const QString &ownerID)
{
    bool parsed = false;
    const qint64 id = ownerID.toLongLong(&parsed);
    if (!parsed)
        return;
    const auto record = m_store->files().record(id);
    if (!record)
        return;
    setInspectedFile(*record);
    setShowInspector(true);
    preview(*record);
}

void AppModel::open(const Citation &citation)
{
    if (citation.kind == Citation::Kind::file) {
        openFileCitation(citation.ownerID);
        return;
    }
    openMeeting(citation.ownerID);
}

void AppModel::openCitation(const QVariantMap &citation)
{
    const auto kind = citationKindFromRawValue(citation.value(QStringLiteral("kind")).toString());
    if (!kind)
        return;
    Citation cited;
    cited.kind = *kind;
    cited.ownerID = citation.value(QStringLiteral("ownerID")).toString();
    cited.title = citation.value(QStringLiteral("title")).toString();
    open(cited);
}

void AppModel::openMeeting(const QString &id)
{
    setSelection(SidebarItem(SidebarItem::Case::meetings));
    m_meetings->reload();
    if (m_meetings->selectedIDText() == id)
        m_meetings->select(QString());
    m_meetings->select(id);
}

bool AppModel::isRecording() const
{
    return m_recorder->state() != MeetingRecorder::State::idle;
}

QString AppModel::recorderState() const
{
    return QString::fromLatin1(QMetaEnum::fromType<MeetingRecorder::State>().valueToKey(int(m_recorder->state())));
}

void AppModel::newMeeting()
{
    setSelection(SidebarItem(SidebarItem::Case::meetings));
    m_meetings->newMeeting(MeetingsModel::Start::quietly);
}

void AppModel::recordMeeting()
{
    setSelection(SidebarItem(SidebarItem::Case::meetings));
    m_meetings->newMeeting(MeetingsModel::Start::recording);
}

void AppModel::copyMeetingMarkdown()
{
    MeetingSession *session = m_meetings->session();
    if (!session || !QGuiApplication::clipboard())
        return;
    QGuiApplication::clipboard()->setText(session->markdownText());
    setToast(QStringLiteral("Copied meeting notes"));
}

void AppModel::stopRecording()
{
    m_meetings->stopRecording();
}

void AppModel::toggleRecording()
{
    if (isRecording())
        stopRecording();
    else
        recordMeeting();
}

void AppModel::finishRecordingBeforeQuit()
{
    if (!isRecording())
        return;
    const QString meetingID = m_recorder->meetingID();
    // The recorder decodes what it heard last on threads of its own and
    // reports back through the event loop, so the loop turns until it is
    // idle, at most a minute.
    QEventLoop loop;
    QTimer limit;
    limit.setSingleShot(true);
    connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
    connect(m_recorder.get(), &MeetingRecorder::stateChanged, &loop, [&] {
        if (m_recorder->state() == MeetingRecorder::State::idle)
            loop.quit();
        else if (m_recorder->state() == MeetingRecorder::State::recording)
            m_recorder->stop();
    });
    if (m_recorder->state() == MeetingRecorder::State::recording)
        m_recorder->stop();
    limit.start(60'000);
    if (isRecording())
        loop.exec();
    m_recorder->finishWriting();
    QCoreApplication::sendPostedEvents();
    // The meeting ends now; its notes can be written from the screen later.
    MeetingSession *session = m_meetings->session();
    if (session && session->meetingID() == meetingID) {
        session->finish(MeetingSession::Enhancement::skip);
        return;
    }
    try {
        if (auto meeting = m_meetingStore->meeting(meetingID)) {
            meeting->ended = QDateTime::currentDateTime();
            m_meetingStore->update(*meeting);
            m_meetingStore->indexPassages(*meeting, Format::locale());
        }
    } catch (const std::exception &) {
        // What was recorded is stored already; only the end time is missing.
    }
}

namespace {

std::optional<FileRecord> recordOf(const QVariant &value)
{
    if (!value.canConvert<FileRecord>())
        return std::nullopt;
    return value.value<FileRecord>();
}

QList<FileRecord> recordsOf(const QVariantList &values)
{
    QList<FileRecord> records;
    for (const QVariant &value : values) {
        if (const auto record = recordOf(value))
            records.append(*record);
    }
    return records;
}

} // namespace

void AppModel::previewFile(const QVariant &record, const QVariantList &among)
{
    if (const auto file = recordOf(record))
        preview(*file, recordsOf(among));
}

void AppModel::inspect(const QVariant &record)
{
    setInspectedFile(recordOf(record));
}

void AppModel::copyTextOf(const QVariant &record)
{
    if (const auto file = recordOf(record))
        copyText(*file);
}

qint64 AppModel::trashFiles(const QVariantList &records)
{
    const QList<FileRecord> files = recordsOf(records);
    return files.isEmpty() ? 0 : trash(files);
}

void AppModel::revealFiles(const QVariantList &records)
{
    reveal(recordsOf(records));
}

void AppModel::copyFilesOf(const QVariantList &records)
{
    copyFiles(recordsOf(records));
}

void AppModel::copyPathsOf(const QVariantList &records)
{
    copyPaths(recordsOf(records));
}

void AppModel::openFiles(const QVariantList &records)
{
    open(recordsOf(records));
}

void AppModel::revealFolder(const QString &path)
{
    FileRecord folder;
    folder.path = path;
    FileActions::reveal({folder});
}

void AppModel::showSearch()
{
    setSelection(SidebarItem(SidebarItem::Case::search));
    // A pulse: raised for the field to take the focus, lowered by it.
    setFocusSearchField(false);
    setFocusSearchField(true);
}

void AppModel::copyInspectedText()
{
    if (_inspectedFile)
        copyText(*_inspectedFile);
}

void AppModel::closePreview()
{
    setPreviewURL(std::nullopt);
}
