// `larder record [--title TEXT] [--duration SECONDS]`: records a meeting from
// the microphone and the call audio until Ctrl-C or the given time, printing
// each accepted segment as it comes, and then the new meeting's id.
#include "cli/Command.h"
#include "cli/Printable.h"
#include "cli/StopSignals.h"

#include "app/AppModel.h"
#include "meetings/MeetingRecorder.h"
#include "meetings/MeetingStore.h"
#include "meetings/MeetingText.h"

#include <QEventLoop>
#include <QTimer>
#include <QUuid>

#include <algorithm>
#include <cmath>

namespace {

const QCommandLineOption titleOption(QStringLiteral("title"), QStringLiteral("Give the meeting a title."),
                                     QStringLiteral("TEXT"));
const QCommandLineOption durationOption(QStringLiteral("duration"),
                                        QStringLiteral("Stop by itself after SECONDS of recording."),
                                        QStringLiteral("SECONDS"));

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

    MeetingStore meetings(context.library().store());
    Meeting meeting;
    meeting.id = QUuid::createUuid().toString(QUuid::WithoutBraces);
    meeting.title = context.options().value(titleOption).trimmed();
    meeting.started = QDateTime::currentDateTime();
    meeting.locale = QStringLiteral("en-US");
    meetings.insert(meeting.id, meeting.started, meeting.locale);
    if (!meeting.title.isEmpty())
        meetings.update(meeting);

    QTextStream &out = context.out();
    QTextStream &err = context.err();
    MeetingRecorder recorder(meetings);
    QEventLoop loop;
    bool recorded = false;
    bool stopRequested = false;
    const auto requestStop = [&] {
        stopRequested = true;
        recorder.stop();
    };
    StopSignals stopSignals(requestStop);
    QTimer durationTimer;
    durationTimer.setSingleShot(true);
    QObject::connect(&durationTimer, &QTimer::timeout, requestStop);

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
            // A Ctrl-C while it was still getting ready.
            if (stopRequested)
                recorder.stop();
            break;
        case MeetingRecorder::State::stopping:
            context.endProgress();
            err << "Finishing the transcript…\n";
            err.flush();
            break;
        case MeetingRecorder::State::idle:
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
    recorder.setOnSegment([&](const TranscriptSegment &segment) {
        context.endProgress();
        out << '[' << timestampText(segment.start) << "] " << speakerName(segment.speaker) << ": "
            << printable(segment.text) << "\n";
        out.flush();
        showStatus();
    });

    recorder.start(meeting.id);
    loop.exec();
    durationTimer.stop();
    context.endProgress();

    // Nothing was heard: the warning said why, and the empty meeting goes.
    if (!recorded) {
        meetings.deleteMeeting(meeting.id);
        err << "Nothing was recorded.\n";
        err.flush();
        return 1;
    }
    meeting.ended = QDateTime::currentDateTime();
    int status = 0;
    try {
        meetings.update(meeting);
        meetings.indexPassages(meeting);
    } catch (const DescribedError &error) {
        // The transcript is stored already; only its end time or its place
        // in search is missing.
        err << printable(error.description()) << "\n";
        status = 1;
    }
    out << meeting.id << "\n";
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
            },
            runRecord};
}
