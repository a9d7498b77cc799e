// Claude's search plan and rerank: what goes out, how lenient reading and the
// merge treat what comes back.
#include "search/ClaudeSearch.h"
#include "search/LocalQueryParser.h"
#include "claude/ClaudeClient.h"
#include "core/DownloadSources.h"
#include "support/FakeClaudeServer.h"

#include <QDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const UserCalendar sydney{QTimeZone("Australia/Sydney"), QLocale(QLocale::English, QLocale::UnitedStates)};

double startOfDay(int year, int month, int day)
{
    return double(QDate(year, month, day).startOfDay(sydney.timeZone).toMSecsSinceEpoch()) / 1000.0;
}

SearchPlan planFrom(const QByteArray &json)
{
    return decodeJSON<SearchPlan>(JSONValue::parse(json), QString());
}

ClaudeClient clientOf(const FakeClaudeServer &server)
{
    return ClaudeClient([] { return std::optional<QString>(u"sk-test"_s); }, server.clientOptions());
}

} // namespace

// The local query is the base; each part of the plan replaces its part only
// when it brings something, and whatever Claude gets wrong is left out.
TEST(SearchPlanMerge, LaysThePlanOverTheParsedQuery)
{
    SearchQuery local;
    local.keywords = {u"lease"_s};
    local.filter = {.kinds = {FileKind::document}, .dateField = DateField::added, .dateFrom = 100, .dateTo = 200,
                    .minSize = 1000, .sources = {u"drive"_s}};
    local.dateLabel = u"Last week"_s;
    QByteArray seventeen = R"({"related_terms":["t1")";
    for (int i = 2; i <= 17; ++i)
        seventeen += ",\"t" + QByteArray::number(i) + '"';
    const auto dates = [](SearchQuery &q, std::optional<double> from, std::optional<double> to, const QString &label) {
        q.filter.dateFrom = from;
        q.filter.dateTo = to;
        q.dateLabel = label;
    };
    const struct { QByteArray plan; std::function<void(SearchQuery &)> expect; } cases[] = {
        // Blank keywords keep the parser's; related terms still come.
        {R"({"keywords":[" ",""],"related_terms":["Tenancy","LEASE"," rent ","rent",""]})",
         [](SearchQuery &q) { q.relatedTerms = {u"tenancy"_s, u"rent"_s}; }},
        {R"({"keywords":[" Electricity ","PLAN"],"related_terms":["plan","tariff"]})",
         [](SearchQuery &q) { q.keywords = {u"electricity"_s, u"plan"_s}; q.relatedTerms = {u"tariff"_s}; }},
        {seventeen + "]}", [](SearchQuery &q) { for (int i = 1; i <= 16; ++i) q.relatedTerms.append(u"t%1"_s.arg(i)); }},
        // An extension alone replaces both sets; unknown kinds are ignored.
        {R"({"extensions":[" .PDF. ",""]})", [](SearchQuery &q) { q.filter.kinds = {}; q.filter.extensions = {u"pdf"_s}; }},
        {R"({"kinds":["spreadsheet","Video",7]})", [](SearchQuery &q) { q.filter.kinds = {FileKind::video}; }},
        // The inclusive end becomes the next day; "any" keeps the parser's field.
        {R"({"date_from":"2024-03-01","date_to":"2024-03-31","date_field":"any"})",
         [&](SearchQuery &q) { dates(q, startOfDay(2024, 3, 1), startOfDay(2024, 4, 1), u"Mar 1, 2024 – Mar 31, 2024"_s); }},
        {R"({"date_from":"2024-3-5","date_to":"2024-03-05","date_field":"opened"})",
         [&](SearchQuery &q) {
             dates(q, startOfDay(2024, 3, 5), startOfDay(2024, 3, 6), u"Mar 5, 2024"_s);
             q.filter.dateField = DateField::opened;
         }},
        {R"({"date_to":"2024-02-29"})", [&](SearchQuery &q) { dates(q, {}, startOfDay(2024, 3, 1), u"Before Mar 1, 2024"_s); }},
        {R"({"date_from":"2024-12-31","date_to":"soon"})",
         [&](SearchQuery &q) { dates(q, startOfDay(2024, 12, 31), {}, u"Since Dec 31, 2024"_s); }},
        // Only unknown kinds and sources and unreadable dates leave the parser's.
        {R"({"kinds":["spreadsheet"],"sources":["myspace"],"date_from":"2024-3","date_to":"soon","date_field":"created"})",
         [](SearchQuery &) {}},
        {R"({"min_bytes":0,"max_bytes":5000000})", [](SearchQuery &q) { q.filter.maxSize = 5'000'000; }},
        {R"({"sources":["gmail","myspace"," Slack "]})", [](SearchQuery &q) { q.filter.sources = {u"gmail"_s, u"slack"_s}; }},
        {R"({"kinds":["image"],"screenshots_only":true})",
         [](SearchQuery &q) { q.filter.kinds = {}; q.filter.screenshotsOnly = true; }},
        {R"({"summary":"  Flat lease\n"})", [](SearchQuery &q) { q.summary = u"Flat lease"_s; }},
        // Values of the wrong type read as empty.
        {R"({"keywords":"lease","min_bytes":"big","screenshots_only":"yes","summary":42,"date_from":20240301})",
         [](SearchQuery &) {}},
    };
    for (const auto &c : cases) {
        SearchQuery expected = local;
        c.expect(expected);
        EXPECT_EQ(local.merged(planFrom(c.plan), sydney), expected) << c.plan.toStdString();
    }
    // False never clears a screenshots flag the parser set; a blank summary
    // replaces the parser's with none.
    local.filter.screenshotsOnly = true;
    local.summary = u"old"_s;
    const SearchQuery merged = local.merged(planFrom(R"({"screenshots_only":false,"summary":" "})"), sydney);
    EXPECT_TRUE(merged.filter.screenshotsOnly && !merged.summary);
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
    EXPECT_FALSE(system.contains(u"Mac"_s));
    const JSONValue schema = json["output_config"]["format"]["schema"].value();
    EXPECT_EQ(schema["required"].value().arrayItems().size(), 12);
    EXPECT_EQ(schema["properties"]["sources"]["items"]["enum"].value().arrayItems().size(), KnownSource::all().size());
    EXPECT_EQ(schema["properties"]["kinds"]["items"]["enum"].value(),
              JSONValue::strings({u"image"_s, u"video"_s, u"audio"_s, u"document"_s, u"archive"_s, u"app"_s}));
}

// The rerank request: one line a candidate with the facts the file has.
TEST(SearchReranker, ShowsEachCandidateOnOneLine)
{
    const auto noon = [](int day) { return double(QDateTime(QDate(2024, 3, day), QTime(12, 0)).toSecsSinceEpoch()); };
    const FileHit lease{.file = {.id = 7, .path = QDir::homePath() + u"/Housing/lease.pdf"_s, .name = u"lease.pdf"_s,
                         .ext = u"pdf"_s, .kind = FileKind::document, .size = 2400, .modified = noon(1),
                         .added = noon(2), .sourceID = u"gmail"_s},
                        .snippet = u"The ⟦lease⟧ for\nthe flat"_s};
    const FileHit readme{.file = {.id = 9, .path = u"/srv/README"_s, .name = u"README"_s, .size = 1,
                          .sourceID = u"web:files.example"_s, .textExcerpt = QString(300, u'x')}};
    const FileHit odd{.file = {.id = 10, .path = u"/library/odd.bin"_s, .name = u"odd.bin"_s, .ext = u"bin"_s,
                       .sourceID = u"pigeon"_s}};
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
    const QList<FileHit> hits{{.file = {.id = 7}}, {.file = {.id = 9}}, {.file = {.id = 10}}};
    const struct { const char *name; QList<FakeReply> replies; QList<RankedMatch> matches = {};
                   std::optional<ClaudeError::Kind> error = std::nullopt; } cases[] = {
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
