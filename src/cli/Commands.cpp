#include "cli/Command.h"

const QList<Command> &allCommands()
{
    static const QList<Command> commands{
        infoCommand(),
        scanCommand(),
        indexCommand(),
        statusCommand(),
        listCommand(),
        searchCommand(),
        askCommand(),
        meetingsCommand(),
        recordCommand(),
        extractWorkerCommand(),
        claudeCommand(),
        keyCommand(),
        duplicatesCommand(),
        cleanupCommand(),
        trashCommand(),
    };
    return commands;
}
