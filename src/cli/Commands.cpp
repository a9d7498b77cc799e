#include "cli/Command.h"

const QList<Command> &allCommands()
{
    static const QList<Command> commands{
        infoCommand(),
        duplicatesCommand(),
        cleanupCommand(),
        trashCommand(),
    };
    return commands;
}
