#include "screens/FolderList.h"

#include "app/AppModel.h"
#include "core/Format.h"

#include <QDirIterator>
#include <QFileInfo>

FolderList::FolderList(AppModel &app, QObject *parent)
    : QObject(parent)
    , m_app(app)
{
    connect(app.settings(), &AppSettings::indexedFoldersChanged, this, [this] {
        Q_EMIT foldersChanged();
        recount();
    });
    recount();
}

FolderList::~FolderList()
{
    m_counting.cancel();
}

QVariantList FolderList::folders() const
{
    QVariantList items;
    for (const QString &path : m_app.settings()->indexedFolders()) {
        const auto counted = m_counts.constFind(path);
        const QString name = QFileInfo(path).fileName();
        items.append(QVariantMap{
            {QStringLiteral("path"), path},
            {QStringLiteral("name"), name.isEmpty() ? path : name},
            {QStringLiteral("countText"), counted == m_counts.constEnd() ? QString() : countText(*counted)},
        });
    }
    return items;
}

void FolderList::add(const QUrl &folder)
{
    const QString path = folder.isLocalFile() ? folder.toLocalFile() : folder.toString();
    if (path.isEmpty())
        return;
    m_app.addIndexedFolder(QFileInfo(path).absoluteFilePath());
}

void FolderList::remove(const QString &path)
{
    m_app.removeIndexedFolder(path);
}

QString FolderList::countText(std::optional<qint64> count)
{
    if (!count)
        return QStringLiteral("Not found");
    if (*count >= countLimit)
        return Format::count(countLimit) + QStringLiteral("+ files");
    if (*count == 0)
        return QStringLiteral("No files");
    return Format::counted(*count, QStringLiteral("file"));
}

std::optional<qint64> FolderList::countFiles(const QString &folder, const CancellationToken &token)
{
    if (!QFileInfo(folder).isDir())
        return std::nullopt;
    qint64 count = 0;
    QDirIterator walk(folder, QDir::Files | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (walk.hasNext() && count < countLimit) {
        if (token.isCancelled())
            break;
        walk.next();
        ++count;
    }
    return count;
}

void FolderList::recount()
{
    m_counting.cancel();
    m_counting = CancellationToken();
    const QStringList folders = m_app.settings()->indexedFolders();
    Tasks::run(Tasks::Priority::UserInitiated, [this, folders](const CancellationToken &token) {
        for (const QString &folder : folders) {
            if (token.isCancelled())
                return;
            const std::optional<qint64> count = countFiles(folder, token);
            Tasks::deliver(this, token, [this, folder, count] {
                m_counts.insert(folder, count);
                Q_EMIT foldersChanged();
            });
        }
    }, m_counting);
}
