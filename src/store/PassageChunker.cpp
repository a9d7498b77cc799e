#include "store/PassageChunker.h"

#include <QRegularExpression>

#include <algorithm>
#include <optional>

namespace {

// Lines of single-spaced words; a run of blank lines becomes one empty line.
QString normalizedText(const QString &text)
{
    static const QRegularExpression newline(QStringLiteral("\\r\\n|[\\n\\r\\x{0B}\\x{0C}\\x{85}\\x{2028}\\x{2029}]"),
                                            QRegularExpression::UseUnicodePropertiesOption);
    QStringList kept;
    bool pendingBlank = false;
    for (const QString &line : text.split(newline)) {
        const QString simplified = line.simplified();
        if (simplified.isEmpty()) {
            pendingBlank = !kept.isEmpty();
            continue;
        }
        if (pendingBlank)
            kept.append(QString());
        pendingBlank = false;
        kept.append(simplified);
    }
    return kept.join(u'\n').trimmed();
}

// Keeps a cut from falling between the two halves of a surrogate pair.
qsizetype safeCut(const QString &text, qsizetype at)
{
    if (at > 0 && at < text.size() && text.at(at).isLowSurrogate() && text.at(at - 1).isHighSurrogate())
        return at - 1;
    return at;
}

// Where a slice [start, end) should end instead of at end: just after the
// last paragraph break, sentence end or space in its second half.
std::optional<qsizetype> betterBreak(const QString &text, qsizetype start, qsizetype end)
{
    const QStringView slice = QStringView(text).mid(start, end - start);
    const qsizetype mid = slice.size() / 2;
    static const QString separators[] = {QStringLiteral("\n\n"), QStringLiteral(". "), QStringLiteral("? "),
                                         QStringLiteral("! "), QStringLiteral(".\n"), QStringLiteral("\n")};
    for (const QString &separator : separators) {
        const qsizetype at = slice.lastIndexOf(separator);
        if (at > mid)
            return start + at + separator.size();
    }
    const qsizetype space = slice.lastIndexOf(u' ');
    if (space > mid)
        return start + space + 1;
    return std::nullopt;
}

} // namespace

QStringList splitIntoPassages(const QString &text, int size, int overlap)
{
    // A passage holds at least one whole character, which may take two code
    // units; a smaller size would never move past a surrogate pair.
    size = std::max(size, 2);
    const QString normalized = normalizedText(text);
    if (normalized.isEmpty())
        return {};
    if (normalized.size() <= size)
        return {normalized};

    QStringList result;
    const qsizetype length = normalized.size();
    qsizetype start = 0;
    while (true) {
        qsizetype end = std::min<qsizetype>(start + size, length);
        if (end != length) {
            end = safeCut(normalized, end);
            if (const auto cut = betterBreak(normalized, start, end))
                end = *cut;
        }
        const QString piece = normalized.mid(start, end - start).trimmed();
        if (!piece.isEmpty())
            result.append(piece);
        if (end == length)
            break;

        const qsizetype back = std::min<qsizetype>((end - start) / 2, overlap);
        qsizetype next = safeCut(normalized, end - back);
        // Begin the next passage at a word.
        for (qsizetype i = next; i < end; ++i) {
            const QChar c = normalized.at(i);
            if (c == u' ' || c == u'\n') {
                next = i + 1;
                break;
            }
        }
        if (next <= start)
            next = end;
        if (next >= length)
            break;
        start = next;
    }
    return result;
}
