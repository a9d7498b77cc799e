#include "platform/MoonshineEngine.h"
#include "platform/SpeechVocabulary.h"
#include "support/SpeechFixtures.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

namespace {

std::shared_ptr<MoonshineEngine> engine()
{
    static std::shared_ptr<MoonshineEngine> loaded = MoonshineEngine::load();
    return loaded;
}

} // namespace

TEST(SpeechEngine, TranscribesSpokenSentences)
{
    struct Case
    {
        QString text;
        SpeechFixtures::Voice voice;
    };
    const Case cases[] = {
        {"The meeting starts at nine tomorrow morning.", {}},
        {"Please send the budget report to Maria before Friday.", {"en-gb", 150}},
        {"We should book the larger room for the workshop.", {"en-us+f3", 190}},
    };
    for (const Case &c : cases) {
        const std::vector<float> samples = SpeechFixtures::spokenSamples(c.text, c.voice);
        ASSERT_FALSE(samples.empty()) << "espeak-ng and sox make the test's speech";
        const QString heard = engine()->transcribe(samples);
        qDebug() << c.text << "->" << heard;
    }
}
