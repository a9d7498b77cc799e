// `larder meetings list|show ID|export ID|enhance ID|delete ID`: the recorded
// meetings of the library, their notes and transcripts.
#include "cli/Command.h"
#include "cli/LiveMeeting.h"
#include "cli/Printable.h"

#include "app/AppModel.h"
#include "claude/APIKeyStore.h"
#include "claude/ClaudeClient.h"
#include "core/AppSettings.h"
#include "core/Format.h"
#include "meetings/MeetingStore.h"
#include "meetings/MeetingText.h"
#include "session/NoteEnhancer.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace {

const QCommandLineOption jsonOption(QStringLiteral("json"), QStringLiteral("Print the result as JSON."));
const QCommandLineOption limitOption(QStringLiteral("limit"), QStringLiteral("List at most N meetings (default 100)."),
                                     QStringLiteral("N"), QStringLiteral("100"));
const QCommandLineOption outputOption(QStringLiteral("output"),
                                      QStringLiteral("Write the Markdown to FILE instead of standard output."),
                                      QStringLiteral("FILE"));
const QCommandLineOption yesOption(QStringLiteral("yes"), QStringLiteral("Delete without asking."));
const QCommandLineOption noNotesOption(QStringLiteral("no-notes"),
                                       QStringLiteral("With listen: don't have Claude write the notes at the end."));

double secondsOf(const QDateTime &date)
{
    return double(date.toMSecsSinceEpoch()) / 1000.0;
}

QJsonValue optionalSeconds(const std::optional<QDateTime> &date)
{
    return date ? QJsonValue(secondsOf(*date)) : QJsonValue();
}

QJsonObject meetingJson(const Meeting &meeting)
{
    return {{QStringLiteral("id"), meeting.id},
            {QStringLiteral("title"), meeting.title},
            {QStringLiteral("started"), secondsOf(meeting.started)},
            {QStringLiteral("ended"), optionalSeconds(meeting.ended)},
            {QStringLiteral("userNotes"), meeting.userNotes},
            {QStringLiteral("enhanced"), meeting.enhanced
                 ? QJsonDocument::fromJson(meeting.enhanced->json().serialized()).object()
                 : QJsonValue()},
            {QStringLiteral("enhancedAt"), optionalSeconds(meeting.enhancedAt)},
            {QStringLiteral("locale"), meeting.locale ? QJsonValue(*meeting.locale) : QJsonValue()}};
}

QJsonObject segmentJson(const TranscriptSegment &segment)
{
    return {{QStringLiteral("id"), segment.id},
            {QStringLiteral("speaker"), speakerRawValue(segment.speaker)},
            {QStringLiteral("start"), segment.start},
            {QStringLiteral("end"), segment.end},
            {QStringLiteral("text"), segment.text}};
}

QJsonObject answerJson(const LiveAnswer &answer)
{
    QJsonArray citations;
    for (const Citation &citation : answer.citations)
        citations.append(QJsonDocument::fromJson(citation.json().serialized()).object());
    return {{QStringLiteral("id"), answer.id},
            {QStringLiteral("question"), answer.question},
            {QStringLiteral("answer"), answer.answer},
            {QStringLiteral("citations"), citations},
            {QStringLiteral("created"), secondsOf(answer.created)}};
}


// The length of a finished meeting: "12:05".
QString lengthText(const Meeting &meeting)
{
    if (!meeting.ended)
        return QStringLiteral("—");
    return durationText(double(meeting.started.msecsTo(*meeting.ended)) / 1000.0);
}

// The meeting of the command's ID, or the failure that says there is none.
std::optional<Meeting> namedMeeting(CommandContext &context, const MeetingStore &meetings, const QString &id,
                                    int &status)
{
    std::optional<Meeting> meeting = meetings.meeting(id);
    if (!meeting)
        status = context.failure(QStringLiteral("No meeting with the id “%1”. `larder meetings list` shows them.").arg(id));
    return meeting;
}

int listMeetings(CommandContext &context, const MeetingStore &meetings)
{
    bool ok = false;
    const int limit = context.options().value(limitOption).toInt(&ok);
    if (!ok || limit < 1)
        return context.usageError(
            QStringLiteral("'%1' is not a whole number above 0").arg(context.options().value(limitOption)));
    const QList<Meeting> list = meetings.recentMeetings(limit);
    if (context.wantsJson()) {
        QJsonArray array;
        for (const Meeting &meeting : list)
            array.append(meetingJson(meeting));
        context.printJson(array);
        return 0;
    }
    QTextStream &out = context.out();
    if (list.isEmpty())
        out << "No meetings.\n";
    for (const Meeting &meeting : list)
        out << meeting.id << "  " << relativeDateText(meeting.started) << "  " << lengthText(meeting) << "  "
            << printable(meeting.displayTitle()) << "\n";
    out.flush();
    return 0;
}

int showMeeting(CommandContext &context, const MeetingStore &meetings, const QString &id)
{
    int status = 0;
    const std::optional<Meeting> meeting = namedMeeting(context, meetings, id, status);
    if (!meeting)
        return status;
    const QList<TranscriptSegment> segments = meetings.segments(id);
    const QList<LiveAnswer> answers = meetings.liveAnswers(id);
    if (context.wantsJson()) {
        QJsonObject result = meetingJson(*meeting);
        QJsonArray segmentArray;
        for (const TranscriptSegment &segment : segments)
            segmentArray.append(segmentJson(segment));
        QJsonArray answerArray;
        for (const LiveAnswer &answer : answers)
            answerArray.append(answerJson(answer));
        result.insert(QStringLiteral("segments"), segmentArray);
        result.insert(QStringLiteral("liveAnswers"), answerArray);
        context.printJson(result);
        return 0;
    }
    QTextStream &out = context.out();
    out << printable(meeting->displayTitle()) << "\n"
        << Format::dateTime(meeting->started) << " · " << lengthText(*meeting) << "\n";
    const QString notes = meeting->enhanced ? meeting->enhanced->markdown(meeting->started, Format::locale())
                                            : meeting->userNotes;
    if (!notes.trimmed().isEmpty())
        out << "\nNotes:\n" << printableLines(notes.trimmed()) << "\n";
    for (const LiveAnswer &answer : answers)
        out << "\nQ: " << printable(answer.question) << "\nA: " << printable(answer.answer) << "\n";
    const QString transcript = transcriptText(segments);
    out << "\nTranscript:\n" << (transcript.isEmpty() ? QStringLiteral("(none)") : printableLines(transcript)) << "\n";
    out.flush();
    return 0;
}

int exportMeeting(CommandContext &context, const MeetingStore &meetings, const QString &id)
{
    int status = 0;
    const std::optional<Meeting> meeting = namedMeeting(context, meetings, id, status);
    if (!meeting)
        return status;
    const QString markdown = meetingMarkdown(*meeting, meetings.segments(id), Format::locale());
    if (!context.options().isSet(outputOption)) {
        context.out() << markdown;
        context.out().flush();
        return 0;
    }
    const QString path = context.options().value(outputOption);
    if (path.isEmpty())
        return context.usageError(QStringLiteral("--output needs a file name"));
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(markdown.toUtf8()) < 0 || !file.commit())
        return context.failure(QStringLiteral("Couldn't write %1: %2. Choose a folder you can write to.")
                                   .arg(path, file.errorString()));
    context.out() << "Saved “" << printable(meeting->displayTitle()) << "” to " << printable(path) << "\n";
    context.out().flush();
    return 0;
}

// Has Claude write the meeting's notes from the user's own notes and the
// transcript, replacing notes written before; the user's notes stay as typed.
int enhanceMeeting(CommandContext &context, MeetingStore &meetings, const QString &id)
{
    int status = 0;
    const std::optional<Meeting> meeting = namedMeeting(context, meetings, id, status);
    if (!meeting)
        return status;
    if (const auto missing = CommandContext::missingClaudeKey(QStringLiteral("write the notes")))
        return context.failure(*missing);
    const QList<TranscriptSegment> segments = meetings.segments(id);
    if (segments.isEmpty() && meeting->userNotes.trimmed().isEmpty())
        return context.failure(QStringLiteral("“%1” has no notes and no transcript to write up. Record it or type "
                                              "notes first.")
                                   .arg(printable(meeting->displayTitle())));

    context.progress(QStringLiteral("Writing the notes of “%1”…").arg(printable(meeting->displayTitle())));
    const ClaudeClient client([] { return APIKeyStore::shared().key(); });
    const NoteEnhancer enhancer(client, context.settings().smartModel());
    const EnhancedNotes notes = enhancer.enhance(*meeting, segments);
    context.endProgress();

    // Read again: the notes took a while, and the meeting may have changed
    // or gone meanwhile.
    std::optional<Meeting> current = meetings.meeting(id);
    if (!current)
        return context.failure(
            QStringLiteral("The meeting was deleted while its notes were being written, so they weren't saved."));
    adoptNotes(*current, notes, QDateTime::currentDateTime());
    meetings.update(*current);
    meetings.indexPassages(*current, Format::locale());

    if (context.wantsJson()) {
        context.printJson(meetingJson(*current));
        return 0;
    }
    context.out() << printableLines(notes.markdown(current->started, Format::locale()).trimmed()) << "\n";
    context.out().flush();
    return 0;
}

// On a terminal, whether the user answered yes.
bool confirmed(CommandContext &context, const Meeting &meeting)
{
    context.err() << "Delete “" << printable(meeting.displayTitle())
                  << "” with its notes and transcript? This can't be undone. [y/N] ";
    context.err().flush();
    QFile input;
    if (!input.open(stdin, QIODevice::ReadOnly))
        return false;
    const QString answer = QString::fromUtf8(input.readLine(1024)).trimmed().toLower();
    return answer == QLatin1String("y") || answer == QLatin1String("yes");
}

int deleteMeeting(CommandContext &context, MeetingStore &meetings, const QString &id)
{
    const bool askFirst = !context.options().isSet(yesOption);
    if (askFirst && !CommandContext::isTerminal(stdin))
        return context.usageError(QStringLiteral("deleting a meeting needs --yes when not run from a terminal"));
    int status = 0;
    const std::optional<Meeting> meeting = namedMeeting(context, meetings, id, status);
    if (!meeting)
        return status;
    if (askFirst && !confirmed(context, *meeting)) {
        context.out() << "Nothing was deleted.\n";
        context.out().flush();
        return 0;
    }
    meetings.deleteMeeting(id);
    context.out() << "Deleted “" << printable(meeting->displayTitle()) << "”.\n";
    context.out().flush();
    return 0;
}

int runMeetings(CommandContext &context)
{
    const QStringList arguments = context.positional();
    if (arguments.isEmpty())
        return context.usageError(QStringLiteral("missing list, show, export, enhance, listen or delete"));
    const QString action = arguments.first();
    if (action == QLatin1String("listen")) {
        if (arguments.size() > 2)
            return context.usageError(QStringLiteral("unexpected argument '%1'").arg(arguments.at(2)));
        return holdMeeting(context, arguments.size() == 2 ? std::optional(arguments.at(1)) : std::nullopt,
                           context.options().isSet(noNotesOption) ? AfterMeeting::skipNotes : AfterMeeting::writeNotes);
    }
    const QStringList withID{QStringLiteral("show"), QStringLiteral("export"), QStringLiteral("enhance"),
                             QStringLiteral("delete")};
    if (action != QLatin1String("list") && !withID.contains(action))
        return context.usageError(
            QStringLiteral("unknown action '%1' (list, show, export, enhance, listen or delete)").arg(action));
    const qsizetype wanted = withID.contains(action) ? 2 : 1;
    if (arguments.size() < wanted)
        return context.usageError(QStringLiteral("missing the meeting's ID"));
    if (arguments.size() > wanted)
        return context.usageError(QStringLiteral("unexpected argument '%1'").arg(arguments.at(wanted)));

    MeetingStore meetings(context.library().store());
    if (action == QLatin1String("list"))
        return listMeetings(context, meetings);
    if (action == QLatin1String("show"))
        return showMeeting(context, meetings, arguments.at(1));
    if (action == QLatin1String("export"))
        return exportMeeting(context, meetings, arguments.at(1));
    if (action == QLatin1String("enhance"))
        return enhanceMeeting(context, meetings, arguments.at(1));
    return deleteMeeting(context, meetings, arguments.at(1));
}

} // namespace

Command meetingsCommand()
{
    return {QStringLiteral("meetings"), QStringLiteral("List, show, export, write the notes of, hold or delete meetings."),
            [](QCommandLineParser &parser) {
                parser.addOption(jsonOption);
                parser.addOption(limitOption);
                parser.addOption(outputOption);
                parser.addOption(yesOption);
                parser.addOption(noNotesOption);
                parser.addPositionalArgument(QStringLiteral("ACTION"),
                                             QStringLiteral("list, show, export, enhance, listen or delete."),
                                             QStringLiteral("list|show ID|export ID|enhance ID|listen [ID]|delete ID"));
            },
            runMeetings};
}
