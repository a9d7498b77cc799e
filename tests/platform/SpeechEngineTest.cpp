#include "platform/MoonshineEngine.h"
#include "platform/SpeechVocabulary.h"
#include "support/SpeechFixtures.h"

#include <gtest/gtest.h>

#include <QRegularExpression>
#include <QTemporaryDir>

namespace {

std::shared_ptr<MoonshineEngine> engine()
{
    static std::shared_ptr<MoonshineEngine> loaded = MoonshineEngine::load();
    return loaded;
}

QStringList words(const QString &text)
{
    return text.toLower().split(QRegularExpression(QStringLiteral("[^a-z0-9]+")), Qt::SkipEmptyParts);
}

} // namespace

TEST(SpeechEngine, TranscribesSpeechInSeveralVoicesAndSpeeds)
{
    struct Case
    {
        QString text;
        SpeechFixtures::Voice voice;
        QStringList keyWords;
    };
    const Case cases[] = {
        {"The meeting starts at nine tomorrow morning.", {}, {"tomorrow", "morning"}},
        {"Please send the budget report to Maria before Friday.", {"en-gb", 150}, {"budget", "report", "maria", "friday"}},
        {"We should book the larger room for the workshop.", {"en-us+f3", 190}, {"book", "larger", "room", "workshop"}},
        {"Thank you all, we will meet again next week.", {"en-us", 210}, {"thank", "meet", "next", "week"}},
    };
    for (const Case &c : cases) {
        const std::vector<float> samples = SpeechFixtures::spokenSamples(c.text, c.voice);
        ASSERT_FALSE(samples.empty()) << "espeak-ng and sox make the test's speech";
        const QStringList heard = words(engine()->transcribe(samples));
        for (const QString &word : c.keyWords)
            EXPECT_TRUE(heard.contains(word)) << word.toStdString() << " in " << heard.join(' ').toStdString();
    }
    // Too little audio to hold a word, and silence, give no text.
    EXPECT_EQ(engine()->transcribe(std::vector<float>(800, 0.0f)), QString());
    EXPECT_EQ(engine()->transcribe(SpeechFixtures::silence(2.0)), QString());
}

TEST(SpeechEngine, VoiceDetectorTellsSpeechFromSilence)
{
    std::vector<float> audio = SpeechFixtures::silence(1.0);
    const std::vector<float> speech = SpeechFixtures::spokenSamples(QStringLiteral("Hello there, how are you doing?"));
    audio.insert(audio.end(), speech.begin(), speech.end());
    const auto detector = engine()->makeVoiceDetector();
    int speechWindowsInSilence = 0;
    int speechWindowsInSpeech = 0;
    const size_t silenceWindows = 16000 / SpeechEngine::windowSamples;
    for (size_t w = 0; (w + 1) * SpeechEngine::windowSamples <= audio.size(); ++w) {
        const float p = detector->speechProbability(std::span(audio).subspan(w * SpeechEngine::windowSamples, SpeechEngine::windowSamples));
        (w < silenceWindows ? speechWindowsInSilence : speechWindowsInSpeech) += p >= 0.5f;
    }
    EXPECT_EQ(speechWindowsInSilence, 0);
    EXPECT_GT(speechWindowsInSpeech, 20);
}

TEST(SpeechEngine, MissingFilesSayHowToGetThem)
{
    QTemporaryDir empty;
    const QString folders[] = {QString(), empty.path()};
    for (const QString &folder : folders) {
        try {
            MoonshineEngine::load(folder);
            ADD_FAILURE() << "loaded from " << folder.toStdString();
        } catch (const SpeechEngineError &error) {
            EXPECT_FALSE(error.description().isEmpty());
        }
    }
}

TEST(SpeechVocabulary, JoinsWordPiecesIntoText)
{
    const SpeechVocabulary vocabulary({"<unk>", "<s>", "</s>", "<0x0A>", "\xe2\x96\x81Hello", ",", "\xe2\x96\x81w", "orld",
                                       "<0xC3>", "<0xA9>", "\xe2\x96\x81" "caf"});
    struct Case
    {
        std::vector<int64_t> tokens;
        QString text;
    };
    const Case cases[] = {
        {{1, 4, 5, 6, 7, 2}, QStringLiteral("Hello, world")},
        {{10, 8, 9}, QStringLiteral("café")},       // bytes of one character
        {{4, 3, 6, 7}, QStringLiteral("Hello\n world")},
        {{0, 99, -1}, QString()},                    // markers and unknown ids
    };
    for (const Case &c : cases)
        EXPECT_EQ(vocabulary.text(c.tokens), c.text);
}
