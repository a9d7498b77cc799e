#include "core/ByteSize.h"

#include <QString>
#include <QtNumeric>

namespace ByteSize {

namespace {

// The power of ten of a unit, or -1 for a word that isn't one.
int unitExponent(QStringView unit)
{
    static const struct
    {
        QLatin1String name;
        int exponent;
    } units[] = {
        {QLatin1String(""), 0},     {QLatin1String("b"), 0},  {QLatin1String("byte"), 0}, {QLatin1String("bytes"), 0},
        {QLatin1String("k"), 3},    {QLatin1String("kb"), 3}, {QLatin1String("m"), 6},    {QLatin1String("mb"), 6},
        {QLatin1String("g"), 9},    {QLatin1String("gb"), 9}, {QLatin1String("t"), 12},   {QLatin1String("tb"), 12},
    };
    for (const auto &candidate : units) {
        if (unit.compare(candidate.name, Qt::CaseInsensitive) == 0)
            return candidate.exponent;
    }
    return -1;
}

qsizetype endOfDigits(QStringView text, qsizetype from)
{
    while (from < text.size() && text.at(from).isDigit())
        ++from;
    return from;
}

// Appends one decimal digit to value; false when the result leaves qint64.
bool appendDigit(qint64 &value, int digit)
{
    return !qMulOverflow(value, qint64(10), &value) && !qAddOverflow(value, qint64(digit), &value);
}

} // namespace

std::optional<qint64> parse(QStringView text)
{
    text = text.trimmed();
    const qsizetype wholeEnd = endOfDigits(text, 0);
    if (wholeEnd == 0)
        return std::nullopt;
    qsizetype numberEnd = wholeEnd;
    QStringView fraction;
    if (wholeEnd < text.size() && text.at(wholeEnd) == u'.') {
        numberEnd = endOfDigits(text, wholeEnd + 1);
        fraction = text.sliced(wholeEnd + 1, numberEnd - wholeEnd - 1);
        if (fraction.isEmpty())
            return std::nullopt;
    }
    const int exponent = unitExponent(text.sliced(numberEnd).trimmed());
    if (exponent < 0)
        return std::nullopt;

    // The whole digits, then as many digits of the fraction as the unit has
    // places; those beyond them are less than a byte.
    qint64 bytes = 0;
    for (const QChar digit : text.first(wholeEnd)) {
        if (!appendDigit(bytes, digit.digitValue()))
            return std::nullopt;
    }
    for (int place = 0; place < exponent; ++place) {
        if (!appendDigit(bytes, place < fraction.size() ? fraction.at(place).digitValue() : 0))
            return std::nullopt;
    }
    return bytes;
}

} // namespace ByteSize
