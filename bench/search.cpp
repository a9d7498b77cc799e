// Search on a large library: how long the plain-English parser takes per
// request, and how long the local search takes for 50 realistic requests,
// beside the same searches run as bare full-text MATCH statements in the
// same run.
//
// The library (200,000 files, 1,000,000 passages) is generated straight
// through SQL in one transaction and kept in the temporary folder between
// runs; pass --regenerate to make it again.
//
//   bench_search [--regenerate] [--rounds N]
#include "search/FullTextQuery.h"
#include "search/LocalQueryParser.h"
#include "search/SearchEngine.h"
#include "store/IndexStore.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QThread>
#include <QUrl>

#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <ctime>
#include <cstdio>
#include <random>
#include <vector>

namespace {

constexpr int fileCount = 200'000;
constexpr int passageCount = 1'000'000;
// Bump when the generated library changes shape, so a stale cache is not used.
constexpr int libraryVersion = 3;

// Words that the requests below look for, mixed into the text at a rate that
// gives each a realistic number of matches, among a larger made-up vocabulary.
const char *const topicWords[] = {
    "invoice", "lease", "tax", "contract", "meeting", "budget", "receipt", "dog", "report", "project",
    "insurance", "mortgage", "salary", "payslip", "passport", "visa", "flight", "hotel", "booking", "recipe",
    "quarterly", "roadmap", "design", "proposal", "agreement", "statement", "bank", "pension", "medical",
    "prescription", "warranty", "manual", "resume", "interview", "offer", "onboarding", "presentation",
    "marketing", "strategy", "minutes", "agenda", "wedding", "birthday", "holiday", "garden", "kitchen",
    "renovation", "electricity", "water", "internet", "phone", "car", "repair", "school", "homework",
    "thesis", "research", "paper", "conference", "security", "password", "backup", "server", "deployment",
};

const char *const syllables[] = {"ka", "lo", "mi", "ren", "tor", "sa", "vel", "du", "pri", "na", "ost",
                                 "ba", "cle", "fu", "gan", "hi", "jo", "ler", "mun", "pe", "qui", "ras"};

class Generator
{
public:
    explicit Generator(unsigned seed)
        : m_random(seed)
    {
        // A made-up vocabulary of 6,000 words, drawn with a Zipf-like skew.
        for (int i = 0; i < 6000; ++i) {
            std::string word;
            int n = i;
            do {
                word += syllables[n % std::size(syllables)];
                n /= int(std::size(syllables));
            } while (n > 0);
            m_vocabulary.push_back(word + syllables[(i * 7) % std::size(syllables)]);
        }
    }

    int below(int n) { return int(m_random() % unsigned(n)); }

    const std::string &commonWord()
    {
        // The square of a uniform number favours the first words.
        const double u = double(m_random()) / double(m_random.max());
        return m_vocabulary[size_t(u * u * double(m_vocabulary.size() - 1))];
    }

    // Topic words follow Zipf's law too: the first is common, the last rare.
    const char *topicWord()
    {
        const double u = double(m_random()) / double(m_random.max());
        const double n = double(std::size(topicWords));
        return topicWords[std::min(size_t(n - 1), size_t(std::pow(n + 1, u) - 1))];
    }

    std::string sentence(int words)
    {
        std::string text;
        for (int i = 0; i < words; ++i) {
            if (i > 0)
                text += ' ';
            text += below(150) == 0 ? topicWord() : commonWord().c_str();
        }
        return text;
    }

private:
    std::mt19937 m_random;
    std::vector<std::string> m_vocabulary;
};

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

// Fills an empty, migrated library file. Documents carry most passages.
void generate(const QString &path)
{
    QFile::remove(path);
    IndexStore::open(QUrl::fromLocalFile(path)); // creates the schema

    sqlite3 *db = nullptr;
    check(sqlite3_open(QFile::encodeName(path).constData(), &db), db);
    check(sqlite3_exec(db, "PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; PRAGMA cache_size = -300000; "
                           "INSERT INTO passages(passages, rank) VALUES('automerge', 16); BEGIN", nullptr, nullptr, nullptr),
          db);
    sqlite3_stmt *insertFile = nullptr;
    sqlite3_stmt *insertPassage = nullptr;
    check(sqlite3_prepare_v2(db,
                             "INSERT INTO files(id, path, root, name, ext, uti, kind, size, created, modified, added, "
                             "opened, source, is_screenshot, text_state, seen_at) "
                             "VALUES(?, ?, '/home/bench', ?, ?, NULL, ?, ?, ?, ?, ?, NULL, ?, ?, 1, 0)",
                             -1, &insertFile, nullptr),
          db);
    check(sqlite3_prepare_v2(db, "INSERT INTO passages(title, body, owner_type, owner_id, ord) VALUES(?, ?, 'file', ?, ?)",
                             -1, &insertPassage, nullptr),
          db);

    Generator gen(20240515);
    const double now = double(QDateTime::currentSecsSinceEpoch());
    const double fiveYears = 5 * 365 * 86400.0;

    // Text-bearing files (documents, and images with recognised text) share
    // the passages beyond each file's title row.
    std::vector<int> shapeOfFile(fileCount);
    std::vector<int> textFiles;
    for (int i = 0; i < fileCount; ++i) {
        int pick = gen.below(100);
        int s = 0;
        while (pick >= shapes[s].share && s + 1 < int(std::size(shapes))) {
            pick -= shapes[s].share;
            ++s;
        }
        shapeOfFile[i] = s;
        if (std::string_view(shapes[s].kind) == "document" || (shapes[s].ext == std::string_view("png") && i % 3 == 0))
            textFiles.push_back(i);
    }
    const int extraPassages = passageCount - fileCount;
    std::vector<int> extraFor(fileCount, 0);
    for (int n = 0; n < extraPassages; ++n)
        ++extraFor[textFiles[size_t(gen.below(int(textFiles.size())))]];

    for (int i = 0; i < fileCount; ++i) {
        const KindShape &shape = shapes[shapeOfFile[i]];
        const bool screenshot = shape.ext == std::string_view("png") && i % 3 == 0;
        std::string base = screenshot ? "Screenshot from 2024-" + std::to_string(1 + i % 12) + "-" + std::to_string(i)
                                      : gen.topicWord() + std::string(" ") + gen.sentence(2) + " " + std::to_string(i);
        const std::string name = base + "." + shape.ext;
        const std::string folder = std::string("/home/bench/") + shape.folder + "/" + gen.commonWord() + "/"
            + gen.topicWord();
        const std::string path = folder + "/" + name;
        const double modified = now - fiveYears * double(gen.below(1'000'000)) / 1e6;

        sqlite3_bind_int64(insertFile, 1, i + 1);
        bindText(insertFile, 2, path);
        bindText(insertFile, 3, name);
        bindText(insertFile, 4, shape.ext);
        bindText(insertFile, 5, shape.kind);
        sqlite3_bind_int64(insertFile, 6, shape.typicalSize / 4 + gen.below(int(std::min<qint64>(shape.typicalSize, 2'000'000'000))));
        sqlite3_bind_double(insertFile, 7, modified - 86400);
        sqlite3_bind_double(insertFile, 8, modified);
        sqlite3_bind_double(insertFile, 9, modified + 60);
        if (gen.below(4) == 0)
            sqlite3_bind_text(insertFile, 10, sources[gen.below(int(std::size(sources)))], -1, SQLITE_STATIC);
        else
            sqlite3_bind_null(insertFile, 10);
        sqlite3_bind_int(insertFile, 11, screenshot ? 1 : 0);
        check(sqlite3_step(insertFile), db);
        sqlite3_reset(insertFile);

        FileRecord record;
        record.path = QString::fromStdString(path);
        record.name = QString::fromStdString(name);
        const std::string title = IndexStore::title(record).toStdString();
        const std::string id = std::to_string(i + 1);
        const bool hasText = extraFor[i] > 0;
        for (int ord = 0; ord <= extraFor[i]; ++ord) {
            bindText(insertPassage, 1, ord == 0 ? title : std::string());
            bindText(insertPassage, 2, hasText ? gen.sentence(25 + gen.below(50)) : std::string());
            bindText(insertPassage, 3, id);
            sqlite3_bind_int(insertPassage, 4, ord);
            check(sqlite3_step(insertPassage), db);
            sqlite3_reset(insertPassage);
        }
        if (i % 20'000 == 0)
            std::fprintf(stderr, "\rgenerating the library: %d files", i);
    }
    sqlite3_finalize(insertFile);
    sqlite3_finalize(insertPassage);
    check(sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr), db);
    check(sqlite3_exec(db, "INSERT INTO passages(passages, rank) VALUES('automerge', 4); "
                       "INSERT INTO passages(passages) VALUES('optimize'); PRAGMA journal_mode = WAL",
                       nullptr, nullptr, nullptr),
          db);
    sqlite3_exec(db, ("PRAGMA user_version = 1; CREATE TABLE IF NOT EXISTS bench(version); DELETE FROM bench; "
                      "INSERT INTO bench VALUES(" + std::to_string(libraryVersion) + ")").c_str(),
                 nullptr, nullptr, nullptr);
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
    const IndexStore::Counts counts = store->counts();
    std::printf("library: %lld files, %lld passages, %.0f MB on disk (%s)\n", counts.files, counts.passages,
                double(QFileInfo(path).size()) / 1e6, qPrintable(path));

    // Parse time per request, each parse timed on its own.
    const LocalQueryParser parser(QDateTime(QDate(2024, 5, 15), QTime(10, 0)));
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
    // (the all-words one, and the any-word one where the engine widens) as
    // bare MATCH statements ranked alike with the same overscan, without the
    // join, the filter or the snippet; and through a form of the store's
    // statement that lets the full-text index order by its rank itself.
    SearchEngine engine(*store);
    SQLiteDatabase &db = store->db();
    struct Plan
    {
        SearchQuery query;
        QStringList expressions;
    };
    std::vector<Plan> plans;
    for (const SearchQuery &query : queries) {
        Plan plan{query, {}};
        if (const auto all = ftsMatchAll(query.keywords, PrefixMatch::lastTokenPrefix)) {
            plan.expressions.append(*all);
            if (query.keywords.size() >= 2 && store->searchFiles(*all, query.filter, 80).size() <= 7)
                plan.expressions.append(ftsMatchAny(query.keywords).value_or(QString()));
        }
        plans.push_back(plan);
    }
    const auto bareMatch = [&](const Plan &plan) {
        for (const QString &expression : plan.expressions)
            db.query(QStringLiteral("SELECT owner_id FROM passages WHERE passages MATCH ? "
                                    "ORDER BY bm25(passages, 6.0, 1.0) LIMIT ?"),
                     {expression, 80 * 6});
    };
    const auto rankOrdered = [&](const Plan &plan) {
        const CompiledFilter filter = compileFilter(plan.query.filter);
        for (const QString &expression : plan.expressions) {
            SQLBindings bindings{expression, QStringLiteral("bm25(6.0, 1.0)")};
            bindings += filter.bindings;
            bindings.append(80 * 6);
            db.query(QStringLiteral("SELECT p.owner_id AS owner, p.rank AS score, "
                                    "snippet(passages, 1, '⟦', '⟧', '…', 18) AS snip, f.* "
                                    "FROM passages p JOIN files f ON f.id = CAST(p.owner_id AS INTEGER) "
                                    "WHERE passages MATCH ? AND p.rank MATCH ? AND p.owner_type = 'file' AND ")
                         + filter.clause + QStringLiteral(" ORDER BY p.rank LIMIT ?"),
                     bindings);
        }
    };

    Timing search, bare, ranked;
    std::vector<double> cpuByRequest(plans.size(), 0.0);
    size_t hitsTotal = 0;
    for (int round = 0; round < rounds; ++round) {
        const bool warmUp = round == 0; // the first round fills the page cache
        for (size_t i = 0; i < plans.size(); ++i) {
            const Plan &plan = plans[i];
            search.measure(warmUp, [&] { hitsTotal += warmUp ? 0 : size_t(engine.search(plan.query, 80).size()); });
            if (!warmUp)
                cpuByRequest[i] += search.cpu.back() / double(rounds - 1);
            bare.measure(warmUp, [&] { bareMatch(plan); });
            ranked.measure(warmUp, [&] { rankOrdered(plan); });
        }
    }
    std::printf("search:       %s   (%zu searches of %zu requests, %.1f hits each; goal p50 < 10 ms, p95 < 50 ms)\n",
                search.summary().c_str(), search.wall.size(), std::size(requests),
                double(hitsTotal) / double(search.wall.size()));
    std::printf("bare MATCH:   %s\n", bare.summary().c_str());
    std::printf("rank-ordered: %s   (the store's statement ordered by the index's own rank)\n",
                ranked.summary().c_str());
    const auto ratio = [](const std::vector<double> &a, const std::vector<double> &b, double Percentiles::*at) {
        return percentiles(a).*at / std::max(percentiles(b).*at, 1e-6);
    };
    std::printf("ratio search / bare MATCH:   wall p50 %.2f p95 %.2f;   CPU p50 %.2f p95 %.2f\n",
                ratio(search.wall, bare.wall, &Percentiles::p50), ratio(search.wall, bare.wall, &Percentiles::p95),
                ratio(search.cpu, bare.cpu, &Percentiles::p50), ratio(search.cpu, bare.cpu, &Percentiles::p95));
    std::vector<size_t> order(plans.size());
    for (size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    std::sort(order.begin(), order.end(), [&](size_t a, size_t b) { return cpuByRequest[a] > cpuByRequest[b]; });
    std::printf("slowest requests (mean CPU ms, then the expressions run):\n");
    for (size_t i = 0; i < 5 && i < order.size(); ++i) {
        const Plan &plan = plans[order[i]];
        std::printf("  %7.2f  %-40s %s\n", cpuByRequest[order[i]], requests[order[i]],
                    qPrintable(plan.expressions.join(QStringLiteral("  then  "))));
    }
    std::printf("load average %.1f on %d cores while measuring\n", loadAverage(), QThread::idealThreadCount());
    return 0;
}
