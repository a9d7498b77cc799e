// `larder claude PROMPT`: one message to Claude and its answer, for checking
// the set-up (key, network) from a terminal.
#include "cli/Command.h"

#include "claude/APIKeyStore.h"
#include "claude/ClaudeClient.h"
#include "core/AppSettings.h"

namespace {

const QCommandLineOption modelOption(QStringLiteral("model"),
                                     QStringLiteral("The model to ask (default: the fast model of the settings)."),
                                     QStringLiteral("M"));
const QCommandLineOption streamOption(QStringLiteral("stream"), QStringLiteral("Print the answer as it arrives."));

constexpr qint64 answerTokens = 4000;

int runClaude(CommandContext &context)
{
    const QString prompt = context.positional().join(u' ').trimmed();
    if (prompt.isEmpty())
        return context.usageError(QStringLiteral("missing PROMPT"));
    if (const auto missing = CommandContext::missingClaudeKey(QStringLiteral("answer")))
        return context.failure(*missing);

    MessageRequest request;
    request.model = context.options().isSet(modelOption) ? context.options().value(modelOption)
                                                         : context.settings().fastModel();
    request.maxTokens = answerTokens;
    request.messages = {userMessage(prompt)};

    const ClaudeClient client([] { return APIKeyStore::shared().key(); });
    QTextStream &out = context.out();
    try {
        if (context.options().isSet(streamOption)) {
            client.streamMessage(request, [&](const QString &piece) {
                out << piece;
                out.flush();
            });
            out << "\n";
        } else {
            out << client.send(request).text() << "\n";
        }
    } catch (const ClaudeError &error) {
        out.flush();
        return context.failure(error.description());
    }
    out.flush();
    return 0;
}

} // namespace

Command claudeCommand()
{
    return {QStringLiteral("claude"), QStringLiteral("Send one message to Claude and print the answer."),
            [](QCommandLineParser &parser) {
                parser.addOption(modelOption);
                parser.addOption(streamOption);
                parser.addPositionalArgument(QStringLiteral("PROMPT"), QStringLiteral("What to ask."));
            },
            runClaude};
}
