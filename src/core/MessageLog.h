// Where the libraries' own messages go. Qt's categories (image decoders and
// the libpng warnings they pass on, fonts, plugins) are written to a log file
// in the state folder instead of the terminal, where they would break a
// progress line and read as Larder's own errors. Larder's messages, and
// anything fatal, still reach standard error.
#pragma once

#include <QString>

namespace MessageLog {

// ~/.local/state/Larder/messages.log
QString path();

// Installs the routing for the rest of the process. Safe to call again.
void install();

} // namespace MessageLog
