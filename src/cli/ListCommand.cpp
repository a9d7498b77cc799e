// `larder ls`: the files of the library under a filter, in one order.
#include "cli/Command.h"

#include "cli/FileOutput.h"
#include "app/AppModel.h"
#include "store/IndexStore.h"

#include <QJsonArray>

namespace {

const QCommandLineOption jsonOption(QStringLiteral("json"), QStringLiteral("Print the result as JSON."));
const QCommandLineOption sortOption(QStringLiteral("sort"),
                                    QStringLiteral("Order by recent (default), name, size or kind."),
                                    QStringLiteral("ORDER"), QStringLiteral("recent"));
const QCommandLineOption limitOption(QStringLiteral("limit"), QStringLiteral("List at most N files (default 100)."),
                                     QStringLiteral("N"), QStringLiteral("100"));

int runList(CommandContext &context)
{
    QCommandLineParser &parser = context.options();
    if (!context.positional().isEmpty())
        return context.usageError(QStringLiteral("unexpected argument '%1'").arg(context.positional().first()));
    FileFilter filter;
    if (const auto problem = FileOutput::readFilterOptions(parser, filter))
        return context.usageError(*problem);
    const auto sort = fileSortFromRawValue(parser.value(sortOption).trimmed().toLower());
    if (!sort)
        return context.usageError(
            QStringLiteral("unknown order '%1' (recent, name, size, kind)").arg(parser.value(sortOption)));
    bool isNumber = false;
    const int limit = parser.value(limitOption).toInt(&isNumber);
    if (!isNumber || limit < 1)
        return context.usageError(QStringLiteral("'%1' is not a whole number above 0").arg(parser.value(limitOption)));

    const QList<FileRecord> records = context.library().store().files().list(filter, *sort, limit);

    if (context.wantsJson()) {
        QJsonArray array;
        for (const FileRecord &record : records)
            array.append(FileOutput::json(record));
        context.printJson(array);
        return 0;
    }
    QTextStream &out = context.out();
    if (records.isEmpty())
        out << "No files found.\n";
    for (const FileRecord &record : records)
        out << FileOutput::line(record) << "\n";
    out.flush();
    return 0;
}

} // namespace

Command listCommand()
{
    return {QStringLiteral("ls"), QStringLiteral("List the library's files, filtered and sorted."),
            [](QCommandLineParser &parser) {
                parser.addOption(jsonOption);
                FileOutput::addFilterOptions(parser);
                parser.addOption(sortOption);
                parser.addOption(limitOption);
            },
            runList};
}
