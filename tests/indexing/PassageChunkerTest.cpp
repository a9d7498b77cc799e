// Cutting text into the passages the library stores.
#include "indexing/PassageChunker.h"

#include <gtest/gtest.h>

TEST(PassageChunker, BoundariesAndNormalisation)
{
    EXPECT_TRUE(splitIntoPassages("  \n\n \t ").isEmpty());
    EXPECT_EQ(splitIntoPassages(QString(900, u'a')).size(), 1);
    EXPECT_EQ(splitIntoPassages(QString(901, u'a')).size(), 2);
    EXPECT_EQ(splitIntoPassages("  one   two \n\n\n\nthree\n"), QStringList{"one two\n\nthree"});
    EXPECT_EQ(splitIntoPassages("\n\nstart"), QStringList{"start"});

    // No space anywhere: cut at exactly 900, and the next starts 120 back.
    const QString run = QString(2000, u'x');
    const QStringList runPieces = splitIntoPassages(run);
    ASSERT_GE(runPieces.size(), 2);
    EXPECT_EQ(runPieces.at(0).size(), 900);
    EXPECT_EQ(runPieces.at(1).size(), 900);
    EXPECT_EQ(runPieces.size(), 3);
    EXPECT_EQ(runPieces.at(2).size(), 2000 - 2 * 780);
}

TEST(PassageChunker, BreakAtParagraphsSentencesAndWords)
{
    // Words of five letters: every passage begins at a word and neighbours
    // overlap by at most 120 characters.
    QStringList words;
    for (int i = 0; i < 1000; ++i)
        words.append(QStringLiteral("w%1").arg(i % 1000, 4, 10, QChar(u'0')));
    const QString text = words.join(u' ');
    const QStringList pieces = splitIntoPassages(text);
    ASSERT_GT(pieces.size(), 5);
    qsizetype searchFrom = 0;
    qsizetype previousEnd = 0;
    for (const QString &piece : pieces) {
        EXPECT_LE(piece.size(), 900);
        EXPECT_TRUE(piece.startsWith(u'w')) << piece.left(10).toStdString();
        const qsizetype at = text.indexOf(piece, searchFrom);
        ASSERT_GE(at, 0);
        if (at > 0) {
            EXPECT_EQ(text.at(at - 1), u' ') << "begins in the middle of a word";
        }
        EXPECT_LE(previousEnd - at, 120);
        previousEnd = at + piece.size();
        searchFrom = at + 1;
    }
    EXPECT_EQ(previousEnd, text.size());

    // A paragraph break in the second half wins over a later sentence end.
    const QString paragraphs = QString(600, u'a') + "\n\n" + QString(200, u'b') + ". " + QString(300, u'c');
    EXPECT_EQ(splitIntoPassages(paragraphs).first(), QString(600, u'a'));
    const QString sentences = QString(500, u'a') + ". " + QString(200, u'b') + " " + QString(400, u'c');
    EXPECT_EQ(splitIntoPassages(sentences).first(), QString(500, u'a') + u'.');
    // A break in the first half doesn't count.
    const QString early = QString(100, u'a') + ". " + QString(1000, u'b');
    EXPECT_EQ(splitIntoPassages(early).first().size(), 900);
}
