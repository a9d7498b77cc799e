// `larder key set|check|remove`: the Claude API key in the desktop's keyring.
// A new key is read from standard input without echo and saved only after
// Claude accepted it.
#include "cli/Command.h"

#include "claude/APIKeyStore.h"
#include "claude/ClaudeClient.h"

#include <QFile>

#include <termios.h>
#include <unistd.h>

namespace {

// One line from standard input; on a terminal, after a prompt and with the
// echo turned off while it is typed.
QString readSecretLine(QTextStream &err)
{
    const bool terminal = ::isatty(STDIN_FILENO) == 1;
    termios saved{};
    if (terminal) {
        err << "Paste your Claude API key: ";
        err.flush();
        ::tcgetattr(STDIN_FILENO, &saved);
        termios quiet = saved;
        quiet.c_lflag &= ~tcflag_t(ECHO);
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
    }
    QFile input;
    QByteArray line;
    if (input.open(stdin, QIODevice::ReadOnly))
        line = input.readLine(64 * 1024);
    if (terminal) {
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
        err << "\n";
        err.flush();
    }
    return QString::fromUtf8(line).trimmed();
}

ClaudeClient makeClient()
{
    return ClaudeClient([] { return APIKeyStore::shared().key(); });
}

int setKey(CommandContext &context)
{
    const QString key = readSecretLine(context.err());
    if (key.isEmpty())
        return context.failure(QStringLiteral("No key was given. Paste the key from the Claude Console on standard input."));
    try {
        makeClient().validateKey(key);
    } catch (const ClaudeError &error) {
        return context.failure(error.description());
    }
    switch (APIKeyStore::shared().setKey(key)) {
    case SecretStore::Status::ok:
    case SecretStore::Status::notFound:
        context.out() << "The key works and is saved in your keyring.\n";
        context.out().flush();
        return 0;
    case SecretStore::Status::noKeyring:
        return context.failure(QStringLiteral("The key works, but no keyring was found, so it was not saved. "
                                              "Set ANTHROPIC_API_KEY to use it instead."));
    case SecretStore::Status::failed:
        break;
    }
    return context.failure(QStringLiteral("The key works, but the keyring refused to save it, so it was not saved. "
                                          "Unlock your keyring and try again, or set ANTHROPIC_API_KEY instead."));
}

int checkKey(CommandContext &context)
{
    const std::optional<QString> key = APIKeyStore::shared().key();
    try {
        if (!key || key->isEmpty())
            throw ClaudeError::missingAPIKey();
        makeClient().validateKey(*key);
    } catch (const ClaudeError &error) {
        return context.failure(error.description());
    }
    context.out() << "The API key works.\n";
    context.out().flush();
    return 0;
}

int removeKey(CommandContext &context)
{
    switch (APIKeyStore::shared().setKey(std::nullopt)) {
    case SecretStore::Status::ok:
        context.out() << "Removed the API key from your keyring.\n";
        break;
    case SecretStore::Status::notFound:
        context.out() << "There was no API key in your keyring.\n";
        break;
    case SecretStore::Status::noKeyring:
        return context.failure(QStringLiteral("No keyring was found, so there is no saved key to remove."));
    case SecretStore::Status::failed:
        return context.failure(QStringLiteral("The keyring refused to remove the key. Unlock your keyring and try again."));
    }
    context.out().flush();
    return 0;
}

int runKey(CommandContext &context)
{
    const QStringList arguments = context.positional();
    if (arguments.size() != 1)
        return context.usageError(arguments.isEmpty() ? QStringLiteral("missing set, check or remove")
                                                      : QStringLiteral("unexpected argument '%1'").arg(arguments.at(1)));
    const QString action = arguments.first();
    if (action == QLatin1String("set"))
        return setKey(context);
    if (action == QLatin1String("check"))
        return checkKey(context);
    if (action == QLatin1String("remove"))
        return removeKey(context);
    return context.usageError(QStringLiteral("unknown action '%1' (set, check or remove)").arg(action));
}

} // namespace

Command keyCommand()
{
    return {QStringLiteral("key"), QStringLiteral("Set, check or remove the Claude API key in your keyring."),
            [](QCommandLineParser &parser) {
                parser.addPositionalArgument(QStringLiteral("set|check|remove"),
                                             QStringLiteral("set: read a key from standard input, verify it and save it; "
                                                            "check: verify the key in use; remove: delete the saved key."));
            },
            runKey};
}
