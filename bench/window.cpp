// The window under a real display (run it under xvfb-run):
//  1. a grid of 100,000 files scrolled from top to bottom: the time of each
//     frame (p50, p95) and the process's peak memory;
//  2. the time from starting `larder` on a library of 200,000 files to its
//     first frame, beside the first frame of a bare QML window started the
//     same way in the same run;
//  3. requests typed into the search screen over the search benchmark's
//     library of 200,000 files, key by key: the time from each key to the
//     frame that shows it (beside the same typing into a bare text field),
//     and from the last key of a request to the frame that shows its
//     results (beside the debounce and the bare engine call).
// Usage: bench_window [--files N] [--launch-files N] [--search-library PATH]
#include "app/AppModel.h"
#include "core/Defaults.h"
#include "core/Tasks.h"
#include "screens/DesktopApp.h"
#include "screens/LibraryBrowserModel.h"
#include "screens/Renderer.h"
#include "screens/Shell.h"
#include "search/SearchEngine.h"
#include "search/SearchModel.h"
#include "search/LocalQueryParser.h"
#include "store/IndexStore.h"
#include "support/LibraryBuilder.h"
#include "support/RecordFixtures.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QProcess>
#include <QQmlProperty>
#include <QQuickItem>
#include <QQuickStyle>
#include <QQuickView>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <span>

namespace {

QList<FileRecord> records(int count, const QString &root)
{
    QList<FileRecord> files;
    files.reserve(count);
    for (int i = 0; i < count; ++i)
        files.append(RecordFixtures::file(QStringLiteral("%1/photos/IMG_%2.jpg").arg(root).arg(i, 6, 10, QChar('0')),
                                          1000 + i, 1.6e9 + i, FileKind::image));
    return files;
}

void fill(IndexStore &store, int count, const QString &root)
{
    const QList<FileRecord> all = records(count, root);
    for (qsizetype start = 0; start < all.size(); start += 5000)
        store.files().upsert(all.mid(start, 5000), root, 1.7e9);
}

double percentile(QList<double> values, double p)
{
    if (values.isEmpty())
        return 0;
    std::sort(values.begin(), values.end());
    return values.at(std::min<qsizetype>(values.size() - 1, qsizetype(p * values.size())));
}

qint64 peakResidentKB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong();
    }
    return 0;
}

QQuickItem *findItem(QQuickItem *under, const QString &name)
{
    for (QQuickItem *child : under->childItems()) {
        if (child->objectName() == name)
            return child;
        if (QQuickItem *found = findItem(child, name))
            return found;
    }
    return nullptr;
}

bool spinUntil(const std::function<bool()> &condition, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        // What the view let go of is deleted later, which a nested loop like
        // this one never reaches by itself: do it here, as the window's own
        // event loop would.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return true;
}

int scrollGrid(int count)
{
    qputenv("LARDER_TEST_HOST", "1");
    QTemporaryDir settingsDir;
    Defaults defaults(settingsDir.path() + "/settings.json");
    AppSettings settings(defaults);
    AppModel model(settings);
    QElapsedTimer timer;
    timer.start();
    fill(model.store(), count, QStringLiteral("/bench"));
    std::printf("grid: %d files stored in %.1f s\n", count, timer.elapsed() / 1000.0);

    std::printf("grid: memory after storing %.0f MB\n", peakResidentKB() / 1024.0);
    Shell shell(model);
    if (!shell.show())
        return 1;
    QQuickWindow *window = shell.window();
    window->resize(1240, 800);
    model.setSelectionKey(QStringLiteral("kind:image"));
    QQuickItem *grid = nullptr;
    if (!spinUntil([&] {
            grid = findItem(window->contentItem(), QStringLiteral("fileGrid"));
            return grid && grid->property("count").toInt() > 0;
        }, 30000)) {
        std::fprintf(stderr, "grid: the listing never showed\n");
        return 1;
    }

    std::printf("grid: memory with the first page on screen %.0f MB\n", peakResidentKB() / 1024.0);
    // Scroll by 400 pixels a frame until the last row is on screen, timing
    // each frame from the move to the swap.
    bool swapped = false;
    QObject::connect(window, &QQuickWindow::frameSwapped, window, [&] { swapped = true; }, Qt::DirectConnection);
    QList<double> frames;
    double y = 0;
    QElapsedTimer frame;
    QElapsedTimer total;
    total.start();
    while (true) {
        const double bottom = grid->property("contentHeight").toDouble() - grid->height();
        const int loaded = grid->property("count").toInt();
        if (y >= bottom && loaded >= count)
            break;
        if (y >= bottom) {
            // The next page is on its way.
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            if (total.elapsed() > 600000)
                break;
            continue;
        }
        y = std::min(y + 400, bottom);
        swapped = false;
        frame.start();
        QQmlProperty::write(grid, QStringLiteral("contentY"), y);
        window->requestUpdate();
        if (!spinUntil([&] { return swapped; }, 5000)) {
            std::fprintf(stderr, "grid: no frame came at %.0f px\n", y);
            break;
        }
        frames.append(frame.nsecsElapsed() / 1e6);
    }
    const int shown = grid->property("count").toInt();
    std::printf("grid: scrolled %d of %d files, %.0f of %.0f px, in %d frames, %.1f s\n", shown, count, y,
                grid->property("contentHeight").toDouble() - grid->height(), int(frames.size()),
                total.elapsed() / 1000.0);
    std::printf("grid: frame time p50 %.1f ms, p95 %.1f ms (goal under 16 ms)\n", percentile(frames, 0.5),
                percentile(frames, 0.95));
    std::printf("grid: peak memory %.0f MB (goal under 400 MB)\n", peakResidentKB() / 1024.0);
    qunsetenv("LARDER_TEST_HOST");
    return shown >= count ? 0 : 1;
}

// Starts a program and returns the milliseconds until it reports its first
// frame on stderr; it is then stopped.
double timeToFirstFrame(const QString &program, const QStringList &arguments, const QProcessEnvironment &environment)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    QElapsedTimer timer;
    timer.start();
    process.setReadChannel(QProcess::StandardError);
    process.start(program, arguments);
    double ms = -1;
    QByteArray seen;
    while (process.state() != QProcess::NotRunning || process.bytesAvailable() > 0) {
        process.waitForReadyRead(100);
        seen += process.readAllStandardError();
        if (seen.contains("first frame")) {
            ms = timer.nsecsElapsed() / 1e6;
            break;
        }
        if (timer.elapsed() > 30000)
            break;
    }
    process.kill();
    process.waitForFinished(5000);
    if (ms < 0)
        std::fprintf(stderr, "%s never showed a frame: %s\n", qPrintable(program), seen.constData());
    return ms;
}

int bareWindow(int argc, char **argv)
{
    QGuiApplication application(argc, argv);
    // The renderer the application would choose, so that both launches
    // draw alike.
    Renderer::choose();
    QQuickView view;
    view.setSource(QUrl(QStringLiteral("data:text/plain,")));
    view.setResizeMode(QQuickView::SizeRootObjectToView);
    view.resize(1240, 800);
    view.setColor(Qt::white);
    QObject::connect(&view, &QQuickWindow::frameSwapped, &view, [] {
        std::fputs("bare: first frame\n", stderr);
        std::fflush(stderr);
    });
    view.show();
    return application.exec();
}

int launch(int files)
{
    QTemporaryDir home;
    const QString database = home.path() + "/Library.sqlite";
    {
        auto store = IndexStore::open(QUrl::fromLocalFile(database));
        QElapsedTimer timer;
        timer.start();
        fill(*store, files, home.path());
        std::printf("launch: %d files stored in %.1f s\n", files, timer.elapsed() / 1000.0);
    }
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("HOME", home.path());
    environment.insert("XDG_CONFIG_HOME", home.path() + "/config");
    environment.insert("XDG_DATA_HOME", home.path() + "/data");
    environment.insert("LARDER_REPORT_FIRST_FRAME", "1");
    environment.remove("LARDER_TEST_HOST");
    const QString self = QCoreApplication::applicationFilePath();
    QList<double> larder, bare;
    for (int run = 0; run < 3; ++run) {
        bare.append(timeToFirstFrame(self, {"--bare-window"}, environment));
        larder.append(timeToFirstFrame(QStringLiteral(LARDER_BINARY), {"-LarderDatabase", database}, environment));
    }
    const double larderMs = percentile(larder, 0.5), bareMs = percentile(bare, 0.5);
    std::printf("launch: first frame %.0f ms with %d files (goal under 1000 ms); bare QML window %.0f ms; ratio %.2f\n",
                larderMs, files, bareMs, bareMs > 0 ? larderMs / bareMs : 0);
    return larderMs > 0 ? 0 : 1;
}

// Requests as people type them, from short to long.
const char *const typedRequests[] = {
    "invoice", "tax return 2023", "pdfs from gmail about my lease", "budget spreadsheet",
    "insurance documents", "receipt for the car repair", "water bill last month", "passport scan",
};
// A brisk typist: about eleven keys a second.
constexpr int keyGapMs = 90;

struct Typing
{
    QList<double> keyToFrame; // each key to the next frame
    QList<double> toResults; // last key to the frame showing the results
};

// The last key of a request, and the results of it: when the model had
// them and when the first frame after that was swapped. The frame is taken
// as it comes (a renderer that repaints only what changed draws no frame on
// request when nothing did). Frames may be swapped on a render thread, so
// every time is an atomic count of nanoseconds on one clock that never
// restarts, and a key's number tells its frames from an earlier key's.
struct ResultsWatch
{
    ResultsWatch() { clock.start(); }

    QElapsedTimer clock;
    std::atomic<qint64> keyNs{0};
    std::atomic<int> keyNumber{0};
    // The key whose results are in, or -1.
    std::atomic<int> resultsOfKey{-1};
    std::atomic<qint64> inModelNs{0};
    std::atomic<qint64> frameNs{0};

    void restart()
    {
        resultsOfKey = -1;
        inModelNs = 0;
        frameNs = 0;
        keyNs = clock.nsecsElapsed();
        ++keyNumber;
    }
    qint64 sinceKeyNs() const { return clock.nsecsElapsed() - keyNs; }
    // The results of the text typed so far are in the model.
    void resultsArrived()
    {
        if (resultsOfKey != keyNumber) {
            inModelNs = std::max<qint64>(1, sinceKeyNs());
            resultsOfKey = int(keyNumber);
        }
    }
    void frameSwapped()
    {
        qint64 none = 0;
        if (resultsOfKey == keyNumber)
            frameNs.compare_exchange_strong(none, sinceKeyNs());
    }
};

// Types each request into the focused field of the window, key by key, with
// keyGapMs between keys; with a watch, the search behind the field reports
// its results to it.
Typing typeRequests(QQuickWindow *window, std::span<const char *const> requests, const std::function<void()> &clear,
                    ResultsWatch *watch)
{
    Typing typing;
    ResultsWatch keys;
    ResultsWatch &timing = watch ? *watch : keys;
    std::atomic_bool swapped = false;
    const QMetaObject::Connection connection = QObject::connect(
        window, &QQuickWindow::frameSwapped, window,
        [&] {
            swapped = true;
            timing.frameSwapped();
        },
        Qt::DirectConnection);
    for (const char *request : requests) {
        clear();
        spinUntil([] { return false; }, 300); // the clearing settles, its search included
        const QString text = QString::fromUtf8(request);
        for (const QChar letter : text) {
            swapped = false;
            timing.restart();
            QTest::keyClick(window, letter.toLatin1());
            if (spinUntil([&] { return bool(swapped); }, 2000))
                typing.keyToFrame.append(timing.sinceKeyNs() / 1e6);
            spinUntil([&] { return timing.sinceKeyNs() >= keyGapMs * 1000000LL; }, keyGapMs);
        }
        if (!watch)
            continue;
        // From the last key: the results arrive, then the frame that shows
        // them.
        if (spinUntil([&] { return timing.frameNs != 0; }, 5000)) {
            typing.toResults.append(timing.frameNs / 1e6);
            if (qEnvironmentVariableIsSet("LARDER_BENCH_VERBOSE"))
                std::printf("typing: \"%s\" %.0f ms, %.0f ms of it until the model had them\n", request,
                            typing.toResults.last(), timing.inModelNs / 1e6);
        } else
            std::fprintf(stderr, "typing: no results shown for \"%s\"\n", request);
    }
    QObject::disconnect(connection);
    return typing;
}

int typeSearches(const QString &libraryPath)
{
    if (!QFile::exists(libraryPath)) {
        std::printf("typing: skipped: no library at %s (bench_search makes it)\n", qPrintable(libraryPath));
        return 0;
    }
    // The reference: the same typing into a bare text field, drawn by the
    // renderer the window gets.
    Renderer::choose();
    QQuickView bare;
    bare.setSource(QUrl(QStringLiteral("data:text/plain,import QtQuick.Controls%0ATextField { width: 900; focus: true }")));
    bare.resize(1240, 800);
    bare.show();
    bare.requestActivate();
    if (!QTest::qWaitForWindowActive(&bare))
        std::fprintf(stderr, "typing: the bare window never became active\n");
    QObject *bareField = bare.rootObject();
    const Typing reference =
        typeRequests(&bare, typedRequests, [&] { bareField->setProperty("text", QString()); }, nullptr);
    bare.close();

    QTemporaryDir home;
    const QByteArray realHome = qgetenv("HOME");
    qputenv("HOME", home.path().toUtf8());
    Defaults defaults(home.path() + "/settings.json", {"-LarderDatabase", libraryPath});
    AppSettings settings(defaults);
    AppModel model(settings);
    Shell shell(model);
    if (!shell.show())
        return 1;
    QQuickWindow *window = shell.window();
    window->resize(1240, 800);
    window->requestActivate();
    if (!QTest::qWaitForWindowActive(window))
        std::fprintf(stderr, "typing: the window never became active\n");
    model.showSearch();
    SearchModel *search = model.search();
    spinUntil([&] { return false; }, 1000);
    // Results are in when the search of the present text has ended.
    ResultsWatch watch;
    QObject::connect(search, &SearchModel::phaseChanged, search, [&] {
        if (search->phase() != SearchModel::Phase::searching && !search->text().isEmpty())
            watch.resultsArrived();
    });
    const auto clear = [&] { search->setText(QString()); };
    // The first request after opening reads the library from disk, beside
    // the launch's own reads: timed on its own.
    const char *const firstRequest[] = {"meeting notes"};
    const Typing first = typeRequests(window, firstRequest, clear, &watch);
    const Typing typed = typeRequests(window, typedRequests, clear, &watch);

    // The bare engine call for the same requests, on the same library.
    SearchEngine engine(model.store());
    const LocalQueryParser parser(QDateTime::currentDateTime());
    QList<double> engineMs;
    for (int round = 0; round < 3; ++round) {
        for (const char *request : typedRequests) {
            QElapsedTimer timer;
            timer.start();
            engine.search(parser.parse(QString::fromUtf8(request)), SearchModel::resultLimit);
            engineMs.append(timer.nsecsElapsed() / 1e6);
        }
    }
    qputenv("HOME", realHome);

    const double debounce = double(SearchModel::localDelayMs);
    std::printf("typing: key to frame in the search field p50 %.1f ms, p95 %.1f ms, max %.1f ms (%d keys); "
                "bare text field p50 %.1f ms, p95 %.1f ms, max %.1f ms; ratio p95 %.2f\n",
                percentile(typed.keyToFrame, 0.5), percentile(typed.keyToFrame, 0.95), percentile(typed.keyToFrame, 1),
                int(typed.keyToFrame.size()), percentile(reference.keyToFrame, 0.5),
                percentile(reference.keyToFrame, 0.95), percentile(reference.keyToFrame, 1),
                percentile(typed.keyToFrame, 0.95) / std::max(0.1, percentile(reference.keyToFrame, 0.95)));
    // One frame at 60 Hz: what the screen may add to the pause.
    const double frame = 1000.0 / 60;
    std::printf("typing: last key to results on screen p50 %.0f ms, p95 %.0f ms, max %.0f ms (%d requests); "
                "goal: debounce %.0f ms + one frame %.1f ms = %.0f ms; the engine alone p95 %.1f ms "
                "(run during the pause); the first request after opening %.0f ms\n",
                percentile(typed.toResults, 0.5), percentile(typed.toResults, 0.95), percentile(typed.toResults, 1),
                int(typed.toResults.size()), debounce, frame, debounce + frame, percentile(engineMs, 0.95),
                first.toResults.value(0, -1));
    return typed.toResults.size() == qsizetype(std::size(typedRequests)) ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const QStringList arguments = [&] {
        QStringList list;
        for (int i = 1; i < argc; ++i)
            list.append(QString::fromLocal8Bit(argv[i]));
        return list;
    }();
    // As the application does, for the bare windows too.
    DesktopApp::prepareEnvironment();
    if (arguments.contains("--bare-window"))
        return bareWindow(argc, argv);
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
        std::fputs("bench_window needs a display: run it as xvfb-run -a bench_window\n", stderr);
        return 1;
    }
    const auto option = [&](const QString &name, int fallback) {
        const qsizetype at = arguments.indexOf(name);
        return at >= 0 && at + 1 < arguments.size() ? arguments.at(at + 1).toInt() : fallback;
    };
    QGuiApplication application(argc, argv);
    QQuickStyle::setStyle(QStringLiteral("Basic"));
    const qsizetype libraryAt = arguments.indexOf("--search-library");
    const QString searchLibrary = libraryAt >= 0 && libraryAt + 1 < arguments.size()
                                      ? arguments.at(libraryAt + 1)
                                      : QDir::tempPath() + QStringLiteral("/larder-bench-search.sqlite");
    if (arguments.contains("--typing-only"))
        return typeSearches(searchLibrary);
    const int grid = scrollGrid(option("--files", 100000));
    const int started = launch(option("--launch-files", 200000));
    const int typed = typeSearches(searchLibrary);
    return grid || started || typed;
}
