// Typing files as QMimeDatabase's default matching does, quicker: the
// remembered types by name, the screen of content rules and the stand-ins
// for content that no rule matches must never give another answer than the
// database itself.
#include "platform/FileTypes.h"
#include "platform/SharedMimeInfo.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

using SharedMimeInfo::MagicScreen;

// Opening bytes of real files of many types, from the system's own folders,
// with some made-up content.
QList<QByteArray> contentSamples()
{
    QList<QByteArray> samples{QByteArray(), "a", QByteArray(256, '\x7f'), QByteArray("\xFF\xFE\x01\x02", 4),
                              QByteArray(200, 'x') + '\x01', QByteArray(100, 'x') + '\x01',
                              "{\"a\": 1}\n", "#!/bin/sh\necho hi\n", "<?xml version=\"1.0\"?><TS></TS>",
                              QByteArray("PK\x03\x04", 4) + QByteArray(40, '\0')};
    quint32 seed = 7;
    for (int size : {16, 300, 5000, 16384}) {
        QByteArray random(size, Qt::Uninitialized);
        for (char &byte : random)
            byte = char((seed = seed * 1103515245u + 12345u) >> 16);
        samples.append(random);
    }
    for (const char *folder : {"/usr/bin", "/usr/share/pixmaps", "/usr/share/mime/image", "/usr/share/common-licenses",
                               "/usr/lib/x86_64-linux-gnu", "/usr/share/fonts/truetype/dejavu"}) {
        const QFileInfoList files = QDir(QString::fromLatin1(folder)).entryInfoList(QDir::Files, QDir::Name);
        for (qsizetype i = 0; i < files.size(); i += std::max<qsizetype>(1, files.size() / 25)) {
            QFile file(files.at(i).filePath());
            if (file.open(QIODevice::ReadOnly))
                samples.append(file.read(16384));
        }
    }
    return samples;
}

// Every sample under names of each sort (none, one suffix with several
// candidates, a whole-name pattern), one typing memory for all as in a scan.
TEST(FileTypes, AgreeWithTheDatabaseOnRealAndMadeUpContent)
{
    const MagicScreen &screen = MagicScreen::instance();
    ASSERT_TRUE(screen.isUsable()) << "the system's MIME database has magic files";
    const QString folder = TestEnvironment::makeFolder("types");
    const QStringList names{"sample-%1", "sample-%1.bin", "sample-%1.ts", "Makefile.%1", "sample-%1.json"};
    const QMimeDatabase db;
    FileTypes types;
    int byContent = 0, turnedAway = 0;
    const QList<QByteArray> samples = contentSamples();
    for (qsizetype i = 0; i < samples.size(); ++i) {
        const QString name = names.at(i % names.size()).arg(i);
        const QString path = folder + u'/' + name;
        TestEnvironment::writeFile(path, samples.at(i));
        QMimeType type = types.byName(name).type;
        if (const auto match = types.byName(name).match; match != FileTypes::NameMatch::decides) {
            ++byContent;
            turnedAway += screen.mayMatch(samples.at(i)) ? 0 : 1;
            type = types.byContent(name, match, samples.at(i).left(FileTypes::headSize));
        }
        EXPECT_EQ(type.name(), db.mimeTypeForFile(path).name()) << qPrintable(name);
    }
    EXPECT_GE(byContent, samples.size() / 2);
    EXPECT_GE(turnedAway, 5) << "most plain text and random bytes pass no rule";
}

// Types by name are remembered by suffix, except where a pattern of the
// whole name could tell another type: the second round asks the memory.
TEST(FileTypes, RememberedSuffixesNeverHideAWholeNamePattern)
{
    const QMimeDatabase db;
    FileTypes types;
    const QStringList names{"x.am", "Makefile.am", "notes.txt", "CMakeLists.txt", "x.md", "README.md",
                            "a.tar.gz", "backup.tar.gz", "x.in", "makefile.in"};
    for (int round = 0; round < 2; ++round) {
        for (const QString &name : names)
            EXPECT_EQ(types.byName(name).type.name(), db.mimeTypeForFile(name, QMimeDatabase::MatchExtension).name())
                << qPrintable(name);
    }
}

TEST(MagicScreen, AnUnreadableDatabaseSendsEverythingToTheFullMatching)
{
    const QString folder = TestEnvironment::makeFolder("magic");
    TestEnvironment::writeFile(folder + "/truncated", QByteArray("MIME-Magic\0\n[50:a/b]\n>0=\0\5ab", 27));
    TestEnvironment::writeFile(folder + "/good", QByteArray("MIME-Magic\0\n[50:a/b]\n>0=\0\2ab\n", 29));
    for (const QStringList &files : {QStringList{folder + "/truncated"}, QStringList{folder + "/good", folder + "/gone"},
                                     QStringList{}}) {
        const MagicScreen screen(files);
        EXPECT_FALSE(screen.isUsable());
        EXPECT_TRUE(screen.mayMatch("plain words"));
    }
    const MagicScreen good({folder + "/good"});
    EXPECT_TRUE(good.mayMatch("abc"));
    EXPECT_FALSE(good.mayMatch("xab"));
}

} // namespace
