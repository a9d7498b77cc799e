#include "cli/FileOutput.h"

#include "cli/Printable.h"

#include "core/ByteSize.h"
#include "core/Format.h"

#include <QDateTime>
#include <QDir>
#include <QJsonValue>

namespace FileOutput {

namespace {

const QCommandLineOption kindOption(QStringLiteral("kind"),
                                    QStringLiteral("Only files of kind K: image, video, audio, document, archive, "
                                                   "app, other. May repeat."),
                                    QStringLiteral("K"));
const QCommandLineOption extOption(QStringLiteral("ext"), QStringLiteral("Only files with extension E. May repeat."),
                                   QStringLiteral("E"));
const QCommandLineOption fromOption(QStringLiteral("from"),
                                    QStringLiteral("Only files downloaded from SOURCE (gmail, web:host, ...). "
                                                   "May repeat."),
                                    QStringLiteral("SOURCE"));
const QCommandLineOption folderOption(QStringLiteral("folder"), QStringLiteral("Only files under PATH."),
                                      QStringLiteral("PATH"));
const QCommandLineOption screenshotsOption(QStringLiteral("screenshots"), QStringLiteral("Only screenshots."));
const QCommandLineOption minSizeOption(QStringLiteral("min-size"),
                                       QStringLiteral("Only files of at least N bytes (k, m, g, t suffixes)."),
                                       QStringLiteral("N"));
const QCommandLineOption maxSizeOption(QStringLiteral("max-size"),
                                       QStringLiteral("Only files of at most N bytes (k, m, g, t suffixes)."),
                                       QStringLiteral("N"));

void insertOptional(QJsonObject &object, const char *key, const auto &value)
{
    if (value)
        object.insert(QLatin1String(key), QJsonValue(*value));
}

} // namespace

QJsonObject json(const FileRecord &r)
{
    QJsonObject object{
        {QStringLiteral("id"), r.id},
        {QStringLiteral("path"), r.path},
        {QStringLiteral("name"), r.name},
        {QStringLiteral("ext"), r.ext},
        {QStringLiteral("kind"), fileKindRawValue(r.kind)},
        {QStringLiteral("size"), r.size},
        {QStringLiteral("isScreenshot"), r.isScreenshot},
    };
    insertOptional(object, "uti", r.uti);
    insertOptional(object, "created", r.created);
    insertOptional(object, "modified", r.modified);
    insertOptional(object, "added", r.added);
    insertOptional(object, "opened", r.opened);
    insertOptional(object, "sourceID", r.sourceID);
    insertOptional(object, "sourceURL", r.sourceURL);
    insertOptional(object, "bundleID", r.bundleID);
    insertOptional(object, "width", r.width);
    insertOptional(object, "height", r.height);
    insertOptional(object, "duration", r.duration);
    insertOptional(object, "pages", r.pages);
    insertOptional(object, "sha256", r.sha256);
    insertOptional(object, "textExcerpt", r.textExcerpt);
    return object;
}

QString line(const FileRecord &r)
{
    const QString date = r.modified
        ? QDateTime::fromMSecsSinceEpoch(qint64(*r.modified * 1000)).toString(QStringLiteral("yyyy-MM-dd"))
        : QStringLiteral("-");
    return fileKindRawValue(r.kind).leftJustified(9) + Format::byteCount(r.size).rightJustified(10) + QStringLiteral("  ")
        + date.leftJustified(10) + QStringLiteral("  ") + printable(r.path);
}

void addFilterOptions(QCommandLineParser &parser)
{
    parser.addOptions({kindOption, extOption, fromOption, folderOption, screenshotsOption, minSizeOption, maxSizeOption});
}

std::optional<QString> readFilterOptions(const QCommandLineParser &parser, FileFilter &filter)
{
    for (const QString &value : parser.values(kindOption)) {
        const QString raw = value.trimmed().toLower();
        const FileKind kind = fileKindFromRawValue(raw);
        if (fileKindRawValue(kind) != raw)
            return QStringLiteral("unknown kind '%1' (image, video, audio, document, archive, app, other)").arg(value);
        filter.kinds.insert(kind);
    }
    for (const QString &value : parser.values(extOption)) {
        QString ext = value.trimmed().toLower();
        if (ext.startsWith(u'.'))
            ext.remove(0, 1);
        if (ext.isEmpty())
            return QStringLiteral("empty extension");
        filter.extensions.insert(ext);
    }
    for (const QString &value : parser.values(fromOption)) {
        if (value.trimmed().isEmpty())
            return QStringLiteral("empty source");
        filter.sources.insert(value.trimmed());
    }
    if (parser.isSet(folderOption))
        filter.folder = QDir::cleanPath(QDir(parser.value(folderOption)).absolutePath());
    filter.screenshotsOnly = parser.isSet(screenshotsOption);
    for (const auto &[option, target] : {std::pair{&minSizeOption, &filter.minSize}, {&maxSizeOption, &filter.maxSize}}) {
        if (!parser.isSet(*option))
            continue;
        const auto size = ByteSize::parse(parser.value(*option));
        if (!size)
            return QStringLiteral("'%1' is not a size (bytes, or a number with k, m, g or t)").arg(parser.value(*option));
        *target = size;
    }
    return std::nullopt;
}

} // namespace FileOutput
