// What every headless command gets: its parsed options, the output streams,
// and the program's settings and model, made on first use. A command reports
// a failure by returning failure(), or by throwing a DescribedError, which
// the command line prints the same way.
#pragma once

#include <optional>

#include <QCommandLineParser>
#include <QJsonValue>
#include <QTextStream>

#include <functional>
#include <memory>

class AppModel;
class AppSettings;

class CommandContext
{
public:
    CommandContext(QString name, QCommandLineParser &parser, QTextStream &out, QTextStream &err);
    ~CommandContext();

    QCommandLineParser &options() { return m_parser; }
    QStringList positional() const { return m_parser.positionalArguments(); }
    QTextStream &out() { return m_out; }
    QTextStream &err() { return m_err; }

    // Settings over the program's settings store, with --database and --roots
    // already layered on as launch arguments.
    AppSettings &settings();
    // The application model, whatever became of the library: when the library
    // on disk couldn't be opened, it stands on an empty one in memory.
    AppModel &model();
    // The application model over the library on disk. When that couldn't be
    // opened, throws the reason worded for the user, which ends the command
    // with it (status 1).
    AppModel &library();

    bool wantsJson() const;
    void printJson(const QJsonValue &value);

    // A progress line on stderr, rewritten in place; only when stderr is a
    // terminal, so scripts and logs stay clean.
    void progress(const QString &line);
    void endProgress();
    static bool isTerminal(FILE *stream);

    // Nothing when Claude has an API key to work with; otherwise the line a
    // command says instead, with what it needed the key for: "Claude needs
    // an API key to answer; add one with `larder key set`."
    static std::optional<QString> missingClaudeKey(const QString &neededFor);

    // The command's help, headed "Usage: larder NAME [options]".
    QString helpText() const;
    // A usage error: one line, then the command's help. Returns 2.
    int usageError(const QString &message);
    // A failure the user should read. Returns 1.
    int failure(const QString &message);

private:
    QString m_name;
    QCommandLineParser &m_parser;
    QTextStream &m_out;
    QTextStream &m_err;
    std::unique_ptr<AppSettings> m_settings;
    std::unique_ptr<AppModel> m_model;
    bool m_progressShown = false;
};

struct Command
{
    QString name;
    // One line for the general help. A command without one is internal and
    // isn't listed there.
    QString summary;
    // Adds the command's options and positional arguments.
    std::function<void(QCommandLineParser &)> configure;
    std::function<int(CommandContext &)> run;
};

// Every command, in the order the help lists them.
const QList<Command> &allCommands();

// One command's table entry each; the list in Commands.cpp joins them.
Command infoCommand();
Command scanCommand();
Command indexCommand();
Command statusCommand();
Command listCommand();
Command extractWorkerCommand();
Command keyCommand();
Command claudeCommand();
Command duplicatesCommand();
Command cleanupCommand();
Command trashCommand();
Command searchCommand();
Command meetingsCommand();
Command recordCommand();
Command askCommand();
