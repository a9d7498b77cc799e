// Readable failure messages for texts in the tidy-up tests.
#pragma once

#include <QString>

#include <ostream>

inline void PrintTo(const QString &text, std::ostream *out)
{
    *out << '"' << text.toStdString() << '"';
}
