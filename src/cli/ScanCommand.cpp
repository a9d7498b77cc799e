// `larder scan FOLDER`: file facts only, no text. Walks one folder into the
// library as a root and removes what has gone from it.
#include "cli/Command.h"
#include "cli/Printable.h"

#include "app/AppModel.h"
#include "core/Format.h"
#include "indexing/FileScanner.h"
#include "store/BulkLoad.h"
#include "store/IndexStore.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QJsonObject>

namespace {

const QCommandLineOption jsonOption(QStringLiteral("json"), QStringLiteral("Print the result as JSON."));

int runScan(CommandContext &context)
{
    const QStringList arguments = context.positional();
    if (arguments.isEmpty())
        return context.usageError(QStringLiteral("missing FOLDER"));
    if (arguments.size() > 1)
        return context.usageError(QStringLiteral("unexpected argument '%1'").arg(arguments.at(1)));
    const QString root = QDir::cleanPath(QDir(arguments.first()).absolutePath());
    const QFileInfo info(root);
    if (!info.exists())
        return context.failure(QStringLiteral("There's no folder at “%1”.").arg(root));
    if (!info.isDir())
        return context.failure(QStringLiteral("“%1” is not a folder.").arg(root));
    if (!info.isReadable() || !info.isExecutable())
        return context.failure(QStringLiteral("Larder can't read the folder “%1”.").arg(root));

    AppModel &model = context.library();
    // One process at a time writes the library.
    if (const auto busy = model.claimLibrary())
        return context.failure(*busy + QStringLiteral(" Try again when it has finished."));
    IndexStore &store = model.store();
    FileScanner scanner(&store);
    // Every row this walk sees gets this time; rows of the root left with an
    // older one have gone from disk.
    const double seenAt = double(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
    // An empty library is filled in bulk.
    BulkLoad load(store);
    qint64 found = 0;
    found = scanner.walk(root, FileScanner::defaultBatchSize, [&](const QList<FileRecord> &batch) {
        store.files().upsert(batch, root, seenAt);
        context.progress(QStringLiteral("Scanning %1 … %2 files").arg(root, Format::count(found + batch.size())));
        found += batch.size();
    });
    load.finish();
    const qint64 removed = store.files().reconcile(root, seenAt);
    context.endProgress();

    const qint64 skipped = scanner.skippedNameCount();
    // Files under a folder that couldn't be read are missing: a script
    // should know, as it does from `index`.
    const QStringList unreadable = scanner.unreadableFolders();
    const int status = unreadable.isEmpty() ? 0 : 1;
    if (!unreadable.isEmpty()) {
        context.err() << printable(FileScanner::unreadableMessage(unreadable)) << "\n";
        context.err().flush();
    }
    if (context.wantsJson()) {
        context.printJson(QJsonObject{{QStringLiteral("root"), root},
                                      {QStringLiteral("found"), found},
                                      {QStringLiteral("removed"), removed},
                                      {QStringLiteral("skippedNames"), skipped},
                                      {QStringLiteral("unreadableFolders"), qint64(unreadable.size())}});
        return status;
    }
    QTextStream &out = context.out();
    out << "Scanned " << printable(root) << ": " << Format::counted(found, QStringLiteral("file")) << " found, "
        << Format::count(removed) << " removed.\n";
    if (skipped > 0)
        out << Format::count(skipped) << (skipped == 1 ? " name was" : " names were")
            << " left out because it isn't valid UTF-8.\n";
    out.flush();
    return status;
}

} // namespace

Command scanCommand()
{
    return {QStringLiteral("scan"),
            QStringLiteral("Scan FOLDER into the library (file facts only) and drop files that have gone."),
            [](QCommandLineParser &parser) {
                parser.addOption(jsonOption);
                parser.addPositionalArgument(QStringLiteral("FOLDER"), QStringLiteral("The folder to scan."));
            },
            runScan};
}
