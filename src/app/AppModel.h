// The composition root and the state of the application shell. It builds
// every subsystem in one fixed order, owns them for the life of the process,
// and wires them to each other. Main thread only.
#pragma once

#include "core/AppSettings.h"
#include "indexing/IndexingStatus.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <memory>
#include <optional>

class FileActions;
class IndexStore;
class Indexer;
class LibraryLock;

class AppModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString toast READ toastText WRITE setToastText NOTIFY toastChanged)
    Q_PROPERTY(bool showOnboarding READ showOnboarding WRITE setShowOnboarding NOTIFY showOnboardingChanged)
    Q_PROPERTY(bool showInspector READ showInspector WRITE setShowInspector NOTIFY showInspectorChanged)
    Q_PROPERTY(bool focusSearchField READ focusSearchField WRITE setFocusSearchField NOTIFY focusSearchFieldChanged)
    Q_PROPERTY(IndexingStatus *indexing READ indexing CONSTANT)
    Q_PROPERTY(AppSettings *settings READ settings CONSTANT)

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
    void startIndexing();
    // The roots startIndexing() would index now.
    QStringList existingIndexRoots() const;

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

Q_SIGNALS:
    void toastChanged();
    void showOnboardingChanged();
    void showInspectorChanged();
    void focusSearchFieldChanged();
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
    std::optional<QString> m_libraryFailure;
    bool m_launched = false;

    // Observed by the screens: each has a property and a change signal.
    std::optional<QString> _toast;
    bool _showOnboarding = false;
    bool _showInspector = false;
    bool _focusSearchField = false;
};
