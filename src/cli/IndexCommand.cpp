// `larder index [--watch]`: the whole indexing pipeline. Scans the roots,
// reads the text inside waiting files, and exits when none is left; with
// --watch it then follows the disk until Ctrl-C.
#include "cli/Command.h"
#include "cli/Printable.h"
#include "cli/StopSignals.h"

#include "app/AppModel.h"
#include "core/AppSettings.h"
#include "core/Format.h"
#include "indexing/Indexer.h"
#include "indexing/IndexingStatus.h"
#include "store/IndexStore.h"

#include <QEventLoop>
#include <QFileInfo>
#include <QTimer>

namespace {

const QCommandLineOption watchOption(QStringLiteral("watch"),
                                     QStringLiteral("After the first pass, follow changes until Ctrl-C."));
const QCommandLineOption waitOption(QStringLiteral("wait"),
                                    QStringLiteral("When another process is indexing the library, wait for it to finish."));

int interruption(CommandContext &context, const QString &message)
{
    context.err() << message << "\n";
    context.err().flush();
    return interruptedStatus;
}

int runIndex(CommandContext &context)
{
    if (!context.positional().isEmpty())
        return context.usageError(QStringLiteral("unexpected argument '%1'").arg(context.positional().first()));
    const bool watch = context.options().isSet(watchOption);

    AppModel &model = context.library();
    QTextStream &err = context.err();
    for (const QString &root : context.settings().indexRoots()) {
        const QFileInfo info(root);
        if (!info.exists())
            err << "Leaving out “" << printable(root) << "”: there's no folder there.\n";
        else if (!info.isDir())
            err << "Leaving out “" << printable(root) << "”: it is not a folder.\n";
    }
    const QStringList roots = model.existingIndexRoots();
    if (roots.isEmpty())
        return context.failure(QStringLiteral("There are no folders to index. Name them with --roots FOLDER."));

    QEventLoop loop;
    // A stop before the library is up to date is an interruption; with
    // --watch, a stop after that is how the command ends.
    bool caughtUp = false;
    bool interrupted = false;
    StopSignals stopSignals([&] {
        interrupted = !caughtUp;
        loop.quit();
    });

    // One process at a time writes the library.
    if (const auto busy = model.claimLibrary()) {
        if (!context.options().isSet(waitOption))
            return context.failure(*busy + QStringLiteral(" Try again when it has finished, or add --wait."));
        err << *busy << " Waiting for it to finish…\n";
        err.flush();
        QTimer retry;
        QObject::connect(&retry, &QTimer::timeout, &loop, [&] {
            if (!model.claimLibrary())
                loop.quit();
        });
        retry.start(250);
        loop.exec();
        if (interrupted)
            return interruption(context, QStringLiteral("Stopped waiting; nothing was indexed."));
    }

    Indexer &indexer = model.indexer();
    IndexingStatus &status = *model.indexing();
    bool failed = false;
    // Ends the connections below with this function.
    QObject scope;
    QObject::connect(&status, &IndexingStatus::phaseChanged, &scope, [&] { context.progress(status.statusText()); });
    QObject::connect(&status, &IndexingStatus::lastErrorChanged, &scope, [&] {
        if (!status.lastError())
            return;
        context.endProgress();
        err << printable(*status.lastError()) << "\n";
        err.flush();
        failed = true;
    });

    QObject::connect(&indexer, &Indexer::activityChanged, &loop, [&] {
        if (caughtUp || !indexer.isIdle())
            return;
        caughtUp = true;
        if (!watch) {
            loop.quit();
            return;
        }
        context.endProgress();
        context.out() << "Up to date. Following changes; press Ctrl-C to stop.\n";
        context.out().flush();
        context.progress(status.statusText());
    });
    model.startIndexing();
    loop.exec();
    // Changes already seen are written before the program ends; files that
    // still wait for their text are read by the next run.
    indexer.shutDown();
    context.endProgress();

    const qint64 files = model.store().stats().counts().files;
    const qint64 waiting = model.store().textQueue().count();
    if (interrupted)
        return interruption(context, QStringLiteral("Indexing was interrupted: %1 in the library so far, %2 waiting "
                                                    "for their text; run it again to finish.")
                                         .arg(Format::counted(files, QStringLiteral("file")),
                                              Format::count(waiting)));
    QTextStream &out = context.out();
    out << "Indexed " << Format::counted(roots.size(), QStringLiteral("folder")) << ": "
        << Format::counted(files, QStringLiteral("file")) << " in the library";
    if (waiting > 0)
        out << ", " << Format::count(waiting) << " still waiting for their text";
    out << ".\n";
    const qint64 skipped = indexer.skippedNameCount();
    if (skipped > 0)
        out << Format::count(skipped) << (skipped == 1 ? " name was" : " names were")
            << " left out because it isn't valid UTF-8.\n";
    out.flush();
    return failed ? 1 : 0;
}

} // namespace

Command indexCommand()
{
    return {QStringLiteral("index"),
            QStringLiteral("Index the folders (--roots, or the chosen ones): files, then the text inside them."),
            [](QCommandLineParser &parser) {
                parser.addOption(watchOption);
                parser.addOption(waitOption);
            }, runIndex};
}
