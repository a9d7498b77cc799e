// The freedesktop Trash, kept the way the desktop's file manager keeps it, so
// that the file manager lists what Larder moved and can put it back.
#pragma once

#include <QString>

namespace Trash {

// Moves a file or folder (a symbolic link as itself) into the Trash of its
// file system: $XDG_DATA_HOME/Trash on the home file system (made when
// missing), the file system's own top-level Trash folder elsewhere. Beside it
// goes the .trashinfo record: the original path percent-encoded, so that any
// name comes back intact, and the local time of the move. A name already in
// the Trash gets a numbered one. Returns whether the item moved; when it
// didn't, nothing changed.
bool move(const QString &path);

} // namespace Trash
