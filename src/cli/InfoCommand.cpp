// `larder info`: which library is in use and what it holds.
#include "cli/Command.h"

#include "app/AppModel.h"
#include "store/IndexStore.h"

#include <QJsonObject>

namespace {

const QCommandLineOption jsonOption(QStringLiteral("json"), QStringLiteral("Print the result as JSON."));

int runInfo(CommandContext &context)
{
    if (!context.positional().isEmpty())
        return context.usageError(QStringLiteral("unexpected argument '%1'").arg(context.positional().first()));

    AppModel &model = context.model();
    const bool inMemory = AppModel::isRunningTests() || model.isUsingFallbackLibrary();
    const QString database = model.databaseURL().toLocalFile();
    IndexStore::Counts counts;
    qint64 version = 0;
    try {
        counts = model.store().counts();
        version = model.store().storedSchemaVersion();
    } catch (const DescribedError &error) {
        return context.failure(error.description());
    }

    if (context.wantsJson()) {
        context.printJson(QJsonObject{
            {QStringLiteral("database"), database},
            {QStringLiteral("inMemory"), inMemory},
            {QStringLiteral("schemaVersion"), version},
            {QStringLiteral("files"), counts.files},
            {QStringLiteral("passages"), counts.passages},
            {QStringLiteral("meetings"), counts.meetings},
            {QStringLiteral("inMemoryFallback"), model.isUsingFallbackLibrary()},
        });
    } else {
        QTextStream &out = context.out();
        out << "Library:        " << (inMemory ? QStringLiteral("in memory") : database) << "\n"
            << "Schema version: " << version << "\n"
            << "Files:          " << counts.files << "\n"
            << "Passages:       " << counts.passages << "\n"
            << "Meetings:       " << counts.meetings << "\n";
        if (model.isUsingFallbackLibrary())
            out << "Wanted:         " << database << " (couldn't be opened)\n";
        out.flush();
    }
    if (model.isUsingFallbackLibrary())
        return context.failure(model.toastText());
    return 0;
}

} // namespace

Command infoCommand()
{
    return {QStringLiteral("info"), QStringLiteral("Show the library in use: its file, schema version and counts."),
            [](QCommandLineParser &parser) { parser.addOption(jsonOption); }, runInfo};
}
