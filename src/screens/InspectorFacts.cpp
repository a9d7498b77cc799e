#include "screens/InspectorFacts.h"

#include "app/AppModel.h"
#include "core/DownloadSources.h"
#include "core/Format.h"
#include "meetings/MeetingText.h"

#include <QDateTime>
#include <QDir>
#include <QPointer>
#include <QUrl>

#include <cmath>

namespace {

QVariantMap row(const QString &label, const QString &value)
{
    return {{QStringLiteral("label"), label}, {QStringLiteral("value"), value}};
}

QString dateText(const std::optional<double> &seconds)
{
    if (!seconds)
        return {};
    return Format::dateTime(QDateTime::fromMSecsSinceEpoch(qint64(*seconds * 1000.0)));
}

QString trimmedNumber(double value)
{
    // 50 and 4.2, never 50.0 or 4.2000001.
    return QString::number(std::round(value * 10) / 10, 'g', 6);
}

} // namespace

InspectorFacts::InspectorFacts(AppModel &app, QObject *parent)
    : QObject(parent)
    , m_app(app)
{
    connect(&m_app, &AppModel::inspectedFileChanged, this, &InspectorFacts::follow);
    follow();
}

InspectorFacts::~InspectorFacts()
{
    m_cameraRead.cancel();
}

QVariantList InspectorFacts::detailRows(const FileRecord &file, const QString &home)
{
    QVariantList rows;
    const auto add = [&](const QString &label, const QString &value) {
        if (!value.isEmpty())
            rows.append(row(label, value));
    };
    add(QStringLiteral("Size"), Format::byteCount(file.size));
    if (file.width && file.height && *file.width > 0 && *file.height > 0)
        add(QStringLiteral("Dimensions"), QStringLiteral("%1 × %2").arg(*file.width).arg(*file.height));
    if (file.duration && *file.duration > 0)
        add(QStringLiteral("Duration"), durationText(*file.duration));
    if (file.pages && *file.pages > 0)
        add(QStringLiteral("Pages"), Format::count(*file.pages));
    add(QStringLiteral("Modified"), dateText(file.modified));
    add(QStringLiteral("Created"), dateText(file.created));
    add(QStringLiteral("Added"), dateText(file.added));
    add(QStringLiteral("Last opened"), dateText(file.opened));
    add(QStringLiteral("Where"), Format::folderOf(file.path, home));
    return rows;
}

QString InspectorFacts::exposureText(double seconds)
{
    if (seconds >= 1)
        return QString::number(seconds, 'f', 1) + QStringLiteral(" s");
    return QStringLiteral("1/%1 s").arg(qint64(std::llround(1.0 / seconds)));
}

QVariantList InspectorFacts::cameraRows(const MediaFacts::Camera &camera)
{
    QVariantList rows;
    if (!camera.model.isEmpty())
        rows.append(row(QStringLiteral("Camera"), camera.model));
    if (!camera.lens.isEmpty())
        rows.append(row(QStringLiteral("Lens"), camera.lens));
    if (camera.focalLength)
        rows.append(row(QStringLiteral("Focal length"), trimmedNumber(*camera.focalLength) + QStringLiteral(" mm")));
    if (camera.fNumber)
        rows.append(row(QStringLiteral("Aperture"), QStringLiteral("ƒ/") + trimmedNumber(*camera.fNumber)));
    if (camera.exposure && *camera.exposure > 0)
        rows.append(row(QStringLiteral("Exposure"), exposureText(*camera.exposure)));
    if (camera.iso)
        rows.append(row(QStringLiteral("Sensitivity"), QStringLiteral("ISO %1").arg(*camera.iso)));
    return rows;
}

void InspectorFacts::follow()
{
    m_cameraRead.cancel();
    setCamera({});
    const std::optional<FileRecord> &file = m_app.inspectedFile();
    _details = file ? detailRows(*file, QDir::homePath()) : QVariantList();
    _kindWord = file ? fileKindWord(file->kind) : QString();
    _sourceID = file ? file->sourceID.value_or(QString()) : QString();
    _sourceTitle = _sourceID.isEmpty() ? QString() : sourceDisplayName(_sourceID);
    _sourceSymbol = _sourceID.isEmpty() ? QString() : ::sourceSymbol(_sourceID);
    _sourceHost = file && file->sourceURL ? ::sourceHost(QUrl(*file->sourceURL)).value_or(QString()) : QString();
    _excerpt = file ? file->textExcerpt.value_or(QString()).trimmed() : QString();
    _textHeading = !file ? QString() : file->kind == FileKind::other ? QStringLiteral("Text")
                                                                      : QStringLiteral("Text in ") + _kindWord;
    Q_EMIT factsChanged();
    if (!file || file->kind != FileKind::image)
        return;
    const QString path = file->path;
    m_cameraRead = Tasks::run(Tasks::Priority::UserInitiated, [self = QPointer(this), path](const CancellationToken &token) {
        const std::optional<MediaFacts::Camera> camera = MediaFacts::camera(path);
        if (!camera)
            return;
        const QVariantList rows = cameraRows(*camera);
        Tasks::deliver(self, token, [self, rows] { self->setCamera(rows); });
    });
}

void InspectorFacts::setCamera(const QVariantList &rows)
{
    if (_camera == rows)
        return;
    _camera = rows;
    Q_EMIT cameraChanged();
}
