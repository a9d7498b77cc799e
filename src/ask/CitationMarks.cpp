#include "ask/CitationMarks.h"

#include <QRegularExpression>

namespace {

const QRegularExpression &markPattern()
{
    static const QRegularExpression pattern(QStringLiteral("\\[S(\\d+)\\]"),
                                            QRegularExpression::UseUnicodePropertiesOption);
    return pattern;
}

} // namespace

QString withCitationLinks(const QString &answer)
{
    QString text = answer;
    return text.replace(markPattern(), QStringLiteral("[\\1](%1://\\1)").arg(QLatin1String(citationScheme)));
}

QList<int> citedNumbers(const QString &answer)
{
    QList<int> numbers;
    auto matches = markPattern().globalMatch(answer);
    while (matches.hasNext()) {
        bool ok = false;
        const int number = matches.next().captured(1).toInt(&ok);
        if (ok && !numbers.contains(number))
            numbers.append(number);
    }
    return numbers;
}

std::optional<int> citationNumber(const QString &link)
{
    const QString prefix = QLatin1String(citationScheme) + QStringLiteral("://");
    if (!link.startsWith(prefix, Qt::CaseInsensitive))
        return std::nullopt;
    QString host = link.mid(prefix.size());
    if (host.endsWith(u'/'))
        host.chop(1);
    bool ok = false;
    const int number = host.toInt(&ok);
    if (!ok || number < 0)
        return std::nullopt;
    return number;
}
