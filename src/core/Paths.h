// Where Larder keeps its files and where the user's folders are, after the
// XDG base and user directories.
#pragma once

#include <QString>
#include <QStringList>

namespace Paths {

QString home();
// $XDG_CONFIG_HOME, by default ~/.config
QString configHome();
// $XDG_DATA_HOME, by default ~/.local/share
QString dataHome();
// $XDG_STATE_HOME, by default ~/.local/state
QString stateHome();

enum class UserFolder { Desktop, Documents, Downloads, Pictures, Videos, Music };

// The XDG user folder, or an empty string when it is turned off (it resolves
// to the home folder itself).
QString userFolder(UserFolder folder);

// Desktop, Documents, Downloads, Pictures, Videos and Music (those turned on),
// then ~/Applications: what Larder indexes until the user chooses.
QStringList defaultIndexedFolders();

// ~/.config/Larder/settings.json
QString settingsFile();

} // namespace Paths
