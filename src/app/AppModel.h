// The composition root and the state of the application shell. It builds
// every subsystem in one fixed order, owns them for the life of the process,
// and wires them to each other. Main thread only.
#pragma once

#include "app/SidebarItem.h"
#include "core/AppSettings.h"
#include "indexing/IndexingStatus.h"
#include "platform/SecretStore.h"
#include "store/FileRecord.h"
#include "tidy/FileActions.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QUrl>
#include <QVariant>

#include <memory>
#include <optional>

class AskModel;
class ClaudeClient;
class DuplicatesModel;
class IndexStore;
class Indexer;
class LibraryLock;
class MeetingRecorder;
class MeetingStore;
class MeetingsModel;
class RecorderLink;
class SearchEngine;
class SearchModel;
struct Citation;

class AppModel : public QObject
{
    Q_OBJECT
    Q_MOC_INCLUDE("ask/AskModel.h")
    Q_MOC_INCLUDE("search/SearchModel.h")
    Q_MOC_INCLUDE("meetings/MeetingRecorder.h")
    Q_MOC_INCLUDE("session/MeetingsModel.h")
    Q_PROPERTY(QString toast READ toastText WRITE setToastText NOTIFY toastChanged)
    Q_PROPERTY(bool showOnboarding READ showOnboarding WRITE setShowOnboarding NOTIFY showOnboardingChanged)
    Q_PROPERTY(bool showInspector READ showInspector WRITE setShowInspector NOTIFY showInspectorChanged)
    Q_PROPERTY(bool focusSearchField READ focusSearchField WRITE setFocusSearchField NOTIFY focusSearchFieldChanged)
    Q_PROPERTY(IndexingStatus *indexing READ indexing CONSTANT)
    Q_PROPERTY(AppSettings *settings READ settings CONSTANT)
    Q_PROPERTY(SearchModel *search READ search CONSTANT)
    Q_PROPERTY(AskModel *ask READ ask CONSTANT)
    Q_PROPERTY(MeetingsModel *meetings READ meetings CONSTANT)
    Q_PROPERTY(MeetingRecorder *recorder READ recorder CONSTANT)
    Q_PROPERTY(bool recording READ isRecording NOTIFY recordingChanged)
    // The recorder's state by name: "idle", "preparing", "recording" or
    // "stopping".
    Q_PROPERTY(QString recorderState READ recorderState NOTIFY recordingChanged)
    // The selected sidebar item by its key ("home", "kind:image",
    // "folder:/path"); empty when nothing is selected.
    Q_PROPERTY(QString selection READ selectionKey WRITE setSelectionKey NOTIFY selectionChanged)
    Q_PROPERTY(QString selectedSource READ selectedSourceText WRITE setSelectedSourceText NOTIFY selectedSourceChanged)
    Q_PROPERTY(QVariant inspectedFile READ inspectedFileValue NOTIFY inspectedFileChanged)
    Q_PROPERTY(QUrl previewURL READ previewURLValue WRITE setPreviewURLValue NOTIFY previewURLChanged)
    Q_PROPERTY(QList<QUrl> previewURLs READ previewURLs NOTIFY previewURLsChanged)
    Q_PROPERTY(bool hasAPIKey READ hasAPIKey NOTIFY hasAPIKeyChanged)

public:
    // Cannot fail: a library that can't be opened is replaced by an empty one
    // in memory, with libraryFailure() and the toast saying why.
    explicit AppModel(AppSettings &settings, QObject *parent = nullptr);
    ~AppModel() override;

    // True when LARDER_TEST_HOST is set: the library is in memory, onboarding
    // never shows, and the launch work does nothing.
    static bool isRunningTests();

    AppSettings *settings() const { return &m_settings; }
    IndexStore &store() const { return *m_store; }
    IndexingStatus *indexing() const { return m_indexing.get(); }
    Indexer &indexer() const { return *m_indexer; }
    MeetingStore &meetingStore() const { return *m_meetingStore; }
    SearchEngine &engine() const { return *m_engine; }
    ClaudeClient &claude() const { return *m_claude; }
    SearchModel *search() const { return m_search.get(); }
    AskModel *ask() const { return m_ask.get(); }
    // The duplicates scan and the user's choices in it, for the session.
    DuplicatesModel *duplicates() const { return m_duplicates.get(); }
    MeetingsModel *meetings() const { return m_meetings.get(); }
    MeetingRecorder *recorder() const { return m_recorder.get(); }
    // Whether the recorder is busy with a meeting: getting ready, recording
    // or finishing the transcript.
    bool isRecording() const;
    QString recorderState() const;

    // "LarderDatabase" when it is set and not empty, else the default location.
    QUrl databaseURL() const;
    // Why the library at databaseURL() couldn't be opened, worded for the
    // user ("Couldn't open the library database: …"); set only while the
    // store is the empty in-memory stand-in.
    std::optional<QString> libraryFailure() const { return m_libraryFailure; }

    // The file actions over this library; trashing files makes every screen
    // reload.
    FileActions fileActions() const;

    // Runs once when the main window first appears: starts indexing when
    // onboarding is done or the roots are forced by "LarderIndexRoots".
    void launch();

    // Makes this process the one that writes the library, for as long as the
    // model lives. When another process is indexing it, returns why not
    // ("The library is being indexed by another process (pid 4242).").
    std::optional<QString> claimLibrary();

    // Indexes the roots of the settings that are folders, in order. When the
    // library can't be claimed, the toast says why and nothing starts.
    Q_INVOKABLE void startIndexing();
    // The end of onboarding: remembered in the settings, the welcome closes
    // and indexing starts.
    Q_INVOKABLE void completeOnboarding();
    // The roots startIndexing() would index now.
    QStringList existingIndexRoots() const;

    // The folders of the library, as Settings and the onboarding change
    // them. Once onboarding is done, a change re-indexes; a folder taken out
    // takes its files out of the library. A folder already there, or an
    // empty path, changes nothing.
    Q_INVOKABLE void addIndexedFolder(const QString &path);
    Q_INVOKABLE void removeIndexedFolder(const QString &path);

    std::optional<QString> toast() const { return _toast; }
    QString toastText() const { return _toast.value_or(QString()); }
    void setToast(const std::optional<QString> &toast);
    void setToastText(const QString &toast);

    bool showOnboarding() const { return _showOnboarding; }
    void setShowOnboarding(bool show);
    bool showInspector() const { return _showInspector; }
    void setShowInspector(bool show);
    bool focusSearchField() const { return _focusSearchField; }
    void setFocusSearchField(bool focus);

    // A toast stands this long, unless a newer one replaces it.
    static constexpr int toastMilliseconds = 3000;

    std::optional<SidebarItem> selection() const { return _selection; }
    void setSelection(const std::optional<SidebarItem> &item);
    QString selectionKey() const { return _selection ? _selection->key() : QString(); }
    // An unknown key leaves the selection as it is.
    void setSelectionKey(const QString &key);

    std::optional<QString> selectedSource() const { return _selectedSource; }
    void setSelectedSource(const std::optional<QString> &source);
    QString selectedSourceText() const { return _selectedSource.value_or(QString()); }
    void setSelectedSourceText(const QString &source);

    std::optional<FileRecord> inspectedFile() const { return _inspectedFile; }
    void setInspectedFile(const std::optional<FileRecord> &file);
    // The record as a QVariant holding a FileRecord, or an invalid QVariant.
    QVariant inspectedFileValue() const;

    std::optional<QUrl> previewURL() const { return _previewURL; }
    void setPreviewURL(const std::optional<QUrl> &url);
    QUrl previewURLValue() const { return _previewURL.value_or(QUrl()); }
    void setPreviewURLValue(const QUrl &url);
    QList<QUrl> previewURLs() const { return _previewURLs; }
    void setPreviewURLs(const QList<QUrl> &urls);

    bool hasAPIKey() const { return _hasAPIKey; }
    // Stores the key in the keyring (an empty one removes it) and reads it
    // back to tell whether a key is now at hand. Returns the keyring's
    // answer: without a keyring the key serves this session only.
    SecretStore::Status setAPIKey(const std::optional<QString> &key);

    // The preview steps through the files of among in order, or shows the one
    // file when among is empty; it opens on record.
    void preview(const FileRecord &record, const QList<FileRecord> &among = {});
    // Puts the file's text on the clipboard, with a toast saying so.
    void copyText(const FileRecord &record);
    // Moves the files to the Trash, says how it went in the toast, and
    // returns how many files moved.
    qint64 trash(const QList<FileRecord> &records);
    // The same, with what moved, for a list that drops the moved files.
    FileActions::TrashOutcome moveToTrash(const QList<FileRecord> &records);
    void reveal(const QList<FileRecord> &records);
    void copyFiles(const QList<FileRecord> &records);
    void copyPaths(const QList<FileRecord> &records);
    void open(const QList<FileRecord> &records);

    // Adds the folder to the pinned ones unless it is there already.
    Q_INVOKABLE void pin(const QString &path);
    // Removes every occurrence of the folder from the pinned ones.
    Q_INVOKABLE void unpin(const QString &path);

    // A cited file, by the id its citation carries: shown in the inspector
    // and the preview. An id that doesn't parse or names no file does nothing.
    void openFileCitation(const QString &ownerID);
    // A source Ask or a live answer cited: a file opens as above; a note or
    // a transcript turns to the meetings and opens that meeting.
    void open(const Citation &citation);
    // A citation as the screens hold it: {kind, ownerID, ...}.
    Q_INVOKABLE void openCitation(const QVariantMap &citation);
    // The meetings screen with that meeting open; opened afresh when it is
    // the one open already.
    void openMeeting(const QString &id);

    // "New Meeting" (Ctrl+Shift+N): an empty meeting on the meetings screen.
    Q_INVOKABLE void newMeeting();
    // "Record Meeting": a new meeting, recorded at once.
    Q_INVOKABLE void recordMeeting();
    // "Copy as Markdown": the open meeting on the clipboard, with a toast.
    Q_INVOKABLE void copyMeetingMarkdown();
    // "Stop Recording": the recording ends and its notes are written.
    Q_INVOKABLE void stopRecording();
    // Ctrl+Shift+R: stops the recording when there is one, else records a
    // new meeting.
    Q_INVOKABLE void toggleRecording();
    // Before the program quits: a recording in progress is stopped, its
    // last words transcribed and stored, and the meeting finished, without
    // waiting for Claude. Returns once that is done.
    void finishRecordingBeforeQuit();

    // The commands of the window and the tray, for records handed over from
    // the screens as QVariants holding FileRecord.
    Q_INVOKABLE void previewFile(const QVariant &record, const QVariantList &among = {});
    Q_INVOKABLE void inspect(const QVariant &record);
    Q_INVOKABLE void copyTextOf(const QVariant &record);
    Q_INVOKABLE qint64 trashFiles(const QVariantList &records);
    Q_INVOKABLE void revealFiles(const QVariantList &records);
    Q_INVOKABLE void copyFilesOf(const QVariantList &records);
    Q_INVOKABLE void copyPathsOf(const QVariantList &records);
    Q_INVOKABLE void openFiles(const QVariantList &records);
    // Shows the folder itself in the file manager, for a pinned row.
    Q_INVOKABLE void revealFolder(const QString &path);
    // Ctrl+F: the search screen, with its field focused.
    Q_INVOKABLE void showSearch();
    Q_INVOKABLE void toggleInspector() { setShowInspector(!_showInspector); }
    // Ctrl+Shift+C: the text of the file under inspection.
    Q_INVOKABLE void copyInspectedText();
    Q_INVOKABLE void closePreview();

Q_SIGNALS:
    void toastChanged();
    void showOnboardingChanged();
    void showInspectorChanged();
    void focusSearchFieldChanged();
    void selectionChanged();
    void selectedSourceChanged();
    void inspectedFileChanged();
    void previewURLChanged();
    void previewURLsChanged();
    void hasAPIKeyChanged();
    // The recorder started, stopped, or changed between those.
    void recordingChanged();
    // The roots that indexing was started on.
    void indexingStarted(const QStringList &roots);

private:
    std::unique_ptr<IndexingStatus> m_indexing;
    AppSettings &m_settings;
    // Released after everything that writes the library has stopped.
    std::unique_ptr<LibraryLock> m_writerLock;
    std::unique_ptr<IndexStore> m_store;
    // After the store, which it uses until it has stopped.
    std::unique_ptr<Indexer> m_indexer;
    std::unique_ptr<MeetingStore> m_meetingStore;
    std::unique_ptr<SearchEngine> m_engine;
    std::unique_ptr<ClaudeClient> m_claude;
    // The recorder outlives the meetings and the link between them, which
    // both use it.
    std::unique_ptr<MeetingRecorder> m_recorder;
    std::unique_ptr<MeetingsModel> m_meetings;
    // Shared, since the meetings hold it weakly.
    std::shared_ptr<RecorderLink> m_recorderLink;
    // Last, since they use everything above until they end.
    std::unique_ptr<SearchModel> m_search;
    std::unique_ptr<AskModel> m_ask;
    std::unique_ptr<DuplicatesModel> m_duplicates;
    std::optional<QString> m_libraryFailure;
    bool m_launched = false;
    // Clears the toast when it has stood its time.
    QTimer m_toastTimer;

    // Observed by the screens: each has a property and a change signal.
    std::optional<QString> _toast;
    bool _showOnboarding = false;
    bool _showInspector = false;
    bool _focusSearchField = false;
    std::optional<SidebarItem> _selection = SidebarItem(SidebarItem::Case::home);
    std::optional<QString> _selectedSource;
    std::optional<FileRecord> _inspectedFile;
    std::optional<QUrl> _previewURL;
    QList<QUrl> _previewURLs;
    bool _hasAPIKey = false;
};
