// The generated folder tree that the scanning benchmarks walk: files of ten
// kinds with names made of everyday words, in folders of a hundred files,
// each file's bytes its own, a few of them copies of another, sizes from a
// few bytes to about 12 KB and modification dates over the last five years.
#pragma once

#include <QBuffer>
#include <QByteArray>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QList>
#include <QString>

#include <sys/stat.h>

namespace TreeGenerator {

inline QByteArray pngBytes()
{
    QImage image(64, 48, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

// One page, no text: enough for the page count to be read.
inline QByteArray pdfBytes()
{
    return "%PDF-1.4\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n"
           "2 0 obj<</Type/Pages/Kids[3 0 R]/Count 1>>endobj\n"
           "3 0 obj<</Type/Page/Parent 2 0 R/MediaBox[0 0 612 792]>>endobj\n"
           "trailer<</Root 1 0 R>>\n%%EOF\n";
}

// A tenth of a second of silence, 8 kHz mono 16-bit.
inline QByteArray wavBytes()
{
    const quint32 samples = 800;
    QByteArray bytes;
    const auto u32 = [&](quint32 v) { bytes.append(reinterpret_cast<const char *>(&v), 4); };
    const auto u16 = [&](quint16 v) { bytes.append(reinterpret_cast<const char *>(&v), 2); };
    bytes.append("RIFF");
    u32(36 + samples * 2);
    bytes.append("WAVEfmt ");
    u32(16);
    u16(1);
    u16(1);
    u32(8000);
    u32(16000);
    u16(2);
    u16(16);
    bytes.append("data");
    u32(samples * 2);
    bytes.append(QByteArray(samples * 2, '\0'));
    return bytes;
}

// What was made.
struct Tree
{
    qint64 files = 0;
    qint64 bytes = 0;
    qint64 copies = 0; // files whose bytes are those of another file
};

namespace Detail {

struct Kind
{
    const char *extension;
    QByteArray bytes;
};

inline const QList<Kind> &kinds()
{
    static const QList<Kind> all{
        {"txt", QByteArray("Notes about the quarterly budget and the lease.\n").repeated(4)},
        {"md", "# Plan\n\n- one\n- two\n"},
        {"png", pngBytes()},
        {"pdf", pdfBytes()},
        {"wav", wavBytes()},
        {"zip", QByteArray("PK\x05\x06", 4) + QByteArray(18, '\0')},
        {"cpp", "int main() { return 0; }\n"},
        {"csv", "a,b,c\n1,2,3\n"},
        {"json", "{\"a\": 1}\n"},
        {"bin", QByteArray(256, '\x7f')},
    };
    return all;
}

// A scrambling of the file's number, so that the big files and the copies
// are spread over every kind and folder.
inline quint32 mix(qint64 i)
{
    return quint32((quint64(i) * 2654435761u) >> 16);
}

// One file in a hundred is a copy of the file ten before it (same kind and
// folder); one in twenty, and every original of a copy, is 4 KB or more,
// as the duplicates scan looks at those only.
inline bool isCopy(qint64 i)
{
    return i >= 10 && mix(i) % 100 == 0;
}

inline bool isBig(qint64 i)
{
    return mix(i) % 20 == 0 || isCopy(i + 10);
}

inline QByteArray ownBytes(qint64 i)
{
    QByteArray bytes = kinds().at(i % kinds().size()).bytes;
    // A tail naming the file keeps its bytes apart from every other's; the
    // kinds' readers ignore what follows their end.
    const QByteArray tail = "\n" + QByteArray::number(i) + "\n";
    if (!isBig(i))
        return bytes + tail;
    const qsizetype size = 4096 + qsizetype(mix(i) % 8) * 1024;
    while (bytes.size() < size)
        bytes += tail;
    bytes.truncate(size);
    return bytes;
}

inline QString name(qint64 i)
{
    static const char *const words[] = {"report", "invoice", "holiday", "lease", "budget", "notes", "meeting",
                                        "draft", "photo", "scan", "contract", "receipt", "summary", "plan",
                                        "minutes", "letter", "statement", "recipe", "ticket", "manual"};
    constexpr qint64 count = sizeof words / sizeof *words;
    return QStringLiteral("%1-%2-%3.%4")
        .arg(QLatin1String(words[mix(i) % count]), QLatin1String(words[(i / 7) % count]))
        .arg(i)
        .arg(QLatin1String(kinds().at(i % kinds().size()).extension));
}

} // namespace Detail

// The benchmarks' own arguments, "[FILES] [--keep TREE]": how many files,
// and a folder that keeps the tree for the next run.
struct TreeArguments
{
    qint64 files = 0;
    QString kept;
};
inline TreeArguments treeArguments(const QStringList &arguments, qint64 files)
{
    TreeArguments parsed{files, {}};
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        if (arguments.at(i) == QLatin1String("--keep") && i + 1 < arguments.size())
            parsed.kept = arguments.at(++i);
        else
            parsed.files = arguments.at(i).toLongLong();
    }
    return parsed;
}

// Makes FILES files under ROOT: ten top folders of a hundred folders of a
// hundred files per 100,000 files.
inline Tree generate(const QString &root, qint64 files)
{
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    constexpr qint64 fiveYears = 5 * 365 * 86400;
    Tree tree;
    QString folder;
    for (qint64 i = 0; i < files; ++i) {
        if (i % 100 == 0) {
            folder = QStringLiteral("%1/d%2/e%3").arg(root).arg(i / 10000).arg((i / 100) % 100);
            QDir().mkpath(folder);
        }
        const QByteArray bytes = Detail::ownBytes(Detail::isCopy(i) ? i - 10 : i);
        QFile file(folder + u'/' + Detail::name(i));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            continue;
        file.flush();
        const timespec modified{time_t(now - qint64(Detail::mix(i * 31 + 7)) % fiveYears), 0};
        const timespec times[2] = {modified, modified};
        ::futimens(file.handle(), times);
        ++tree.files;
        tree.bytes += bytes.size();
        tree.copies += Detail::isCopy(i) ? 1 : 0;
    }
    return tree;
}

} // namespace TreeGenerator
