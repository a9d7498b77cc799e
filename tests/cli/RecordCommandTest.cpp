// `larder record` end to end: the built program records from a private sound
// server while the test plays speech made by espeak-ng into its speakers
// (the call) and into the room (what the microphone hears).
#include "platform/MoonshineEngine.h"
#include "store/IndexStore.h"
#include "support/FakeClaudeServer.h"
#include "support/LibraryBuilder.h"
#include "support/PrivateSoundServer.h"
#include "support/SpeechFixtures.h"
#include "support/TestEnvironment.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// The words of one speaker's lines ("[00:03] Me: …"), lower-cased.
QString wordsOf(const QString &speaker, const QString &out)
{
    QStringList found;
    const QRegularExpression line(u"^\\[\\d\\d:\\d\\d\\] "_s + speaker + u": (.*)$"_s, QRegularExpression::MultilineOption);
    for (auto it = line.globalMatch(out); it.hasNext();)
        found << SpeechFixtures::words(it.next().captured(1));
    return found.join(u' ');
}

bool playToEnd(const PrivateSoundServer &server, const QString &wav, const QStringList &sinks)
{
    std::vector<std::unique_ptr<QProcess>> players;
    for (const QString &sink : sinks)
        players.push_back(server.play(wav, sink));
    return TestEnvironment::waitUntil([&] {
        return std::all_of(players.begin(), players.end(), [](const auto &p) { return p->state() == QProcess::NotRunning; });
    }, 30000);
}

// Runs `larder record`, calls whileRecording once it records (or ended),
// and waits for the end.
TestEnvironment::ProgramResult record(const QStringList &arguments, const QProcessEnvironment &environment,
                                      const std::function<void(QProcess &)> &whileRecording)
{
    const auto larder = TestEnvironment::startLarder(QStringList{u"record"_s} + arguments, environment);
    TestEnvironment::ProgramResult result;
    const auto read = [&] {
        result.out += QString::fromUtf8(larder->readAllStandardOutput());
        result.err += QString::fromUtf8(larder->readAllStandardError());
        return larder->state() == QProcess::NotRunning;
    };
    TestEnvironment::waitUntil([&] { return read() || result.err.contains(u"Recording"_s); }, 60000);
    whileRecording(*larder);
    if (TestEnvironment::waitUntil(read, 90000))
        result.exitCode = larder->exitCode();
    return result;
}

} // namespace

TEST(RecordCommand, RecordsBothSidesDropsTheEchoAndSurvivesSoundFailures)
{
    QTemporaryDir folder;
    const QString theirs = folder.filePath(u"them.wav"_s), mine = folder.filePath(u"me.wav"_s);
    ASSERT_TRUE(SpeechFixtures::writeSpeech(theirs, u"We agreed to keep the weekly meeting short and focused on the launch plan."_s));
    ASSERT_TRUE(SpeechFixtures::writeSpeech(mine, u"Yes, I will send the report in the morning."_s, {u"en-gb"_s, 150}));
    const QString unplug = u"unload-module module-remap-source"_s;
    const struct { const char *name; QStringList before; bool call; QStringList after; int exitCode; QString says, them, me; } cases[] = {
        // The microphone hears the call through the speakers; its copy is
        // dropped as an echo, and the answer is kept.
        {"a call", {}, true, {}, 0, u"Recording"_s, u"keep weekly meeting short focused plan"_s, u"send report morning"_s},
        {"microphone unplugged while recording", {}, false, {unplug}, 0, u"Couldn't keep recording the microphone"_s, {},
         u"send report morning"_s},
        {"no monitor of the output", {unplug, u"unload-module module-null-sink"_s,
          u"load-module module-null-source source_name=microphone"_s, u"set-default-source microphone"_s}, false, {}, 0,
         u"Recording your microphone only. Larder couldn't open the monitor of your sound output"_s, {}, {}},
        {"no default source", {unplug}, false, {}, 1, u"No microphone is available."_s, {}, {}},
        {"no sound server", {u"exit"_s}, false, {}, 1, u"Couldn't connect to the sound server"_s, {}, {}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        PrivateSoundServer server;
        if (!server.isRunning())
            GTEST_SKIP() << "pulseaudio is not installed";
        for (const QString &command : c.before)
            ASSERT_TRUE(server.control(command.split(u' '))) << command.toStdString();
        const QString database = TestEnvironment::makeFolder(QString::fromLatin1(c.name)) + u"/Library.sqlite"_s;
        const QStringList atDatabase{u"--database"_s, database};
        const auto [exitCode, out, err] = record(QStringList{u"--title"_s, u"Budget call"_s, u"--duration"_s, u"14"_s} + atDatabase, {},
                                                 [&](QProcess &larder) {
            EXPECT_TRUE(!c.call || playToEnd(server, theirs, {u"speakers"_s, u"room"_s}));
            EXPECT_TRUE(larder.state() != QProcess::Running || c.exitCode || playToEnd(server, mine, {u"room"_s}));
            for (const QString &command : c.after)
                EXPECT_TRUE(server.control(command.split(u' ')));
        });
        ASSERT_EQ(exitCode, c.exitCode) << err.toStdString();
        EXPECT_TRUE(err.contains(c.says)) << err.toStdString();

        const QString them = wordsOf(u"Them"_s, out), me = wordsOf(u"Me"_s, out);
        // Each side's words arrive, and the call's words never as mine.
        for (const QString &word : c.them.split(u' ', Qt::SkipEmptyParts))
            EXPECT_TRUE(them.contains(word) && (c.me.contains(word) || !me.contains(word))) << word.toStdString() << out.toStdString();
        for (const QString &word : c.me.split(u' ', Qt::SkipEmptyParts))
            EXPECT_TRUE(me.contains(word)) << word.toStdString() << out.toStdString();

        // A failed start leaves no empty meeting behind; a recording is saved
        // with its title, its end and its segments timed within it.
        if (c.exitCode) {
            EXPECT_TRUE(TestEnvironment::runLarder(QStringList{u"meetings"_s, u"list"_s} + atDatabase).out.contains(u"No meetings."_s));
            continue;
        }
        const QString id = out.trimmed().split(u'\n').last();
        const auto shown = TestEnvironment::runLarder(QStringList{u"meetings"_s, u"show"_s, id, u"--json"_s} + atDatabase);
        const QJsonObject meeting = QJsonDocument::fromJson(shown.out.toUtf8()).object();
        EXPECT_EQ(meeting[u"title"_s].toString(), u"Budget call"_s);
        EXPECT_FALSE(meeting[u"ended"_s].isNull());
        double theirEnd = 0, myStart = 1e9;
        for (const QJsonValue &value : meeting[u"segments"_s].toArray()) {
            // Each sentence lasts three to five seconds.
            const double start = value[u"start"_s].toDouble(), end = value[u"end"_s].toDouble();
            EXPECT_TRUE(start >= 0 && end > start && end - start < 8 && end < 14) << start << " " << end;
            if (value[u"speaker"_s] == u"them"_s)
                theirEnd = std::max(theirEnd, end);
            else
                myStart = std::min(myStart, start);
        }
        // The answer follows the question on clocks that agree within a second.
        EXPECT_GT(myStart, theirEnd - 1.0);
    }
}

// A question asked on the call is printed as it is heard and answered from
// the lease in the library, with the file as its source; the notes follow at
// the end, and the meeting keeps its transcript, its answer and its notes.
// Without a key, one line says so and the recording goes on.
TEST(RecordCommand, AnswersTheCallsQuestionFromTheLibraryAndWritesTheNotes)
{
    if (MoonshineEngine::locateFolder().isEmpty())
        GTEST_SKIP() << "the speech model isn't in the build";
    QTemporaryDir folder;
    const QString question = folder.filePath(u"question.wav"_s);
    // Slower than the default voice: the speech model hears every word of it.
    ASSERT_TRUE(SpeechFixtures::writeSpeech(question, u"When do I have to pay the rent every month?"_s, {u"en-us"_s, 150}));
    const QString answer = u"The rent is due on the first of the month."_s;
    const QString notes = uR"({"title":"Rent","summary":"When the rent is paid.","sections":[{"heading":"Lease",)"
                          uR"("bullets":[{"text":"Rent is due on the first","origin":"ai"}]}],"decisions":[],"action_items":[]})"_s;
    const struct { QString key; const char *duration; bool asks; QStringList says; } cases[] = {
        {u"sk-test"_s, "9", true, {u"Answer: "_s + answer + u"\n  [1] lease.txt"_s, u"# Rent"_s, u"- Rent is due on the first"_s}},
        {QString(), "1", false, {}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.duration);
        PrivateSoundServer server;
        if (!server.isRunning())
            GTEST_SKIP() << "pulseaudio is not installed";
        FakeClaudeServer claude;
        claude.enqueue(FakeReply::message(uR"({"answerable":true,"answer":"%1","sources":[1]})"_s.arg(answer)));
        claude.enqueue(FakeReply::streamedMessage({notes.left(50), notes.mid(50)}));
        const QString database = TestEnvironment::makeFolder(u"rent-"_s + QString::fromLatin1(c.duration)) + u"/Library.sqlite"_s;
        LibraryBuilder::add(*IndexStore::open(QUrl::fromLocalFile(database)),
                            {{.path = folder.filePath(u"lease.txt"_s),
                              .text = u"Lease of the flat. The rent is due on the first of the month, paid to the landlord."_s}});
        QProcessEnvironment environment;
        environment.insert(u"LARDER_ANTHROPIC_BASE_URL"_s, claude.baseURL());
        environment.insert(u"ANTHROPIC_API_KEY"_s, c.key);
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nonexistent/bus"_s);
        const QStringList atDatabase{u"--database"_s, database};
        const auto [exitCode, out, err] = record(QStringList{u"--duration"_s, QString::fromLatin1(c.duration)} + atDatabase,
                                                 environment, [&](QProcess &) {
            EXPECT_TRUE(!c.asks || playToEnd(server, question, {u"speakers"_s}));
        });
        ASSERT_EQ(exitCode, 0) << qPrintable(err + out);
        EXPECT_EQ(err.contains(u"Claude needs an API key to answer questions live; add one with `larder key set`."_s),
                  c.key.isEmpty()) << qPrintable(err);

        // The question in its transcript line first, then its answer.
        EXPECT_EQ(wordsOf(u"Them"_s, out).contains(u"rent"_s), c.asks) << qPrintable(out);
        const qsizetype asked = out.indexOf(u"Question: "_s);
        EXPECT_EQ(asked > out.indexOf(u"Them: "_s) && out.indexOf(u"rent"_s, asked) > asked, c.asks) << qPrintable(out);
        for (const QString &text : c.says)
            EXPECT_TRUE(out.contains(text)) << qPrintable(text + u"\n---\n"_s + out);
        EXPECT_EQ(claude.requestCount(), c.asks ? 2 : 0);

        const QString id = out.trimmed().split(u'\n').last();
        const auto shown = TestEnvironment::runLarder(QStringList{u"meetings"_s, u"show"_s, id, u"--json"_s} + atDatabase);
        const QJsonObject meeting = QJsonDocument::fromJson(shown.out.toUtf8()).object();
        EXPECT_FALSE(meeting[u"ended"_s].isNull()) << qPrintable(shown.out + shown.err);
        EXPECT_EQ(meeting[u"segments"_s].toArray().isEmpty(), !c.asks);
        const QJsonArray answers = meeting[u"liveAnswers"_s].toArray();
        ASSERT_EQ(answers.size(), c.asks ? 1 : 0);
        EXPECT_EQ(meeting[u"enhanced"_s].isObject(), c.asks);
        if (c.asks) {
            EXPECT_EQ(answers[0][u"answer"_s].toString(), answer);
            EXPECT_EQ(answers[0][u"citations"_s][0][u"title"_s].toString(), u"lease.txt"_s);
            EXPECT_EQ(meeting[u"title"_s].toString(), u"Rent"_s);
        }
    }
}
