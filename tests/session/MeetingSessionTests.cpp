// The open meeting on a library in memory, Claude played by the fake Messages
// API server and segments fed straight in as the recorder would: questions
// answered one at a time, the debounced save, the notes and their failures.
#include "ask/AskLibrary.h"
#include "claude/ClaudeClient.h"
#include "core/AppSettings.h"
#include "core/Defaults.h"
#include "session/RecorderLink.h"
#include "support/FakeAudioSource.h"
#include "support/FakeClaudeServer.h"
#include "support/TestEnvironment.h"

#include <QTemporaryDir>
#include <QTimer>

#include <gtest/gtest.h>

namespace {

const char *const mayAnswer = R"({"answerable":true,"answer":"In May.","sources":[1]})";

// Notes with one bullet of each origin.
FakeReply notesReply(const QString &title, const QString &userBullet, const QString &aiBullet)
{
    const QString json = uR"({"title":"%1","summary":"Short.","sections":[{"heading":"Lease","bullets":[)"
                         uR"({"text":"%2","origin":"user"},{"text":"%3","origin":"ai"}]}],"decisions":[],)"
                         uR"("action_items":[{"task":"Pay","owner":"You","due":""}]})"_s.arg(title, userBullet, aiBullet);
    return FakeReply::streamedMessage({json.left(40), json.mid(40)});
}

struct SessionTest : ::testing::Test
{
    AskLibrary library;
    FakeClaudeServer server;
    ClaudeClient client{[] { return std::optional<QString>(u"sk-test"_s); }, server.clientOptions()};
    QTemporaryDir settingsFolder;
    Defaults defaults{settingsFolder.path() + u"/settings.json"_s};
    AppSettings settings{defaults};
    bool hasKey = true;
    MeetingsModel model{library.store, client, settings, [this] { return hasKey; }};
    QString id = model.newMeeting().value_or(QString());
    MeetingSession *session = model.session();

    void TearDown() override { Tasks::waitForIdle(); }

    void hear(const QString &text, Speaker speaker = Speaker::them)
    {
        model.route({0, id, speaker, double(session->segments().size()), double(session->segments().size()) + 1, text});
    }
    bool settled() const
    {
        return TestEnvironment::waitUntil([&] { return !session->answering() && !session->enhancing(); });
    }
    QList<QString> questionsSent() const
    {
        QList<QString> questions;
        for (const RecordedRequest &request : server.requests())
            questions.append(request.firstMessageText().section(u'\n', 0, 0));
        return questions;
    }
    qint64 changes() const { return library.db->scalar(u"SELECT total_changes()"_s).intValue().value_or(-1); }
};

} // namespace

// The latest question of a segment is taken; small talk, repeats (more than
// three words shared) and segments of other meetings are not; the rest wait
// their turn and are answered in the order asked, a failure in between
// showing nothing and holding up nothing.
TEST_F(SessionTest, AnswersSpottedQuestionsOneAtATimeInOrder)
{
    ASSERT_TRUE(session && session->meetingID() == id);
    FakeReply slow = FakeReply::message(QString::fromUtf8(mayAnswer));
    slow.delayBeforeMs = 200;
    server.enqueue(slow);
    server.enqueue(FakeReply::error(400, "invalid_request_error", u"bad"_s));
    server.enqueue(FakeReply::message(QString::fromUtf8(mayAnswer)));

    hear(u"What is the refund? When is the lease deposit due?"_s);
    EXPECT_EQ(session->answering(), u"When is the lease deposit due?"_s);
    hear(u"Can everyone see my screen? Sounds good."_s, Speaker::me);
    hear(u"when is the lease deposit due"_s, Speaker::me); // the other side's echo
    hear(u"Which invoices cover the refund?"_s);
    model.route({0, u"m1"_s, Speaker::them, 0, 1, u"Where is the deposit kept?"_s});
    hear(u"Where is the deposit receipt stored?"_s);
    EXPECT_EQ(session->questionQueue(),
              QStringList({u"Which invoices cover the refund?"_s, u"Where is the deposit receipt stored?"_s}));
    EXPECT_EQ(session->segments().size(), 5);

    ASSERT_TRUE(settled());
    EXPECT_EQ(questionsSent(), QList<QString>({u"Question: When is the lease deposit due?"_s,
                                              u"Question: Which invoices cover the refund?"_s,
                                              u"Question: Where is the deposit receipt stored?"_s}));
    ASSERT_EQ(session->answers().size(), 2);
    EXPECT_EQ(session->answers().at(1).question, u"Where is the deposit receipt stored?"_s);
    EXPECT_EQ(library.meetings.liveAnswers(id), session->answers());
}

// Twelve questions are remembered: the thirteenth pushes the oldest out, which
// may then be asked again. Questions the library has nothing for never reach
// Claude.
TEST_F(SessionTest, RemembersTheLastTwelveQuestions)
{
    QStringList taken;
    QObject::connect(session, &MeetingSession::questionTaken, [&](const QString &question) { taken.append(question); });
    for (int i = 1; i <= 13; ++i)
        hear(u"What about topic%1 now?"_s.arg(i));
    hear(u"What about topic13 now?"_s);
    hear(u"What about topic1 now?"_s);
    EXPECT_EQ(taken.size(), 14);
    EXPECT_EQ(taken.last(), u"What about topic1 now?"_s);
    EXPECT_TRUE(settled());
    EXPECT_EQ(server.requestCount(), 0);
}

TEST_F(SessionTest, TakesNoQuestionsWithoutLiveAnswersOrAKey)
{
    for (const bool enabled : {false, true}) {
        settings.setLiveAnswersEnabled(enabled);
        hasKey = !enabled;
        hear(u"When is the lease deposit due?"_s);
    }
    EXPECT_EQ(session->segments().size(), 2);
    EXPECT_FALSE(session->answering());
    EXPECT_EQ(server.requestCount(), 0);
}

// A burst of typing and a stream of segments make one write, 0.6 s after the
// last keystroke; the list shows the new title at once.
TEST_F(SessionTest, SavesABurstOfChangesOnce)
{
    settings.setLiveAnswersEnabled(false);
    const qint64 before = changes();
    for (int i = 0; i < 20; ++i) {
        session->setTitle(u"Lease review "_s + QString::number(i));
        session->setUserNotes(u"- deposit "_s + QString::number(i));
        hear(u"We should talk about the deposit."_s);
    }
    auto *delay = session->findChild<Debouncer *>(u"saveDelay"_s);
    ASSERT_TRUE(delay->isPending());
    EXPECT_EQ(delay->interval(), 600);
    EXPECT_EQ(changes(), before);
    delay->findChild<QTimer *>()->stop();
    QMetaObject::invokeMethod(delay->findChild<QTimer *>(), "timeout");
    EXPECT_EQ(changes(), before + 1);
    EXPECT_EQ(library.meetings.meeting(id)->title, u"Lease review 19"_s);
    EXPECT_EQ(model.meetings().first().title, u"Lease review 19"_s);
}

// Fresh notes replace Claude's old ones whole and leave the user's own notes
// as typed; a failure of any kind keeps the old notes and says what went wrong.
TEST_F(SessionTest, NotesReplaceClaudesLinesAndKeepTheUsersOnAnyFailure)
{
    FakeReply cut = notesReply(u"Cut"_s, u"x"_s, u"y"_s);
    cut.chunks = cut.chunks.mid(0, 3);
    cut.cutAfterChunks = true;
    const struct { QString title; QList<FakeReply> replies; QString bullets; QString error; } cases[] = {
        {u"  "_s, {notesReply(u"Lease review"_s, u"Deposit due May 1"_s, u"Landlord agreed"_s)},
         u"Deposit due May 1 (user), Landlord agreed (ai)"_s, {}},
        {u"Mine"_s, {notesReply(u"Other"_s, u"Deposit due May 1"_s, u"Keys on Friday"_s)},
         u"Deposit due May 1 (user), Keys on Friday (ai)"_s, {}},
        {u"Mine"_s, {FakeReply::streamedMessage({uR"({"title":"T","summary":"S"})"_s})},
         u"Deposit due May 1 (user), Keys on Friday (ai)"_s, u"couldn't decode EnhancedNotes"_s},
        {u"Mine"_s, {cut}, u"Deposit due May 1 (user), Keys on Friday (ai)"_s, u"Claude"_s},
    };
    const QString userNotes = u"- deposit may\n- keys?"_s;
    session->setUserNotes(userNotes);
    hear(u"The deposit is due on the first of May."_s);
    for (const auto &c : cases) {
        for (const FakeReply &reply : c.replies)
            server.enqueue(reply);
        session->setTitle(c.title);
        session->enhance();
        session->enhance(); // pressed twice, runs once
        ASSERT_TRUE(settled());
        const Meeting stored = *library.meetings.meeting(id);
        QStringList bullets;
        for (const auto &bullet : stored.enhanced->sections.value(0).bullets)
            bullets.append(bullet.text + u" ("_s + bullet.origin + u")"_s);
        EXPECT_EQ(bullets.join(u", "_s), c.bullets) << qPrintable(c.title);
        EXPECT_EQ(stored.userNotes, userNotes);
        EXPECT_EQ(stored.title, c.title == u"  "_s ? u"Lease review"_s : c.title);
        EXPECT_TRUE(session->enhanceErrorText().contains(c.error)) << qPrintable(session->enhanceErrorText());
        EXPECT_EQ(session->enhanceError().has_value(), !c.error.isEmpty());
    }
    EXPECT_EQ(server.requestCount(), 4);
    const QString sent = server.requests().value(0).firstMessageText();
    EXPECT_TRUE(sent.startsWith(u"Meeting title: (none yet)\nDate: "_s)) << qPrintable(sent);
    EXPECT_TRUE(sent.endsWith(u"<my_notes>\n- deposit may\n- keys?\n</my_notes>\n\n<transcript>\n[00:00] Them: The deposit is "
                              u"due on the first of May.\n</transcript>"_s)) << qPrintable(sent);
    EXPECT_GT(library.passageCount(u"note"_s, id), 0);
}

TEST_F(SessionTest, AMeetingDeletedWhileItsNotesAreWrittenStaysDeleted)
{
    FakeReply slow = notesReply(u"Late"_s, u"a"_s, u"b"_s);
    slow.delayBeforeMs = 300;
    server.enqueue(slow);
    session->setUserNotes(u"- deposit"_s);
    session->enhance();
    library.meetings.deleteMeeting(id);
    ASSERT_TRUE(settled());
    EXPECT_TRUE(session->enhanceErrorText().contains(u"deleted while its notes were being written"_s));
    EXPECT_FALSE(library.meetings.meeting(id));
    EXPECT_EQ(library.passageCount(u"note"_s, id), 0);
}

// A recorder that does at once what it is told.
struct FakeRecorder : MeetingsModel::Recorder
{
    MeetingsModel *model = nullptr;
    const QDateTime began = QDateTime::fromSecsSinceEpoch(1772539200);
    void start(const QString &id, const QLocale &, std::function<void()> done) override
    {
        model->setRecorderStatus({id, MeetingsModel::RecorderState::recording, began});
        done();
    }
    void stop(std::function<void()> done) override
    {
        model->setRecorderStatus({model->recorderStatus().meetingID, MeetingsModel::RecorderState::idle, {}});
        done();
    }
};

// The first recording sets the start, a later one keeps it; nothing said and
// nothing typed asks Claude for nothing; a meeting no longer open is
// finished through a session of its own; the meeting the recorder holds
// can't be deleted.
TEST_F(SessionTest, RecordsAndFinishesMeetingsOpenOrNot)
{
    auto recorder = std::make_shared<FakeRecorder>();
    recorder->model = &model;
    model.setRecorder(recorder);
    model.startRecording();
    EXPECT_TRUE(session->isRecording());
    EXPECT_EQ(session->tab(), MeetingSession::Tab::transcript);
    model.stopRecording();
    EXPECT_FALSE(session->isRecording());
    EXPECT_EQ(library.meetings.meeting(id)->started, recorder->began);
    EXPECT_TRUE(library.meetings.meeting(id)->ended);
    EXPECT_EQ(server.requestCount(), 0);
    model.deleteMeeting(id);
    EXPECT_TRUE(library.meetings.meeting(id));

    server.enqueue(notesReply(u"Deposit call"_s, u"a"_s, u"b"_s));
    const QDateTime started = library.meetings.meeting(u"m1"_s)->started;
    model.select(u"m1"_s);
    model.startRecording();
    model.select(id);
    model.stopRecording();
    EXPECT_EQ(library.meetings.meeting(u"m1"_s)->started, started);
    ASSERT_TRUE(TestEnvironment::waitUntil([&] {
        return std::any_of(model.meetings().cbegin(), model.meetings().cend(),
                           [](const Meeting &meeting) { return meeting.title == u"Deposit call"_s; });
    }));
    EXPECT_EQ(model.session()->meetingID(), id);
}

// A real recorder on fake sources and the fake engine (its text is how long
// it heard), through the link, as everyone listening to the recorder sees
// it: a recording from start to stop, a stop while still getting ready, a
// start that gave up. The meeting is finished once, with notes only when
// there is a key.
TEST_F(SessionTest, FollowsARealRecorderThroughTheLink)
{
    using S = MeetingsModel::RecorderState;
    enum class Stop { whileRecording, whilePreparing, never };
    const struct { bool engineFails; Stop stop; bool key; std::vector<S> states; qsizetype segments; bool ended, notes; } cases[] = {
        {false, Stop::whileRecording, true, {S::preparing, S::recording, S::stopping, S::idle}, 1, true, true},
        {false, Stop::whileRecording, false, {S::preparing, S::recording, S::stopping, S::idle}, 1, true, false},
        {false, Stop::whilePreparing, true, {S::preparing, S::recording, S::stopping, S::idle}, 0, true, false},
        {true, Stop::never, true, {S::preparing, S::idle}, 0, false, false},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(int(&c - cases));
        hasKey = c.key;
        if (c.notes)
            server.enqueue(notesReply(u"Deposit call"_s, u"a"_s, u"b"_s));
        const int requestsBefore = server.requestCount();
        id = model.newMeeting().value_or(QString());
        session = model.session();
        std::atomic<FakeAudioSource *> call{nullptr};
        MeetingRecorder::Parts parts = MeetingRecorder::Parts::onThisComputer();
        parts.loadEngine = [&c]() -> std::shared_ptr<const SpeechEngine> {
            if (c.engineFails)
                throw SpeechEngineError(u"The speech model is damaged."_s);
            return std::make_shared<FakeSpeechEngine>();
        };
        parts.openSource = [&call](Speaker speaker) {
            auto source = std::make_unique<FakeAudioSource>();
            if (speaker == Speaker::them)
                call = source.get();
            return source;
        };
        parts.clock = [] { return qint64(0); };
        MeetingRecorder recorder(library.meetings, parts);
        const auto link = std::make_shared<RecorderLink>(recorder, model);
        model.setRecorder(link);
        std::vector<S> states;
        QList<TranscriptSegment> heard;
        link->setOnSegment([&heard](const TranscriptSegment &segment) { heard.append(segment); });
        QObject::connect(&recorder, &MeetingRecorder::stateChanged, [&] {
            EXPECT_EQ(model.recorderStatus().state, RecorderLink::stateOf(recorder.state()));
            if (states.empty() || states.back() != model.recorderStatus().state)
                states.push_back(model.recorderStatus().state);
        });

        model.startRecording();
        EXPECT_TRUE(session->isRecording());
        if (c.stop == Stop::whilePreparing)
            model.stopRecording();
        ASSERT_TRUE(TestEnvironment::waitUntil([&] { return recorder.state() != MeetingRecorder::State::preparing; }));
        if (c.stop == Stop::whileRecording) {
            EXPECT_EQ(model.recorderStatus().meetingID, id);
            EXPECT_LT(std::abs(library.meetings.meeting(id)->started.msecsTo(recorder.startedAt())), 1000);
            call.load()->play(FakeAudio().silence(0.3).speech(1.2).silence(0.3));
            model.stopRecording();
        }
        ASSERT_TRUE(TestEnvironment::waitUntil([&] { return recorder.state() == MeetingRecorder::State::idle && settled(); }, 10000));
        model.stopRecording(); // with the recorder idle: finishes nothing again
        ASSERT_TRUE(settled());

        EXPECT_EQ(states, c.states);
        EXPECT_EQ(recorder.warning(), c.engineFails ? u"The speech model is damaged."_s : QString());
        ASSERT_EQ(session->segments().size(), c.segments);
        EXPECT_EQ(heard, session->segments());
        EXPECT_EQ(library.meetings.segments(id), session->segments());
        if (c.segments) {
            EXPECT_GE(session->segments().first().text.toDouble(), 1.2);
        }
        const Meeting meeting = library.meetings.meeting(id).value_or(Meeting());
        EXPECT_EQ(meeting.ended.has_value(), c.ended);
        EXPECT_EQ(meeting.title, c.notes ? u"Deposit call"_s : QString());
        EXPECT_EQ(server.requestCount() - requestsBefore, c.notes ? 1 : 0);
        EXPECT_EQ(library.passageCount(u"transcript"_s, id) > 0, c.segments > 0);
        Tasks::waitForIdle();
    }
}
