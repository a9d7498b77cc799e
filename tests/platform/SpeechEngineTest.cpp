#include "platform/MoonshineEngine.h"
#include "platform/SpeechVocabulary.h"
#include "support/SpeechFixtures.h"

#include <gtest/gtest.h>


namespace {

std::shared_ptr<MoonshineEngine> engine()
{
    static std::shared_ptr<MoonshineEngine> loaded = MoonshineEngine::load();
    return loaded;
}

} // namespace

TEST(SpeechEngine, TranscribesSpeechInSeveralVoicesAndSpeeds)
{
    struct Case { QString text; SpeechFixtures::Voice voice; QStringList keyWords; };
    const Case cases[] = {
        {"The meeting starts at nine tomorrow morning.", {}, {"tomorrow", "morning"}},
        {"Please send the budget report to Maria before Friday.", {"en-gb", 150}, {"budget", "report", "maria", "friday"}},
        {"We should book the larger room for the workshop.", {"en-us+f3", 190}, {"book", "larger", "room", "workshop"}},
        {"Thank you all, we will meet again next week.", {"en-us", 210}, {"thank", "meet", "next", "week"}},
    };
    for (const Case &c : cases) {
        const std::vector<float> samples = SpeechFixtures::spokenSamples(c.text, c.voice);
        ASSERT_FALSE(samples.empty()) << "espeak-ng and sox make the test's speech";
        for (const auto decoding : {SpeechEngine::Decoding::quick, SpeechEngine::Decoding::thorough}) {
            const QStringList heard = SpeechFixtures::words(engine()->transcribe(samples, decoding));
            for (const QString &word : c.keyWords)
                EXPECT_TRUE(heard.contains(word)) << word.toStdString() << " in " << heard.join(' ').toStdString();
        }
    }
    // Where the likeliest word at each step leads astray, a thorough decode
    // keeps the transcript that reads better as a whole.
    const Case astray[] = {
        {"Let us make sure the backup runs every night.", {"en-gb-x-rp", 140}, {"sure", "runs", "night"}},
        {"I will send the updated budget to finance before Friday.", {"en-gb-x-rp", 140}, {"updated", "budget", "friday"}},
    };
    for (const Case &c : astray) {
        const QStringList heard = SpeechFixtures::words(
            engine()->transcribe(SpeechFixtures::spokenSamples(c.text, c.voice), SpeechEngine::Decoding::thorough));
        for (const QString &word : c.keyWords)
            EXPECT_TRUE(heard.contains(word)) << word.toStdString() << " in " << heard.join(' ').toStdString();
    }
    // Too little audio to hold a word, and silence, give no text.
    EXPECT_EQ(engine()->transcribe(std::vector<float>(800, 0.0f)), QString());
    EXPECT_EQ(engine()->transcribe(std::vector<float>(32000, 0.0f)), QString());
}

TEST(SpeechVocabulary, JoinsWordPiecesIntoText)
{
    const SpeechVocabulary vocabulary({"<unk>", "<s>", "</s>", "<0x0A>", "\xe2\x96\x81Hello", ",", "\xe2\x96\x81w", "orld",
                                       "<0xC3>", "<0xA9>", "\xe2\x96\x81" "caf"});
    struct Case { std::vector<int64_t> tokens; QString text; };
    const Case cases[] = {
        {{1, 4, 5, 6, 7, 2}, QStringLiteral("Hello, world")},
        {{10, 8, 9}, QStringLiteral("café")},       // bytes of one character
        {{4, 3, 6, 7}, QStringLiteral("Hello\n world")},
        {{0, 99, -1}, QString()},                    // markers and unknown ids
    };
    for (const Case &c : cases)
        EXPECT_EQ(vocabulary.text(c.tokens), c.text);
}
