#include "meetings/SpeechStream.h"
#include "support/FakeSpeechEngine.h"

#include <gtest/gtest.h>

namespace {

struct Range { double start; double end; };

// Feeds the audio in slices of the given length, as a capture would, then
// finishes, and returns every update.
std::vector<TranscriptUpdate> transcribe(const FakeAudio &audio, double sliceSeconds = 0.1)
{
    FakeSpeechEngine engine;
    std::vector<TranscriptUpdate> updates;
    SpeechStream stream(engine, Speaker::me, [&](const TranscriptUpdate &u) { updates.push_back(u); });
    const size_t slice = size_t(sliceSeconds * SpeechEngine::sampleRate);
    for (size_t at = 0; at < audio.samples.size(); at += slice)
        stream.feed(std::span(audio.samples).subspan(at, std::min(slice, audio.samples.size() - at)));
    stream.finish();
    return updates;
}

std::vector<Range> finals(const std::vector<TranscriptUpdate> &updates)
{
    std::vector<Range> ranges;
    for (const TranscriptUpdate &u : updates) {
        if (u.isFinal)
            ranges.push_back({u.start, u.end});
    }
    return ranges;
}

} // namespace

TEST(SpeechStream, CutsUtterancesAtPausesAndAtTheLongestLength)
{
    // Times are window-aligned (32 ms) and include 0.3 s of lead-in.
    struct Case { const char *name; FakeAudio audio; std::vector<Range> expected; };
    const Case cases[] = {
        {"one phrase", FakeAudio().silence(0.5).speech(1.0).silence(1.0), {{0.2, 1.5}}},
        {"a short pause keeps it open", FakeAudio().speech(1.0).silence(0.2).speech(1.0).silence(1.0), {{0.0, 2.2}}},
        {"a pause of 0.3 s closes it", FakeAudio().speech(1.0).silence(0.4).speech(1.0).silence(1.0), {{0.0, 1.0}, {1.1, 2.4}}},
        {"twenty seconds at most", FakeAudio().speech(25.0).silence(1.0), {{0.0, 20.0}, {20.0, 25.0}}},
        {"still speaking at the end", FakeAudio().silence(1.0).speech(2.0), {{0.7, 3.0}}},
        {"a click is not speech", FakeAudio().silence(1.0).speech(0.05).silence(1.0), {}},
        {"silence only", FakeAudio().silence(3.0), {}},
    };
    for (const Case &c : cases) {
        const std::vector<Range> got = finals(transcribe(c.audio));
        ASSERT_EQ(got.size(), c.expected.size()) << c.name;
        for (size_t i = 0; i < got.size(); ++i) {
            EXPECT_NEAR(got[i].start, c.expected[i].start, 0.05) << c.name << " #" << i;
            EXPECT_NEAR(got[i].end, c.expected[i].end, 0.05) << c.name << " #" << i;
        }
    }
}

TEST(SpeechStream, GuessesWhileSpeechGoesOnAndEndsWithTheFinalResult)
{
    const std::vector<TranscriptUpdate> updates = transcribe(FakeAudio().speech(2.0).silence(1.0));
    ASSERT_FALSE(updates.empty());
    EXPECT_TRUE(updates.back().isFinal);
    // A guess every 0.5 s of speech: at 0.5, 1.0, 1.5 and 2.0 s.
    const auto guesses = std::count_if(updates.begin(), updates.end(), [](const auto &u) { return !u.isFinal; });
    EXPECT_EQ(guesses, 4);
    double lastEnd = 0;
    for (const TranscriptUpdate &u : updates) {
        EXPECT_EQ(u.speaker, Speaker::me);
        EXPECT_GE(u.end, lastEnd) << "guesses grow with the utterance";
        lastEnd = u.end;
    }
    // The final result decodes the whole utterance: two seconds of speech to
    // the end of its last window, and the ten windows of pause that closed it.
    EXPECT_EQ(updates.back().text, QStringLiteral("2.34"));
}

TEST(SpeechStream, AStreamThatFellBehindGuessesOncePerCatchUp)
{
    // Ten seconds arriving at once are one catch-up: one guess, not twenty.
    const std::vector<TranscriptUpdate> updates = transcribe(FakeAudio().speech(10.0), 10.0);
    ASSERT_EQ(updates.size(), 2u);
    EXPECT_FALSE(updates[0].isFinal);
    EXPECT_TRUE(updates[1].isFinal);
}
