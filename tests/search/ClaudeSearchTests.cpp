// Claude's search plan and rerank: what goes out, how lenient reading and the
// merge treat what comes back, and the candidates and picks of a Claude step.
#include "search/ClaudeSearch.h"
#include "search/LocalQueryParser.h"
#include "search/SearchEngine.h"
#include "claude/ClaudeClient.h"
#include "core/DownloadSources.h"
#include "support/FakeClaudeServer.h"
#include "support/LibraryBuilder.h"

#include <QDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const UserCalendar sydney{QTimeZone("Australia/Sydney"), QLocale(QLocale::English, QLocale::UnitedStates)};

double startOfDay(int year, int month, int day)
{
    return double(QDate(year, month, day).startOfDay(sydney.timeZone).toMSecsSinceEpoch()) / 1000.0;
}

double localNoon(int year, int month, int day)
{
    return double(QDateTime(QDate(year, month, day), QTime(12, 0)).toMSecsSinceEpoch()) / 1000.0;
}

SearchPlan planFrom(const QByteArray &json)
{
    return decodeJSON<SearchPlan>(JSONValue::parse(json), QString());
}

ClaudeClient clientOf(const FakeClaudeServer &server)
{
    return ClaudeClient([] { return std::optional<QString>(u"sk-test"_s); }, server.clientOptions());
}

FileHit hitOf(qint64 id, const QString &name)
{
    FileHit hit;
    hit.file.id = id;
    hit.file.name = name;
    hit.file.path = u"/library/"_s + name;
    return hit;
}

QList<qint64> idsOf(const QList<FileHit> &hits)
{
    QList<qint64> ids;
    for (const FileHit &hit : hits)
        ids.append(hit.file.id);
    return ids;
}

} // namespace

// The local query is the base; each part of the plan replaces its part only
// when it brings something, and whatever Claude gets wrong is left out.
TEST(SearchPlanMerge, LaysThePlanOverTheParsedQuery)
{
    SearchQuery local;
    local.raw = u"lease from drive downloaded last week"_s;
    local.keywords = {u"lease"_s};
    local.filter.kinds = {FileKind::document};
    local.filter.dateField = DateField::added;
    local.filter.dateFrom = 100;
    local.filter.dateTo = 200;
    local.filter.minSize = 1000;
    local.filter.sources = {u"drive"_s};
    local.dateLabel = u"Last week"_s;
    local.summary = u"old"_s;

    QByteArray seventeen = R"({"related_terms":[)";
    for (int i = 1; i <= 17; ++i)
        seventeen += (i > 1 ? "," : "") + QByteArray("\"t") + QByteArray::number(i) + '"';
    seventeen += "]}";

    const struct
    {
        const char *name;
        QByteArray plan;
        std::function<void(SearchQuery &)> expect;
    } cases[] = {
        {"an empty plan only drops the summary", "{}", [](SearchQuery &q) { q.summary.reset(); }},
        {"blank keywords keep the parser's, related terms still come",
         R"({"keywords":[" ",""],"related_terms":["Tenancy","LEASE"," rent ","rent",""]})",
         [](SearchQuery &q) { q.relatedTerms = {u"tenancy"_s, u"rent"_s}; q.summary.reset(); }},
        {"plan keywords replace and are lower-cased",
         R"({"keywords":[" Electricity ","PLAN"],"related_terms":["plan","tariff"]})",
         [](SearchQuery &q) {
             q.keywords = {u"electricity"_s, u"plan"_s};
             q.relatedTerms = {u"tariff"_s};
             q.summary.reset();
         }},
        {"a seventeenth related term is dropped", seventeen,
         [](SearchQuery &q) {
             q.relatedTerms.clear();
             for (int i = 1; i <= 16; ++i)
                 q.relatedTerms.append(u"t"_s + QString::number(i));
             q.summary.reset();
         }},
        {"an extension alone replaces both sets", R"({"extensions":[" .PDF. ",""]})",
         [](SearchQuery &q) {
             q.filter.kinds.clear();
             q.filter.extensions = {u"pdf"_s};
             q.summary.reset();
         }},
        {"unknown kinds are ignored", R"({"kinds":["spreadsheet","Video",7]})",
         [](SearchQuery &q) { q.filter.kinds = {FileKind::video}; q.summary.reset(); }},
        {"only unknown kinds leave the parser's", R"({"kinds":["spreadsheet"]})", [](SearchQuery &q) { q.summary.reset(); }},
        {"an inclusive end becomes the next day, named by its last day",
         R"({"date_from":"2024-03-01","date_to":"2024-03-31","date_field":"any"})",
         [](SearchQuery &q) {
             q.filter.dateFrom = startOfDay(2024, 3, 1);
             q.filter.dateTo = startOfDay(2024, 4, 1);
             q.dateLabel = u"Mar 1, 2024 – Mar 31, 2024"_s;
             q.summary.reset();
         }},
        {"one day names one date and sets the field", R"({"date_from":"2024-3-5","date_to":"2024-03-05","date_field":"opened"})",
         [](SearchQuery &q) {
             q.filter.dateField = DateField::opened;
             q.filter.dateFrom = startOfDay(2024, 3, 5);
             q.filter.dateTo = startOfDay(2024, 3, 6);
             q.dateLabel = u"Mar 5, 2024"_s;
             q.summary.reset();
         }},
        {"an end alone clears the start", R"({"date_to":"2024-02-29"})",
         [](SearchQuery &q) {
             q.filter.dateFrom.reset();
             q.filter.dateTo = startOfDay(2024, 3, 1);
             q.dateLabel = u"Before Mar 1, 2024"_s;
             q.summary.reset();
         }},
        {"malformed dates are absent", R"({"date_from":"2024-3","date_to":"soon","date_field":"created"})",
         [](SearchQuery &q) { q.summary.reset(); }},
        {"sizes replace only when above zero", R"({"min_bytes":0,"max_bytes":5000000})",
         [](SearchQuery &q) { q.filter.maxSize = 5'000'000; q.summary.reset(); }},
        {"only known sources count", R"({"sources":["gmail","myspace"," Slack "]})",
         [](SearchQuery &q) { q.filter.sources = {u"gmail"_s, u"slack"_s}; q.summary.reset(); }},
        {"unknown sources leave the parser's", R"({"sources":["myspace"]})", [](SearchQuery &q) { q.summary.reset(); }},
        {"screenshots drop the image kind", R"({"kinds":["image"],"screenshots_only":true})",
         [](SearchQuery &q) {
             q.filter.kinds.clear();
             q.filter.screenshotsOnly = true;
             q.summary.reset();
         }},
        {"the summary is trimmed", R"({"summary":"  Flat lease\n"})", [](SearchQuery &q) { q.summary = u"Flat lease"_s; }},
        {"values of the wrong type read as empty",
         R"({"keywords":"lease","min_bytes":"big","screenshots_only":"yes","summary":42,"date_from":20240301})",
         [](SearchQuery &q) { q.summary.reset(); }},
    };
    for (const auto &c : cases) {
        SearchQuery expected = local;
        c.expect(expected);
        EXPECT_EQ(local.merged(planFrom(c.plan), sydney), expected) << c.name;
    }

    // False never clears a screenshots flag the parser set.
    SearchQuery screenshots = local;
    screenshots.filter.screenshotsOnly = true;
    EXPECT_TRUE(screenshots.merged(planFrom(R"({"screenshots_only":false})"), sydney).filter.screenshotsOnly);
}

TEST(SearchPlanMerge, LabelsDateRanges)
{
    const struct
    {
        std::optional<double> from;
        std::optional<double> to;
        std::optional<QString> label;
    } cases[] = {
        {startOfDay(2024, 3, 1), startOfDay(2024, 4, 1), u"Mar 1, 2024 – Mar 31, 2024"_s},
        {startOfDay(2024, 12, 31), startOfDay(2025, 1, 1), u"Dec 31, 2024"_s},
        {startOfDay(2024, 3, 1), std::nullopt, u"Since Mar 1, 2024"_s},
        {std::nullopt, startOfDay(2024, 4, 1), u"Before Apr 1, 2024"_s},
        {std::nullopt, std::nullopt, std::nullopt},
    };
    for (const auto &c : cases)
        EXPECT_EQ(dateLabel(c.from, c.to, sydney), c.label) << c.label.value_or(u"none"_s).toStdString();
}

// The plan request: the fast model, four thousand tokens, low effort, the
// prompt in this system's wording, the schema, and a body with sorted keys.
TEST(SearchPlanner, SendsTheRequestWithItsSchemaAndTodaysDate)
{
    FakeClaudeServer server;
    server.enqueue(FakeReply::message(uR"({"keywords":["electricity"],"summary":"Home electricity plan"})"_s));
    const ClaudeClient client = clientOf(server);
    const UserCalendar calendar{QTimeZone("Australia/Sydney"), QLocale(QLocale::German, QLocale::Austria)};
    const QDateTime now(QDate(2024, 5, 15), QTime(10, 0), QTimeZone("Australia/Sydney"));

    const SearchPlan plan = SearchPlanner(client, u"claude-haiku-5-5"_s)
                                .plan(u"my electricity plan"_s, now, calendar, CancellationToken::none());
    EXPECT_EQ(plan.keywords, QStringList{u"electricity"_s});
    EXPECT_EQ(plan.summary, u"Home electricity plan"_s);

    ASSERT_EQ(server.requestCount(), 1);
    const QByteArray body = server.requests().at(0).body;
    EXPECT_TRUE(body.startsWith(R"({"max_tokens":4000,"messages":[{"content":"Today is Wednesday, 15 May 2024 )"
                                R"((Australia/Sydney). The person lives in Austria.\n\nRequest: my electricity plan",)"
                                R"("role":"user"}],"model":"claude-haiku-5-5","output_config":{"effort":"low",)"
                                R"("format":{"schema":{"additionalProperties":false,"properties":{"date_field":)"))
        << body.toStdString();
    const JSONValue json = JSONValue::parse(body);
    const QString system = json["system"].stringValue().value_or(QString());
    EXPECT_TRUE(system.startsWith(u"You turn a person's request for files on their computer into a search plan"_s));
    EXPECT_TRUE(system.endsWith(u"Don't add constraints the person didn't ask for."_s));
    EXPECT_FALSE(system.contains(u"Mac"_s));

    const JSONValue schema = json["output_config"]["format"]["schema"].value();
    EXPECT_EQ(schema["required"].value().arrayItems().size(), 12);
    EXPECT_EQ(schema["properties"]["kinds"]["items"]["enum"].value(),
              JSONValue::strings({u"image"_s, u"video"_s, u"audio"_s, u"document"_s, u"archive"_s, u"app"_s}));
    QStringList sources;
    for (const KnownSource &source : KnownSource::all())
        sources.append(source.id);
    EXPECT_EQ(schema["properties"]["sources"]["items"]["enum"].value(), JSONValue::strings(sources));
    EXPECT_EQ(schema["properties"]["min_bytes"]["type"].stringValue(), u"integer"_s);
}

// The rerank request: one line a candidate with the facts the file has.
TEST(SearchReranker, ShowsEachCandidateOnOneLine)
{
    const QString home = QDir::homePath();
    FileHit lease = hitOf(7, u"lease.pdf"_s);
    lease.file.ext = u"pdf"_s;
    lease.file.kind = FileKind::document;
    lease.file.size = 2400;
    lease.file.modified = localNoon(2024, 3, 1);
    lease.file.added = localNoon(2024, 3, 2);
    lease.file.sourceID = u"gmail"_s;
    lease.file.path = home + u"/Housing/lease.pdf"_s;
    lease.snippet = u"The ⟦lease⟧ for\nthe flat"_s;
    FileHit readme = hitOf(9, u"README"_s);
    readme.file.size = 1;
    readme.file.sourceID = u"web:files.example"_s;
    readme.file.path = u"/srv/README"_s;
    readme.file.textExcerpt = QString(300, u'x');
    FileHit odd = hitOf(10, u"odd.bin"_s);
    odd.file.ext = u"bin"_s;
    odd.file.sourceID = u"pigeon"_s;

    FakeClaudeServer server;
    server.enqueue(FakeReply::message(uR"({"matches":[{"id":9,"relevance":0.5,"reason":"r"}]})"_s));
    const ClaudeClient client = clientOf(server);
    const SearchReranker reranker(client, u"claude-haiku-5-5"_s);
    EXPECT_TRUE(reranker.rank(u"lease"_s, u"x"_s, {}, CancellationToken::none()).isEmpty());
    EXPECT_EQ(server.requestCount(), 0) << "no candidates, no call";

    reranker.rank(u"the lease"_s, u"Flat lease"_s, {lease, readme, odd}, CancellationToken::none());
    ASSERT_EQ(server.requestCount(), 1);
    const JSONValue json = server.requests().at(0).json();
    EXPECT_EQ(json["messages"].value().arrayItems().at(0)["content"].stringValue(),
              u"Looking for: the lease\nInterpreted as: Flat lease\n\nCandidates:\n"
              "[7] lease.pdf | Document .pdf | 2 KB | modified 2024-03-01 | added 2024-03-02 | from Gmail | ~/Housing | "
              "excerpt: \"The lease for the flat\"\n"
              "[9] README | File | 1 byte | from files.example | /srv | excerpt: \""_s
                  + QString(280, u'x') + u"\"\n[10] odd.bin | File .bin | 0 bytes | from pigeon | /library"_s);
    const QString system = json["system"].stringValue().value_or(QString());
    EXPECT_TRUE(system.startsWith(u"You rank files from someone's computer by how well"_s));
    EXPECT_EQ(json["output_config"]["format"]["schema"]["properties"]["matches"]["items"]["required"].value(),
              JSONValue::strings({u"id"_s, u"relevance"_s, u"reason"_s}));
}

// Whatever comes back is read leniently; invented ids are dropped; an answer
// that is no JSON object is Claude's error, and a transient one is retried.
TEST(SearchReranker, ReadsAnswersLenientlyAndReportsWhatCannotBeRead)
{
    const QList<FileHit> hits{hitOf(7, u"a"_s), hitOf(9, u"b"_s), hitOf(10, u"c"_s)};
    const struct
    {
        const char *name;
        QList<FakeReply> replies;
        QList<RankedMatch> matches = {};
        std::optional<ClaudeError::Kind> error = std::nullopt;
    } cases[] = {
        {"ids never offered are dropped, relevance is held to 0 to 1",
         {FakeReply::message(uR"({"matches":[{"id":9,"relevance":0.9,"reason":"r"},{"id":99,"relevance":1,"reason":"x"},)"
                             R"({"id":7,"relevance":1.7,"reason":" y "},{"id":10,"relevance":-2}]})"_s)},
         {{9, 0.9, u"r"_s}, {7, 1.0, u"y"_s}, {10, 0.0, {}}}},
        {"entries without a usable id are skipped",
         {FakeReply::message(uR"({"matches":[{"id":"7","relevance":0.5},{"relevance":0.5},5,{"id":9.0,"relevance":"high"}]})"_s)},
         {{9, 0.0, {}}}},
        {"an empty list", {FakeReply::message(uR"({"matches":[]})"_s)}},
        {"no list at all", {FakeReply::message(uR"({"matches":"none"})"_s)}},
        {"an empty answer", {FakeReply::message(QString())}, {}, ClaudeError::Kind::invalidResponse},
        {"not JSON", {FakeReply::message(u"Here are the matches:"_s)}, {}, ClaudeError::Kind::invalidResponse},
        {"JSON that is no object", {FakeReply::message(u"[7, 9]"_s)}, {}, ClaudeError::Kind::invalidResponse},
        {"overloaded, then an answer",
         {FakeReply::error(529, "overloaded_error", u"Overloaded"_s),
          FakeReply::message(uR"({"matches":[{"id":10,"relevance":0.4,"reason":"c"}]})"_s)},
         {{10, 0.4, u"c"_s}}},
    };
    for (const auto &c : cases) {
        FakeClaudeServer server;
        for (const FakeReply &reply : c.replies)
            server.enqueue(reply);
        const ClaudeClient client = clientOf(server);
        try {
            const QList<RankedMatch> matches =
                SearchReranker(client, u"m"_s).rank(u"q"_s, std::nullopt, hits, CancellationToken::none());
            EXPECT_FALSE(c.error) << c.name;
            EXPECT_EQ(matches, c.matches) << c.name;
        } catch (const ClaudeError &error) {
            EXPECT_EQ(c.error, error.kind()) << c.name << ": " << error.description().toStdString();
        }
        EXPECT_EQ(server.requestCount(), c.replies.size()) << c.name;
    }
}

// Picks start at relevance 0.35, keep Claude's order, carry the reason and
// the relevance as score, and never repeat a file.
TEST(ClaudeStep, KeepsPicksFromTheThresholdUp)
{
    const QList<FileHit> shown{hitOf(1, u"a"_s), hitOf(2, u"b"_s), hitOf(3, u"c"_s), hitOf(4, u"d"_s)};
    const QList<FileHit> picks = rankedPicks({{3, 0.35, u"exact"_s}, {2, 0.34, u"weak"_s}, {3, 0.9, u"again"_s},
                                              {77, 1.0, u"invented"_s}, {1, 1.0, u"best"_s}},
                                             shown);
    EXPECT_EQ(idsOf(picks), (QList<qint64>{3, 1}));
    EXPECT_EQ(picks.at(0).reason, u"exact"_s);
    EXPECT_DOUBLE_EQ(picks.at(0).score, 0.35);
    EXPECT_EQ(idsOf(withoutPicks(shown, picks)), (QList<qint64>{2, 4}));
}

// A plan whose words find nine files or fewer is topped up with what the
// typed words find, without repeats.
TEST(ClaudeStep, TopsUpThinCandidatesWithTheLocalSearch)
{
    auto store = IndexStore::openInMemory();
    QList<LibraryBuilder::File> files;
    for (int i = 0; i < 3; ++i)
        files.append({u"/library/tariff-%1.txt"_s.arg(i), FileKind::document, 100, 100.0 + i, u"The tariff sheet."_s});
    for (int i = 0; i < 5; ++i)
        files.append({u"/library/bill-%1.txt"_s.arg(i), FileKind::document, 100, 200.0 + i, u"The power bill."_s});
    for (int i = 0; i < 2; ++i)
        files.append({u"/library/both-%1.txt"_s.arg(i), FileKind::document, 100, 300.0 + i, u"Tariff on the bill."_s});
    files.append({u"/library/sale.txt"_s, FileKind::document, 100, 400, u"A bill of sale."_s});
    LibraryBuilder::add(*store, files);
    const SearchEngine engine(*store);
    SearchQuery local;
    local.keywords = {u"bill"_s};
    SearchQuery merged;
    merged.keywords = {u"energy"_s};
    merged.relatedTerms = {u"tariff"_s};

    // Five from the plan, eight from the typed word, two of them the same.
    const QList<qint64> ids = idsOf(claudeCandidates(engine, merged, local));
    EXPECT_EQ(ids.size(), 11);
    EXPECT_EQ(QSet<qint64>(ids.begin(), ids.end()).size(), 11);
    EXPECT_EQ(ids.mid(0, 5), idsOf(engine.searchBroad(merged, 40)));

    // Ten from the plan: no top-up, so the bill of sale stays out.
    merged.relatedTerms = {u"tariff"_s, u"power"_s};
    EXPECT_EQ(idsOf(claudeCandidates(engine, merged, local)), idsOf(engine.searchBroad(merged, 40)));
    EXPECT_EQ(engine.searchBroad(merged, 40).size(), 10);
}
