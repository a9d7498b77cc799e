#include "core/Paths.h"

#include <QDir>
#include <QStandardPaths>

namespace Paths {

QString home()
{
    return QDir::homePath();
}

QString configHome()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
}

QString dataHome()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
}

QString stateHome()
{
    const QString fromEnvironment = qEnvironmentVariable("XDG_STATE_HOME");
    // Relative values are invalid under the base directory rules.
    if (!fromEnvironment.isEmpty() && QDir::isAbsolutePath(fromEnvironment))
        return QDir::cleanPath(fromEnvironment);
    return home() + QStringLiteral("/.local/state");
}

QString userFolder(UserFolder folder)
{
    QStandardPaths::StandardLocation location = QStandardPaths::DesktopLocation;
    switch (folder) {
    case UserFolder::Desktop: location = QStandardPaths::DesktopLocation; break;
    case UserFolder::Documents: location = QStandardPaths::DocumentsLocation; break;
    case UserFolder::Downloads: location = QStandardPaths::DownloadLocation; break;
    case UserFolder::Pictures: location = QStandardPaths::PicturesLocation; break;
    case UserFolder::Videos: location = QStandardPaths::MoviesLocation; break;
    case UserFolder::Music: location = QStandardPaths::MusicLocation; break;
    }
    const QString path = QDir::cleanPath(QStandardPaths::writableLocation(location));
    if (path.isEmpty() || path == QDir::cleanPath(home()))
        return QString();
    return path;
}

QStringList defaultIndexedFolders()
{
    QStringList folders;
    for (UserFolder folder : {UserFolder::Desktop, UserFolder::Documents, UserFolder::Downloads,
                              UserFolder::Pictures, UserFolder::Videos, UserFolder::Music}) {
        const QString path = userFolder(folder);
        if (!path.isEmpty() && !folders.contains(path))
            folders.append(path);
    }
    folders.append(QDir::cleanPath(home() + QStringLiteral("/Applications")));
    return folders;
}

QString settingsFile()
{
    return configHome() + QStringLiteral("/Larder/settings.json");
}

} // namespace Paths
