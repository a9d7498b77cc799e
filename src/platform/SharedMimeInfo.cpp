#include "platform/SharedMimeInfo.h"

#include <QFile>
#include <QSet>
#include <QStandardPaths>

#include <algorithm>
#include <cstring>

namespace SharedMimeInfo {

namespace {

// Every MIME database folder that QMimeDatabase reads.
QStringList databaseFolders()
{
    return QStandardPaths::locateAll(QStandardPaths::GenericDataLocation, QStringLiteral("mime"),
                                     QStandardPaths::LocateDirectory);
}

} // namespace

// ---- globs2 ----

const WholeNamePatterns &WholeNamePatterns::instance()
{
    static const WholeNamePatterns patterns;
    return patterns;
}

WholeNamePatterns::WholeNamePatterns()
{
    static const QRegularExpression wildcards(QStringLiteral("[*?\\[]"));
    QSet<QString> prefixes;
    for (const QString &folder : databaseFolders()) {
        QFile file(folder + QStringLiteral("/globs2"));
        if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
            continue;
        while (!file.atEnd()) {
            const QByteArray line = file.readLine().trimmed();
            if (line.isEmpty() || line.startsWith('#'))
                continue;
            const QList<QByteArray> fields = line.split(':');
            if (fields.size() < 3 || fields.at(2).startsWith('*'))
                continue;
            const QString pattern = QString::fromUtf8(fields.at(2));
            const qsizetype wildcard = pattern.indexOf(wildcards);
            const QString literal = wildcard < 0 ? pattern : pattern.left(wildcard);
            if (literal.isEmpty()) {
                m_wildcardStarts.append(QRegularExpression(
                    QRegularExpression::wildcardToRegularExpression(pattern),
                    QRegularExpression::CaseInsensitiveOption | QRegularExpression::UseUnicodePropertiesOption));
            } else {
                prefixes.insert(literal);
            }
        }
    }
    for (const QString &prefix : prefixes)
        m_prefixes[prefix.at(0).toCaseFolded()].append(prefix);
}

bool WholeNamePatterns::mayMatch(const QString &name) const
{
    if (name.isEmpty())
        return false;
    const auto bucket = m_prefixes.constFind(name.at(0).toCaseFolded());
    if (bucket != m_prefixes.constEnd()) {
        for (const QString &prefix : *bucket) {
            if (name.startsWith(prefix, Qt::CaseInsensitive))
                return true;
        }
    }
    return std::any_of(m_wildcardStarts.cbegin(), m_wildcardStarts.cend(),
                       [&](const QRegularExpression &pattern) { return pattern.match(name).hasMatch(); });
}

// ---- magic ----

const MagicScreen &MagicScreen::instance()
{
    static const MagicScreen screen([] {
        // A database without a magic file leaves its rules unknown, and the
        // screen unusable.
        QStringList files;
        for (const QString &folder : databaseFolders())
            files.append(folder + QStringLiteral("/magic"));
        return files;
    }());
    return screen;
}

MagicScreen::MagicScreen(const QStringList &magicFiles)
{
    if (magicFiles.isEmpty())
        return;
    for (const QString &path : magicFiles) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly) || !parse(file.readAll())) {
            m_tests.clear();
            return;
        }
    }
    for (qsizetype i = 0; i < m_tests.size(); ++i) {
        qsizetype end = i + 1;
        while (end < m_tests.size() && m_tests.at(end).indent > m_tests.at(i).indent)
            ++end;
        m_tests[i].end = end;
    }
    m_usable = true;
}

namespace {

// A decimal number at pos, moving pos past it; -1 when there is none.
qsizetype number(const QByteArray &bytes, qsizetype &pos)
{
    qsizetype value = -1;
    while (pos < bytes.size() && bytes.at(pos) >= '0' && bytes.at(pos) <= '9') {
        value = std::max<qsizetype>(value, 0) * 10 + (bytes.at(pos) - '0');
        if (value > (1 << 30))
            return -1;
        ++pos;
    }
    return value;
}

// The value's bytes swapped in groups of the word size: how a rule on a
// host-order number reads on a little-endian machine.
QByteArray swappedWords(const QByteArray &bytes, int wordSize)
{
    QByteArray swapped = bytes;
    for (qsizetype at = 0; at + wordSize <= swapped.size(); at += wordSize)
        std::reverse(swapped.begin() + at, swapped.begin() + at + wordSize);
    return swapped;
}

} // namespace

// The format: "MIME-Magic\0\n", then sections "[priority:type]\n", each
// with lines "[indent]>offset=<2-byte length><value>[&<mask>][~word][+range]\n".
bool MagicScreen::parse(const QByteArray &bytes)
{
    static const QByteArray header("MIME-Magic\0\n", 12);
    if (!bytes.startsWith(header))
        return false;
    qsizetype pos = header.size();
    while (pos < bytes.size()) {
        if (bytes.at(pos) == '[') {
            const qsizetype end = bytes.indexOf("]\n", pos);
            if (end < 0)
                return false;
            pos = end + 2;
            continue;
        }
        const qsizetype indent = number(bytes, pos);
        if (pos >= bytes.size() || bytes.at(pos) != '>')
            return false;
        ++pos;
        Test test;
        test.indent = int(std::max<qsizetype>(indent, 0));
        test.offset = number(bytes, pos);
        if (test.offset < 0 || pos + 3 > bytes.size() || bytes.at(pos) != '=')
            return false;
        const qsizetype length = (qsizetype(uchar(bytes.at(pos + 1))) << 8) | uchar(bytes.at(pos + 2));
        pos += 3;
        if (length == 0 || pos + length > bytes.size())
            return false;
        test.value = bytes.mid(pos, length);
        pos += length;
        if (pos < bytes.size() && bytes.at(pos) == '&') {
            if (pos + 1 + length > bytes.size())
                return false;
            test.mask = bytes.mid(pos + 1, length);
            pos += 1 + length;
        }
        if (pos < bytes.size() && bytes.at(pos) == '~') {
            ++pos;
            const auto wordSize = int(number(bytes, pos));
            if (wordSize < 1)
                return false;
            if (wordSize > 1) {
                test.swappedValue = swappedWords(test.value, wordSize);
                test.swappedMask = swappedWords(test.mask, wordSize);
            }
        }
        if (pos < bytes.size() && bytes.at(pos) == '+') {
            ++pos;
            test.range = number(bytes, pos);
            if (test.range < 1)
                return false;
        }
        if (pos >= bytes.size() || bytes.at(pos) != '\n')
            return false;
        ++pos;
        if (test.indent > (m_tests.isEmpty() ? 0 : m_tests.last().indent + 1))
            return false;
        m_tests.append(std::move(test));
    }
    return true;
}

namespace {

bool matchesAt(QByteArrayView data, qsizetype at, const QByteArray &value, const QByteArray &mask)
{
    const char *bytes = data.data() + at;
    if (mask.isEmpty())
        return std::memcmp(bytes, value.constData(), size_t(value.size())) == 0;
    for (qsizetype i = 0; i < value.size(); ++i) {
        if ((bytes[i] & mask.at(i)) != (value.at(i) & mask.at(i)))
            return false;
    }
    return true;
}

// Whether value, under mask, is in data at an offset from first to last.
bool foundBetween(QByteArrayView data, qsizetype first, qsizetype last, const QByteArray &value,
                  const QByteArray &mask)
{
    if (mask.isEmpty() || uchar(mask.at(0)) == 0xFF) {
        // Jump from one occurrence of the first byte to the next.
        const char *begin = data.data();
        const char *at = begin + first;
        const char *end = begin + last + 1;
        while (at < end) {
            at = static_cast<const char *>(std::memchr(at, value.at(0), size_t(end - at)));
            if (!at)
                return false;
            if (matchesAt(data, at - begin, value, mask))
                return true;
            ++at;
        }
        return false;
    }
    for (qsizetype at = first; at <= last; ++at) {
        if (matchesAt(data, at, value, mask))
            return true;
    }
    return false;
}

} // namespace

bool MagicScreen::holds(qsizetype index, QByteArrayView data) const
{
    const Test &test = m_tests.at(index);
    const qsizetype last = std::min(test.offset + test.range - 1, data.size() - test.value.size());
    const bool found = test.offset <= last
        && (foundBetween(data, test.offset, last, test.value, test.mask)
            || (!test.swappedValue.isEmpty()
                && foundBetween(data, test.offset, last, test.swappedValue, test.swappedMask)));
    if (!found || test.end == index + 1)
        return found;
    for (qsizetype child = index + 1; child < test.end; child = m_tests.at(child).end) {
        if (holds(child, data))
            return true;
    }
    return false;
}

bool MagicScreen::mayMatch(QByteArrayView data) const
{
    if (!m_usable)
        return true;
    for (qsizetype index = 0; index < m_tests.size(); index = m_tests.at(index).end) {
        if (holds(index, data))
            return true;
    }
    return false;
}

bool MagicScreen::looksLikeText(QByteArrayView data)
{
    if (data.startsWith("\xFE\xFF") || data.startsWith("\xFF\xFE"))
        return true;
    const QByteArrayView start = data.first(std::min<qsizetype>(128, data.size()));
    return std::none_of(start.begin(), start.end(), [](char c) {
        const auto byte = uchar(c);
        return byte < 32 && byte != '\t' && byte != '\n' && byte != '\r';
    });
}

} // namespace SharedMimeInfo
