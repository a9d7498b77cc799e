// One file of the library: a row of the files table.
#pragma once

#include <QList>
#include <QString>

#include <optional>

enum class FileKind { image, video, audio, document, archive, app, other };

// The stored and sent names of the kinds, which are the case names.
QString fileKindRawValue(FileKind kind);
// The kind as one word for people: "Image", "Document", "File" for other.
QString fileKindWord(FileKind kind);
// Any unknown text reads as FileKind::other.
FileKind fileKindFromRawValue(const QString &raw);
const QList<FileKind> &allFileKinds();

// Every member has an initializer, so that a designated initializer may leave
// any of them out.
struct FileRecord
{
    qint64 id = 0; // 0 until the record is stored
    QString path{};
    QString name{};
    QString ext{}; // lowercased, possibly empty
    std::optional<QString> uti{}; // holds the MIME type name, e.g. "application/pdf"
    FileKind kind = FileKind::other;
    qint64 size = 0;
    // Dates are seconds since 1970.
    std::optional<double> created{};
    std::optional<double> modified{};
    std::optional<double> added{};
    std::optional<double> opened{};
    std::optional<QString> sourceID{};
    std::optional<QString> sourceURL{};
    std::optional<QString> bundleID{};
    bool isScreenshot = false;
    std::optional<qint64> width{};
    std::optional<qint64> height{};
    std::optional<double> duration{};
    std::optional<qint64> pages{};
    std::optional<QString> sha256{};
    std::optional<QString> textExcerpt{};

    friend bool operator==(const FileRecord &, const FileRecord &) = default;
};

size_t qHash(const FileRecord &record, size_t seed = 0);
