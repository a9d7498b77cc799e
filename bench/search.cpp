// Search on a large library: how long the plain-English parser takes per
// request, and how long the local search takes for 50 realistic requests,
// beside, in the same run, the same searches through the full-text table's
// own bm25() and snippet(), and as bare full-text MATCH statements. Then the
// search screen's path: from the last keystroke to local results through
// the search model (its 0.12 s pause left out), beside the bare engine call.
//
// The library (200,000 files, 1,000,000 passages) is generated straight
// through SQL and kept in the temporary folder between runs; pass
// --regenerate to make it again.
//
// What a search costs depends mostly on how many passages its words match,
// so the library's text follows a model of natural language rather than a
// flat mix:
//
// - Running text draws from 50,000 made-up words by Zipf's law with exponent
//   1: the word of rank r has a probability proportional to 1/r, as word
//   frequencies in natural language do. The most frequent words are the
//   shortest, as function words are.
// - The words that the requests look for sit in that ranking where a
//   person's documents would put them: a few are common (ranks 150 to 500:
//   "project", "meeting", "report", "notes"), most are everyday words (500 to
//   2,500: "tax", "contract", "invoice") and the rest specialised (2,500 to
//   10,000: "mortgage", "lease", "payslip"). With passages of about 150
//   words, a word of rank 1,000 is in about one passage in a hundred.
// - Documents are about something: half of the files with text have one of
//   ten topics (money, home, travel, work...), and three quarters of a topic
//   word's occurrences move into its topic's files. Words of one subject
//   thus come together, as real text is bursty, while each keeps the overall
//   frequency of its rank.
// - One word in 60 is a number: a year or an amount.
// - Passages are cut as the store cuts text: full ones of 800 to 900
//   characters, a document's last one shorter. Document lengths are
//   log-normal (many short documents, a few long ones); a screenshot holds a
//   line or two. Passages sit at the store's rowids.
// - Photos and videos carry camera names, screenshots the screenshot tool's;
//   documents are named with a few words, often their topic's. A third of
//   the folders are named after a topic word, and a file about a topic is
//   filed there half the time, so names and folders match requests as a
//   person's filing would.
// - Rows go in as the indexer writes them: in batches, with the full-text
//   table's default merging, never optimised.
//
//   bench_search [--regenerate] [--rounds N]
#include "claude/ClaudeClient.h"
#include "core/AppSettings.h"
#include "core/Defaults.h"
#include "search/FullTextQuery.h"
#include "search/LocalQueryParser.h"
#include "search/SearchEngine.h"
#include "search/SearchModel.h"
#include "search/SearchQuery.h"
#include "store/IndexStore.h"

#include "WordModel.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>
#include <QUrl>

#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <ctime>
#include <cstdio>
#include <map>
#include <numeric>
#include <random>
#include <unordered_set>
#include <vector>

namespace {

using namespace BenchWords;

constexpr int fileCount = 200'000;
constexpr int passageCount = 1'000'000;
// Bump when the generated library changes shape, so a stale cache is not used.
constexpr int libraryVersion = 4;

// The day the requests are read on; the library's dates run for five years up to it.
const QDateTime referenceNow(QDate(2024, 5, 15), QTime(10, 0));


// Running text of about the given length in characters (never over 900, the
// store's passage size), with sentence ends and one number in 60 words: a
// year or an amount.
std::string runningText(const WordModel &model, int topic, int length, Random &random)
{
    std::string text;
    int untilStop = 8 + below(random, 12);
    while (int(text.size()) < length) {
        std::string next;
        if (below(random, 60) == 0)
            next = std::to_string(below(random, 10) < 3 ? 2010 + below(random, 15)
                                                         : int(std::exp(uniform(random) * std::log(10'000.0))));
        else
            next = model.fileWord(topic, random);
        if (--untilStop == 0) {
            next += '.';
            untilStop = 8 + below(random, 12);
        }
        if (text.size() + next.size() + 1 > 900)
            break;
        if (!text.empty())
            text += ' ';
        text += next;
    }
    return text;
}

// ---- The files ----

struct KindShape
{
    const char *kind;
    const char *ext;
    const char *folder;
    int share; // out of 100
    qint64 typicalSize;
};

const KindShape shapes[] = {
    {"document", "pdf", "Documents", 22, 400'000},  {"document", "docx", "Documents", 8, 80'000},
    {"document", "xlsx", "Documents", 5, 60'000},   {"document", "txt", "Documents", 5, 4'000},
    {"image", "jpg", "Pictures", 25, 3'000'000},    {"image", "png", "Pictures", 10, 900'000},
    {"video", "mp4", "Videos", 6, 300'000'000},     {"audio", "mp3", "Music", 7, 6'000'000},
    {"archive", "zip", "Downloads", 6, 50'000'000}, {"app", "appimage", "Applications", 1, 120'000'000},
    {"other", "bin", "Downloads", 5, 1'000'000},
};

const char *const sources[] = {"gmail", "drive", "slack", "whatsapp", "github", "dropbox", "outlook", "web:files.example"};

// The folders under one of the home's top folders, two levels deep. A third
// of them are named after a topic's word, as "Taxes" or "Wedding" would be.
struct Folders
{
    std::vector<std::string> paths;
    std::vector<size_t> ofTopic[topicCount];

    // A file about a topic is filed under it half the time.
    const std::string &pick(int topic, Random &random) const
    {
        if (topic >= 0 && !ofTopic[topic].empty() && below(random, 2) == 0)
            return paths[ofTopic[topic][size_t(below(random, int(ofTopic[topic].size())))]];
        return paths[size_t(below(random, int(paths.size())))];
    }
};

Folders makeFolders(const WordModel &model, const std::string &top, int count, Random &random)
{
    std::vector<std::string> areas;
    for (int i = 0; i < 12; ++i)
        areas.push_back(model.contentWord(random));
    Folders folders;
    for (int i = 0; i < count; ++i) {
        std::string leaf;
        if (below(random, 3) == 0) {
            const int topic = below(random, topicCount);
            folders.ofTopic[topic].push_back(folders.paths.size());
            leaf = model.topicWord(topic, random);
        } else {
            leaf = model.contentWord(random);
        }
        folders.paths.push_back("/home/bench/" + top + "/" + areas[size_t(below(random, int(areas.size())))] + "/"
                                + leaf);
    }
    return folders;
}

std::string dateDigits(const QDateTime &when)
{
    return when.toString(QStringLiteral("yyyyMMdd")).toStdString();
}

// A name as the file's kind would get one: camera names for photos and
// videos, the screenshot tool's for screenshots, a few words (often the
// topic's) for documents and the rest.
std::string fileName(const WordModel &model, const KindShape &shape, bool screenshot, int topic,
                     const QDateTime &modified, int serial, Random &random)
{
    const std::string_view kind = shape.kind;
    std::string base;
    if (screenshot) {
        base = "Screenshot from " + modified.toString(QStringLiteral("yyyy-MM-dd hh-mm-ss")).toStdString();
    } else if (kind == "image" && shape.ext == std::string_view("jpg")) {
        base = "IMG_" + dateDigits(modified) + "_" + std::to_string(100'000 + serial % 900'000);
    } else if (kind == "video") {
        base = "VID_" + dateDigits(modified) + "_" + std::to_string(serial % 10'000);
    } else {
        const int words = 1 + below(random, 3);
        for (int i = 0; i < words; ++i) {
            if (!base.empty())
                base += below(random, 2) == 0 ? " " : "_";
            base += i == 0 && topic >= 0 && below(random, 5) < 3 ? model.topicWord(topic, random)
                                                                 : model.contentWord(random);
        }
        if (below(random, 2) == 0)
            base += " " + std::to_string(2010 + below(random, 15));
        else if (below(random, 2) == 0)
            base += " (" + std::to_string(1 + below(random, 9)) + ")";
    }
    return base + "." + shape.ext;
}

void check(int code, sqlite3 *db)
{
    if (code != SQLITE_OK && code != SQLITE_DONE && code != SQLITE_ROW) {
        std::fprintf(stderr, "SQLite: %s\n", sqlite3_errmsg(db));
        std::exit(1);
    }
}

void bindText(sqlite3_stmt *stmt, int index, const std::string &text)
{
    sqlite3_bind_text(stmt, index, text.data(), int(text.size()), SQLITE_TRANSIENT);
}

struct GeneratedFile
{
    int shape = 0;
    bool screenshot = false;
    int topic = -1;
    int chunks = 0; // passages of text; the title row carries the first
};

// Which files there are, their topics and how many passages of text each has.
// Document lengths are log-normal: many short ones, a few long ones.
std::vector<GeneratedFile> planFiles(Random &random)
{
    std::vector<GeneratedFile> files(fileCount);
    std::vector<double> lengthWeight(fileCount, 0.0);
    std::lognormal_distribution<double> documentLength(0.0, 1.0);
    int textFiles = 0;
    for (int i = 0; i < fileCount; ++i) {
        GeneratedFile &file = files[size_t(i)];
        int pick = below(random, 100);
        while (pick >= shapes[file.shape].share && file.shape + 1 < int(std::size(shapes))) {
            pick -= shapes[file.shape].share;
            ++file.shape;
        }
        const KindShape &shape = shapes[file.shape];
        file.screenshot = shape.ext == std::string_view("png") && i % 3 == 0;
        const bool document = shape.kind == std::string_view("document");
        const bool hasText = document || file.screenshot;
        if (uniform(random) < (hasText ? topicalFiles : 0.3))
            file.topic = below(random, topicCount);
        if (hasText) {
            file.chunks = 1;
            ++textFiles;
        }
        if (document)
            lengthWeight[size_t(i)] = documentLength(random);
    }
    // Every file has a title row; documents share out the rest.
    const double extra = double(passageCount - fileCount);
    const double totalWeight = std::accumulate(lengthWeight.begin(), lengthWeight.end(), 0.0);
    double running = 0;
    qint64 given = 0;
    for (int i = 0; i < fileCount; ++i) {
        if (lengthWeight[size_t(i)] == 0)
            continue;
        running += lengthWeight[size_t(i)];
        const qint64 upTo = std::llround(extra * running / totalWeight);
        files[size_t(i)].chunks += int(std::min<qint64>(upTo - given, PassageIndex::maxPassagesPerFile - 1));
        given = upTo;
    }
    std::fprintf(stderr, "%d files with text\n", textFiles);
    return files;
}

// Fills an empty, migrated library file the way the indexer leaves one:
// passages at the store's rowids, written in many transactions with the
// full-text table's default merging, never optimised.
void generate(const QString &path)
{
    QFile::remove(path);
    IndexStore::open(QUrl::fromLocalFile(path)); // creates the schema

    sqlite3 *db = nullptr;
    check(sqlite3_open(QFile::encodeName(path).constData(), &db), db);
    check(sqlite3_exec(db, "PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; PRAGMA cache_size = -300000",
                       nullptr, nullptr, nullptr),
          db);
    sqlite3_stmt *insertFile = nullptr;
    sqlite3_stmt *insertPassage = nullptr;
    check(sqlite3_prepare_v2(db,
                             "INSERT INTO files(id, path, root, name, ext, uti, kind, size, created, modified, added, "
                             "opened, source, is_screenshot, text_state, seen_at) "
                             "VALUES(?, ?, '/home/bench', ?, ?, NULL, ?, ?, ?, ?, ?, NULL, ?, ?, ?, 0)",
                             -1, &insertFile, nullptr),
          db);
    check(sqlite3_prepare_v2(db,
                             "INSERT INTO passages(rowid, title, body, owner_type, owner_id, ord) "
                             "VALUES(?, ?, ?, 'file', ?, ?)",
                             -1, &insertPassage, nullptr),
          db);

    Random random(20240515);
    const WordModel model;
    const std::vector<GeneratedFile> files = planFiles(random);
    std::map<std::string, Folders> foldersByTop;
    for (const KindShape &shape : shapes) {
        if (!foldersByTop.count(shape.folder))
            foldersByTop[shape.folder] =
                makeFolders(model, shape.folder, shape.folder == std::string_view("Documents") ? 400 : 120, random);
    }
    std::unordered_set<std::string> paths;
    constexpr qint64 fiveYears = 5 * 365 * 86400;

    check(sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr), db);
    for (int i = 0; i < fileCount; ++i) {
        const GeneratedFile &file = files[size_t(i)];
        const KindShape &shape = shapes[file.shape];
        const QDateTime modified = referenceNow.addSecs(-qint64(uniform(random) * double(fiveYears)));

        const std::string &folder = foldersByTop[shape.folder].pick(file.topic, random);
        std::string name = fileName(model, shape, file.screenshot, file.topic, modified, i, random);
        std::string path = folder + "/" + name;
        if (!paths.insert(path).second) {
            name = std::to_string(i) + " " + name;
            path = folder + "/" + name;
            paths.insert(path);
        }

        const double seconds = double(modified.toSecsSinceEpoch());
        sqlite3_bind_int64(insertFile, 1, i + 1);
        bindText(insertFile, 2, path);
        bindText(insertFile, 3, name);
        bindText(insertFile, 4, shape.ext);
        bindText(insertFile, 5, shape.kind);
        sqlite3_bind_int64(insertFile, 6,
                           shape.typicalSize / 4 + below(random, int(std::min<qint64>(shape.typicalSize, 2'000'000'000))));
        sqlite3_bind_double(insertFile, 7, seconds - 86400);
        sqlite3_bind_double(insertFile, 8, seconds);
        sqlite3_bind_double(insertFile, 9, seconds + 60);
        if (below(random, 4) == 0)
            sqlite3_bind_text(insertFile, 10, sources[below(random, int(std::size(sources)))], -1, SQLITE_STATIC);
        else
            sqlite3_bind_null(insertFile, 10);
        sqlite3_bind_int(insertFile, 11, file.screenshot ? 1 : 0);
        sqlite3_bind_int(insertFile, 12, file.chunks > 0 ? int(TextState::Extracted) : int(TextState::NoText));
        check(sqlite3_step(insertFile), db);
        sqlite3_reset(insertFile);

        FileRecord record;
        record.path = QString::fromStdString(path);
        record.name = QString::fromStdString(name);
        const std::string title = FileRecords::title(record).toStdString();
        const std::string id = std::to_string(i + 1);
        // Passages are cut full; a document's last one, and a screenshot's
        // only one, is shorter.
        for (int ord = 0; ord < std::max(file.chunks, 1); ++ord) {
            std::string body;
            if (file.chunks > 0) {
                const bool last = ord == file.chunks - 1;
                const int length = file.screenshot ? 40 + below(random, 300)
                                                   : last ? 40 + below(random, 860) : 800 + below(random, 100);
                body = runningText(model, file.topic, length, random);
            }
            sqlite3_bind_int64(insertPassage, 1, qint64(i + 1) * PassageIndex::maxPassagesPerFile + ord);
            bindText(insertPassage, 2, ord == 0 ? title : std::string());
            bindText(insertPassage, 3, body);
            bindText(insertPassage, 4, id);
            sqlite3_bind_int(insertPassage, 5, ord);
            check(sqlite3_step(insertPassage), db);
            sqlite3_reset(insertPassage);
        }
        // The indexer commits in batches.
        if (i % 400 == 399)
            check(sqlite3_exec(db, "COMMIT; BEGIN", nullptr, nullptr, nullptr), db);
        if (i % 5'000 == 0)
            std::fprintf(stderr, "\rgenerating the library: %d files", i);
    }
    sqlite3_finalize(insertFile);
    sqlite3_finalize(insertPassage);
    check(sqlite3_exec(db, "COMMIT; PRAGMA journal_mode = WAL", nullptr, nullptr, nullptr), db);
    check(sqlite3_exec(db, ("CREATE TABLE IF NOT EXISTS bench(version); DELETE FROM bench; INSERT INTO bench VALUES("
                            + std::to_string(libraryVersion) + ")")
                               .c_str(),
                       nullptr, nullptr, nullptr),
          db);
    sqlite3_close(db);
    std::fprintf(stderr, "\rgenerated the library: %d files          \n", fileCount);
}

bool isCurrent(const QString &path)
{
    if (!QFileInfo::exists(path))
        return false;
    try {
        SQLiteDatabase db(path);
        return db.scalar(QStringLiteral("SELECT version FROM bench")).intValue() == libraryVersion
            && db.scalar(QStringLiteral("SELECT COUNT(*) FROM files")).intValue() == fileCount;
    } catch (const DescribedError &) {
        return false;
    }
}

// What people type into the search field.
const char *const requests[] = {
    "invoice",
    "tax return 2023",
    "pdfs from gmail about my lease",
    "contract from last year",
    "photos of the dog taken in march",
    "budget spreadsheet",
    "meeting minutes project roadmap",
    "receipt for the car repair",
    "insurance documents",
    "mortgage statement from the bank",
    "payslip",
    "passport scan",
    "flight booking hotel",
    "recipe",
    "quarterly report",
    "design proposal for the kitchen renovation",
    "agreement signed",
    "pension statement",
    "medical prescription",
    "warranty manual",
    "resume",
    "interview offer letter",
    "onboarding presentation slides",
    "marketing strategy deck",
    "agenda for the conference",
    "wedding photos",
    "birthday",
    "holiday pictures from whatsapp",
    "garden",
    "electricity bill",
    "water bill last month",
    "internet phone contract",
    "school homework",
    "thesis research paper",
    "security password backup",
    "server deployment notes",
    "invoices over 1 mb",
    "screenshots of the error",
    "big videos of the wedding",
    "tax documents downloaded in april",
    "report from slack files",
    "salary",
    "visa application",
    "bank statements since january",
    "hotel",
    "projec",
    "meeting notes this week",
    "docs about the renovation budget",
    "kitchen design",
    "strategy roadmap quarterly",
};

struct Percentiles
{
    double p50 = 0;
    double p95 = 0;
    double max = 0;
};

Percentiles percentiles(std::vector<double> samples)
{
    std::sort(samples.begin(), samples.end());
    auto at = [&](double q) { return samples[std::min(samples.size() - 1, size_t(q * double(samples.size())))]; };
    return {at(0.5), at(0.95), samples.back()};
}

double millisecondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

// The CPU time of this thread, which other work on the machine does not inflate.
double threadMilliseconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

double loadAverage()
{
    double load = 0;
    if (FILE *file = std::fopen("/proc/loadavg", "r")) {
        if (std::fscanf(file, "%lf", &load) != 1)
            load = 0;
        std::fclose(file);
    }
    return load;
}

// Wall-clock and CPU milliseconds of one measured step, over many runs.
struct Timing
{
    std::vector<double> wall;
    std::vector<double> cpu;

    template<typename Step>
    void measure(bool warmUp, Step step)
    {
        const auto start = std::chrono::steady_clock::now();
        const double cpuStart = threadMilliseconds();
        step();
        if (warmUp)
            return;
        cpu.push_back(threadMilliseconds() - cpuStart);
        wall.push_back(millisecondsSince(start));
    }

    std::string summary() const
    {
        const Percentiles w = percentiles(wall);
        const Percentiles c = percentiles(cpu);
        char text[200];
        std::snprintf(text, sizeof text, "p50 %7.2f ms  p95 %7.2f ms  max %7.2f ms  (CPU p50 %.2f ms, p95 %.2f ms)",
                      w.p50, w.p95, w.max, c.p50, c.p95);
        return text;
    }
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const QStringList arguments = app.arguments();
    int rounds = 5;
    if (const qsizetype at = arguments.indexOf(QStringLiteral("--rounds")); at > 0 && at + 1 < arguments.size())
        rounds = std::max(2, arguments.at(at + 1).toInt());

    const QString path = QDir::tempPath() + QStringLiteral("/larder-bench-search.sqlite");
    if (arguments.contains(QStringLiteral("--regenerate")) || !isCurrent(path)) {
        QElapsedTimer timer;
        timer.start();
        generate(path);
        std::printf("library generated in %.1f s\n", double(timer.elapsed()) / 1000.0);
    }

    auto store = IndexStore::open(QUrl::fromLocalFile(path));
    const LibraryStats::Counts counts = store->stats().counts();
    std::printf("library: %lld files, %lld passages, %.0f MB on disk (%s)\n", counts.files, counts.passages,
                double(QFileInfo(path).size()) / 1e6, qPrintable(path));
    std::printf("text model: Zipf's law (exponent 1) over %d words; request words at ranks %d to %d; "
                "%.0f%% of the files with text about one of %d topics, holding %.0f%% of their topic words\n",
                vocabularySize, tiers[0].firstRank, std::end(tiers)[-1].lastRank, topicalFiles * 100, int(topicCount),
                topicalShare * 100);

    // Parse time per request, each parse timed on its own.
    const LocalQueryParser parser(referenceNow);
    std::vector<SearchQuery> queries;
    for (const char *request : requests)
        queries.push_back(parser.parse(QString::fromUtf8(request)));
    std::vector<double> parseTimes;
    for (int round = 0; round < 200; ++round) {
        for (const char *request : requests) {
            const QString text = QString::fromUtf8(request);
            const auto start = std::chrono::steady_clock::now();
            const SearchQuery query = parser.parse(text);
            parseTimes.push_back(millisecondsSince(start));
            if (query.raw.isEmpty())
                return 1;
        }
    }
    const Percentiles parse = percentiles(parseTimes);
    std::printf("parse:        p50 %.3f ms   p95 %.3f ms   max %.3f ms   (%zu parses; goal p95 < 1 ms)\n", parse.p50,
                parse.p95, parse.max, parseTimes.size());

    // Each request through the engine; then the same full-text expressions
    // (the all-words one, and the any-word one where the engine widens)
    // through the table's own bm25() and snippet(); then, as the floor, as
    // bare MATCH statements ranked by bm25 with the same overscan, without
    // the join, the filter or the snippets.
    SearchEngine engine(*store);
    SQLiteDatabase db(store->path());
    struct Plan
    {
        SearchQuery query;
        QStringList expressions;
    };
    std::vector<Plan> plans;
    for (const SearchQuery &query : queries) {
        Plan plan{query, {}};
        if (const auto all = ftsMatchAll(query.keywords, PrefixMatch::lastTokenPrefix)) {
            plan.expressions.append(all->expression);
            if (query.keywords.size() >= 2 && store->passages().searchFiles(*all, query.filter, 80).size() <= 7)
                plan.expressions.append(ftsMatchAny(query.keywords).value_or(FullTextMatch()).expression);
        }
        plans.push_back(plan);
    }
    const auto bareMatch = [&](const Plan &plan) {
        for (const QString &expression : plan.expressions)
            db.query(QStringLiteral("SELECT owner_id FROM passages WHERE passages MATCH ? "
                                    "ORDER BY bm25(passages, 6.0, 1.0) LIMIT ?"),
                     {expression, 80 * 6});
    };
    // The plain statement that the store's ranking reproduces: every match
    // under the filter ranked by bm25(), the best six rows a hit folded into
    // one hit a file, and each hit given the snippet() of its first passage,
    // in rank order, that marks a word, a round of passages at a time.
    const auto plainSearch = [&](const QString &expression, const CompiledFilter &filter, int limit) {
        const QString rank = QStringLiteral("SELECT p.rowid, bm25(passages, 6.0, 1.0) AS score FROM passages p "
                                            "JOIN files f ON f.id = p.rowid / %1 "
                                            "WHERE passages MATCH ? AND p.rowid > 0 AND %2 ORDER BY score, p.rowid LIMIT ?")
                                 .arg(PassageIndex::maxPassagesPerFile)
                                 .arg(filter.clause);
        return db.readTransaction([&] {
            QList<FileHit> hits;
            QList<QList<qint64>> passagesOfHit;
            QHash<qint64, qsizetype> hitOfFile;
            for (const SQLRow &row : db.query(rank, SQLBindings{expression} + filter.bindings + SQLBindings{limit * 6})) {
                if (hits.size() == limit)
                    break;
                const qint64 rowid = row.integer(0).value_or(0);
                const qint64 id = rowid / PassageIndex::maxPassagesPerFile;
                if (const auto known = hitOfFile.constFind(id); known != hitOfFile.constEnd()) {
                    passagesOfHit[*known].append(rowid);
                    continue;
                }
                hitOfFile.insert(id, hits.size());
                FileHit hit;
                hit.file.id = id;
                hit.score = -row.real(1).value_or(0);
                hits.append(hit);
                passagesOfHit.append(QList<qint64>{rowid});
            }
            const QHash<qint64, FileRecord> files = store->files().records(hitOfFile.keys());
            for (FileHit &hit : hits)
                hit.file = files.value(hit.file.id, hit.file);
            for (qsizetype round = 0;; ++round) {
                QHash<qint64, qsizetype> hitOfPassage;
                QStringList rowids;
                for (qsizetype i = 0; i < hits.size(); ++i) {
                    if (hits.at(i).snippet || round >= passagesOfHit.at(i).size())
                        continue;
                    hitOfPassage.insert(passagesOfHit.at(i).at(round), i);
                    rowids.append(QString::number(passagesOfHit.at(i).at(round)));
                }
                if (hitOfPassage.isEmpty())
                    return hits;
                for (const SQLRow &row : db.query(QStringLiteral("SELECT rowid, snippet(passages, 1, '⟦', '⟧', '…', 18) "
                                                                 "FROM passages WHERE passages MATCH ? "
                                                                 "AND rowid IN (SELECT value FROM json_each(?))"),
                                                  {expression, u'[' + rowids.join(u',') + u']'})) {
                    const QString snippet = row.string(1).value_or(QString());
                    if (snippet.contains(QStringLiteral("⟦")))
                        hits[hitOfPassage.value(row.integer(0).value_or(0))].snippet = snippet;
                }
            }
        });
    };
    // Merged as the engine merges: all-word hits ahead of any-word ones.
    const auto plainRequest = [&](const Plan &plan) {
        const CompiledFilter filter = compileFilter(plan.query.filter);
        QList<FileHit> hits;
        QSet<qint64> seen;
        for (const QString &expression : plan.expressions) {
            for (const FileHit &hit : plainSearch(expression, filter, 80)) {
                if (!seen.contains(hit.file.id)) {
                    seen.insert(hit.file.id);
                    hits.append(hit);
                }
            }
        }
        return hits.mid(0, 80);
    };
    const auto agreeing = std::count_if(plans.begin(), plans.end(), [&](const Plan &plan) {
        return engine.search(plan.query, 80) == plainRequest(plan);
    });
    std::printf("bm25() and snippet() give the engine's hits, scores and snippets for %td of %zu requests\n", agreeing,
                plans.size());
    Timing search, plain, bare;
    std::vector<double> cpuByRequest(plans.size(), 0.0);
    size_t hitsTotal = 0;
    for (int round = 0; round < rounds; ++round) {
        const bool warmUp = round == 0; // the first round fills the page cache
        for (size_t i = 0; i < plans.size(); ++i) {
            const Plan &plan = plans[i];
            search.measure(warmUp, [&] { hitsTotal += warmUp ? 0 : size_t(engine.search(plan.query, 80).size()); });
            if (!warmUp)
                cpuByRequest[i] += search.cpu.back() / double(rounds - 1);
            plain.measure(warmUp, [&] { plainRequest(plan); });
            bare.measure(warmUp, [&] { bareMatch(plan); });
        }
    }
    std::printf("search:       %s   (%zu searches of %zu requests, %.1f hits each; goal p50 < 10 ms, p95 < 50 ms)\n",
                search.summary().c_str(), search.wall.size(), std::size(requests),
                double(hitsTotal) / double(search.wall.size()));
    std::printf("bm25/snippet: %s\n", plain.summary().c_str());
    std::printf("bare MATCH:   %s\n", bare.summary().c_str());
    const auto printRatio = [&](const char *name, const Timing &reference) {
        const auto ratio = [](const std::vector<double> &a, const std::vector<double> &b, double Percentiles::*at) {
            return percentiles(a).*at / std::max(percentiles(b).*at, 1e-6);
        };
        std::printf("ratio search / %s:   wall p50 %.2f p95 %.2f;   CPU p50 %.2f p95 %.2f\n", name,
                    ratio(search.wall, reference.wall, &Percentiles::p50),
                    ratio(search.wall, reference.wall, &Percentiles::p95),
                    ratio(search.cpu, reference.cpu, &Percentiles::p50), ratio(search.cpu, reference.cpu, &Percentiles::p95));
    };
    printRatio("bm25/snippet", plain);
    printRatio("bare MATCH", bare);
    std::vector<size_t> order(plans.size());
    for (size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    std::sort(order.begin(), order.end(), [&](size_t a, size_t b) { return cpuByRequest[a] > cpuByRequest[b]; });
    // The load: how many passages each expression matches, before any filter.
    const auto matches = [&](const QString &expression) {
        return db.scalar(QStringLiteral("SELECT COUNT(*) FROM passages WHERE passages MATCH ?"), {expression})
            .intValue()
            .value_or(0);
    };
    std::vector<double> matchesByRequest;
    for (const Plan &plan : plans) {
        qint64 total = 0;
        for (const QString &expression : plan.expressions)
            total += matches(expression);
        matchesByRequest.push_back(double(total));
    }
    const Percentiles load = percentiles(matchesByRequest);
    std::printf("passages matched per request: p50 %.0f  p95 %.0f  max %.0f  (of %lld)\n", load.p50, load.p95,
                load.max, counts.passages);
    std::printf("slowest requests (mean CPU ms, then each expression run with the passages it matches):\n");
    for (size_t i = 0; i < 5 && i < order.size(); ++i) {
        const Plan &plan = plans[order[i]];
        QStringList expressions;
        for (const QString &expression : plan.expressions)
            expressions.append(QStringLiteral("%1 (%2)").arg(expression).arg(matches(expression)));
        std::printf("  %7.2f  %-40s %s\n", cpuByRequest[order[i]], requests[order[i]],
                    qPrintable(expressions.join(QStringLiteral("  then  "))));
    }

    // The search screen's path: the text set on the model, which parses it,
    // then its local pause cut short (the timer fired at once), the engine
    // call on the user-initiated pool, and the hand-back to this thread;
    // beside the engine call alone on the same requests.
    QTemporaryDir settingsFolder;
    Defaults defaults(settingsFolder.path() + QStringLiteral("/settings.json"));
    AppSettings settings(defaults);
    const ClaudeClient client([] { return std::optional<QString>(); });
    SearchModel model(engine, client, settings, [] { return false; });
    QTimer *pause = model.findChild<Debouncer *>(QStringLiteral("localSearchDelay"))->findChild<QTimer *>();
    Timing throughModel, engineAlone;
    // Each request's time through the model less its time alone, measured
    // back to back, which the load of the machine disturbs less.
    std::vector<double> addedByModel;
    for (int round = 0; round < rounds; ++round) {
        const bool warmUp = round == 0;
        for (const char *request : requests) {
            const QString text = QString::fromUtf8(request);
            throughModel.measure(warmUp, [&] {
                model.setText(text);
                pause->stop();
                QMetaObject::invokeMethod(pause, "timeout");
                while (model.phase() != SearchModel::Phase::done)
                    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            });
            model.setText(QString());
            engineAlone.measure(warmUp, [&] { engine.search(LocalQueryParser().parse(text), SearchModel::resultLimit); });
            if (!warmUp)
                addedByModel.push_back(throughModel.wall.back() - engineAlone.wall.back());
        }
    }
    std::printf("keystroke to results through the search model: %s   (goal p95 < 20 ms)\n", throughModel.summary().c_str());
    std::printf("parse and engine call alone:                   %s\n", engineAlone.summary().c_str());
    const Percentiles added = percentiles(addedByModel);
    std::printf("added by the model, request by request:        p50 %7.2f ms  p95 %7.2f ms\n", added.p50, added.p95);
    std::printf("ratio model / engine:   wall p50 %.2f p95 %.2f\n",
                percentiles(throughModel.wall).p50 / std::max(percentiles(engineAlone.wall).p50, 1e-6),
                percentiles(throughModel.wall).p95 / std::max(percentiles(engineAlone.wall).p95, 1e-6));
    std::printf("load average %.1f on %d cores while measuring\n", loadAverage(), QThread::idealThreadCount());
    return 0;
}
