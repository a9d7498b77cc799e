#include "search/WordRuns.h"

QStringList wordRuns(const QString &text, Hyphens hyphens)
{
    QStringList runs;
    QList<char32_t> current;
    auto finish = [&] {
        if (!current.isEmpty())
            runs.append(QString::fromUcs4(current.constData(), current.size()));
        current.clear();
    };
    for (const char32_t c : text.toUcs4()) {
        if (QChar::isLetterOrNumber(c) || (c == U'-' && hyphens == Hyphens::joinWords))
            current.append(c);
        else
            finish();
    }
    finish();
    return runs;
}

bool isNumbersOnly(const QString &text)
{
    for (const char32_t c : text.toUcs4()) {
        if (!QChar::isNumber(c))
            return false;
    }
    return true;
}

qsizetype codePointCount(const QString &text)
{
    return text.toUcs4().size();
}
