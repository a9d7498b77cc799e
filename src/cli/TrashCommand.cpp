// `larder trash PATH...`: moves files and folders to the Trash as the screens do, and
// takes them out of the library at once.
#include "cli/Command.h"
#include "cli/Printable.h"

#include "app/AppModel.h"
#include "store/IndexStore.h"
#include "tidy/FileActions.h"

#include <QDir>
#include <QFileInfo>

namespace {

// The library's record of the path, or a bare one for a file it doesn't hold.
FileRecord recordFor(IndexStore &store, const QString &path)
{
    if (std::optional<FileRecord> stored = store.files().recordAt(path))
        return *stored;
    FileRecord record;
    record.path = path;
    record.name = QFileInfo(path).fileName();
    record.size = QFileInfo(path).size();
    return record;
}

int runTrash(CommandContext &context)
{
    const QStringList paths = context.positional();
    if (paths.isEmpty())
        return context.usageError(QStringLiteral("missing PATH"));
    AppModel &app = context.library();
    QList<FileRecord> records;
    for (const QString &path : paths)
        records.append(recordFor(app.store(), QDir::cleanPath(QFileInfo(path).absoluteFilePath())));
    const FileActions::TrashOutcome outcome = app.fileActions().trash(records);
    for (const FileRecord &record : records) {
        if (!outcome.movedPaths.contains(record.path))
            context.err() << "Couldn't move " << printable(record.path) << " to the Trash.\n";
    }
    context.err().flush();
    if (outcome.movedPaths.isEmpty())
        return context.failure(outcome.toast);
    context.out() << printable(outcome.toast) << "\n";
    // Some files stayed where they were: a script should know.
    return outcome.movedPaths.size() == records.size() ? 0 : 1;
}

} // namespace

Command trashCommand()
{
    return {QStringLiteral("trash"),
            QStringLiteral("Move files to the Trash and take them out of the library."),
            [](QCommandLineParser &parser) {
                parser.addPositionalArgument(QStringLiteral("PATH"), QStringLiteral("Files or folders to move."),
                                             QStringLiteral("PATH..."));
            },
            runTrash};
}
