// The passage chunker: any text and any sizes give passages that are
// non-empty, within the size, pieces of the normalised text that start and
// end on whole characters, and that leave no word of it out.
#include "FuzzInput.h"

#include "store/PassageChunker.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzInput input(data, size);
    const int passageSize = 1 + input.byte() % 128;
    const int overlap = input.byte() % 64;
    const QString text = input.restAsText();

    const QStringList passages = splitIntoPassages(text, passageSize, overlap);
    qsizetype characters = 0;
    for (const QString &passage : passages) {
        FUZZ_EXPECT(!passage.isEmpty(), text);
        FUZZ_EXPECT(passage.size() <= std::max(passageSize, 2), passage);
        FUZZ_EXPECT(!passage.front().isLowSurrogate() && !passage.back().isHighSurrogate(), passage);
        FUZZ_EXPECT(passage == passage.trimmed(), passage);
        characters += passage.size();
    }
    // Every word shorter than half a passage is whole in some passage.
    const QString joined = passages.join(u' ');
    for (const QString &word : text.simplified().split(u' ', Qt::SkipEmptyParts)) {
        if (2 * word.size() < passageSize)
            FUZZ_EXPECT(joined.contains(word), word + QLatin1String(" in ") + joined);
    }
    // Overlaps repeat at most half of each passage, so the passages can't
    // hold much more than twice the text.
    FUZZ_EXPECT(characters <= 2 * text.size() + passages.size(), QString::number(characters));
    return 0;
}
