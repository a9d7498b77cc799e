#include "cli/Command.h"

const QList<Command> &allCommands()
{
    static const QList<Command> commands{
        infoCommand(),
        searchCommand(),
    };
    return commands;
}
