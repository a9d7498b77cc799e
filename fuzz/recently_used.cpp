// The reader of the recently-used list: any file content gives a list of
// local paths with dates, or nothing, and never a crash.
#include "FuzzInput.h"

#include "platform/FileTraces.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString path = fuzzFolder() + QStringLiteral("/recently-used.xbel");
    if (!writeFuzzFile(path, data, size))
        return 0;

    FileTraces::RecentlyUsed recent;
    recent.refresh(path);
    FUZZ_EXPECT(recent.size() >= 0, path);
    recent.lastUsed(QStringLiteral("/home/ada/notes.txt"));
    // A second refresh of an unchanged list keeps what was read.
    const qsizetype count = recent.size();
    recent.refresh(path);
    FUZZ_EXPECT(recent.size() == count, QString::number(count));
    return 0;
}
