// The search model on a library in memory and the fake Messages API: its
// timers are driven by hand, so no test waits for a debounce to run out.
#include "search/SearchModel.h"
#include "search/LocalQueryParser.h"
#include "search/SearchEngine.h"
#include "claude/ClaudeClient.h"
#include "core/AppSettings.h"
#include "core/Defaults.h"
#include "support/FakeClaudeServer.h"
#include "support/LibraryBuilder.h"
#include "support/TestEnvironment.h"

#include <QTimer>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using Phase = SearchModel::Phase;

namespace {

QStringList names(const QList<FileHit> &hits)
{
    QStringList out;
    for (const FileHit &hit : hits)
        out.append(hit.file.name);
    return out;
}

QStringList sorted(QStringList list)
{
    list.sort();
    return list;
}

class SearchModelTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ids = LibraryBuilder::add(*store, {
            {u"/library/Housing/lease-2024.pdf"_s, FileKind::document, 2400, 300, u"The lease agreement for the flat."_s},
            {u"/library/Shared/notes.txt"_s, FileKind::document, 300, 200, u"Shopping list. The lease came up once."_s},
            {u"/library/Housing/rules.txt"_s, FileKind::document, 500, 100, u"Tenancy rules of the building."_s},
            {u"/library/Videos/holiday.mp4"_s, FileKind::video, 9000, 400, {}},
        });
        model = std::make_unique<SearchModel>(engine, client, settings, [this] { return hasKey; });
    }

    void TearDown() override
    {
        model.reset();
        Tasks::waitForIdle();
    }

    // Fires a pending debounce now, as if its time had run out.
    static void fire(Debouncer *delay)
    {
        ASSERT_TRUE(delay->isPending());
        auto *timer = delay->findChild<QTimer *>();
        timer->stop();
        QMetaObject::invokeMethod(timer, "timeout");
    }
    Debouncer *localDelay() const { return model->findChild<Debouncer *>(u"localSearchDelay"_s); }
    Debouncer *claudeDelay() const { return model->findChild<Debouncer *>(u"claudeStepDelay"_s); }

    // Types the text and lets the local search run.
    void typeAndSearch(const QString &text)
    {
        model->setText(text);
        fire(localDelay());
        ASSERT_TRUE(waitFor(Phase::done)) << text.toStdString();
    }
    // What the local search alone finds for the text.
    QStringList localNames(const QString &text) const
    {
        return names(engine.search(LocalQueryParser().parse(text), SearchModel::resultLimit));
    }
    bool waitFor(Phase phase) const
    {
        return TestEnvironment::waitUntil([&] { return model->phase() == phase; });
    }
    QString lastMessage() const
    {
        const JSONValue json = server.requests().last().json();
        return json["messages"].value().arrayItems().value(0)["content"].stringValue().value_or(QString());
    }

    static FakeReply plan(const char *json) { return FakeReply::message(QString::fromUtf8(json)); }
    FakeReply picks(const QList<std::pair<int, double>> &picked) const
    {
        QStringList entries;
        for (const auto &[index, relevance] : picked)
            entries.append(u"{\"id\":%1,\"relevance\":%2,\"reason\":\"reason %1\"}"_s.arg(ids.value(index, 999)).arg(relevance));
        return FakeReply::message(u"{\"matches\":["_s + entries.join(u',') + u"]}"_s);
    }

    std::unique_ptr<IndexStore> store = IndexStore::openInMemory();
    SearchEngine engine{*store};
    FakeClaudeServer server;
    ClaudeClient client{[] { return std::optional<QString>(u"sk-test"_s); }, server.clientOptions()};
    Defaults defaults{TestEnvironment::makeFolder(u"search-model"_s) + u"/settings.json"_s};
    AppSettings settings{defaults};
    bool hasKey = true;
    QList<qint64> ids;
    std::unique_ptr<SearchModel> model;
};

const char *const leasePlan = R"({"keywords":["lease"],"related_terms":["tenancy"],"summary":"Flat lease"})";

} // namespace

// Every change waits 0.12 s for the local search; the Claude step waits
// 1.1 s, and only for three words or more with words left, a key, and
// search by Claude turned on.
TEST_F(SearchModelTest, StartsTheClaudeStepOnlyUnderItsConditions)
{
    const struct
    {
        QString text;
        bool key;
        bool aiSearch;
        bool automatic;
    } cases[] = {
        {u"lease"_s, true, true, false},
        {u"contract from last year"_s, true, true, true},
        {u"contract   from\nlast year "_s, true, true, true},
        {u"contract from last year"_s, false, true, false},
        {u"contract from last year"_s, true, false, false},
        {u"videos from last month"_s, true, true, false},
    };
    for (const auto &c : cases) {
        hasKey = c.key;
        settings.setAiSearchEnabled(c.aiSearch);
        model->setText(c.text);
        EXPECT_EQ(model->phase(), Phase::searching);
        EXPECT_TRUE(localDelay()->isPending() && localDelay()->interval() == 120);
        EXPECT_EQ(claudeDelay()->isPending(), c.automatic) << c.text.toStdString();
        EXPECT_EQ(claudeDelay()->interval(), 1100);
        model->setText(QString());
        EXPECT_FALSE(localDelay()->isPending() || claudeDelay()->isPending());
        EXPECT_EQ(model->phase(), Phase::idle);
    }
    EXPECT_EQ(server.requestCount(), 0);
}

// The pause runs the whole step: the local results first, then the plan
// merged into the query, the candidates, and the picks ahead of the rest.
// A keystroke before the pause ends restarts it with the newer text.
TEST_F(SearchModelTest, PlansRanksAndOverlaysThePicks)
{
    server.enqueue(plan(leasePlan));
    server.enqueue(picks({{2, 0.8}, {0, 0.35}, {1, 0.34}, {9, 1.0}}));
    model->setText(u"the lease agreement"_s);
    model->setText(u"the lease agreements"_s);
    fire(localDelay());
    ASSERT_TRUE(waitFor(Phase::done));
    EXPECT_EQ(names(model->results()), localNames(u"the lease agreements"_s));
    EXPECT_EQ(server.requestCount(), 0);

    fire(claudeDelay());
    EXPECT_EQ(model->phase(), Phase::understanding);
    ASSERT_TRUE(TestEnvironment::waitUntil([&] { return model->phase() == Phase::done && server.requestCount() == 2; }))
        << model->failureText().toStdString();
    EXPECT_TRUE(server.requests().first().body.contains(R"(Request: the lease agreements")"));
    EXPECT_TRUE(lastMessage().startsWith(u"Looking for: the lease agreements\nInterpreted as: Flat lease\n\nCandidates:\n"_s));
    EXPECT_EQ(lastMessage().count(u'\n'), 6) << "three candidate lines";

    EXPECT_TRUE(model->aiAnswered());
    EXPECT_EQ(model->summary(), u"Flat lease"_s);
    EXPECT_EQ(model->query().relatedTerms, QStringList{u"tenancy"_s});
    EXPECT_EQ(names(model->ranked()), (QStringList{u"rules.txt"_s, u"lease-2024.pdf"_s}));
    EXPECT_EQ(model->ranked().at(0).reason, u"reason %1"_s.arg(ids.at(2)));
    EXPECT_DOUBLE_EQ(model->ranked().at(1).score, 0.35);
    EXPECT_EQ(names(model->otherResults()), QStringList{u"notes.txt"_s});

    // Return on the answered text costs nothing.
    model->submit();
    EXPECT_EQ(model->phase(), Phase::done);
    EXPECT_EQ(server.requestCount(), 2);

    // Dropping the keyword clears the picks and searches again locally at
    // once; the text stays. Related terms alone find nothing.
    const QList<FilterChip> chips = model->chips();
    ASSERT_EQ(chips.size(), 1);
    model->remove(chips.first());
    EXPECT_TRUE(model->ranked().isEmpty());
    EXPECT_FALSE(model->aiAnswered());
    EXPECT_EQ(model->phase(), Phase::searching);
    EXPECT_EQ(model->query().keywords, QStringList());
    EXPECT_EQ(model->query().relatedTerms, QStringList{u"tenancy"_s});
    ASSERT_TRUE(waitFor(Phase::done));
    EXPECT_TRUE(model->results().isEmpty());
    EXPECT_EQ(model->text(), u"the lease agreements"_s);
}

// A failed Claude call never hides what is on screen: the local results or
// the candidates stay, with the error's own words. Return tries again.
TEST_F(SearchModelTest, KeepsResultsWhenClaudeFails)
{
    const FakeReply refused = FakeReply::error(400, "invalid_request_error", u"bad request"_s);
    const struct
    {
        const char *name;
        QList<FakeReply> replies;
        QString failure;
        bool candidatesIn = false;
    } cases[] = {
        {"the plan fails", {refused}, u"Claude error 400: bad request"_s},
        {"the plan is no JSON", {FakeReply::message(u"Sure! Here is a plan."_s)}, u"Unexpected response from Claude"_s},
        {"the rerank fails", {plan(leasePlan), refused}, u"Claude error 400: bad request"_s, true},
    };
    const QStringList local = localNames(u"the lease agreement"_s);
    for (const auto &c : cases) {
        for (const FakeReply &reply : c.replies)
            server.enqueue(reply);
        const int before = server.requestCount();
        typeAndSearch(u"the lease agreement"_s);
        model->submit();
        ASSERT_TRUE(waitFor(Phase::failed)) << c.name;
        EXPECT_TRUE(model->failureText().startsWith(c.failure)) << c.name << ": " << model->failureText().toStdString();
        EXPECT_EQ(server.requestCount() - before, c.replies.size()) << c.name;
        EXPECT_TRUE(model->ranked().isEmpty()) << c.name;
        if (c.candidatesIn) {
            // The merged query and its candidates stay; they answered the
            // text, so Return does not ask again.
            EXPECT_EQ(sorted(names(model->results())), (QStringList{u"lease-2024.pdf"_s, u"notes.txt"_s, u"rules.txt"_s}));
            EXPECT_EQ(model->summary(), u"Flat lease"_s);
            model->submit();
            EXPECT_EQ(model->phase(), Phase::failed);
            EXPECT_EQ(server.requestCount() - before, c.replies.size());
        } else {
            EXPECT_EQ(names(model->results()), local) << c.name;
            EXPECT_FALSE(model->aiAnswered()) << c.name;
            // Not answered, so Return asks again.
            server.enqueue(plan(R"({"keywords":["lease"]})"));
            server.enqueue(picks({}));
            model->submit();
            ASSERT_TRUE(waitFor(Phase::done)) << c.name;
            EXPECT_EQ(server.requestCount() - before, c.replies.size() + 2) << c.name;
        }
        model->setText(QString());
    }
}

// Overloaded, then answered: the client's retry carries the step through.
TEST_F(SearchModelTest, RetriesAnOverloadedPlanAndSkipsTheRerankWhenItIsOff)
{
    settings.setAiRerankEnabled(false);
    server.enqueue(FakeReply::error(529, "overloaded_error", u"Overloaded"_s));
    server.enqueue(plan(R"({"keywords":["tenancy"],"kinds":["document"]})"));
    typeAndSearch(u"where are the rules"_s);
    model->submit();
    ASSERT_TRUE(waitFor(Phase::done));
    EXPECT_EQ(server.requestCount(), 2);
    EXPECT_TRUE(model->aiAnswered());
    EXPECT_TRUE(model->ranked().isEmpty());
    // One from the plan, and what the typed words find (nothing new).
    EXPECT_EQ(names(model->results()), QStringList{u"rules.txt"_s});
    EXPECT_EQ(model->chips().first().label, u"Documents"_s);
}

// Without a key, Return says so for requests of three words or more and
// keeps quiet for shorter ones; the pause never asks.
TEST_F(SearchModelTest, SaysAKeyIsMissingOnlyForLongerRequests)
{
    hasKey = false;
    typeAndSearch(u"lease"_s);
    model->submit();
    EXPECT_EQ(model->phase(), Phase::done);
    typeAndSearch(u"the lease agreement"_s);
    EXPECT_FALSE(claudeDelay()->isPending());
    model->submit();
    EXPECT_EQ(model->phase(), Phase::failed);
    EXPECT_EQ(model->failureText(), ClaudeError::missingAPIKey().description());
    EXPECT_EQ(names(model->results()), localNames(u"the lease agreement"_s));
    EXPECT_EQ(server.requestCount(), 0);
}

// Typing during a Claude step cancels it: its late answer never lands, and
// clearing the field leaves nothing running.
TEST_F(SearchModelTest, DropsAStepThatTypingOvertook)
{
    FakeReply slow = plan(leasePlan);
    slow.delayBeforeMs = 150;
    server.enqueue(slow);
    server.enqueue(slow);
    typeAndSearch(u"the lease agreement"_s);
    model->submit();
    ASSERT_TRUE(TestEnvironment::waitUntil([&] { return server.requestCount() == 1; }));
    model->setText(u"lease"_s);
    EXPECT_EQ(model->phase(), Phase::searching);
    fire(localDelay());
    ASSERT_TRUE(waitFor(Phase::done));

    model->setText(u"the lease agreement"_s);
    model->submit();
    EXPECT_EQ(model->phase(), Phase::understanding);
    ASSERT_TRUE(TestEnvironment::waitUntil([&] { return server.requestCount() == 2; }));
    model->setText(QString());
    EXPECT_EQ(model->phase(), Phase::idle);

    // Long enough for both answers to have come back.
    EXPECT_FALSE(TestEnvironment::waitUntil([&] { return model->phase() != Phase::idle || model->aiAnswered(); }, 500));
    EXPECT_TRUE(model->results().isEmpty());
    EXPECT_EQ(model->query(), SearchQuery());
    EXPECT_EQ(server.requestCount(), 2);
}
