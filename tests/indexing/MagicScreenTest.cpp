// The quick first look at content: it must never turn away data that a
// content rule of the MIME database matches, and what it turns away must be
// typed by the text test exactly as the database types it.
#include "platform/MagicScreen.h"
#include "support/TestEnvironment.h"

#include <QMimeDatabase>

#include <gtest/gtest.h>

QList<QByteArray> contentSamples(); // FileScannerTest.cpp

TEST(MagicScreen, AgreesWithTheDatabaseOnRealAndMadeUpContent)
{
    const MagicScreen &screen = MagicScreen::instance();
    ASSERT_TRUE(screen.isUsable()) << "the system's MIME database has magic files";
    const QMimeDatabase db;
    const QStringList plain{"application/x-zerosize", "text/plain", "application/octet-stream"};
    int turnedAway = 0;
    for (const QByteArray &data : contentSamples()) {
        const QString type = db.mimeTypeForData(data).name();
        if (screen.mayMatch(data))
            continue;
        ++turnedAway;
        const QString expected = data.isEmpty() ? plain.at(0) : MagicScreen::looksLikeText(data) ? plain.at(1) : plain.at(2);
        EXPECT_EQ(type, expected) << data.left(16).toHex().constData();
    }
    EXPECT_GE(turnedAway, 5) << "most plain text and random bytes pass no rule";
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
