// The meetings screen in the real window: stored meetings opened, edited,
// saved as Markdown, cited and deleted; and a live recording on a private
// sound server, spoken by espeak-ng, whose notes Claude (the fake Messages
// API server) writes at stop.
#include "WindowFixture.h"

#include "core/Format.h"
#include "meetings/MeetingRecorder.h"
#include "meetings/MeetingStore.h"
#include "meetings/MeetingText.h"
#include "screens/MeetingItems.h"
#include "session/MeetingsModel.h"
#include "support/FakeClaudeServer.h"
#include "support/PrivateSoundServer.h"
#include "support/SpeechFixtures.h"
#include "support/TestEnvironment.h"

#include <QFile>
#include <QPointer>

using TestEnvironment::waitUntil;
using namespace Qt::StringLiterals;

namespace {

FakeReply notesReply()
{
    const QString json = uR"({"title":"Launch plan","summary":"The weekly meeting stays short.","sections":[)"
                         uR"({"heading":"Plan","bullets":[{"text":"weekly meeting","origin":"user"},)"
                         uR"({"text":"Focus on the launch plan","origin":"ai"}]}],"decisions":["Keep it short"],)"
                         uR"("action_items":[{"task":"Send the agenda","owner":"You","due":"Friday"}]})"_s;
    return FakeReply::streamedMessage({json.left(50), json.mid(50)});
}

} // namespace

class MeetingsScreenTest : public WindowFixture
{
protected:
    MeetingStore &store() const { return m_model->meetingStore(); }
    MeetingsModel &meetings() const { return *m_model->meetings(); }
    MeetingSession *session() const { return meetings().session(); }

    // A meeting as a finished recording leaves it, with the given transcript
    // and, when asked, Claude's notes.
    QString storeMeeting(const QString &title, const QDateTime &started, const QStringList &lines,
                         bool withNotes = false)
    {
        const QString id = QUuid::createUuid().toString(QUuid::WithoutBraces);
        store().insert(id, started, u"en-US"_s);
        Meeting meeting = *store().meeting(id);
        meeting.title = title;
        meeting.ended = started.addSecs(25 * 60);
        if (withNotes) {
            EnhancedNotes notes;
            notes.title = title;
            notes.summary = u"The lease is signed; the deposit is due on May 1."_s;
            notes.sections = {{u"Lease"_s, {{u"deposit may 1"_s, u"user"_s}, {u"The landlord fixes the boiler first"_s, u"ai"_s}}}};
            notes.decisions = {u"Sign for two years"_s};
            notes.actionItems = {{u"Transfer the deposit"_s, u"You"_s, u"May 1"_s}};
            meeting.enhanced = notes;
            meeting.enhancedAt = QDateTime::currentDateTime().addDays(-1);
        }
        store().update(meeting);
        for (int i = 0; i < lines.size(); ++i)
            store().insertSegment({0, id, i % 2 ? Speaker::me : Speaker::them, 4.0 * i, 4.0 * i + 3, lines[i]});
        return id;
    }
    QString selected() const { return meetings().selectedIDText(); }
};

TEST_F(MeetingsScreenTest, StoredMeetingsOpenEditSaveCiteAndDelete)
{
    open();
    click("sidebar:meetings");
    ASSERT_EQ(screen(), "meetings");
    ASSERT_TRUE(waitUntil([&] { return item("meetingsWelcome") && item("meetingsWelcome")->isVisible(); }));
    capture("60-meetings-welcome");

    const QList<FileRecord> files = makeLibrary(m_model->store());
    const FileRecord lease = *std::find_if(files.begin(), files.end(), [](const FileRecord &f) { return f.name == "Lease agreement.pdf"; });
    const QDateTime now = QDateTime::currentDateTime();
    const QString older = storeMeeting(u"Budget review"_s, now.addDays(-1), {});
    const QString lease_call = storeMeeting(u"Lease call with the landlord"_s, now.addSecs(-3600),
                                            {u"When is the deposit due?"_s, u"The deposit is due on May 1."_s,
                                             u"And the boiler gets fixed before we move in."_s},
                                            true);
    store().save({u"a1"_s, lease_call, u"When is the deposit due?"_s, u"On May 1, as the lease says."_s,
                  {{Citation::Kind::file, QString::number(lease.id), u"Lease agreement.pdf"_s, u"~/Library"_s, {}},
                   {Citation::Kind::transcript, older, u"Budget review"_s, u"Yesterday"_s, {}}},
                  now});

    // The screen reads the list again when it appears; the newest opens.
    click("sidebar:home");
    click("sidebar:meetings");
    ASSERT_TRUE(waitUntil([&] { return item("meetingRow:" + lease_call) != nullptr; }));
    EXPECT_EQ(selected(), lease_call);
    // Grouped by the day each started: the meeting of an hour ago under
    // "Today", yesterday's under "Yesterday".
    QStringList headers;
    for (const QVariant &row : MeetingItems::rows(meetings().meetingValues(), now))
        headers << row.toMap().value("header").toString();
    EXPECT_EQ(headers, (QStringList{now.time().hour() >= 1 ? "Today" : "Yesterday", now.time().hour() >= 1 ? "Yesterday" : ""}));
    ASSERT_NE(session(), nullptr);
    EXPECT_EQ(session()->tab(), MeetingSession::Tab::notes);
    EXPECT_TRUE(item("enhancedNotes")->isVisible());
    EXPECT_EQ(item("enhanceButton")->property("text").toString(), "Rewrite");
    EXPECT_EQ(item("recordButton")->property("toolTip").toString(), "Record and transcribe this meeting");
    capture("61-meetings-notes");

    // The transcript with the answer beside it; the answers on their own.
    click("meetingTab:1");
    ASSERT_TRUE(waitUntil([&] { return item("segment:2") && item("answersBesideTranscript")->isVisible(); }));
    capture("62-meetings-transcript");
    window()->resize(880, 560);
    ASSERT_TRUE(waitUntil([&] { return !item("answersBesideTranscript")->isVisible(); }));
    capture("62-meetings-transcript-narrow");
    window()->resize(1240, 800);
    click("meetingTab:2");
    EXPECT_EQ(item("meetingTab:2")->property("label").toString(), "Live answers (1)");
    capture("63-meetings-answers");

    // A source opens the file; a meeting cited from anywhere opens that
    // meeting, afresh when it is open already.
    ASSERT_TRUE(waitUntil([&] { return item("citation:0:0") != nullptr; }));
    click("citation:0:0");
    ASSERT_TRUE(m_model->inspectedFile().has_value());
    EXPECT_EQ(m_model->inspectedFile()->path, lease.path);
    m_model->setShowInspector(false);
    m_model->closePreview();
    window()->requestActivate();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window()));
    const struct { QString from; QString cited; } citations[] = {
        {u"home"_s, older},
        {u"search"_s, lease_call},
        {u"meetings"_s, lease_call},
    };
    for (const auto &cited : citations) {
        m_model->setSelectionKey(cited.from);
        const QPointer<MeetingSession> before = session();
        m_model->open(Citation{Citation::Kind::note, cited.cited, {}, {}, {}});
        EXPECT_EQ(m_model->selectionKey(), "meetings") << cited.from.toStdString();
        EXPECT_EQ(selected(), cited.cited);
        ASSERT_NE(session(), nullptr);
        EXPECT_TRUE(before.isNull()) << "the meeting opens afresh";
    }

    // The older meeting: a title and notes typed, saved after the pause.
    meetings().select(older);
    ASSERT_TRUE(waitUntil([&] { return item("userNotes") && session()->meetingID() == older; }));
    EXPECT_TRUE(item("noNotes")->isVisible());
    click("userNotes");
    typeKeys("totals up 4 percent");
    click("meetingTitle");
    QTest::keyClick(window(), Qt::Key_End);
    typeKeys(" Q3");
    ASSERT_TRUE(waitUntil([&] { return store().meeting(older)->userNotes == "totals up 4 percent"; }));
    EXPECT_EQ(store().meeting(older)->title, "Budget review Q3");
    EXPECT_EQ(meetings().meetings().at(1).title, "Budget review Q3") << "the list shows the new title";

    // "Save as Markdown…" proposes the title; the chosen file holds the
    // meeting as the store has it.
    click("meetingMenuButton");
    ASSERT_TRUE(waitUntil([&] { return item("saveMarkdownItem") && item("saveMarkdownItem")->isVisible(); }));
    click("saveMarkdownItem");
    // The open meeting's own dialog; the views of meetings closed before go
    // later.
    const QPointer<QObject> dialog = item("meetingDetail")->findChild<QObject *>("saveMarkdownDialog");
    ASSERT_NE(dialog, nullptr);
    ASSERT_TRUE(waitUntil([&] { return dialog->property("visible").toBool(); }));
    EXPECT_TRUE(dialog->property("selectedFile").toUrl().toLocalFile().endsWith("/Budget review Q3.md"));
    capture("64-meetings-save-dialog");
    QMetaObject::invokeMethod(dialog, "reject");
    const QString path = TestEnvironment::home() + "/Budget.md";
    EXPECT_EQ(session()->saveMarkdown(path), "");
    QFile saved(path);
    ASSERT_TRUE(saved.open(QIODevice::ReadOnly));
    EXPECT_EQ(QString::fromUtf8(saved.readAll()),
              meetingMarkdown(*store().meeting(older), store().segments(older), Format::locale()));
    EXPECT_NE(session()->saveMarkdown("/proc/no/such/folder/x.md"), "");

    // Delete, after the question.
    click("meetingMenuButton");
    ASSERT_TRUE(waitUntil([&] { return item("deleteMeetingItem") && item("deleteMeetingItem")->isVisible(); }));
    click("deleteMeetingItem");
    ASSERT_TRUE(waitUntil([&] { return item("confirmButton") && item("confirmButton")->isVisible(); }));
    EXPECT_TRUE(store().meeting(older).has_value()) << "nothing goes before the answer";
    capture("65-meetings-delete");
    click("confirmButton");
    ASSERT_TRUE(waitUntil([&] { return !store().meeting(older).has_value(); }));
    // The list is read again in the background; the remaining meeting is then selected.
    ASSERT_TRUE(waitUntil([&] { return meetings().meetings().size() == 1 && !selected().isEmpty(); }));
    EXPECT_EQ(selected(), lease_call);
}

TEST_F(MeetingsScreenTest, DarkNotes)
{
    qputenv("LARDER_COLOR_SCHEME", "dark");
    open();
    const QString id = storeMeeting(u"Lease call with the landlord"_s, QDateTime::currentDateTime().addSecs(-600),
                                    {u"When is the deposit due?"_s}, true);
    click("sidebar:meetings");
    ASSERT_TRUE(waitUntil([&] { return item("enhancedNotes") && item("enhancedNotes")->isVisible(); }));
    EXPECT_EQ(item("writtenBy")->property("text").toString(), "Written by Claude yesterday");
    capture("66-meetings-notes-dark");
}

// Ctrl+Shift+R records a new meeting from the speakers' monitor and the
// microphone of a private sound server; the transcript grows on screen as
// espeak-ng speaks, and the second Ctrl+Shift+R stops and has Claude write
// the notes. Quitting in the middle of a later recording keeps its words.
TEST_F(MeetingsScreenTest, RecordsTranscribesAndWritesTheNotes)
{
    PrivateSoundServer sound;
    if (!sound.isRunning())
        GTEST_SKIP() << "pulseaudio is not installed";
    const QString speech = TestEnvironment::home() + "/call.wav";
    ASSERT_TRUE(SpeechFixtures::writeSpeech(speech, u"We agreed to keep the weekly meeting short and focused on the launch plan."_s));
    FakeClaudeServer claude;
    claude.enqueue(notesReply());
    qputenv("LARDER_ANTHROPIC_BASE_URL", claude.baseURL().toUtf8());
    open();
    m_model->setAPIKey(u"sk-test"_s);
    click("sidebar:meetings");
    EXPECT_EQ(m_shell->traySymbol(), "house");

    press(Qt::Key_R, Qt::ControlModifier | Qt::ShiftModifier);
    ASSERT_TRUE(waitUntil([&] { return m_model->recorderState() == "recording"; }, 60000))
        << m_model->recorder()->warning().toStdString();
    ASSERT_NE(session(), nullptr);
    const QString id = session()->meetingID();
    EXPECT_EQ(m_shell->traySymbol(), "waveform.circle.fill");
    EXPECT_TRUE(item("liveBar")->isVisible());
    EXPECT_EQ(item("listRecordButton")->property("text").toString(), "Stop Recording");
    capture("67-meetings-recording");

    const auto play = [&] {
        auto player = sound.play(speech, u"speakers"_s);
        return player->waitForFinished(30000) && player->exitCode() == 0;
    };
    ASSERT_TRUE(play());
    ASSERT_TRUE(waitUntil([&] { return item("segment:0") != nullptr; }, 30000));
    const QStringList heard = SpeechFixtures::words(session()->segments().first().text);
    EXPECT_TRUE(heard.contains("weekly") || heard.contains("launch")) << heard.join(' ').toStdString();
    // The live bar's clock runs.
    EXPECT_TRUE(waitUntil([&] { return item("elapsedTime")->property("text").toString() != "0:00"; }))
        << m_model->recorder()->startedAt().toString().toStdString();
    capture("68-meetings-transcript-live");

    press(Qt::Key_R, Qt::ControlModifier | Qt::ShiftModifier);
    ASSERT_TRUE(waitUntil([&] { return m_model->recorderState() == "idle"; }, 30000));
    ASSERT_TRUE(waitUntil([&] { return store().meeting(id)->enhanced.has_value(); }, 15000));
    EXPECT_EQ(claude.requestCount(), 1);
    EXPECT_EQ(store().meeting(id)->title, "Launch plan") << "an untitled meeting takes Claude's title";
    EXPECT_TRUE(store().meeting(id)->ended.has_value());
    EXPECT_EQ(m_shell->traySymbol(), "house");
    ASSERT_TRUE(waitUntil([&] { return item("enhancedNotes") && item("enhancedNotes")->isVisible(); }));
    capture("69-meetings-notes-written");

    // Quitting during the second recording: what was said stays, the end is
    // set, and nobody waits for Claude.
    const qsizetype before = store().segments(id).size();
    click("recordButton");
    ASSERT_TRUE(waitUntil([&] { return m_model->recorderState() == "recording"; }, 60000));
    ASSERT_TRUE(play());
    ASSERT_TRUE(waitUntil([&] { return !m_model->recorder()->volatileText(Speaker::them).isEmpty()
                                       || store().segments(id).size() > before; }, 30000));
    const QDateTime firstEnd = *store().meeting(id)->ended;
    m_model->finishRecordingBeforeQuit();
    EXPECT_EQ(m_model->recorderState(), "idle");
    EXPECT_GT(store().segments(id).size(), before);
    EXPECT_GT(*store().meeting(id)->ended, firstEnd);
    EXPECT_EQ(claude.requestCount(), 1);
    qunsetenv("LARDER_ANTHROPIC_BASE_URL");
}
