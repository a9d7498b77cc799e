// SHA-256 digests of files read in chunks.
#include "TidyFixtures.h"
#include "support/TestEnvironment.h"
#include "tidy/FileDigest.h"

#include <QCryptographicHash>
#include <QRandomGenerator>

#include <gtest/gtest.h>

namespace {

TEST(FileDigest, MatchesKnownDigestsAcrossChunkBoundaries)
{
    const QString folder = TestEnvironment::makeFolder(QStringLiteral("digests"));
    TestEnvironment::writeFile(folder + QStringLiteral("/empty"), {});
    TestEnvironment::writeFile(folder + QStringLiteral("/abc"), "abc");
    EXPECT_EQ(FileDigest::sha256(folder + QStringLiteral("/empty")),
              QStringLiteral("e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"));
    EXPECT_EQ(FileDigest::sha256(folder + QStringLiteral("/abc")),
              QStringLiteral("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"));

    // Sizes around the 1 MiB chunk: one less, exactly one, one more, several.
    for (qsizetype size : {FileDigest::chunkSize - 1, FileDigest::chunkSize, FileDigest::chunkSize + 1,
                           3 * FileDigest::chunkSize + 12345}) {
        QByteArray bytes(size, Qt::Uninitialized);
        for (qsizetype i = 0; i < size; ++i)
            bytes[i] = char(QRandomGenerator::global()->bounded(256));
        const QString path = folder + QStringLiteral("/random-%1").arg(size);
        TestEnvironment::writeFile(path, bytes);
        const QString expected = QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
        EXPECT_EQ(FileDigest::sha256(path), expected) << size;
    }
}

TEST(FileDigest, UnreadableOrCancelledGivesNothing)
{
    const QString folder = TestEnvironment::makeFolder(QStringLiteral("unreadable"));
    EXPECT_FALSE(FileDigest::sha256(folder + QStringLiteral("/missing")).has_value());
    // A folder opens but can't be read.
    EXPECT_FALSE(FileDigest::sha256(folder).has_value());

    TestEnvironment::writeFile(folder + QStringLiteral("/big"), QByteArray(3 * FileDigest::chunkSize, 'x'));
    CancellationToken token;
    token.cancel();
    EXPECT_FALSE(FileDigest::sha256(folder + QStringLiteral("/big"), token).has_value());
}

} // namespace
