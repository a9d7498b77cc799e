#include "screens/Shell.h"

#include "app/AppModel.h"
#include "core/Format.h"
#include "platform/MediaFacts.h"
#include "screens/AskTurns.h"
#include "screens/ClaudeSettings.h"
#include "screens/CleanupSelection.h"
#include "screens/DuplicateResults.h"
#include "screens/FileItems.h"
#include "screens/FolderList.h"
#include "screens/Greeting.h"
#include "screens/InspectorFacts.h"
#include "screens/LibraryBrowserModel.h"
#include "screens/LibraryModel.h"
#include "screens/MeetingItems.h"
#include "screens/Renderer.h"
#include "screens/SearchResults.h"
#include "screens/Symbols.h"
#include "screens/ThumbnailProvider.h"
#include "store/IndexStore.h"

#include <QApplication>
#include <QFile>
#include <QIcon>
#include <QMenu>
#include <QMimeDatabase>
#include <QQmlApplicationEngine>
#include <QQmlContext>
#include <QQuickWindow>
#include <QSystemTrayIcon>
#include <QTime>
#include <QTimer>

#include <cstdio>

Shell::Shell(AppModel &app, QObject *parent)
    : QObject(parent)
    , m_app(app)
    , m_library(std::make_unique<LibraryModel>(app.store()))
    , m_searchResults(std::make_unique<SearchResults>(*app.search()))
    , m_duplicates(std::make_unique<DuplicateResults>(app))
    , m_cleanupSelection(std::make_unique<CleanupSelection>(*m_library))
    , m_folders(std::make_unique<FolderList>(app))
    , m_askTurns(std::make_unique<AskTurns>(*app.ask()))
    , m_engine(std::make_unique<QQmlApplicationEngine>())
{
    // The overview follows the library: a burst of changes reloads it once,
    // and the clean-up suggestions are recomputed when indexing settles.
    IndexingStatus *status = app.indexing();
    connect(status, &IndexingStatus::revisionChanged, m_library.get(), &LibraryModel::refreshSoon);
    connect(status, &IndexingStatus::phaseChanged, this, [this, status] {
        if (status->phase().kind == IndexingPhase::Kind::ready)
            m_library->refreshCleanup();
    });

    connect(app.settings(), &AppSettings::pinnedFoldersChanged, this, &Shell::sidebarSectionsChanged);

    Symbols::loadFont();
    m_engine->addImageProvider(QStringLiteral("thumbnail"), new ThumbnailProvider);
    m_engine->addImageProvider(QStringLiteral("preview"), new PreviewProvider);
    QQmlContext *context = m_engine->rootContext();
    context->setContextProperty(QStringLiteral("app"), &m_app);
    context->setContextProperty(QStringLiteral("library"), m_library.get());
    context->setContextProperty(QStringLiteral("searchResults"), m_searchResults.get());
    context->setContextProperty(QStringLiteral("inspectorFacts"), new InspectorFacts(m_app, this));
    context->setContextProperty(QStringLiteral("duplicates"), m_duplicates.get());
    context->setContextProperty(QStringLiteral("cleanupSelection"), m_cleanupSelection.get());
    context->setContextProperty(QStringLiteral("askTurns"), m_askTurns.get());
    context->setContextProperty(QStringLiteral("shell"), this);
    context->setContextProperty(QStringLiteral("symbols"), new Symbols(this));
    context->setContextProperty(QStringLiteral("meetingItems"), new MeetingItems(this));
}

Shell::~Shell()
{
    // The window goes before the models it binds to.
    m_engine.reset();
}

bool Shell::show()
{
    Renderer::choose();
    m_engine->addImportPath(QStringLiteral("qrc:/qt/qml"));
    m_engine->load(QUrl(QStringLiteral("qrc:/qt/qml/Larder/Main.qml")));
    QQuickWindow *main = window();
    if (!main) {
        std::fputs("larder: the window could not be loaded.\n", stderr);
        return false;
    }
    main->setIcon(QIcon::fromTheme(QStringLiteral("co.norvale.larder"),
                                   Symbols::icon(QStringLiteral("house.fill"), QColor(0x2f, 0x7c, 0xf6))));
    connect(main, &QQuickWindow::frameSwapped, this, &Shell::onFirstFrame, Qt::QueuedConnection);
    main->show();
    makeTrayIcon();
    return true;
}

QQuickWindow *Shell::window() const
{
    const auto roots = m_engine->rootObjects();
    return roots.isEmpty() ? nullptr : qobject_cast<QQuickWindow *>(roots.first());
}

void Shell::onFirstFrame()
{
    if (m_launched)
        return;
    m_launched = true;
    disconnect(window(), &QQuickWindow::frameSwapped, this, &Shell::onFirstFrame);
    // For the launch benchmark, which times the process to this line.
    if (qEnvironmentVariableIsSet("LARDER_REPORT_FIRST_FRAME"))
        std::fputs("larder: first frame\n", stderr);
    // The launch work, then the overview's first load.
    m_app.launch();
    m_library->refresh();
    m_library->refreshCleanup();
    Q_EMIT launched();
}

LibraryBrowserModel *Shell::browserFor(const QString &key)
{
    const auto item = SidebarItem::fromKey(key);
    if (!item || !item->isListing())
        return nullptr;
    auto *model = new LibraryBrowserModel(m_app.store(), *item);
    QQmlEngine::setObjectOwnership(model, QQmlEngine::JavaScriptOwnership);
    // The listing follows the library as the overview does.
    connect(m_app.indexing(), &IndexingStatus::revisionChanged, model, &LibraryBrowserModel::reloadSoon);
    model->load();
    return model;
}

LibraryBrowserModel *Shell::sourceBrowserFor(const QString &sourceID)
{
    if (sourceID.isEmpty())
        return nullptr;
    FileFilter filter;
    filter.sources = {sourceID};
    auto *model = new LibraryBrowserModel(m_app.store(), SidebarItem(SidebarItem::Case::sources), filter);
    QQmlEngine::setObjectOwnership(model, QQmlEngine::JavaScriptOwnership);
    connect(m_app.indexing(), &IndexingStatus::revisionChanged, model, &LibraryBrowserModel::reloadSoon);
    model->load();
    return model;
}

void Shell::raiseWindow()
{
    if (QQuickWindow *main = window()) {
        main->show();
        main->raise();
        main->requestActivate();
    }
}

QString Shell::version()
{
    return QStringLiteral(LARDER_VERSION);
}

ClaudeSettings *Shell::claudeSettings()
{
    auto *settings = new ClaudeSettings(m_app);
    QQmlEngine::setObjectOwnership(settings, QQmlEngine::JavaScriptOwnership);
    return settings;
}

void Shell::showSettings(const QString &tab)
{
    Q_EMIT settingsRequested(tab);
}

void Shell::showAbout()
{
    Q_EMIT aboutRequested();
}

void Shell::makeTrayIcon()
{
    connect(&m_app, &AppModel::recordingChanged, this, &Shell::showRecordingState);
    showRecordingState();
    // The menu needs a widget application; without one the window is all
    // there is.
    if (!qobject_cast<QApplication *>(QCoreApplication::instance()))
        return;
    m_trayMenu = std::make_unique<QMenu>();
    m_recordingLabel = m_trayMenu->addAction(QStringLiteral("Recording meeting…"));
    m_recordingLabel->setEnabled(false);
    m_stopAction = m_trayMenu->addAction(QStringLiteral("Stop Recording"), this, [this] { m_app.stopRecording(); });
    m_recordAction = m_trayMenu->addAction(QStringLiteral("Record Meeting"), this, [this] {
        m_app.recordMeeting();
        raiseWindow();
    });
    m_trayMenu->addAction(QStringLiteral("Search Files…"), this, [this] {
        m_app.showSearch();
        raiseWindow();
    });
    m_trayMenu->addAction(QStringLiteral("Ask Larder…"), this, [this] {
        m_app.setSelection(SidebarItem(SidebarItem::Case::ask));
        raiseWindow();
    });
    m_trayMenu->addSeparator();
    m_trayMenu->addAction(QStringLiteral("Settings…"), this, [this] {
        raiseWindow();
        showSettings();
    });
    QAction *quit = m_trayMenu->addAction(QStringLiteral("Quit Juniper Larder"), qApp, &QCoreApplication::quit);
    quit->setShortcut(QKeySequence(QStringLiteral("Ctrl+Q")));

    // The icon itself only where the desktop shows a tray.
    if (QSystemTrayIcon::isSystemTrayAvailable()) {
        m_tray = std::make_unique<QSystemTrayIcon>();
        m_tray->setContextMenu(m_trayMenu.get());
        connect(m_tray.get(), &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
            if (reason == QSystemTrayIcon::Trigger)
                raiseWindow();
        });
    }
    showRecordingState();
    if (m_tray)
        m_tray->show();
}

void Shell::showRecordingState()
{
    const bool recording = m_app.isRecording();
    m_trayState = recording ? QStringLiteral("waveform.circle.fill") : QStringLiteral("house");
    if (!m_trayMenu)
        return;
    m_recordingLabel->setVisible(recording);
    m_stopAction->setVisible(recording);
    m_recordAction->setVisible(!recording);
    if (!m_tray)
        return;
    m_tray->setIcon(recording ? Symbols::icon(m_trayState, QColor(0xe5, 0x39, 0x35))
                              : Symbols::icon(m_trayState, QColor(0x2f, 0x7c, 0xf6)));
    m_tray->setToolTip(recording ? QStringLiteral("Juniper Larder: recording meeting…")
                                 : QStringLiteral("Juniper Larder"));
}

QVariantList Shell::sidebarSections() const
{
    const auto section = [](const QString &title, const QStringList &keys) {
        return QVariantMap{{QStringLiteral("title"), title}, {QStringLiteral("keys"), keys}};
    };
    QStringList library{QStringLiteral("recents")};
    for (FileKind kind : allFileKinds())
        library.append(SidebarItem::ofKind(kind).key());
    QVariantList sections{
        section({}, {QStringLiteral("home"), QStringLiteral("search"), QStringLiteral("ask")}),
        section(QStringLiteral("Library"), library),
        section(QStringLiteral("Smart Folders"),
                {QStringLiteral("largeFiles"), QStringLiteral("screenshots"), QStringLiteral("sources")}),
        section(QStringLiteral("Tidy Up"), {QStringLiteral("duplicates"), QStringLiteral("cleanup")}),
        section(QStringLiteral("Notes"), {QStringLiteral("meetings")}),
    };
    QStringList pinned;
    for (const QString &path : m_app.settings()->pinnedFolders())
        pinned.append(SidebarItem::ofFolder(path).key());
    if (!pinned.isEmpty())
        sections.append(section(QStringLiteral("Pinned"), pinned));
    return sections;
}

QVariantMap Shell::itemInfo(const QString &key) const
{
    const auto item = SidebarItem::fromKey(key);
    if (!item)
        return {};
    return {
        {QStringLiteral("key"), item->key()},
        {QStringLiteral("title"), item->title()},
        {QStringLiteral("symbol"), item->symbol()},
        {QStringLiteral("tint"), item->tint()},
        {QStringLiteral("listing"), item->isListing()},
        {QStringLiteral("path"), item->path()},
    };
}

QString Shell::colorScheme() const
{
    const QString forced = qEnvironmentVariable("LARDER_COLOR_SCHEME");
    return forced == QLatin1String("dark") || forced == QLatin1String("light") ? forced : QString();
}

QString Shell::previewKind(const QUrl &url)
{
    static const QMimeDatabase mimes;
    const QMimeType type = mimes.mimeTypeForFile(url.toLocalFile());
    if (type.name().startsWith(QLatin1String("image/")))
        return QStringLiteral("image");
    if (type.inherits(QStringLiteral("application/pdf")))
        return QStringLiteral("pdf");
    if (type.inherits(QStringLiteral("text/plain")))
        return QStringLiteral("text");
    return QStringLiteral("none");
}

QString Shell::previewText(const QUrl &url)
{
    constexpr qint64 cap = 256 * 1024;
    QFile file(url.toLocalFile());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.read(cap));
}

int Shell::pageCount(const QUrl &url)
{
    return int(MediaFacts::pdfPageCount(url.toLocalFile()).value_or(0));
}

QVariantMap Shell::fileItem(const QVariant &record)
{
    if (!record.canConvert<FileRecord>())
        return {};
    return FileItems::map(record.value<FileRecord>());
}

QString Shell::counted(qint64 count, const QString &noun)
{
    return Format::counted(count, noun);
}

QString Shell::greeting()
{
    return greetingText(QTime::currentTime().hour(), accountFullName());
}
