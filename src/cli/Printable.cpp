#include "cli/Printable.h"

#include <QStringList>

#include <algorithm>

namespace {

bool isControl(char16_t c)
{
    return c < 0x20 || (c >= 0x7f && c <= 0x9f) || c == 0x2028 || c == 0x2029;
}

} // namespace

QString printable(const QString &text)
{
    if (std::none_of(text.cbegin(), text.cend(), [](QChar c) { return isControl(c.unicode()); }))
        return text;
    QString shown;
    shown.reserve(text.size() + 8);
    for (const QChar c : text) {
        const char16_t code = c.unicode();
        if (!isControl(code))
            shown += c;
        else if (code == u'\n')
            shown += QLatin1String("\\n");
        else if (code == u'\t')
            shown += QLatin1String("\\t");
        else if (code == u'\r')
            shown += QLatin1String("\\r");
        else if (code < 0x100)
            shown += QStringLiteral("\\x%1").arg(int(code), 2, 16, QLatin1Char('0'));
        else
            shown += QStringLiteral("\\u%1").arg(int(code), 4, 16, QLatin1Char('0'));
    }
    return shown;
}

QString printableLines(const QString &text)
{
    QStringList lines = text.split(u'\n');
    for (QString &line : lines)
        line = printable(line);
    return lines.join(u'\n');
}
