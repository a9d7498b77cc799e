// `larder record [--title TEXT] [--duration SECONDS] [--no-notes]`: records a
// meeting from the microphone and the call audio until Ctrl-C or the given
// time, printing each accepted segment as it comes, each question heard and
// its answer from the library, then Claude's notes and the new meeting's id.
#include "cli/Command.h"
#include "cli/Printable.h"
#include "cli/StopSignals.h"

#include "cli/LiveMeeting.h"

#include "app/AppModel.h"
#include "claude/APIKeyStore.h"
#include "claude/ClaudeClient.h"
#include "core/AppSettings.h"
#include "meetings/MeetingRecorder.h"
#include "meetings/MeetingText.h"
#include "session/MeetingsModel.h"
#include "session/RecorderLink.h"

#include <QEventLoop>
#include <QTimer>

#include <algorithm>
#include <cmath>

namespace {

const QCommandLineOption titleOption(QStringLiteral("title"), QStringLiteral("Give the meeting a title."),
                                     QStringLiteral("TEXT"));
const QCommandLineOption durationOption(QStringLiteral("duration"),
                                        QStringLiteral("Stop by itself after SECONDS of recording."),
                                        QStringLiteral("SECONDS"));
const QCommandLineOption noNotesOption(QStringLiteral("no-notes"),
                                       QStringLiteral("Don't have Claude write the notes at the end."));

// The line kept on a terminal stays within this many characters, so that it
// never wraps and can be rewritten in place.
constexpr qsizetype statusWidth = 79;

QString meterText(float level)
{
    const int filled = int(std::lround(std::clamp(level, 0.0f, 1.0f) * 8));
    return QString(filled, u'█') + QString(8 - filled, u'░');
}

QString speakerName(Speaker speaker)
{
    return speaker == Speaker::me ? QStringLiteral("Me") : QStringLiteral("Them");
}

// "Me ██████░░  Them ██░░░░░░  …the running guess": the newest words of the
// guess, as many as fit.
QString statusLine(const MeetingRecorder &recorder)
{
    QString line = QStringLiteral("Me ") + meterText(recorder.micLevel()) + QStringLiteral("  Them ")
                   + meterText(recorder.systemLevel());
    QString guess = recorder.volatileText(Speaker::them);
    if (const QString mine = recorder.volatileText(Speaker::me); !mine.isEmpty())
        guess = mine;
    guess = printable(guess);
    const qsizetype room = statusWidth - line.size() - 2;
    if (!guess.isEmpty() && room > 1)
        line += QStringLiteral("  ") + (guess.size() > room ? u'…' + guess.right(room - 1) : guess);
    return line;
}

int runRecord(CommandContext &context)
{
    if (!context.positional().isEmpty())
        return context.usageError(QStringLiteral("unexpected argument '%1'").arg(context.positional().first()));
    std::optional<double> duration;
    if (context.options().isSet(durationOption)) {
        bool ok = false;
        duration = context.options().value(durationOption).toDouble(&ok);
        if (!ok || !std::isfinite(*duration) || *duration <= 0 || *duration > 24 * 3600)
            return context.usageError(QStringLiteral("'%1' is not a number of seconds above 0 and up to a day")
                                          .arg(context.options().value(durationOption)));
    }
    const AfterMeeting after = context.options().isSet(noNotesOption) ? AfterMeeting::skipNotes
                                                                      : AfterMeeting::writeNotes;

    // The same path as the window's: the meetings model drives the recorder
    // through the link, and its open session takes the segments, answers
    // the questions heard and writes the notes at the end.
    AppSettings &settings = context.settings();
    const auto missingKey = CommandContext::missingClaudeKey(QStringLiteral("answer questions live"));
    const ClaudeClient client([] { return APIKeyStore::shared().key(); });
    MeetingsModel meetings(context.library().store(), client, settings, [&missingKey] { return !missingKey; });
    const std::optional<QString> made = meetings.newMeeting();
    MeetingSession *session = meetings.session();
    if (!made || !session)
        return context.failure(QStringLiteral("Couldn't make a new meeting in the library. Try again, or check the "
                                              "library with `larder info`."));
    const QString id = *made;
    session->setTitle(context.options().value(titleOption).trimmed());
    session->saveNow();

    QTextStream &out = context.out();
    QTextStream &err = context.err();
    MeetingRecorder recorder(meetings.store());
    const auto link = std::make_shared<RecorderLink>(recorder, meetings);
    meetings.setRecorder(link);
    QEventLoop loop;
    bool recorded = false;
    bool stopRequested = false;
    bool finished = false;
    const auto requestStop = [&] {
        if (std::exchange(stopRequested, true))
            return;
        meetings.finishRecording(after == AfterMeeting::writeNotes ? MeetingsModel::Notes::asSettingsSay
                                                                   : MeetingsModel::Notes::skip,
                                 [&] {
                                     finished = true;
                                     loop.quit();
                                 });
    };
    StopSignals stopSignals(requestStop);
    QTimer durationTimer;
    durationTimer.setSingleShot(true);
    QObject::connect(&durationTimer, &QTimer::timeout, requestStop);

    if (missingKey)
        err << *missingKey << "\n";
    else if (!settings.liveAnswersEnabled())
        err << "Live answers are turned off in the settings.\n";
    err.flush();
    QObject::connect(&recorder, &MeetingRecorder::warningChanged, [&] {
        if (recorder.warning().isEmpty())
            return;
        context.endProgress();
        err << printable(recorder.warning()) << "\n";
        err.flush();
    });
    QObject::connect(&recorder, &MeetingRecorder::stateChanged, [&] {
        switch (recorder.state()) {
        case MeetingRecorder::State::preparing:
            context.progress(recorder.preparingText());
            break;
        case MeetingRecorder::State::recording:
            recorded = true;
            context.endProgress();
            err << (duration ? QStringLiteral("Recording for %1 s; press Ctrl-C to stop sooner.").arg(*duration)
                             : QStringLiteral("Recording; press Ctrl-C to stop."))
                << "\n";
            err.flush();
            if (duration)
                durationTimer.start(std::chrono::milliseconds(std::llround(*duration * 1000)));
            break;
        case MeetingRecorder::State::stopping:
            context.endProgress();
            err << "Finishing the transcript…\n";
            err.flush();
            break;
        case MeetingRecorder::State::idle:
            // A start that gave up; a stop ends through finishRecording.
            if (!recorded && !stopRequested)
                loop.quit();
            break;
        }
    });
    const auto showStatus = [&] {
        if (recorder.state() == MeetingRecorder::State::recording)
            context.progress(statusLine(recorder));
    };
    QObject::connect(&recorder, &MeetingRecorder::micLevelChanged, showStatus);
    QObject::connect(&recorder, &MeetingRecorder::systemLevelChanged, showStatus);
    QObject::connect(&recorder, &MeetingRecorder::volatileTextChanged, showStatus);
    // Each line as the session takes it, before any question it asks.
    qsizetype shown = 0;
    QObject::connect(session, &MeetingSession::segmentsChanged, session, [&] {
        context.endProgress();
        for (; shown < session->segments().size(); ++shown) {
            const TranscriptSegment &segment = session->segments().at(shown);
            out << '[' << timestampText(segment.start) << "] " << speakerName(segment.speaker) << ": "
                << printable(segment.text) << "\n";
        }
        out.flush();
        showStatus();
    });
    printAnswers(*session, out);

    meetings.startRecording();
    if (recorder.state() != MeetingRecorder::State::idle)
        loop.exec();
    durationTimer.stop();
    context.endProgress();

    // Nothing was heard: the warning said why, and the empty meeting goes.
    if (!recorded) {
        // Finishing a start that gave up after a stop touches nothing.
        while (stopRequested && !finished)
            loop.processEvents(QEventLoop::WaitForMoreEvents);
        try {
            meetings.store().deleteMeeting(id);
        } catch (const DescribedError &) {
        }
        err << "Nothing was recorded.\n";
        err.flush();
        return 1;
    }
    // Questions heard last are answered before the command ends.
    while (session->answering())
        loop.processEvents(QEventLoop::WaitForMoreEvents);
    const int status = printNotes(context, *session, after);
    out << id << "\n";
    out.flush();
    return status;
}

} // namespace

Command recordCommand()
{
    return {QStringLiteral("record"), QStringLiteral("Record a meeting and transcribe it on this computer."),
            [](QCommandLineParser &parser) {
                parser.addOption(titleOption);
                parser.addOption(durationOption);
                parser.addOption(noNotesOption);
            },
            runRecord};
}
