// The desktop application around one AppModel: the main window from the QML
// module, the overview model and its reload triggers, the thumbnail images,
// the launch work on the window's first frame, and the tray icon where the
// desktop has a tray.
#pragma once

#include <QObject>
#include <QString>
#include <QVariantList>
#include <QVariantMap>

#include <memory>

class AppModel;
class CleanupSelection;
class DuplicateResults;
class ClaudeSettings;
class FolderList;
class LibraryModel;
class LibraryBrowserModel;
class SearchResults;
class AskTurns;
class QQmlApplicationEngine;
class QQuickWindow;
class QSystemTrayIcon;
class QAction;
class QMenu;

class Shell : public QObject
{
    Q_OBJECT
    Q_PROPERTY(LibraryModel *library READ library CONSTANT)
    // The sidebar's sections, top to bottom: each a title (empty for the
    // first) and the keys of its rows. "Pinned" is there only with pins.
    Q_PROPERTY(QVariantList sidebarSections READ sidebarSections NOTIFY sidebarSectionsChanged)
    // "dark" or "light" when LARDER_COLOR_SCHEME forces one; empty to follow
    // the desktop's palette.
    Q_PROPERTY(QString colorScheme READ colorScheme CONSTANT)
    // The library's folders, for Settings and the onboarding.
    Q_PROPERTY(FolderList *folders READ folders CONSTANT)
    // The program's version, as the build names it.
    Q_PROPERTY(QString version READ version CONSTANT)

public:
    explicit Shell(AppModel &app, QObject *parent = nullptr);
    ~Shell() override;

    // Loads the window and shows it. False, with the reason on stderr, when
    // the QML module can't be loaded.
    bool show();

    LibraryModel *library() const { return m_library.get(); }
    DuplicateResults *duplicates() const { return m_duplicates.get(); }
    CleanupSelection *cleanupSelection() const { return m_cleanupSelection.get(); }
    FolderList *folders() const { return m_folders.get(); }
    static QString version();
    QQuickWindow *window() const;
    QQmlApplicationEngine &engine() const { return *m_engine; }
    // Null where the desktop has no tray, or without a widget application.
    QSystemTrayIcon *trayIcon() const { return m_tray.get(); }
    // The tray's menu, there with a widget application even where the
    // desktop shows no tray.
    QMenu *trayMenu() const { return m_trayMenu.get(); }
    // The tray icon's symbol, kept without a tray too: "waveform.circle.fill" while a meeting is
    // recorded, "house" at other times.
    QString traySymbol() const { return m_trayState; }

    // A listing for the sidebar item of the key, owned by the screen that
    // asked for it; null for an item that isn't a listing.
    Q_INVOKABLE LibraryBrowserModel *browserFor(const QString &key);
    // The files downloaded from one source, newest first, owned by the
    // screen that asked for them.
    Q_INVOKABLE LibraryBrowserModel *sourceBrowserFor(const QString &sourceID);

    // Brings the window up and to the front.
    Q_INVOKABLE void raiseWindow();
    // The state of a Claude key field, owned by the screen that asked.
    Q_INVOKABLE ClaudeSettings *claudeSettings();
    // Opens Settings on a tab ("general", "claude", "meetings"), or the
    // About window.
    Q_INVOKABLE void showSettings(const QString &tab = QStringLiteral("general"));
    Q_INVOKABLE void showAbout();

    QVariantList sidebarSections() const;
    // A file handed over as a QVariant holding FileRecord, as the values a
    // tile binds to.
    Q_INVOKABLE static QVariantMap fileItem(const QVariant &record);
    // The title, symbol, tint and key of a sidebar item; empty for a key
    // that names none.
    Q_INVOKABLE QVariantMap itemInfo(const QString &key) const;
    QString colorScheme() const;

    // What the preview shows of a file: "image", "pdf", "text" or "none".
    Q_INVOKABLE static QString previewKind(const QUrl &url);
    // The beginning of a text file for the preview, at most 256 KB of it.
    Q_INVOKABLE static QString previewText(const QUrl &url);
    Q_INVOKABLE static int pageCount(const QUrl &url);
    // The home page's greeting for the present hour.
    Q_INVOKABLE static QString greeting();
    // A count with its noun for the screens: "1 file", "12,345 items".
    Q_INVOKABLE static QString counted(qint64 count, const QString &noun);

Q_SIGNALS:
    // The launch work has run, after the window's first frame.
    void launched();
    void sidebarSectionsChanged();
    void settingsRequested(const QString &tab);
    void aboutRequested();

private:
    void onFirstFrame();
    void makeTrayIcon();
    // The tray's icon and menu follow the recorder.
    void showRecordingState();

    AppModel &m_app;
    std::unique_ptr<LibraryModel> m_library;
    std::unique_ptr<SearchResults> m_searchResults;
    std::unique_ptr<DuplicateResults> m_duplicates;
    std::unique_ptr<CleanupSelection> m_cleanupSelection;
    std::unique_ptr<FolderList> m_folders;
    std::unique_ptr<AskTurns> m_askTurns;
    std::unique_ptr<QQmlApplicationEngine> m_engine;
    std::unique_ptr<QMenu> m_trayMenu;
    std::unique_ptr<QSystemTrayIcon> m_tray;
    QAction *m_recordingLabel = nullptr;
    QAction *m_stopAction = nullptr;
    QAction *m_recordAction = nullptr;
    QString m_trayState;
    bool m_launched = false;
};
