// The framing of a streamed answer and its accumulation into one message:
// any bytes, cut into any pieces, frame into the same lines, and folding
// their events never crashes or leaves a message that can't be written back.
#include "FuzzInput.h"

#include "claude/ClaudeError.h"
#include "claude/MessageAccumulator.h"

#include <QList>

namespace {

QList<QByteArray> framed(const QByteArray &stream, qsizetype lineLimit, const QList<qsizetype> &cuts)
{
    LineSplitter splitter(lineLimit);
    QList<QByteArray> lines;
    const auto onLine = [&lines](QByteArrayView line) { lines.append(line.toByteArray()); };
    qsizetype at = 0;
    for (const qsizetype cut : cuts) {
        const qsizetype length = std::min(cut, stream.size() - at);
        splitter.feed(QByteArrayView(stream).sliced(at, length), onLine);
        at += length;
    }
    splitter.feed(QByteArrayView(stream).sliced(at), onLine);
    splitter.finish(onLine);
    return lines;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzInput input(data, size);
    const qsizetype lineLimit = 16 + input.byte() * 4;
    QList<qsizetype> cuts;
    for (int count = input.byte() % 8; count > 0; --count)
        cuts.append(input.byte());
    const QByteArray stream = input.rest();

    const QList<QByteArray> whole = framed(stream, lineLimit, {});
    const QList<QByteArray> pieces = framed(stream, lineLimit, cuts);
    FUZZ_EXPECT(whole == pieces, QString::fromUtf8(whole.join('|') + " vs " + pieces.join('|')));
    for (const QByteArray &line : whole) {
        FUZZ_EXPECT(line.size() <= lineLimit, QString::number(line.size()));
        FUZZ_EXPECT(!line.contains('\n'), QString::fromUtf8(line));
    }

    MessageAccumulator accumulator;
    for (const QByteArray &line : framed(stream, 16 * 1024 * 1024, cuts)) {
        const auto event = MessageAccumulator::eventFromLine(line);
        if (!event)
            continue;
        try {
            accumulator.apply(*event);
        } catch (const ClaudeError &) {
            // A server "error" event: the stream ends with that error.
            break;
        }
    }
    const ClaudeMessage message = accumulator.finish();
    for (const JSONValue &block : message.content)
        block.serialized();
    message.text();
    message.toolUses();
    message.replayContent();
    return 0;
}
