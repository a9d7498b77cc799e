#include "cli/CommandLine.h"

#include "claude/APIKeyStore.h"

#include "cli/Command.h"
#include "cli/Printable.h"
#include "app/AppModel.h"
#include "core/AppSettings.h"
#include "core/Defaults.h"
#include "core/Errors.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <optional>

#include <unistd.h>

// ---- CommandContext ----

namespace {

// The library on disk couldn't be opened; the model says why.
class LibraryUnavailable : public DescribedError
{
public:
    explicit LibraryUnavailable(QString reason)
        : m_reason(std::move(reason))
    {
    }
    QString description() const override { return m_reason; }

private:
    QString m_reason;
};

} // namespace

CommandContext::CommandContext(QString name, QCommandLineParser &parser, QTextStream &out, QTextStream &err)
    : m_name(std::move(name))
    , m_parser(parser)
    , m_out(out)
    , m_err(err)
{
}

CommandContext::~CommandContext()
{
    endProgress();
}

AppSettings &CommandContext::settings()
{
    if (!m_settings)
        m_settings = std::make_unique<AppSettings>(Defaults::standard());
    return *m_settings;
}

AppModel &CommandContext::model()
{
    if (!m_model)
        m_model = std::make_unique<AppModel>(settings());
    return *m_model;
}

AppModel &CommandContext::library()
{
    AppModel &opened = model();
    if (const auto failure = opened.libraryFailure())
        throw LibraryUnavailable(*failure);
    return opened;
}

bool CommandContext::wantsJson() const
{
    return m_parser.optionNames().contains(QStringLiteral("json")) && m_parser.isSet(QStringLiteral("json"));
}

void CommandContext::printJson(const QJsonValue &value)
{
    QJsonDocument document = value.isArray() ? QJsonDocument(value.toArray()) : QJsonDocument(value.toObject());
    m_out << document.toJson(QJsonDocument::Indented);
    m_out.flush();
}

std::optional<QString> CommandContext::missingClaudeKey(const QString &neededFor)
{
    if (const auto key = APIKeyStore::shared().key(); key && !key->isEmpty())
        return std::nullopt;
    return QStringLiteral("Claude needs an API key to %1; add one with `larder key set`.").arg(neededFor);
}

bool CommandContext::isTerminal(FILE *stream)
{
    return ::isatty(::fileno(stream)) == 1;
}

void CommandContext::progress(const QString &line)
{
    if (!isTerminal(stderr))
        return;
    m_err << "\r\033[K" << printable(line);
    m_err.flush();
    m_progressShown = true;
}

void CommandContext::endProgress()
{
    if (!m_progressShown)
        return;
    m_err << "\r\033[K";
    m_err.flush();
    m_progressShown = false;
}

QString CommandContext::helpText() const
{
    QString text = m_parser.helpText();
    const qsizetype lineEnd = text.indexOf(u'\n');
    const QString firstLine = text.left(lineEnd);
    const qsizetype optionsAt = firstLine.indexOf(QLatin1String(" [options]"));
    if (firstLine.startsWith(QLatin1String("Usage: ")) && optionsAt > 0)
        text.replace(7, optionsAt - 7, QStringLiteral("larder ") + m_name);
    return text;
}

int CommandContext::usageError(const QString &message)
{
    endProgress();
    m_err << "larder " << m_name << ": " << printable(message) << "\n\n" << helpText();
    m_err.flush();
    return 2;
}

int CommandContext::failure(const QString &message)
{
    endProgress();
    m_err << printable(message) << "\n";
    m_err.flush();
    return 1;
}

// ---- the command line ----

namespace {

const QCommandLineOption databaseOption(QStringLiteral("database"),
                                        QStringLiteral("Use the library at PATH (same as -LarderDatabase PATH)."),
                                        QStringLiteral("PATH"));
const QCommandLineOption rootsOption(QStringLiteral("roots"),
                                     QStringLiteral("Index FOLDER instead of the chosen ones; repeat it for "
                                                    "more, or join them as A:B (same as -LarderIndexRoots)."),
                                     QStringLiteral("FOLDER"));
const QCommandLineOption helpOption({QStringLiteral("h"), QStringLiteral("help")},
                                    QStringLiteral("Show this help."));

// The one wording of usage errors: lower case, no closing stop, options with
// their dashes ("unknown option '--frobnicate'"). Qt's parser words its own.
QString parseProblem(const QCommandLineParser &parser)
{
    const QStringList unknown = parser.unknownOptionNames();
    if (!unknown.isEmpty()) {
        const QString &name = unknown.first();
        return QStringLiteral("unknown option '%1%2'").arg(name.size() == 1 ? QStringLiteral("-") : QStringLiteral("--"), name);
    }
    QString text = parser.errorText();
    if (text.endsWith(u'.'))
        text.chop(1);
    if (!text.isEmpty())
        text[0] = text[0].toLower();
    return text;
}

bool isGlobalOption(const QString &argument)
{
    for (const QCommandLineOption *option : {&databaseOption, &rootsOption}) {
        const QString name = QStringLiteral("--") + option->names().first();
        if (argument == name || argument.startsWith(name + u'='))
            return true;
    }
    return false;
}

// --database and --roots may come before the command, as the help shows
// them: "larder --database PATH status". Returns how many arguments they
// take, or nullopt when the last of them lacks its value.
std::optional<qsizetype> leadingGlobalOptions(const QStringList &arguments, QString &missing)
{
    qsizetype count = 0;
    while (count < arguments.size() && isGlobalOption(arguments.at(count))) {
        if (arguments.at(count).contains(u'=')) {
            ++count;
            continue;
        }
        if (count + 1 >= arguments.size()) {
            missing = arguments.at(count);
            return std::nullopt;
        }
        count += 2;
    }
    return count;
}

const Command *findCommand(const QString &name)
{
    for (const Command &command : allCommands()) {
        if (command.name == name)
            return &command;
    }
    return nullptr;
}

// --database and --roots become launch arguments, so the settings read them
// as the window would.
QStringList launchArgumentsFromOptions(const QCommandLineParser &parser)
{
    QStringList launch;
    if (parser.isSet(databaseOption))
        launch << QStringLiteral("-LarderDatabase") << parser.value(databaseOption);
    for (const QString &root : parser.values(rootsOption))
        launch << QStringLiteral("-LarderIndexRoots") << root;
    return launch;
}

} // namespace

QString generalUsage()
{
    QString text;
    QTextStream stream(&text);
    stream << "Usage: larder [COMMAND] [OPTIONS]\n\n"
           << "Without a command, larder opens its window.\n\n"
           << "Commands:\n";
    for (const Command &command : allCommands()) {
        if (command.summary.isEmpty())
            continue;
        stream << "  " << command.name.leftJustified(12) << command.summary << "\n";
    }
    stream << "\nOptions for every command:\n"
           << "  --database PATH   Use the library at PATH.\n"
           << "  --roots FOLDER    Index this folder instead of the chosen ones; repeat it for more.\n"
           << "  --json            Print the result as JSON (read commands).\n"
           << "  -h, --help        Show the help of a command.\n"
           << "  --version         Show Larder's version.\n\n"
           << "Run 'larder COMMAND --help' for a command's options.\n";
    return text;
}

int runCommandLine(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    const Defaults::SplitArguments split = Defaults::splitArguments(arguments);
    QString missing;
    const auto globalCount = leadingGlobalOptions(split.rest, missing);
    if (!globalCount) {
        err << "larder: missing value after '" << missing << "'\n\n" << generalUsage();
        return 2;
    }
    const QStringList leading = split.rest.first(*globalCount);
    const QStringList rest = split.rest.mid(*globalCount);

    if (rest.isEmpty() || rest.first() == QLatin1String("--help") || rest.first() == QLatin1String("-h")
        || rest.first() == QLatin1String("help")) {
        out << generalUsage();
        return 0;
    }
    if (rest.first() == QLatin1String("--version")) {
        out << "larder " << LARDER_VERSION << "\n";
        return 0;
    }

    const Command *command = findCommand(rest.first());
    if (!command) {
        const QString what = rest.first().startsWith(u'-') ? QStringLiteral("unknown option '%1'")
                                                          : QStringLiteral("unknown command '%1'");
        err << "larder: " << printable(what.arg(rest.first())) << "\n\n" << generalUsage();
        return 2;
    }

    QCommandLineParser parser;
    parser.setApplicationDescription(command->summary);
    parser.addOption(databaseOption);
    parser.addOption(rootsOption);
    parser.addOption(helpOption);
    command->configure(parser);

    QStringList parseArguments{QStringLiteral("larder ") + command->name};
    parseArguments += leading + rest.mid(1);
    CommandContext context(command->name, parser, out, err);
    if (!parser.parse(parseArguments))
        return context.usageError(parseProblem(parser));
    if (parser.isSet(helpOption)) {
        out << context.helpText();
        return 0;
    }
    // An empty --roots would quietly stand for the chosen folders.
    for (const QString &root : parser.values(rootsOption)) {
        if (root.split(u':', Qt::SkipEmptyParts).isEmpty())
            return context.usageError(QStringLiteral("--roots needs a folder"));
    }

    // An option replaces a launch argument of the same key, rather than
    // joining it into a list.
    const QStringList fromOptions = launchArgumentsFromOptions(parser);
    QStringList launch;
    for (qsizetype i = 0; i + 1 < split.launch.size(); i += 2) {
        if (!fromOptions.contains(split.launch.at(i)))
            launch << split.launch.at(i) << split.launch.at(i + 1);
    }
    Defaults::setStandardArguments(launch + fromOptions);
    try {
        return command->run(context);
    } catch (const DescribedError &error) {
        return context.failure(error.description());
    }
}
