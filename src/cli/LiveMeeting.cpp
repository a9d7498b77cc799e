#include "cli/LiveMeeting.h"

#include "cli/Command.h"
#include "cli/Printable.h"

#include "app/AppModel.h"
#include "claude/APIKeyStore.h"
#include "claude/ClaudeClient.h"
#include "core/AppSettings.h"
#include "core/Format.h"
#include "session/MeetingsModel.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>

#include <thread>

namespace {

using namespace Qt::StringLiterals;

// "You: text" is the user, "Them: text" and a line without a label the
// other side.
TranscriptSegment segmentOf(const QString &line, const QString &meetingID, double at)
{
    TranscriptSegment segment{0, meetingID, Speaker::them, at, at, line.trimmed()};
    for (const Speaker speaker : {Speaker::me, Speaker::them}) {
        const QString label = speakerLabel(speaker) + u':';
        if (segment.text.startsWith(label, Qt::CaseInsensitive)) {
            segment.speaker = speaker;
            segment.text = segment.text.mid(label.size()).trimmed();
        }
    }
    return segment;
}

QString answerText(const LiveAnswer &answer)
{
    QString text = u"Answer: "_s + printable(answer.answer) + u'\n';
    for (qsizetype i = 0; i < answer.citations.size(); ++i) {
        const Citation &citation = answer.citations.at(i);
        text += u"  [%1] "_s.arg(i + 1) + printable(citation.title);
        if (!citation.detail.isEmpty())
            text += u" ("_s + printable(citation.detail) + u')';
        text += u'\n';
    }
    return text;
}

// Reads standard input on a thread of its own and hands each line, then the
// end, to the receiver's thread.
class LineReader : public QObject
{
public:
    LineReader(std::function<void(const QString &)> onLine, std::function<void()> onEnd)
        : m_thread([this, onLine = std::move(onLine), onEnd = std::move(onEnd)] {
            QFile input;
            if (input.open(stdin, QIODevice::ReadOnly)) {
                while (true) {
                    const QByteArray line = input.readLine();
                    if (line.isEmpty())
                        break;
                    Tasks::deliver(this, [onLine, text = QString::fromUtf8(line)] { onLine(text); });
                }
            }
            Tasks::deliver(this, onEnd);
        })
    {
    }
    ~LineReader() override { m_thread.join(); }

private:
    std::thread m_thread;
};

} // namespace

int holdMeeting(CommandContext &context, const std::optional<QString> &meetingID, AfterMeeting after)
{
    AppModel &app = context.library();
    AppSettings &settings = context.settings();
    const auto missingKey = CommandContext::missingClaudeKey(u"answer questions live"_s);
    const ClaudeClient client([] { return APIKeyStore::shared().key(); });
    MeetingsModel model(app.store(), client, settings, [&missingKey] { return !missingKey; });

    QString id;
    if (meetingID) {
        if (!model.store().meeting(*meetingID))
            return context.failure(
                u"No meeting with the id “%1”. `larder meetings list` shows them."_s.arg(*meetingID));
        id = *meetingID;
        model.select(id);
    } else {
        const std::optional<QString> made = model.newMeeting();
        if (!made)
            return context.failure(u"Couldn't make a new meeting in the library."_s);
        id = *made;
    }
    MeetingSession *session = model.session();
    if (!session)
        return context.failure(u"Couldn't open the meeting in the library. Try again, or check the library with "
                               u"`larder info`."_s);
    QTextStream &out = context.out();
    QTextStream &err = context.err();
    if (CommandContext::isTerminal(stdin))
        err << "Listening to “" << printable(session->displayTitle()) << "” (" << id
            << "). Type what is said, a line at a time (\"You: …\" for yourself); end with Ctrl-D.\n";
    if (missingKey)
        err << *missingKey << "\n";
    else if (!settings.liveAnswersEnabled())
        err << "Live answers are turned off in the settings.\n";
    err.flush();

    model.setRecorderStatus({id, MeetingsModel::RecorderState::recording, QDateTime::currentDateTime()});
    model.recordingStarted(id, QDateTime::currentDateTime());
    printAnswers(*session, out);

    QEventLoop loop;
    QElapsedTimer clock;
    clock.start();
    bool ended = false;
    {
        LineReader reader(
            [&](const QString &line) {
                TranscriptSegment segment = segmentOf(line, id, double(clock.elapsed()) / 1000.0);
                if (segment.text.isEmpty())
                    return;
                try {
                    segment.id = model.store().insertSegment(segment);
                } catch (const std::exception &) {
                    // The line still counts for the answers and the notes.
                }
                model.route(segment);
            },
            [&] {
                ended = true;
                loop.quit();
            });
        if (!ended)
            loop.exec();
    }
    // Questions still queued are answered before the meeting ends.
    while (session->answering())
        loop.processEvents(QEventLoop::WaitForMoreEvents);
    model.setRecorderStatus({id, MeetingsModel::RecorderState::idle, std::nullopt});

    const bool write = after == AfterMeeting::writeNotes && !missingKey;
    bool finished = false;
    session->finish(write ? MeetingSession::Enhancement::write : MeetingSession::Enhancement::skip,
                    [&] { finished = true; });
    while (!finished)
        loop.processEvents(QEventLoop::WaitForMoreEvents);

    if (const int status = printNotes(context, *session, write ? after : AfterMeeting::skipNotes))
        return status;
    out << "Saved “" << printable(session->meeting().displayTitle()) << "” (" << id << ").\n";
    out.flush();
    return 0;
}

void printAnswers(MeetingSession &session, QTextStream &out)
{
    QObject::connect(&session, &MeetingSession::questionTaken, &session, [&out](const QString &question) {
        out << "Question: " << printable(question) << "\n";
        out.flush();
    });
    QObject::connect(&session, &MeetingSession::answersChanged, &session,
                     [&out, &session, shown = session.answers().size()]() mutable {
                         for (; shown < session.answers().size(); ++shown)
                             out << answerText(session.answers().at(shown));
                         out.flush();
                     });
}

int printNotes(CommandContext &context, const MeetingSession &session, AfterMeeting after)
{
    if (session.enhanceError())
        return context.failure(u"The transcript is saved, but the notes weren't written: "_s + *session.enhanceError());
    QTextStream &out = context.out();
    const Meeting &meeting = session.meeting();
    if (meeting.enhanced)
        out << "\n" << printableLines(meeting.enhanced->markdown(meeting.started, Format::locale()).trimmed()) << "\n";
    else if (after == AfterMeeting::writeNotes)
        out << "\nNothing was said or noted, so there are no notes.\n";
    out.flush();
    return 0;
}
