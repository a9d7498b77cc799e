// The meetings driving a real recorder through the link: fake audio sources,
// the fake speech engine (its text is the length of what it heard) and the
// fake Messages API server for the notes at the end.
#include "claude/ClaudeClient.h"
#include "core/AppSettings.h"
#include "core/Defaults.h"
#include "meetings/MeetingStore.h"
#include "session/RecorderLink.h"
#include "support/FakeAudioSource.h"
#include "support/FakeClaudeServer.h"
#include "support/TestEnvironment.h"
#include "support/TestLibrary.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QString stateName(MeetingsModel::RecorderState state)
{
    switch (state) {
    case MeetingsModel::RecorderState::idle: return u"idle"_s;
    case MeetingsModel::RecorderState::preparing: return u"preparing"_s;
    case MeetingsModel::RecorderState::recording: return u"recording"_s;
    case MeetingsModel::RecorderState::stopping: break;
    }
    return u"stopping"_s;
}

const QString notes = uR"({"title":"Deposit call","summary":"Short.","sections":[],"decisions":[],"action_items":[]})"_s;

} // namespace

// What the meetings see of the recorder, step by step, as everyone else
// listening to the recorder sees it: a recording from start to stop, a stop
// pressed while the recorder was still getting ready, and a start that gave
// up. The meeting is finished once, with its notes only when there is a key.
TEST(RecorderLink, TheMeetingsFollowTheRecorderFromStartToFinish)
{
    enum class Stop { whileRecording, whilePreparing, never };
    const struct { const char *name; bool engineFails; Stop stop; bool hasKey; QString states; int segments; bool ended; bool notes; } cases[] = {
        {"with a key", false, Stop::whileRecording, true, u"preparing recording stopping idle"_s, 1, true, true},
        {"without a key", false, Stop::whileRecording, false, u"preparing recording stopping idle"_s, 1, true, false},
        {"stop while preparing", false, Stop::whilePreparing, true, u"preparing recording stopping idle"_s, 0, true, false},
        {"engine fails", true, Stop::never, true, u"preparing idle"_s, 0, false, false},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        TestLibrary library;
        FakeClaudeServer server;
        server.enqueue(FakeReply::streamedMessage({notes.left(30), notes.mid(30)}));
        const ClaudeClient client([] { return std::optional<QString>(u"sk-test"_s); }, server.clientOptions());
        QTemporaryDir settingsFolder;
        Defaults defaults(settingsFolder.path() + u"/settings.json"_s);
        AppSettings settings(defaults);
        MeetingsModel model(library.store, client, settings, [&c] { return c.hasKey; });
        const QString id = model.newMeeting().value_or(QString());
        MeetingSession *session = model.session();
        ASSERT_TRUE(session);

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
        MeetingRecorder recorder(model.store(), parts);
        const auto link = std::make_shared<RecorderLink>(recorder, model);
        model.setRecorder(link);
        QStringList states;
        QList<TranscriptSegment> heard;
        link->setOnSegment([&heard](const TranscriptSegment &segment) { heard.append(segment); });
        QObject::connect(&recorder, &MeetingRecorder::stateChanged, [&] {
            EXPECT_EQ(model.recorderStatus().state, RecorderLink::stateOf(recorder.state()));
            const QString name = stateName(model.recorderStatus().state);
            if (states.isEmpty() || states.last() != name)
                states.append(name);
        });

        model.startRecording();
        EXPECT_TRUE(session->isRecording());
        if (c.stop == Stop::whilePreparing)
            model.stopRecording();
        ASSERT_TRUE(TestEnvironment::waitUntil([&] { return recorder.state() != MeetingRecorder::State::preparing; }));
        if (c.stop == Stop::whileRecording) {
            EXPECT_EQ(model.recorderStatus().meetingID, id);
            EXPECT_EQ(model.recorderStatus().startedAt, recorder.startedAt());
            EXPECT_LT(std::abs(model.store().meeting(id)->started.msecsTo(recorder.startedAt())), 1000);
            call.load()->play(FakeAudio().silence(0.3).speech(1.2).silence(0.3));
            model.stopRecording();
        }
        ASSERT_TRUE(TestEnvironment::waitUntil([&] {
            return recorder.state() == MeetingRecorder::State::idle && !session->enhancing();
        }, 10000));
        // A stop with the recorder idle finishes nothing again.
        model.stopRecording();
        EXPECT_TRUE(TestEnvironment::waitUntil([&] { return !session->enhancing(); }));

        EXPECT_EQ(states.join(u' '), c.states) << qPrintable(states.join(u' '));
        EXPECT_FALSE(session->isRecording());
        EXPECT_EQ(recorder.warning(), c.engineFails ? u"The speech model is damaged."_s : QString());
        ASSERT_EQ(session->segments().size(), c.segments);
        EXPECT_EQ(heard, session->segments());
        const QList<TranscriptSegment> stored = model.store().segments(id);
        EXPECT_EQ(stored, session->segments());
        if (c.segments) {
            EXPECT_EQ(stored.first().speaker, Speaker::them);
            EXPECT_GE(stored.first().text.toDouble(), 1.2) << qPrintable(stored.first().text);
        }
        const std::optional<Meeting> meeting = model.store().meeting(id);
        ASSERT_TRUE(meeting);
        EXPECT_EQ(meeting->ended.has_value(), c.ended);
        EXPECT_EQ(meeting->enhanced.has_value(), c.notes);
        EXPECT_EQ(meeting->title, c.notes ? u"Deposit call"_s : QString());
        EXPECT_EQ(server.requestCount(), c.notes ? 1 : 0);
        EXPECT_EQ(library.passageCount(u"transcript"_s, id) > 0, c.segments > 0) << library.passageCount(u"transcript"_s, id);
        Tasks::waitForIdle();
    }
}
