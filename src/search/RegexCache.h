// The process-wide store of compiled regular expressions. Each pattern is
// compiled once for the life of the process, with Unicode properties so that
// \b and \w know every script. Its lock is a leaf lock: nothing else is taken
// while it is held.
#pragma once

#include <QHash>
#include <QRegularExpression>
#include <QString>
#include <QStringList>

#include <mutex>
#include <optional>

class RegexCache
{
public:
    static RegexCache &shared();

    // The compiled pattern, or nothing when it does not compile; a broken
    // pattern simply never matches.
    std::optional<QRegularExpression> expression(const QString &pattern);

private:
    std::mutex m_lock;
    QHash<QString, std::optional<QRegularExpression>> m_compiled;
};

// The first match of pattern in text: one text per capture group, group 0
// first, empty for a group that took no part. consume() also overwrites the
// matched range with as many blanks as it had characters, which keeps the
// word boundaries around it; peek() leaves the text alone.
std::optional<QStringList> consume(const QString &pattern, QString &text);
std::optional<QStringList> peek(const QString &pattern, const QString &text);
