// `larder info`: which library is in use and what it holds.
#include "cli/Command.h"
#include "cli/Printable.h"

#include "app/AppModel.h"
#include "store/IndexStore.h"

#include <QJsonObject>

namespace {

const QCommandLineOption jsonOption(QStringLiteral("json"), QStringLiteral("Print the result as JSON."));

int runInfo(CommandContext &context)
{
    if (!context.positional().isEmpty())
        return context.usageError(QStringLiteral("unexpected argument '%1'").arg(context.positional().first()));

    // Shows the stand-in library too, and what was wanted instead of it.
    AppModel &model = context.model();
    const std::optional<QString> failure = model.libraryFailure();
    const bool inMemory = AppModel::isRunningTests() || failure;
    const QString database = model.databaseURL().toLocalFile();
    const LibraryStats::Counts counts = model.store().stats().counts();
    const qint64 version = model.store().storedSchemaVersion();

    if (context.wantsJson()) {
        context.printJson(QJsonObject{
            {QStringLiteral("database"), database},
            {QStringLiteral("inMemory"), inMemory},
            {QStringLiteral("schemaVersion"), version},
            {QStringLiteral("files"), counts.files},
            {QStringLiteral("passages"), counts.passages},
            {QStringLiteral("meetings"), counts.meetings},
            {QStringLiteral("inMemoryFallback"), failure.has_value()},
        });
    } else {
        QTextStream &out = context.out();
        out << "Library:        " << (inMemory ? QStringLiteral("in memory") : printable(database)) << "\n"
            << "Schema version: " << version << "\n"
            << "Files:          " << counts.files << "\n"
            << "Passages:       " << counts.passages << "\n"
            << "Meetings:       " << counts.meetings << "\n";
        if (failure)
            out << "Wanted:         " << printable(database) << " (couldn't be opened)\n";
        out.flush();
    }
    if (failure)
        return context.failure(*failure);
    return 0;
}

} // namespace

Command infoCommand()
{
    return {QStringLiteral("info"), QStringLiteral("Show the library in use: its file, schema version and counts."),
            [](QCommandLineParser &parser) { parser.addOption(jsonOption); }, runInfo};
}
