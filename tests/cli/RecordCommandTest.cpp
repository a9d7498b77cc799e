// `larder record` end to end: the built program records from a private sound
// server while the test plays speech made by espeak-ng into its speakers and
// into the room the microphone hears.
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

// A run of `larder record` that the test watches while it goes on.
class RecordRun
{
public:
    RecordRun(const QString &database, double seconds, const QProcessEnvironment &extra = {})
        : m_process(TestEnvironment::startLarder(
              {u"record"_s, u"--title"_s, u"Budget call"_s, u"--duration"_s, QString::number(seconds),
               u"--database"_s, database},
              extra))
    {
    }
    // Until stderr says it records, or the program ended.
    bool waitUntilRecording()
    {
        TestEnvironment::waitUntil([&] { return read().contains(u"Recording"_s) || ended(); }, 60000);
        return err.contains(u"Recording"_s);
    }
    int finish()
    {
        TestEnvironment::waitUntil([&] { return ended(); }, 90000);
        read();
        return m_process->exitStatus() == QProcess::NormalExit ? m_process->exitCode() : -1;
    }
    // The segment lines, "Me: words" and "Them: words", lower-cased words.
    QStringList segments(const QString &speaker) const
    {
        static const QRegularExpression line(u"^\\[\\d\\d:\\d\\d\\] (Me|Them): (.*)$"_s,
                                             QRegularExpression::MultilineOption);
        QStringList found;
        for (auto it = line.globalMatch(out); it.hasNext();) {
            const QRegularExpressionMatch match = it.next();
            if (match.captured(1) == speaker)
                found << SpeechFixtures::words(match.captured(2)).join(u' ');
        }
        return found;
    }
    QString meetingID() const { return out.trimmed().split(u'\n').last(); }

    QString out;
    QString err;

private:
    bool ended() const { return m_process->state() == QProcess::NotRunning; }
    const QString &read()
    {
        out += QString::fromUtf8(m_process->readAllStandardOutput());
        err += QString::fromUtf8(m_process->readAllStandardError());
        return err;
    }

    std::unique_ptr<QProcess> m_process;
};

QString newDatabase()
{
    static int serial = 0;
    return TestEnvironment::makeFolder(u"record-%1"_s.arg(++serial)) + u"/Library.sqlite"_s;
}

bool playToEnd(const PrivateSoundServer &server, const QString &wav, const QStringList &sinks)
{
    std::vector<std::unique_ptr<QProcess>> players;
    for (const QString &sink : sinks)
        players.push_back(server.play(wav, sink));
    return TestEnvironment::waitUntil([&] {
        return std::all_of(players.begin(), players.end(),
                           [](const auto &player) { return player->state() == QProcess::NotRunning; });
    }, 30000);
}

} // namespace

TEST(RecordCommand, HearsBothSidesOfACallAndDropsTheMicrophonesEcho)
{
    PrivateSoundServer server;
    if (!server.isRunning())
        GTEST_SKIP() << "pulseaudio is not installed";
    QTemporaryDir folder;
    const QString theirs = folder.filePath(u"them.wav"_s);
    const QString mine = folder.filePath(u"me.wav"_s);
    ASSERT_TRUE(SpeechFixtures::writeSpeech(theirs, u"Can you send me the quarterly budget tomorrow?"_s));
    ASSERT_TRUE(SpeechFixtures::writeSpeech(mine, u"Yes, I will send the report in the morning."_s, {u"en-gb"_s, 150}));

    const QString database = newDatabase();
    RecordRun run(database, 12);
    ASSERT_TRUE(run.waitUntilRecording()) << run.err.toStdString();
    // The call plays through the speakers, and the microphone in the room
    // hears it too; then the user answers.
    ASSERT_TRUE(playToEnd(server, theirs, {u"speakers"_s, u"room"_s}));
    ASSERT_TRUE(playToEnd(server, mine, {u"room"_s}));
    ASSERT_EQ(run.finish(), 0) << run.err.toStdString();

    const QString them = run.segments(u"Them"_s).join(u' ');
    const QString me = run.segments(u"Me"_s).join(u' ');
    for (const char *word : {"send", "quarterly", "budget", "tomorrow"})
        EXPECT_TRUE(them.contains(QLatin1String(word))) << word << " in " << them.toStdString();
    for (const char *word : {"send", "report", "morning"})
        EXPECT_TRUE(me.contains(QLatin1String(word))) << word << " in " << me.toStdString();
    // The microphone's copy of the call never became one of mine.
    for (const char *word : {"quarterly", "budget", "tomorrow"})
        EXPECT_FALSE(me.contains(QLatin1String(word))) << me.toStdString();

    const TestEnvironment::ProgramResult shown =
        TestEnvironment::runLarder({u"meetings"_s, u"show"_s, run.meetingID(), u"--json"_s, u"--database"_s, database});
    ASSERT_EQ(shown.exitCode, 0) << shown.err.toStdString();
    const QJsonObject meeting = QJsonDocument::fromJson(shown.out.toUtf8()).object();
    EXPECT_EQ(meeting[u"title"_s].toString(), u"Budget call"_s);
    EXPECT_FALSE(meeting[u"ended"_s].isNull());
    double theirEnd = 0;
    double myStart = 1e9;
    const QJsonArray segments = meeting[u"segments"_s].toArray();
    ASSERT_FALSE(segments.isEmpty());
    for (const QJsonValue &value : segments) {
        const QJsonObject segment = value.toObject();
        const double start = segment[u"start"_s].toDouble();
        const double end = segment[u"end"_s].toDouble();
        // Each sentence lasts about three seconds, within the recording.
        EXPECT_GE(start, 0.0);
        EXPECT_GT(end, start);
        EXPECT_LT(end - start, 6.0);
        EXPECT_LT(end, 12.0);
        if (segment[u"speaker"_s].toString() == u"them"_s)
            theirEnd = std::max(theirEnd, end);
        else
            myStart = std::min(myStart, start);
    }
    // The answer came after the question, on clocks that agree within a
    // second.
    EXPECT_GT(myStart, theirEnd - 1.0);

    const TestEnvironment::ProgramResult text =
        TestEnvironment::runLarder({u"meetings"_s, u"show"_s, run.meetingID(), u"--database"_s, database});
    EXPECT_TRUE(text.out.contains(u"] Them: "_s) && text.out.contains(u"] You: "_s)) << text.out.toStdString();
}

TEST(RecordCommand, WarnsAndKeepsWhatItHadWhenSoundGoesWrong)
{
    struct Case
    {
        const char *name;
        QStringList setUp; // pactl commands, one a line
        QString serverAddress; // instead of the private server's
        bool unplugWhileRecording;
        int exitCode;
        QString says;
    };
    const Case cases[] = {
        {"no monitor of the output",
         {u"unload-module module-remap-source"_s, u"unload-module module-null-sink"_s,
          u"load-module module-null-source source_name=microphone"_s, u"set-default-source microphone"_s},
         {}, false, 0,
         u"Recording your microphone only. Larder couldn't open the monitor of your sound output, which carries the "
         "other side of calls; check that PulseAudio or PipeWire is running."_s},
        {"no default source", {u"unload-module module-remap-source"_s}, {}, false, 1, u"No microphone is available."_s},
        {"no sound server", {}, u"unix:/nonexistent/native"_s, false, 1, u"Couldn't connect to the sound server"_s},
        {"microphone unplugged while recording", {}, {}, true, 0, u"Couldn't keep recording the microphone"_s},
    };
    QTemporaryDir folder;
    const QString mine = folder.filePath(u"me.wav"_s);
    ASSERT_TRUE(SpeechFixtures::writeSpeech(mine, u"Yes, I will send the report in the morning."_s));
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        PrivateSoundServer server;
        if (!server.isRunning())
            GTEST_SKIP() << "pulseaudio is not installed";
        for (const QString &command : c.setUp)
            ASSERT_TRUE(server.control(command.split(u' '))) << command.toStdString();
        QProcessEnvironment extra;
        if (!c.serverAddress.isEmpty())
            extra.insert(u"PULSE_SERVER"_s, c.serverAddress);

        const QString database = newDatabase();
        RecordRun run(database, c.unplugWhileRecording ? 8 : 2, extra);
        if (run.waitUntilRecording() && c.unplugWhileRecording) {
            ASSERT_TRUE(playToEnd(server, mine, {u"room"_s}));
            ASSERT_TRUE(server.control({u"unload-module"_s, u"module-remap-source"_s}));
        }
        ASSERT_EQ(run.finish(), c.exitCode) << run.err.toStdString();
        EXPECT_TRUE(run.err.contains(c.says)) << run.err.toStdString();

        const TestEnvironment::ProgramResult listed =
            TestEnvironment::runLarder({u"meetings"_s, u"list"_s, u"--database"_s, database});
        if (c.exitCode != 0) {
            // Nothing recorded leaves no empty meeting behind.
            EXPECT_TRUE(run.err.contains(u"Nothing was recorded."_s));
            EXPECT_TRUE(listed.out.contains(u"No meetings."_s)) << listed.out.toStdString();
            continue;
        }
        EXPECT_TRUE(listed.out.contains(run.meetingID() + u"  "_s)) << listed.out.toStdString();
        if (c.unplugWhileRecording) {
            const QString me = run.segments(u"Me"_s).join(u' ');
            EXPECT_TRUE(me.contains(u"report"_s)) << me.toStdString();
        }
    }
}
