// Readers of the installed shared MIME databases' own files, for the quick
// tests that spare most files a full lookup in QMimeDatabase: the whole-name
// patterns of the globs2 files and the content rules of the magic files.
#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QChar>
#include <QHash>
#include <QList>
#include <QRegularExpression>
#include <QStringList>

namespace SharedMimeInfo {

// The name patterns that don't begin with "*" and so look at a whole name
// ("Makefile.*", "README*", "CMakeLists.txt"), read from the globs2 files
// ("weight:type:pattern[:flags]"), which is much quicker than asking every
// type for its patterns.
class WholeNamePatterns
{
public:
    // The patterns of the installed databases, read once.
    static const WholeNamePatterns &instance();

    // A quick, conservative test: true when a pattern's literal beginning
    // is the beginning of the name, ignoring case.
    bool mayMatch(const QString &name) const;

private:
    WholeNamePatterns();

    // By their first letter, case-folded.
    QHash<QChar, QStringList> m_prefixes;
    QList<QRegularExpression> m_wildcardStarts;
};

// A quick first look at a file's opening bytes before QMimeDatabase's
// content matching. The screen runs the same rules, read from the magic
// files, with plain byte searches; most files whose names don't tell their
// type pass none of them, and for those the database can only answer
// "empty", "text" or "binary", which the text test below tells.
class MagicScreen
{
public:
    // The screen of the installed databases, read once.
    static const MagicScreen &instance();

    // Reads the magic files given (the binary "MIME-Magic" format). A file
    // that can't be read or parsed whole leaves the screen unusable, so that
    // everything goes to the full matching.
    explicit MagicScreen(const QStringList &magicFiles);

    // False when some database couldn't be read: mayMatch is then always true.
    bool isUsable() const { return m_usable; }

    // False when no content rule of any type matches data.
    bool mayMatch(QByteArrayView data) const;

    // The text test of content matching, for data that no rule matches:
    // a UTF-16 byte order mark, or no control character other than tab,
    // line feed and carriage return in the first 128 bytes.
    static bool looksLikeText(QByteArrayView data);

private:
    // One line of a rule: bytes at an offset, or anywhere in a range after
    // it. A test holds when it matches and, if the lines below it are
    // indented further, one of them holds too.
    struct Test
    {
        int indent = 0;
        qsizetype offset = 0;
        qsizetype range = 1;
        QByteArray value;
        QByteArray mask; // empty: every bit counts
        // A multi-byte word may be stored either way round on this machine;
        // the other order, empty for single bytes.
        QByteArray swappedValue;
        QByteArray swappedMask;
        qsizetype end = 0; // the index past the lines under this one
    };

    bool parse(const QByteArray &bytes);
    bool holds(qsizetype index, QByteArrayView data) const;

    QList<Test> m_tests; // every type's rules, one after the other, at indent 0
    bool m_usable = false;
};

} // namespace SharedMimeInfo
