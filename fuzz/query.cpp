// The plain-English parser and the filter it compiles: any text parses, and
// the query it gives runs against a library, both as a listing and as a
// full-text search, without a statement error.
#include "FuzzInput.h"

#include "search/FullTextQuery.h"
#include "search/LocalQueryParser.h"
#include "store/IndexStore.h"

namespace {

IndexStore &library()
{
    static const auto store = [] {
        auto made = IndexStore::openInMemory();
        FileRecord record;
        record.path = QStringLiteral("/library/Invoices/march invoice.pdf");
        record.name = QStringLiteral("march invoice.pdf");
        record.ext = QStringLiteral("pdf");
        record.kind = FileKind::document;
        record.size = 120'000;
        record.modified = 1'700'000'000;
        made->files().upsert({record}, QStringLiteral("/library"), 1'700'000'000);
        return made;
    }();
    return *store;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const LocalQueryParser parser(QDateTime(QDate(2026, 11, 23), QTime(10, 30), QTimeZone::utc()),
                                         UserCalendar{QTimeZone::utc(), QLocale(QLocale::English, QLocale::UnitedStates)});
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    const SearchQuery query = parser.parse(text);
    FUZZ_EXPECT(query.raw == text, query.raw);
    FUZZ_EXPECT(parser.parse(text) == query, text);

    const CompiledFilter compiled = compileFilter(query.filter);
    FUZZ_EXPECT(compiled.clause.count(u'?') == compiled.bindings.size(), compiled.clause);
    try {
        library().files().list(query.filter, FileSort::recent, 5);
        library().files().count(query.filter);
        if (const auto match = ftsMatchAll(query.keywords, PrefixMatch::lastTokenPrefix))
            library().passages().searchFiles(*match, query.filter, 5);
        if (const auto match = ftsMatchAny(query.keywords + query.relatedTerms))
            library().passages().searchFiles(*match, query.filter, 5);
    } catch (const SQLiteError &error) {
        fuzzFailure("the compiled query runs", text + u'\n' + compiled.clause + u'\n' + error.description());
    }
    return 0;
}
