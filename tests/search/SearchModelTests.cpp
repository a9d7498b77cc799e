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

#include <QTemporaryDir>
#include <QCoreApplication>
#include <QTimer>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using Phase = SearchModel::Phase;

namespace {

// The names of the files, sorted.
QStringList names(const QList<FileHit> &hits)
{
    QStringList out;
    for (const FileHit &hit : hits)
        out.append(hit.file.name);
    out.sort();
    return out;
}

// Fires a pending debounce now, as if its time had run out.
void fire(Debouncer *delay)
{
    ASSERT_TRUE(delay->isPending());
    auto *timer = delay->findChild<QTimer *>();
    timer->stop();
    QMetaObject::invokeMethod(timer, "timeout");
}

FakeReply plan(const char *json) { return FakeReply::message(QString::fromUtf8(json)); }

const char *const leasePlan = R"({"keywords":["lease"],"related_terms":["tenancy"],"summary":"Flat lease"})";

class SearchModelTest : public ::testing::Test
{
protected:
    void TearDown() override
    {
        model.reset();
        Tasks::waitForIdle();
    }

    Debouncer *localDelay() const { return model->findChild<Debouncer *>(u"localSearchDelay"_s); }
    Debouncer *localStart() const { return model->findChild<Debouncer *>(u"localSearchStart"_s); }
    Debouncer *claudeDelay() const { return model->findChild<Debouncer *>(u"claudeStepDelay"_s); }
    bool waitFor(Phase phase) const
    {
        return TestEnvironment::waitUntil([&] { return model->phase() == phase; });
    }
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
    // Picks of the library's files by their place in it; 9 is no file.
    FakeReply picks(const QList<std::pair<int, double>> &picked) const
    {
        QStringList entries;
        for (const auto &[index, relevance] : picked)
            entries.append(u"{\"id\":%1,\"relevance\":%2,\"reason\":\"r%1\"}"_s.arg(ids.value(index, 999)).arg(relevance));
        return FakeReply::message(u"{\"matches\":["_s + entries.join(u',') + u"]}"_s);
    }

    std::unique_ptr<IndexStore> store = IndexStore::openInMemory();
    const QList<qint64> ids = LibraryBuilder::add(*store, {
        {u"/library/Housing/lease-2024.pdf"_s, FileKind::document, 2400, 300, u"The lease agreement for the flat."_s},
        {u"/library/Shared/notes.txt"_s, FileKind::document, 300, 200, u"Shopping list. The lease came up once."_s},
        {u"/library/Housing/rules.txt"_s, FileKind::document, 500, 100, u"Tenancy rules of the building."_s},
    });
    SearchEngine engine{*store};
    FakeClaudeServer server;
    ClaudeClient client{[] { return std::optional<QString>(u"sk-test"_s); }, server.clientOptions()};
    QTemporaryDir settingsFolder; // settings of the test's own, from the defaults on
    Defaults defaults{settingsFolder.path() + u"/settings.json"_s};
    AppSettings settings{defaults};
    bool hasKey = true;
    std::unique_ptr<SearchModel> model =
        std::make_unique<SearchModel>(engine, client, settings, [this] { return hasKey; });
};

} // namespace

// Every change waits 0.12 s for the local search; the Claude step waits
// 1.1 s, and only for three words or more with words left, a key, and
// search by Claude turned on. Without a key, Return says one is missing.
TEST_F(SearchModelTest, StartsTheClaudeStepOnlyUnderItsConditions)
{
    const struct { QString text; bool key; bool aiSearch; bool automatic; } cases[] = {
        {u"lease"_s, true, true, false},
        {u"contract from last year"_s, true, true, true},
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

    // Without a key, Return says so only for three words or more.
    hasKey = false;
    typeAndSearch(u"lease"_s);
    model->submit();
    EXPECT_EQ(model->phase(), Phase::done);
    typeAndSearch(u"the lease agreement"_s);
    model->submit();
    EXPECT_EQ(model->failureText(), ClaudeError::missingAPIKey().description());
    EXPECT_EQ(names(model->results()), localNames(u"the lease agreement"_s));
    EXPECT_EQ(server.requestCount(), 0);
}

// The pause runs the whole step: the local results first, then the plan
// merged into the query, the candidates, and the picks ahead of the rest.
// A keystroke before the pause ends restarts it with the newer text.
// The local search runs from halfway through the pause; what it finds shows
// when the pause ends, not before, and a keystroke in between drops it.
TEST_F(SearchModelTest, RunsTheLocalSearchEarlyAndShowsItWhenThePauseEnds)
{
    EXPECT_EQ(localStart()->interval(), 60);
    int upcoming = 0;
    QObject::connect(model.get(), &SearchModel::resultsUpcoming, [&] { ++upcoming; });
    model->setText(u"lease"_s);
    fire(localStart());
    Tasks::waitForIdle();
    QCoreApplication::processEvents();
    EXPECT_TRUE(model->results().isEmpty());
    EXPECT_EQ(model->phase(), Phase::searching);
    // Known before the pause ends, so that the screen can make them ready.
    EXPECT_EQ(upcoming, 1);
    EXPECT_EQ(names(model->upcomingResults()), localNames(u"lease"_s));
    fire(localDelay());
    EXPECT_EQ(names(model->results()), localNames(u"lease"_s)); // at once, without waiting on the engine
    EXPECT_EQ(model->phase(), Phase::done);
    EXPECT_TRUE(model->upcomingResults().isEmpty());

    // Overtaken: the early search of "tenancy" never shows.
    model->setText(u"tenancy"_s);
    fire(localStart());
    model->setText(u"shopping"_s);
    Tasks::waitForIdle();
    QCoreApplication::processEvents();
    fire(localDelay());
    ASSERT_TRUE(waitFor(Phase::done));
    EXPECT_EQ(names(model->results()), localNames(u"shopping"_s));
}

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
    ASSERT_TRUE(TestEnvironment::waitUntil([&] { return model->phase() == Phase::done && server.requestCount() == 2; }))
        << model->failureText().toStdString();
    EXPECT_TRUE(server.requests().first().body.contains(R"(Request: the lease agreements")"));
    EXPECT_TRUE(server.requests().last().body.contains(R"(Interpreted as: Flat lease\n\nCandidates:\n[)"));

    EXPECT_TRUE(model->aiAnswered() && model->summary() == u"Flat lease"_s);
    EXPECT_EQ(names(model->ranked()), (QStringList{u"lease-2024.pdf"_s, u"rules.txt"_s}));
    EXPECT_EQ(model->ranked().at(0).reason, u"r%1"_s.arg(ids.at(2))) << "Claude's order";
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
    EXPECT_TRUE(model->ranked().isEmpty() && !model->aiAnswered() && model->phase() == Phase::searching);
    EXPECT_EQ(model->query().keywords + model->query().relatedTerms, QStringList{u"tenancy"_s});
    ASSERT_TRUE(waitFor(Phase::done));
    EXPECT_TRUE(model->results().isEmpty() && model->text() == u"the lease agreements"_s);
}

// A failed Claude call never hides what is on screen: the local results or
// the candidates stay, with the error's own words.
TEST_F(SearchModelTest, KeepsResultsWhenClaudeFails)
{
    const FakeReply refused = FakeReply::error(400, "invalid_request_error", u"bad request"_s);
    server.enqueue(refused);
    typeAndSearch(u"the lease agreement"_s);
    const QStringList local = names(model->results());
    model->submit();
    ASSERT_TRUE(waitFor(Phase::failed));
    EXPECT_EQ(model->failureText(), u"Claude error 400: bad request"_s);
    EXPECT_TRUE(names(model->results()) == local && !model->aiAnswered());

    // Not answered, so Return asks again; now the rerank fails. The plan's
    // one file, topped up with what the typed words find, stays with the
    // merged query, and having answered the text, Return asks no more.
    server.enqueue(plan(R"({"keywords":["tenancy"],"summary":"Rules"})"));
    server.enqueue(refused);
    model->submit();
    ASSERT_TRUE(TestEnvironment::waitUntil([&] { return server.requestCount() == 3 && model->phase() == Phase::failed; }));
    EXPECT_TRUE(model->results().size() == local.size() + 1 && names(model->results()).contains(u"rules.txt"_s));
    EXPECT_TRUE(model->ranked().isEmpty() && model->aiAnswered() && model->summary() == u"Rules"_s);
    model->submit();
    EXPECT_EQ(model->phase(), Phase::failed);
    EXPECT_EQ(server.requestCount(), 3);
}

// Typing during a Claude step cancels it, and clearing the field leaves
// nothing running: the late answers never land.
TEST_F(SearchModelTest, DropsAStepThatTypingOvertook)
{
    FakeReply slow = plan(leasePlan);
    slow.delayBeforeMs = 150;
    server.enqueue(slow, 2);
    for (const QString &next : {u"lease"_s, QString()}) {
        typeAndSearch(u"the lease agreement"_s);
        const int before = server.requestCount();
        model->submit();
        EXPECT_EQ(model->phase(), Phase::understanding);
        ASSERT_TRUE(TestEnvironment::waitUntil([&] { return server.requestCount() == before + 1; }));
        model->setText(next);
        EXPECT_EQ(model->phase(), next.isEmpty() ? Phase::idle : Phase::searching);
    }
    // Long enough for both answers to have come back.
    EXPECT_FALSE(TestEnvironment::waitUntil([&] { return model->phase() != Phase::idle || model->aiAnswered(); }, 400));
    EXPECT_TRUE(model->results().isEmpty() && model->query() == SearchQuery());
    EXPECT_EQ(server.requestCount(), 2);
}
