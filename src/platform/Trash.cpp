#include "platform/Trash.h"

#include <QFile>

#include <gio/gio.h>

namespace Trash {

bool move(const QString &path)
{
    // GIO writes the record first, created exclusively so that two movers
    // never share a name, then renames the item into place; it refuses what
    // it can't restore, such as items on system mounts away from home.
    GFile *file = g_file_new_for_path(QFile::encodeName(path).constData());
    const bool moved = g_file_trash(file, nullptr, nullptr);
    g_object_unref(file);
    return moved;
}

} // namespace Trash
