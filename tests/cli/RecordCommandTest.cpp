// `larder record` end to end: the built program records from a private sound
// server while the test plays speech made by espeak-ng into its speakers
// (the call) and into the room (what the microphone hears).
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
        const auto larder = TestEnvironment::startLarder(QStringList{u"record"_s, u"--title"_s, u"Budget call"_s,
                                                                     u"--duration"_s, u"14"_s} + atDatabase);
        QString out, err;
        const auto read = [&] {
            out += QString::fromUtf8(larder->readAllStandardOutput());
            err += QString::fromUtf8(larder->readAllStandardError());
            return larder->state() == QProcess::NotRunning;
        };
        TestEnvironment::waitUntil([&] { return read() || err.contains(u"Recording"_s); }, 60000);
        if (c.call) {
            ASSERT_TRUE(playToEnd(server, theirs, {u"speakers"_s, u"room"_s}));
        }
        if (larder->state() == QProcess::Running && c.exitCode == 0) {
            ASSERT_TRUE(playToEnd(server, mine, {u"room"_s}));
        }
        for (const QString &command : c.after)
            ASSERT_TRUE(server.control(command.split(u' ')));
        ASSERT_TRUE(TestEnvironment::waitUntil(read, 90000));
        ASSERT_EQ(larder->exitCode(), c.exitCode) << err.toStdString();
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
