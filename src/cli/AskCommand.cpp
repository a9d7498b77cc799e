// `larder ask QUESTION`: a question to Claude over the library, the answer
// streamed to standard output as it arrives, the lookups on standard error,
// and the numbered sources at the end. Without a question, on a terminal, it
// holds a conversation: one turn a line, /new starts over, Ctrl-D ends.
// Ctrl-C stops the running turn, which leaves no trace in the conversation.
#include "cli/Command.h"
#include "cli/Printable.h"

#include "app/AppModel.h"
#include "ask/AskAgent.h"
#include "ask/CitationMarks.h"
#include "claude/APIKeyStore.h"
#include "claude/ClaudeClient.h"
#include "core/Format.h"
#include "meetings/MeetingStore.h"
#include "store/IndexStore.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>

#include <atomic>
#include <csignal>

namespace {

const QCommandLineOption jsonOption(QStringLiteral("json"),
                                    QStringLiteral("Print the answer, the steps and the sources as JSON at the end."));

// The whole conversation goes back to Claude at every lookup of every turn,
// so a pasted document would be paid for many times over.
constexpr qsizetype questionLimit = 20000;

// The token of the running turn, for the Ctrl-C handler.
std::atomic<const CancellationToken *> runningTurn{nullptr};

void cancelRunningTurn(int)
{
    // Only a lock-free atomic store: safe inside a signal handler.
    if (const CancellationToken *token = runningTurn.load())
        token->cancel();
}

// Ctrl-C cancels the turn while the object lives, and ends the program
// again afterwards.
class InterruptCancels
{
public:
    explicit InterruptCancels(const CancellationToken &token)
    {
        runningTurn.store(&token);
        struct sigaction action{};
        action.sa_handler = cancelRunningTurn;
        sigemptyset(&action.sa_mask);
        sigaction(SIGINT, &action, &m_previous);
    }
    ~InterruptCancels()
    {
        sigaction(SIGINT, &m_previous, nullptr);
        runningTurn.store(nullptr);
    }
    InterruptCancels(const InterruptCancels &) = delete;
    InterruptCancels &operator=(const InterruptCancels &) = delete;

private:
    struct sigaction m_previous{};
};

// A question as it goes to Claude: control characters (bar tabs and line
// breaks) become blanks, and the ends are trimmed.
QString cleanQuestion(QString question)
{
    for (QChar &c : question) {
        if (c.category() == QChar::Other_Control && c != u'\n' && c != u'\t')
            c = u' ';
    }
    return question.trimmed();
}

// Whether a turn's text and steps are printed as they come, or only
// collected for the JSON at the end.
enum class Output { streamed, collected };

// What one turn showed.
struct TurnRecord
{
    QString answer;
    QStringList steps;
    QList<std::pair<int, Citation>> sources;
    std::optional<QString> error;
    bool cancelled = false;
};

class AskSession
{
public:
    explicit AskSession(CommandContext &context)
        : m_context(context)
        , m_store(context.library().store())
        , m_meetings(m_store)
        , m_client([] { return APIKeyStore::shared().key(); })
        , m_agent(m_client, [&context] { return context.settings().smartModel(); }, m_store, m_meetings)
    {
    }

    TurnRecord ask(const QString &question, Output output)
    {
        const bool streaming = output == Output::streamed;
        TurnRecord turn;
        QTextStream &out = m_context.out();
        QTextStream &err = m_context.err();
        bool lineOpen = false;
        const CancellationToken token;
        {
            const InterruptCancels interrupt(token);
            m_agent.run(
                question,
                [&](const AskEvent &event) {
                    switch (event.type) {
                    case AskEvent::Type::draft:
                        turn.answer += event.text;
                        if (streaming) {
                            out << event.text;
                            out.flush();
                            lineOpen = !event.text.endsWith(u'\n');
                        }
                        break;
                    case AskEvent::Type::step:
                        // What came before a lookup was commentary, not the answer.
                        turn.answer.clear();
                        turn.steps.append(event.text);
                        if (streaming) {
                            if (lineOpen)
                                out << "\n";
                            out.flush();
                            lineOpen = false;
                            err << printable(event.text) << "…\n";
                            err.flush();
                        }
                        break;
                    case AskEvent::Type::citation:
                        turn.sources.append({event.number, event.citation});
                        break;
                    case AskEvent::Type::failed:
                        turn.error = event.text;
                        break;
                    case AskEvent::Type::done:
                        break;
                    }
                },
                token);
        }
        turn.cancelled = token.isCancelled() && !turn.error;
        turn.answer = turn.answer.trimmed();
        if (streaming && lineOpen)
            out << "\n";
        out.flush();
        return turn;
    }

    // "[1] ~/Documents/lease.pdf", "[2] Weekly sync — Nov 23, 2026, 4:38 AM"
    QStringList sourceLines(const TurnRecord &turn) const
    {
        QStringList lines;
        for (int number : citedNumbers(turn.answer)) {
            if (number < 1 || number > m_agent.citations().size())
                continue;
            lines.append(QStringLiteral("[%1] ").arg(number) + printable(sourceText(m_agent.citations().at(number - 1))));
        }
        return lines;
    }

    QJsonObject json(const QString &question, const TurnRecord &turn) const
    {
        QJsonArray sources;
        for (const auto &[number, citation] : turn.sources) {
            QJsonObject source{{QStringLiteral("number"), number},
                               {QStringLiteral("kind"), citationKindRawValue(citation.kind)},
                               {QStringLiteral("ownerID"), citation.ownerID},
                               {QStringLiteral("title"), citation.title},
                               {QStringLiteral("detail"), citation.detail},
                               {QStringLiteral("excerpt"), citation.excerpt},
                               {QStringLiteral("location"), sourceText(citation)}};
            sources.append(source);
        }
        QJsonArray cited;
        for (int number : citedNumbers(turn.answer))
            cited.append(number);
        return {{QStringLiteral("question"), question},
                {QStringLiteral("answer"), turn.answer},
                {QStringLiteral("steps"), QJsonArray::fromStringList(turn.steps)},
                {QStringLiteral("sources"), sources},
                {QStringLiteral("cited"), cited},
                {QStringLiteral("error"), turn.error ? QJsonValue(*turn.error) : QJsonValue()}};
    }

    void newConversation() { m_agent.reset(); }

private:
    // A file's path, or a meeting's title and date.
    QString sourceText(const Citation &citation) const
    {
        if (citation.kind == Citation::Kind::file) {
            const QHash<qint64, FileRecord> records = m_store.files().records({citation.ownerID.toLongLong()});
            if (records.isEmpty())
                return citation.title;
            const QString path = records.begin()->path;
            const QString home = QDir::homePath();
            return path.startsWith(home + u'/') ? u'~' + path.mid(home.size()) : path;
        }
        const std::optional<Meeting> meeting = m_meetings.meeting(citation.ownerID);
        if (!meeting)
            return citation.title;
        return meeting->displayTitle() + QStringLiteral(" — ") + Format::dateTime(meeting->started);
    }

    CommandContext &m_context;
    IndexStore &m_store;
    MeetingStore m_meetings;
    ClaudeClient m_client;
    AskAgent m_agent;
};

// Prints a finished turn the way a person reads it; the answer itself has
// streamed already.
void printEnding(CommandContext &context, const AskSession &session, const TurnRecord &turn)
{
    if (turn.error) {
        context.err() << printable(*turn.error) << "\n";
        context.err().flush();
        return;
    }
    if (turn.cancelled) {
        context.err() << "Stopped.\n";
        context.err().flush();
        return;
    }
    const QStringList sources = session.sourceLines(turn);
    if (!sources.isEmpty())
        context.out() << "\nSources:\n" << sources.join(u'\n') << "\n";
    context.out().flush();
}

int converse(CommandContext &context, AskSession &session)
{
    QFile input;
    if (!input.open(stdin, QIODevice::ReadOnly))
        return context.failure(QStringLiteral("Couldn't read standard input."));
    QTextStream &err = context.err();
    err << "Ask about your files and meetings. /new starts a new conversation; Ctrl-D ends.\n";
    for (;;) {
        err << "> ";
        err.flush();
        const QByteArray line = input.readLine();
        if (line.isEmpty()) {
            err << "\n";
            err.flush();
            return 0;
        }
        const QString question = cleanQuestion(QString::fromUtf8(line));
        if (question.isEmpty())
            continue;
        if (question == QLatin1String("/new")) {
            session.newConversation();
            err << "Started a new conversation.\n";
            continue;
        }
        if (question.size() > questionLimit) {
            err << QStringLiteral("That question is %1 characters long; ask in at most %2.\n")
                       .arg(Format::count(question.size()), Format::count(questionLimit));
            continue;
        }
        printEnding(context, session, session.ask(question, Output::streamed));
        context.out() << "\n";
        context.out().flush();
    }
}

int runAsk(CommandContext &context)
{
    const QString raw = context.positional().join(u' ');
    if (raw.trimmed().isEmpty()) {
        if (context.positional().isEmpty() && CommandContext::isTerminal(stdin) && !context.wantsJson()) {
            if (const auto missing = CommandContext::missingClaudeKey(QStringLiteral("answer")))
                return context.failure(*missing);
            AskSession session(context);
            return converse(context, session);
        }
        return context.usageError(QStringLiteral("missing QUESTION"));
    }
    const QString question = cleanQuestion(raw);
    if (question.isEmpty())
        return context.usageError(QStringLiteral("the question holds no words"));
    if (question.size() > questionLimit)
        return context.usageError(QStringLiteral("the question is %1 characters long; ask in at most %2")
                                      .arg(Format::count(question.size()), Format::count(questionLimit)));

    if (const auto missing = CommandContext::missingClaudeKey(QStringLiteral("answer")))
        return context.failure(*missing);
    AskSession session(context);
    const bool json = context.wantsJson();
    const TurnRecord turn = session.ask(question, json ? Output::collected : Output::streamed);
    if (json) {
        context.printJson(session.json(question, turn));
        if (turn.error)
            return context.failure(*turn.error);
        return turn.cancelled ? 130 : 0;
    }
    printEnding(context, session, turn);
    if (turn.error)
        return 1;
    return turn.cancelled ? 130 : 0;
}

} // namespace

Command askCommand()
{
    return {QStringLiteral("ask"), QStringLiteral("Ask Claude about your files and meetings, with sources."),
            [](QCommandLineParser &parser) {
                parser.addOption(jsonOption);
                parser.addPositionalArgument(QStringLiteral("QUESTION"),
                                             QStringLiteral("What to ask; without it, a conversation on a terminal."),
                                             QStringLiteral("[QUESTION...]"));
            },
            runAsk};
}
