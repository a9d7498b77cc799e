// `larder cleanup`: what could probably go, by category.
#include "cli/Command.h"
#include "cli/Printable.h"

#include "cli/FileOutput.h"
#include "app/AppModel.h"
#include "core/Format.h"
#include "store/IndexStore.h"
#include "tidy/CleanupRules.h"

#include <QJsonArray>
#include <QJsonObject>

namespace {

const QCommandLineOption jsonOption(QStringLiteral("json"), QStringLiteral("Print the result as JSON."));

int runCleanup(CommandContext &context)
{
    if (!context.positional().isEmpty())
        return context.usageError(QStringLiteral("unexpected argument '%1'").arg(context.positional().first()));
    IndexStore &store = context.library().store();
    const CleanupRules rules = CleanupRules::current();
    const QList<CleanupCategory> categories = rules.categories(store.tidy().cleanup(rules.downloadsFolder));

    if (context.wantsJson()) {
        QJsonArray list;
        for (const CleanupCategory &category : categories) {
            QJsonArray files;
            for (const FileRecord &file : category.files)
                files.append(FileOutput::json(file));
            list.append(QJsonObject{
                {QStringLiteral("kind"), CleanupCategory::rawValue(category.kind)},
                {QStringLiteral("title"), CleanupCategory::title(category.kind)},
                {QStringLiteral("detail"), CleanupCategory::detail(category.kind)},
                {QStringLiteral("bytes"), double(category.bytes())},
                {QStringLiteral("files"), files},
            });
        }
        context.printJson(QJsonObject{{QStringLiteral("categories"), list}});
        return 0;
    }

    QTextStream &out = context.out();
    if (categories.isEmpty()) {
        out << "No old installers, forgotten downloads or unused apps found.\n";
        return 0;
    }
    qint64 total = 0;
    for (const CleanupCategory &category : categories) {
        total += category.bytes();
        out << CleanupCategory::title(category.kind) << " · " << Format::counted(category.files.size(), QStringLiteral("item")) << " · "
            << Format::byteCount(category.bytes()) << "\n"
            << "  " << CleanupCategory::detail(category.kind) << "\n";
        for (const FileRecord &file : category.files)
            out << "  " << printable(file.path) << "  " << Format::byteCount(file.size) << "\n";
        out << "\n";
    }
    out << Format::byteCount(total) << " you could probably free\n";
    return 0;
}

} // namespace

Command cleanupCommand()
{
    return {QStringLiteral("cleanup"),
            QStringLiteral("Suggest old installers, forgotten downloads, old screenshots, large old videos and "
                           "unused apps to clear away."),
            [](QCommandLineParser &parser) { parser.addOption(jsonOption); }, runCleanup};
}
