// The JSON reader: any bytes either parse or throw JSONError; what parses is
// written back without error, and reading that back gives an equal value
// with an equal hash.
#include "FuzzInput.h"

#include "claude/JSONDecoder.h"
#include "claude/JSONValue.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray text(reinterpret_cast<const char *>(data), qsizetype(size));
    JSONValue value;
    try {
        value = JSONValue::parse(text);
    } catch (const JSONError &) {
        return 0;
    }
    QByteArray written;
    try {
        written = value.serialized();
    } catch (const JSONError &error) {
        fuzzFailure("a parsed value can be written", error.description());
    }
    JSONValue again;
    try {
        again = JSONValue::parse(written);
    } catch (const JSONError &error) {
        fuzzFailure("written JSON parses", QString::fromUtf8(written) + u' ' + error.description());
    }
    FUZZ_EXPECT(again == value, QString::fromUtf8(written));
    FUZZ_EXPECT(qHash(again) == qHash(value), QString::fromUtf8(written));
    FUZZ_EXPECT(again.serialized() == written, QString::fromUtf8(written));

    // Lookups never fail, whatever the shape.
    value["a"]["b"].stringValue();
    value["type"].integerValue();
    for (const JSONValue &item : value.arrayItems())
        item.integerValue();
    return 0;
}
