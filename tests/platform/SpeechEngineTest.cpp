#include "platform/MoonshineEngine.h"
#include "platform/SpeechVocabulary.h"
#include "platform/WordBias.h"
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

TEST(WordBias, FavoursPiecesOfTheWordsAndTakesItBackWhenAWordIsLeftUnfinished)
{
    //                                  0        1      2        3                     4      5
    const SpeechVocabulary vocabulary({"<unk>", "<s>", "</s>", "\xe2\x96\x81" "Ber", "lin", "\xe2\x96\x81" "the",
                                       "\xe2\x96\x81" "be", "ta", "on", "\xe2\x96\x81" "Maria", ","});
    //                                  6                      7     8     9                         10
    const WordBias bias(vocabulary, {"berlin", "Beta", "MARIA"}, 1.0f);
    struct Case { std::vector<int64_t> sofar; std::vector<float> change; };
    const Case cases[] = {
        // Nothing written: the first pieces of favoured words, but not one
        // of two letters.
        {{}, {0, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0}},
        // Within "Ber…": carrying on is favoured; anything else gives back
        // the favour its first piece had.
        {{3}, {-1, -1, -1, 0, 1, -1, -1, -1, -1, 0, -1}},
        // "Berlin" is done: ending it costs nothing, carrying on costs both pieces.
        {{3, 4}, {-2, -2, 0, 1, -2, 0, 0, -2, -2, 1, 0}},
        // "be…" was not favoured when it began, so nothing is owed yet.
        {{6}, {0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 0}},
        {{6, 7}, {-1, -1, 0, 1, -1, 0, 0, -1, -1, 1, 0}},
        // An ordinary word changes nothing but the start of the next.
        {{5}, {0, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0}},
        // A piece that carries on no word, at the very start.
        {{4}, {0, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0}},
    };
    for (const Case &c : cases) {
        std::vector<float> scores(size_t(vocabulary.size()), 0.0f);
        bias.favour(c.sofar, scores);
        EXPECT_EQ(scores, c.change) << ::testing::PrintToString(c.sofar);
    }
    // No words: no change at all.
    std::vector<float> scores(size_t(vocabulary.size()), 0.5f);
    WordBias(vocabulary, {}, 1.0f).favour(std::vector<int64_t>{3}, scores);
    EXPECT_EQ(scores, std::vector<float>(scores.size(), 0.5f));
}
