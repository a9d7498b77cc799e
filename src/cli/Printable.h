// Text from outside (file names, paths, errors that quote them) as it may
// reach a terminal: control characters are shown escaped, so a name can't
// colour the screen, move the cursor or break a line of output.
#pragma once

#include <QString>

// "ctrl\x1b[31mred\nline.txt" -> "ctrl\\x1b[31mred\\nline.txt"; text without
// control characters comes back unchanged.
QString printable(const QString &text);
// Text of many lines, each made printable on its own.
QString printableLines(const QString &text);
