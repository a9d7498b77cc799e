// `larder duplicates`: identical files, or similar photos, with the copy to
// keep marked and the bytes the others take.
#include "cli/Command.h"
#include "cli/Printable.h"

#include "cli/FileOutput.h"
#include "app/AppModel.h"
#include "core/Format.h"
#include "tidy/DuplicatesModel.h"

#include <QEventLoop>
#include <QJsonArray>
#include <QJsonObject>

namespace {

const QCommandLineOption jsonOption(QStringLiteral("json"), QStringLiteral("Print the result as JSON."));
const QCommandLineOption similarOption(QStringLiteral("similar"),
                                       QStringLiteral("Show photos that look alike instead of identical files."));

// "3 identical copies · 2.4 MB reclaimable", as the duplicates screen heads a group.
QString groupHeading(const DuplicateGroup &group)
{
    const QString count = Format::count(group.files.size());
    const QString what = group.kind == DuplicateGroup::Kind::identical ? QStringLiteral(" identical copies")
                                                                       : QStringLiteral(" similar photos");
    return count + what + QStringLiteral(" · ") + Format::byteCount(group.wastedBytes()) + QStringLiteral(" reclaimable");
}

QJsonObject groupJson(const DuplicateGroup &group)
{
    QJsonArray files;
    for (const FileRecord &file : group.files)
        files.append(FileOutput::json(file));
    return QJsonObject{
        {QStringLiteral("identity"), group.identity()},
        {QStringLiteral("kind"), duplicateGroupKindRawValue(group.kind)},
        {QStringLiteral("keeper"), double(group.keeper.id)},
        {QStringLiteral("reclaimableBytes"), double(group.wastedBytes())},
        {QStringLiteral("files"), files},
    };
}

int runDuplicates(CommandContext &context)
{
    if (!context.positional().isEmpty())
        return context.usageError(QStringLiteral("unexpected argument '%1'").arg(context.positional().first()));
    // The same scan as the duplicates screen, driven to its end here.
    DuplicatesModel model(context.library().store());
    model.setMode(context.options().isSet(similarOption) ? DuplicatesModel::Mode::similar
                                                          : DuplicatesModel::Mode::identical);
    QEventLoop loop;
    QObject::connect(&model, &DuplicatesModel::phaseChanged, &loop, [&] {
        if (model.isScanning()) {
            context.progress(QStringLiteral("%1 %2%").arg(model.phaseText()).arg(qRound(model.fraction() * 100)));
            return;
        }
        loop.quit();
    });
    model.scan();
    if (model.isScanning())
        loop.exec();
    context.endProgress();

    const QList<DuplicateGroup> groups = model.groups();
    if (context.wantsJson()) {
        QJsonArray list;
        for (const DuplicateGroup &group : groups)
            list.append(groupJson(group));
        context.printJson(QJsonObject{
            {QStringLiteral("mode"), model.mode() == DuplicatesModel::Mode::identical ? QStringLiteral("identical")
                                                                                      : QStringLiteral("similar")},
            {QStringLiteral("groups"), list},
            {QStringLiteral("reclaimableBytes"), double(model.reclaimableBytes())},
        });
        return 0;
    }

    QTextStream &out = context.out();
    if (groups.isEmpty()) {
        out << "No duplicates found.\n";
        return 0;
    }
    for (const DuplicateGroup &group : groups) {
        out << groupHeading(group) << "\n";
        for (const FileRecord &file : group.files) {
            out << (file.id == group.keeper.id ? "  keep   " : "  trash  ") << printable(file.path) << "  "
                << Format::byteCount(file.size) << "\n";
        }
        out << "\n";
    }
    out << Format::count(groups.size()) << (groups.size() == 1 ? " group · " : " groups · ")
        << Format::byteCount(model.reclaimableBytes()) << " in copies\n";
    return 0;
}

} // namespace

Command duplicatesCommand()
{
    return {QStringLiteral("duplicates"),
            QStringLiteral("Find identical files (or, with --similar, photos that look alike) and the copy to keep."),
            [](QCommandLineParser &parser) {
                parser.addOption(similarOption);
                parser.addOption(jsonOption);
            },
            runDuplicates};
}
