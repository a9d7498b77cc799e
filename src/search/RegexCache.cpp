#include "search/RegexCache.h"

RegexCache &RegexCache::shared()
{
    static RegexCache cache;
    return cache;
}

std::optional<QRegularExpression> RegexCache::expression(const QString &pattern)
{
    std::lock_guard guard(m_lock);
    auto found = m_compiled.constFind(pattern);
    if (found != m_compiled.constEnd())
        return *found;
    QRegularExpression compiled(pattern, QRegularExpression::UseUnicodePropertiesOption);
    // Compiling here, under the lock, means the copies handed out are
    // already compiled and only ever read.
    compiled.optimize();
    std::optional<QRegularExpression> entry;
    if (compiled.isValid())
        entry = compiled;
    m_compiled.insert(pattern, entry);
    return entry;
}

namespace {

struct Found
{
    QStringList groups;
    qsizetype start = 0;
    qsizetype length = 0;
};

std::optional<Found> firstMatch(const QString &pattern, const QString &text)
{
    const auto expression = RegexCache::shared().expression(pattern);
    if (!expression)
        return std::nullopt;
    const QRegularExpressionMatch match = expression->match(text);
    if (!match.hasMatch())
        return std::nullopt;
    Found found;
    const int groups = expression->captureCount();
    found.groups.reserve(groups + 1);
    for (int i = 0; i <= groups; ++i)
        found.groups.append(match.captured(i));
    found.start = match.capturedStart(0);
    found.length = match.capturedLength(0);
    return found;
}

} // namespace

std::optional<QStringList> consume(const QString &pattern, QString &text)
{
    auto found = firstMatch(pattern, text);
    if (!found)
        return std::nullopt;
    text.replace(found->start, found->length, QString(found->length, u' '));
    return found->groups;
}

std::optional<QStringList> peek(const QString &pattern, const QString &text)
{
    auto found = firstMatch(pattern, text);
    if (!found)
        return std::nullopt;
    return found->groups;
}
