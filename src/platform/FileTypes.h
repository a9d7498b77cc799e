// The MIME type of a file as QMimeDatabase's default matching gives it, at
// a scan's pace: types by name are remembered by suffix, and content goes
// through the quick screen of the shared MIME databases' rules before the
// full matching. One per thread; the memory lasts as long as the object.
#pragma once

#include <QByteArray>
#include <QHash>
#include <QMimeDatabase>
#include <QMimeType>
#include <QString>

#include <optional>

class FileTypes
{
public:
    // How far a name decides its file's type.
    enum class NameMatch {
        decides, // one type
        none, // no pattern: the content alone decides
        several, // the content settles between the candidates
    };

    struct ByName
    {
        QMimeType type;
        NameMatch match = NameMatch::decides;
    };

    // The type that the name gives. When the name alone doesn't decide,
    // this is its best guess, and byContent has the last word.
    ByName byName(const QString &name);

    // The type of a folder package: the first type its name gives.
    QMimeType ofPackage(const QString &name) const;

    // The type for a name that doesn't decide it, from the file's opening
    // bytes (QMimeDatabase reads 16 KiB): the content settles between the
    // name's candidates, or alone when the name has none.
    QMimeType byContent(const QString &name, NameMatch match, const QByteArray &head);

    // How much of a file byContent looks at.
    static constexpr qint64 headSize = 16384;

private:
    QMimeType fullMatch(const QString &name, NameMatch match, const QByteArray &data) const;

    QMimeDatabase m_database;
    // Types by name, remembered by the part of the name from its first dot
    // on ("tar.gz" of "backup.tar.gz"), which is all that the "*." patterns
    // look at. Names that a pattern of a whole name could match
    // ("Makefile.am", "README.md") are never remembered.
    QHash<QString, ByName> m_byNameSuffix;
    // Types of content that no content rule matches, by the sort of data
    // and the remembered suffix of names with several candidates.
    QHash<QString, QMimeType> m_ofPlainContent;
};
