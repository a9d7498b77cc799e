// `larder status`: what the library holds by kind, how many files still
// wait for their text, and how the latest indexing went.
#include "cli/Command.h"
#include "cli/Printable.h"

#include "app/AppModel.h"
#include "core/Format.h"
#include "indexing/IndexingReport.h"
#include "store/IndexStore.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>

#include <algorithm>

namespace {

const QCommandLineOption jsonOption(QStringLiteral("json"), QStringLiteral("Print the result as JSON."));

QJsonValue optionalNumber(const std::optional<double> &value)
{
    return value ? QJsonValue(*value) : QJsonValue();
}

QString dateText(double seconds)
{
    return Format::dateTime(QDateTime::fromMSecsSinceEpoch(qint64(seconds * 1000)));
}

int runStatus(CommandContext &context)
{
    if (!context.positional().isEmpty())
        return context.usageError(QStringLiteral("unexpected argument '%1'").arg(context.positional().first()));
    AppModel &model = context.library();
    QList<KindStat> kinds = model.store().stats().kinds();
    const qint64 waiting = model.store().textQueue().count();
    // Most bytes first, as the overview shows them.
    std::sort(kinds.begin(), kinds.end(), [](const KindStat &a, const KindStat &b) {
        return a.bytes != b.bytes ? a.bytes > b.bytes : a.kind < b.kind;
    });
    qint64 files = 0;
    qint64 bytes = 0;
    for (const KindStat &stat : std::as_const(kinds)) {
        files += stat.count;
        bytes += stat.bytes;
    }
    const IndexingReport report = IndexingReport::load(model.store().path());

    if (context.wantsJson()) {
        QJsonArray kindArray;
        for (const KindStat &stat : std::as_const(kinds))
            kindArray.append(QJsonObject{{QStringLiteral("kind"), fileKindRawValue(stat.kind)},
                                         {QStringLiteral("count"), stat.count},
                                         {QStringLiteral("bytes"), stat.bytes}});
        context.printJson(QJsonObject{
            {QStringLiteral("files"), files},
            {QStringLiteral("bytes"), bytes},
            {QStringLiteral("kinds"), kindArray},
            {QStringLiteral("textQueue"), waiting},
            {QStringLiteral("roots"), QJsonArray::fromStringList(report.roots)},
            {QStringLiteral("indexedAt"), optionalNumber(report.startedAt)},
            {QStringLiteral("scannedAt"), optionalNumber(report.scannedAt)},
            {QStringLiteral("lastError"), report.lastError ? QJsonValue(*report.lastError) : QJsonValue()},
            {QStringLiteral("lastErrorAt"), optionalNumber(report.lastErrorAt)},
            {QStringLiteral("skippedNames"), report.skippedNames},
            {QStringLiteral("unreadableFolders"), report.unreadableFolders},
        });
        return 0;
    }

    QTextStream &out = context.out();
    out << "Files:            " << Format::count(files) << " (" << Format::byteCount(bytes) << ")\n";
    for (const KindStat &stat : std::as_const(kinds))
        out << "  " << fileKindRawValue(stat.kind).leftJustified(16) << Format::count(stat.count).rightJustified(9)
            << "  " << Format::byteCount(stat.bytes) << "\n";
    out << "Waiting for text: " << Format::count(waiting) << "\n";
    if (report.startedAt)
        out << "Last indexing:    " << dateText(*report.startedAt) << " (" << printable(report.roots.join(QStringLiteral(", ")))
            << ")\n";
    else
        out << "Last indexing:    never\n";
    out << "Last error:       " << printable(report.lastError.value_or(QStringLiteral("none"))) << "\n";
    if (report.skippedNames > 0)
        out << "Names left out:   " << Format::count(report.skippedNames) << " (not valid UTF-8)\n";
    if (report.unreadableFolders > 0)
        out << "Folders left out: " << Format::count(report.unreadableFolders) << " (can't be read)\n";
    out.flush();
    return 0;
}

} // namespace

Command statusCommand()
{
    return {QStringLiteral("status"),
            QStringLiteral("Show files and bytes by kind, the files waiting for text, and the last error."),
            [](QCommandLineParser &parser) { parser.addOption(jsonOption); }, runStatus};
}
