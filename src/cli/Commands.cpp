#include "cli/Command.h"

const QList<Command> &allCommands()
{
    static const QList<Command> commands{
        infoCommand(),
        scanCommand(),
        indexCommand(),
        statusCommand(),
        listCommand(),
        extractWorkerCommand(),
        claudeCommand(),
        keyCommand(),
    };
    return commands;
}
