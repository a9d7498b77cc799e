// The generated folder tree that the scanning benchmarks walk: files of ten
// kinds with names as varied as a person's (see name() below), in folders of a hundred files,
// each file's bytes its own, a few of them copies of another, sizes from a
// few bytes to about 12 KB and modification dates over the last five years.
#pragma once

#include "WordModel.h"

#include <QBuffer>
#include <QByteArray>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QList>
#include <QSet>
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

// The names. A person's names are far more varied than a handful of words:
// most of their words are rare, a few common, and many names hold no word at
// all but a camera's or a recorder's date. Names drawn from a short list of
// words would make each word of a request match a large share of the
// library (with twenty words, a tenth of a million files), which no real
// library does, and a search would be measured on a load no person meets.
// So:
// - Photos and screen captures (png) are named by the phone or the
//   screenshot tool, recordings (wav) mostly by the recorder, with the
//   file's date.
// - Documents, notes, tables and archives get one to three words of the
//   benchmarks' made-up language (WordModel.h: Zipf's law over 50,000
//   words, the words people look for at realistic ranks), the first often a
//   word of the folder's topic; some end in a year, a date, a version or a
//   copy's number.
// - Source files run one or two words together in CamelCase; programs end
//   in a version.
// Each file's name depends on its number alone.
inline const BenchWords::WordModel &words()
{
    static const BenchWords::WordModel model;
    return model;
}

inline QString someWords(int topic, int most, const QString &separators, BenchWords::Random &random)
{
    using BenchWords::below;
    QString base;
    const int count = 1 + below(random, most);
    for (int w = 0; w < count; ++w) {
        const std::string &word = w == 0 && topic >= 0 && below(random, 5) < 3 ? words().topicWord(topic, random)
                                                                              : words().contentWord(random);
        if (!base.isEmpty())
            base += separators.at(below(random, int(separators.size())));
        base += QString::fromStdString(word);
    }
    return base;
}

inline QString name(qint64 i, const QDateTime &modified)
{
    using BenchWords::below;
    BenchWords::Random random(quint64(i) * 0x9E3779B97F4A7C15ull + 1);
    // Seven folders in ten are about one topic.
    const int folderTopic = int(mix(i / 100 + 12345) % 14);
    const int topic = folderTopic < BenchWords::topicCount ? folderTopic : -1;
    const QString extension = QLatin1String(kinds().at(i % kinds().size()).extension);
    QString base;
    if (extension == QLatin1String("png")) {
        base = below(random, 2) == 0 ? modified.toString(QStringLiteral("'Screenshot from' yyyy-MM-dd hh-mm-ss"))
                                     : modified.toString(QStringLiteral("'IMG_'yyyyMMdd_hhmmss"));
    } else if (extension == QLatin1String("wav") && below(random, 3) > 0) {
        base = modified.toString(QStringLiteral("'Recording' yyyy-MM-dd hh-mm-ss"));
    } else if (extension == QLatin1String("cpp")) {
        for (const QString &word : someWords(topic, 2, QStringLiteral(" "), random).split(u' '))
            base += word.at(0).toUpper() + word.mid(1);
    } else {
        base = someWords(topic, 3, QStringLiteral(" _-"), random);
        const int ending = below(random, 10);
        if (extension == QLatin1String("bin") || extension == QLatin1String("zip"))
            base += QStringLiteral("-%1.%2.%3").arg(below(random, 4)).arg(below(random, 20)).arg(below(random, 10));
        else if (ending < 3)
            base += modified.toString(QStringLiteral(" yyyy"));
        else if (ending == 3)
            base += modified.toString(QStringLiteral(" yyyy-MM-dd"));
        else if (ending == 4)
            base += QStringLiteral(" v%1").arg(1 + below(random, 5));
        else if (ending == 5)
            base += QStringLiteral(" final");
        else if (ending == 6)
            base += QStringLiteral(" (%1)").arg(1 + below(random, 4));
    }
    return base + u'.' + extension;
}

// A name not yet taken in the folder: the same name again gets a copy's number.
inline QString freeName(const QString &wanted, QSet<QString> &taken)
{
    QString name = wanted;
    const qsizetype dot = wanted.lastIndexOf(u'.');
    for (int copy = 2; taken.contains(name); ++copy)
        name = wanted.left(dot) + QStringLiteral(" (%1)").arg(copy) + wanted.mid(dot);
    taken.insert(name);
    return name;
}

} // namespace Detail

// The benchmarks' own arguments, "[FILES] [--keep TREE] [--library FILE]":
// how many files, a folder that keeps the tree for the next run, and a
// library file kept for the next run.
struct TreeArguments
{
    qint64 files = 0;
    QString kept;
    QString library;
};
inline TreeArguments treeArguments(const QStringList &arguments, qint64 files)
{
    TreeArguments parsed{files, {}, {}};
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        if (arguments.at(i) == QLatin1String("--keep") && i + 1 < arguments.size())
            parsed.kept = arguments.at(++i);
        else if (arguments.at(i) == QLatin1String("--library") && i + 1 < arguments.size())
            parsed.library = arguments.at(++i);
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
    QSet<QString> taken; // the names in the folder
    for (qint64 i = 0; i < files; ++i) {
        if (i % 100 == 0) {
            folder = QStringLiteral("%1/d%2/e%3").arg(root).arg(i / 10000).arg((i / 100) % 100);
            QDir().mkpath(folder);
            taken.clear();
        }
        const QByteArray bytes = Detail::ownBytes(Detail::isCopy(i) ? i - 10 : i);
        const time_t seconds = time_t(now - qint64(Detail::mix(i * 31 + 7)) % fiveYears);
        QFile file(folder + u'/' + Detail::freeName(Detail::name(i, QDateTime::fromSecsSinceEpoch(seconds)), taken));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            continue;
        file.flush();
        const timespec modified{seconds, 0};
        const timespec times[2] = {modified, modified};
        ::futimens(file.handle(), times);
        ++tree.files;
        tree.bytes += bytes.size();
        tree.copies += Detail::isCopy(i) ? 1 : 0;
    }
    return tree;
}

} // namespace TreeGenerator
