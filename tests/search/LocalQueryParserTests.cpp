// Plain-English requests read into queries, with "now" pinned to Wednesday
// 15 May 2024 at 10:00 in London unless a case says otherwise.
#include "search/LocalQueryParser.h"
#include "search/RegexCache.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

namespace {

constexpr auto none = std::nullopt;

struct Clock
{
    QTimeZone zone = QTimeZone("Europe/London");
    QLocale locale = QLocale(QLocale::English, QLocale::UnitedKingdom); // weeks start on Monday
    QDate today = QDate(2024, 5, 15);
    LocalQueryParser parser() const { return LocalQueryParser(QDateTime(today, QTime(10, 0), zone), {zone, locale}); }
    // Seconds since 1970 of a wall-clock time in the zone.
    double at(int y, int m, int d, int h = 0) const { return QDateTime({y, m, d}, {h, 0}, zone).toSecsSinceEpoch(); }
    Clock on(QDate day) const { return {zone, locale, day}; }
};

// One date request: the range, its label and the words left over.
struct DateCase
{
    Clock clock;
    const char *text;
    std::optional<double> from, to;
    const char *label;
    QStringList keywords = {};
};

// Relative dates, and week starts, month and year ends, leap days, clock
// changes and month names in the user's language.
TEST(LocalQueryParser, DatesCountFromNowInTheUsersCalendar)
{
    const Clock c;
    // Sunday 12 May 2024 begins an American week and ends a British one.
    const Clock monday = Clock().on(QDate(2024, 5, 12));
    const Clock sunday{monday.zone, QLocale(QLocale::English, QLocale::UnitedStates), monday.today};
    const Clock newYear = Clock().on(QDate(2025, 1, 1)); // a Wednesday
    const Clock endOfMarch = Clock().on(QDate(2024, 3, 31));
    const Clock leapDay = Clock().on(QDate(2024, 2, 29));
    // New York moved its clocks forward on Sunday 10 March 2024; Santiago
    // skips midnight itself on 8 September 2024, so that day begins at 01:00.
    const Clock spring{QTimeZone("America/New_York"), sunday.locale, QDate(2024, 3, 11)};
    const Clock skipped{QTimeZone("America/Santiago"), Clock().locale, QDate(2024, 9, 8)};
    const Clock french{QTimeZone("Europe/Paris"), QLocale(QLocale::French, QLocale::France)};
    const DateCase cases[] = {
        {c, "over 3 weeks", none, c.at(2024, 5, 15, 10) - 21 * 86400, "Older than 3 weeks"},
        {c, "two weeks ago", c.at(2024, 4, 29), c.at(2024, 5, 6), "2 weeks ago"},
        {c, "3 years ago", c.at(2021, 1, 1), c.at(2022, 1, 1), "3 years ago"},
        {c, "on friday", c.at(2024, 5, 10), c.at(2024, 5, 11), "Friday"},
        // Asked on a Wednesday, "last wednesday" is a week ago.
        {c, "last wednesday", c.at(2024, 5, 8), c.at(2024, 5, 9), "Wednesday"},
        {c, "friday", none, none, "", {"friday"}},
        {c, "in may", c.at(2024, 5, 1), c.at(2024, 6, 1), "May 2024"},
        {c, "may budget", none, none, "", {"may", "budget"}},
        {c, "in december", c.at(2023, 12, 1), c.at(2024, 1, 1), "December 2023"},
        {c, "sep. 2023", c.at(2023, 9, 1), c.at(2023, 10, 1), "September 2023"},
        {c, "before 2020", none, c.at(2020, 1, 1), "Before 2020"},
        {c, "after 2020", c.at(2021, 1, 1), none, "After 2020"},
        {c, "taxes 2023", none, none, "", {"taxes", "2023"}},
        {c, "recent invoices", c.at(2024, 5, 1), none, "Recent", {"invoices"}},
        {monday, "this week", monday.at(2024, 5, 6), monday.at(2024, 5, 13), "This week"},
        {sunday, "this week", sunday.at(2024, 5, 12), sunday.at(2024, 5, 19), "This week"},
        {sunday, "last week", sunday.at(2024, 5, 5), sunday.at(2024, 5, 12), "Last week"},
        // On a Sunday "on sunday" is a week back, whatever the week's first day.
        {sunday, "on sunday", sunday.at(2024, 5, 5), sunday.at(2024, 5, 6), "Sunday"},
        {newYear, "yesterday", newYear.at(2024, 12, 31), newYear.at(2025, 1, 1), "Yesterday"},
        {newYear, "last month", newYear.at(2024, 12, 1), newYear.at(2025, 1, 1), "Last month"},
        // A month before 31 March is the last day of February.
        {endOfMarch, "a month ago", endOfMarch.at(2024, 2, 1), endOfMarch.at(2024, 3, 1), "1 month ago"},
        {endOfMarch, "past month", endOfMarch.at(2024, 2, 29, 10), none, "Past month"},
        {leapDay, "older than a year", none, leapDay.at(2023, 2, 28, 10), "Older than 1 year"},
        {spring, "yesterday", spring.at(2024, 3, 10), spring.at(2024, 3, 11), "Yesterday"},
        // Calendar days keep the wall-clock time: 71 hours, not 72.
        {spring, "last 3 days", spring.at(2024, 3, 8, 10), none, "Past 3 days"},
        {skipped, "today", skipped.at(2024, 9, 8, 1), skipped.at(2024, 9, 9), "Today"},
        {french, "since feb", french.at(2024, 2, 1), none, "Since février 2024"},
    };
    for (const DateCase &d : cases) {
        const SearchQuery q = d.clock.parser().parse(d.text);
        const std::string when = d.text + (" on " + d.clock.today.toString().toStdString());
        EXPECT_EQ(q.filter.dateFrom, d.from) << when;
        EXPECT_EQ(q.filter.dateTo, d.to) << when;
        EXPECT_EQ(q.dateLabel.value_or(QString()), d.label) << when;
        EXPECT_EQ(q.keywords, d.keywords) << when;
    }
}

// Sizes, sources, date fields, kinds, keywords and their mixes: each case
// names only what differs from an empty query, and the whole query is compared.
TEST(LocalQueryParser, FiltersAndKeywords)
{
    using K = FileKind;
    const Clock c;
    const std::pair<const char *, std::function<void(SearchQuery &)>> cases[] = {
        {"pdfs from slack last week", [&](auto &q) {
             q.filter.extensions = {"pdf"}; q.filter.sources = {"slack"}; q.dateLabel = "Last week";
             q.filter.dateFrom = c.at(2024, 5, 6); q.filter.dateTo = c.at(2024, 5, 13); }},
        {"invoice over 2.5 mb", [](auto &q) { q.filter.minSize = 2'500'000; q.keywords = {"invoice"}; }},
        {"larger than 1,5 gb", [](auto &q) { q.filter.minSize = 1'500'000'000; }},
        {">= 10k <2mb", [](auto &q) { q.filter.minSize = 10'000; q.filter.maxSize = 2'000'000; }},
        {"size under 5", [](auto &q) { q.keywords = {"size", "under", "5"}; }},
        {"big videos", [](auto &q) { q.filter.minSize = 100'000'000; q.filter.kinds = {K::video}; }},
        // The adjective needs a noun behind it, and an explicit bound wins.
        {"big", [](auto &q) { q.keywords = {"big"}; }},
        {"big videos over 5 gb",
         [](auto &q) { q.filter.minSize = 5'000'000'000; q.filter.kinds = {K::video}; q.keywords = {"big"}; }},
        {"from zoom", [](auto &q) { q.filter.sources = {"zoom"}; }},
        {"zoom files", [](auto &q) { q.keywords = {"zoom"}; }},
        {"google drive docs", [](auto &q) { q.filter.sources = {"drive"}; q.filter.kinds = {K::document}; }},
        {"email attachments from whatsapp",
         [](auto &q) { q.filter.sources = {"mail", "gmail", "outlook", "whatsapp"}; }},
        {"downloaded contract", [](auto &q) { q.filter.dateField = DateField::added; q.keywords = {"contract"}; }},
        {"photos i looked at", [](auto &q) { q.filter.dateField = DateField::opened; q.filter.kinds = {K::image}; }},
        {"shot edited", [](auto &q) { q.filter.dateField = DateField::created; q.keywords = {"edited"}; }},
        {"png photos", [](auto &q) { q.filter.extensions = {"png"}; }},
        {"jpg and pdf photos",
         [](auto &q) { q.filter.kinds = {K::image}; q.filter.extensions = {"jpg", "jpeg", "pdf"}; }},
        {"spreadsheets", [](auto &q) { q.filter.extensions = {"xlsx", "xls", "csv", "numbers", "ods"}; }},
        {"pdf’s", [](auto &q) { q.filter.extensions = {"pdf"}; }},
        // Only the first alias of a row is consumed.
        {"pdf pdfs", [](auto &q) { q.filter.extensions = {"pdf"}; q.keywords = {"pdfs"}; }},
        {"zip files apps", [](auto &q) { q.filter.kinds = {K::archive, K::app}; }},
        {"", [](auto &) {}},
        {"Follow-up notes - -x- Notes", [](auto &q) { q.keywords = {"follow-up", "notes"}; }},
        {"Ärger\u00A0über Rechnung 7 b", [](auto &q) { q.keywords = {"ärger", "über", "rechnung", "7"}; }},
    };
    const LocalQueryParser parser = c.parser();
    for (const auto &[text, expect] : cases) {
        SearchQuery expected;
        expected.raw = text;
        expect(expected);
        EXPECT_EQ(parser.parse(text), expected) << text;
    }
}

TEST(RegexCache, WordBoundariesKnowLettersBeyondAscii)
{
    EXPECT_TRUE(peek("\\bété\\b", "l'été"));
}

TEST(LocalQueryParser, ParsesAlikeFromManyThreads)
{
    const LocalQueryParser parser = Clock().parser();
    const QString text = "big pdfs from slack downloaded last week about the lease";
    const SearchQuery expected = parser.parse(text);
    std::atomic<int> mismatches = 0;
    {
        const auto parseAlike = [&] { for (int i = 0; i < 200; ++i) mismatches += parser.parse(text) != expected; };
        std::jthread t1(parseAlike), t2(parseAlike), t3(parseAlike), t4(parseAlike);
    }
    EXPECT_EQ(mismatches, 0);
}

} // namespace
