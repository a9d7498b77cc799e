// A library of a million files: a generated tree (TreeGenerator.h) goes
// through the real `larder` commands, each step beside a reference measured
// in the same run on the same files:
//
// - first scan and rescan with nothing changed (`larder scan`), in files per
//   second, against `find TREE -printf '%s %T@ %p\n'`;
// - search, p50 and p95 over a set of requests through the search engine the
//   window and `larder search` use, against bare full-text MATCH statements
//   on the same library file;
// - listings with filters (kind, size, date) through the store's listing
//   that `larder ls` prints, against hand-written SQL, and the command itself
//   with its start-up;
// - the identical-files scan (`larder duplicates`), against `find -size`
//   and `sha256sum` over the files whose sizes are shared;
// - the library file's size per file, and the peak memory of every step:
//   its private memory and its resident size, which also counts the
//   library's mapped pages, sampled every 10 ms (for the steps run here, the
//   resident peak is this program's high-water mark, reset before the step).
//
//   bench_scale [FILES] [--keep TREE] [--library FILE]
//                                         (FILES defaults to 1,000,000)
//
// The tree and the library go in a temporary folder under $TMPDIR (or /tmp)
// and are removed at the end; with --keep the tree stays at TREE, and an
// existing TREE is used as it is. With --library the library stays at FILE;
// when FILE exists, the run only measures the searches and listings on it.
#include "TreeGenerator.h"

#include "search/FullTextQuery.h"
#include "search/LocalQueryParser.h"
#include "search/SearchEngine.h"
#include "search/SearchModel.h"
#include "store/FileRecords.h"
#include "store/IndexStore.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QUrl>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <thread>
#include <tuple>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

extern char **environ;

namespace {

constexpr double megabyte = 1024.0 * 1024.0;

// The library is mapped into memory (SQLite's mmap_size), so a process's
// resident size counts the pages of the library file it has read: page cache
// that the kernel drops under pressure. Its private (anonymous) memory is
// what it holds of its own. The kernel keeps no peak of it, and a spawned
// program's ru_maxrss starts from its parent's, so both are sampled.
class MemoryPeaks
{
public:
    explicit MemoryPeaks(pid_t pid)
        : m_status(QStringLiteral("/proc/%1/status").arg(pid))
        , m_thread([this] {
            while (!m_done) {
                sample();
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
        })
    {
    }
    ~MemoryPeaks() { stop(); }

    // Stops sampling; the private and the resident peaks in MB.
    std::pair<double, double> stop()
    {
        if (m_thread.joinable()) {
            m_done = true;
            m_thread.join();
        }
        return {double(m_private) / 1024.0, double(m_resident) / 1024.0};
    }

private:
    void sample()
    {
        QFile status(m_status);
        if (!status.open(QIODevice::ReadOnly))
            return;
        for (const QByteArray &line : status.readAll().split('\n')) {
            const auto kilobytes = [&](qsizetype from) { return line.mid(from).trimmed().split(' ').value(0).toLongLong(); };
            if (line.startsWith("RssAnon:"))
                m_private = std::max(m_private, kilobytes(8));
            else if (line.startsWith("VmRSS:"))
                m_resident = std::max(m_resident, kilobytes(6));
        }
    }

    const QString m_status;
    std::atomic_bool m_done = false;
    qint64 m_private = 0, m_resident = 0; // KB
    std::thread m_thread;
};

struct ChildRun
{
    double seconds = 0;
    double peakMegabytes = 0; // resident, with the library's mapped pages
    double privateMegabytes = 0;
    double processorSeconds = 0; // user and system time: the machine is shared
    int status = -1;
    QByteArray output;
};

// Runs a program with its standard output in OUTPUT (or nowhere), and
// measures its wall time and its peak resident memory.
ChildRun runChild(const QStringList &arguments, const QString &output = {})
{
    QList<QByteArray> encoded;
    for (const QString &argument : arguments)
        encoded.append(QFile::encodeName(argument));
    std::vector<char *> argv;
    for (QByteArray &argument : encoded)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    const QByteArray outputPath = output.isEmpty() ? QByteArray("/dev/null") : QFile::encodeName(output);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outputPath.constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);

    ChildRun run;
    QElapsedTimer timer;
    timer.start();
    pid_t pid = 0;
    const int spawned = posix_spawnp(&pid, argv.front(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        std::fprintf(stderr, "Couldn't start %s\n", argv.front());
        return run;
    }
    MemoryPeaks peaks(pid);
    int status = 0;
    rusage usage{};
    ::wait4(pid, &status, 0, &usage);
    run.seconds = double(timer.nsecsElapsed()) / 1e9;
    run.processorSeconds = double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
                           + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    std::tie(run.privateMegabytes, run.peakMegabytes) = peaks.stop();
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (!output.isEmpty()) {
        QFile file(output);
        if (file.open(QIODevice::ReadOnly))
            run.output = file.readAll();
    }
    return run;
}

// This program's peak resident memory since the last resetPeak().
void resetPeak()
{
    QFile clear(QStringLiteral("/proc/self/clear_refs"));
    if (clear.open(QIODevice::WriteOnly))
        clear.write("5");
}

double peakMegabytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').value(0).toDouble() * 1024.0 / megabyte;
    }
    return 0;
}

double milliseconds(const QElapsedTimer &timer)
{
    return double(timer.nsecsElapsed()) / 1e6;
}

struct Percentiles
{
    double p50 = 0;
    double p95 = 0;
};

Percentiles percentiles(std::vector<double> values)
{
    if (values.empty())
        return {};
    std::sort(values.begin(), values.end());
    const auto at = [&](double share) { return values[std::min(values.size() - 1, size_t(share * double(values.size())))]; };
    return {at(0.5), at(0.95)};
}

const char *verdict(bool met)
{
    return met ? "met" : "MISSED";
}

// `larder scan` over the tree: its time and the files it found.
struct Scan
{
    ChildRun run;
    qint64 found = 0;
    qint64 removed = 0;
};

Scan scanTree(const QString &library, const QString &tree, const QString &output)
{
    Scan scan;
    scan.run = runChild({QStringLiteral(LARDER_BINARY), QStringLiteral("--database"), library, QStringLiteral("scan"),
                         tree, QStringLiteral("--json")},
                        output);
    const QJsonObject result = QJsonDocument::fromJson(scan.run.output).object();
    scan.found = result.value(QStringLiteral("found")).toInteger();
    scan.removed = result.value(QStringLiteral("removed")).toInteger();
    return scan;
}

double timeFind(const QString &tree)
{
    return runChild({QStringLiteral("find"), tree, QStringLiteral("-printf"), QStringLiteral("%s %T@ %p\\n")}).seconds;
}

// The identical files as sha256sum sees them: the files of 4 KB and up whose
// size another such file shares, hashed, and the digests held by more than
// one file. Returns the number of groups and the time of the whole.
struct Reference
{
    double seconds = 0;
    qint64 groups = 0;
    qint64 candidates = 0;
};

Reference duplicatesByHand(const QString &tree, const QString &work)
{
    Reference reference;
    QElapsedTimer timer;
    timer.start();
    const ChildRun found = runChild({QStringLiteral("find"), tree, QStringLiteral("-type"), QStringLiteral("f"),
                                     QStringLiteral("-size"), QStringLiteral("+4095c"), QStringLiteral("-printf"),
                                     QStringLiteral("%s\\t%p\\n")},
                                    work + QStringLiteral("/sizes"));
    QHash<QByteArray, QList<QByteArray>> pathsOfSize;
    for (const QByteArray &line : found.output.split('\n')) {
        const qsizetype tab = line.indexOf('\t');
        if (tab > 0)
            pathsOfSize[line.left(tab)].append(line.mid(tab + 1));
    }
    QFile list(work + QStringLiteral("/candidates"));
    if (!list.open(QIODevice::WriteOnly))
        return reference;
    for (const QList<QByteArray> &paths : std::as_const(pathsOfSize)) {
        if (paths.size() < 2)
            continue;
        for (const QByteArray &path : paths)
            list.write(path + '\0');
        reference.candidates += paths.size();
    }
    list.close();
    const ChildRun hashed = runChild({QStringLiteral("xargs"), QStringLiteral("-0"), QStringLiteral("-a"), list.fileName(),
                                      QStringLiteral("sha256sum")},
                                     work + QStringLiteral("/digests"));
    QHash<QByteArray, int> filesOfDigest;
    for (const QByteArray &line : hashed.output.split('\n')) {
        if (line.size() > 64)
            ++filesOfDigest[line.left(64)];
    }
    reference.groups = std::count_if(filesOfDigest.cbegin(), filesOfDigest.cend(), [](int files) { return files > 1; });
    reference.seconds = double(timer.nsecsElapsed()) / 1e9;
    return reference;
}

// Requests of the kinds a person types, over the generated names.
const char *const requests[] = {
    "invoice",          "lease",           "budget report",      "holiday photo",    "meeting minutes",
    "contract draft",   "receipt 4242",    "pdfs about the lease", "invoices from last year", "images of holiday",
    "notes from last month", "manual",     "recipe ticket",      "statement",        "scan 77",
    "summary plan",     "letter",          "minut",              "holi",             "rep",
    "notes txt",        "plan csv",        "big invoices",       "report 2024",
};

double threadSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

// The memory of a step run in this program: its resident peak and its
// private peak, both from the step's start.
class StepMemory
{
public:
    StepMemory()
        : m_private((resetPeak(), ::getpid()))
    {
    }
    // Resident and private peaks in MB.
    std::pair<double, double> stop() { return {peakMegabytes(), m_private.stop().first}; }

private:
    MemoryPeaks m_private;
};

// Returns the step's private peak in MB.
double measureSearch(const QString &library, int rounds)
{
    StepMemory memory;
    auto store = IndexStore::open(QUrl::fromLocalFile(library));
    SearchEngine engine(*store);
    SQLiteDatabase db(library, SQLiteDatabase::Access::readOnly);
    struct Request
    {
        QString text;
        SearchQuery query;
        std::optional<FullTextMatch> match;
        std::vector<double> times;
    };
    std::vector<Request> parsed;
    for (const char *text : requests) {
        const SearchQuery query = LocalQueryParser().parse(QString::fromUtf8(text));
        parsed.push_back({QString::fromUtf8(text), query, ftsMatchAll(query.keywords, PrefixMatch::lastTokenPrefix), {}});
    }
    std::vector<double> engineTimes, engineCPU, bareTimes, bareCPU;
    qint64 hits = 0;
    for (int round = 0; round < rounds; ++round) {
        const bool warmUp = round == 0; // fills the page cache
        for (Request &request : parsed) {
            QElapsedTimer timer;
            timer.start();
            double cpu = threadSeconds();
            const qsizetype found = engine.search(request.query, SearchModel::resultLimit).size();
            if (!warmUp) {
                engineTimes.push_back(milliseconds(timer));
                engineCPU.push_back((threadSeconds() - cpu) * 1000);
                request.times.push_back(engineTimes.back());
                hits += found;
            }
            if (!request.match)
                continue;
            timer.restart();
            cpu = threadSeconds();
            db.query(QStringLiteral("SELECT owner_id FROM passages WHERE passages MATCH ? "
                                    "ORDER BY bm25(passages, 6.0, 1.0) LIMIT ?"),
                     {request.match->expression, SearchModel::resultLimit * 6});
            if (!warmUp) {
                bareTimes.push_back(milliseconds(timer));
                bareCPU.push_back((threadSeconds() - cpu) * 1000);
            }
        }
    }
    const auto [resident, privateMemory] = memory.stop();
    const Percentiles engineP = percentiles(engineTimes), bareP = percentiles(bareTimes);
    const Percentiles engineC = percentiles(engineCPU), bareC = percentiles(bareCPU);
    std::printf("search:        p50 %7.2f ms  p95 %7.2f ms   bare MATCH p50 %7.2f ms  p95 %7.2f ms   p95 %.1f× bare\n",
                engineP.p50, engineP.p95, bareP.p50, bareP.p95, engineP.p95 / std::max(bareP.p95, 1e-3));
    std::printf("   CPU time:   p50 %7.2f ms  p95 %7.2f ms   bare MATCH p50 %7.2f ms  p95 %7.2f ms\n", engineC.p50,
                engineC.p95, bareC.p50, bareC.p95);
    std::printf("               (%zu requests × %d rounds, %.1f hits each; private peak %.0f MB, resident %.0f MB)\n",
                std::size(requests), rounds - 1, double(hits) / double(std::max<size_t>(engineTimes.size(), 1)),
                privateMemory, resident);
    std::sort(parsed.begin(), parsed.end(), [](const Request &a, const Request &b) {
        return percentiles(a.times).p50 > percentiles(b.times).p50;
    });
    std::printf("               slowest:");
    for (size_t i = 0; i < std::min<size_t>(4, parsed.size()); ++i)
        std::printf(" “%s” %.0f ms", qPrintable(parsed[i].text), percentiles(parsed[i].times).p50);
    std::printf("\n               goal p95 < 50 ms: %s\n", verdict(engineP.p95 < 50));
    return privateMemory;
}

struct Listing
{
    const char *label;
    FileFilter filter;
    FileSort sort;
    QString sql; // the same listing by hand
    SQLBindings bindings;
    QStringList command; // the `larder ls` options, when it has them
};

double measureListings(const QString &library, const QString &tree, int rounds)
{
    const double yearAgo = double(QDateTime::currentSecsSinceEpoch() - 365 * 86400);
    const QString recent = QStringLiteral("ORDER BY max(coalesce(modified, 0), coalesce(added, 0)) DESC LIMIT 100");
    std::vector<Listing> listings{
        {"documents, newest first", {.kinds = {FileKind::document}}, FileSort::recent,
         QStringLiteral("SELECT * FROM files WHERE kind = 'document' ") + recent, {},
         {QStringLiteral("--kind"), QStringLiteral("document")}},
        {"4 KB and up, largest first", {.minSize = 4096}, FileSort::size,
         QStringLiteral("SELECT * FROM files WHERE size >= 4096 ORDER BY size DESC LIMIT 100"), {},
         {QStringLiteral("--min-size"), QStringLiteral("4096"), QStringLiteral("--sort"), QStringLiteral("size")}},
        {"images of the last year", {.kinds = {FileKind::image}, .dateFrom = yearAgo}, FileSort::recent,
         QStringLiteral("SELECT * FROM files WHERE kind = 'image' AND modified >= ? ") + recent, {yearAgo}, {}},
        {"PDFs by name", {.extensions = {QStringLiteral("pdf")}}, FileSort::name,
         QStringLiteral("SELECT * FROM files WHERE ext = 'pdf' ORDER BY name COLLATE NOCASE LIMIT 100"), {},
         {QStringLiteral("--ext"), QStringLiteral("pdf"), QStringLiteral("--sort"), QStringLiteral("name")}},
        {"one folder, largest first", {.folder = tree + QStringLiteral("/d0")}, FileSort::size,
         QStringLiteral("SELECT * FROM files WHERE path >= ? AND path < ? ORDER BY size DESC LIMIT 100"),
         {tree + QStringLiteral("/d0/"), tree + QStringLiteral("/d00")},
         {QStringLiteral("--folder"), tree + QStringLiteral("/d0"), QStringLiteral("--sort"), QStringLiteral("size")}},
    };
    double peak = 0;
    StepMemory memory;
    auto store = IndexStore::open(QUrl::fromLocalFile(library));
    SQLiteDatabase db(library, SQLiteDatabase::Access::readOnly);
    for (const Listing &listing : listings) {
        std::vector<double> storeTimes, bareTimes;
        qsizetype rows = 0, bareRows = 0;
        for (int round = 0; round < rounds; ++round) {
            QElapsedTimer timer;
            timer.start();
            rows = store->files().list(listing.filter, listing.sort, 100).size();
            if (round > 0)
                storeTimes.push_back(milliseconds(timer));
            timer.restart();
            bareRows = db.query(listing.sql, listing.bindings).size();
            if (round > 0)
                bareTimes.push_back(milliseconds(timer));
        }
        const double storeMs = percentiles(storeTimes).p50, bareMs = percentiles(bareTimes).p50;
        std::printf("ls %-27s %8.2f ms   bare SQL %8.2f ms   %5.1f× bare   (%lld / %lld rows)", listing.label, storeMs,
                    bareMs, storeMs / std::max(bareMs, 1e-3), qlonglong(rows), qlonglong(bareRows));
        if (!listing.command.isEmpty()) {
            const ChildRun command = runChild(QStringList{QStringLiteral(LARDER_BINARY), QStringLiteral("--database"),
                                                          library, QStringLiteral("ls"), QStringLiteral("--json")}
                                              + listing.command);
            std::printf("   `larder ls` %6.0f ms, private peak %.0f MB", command.seconds * 1000,
                        command.privateMegabytes);
            peak = std::max(peak, command.privateMegabytes);
        }
        std::printf("\n");
    }
    const auto [resident, privateMemory] = memory.stop();
    std::printf("               (the listings run here: private peak %.0f MB, resident %.0f MB)\n", privateMemory,
                resident);
    return std::max(peak, privateMemory);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const auto [files, kept, keptLibrary] = TreeGenerator::treeArguments(app.arguments().mid(1), 1000000);
    QTemporaryDir work;
    if (!work.isValid() || files <= 0) {
        std::fprintf(stderr, "usage: bench_scale [FILES] [--keep TREE] [--library FILE]\n");
        return 2;
    }
    const QString tree = kept.isEmpty() ? work.path() + QStringLiteral("/tree") : kept;
    const QString library = keptLibrary.isEmpty() ? work.path() + QStringLiteral("/Library.sqlite") : keptLibrary;
    // A kept library made by an earlier run has had its scans: only the
    // reads are measured again.
    if (QFileInfo::exists(library)) {
        std::printf("Reading the library made earlier, %s\n", qPrintable(library));
        measureSearch(library, 6);
        std::fflush(stdout);
        measureListings(library, tree, 6);
        return 0;
    }
    if (!QDir(tree).exists()) {
        std::printf("Generating %lld files in %s …\n", qlonglong(files), qPrintable(tree));
        std::fflush(stdout);
        QElapsedTimer timer;
        timer.start();
        const TreeGenerator::Tree made = TreeGenerator::generate(tree, files);
        std::printf("  %lld files, %.0f MB, %lld copies, in %.0f s\n", qlonglong(made.files), double(made.bytes) / megabyte,
                    qlonglong(made.copies), double(timer.elapsed()) / 1000);
    }

    // Scans: find warms the caches, then is measured before each scan.
    timeFind(tree);
    const double findFirst = timeFind(tree);
    const Scan first = scanTree(library, tree, work.path() + QStringLiteral("/scan.json"));
    const double findSecond = timeFind(tree);
    const Scan again = scanTree(library, tree, work.path() + QStringLiteral("/rescan.json"));
    const double find = std::min(findFirst, findSecond);
    std::printf("find -printf:  %8.2f s  %9.0f files/s\n", find, double(first.found) / find);
    const auto reportScan = [&](const char *label, const Scan &scan, double goal) {
        const double rate = double(scan.found) / scan.run.seconds;
        std::printf("%s %8.2f s  %9.0f files/s  %5.1f× find's time   private peak %.0f MB, resident %.0f MB   "
                    "goal ≥ %.0f files/s: %s\n",
                    label, scan.run.seconds, rate, scan.run.seconds / find, scan.run.privateMegabytes,
                    scan.run.peakMegabytes, goal, verdict(rate >= goal));
    };
    reportScan("first scan:   ", first, 20000);
    reportScan("rescan:       ", again, 50000);
    std::printf("               (CPU %.1f s and %.1f s: %.0f and %.0f files per CPU second; %lld files found, %lld "
                "removed by the rescan; exit %d, %d)\n",
                first.run.processorSeconds, again.run.processorSeconds,
                double(first.found) / std::max(first.run.processorSeconds, 1e-3),
                double(again.found) / std::max(again.run.processorSeconds, 1e-3), qlonglong(first.found),
                qlonglong(again.removed), first.run.status, again.run.status);
    std::fflush(stdout);

    const qint64 librarySize = QFileInfo(library).size() + QFileInfo(library + QStringLiteral("-wal")).size();
    std::printf("library:       %.0f MB, %.0f bytes per file\n", double(librarySize) / megabyte,
                double(librarySize) / double(std::max<qint64>(first.found, 1)));

    const double searchPeak = measureSearch(library, 6);
    std::fflush(stdout);
    const double listingPeak = measureListings(library, tree, 6);
    std::fflush(stdout);

    const Reference byHand = duplicatesByHand(tree, work.path());
    const ChildRun duplicates = runChild({QStringLiteral(LARDER_BINARY), QStringLiteral("--database"), library,
                                          QStringLiteral("duplicates"), QStringLiteral("--json")},
                                         work.path() + QStringLiteral("/duplicates.json"));
    const qsizetype groups =
        QJsonDocument::fromJson(duplicates.output).object().value(QStringLiteral("groups")).toArray().size();
    std::printf("duplicates:    %8.2f s  (%lld groups)   find + sha256sum %8.2f s (%lld groups of %lld candidates)   "
                "%5.1f× its time   private peak %.0f MB, resident %.0f MB\n",
                duplicates.seconds, qlonglong(groups), byHand.seconds, qlonglong(byHand.groups),
                qlonglong(byHand.candidates), duplicates.seconds / std::max(byHand.seconds, 1e-3),
                duplicates.privateMegabytes, duplicates.peakMegabytes);

    const double peak = std::max({first.run.privateMegabytes, again.run.privateMegabytes, duplicates.privateMegabytes,
                                  listingPeak, searchPeak});
    const double resident = std::max({first.run.peakMegabytes, again.run.peakMegabytes, duplicates.peakMegabytes});
    std::printf("peak memory:   %.0f MB private (largest of the steps), %.0f MB resident with the library's mapped "
                "pages   goal < 500 MB: %s\n",
                peak, resident, verdict(peak < 500));
    const bool consistent = first.found == again.found && again.removed == 0 && first.run.status == 0
                            && duplicates.status == 0 && groups == byHand.groups;
    if (!consistent)
        std::printf("The steps disagree: see the counts above.\n");
    return consistent ? 0 : 1;
}
