// The ids that launchers and stores know an application by, read from the
// application's file: a desktop entry's desktop-file id, a Flatpak bundle's
// application id, an application folder's bundle identifier. Other
// applications (AppImages, programs) go by their file's name.
#pragma once

#include <QString>
#include <QStringList>

#include <optional>

class ApplicationIds
{
public:
    // Takes the applications folders of the user's and the system's data
    // folders ($XDG_DATA_HOME, $XDG_DATA_DIRS).
    ApplicationIds();

    // The id that the path and the type alone give: the desktop-file id of a
    // desktop entry, the file's name for anything else.
    QString fromPath(const QString &path, const QString &name, QStringView mimeType) const;

    // The application id from the "ref" of the metadata that leads a Flatpak
    // single-file bundle ("org.gnome.Maps"). Reads the bundle's last bytes
    // and its metadata, never the whole file.
    static std::optional<QString> fromFlatpakBundle(const QString &path);

    // CFBundleIdentifier of an application folder's XML Contents/Info.plist.
    static std::optional<QString> fromApplicationFolder(const QString &folder);

private:
    QStringList m_applicationFolders; // "<data folder>/applications/"
};
