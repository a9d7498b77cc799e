// Plain-English requests read into queries, with "now" pinned to Wednesday
// 15 May 2024 at 10:00 in London unless a case says otherwise.
#include "search/LocalQueryParser.h"
#include "search/RegexCache.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

namespace {

struct Clock
{
    QTimeZone zone = QTimeZone("Europe/London");
    QLocale locale = QLocale(QLocale::English, QLocale::UnitedKingdom); // weeks start on Monday
    QDate today = QDate(2024, 5, 15);

    LocalQueryParser parser() const { return LocalQueryParser(QDateTime(today, QTime(10, 0), zone), {zone, locale}); }
    // Seconds since 1970 of a wall-clock time in the zone.
    double at(int y, int m, int d, int h = 0) const
    {
        return double(QDateTime(QDate(y, m, d), QTime(h, 0), zone).toMSecsSinceEpoch()) / 1000.0;
    }
    Clock on(QDate day) const { return {zone, locale, day}; }
};

QSet<QString> set(std::initializer_list<const char *> items)
{
    QSet<QString> out;
    for (const char *item : items)
        out.insert(QString::fromUtf8(item));
    return out;
}

QStringList words(std::initializer_list<const char *> items)
{
    QStringList out;
    for (const char *item : items)
        out.append(QString::fromUtf8(item));
    return out;
}

// One date request: the range, its label and the words left over.
struct DateCase
{
    Clock clock;
    const char *text;
    std::optional<double> from;
    std::optional<double> to;
    const char *label;
    QStringList keywords = {};
};

void expectDates(const DateCase &c)
{
    const SearchQuery q = c.clock.parser().parse(QString::fromUtf8(c.text));
    EXPECT_EQ(q.filter.dateFrom, c.from) << c.text << " on " << c.clock.today.toString().toStdString();
    EXPECT_EQ(q.filter.dateTo, c.to) << c.text << " on " << c.clock.today.toString().toStdString();
    EXPECT_EQ(q.dateLabel.value_or(QString()), QString::fromUtf8(c.label)) << c.text;
    EXPECT_EQ(q.keywords, c.keywords) << c.text;
}

TEST(LocalQueryParser, RelativeDatesCountFromNow)
{
    const Clock c;
    const double now = c.at(2024, 5, 15, 10);
    const DateCase cases[] = {
        {c, "today", c.at(2024, 5, 15), c.at(2024, 5, 16), "Today"},
        {c, "over 3 weeks", std::nullopt, now - 21 * 86400, "Older than 3 weeks"},
        {c, "older than a year", std::nullopt, c.at(2023, 5, 15, 10), "Older than 1 year"},
        {c, "last 3 days", now - 72 * 3600, std::nullopt, "Past 3 days"},
        {c, "in the past twelve months", c.at(2023, 5, 15, 10), std::nullopt, "Past 12 months"},
        {c, "few days ago", c.at(2024, 5, 12), c.at(2024, 5, 13), "3 days ago"},
        {c, "two weeks ago", c.at(2024, 4, 29), c.at(2024, 5, 6), "2 weeks ago"},
        {c, "3 years ago", c.at(2021, 1, 1), c.at(2022, 1, 1), "3 years ago"},
        {c, "this week", c.at(2024, 5, 13), c.at(2024, 5, 20), "This week"},
        {c, "previous month", c.at(2024, 4, 1), c.at(2024, 5, 1), "Last month"},
        {c, "past week", c.at(2024, 5, 8, 10), std::nullopt, "Past week"},
        {c, "on friday", c.at(2024, 5, 10), c.at(2024, 5, 11), "Friday"},
        // Asked on a Wednesday, "last wednesday" is a week ago.
        {c, "last wednesday", c.at(2024, 5, 8), c.at(2024, 5, 9), "Wednesday"},
        {c, "friday", std::nullopt, std::nullopt, "", {"friday"}},
        {c, "in may", c.at(2024, 5, 1), c.at(2024, 6, 1), "May 2024"},
        {c, "may budget", std::nullopt, std::nullopt, "", {"may", "budget"}},
        {c, "in december", c.at(2023, 12, 1), c.at(2024, 1, 1), "December 2023"},
        {c, "since march", c.at(2024, 3, 1), std::nullopt, "Since March 2024"},
        {c, "from june", c.at(2023, 6, 1), c.at(2023, 7, 1), "June 2023"},
        {c, "report of january 2022", c.at(2022, 1, 1), c.at(2022, 2, 1), "January 2022", {"report"}},
        {c, "sep. 2023", c.at(2023, 9, 1), c.at(2023, 10, 1), "September 2023"},
        {c, "in sept", c.at(2023, 9, 1), c.at(2023, 10, 1), "September 2023"},
        {c, "sept", std::nullopt, std::nullopt, "", {"sept"}},
        {c, "in 2022", c.at(2022, 1, 1), c.at(2023, 1, 1), "2022"},
        {c, "before 2020", std::nullopt, c.at(2020, 1, 1), "Before 2020"},
        {c, "after 2020", c.at(2021, 1, 1), std::nullopt, "After 2020"},
        {c, "taxes 2023", std::nullopt, std::nullopt, "", {"taxes", "2023"}},
        {c, "recent invoices", c.at(2024, 5, 1), std::nullopt, "Recent", {"invoices"}},
    };
    for (const DateCase &dateCase : cases)
        expectDates(dateCase);
}

// Week starts, month and year ends, leap days, clock changes and month names
// in the user's language.
TEST(LocalQueryParser, CalendarEdges)
{
    // Sunday 12 May 2024 begins an American week and ends a British one.
    const Clock monday = Clock().on(QDate(2024, 5, 12));
    const Clock sunday{monday.zone, QLocale(QLocale::English, QLocale::UnitedStates), monday.today};
    const Clock newYear = Clock().on(QDate(2025, 1, 1)); // a Wednesday
    const Clock endOfMarch = Clock().on(QDate(2024, 3, 31));
    const Clock leapDay = Clock().on(QDate(2024, 2, 29));
    const Clock dayAfterLeapDay = Clock().on(QDate(2024, 3, 1));
    // New York moved its clocks forward on Sunday 10 March 2024, London back
    // on Sunday 27 October 2024 (a 25-hour day).
    const Clock spring{QTimeZone("America/New_York"), sunday.locale, QDate(2024, 3, 11)};
    const Clock autumn = Clock().on(QDate(2024, 10, 28));
    const Clock french{QTimeZone("Europe/Paris"), QLocale(QLocale::French, QLocale::France)};
    const DateCase cases[] = {
        {monday, "this week", monday.at(2024, 5, 6), monday.at(2024, 5, 13), "This week"},
        {sunday, "this week", sunday.at(2024, 5, 12), sunday.at(2024, 5, 19), "This week"},
        {sunday, "last week", sunday.at(2024, 5, 5), sunday.at(2024, 5, 12), "Last week"},
        {sunday, "2 weeks ago", sunday.at(2024, 4, 28), sunday.at(2024, 5, 5), "2 weeks ago"},
        {monday, "2 weeks ago", monday.at(2024, 4, 22), monday.at(2024, 4, 29), "2 weeks ago"},
        // On a Sunday "on sunday" is a week back, whatever the week's first day.
        {sunday, "on sunday", sunday.at(2024, 5, 5), sunday.at(2024, 5, 6), "Sunday"},
        {newYear, "yesterday", newYear.at(2024, 12, 31), newYear.at(2025, 1, 1), "Yesterday"},
        {newYear, "last month", newYear.at(2024, 12, 1), newYear.at(2025, 1, 1), "Last month"},
        {newYear, "last week", newYear.at(2024, 12, 23), newYear.at(2024, 12, 30), "Last week"},
        {newYear, "in january", newYear.at(2025, 1, 1), newYear.at(2025, 2, 1), "January 2025"},
        {newYear, "in february", newYear.at(2024, 2, 1), newYear.at(2024, 3, 1), "February 2024"},
        {newYear, "on tuesday", newYear.at(2024, 12, 31), newYear.at(2025, 1, 1), "Tuesday"},
        // A month before 31 March is the last day of February.
        {endOfMarch, "a month ago", endOfMarch.at(2024, 2, 1), endOfMarch.at(2024, 3, 1), "1 month ago"},
        {endOfMarch, "past month", endOfMarch.at(2024, 2, 29, 10), std::nullopt, "Past month"},
        {leapDay, "older than a year", std::nullopt, leapDay.at(2023, 2, 28, 10), "Older than 1 year"},
        {dayAfterLeapDay, "yesterday", dayAfterLeapDay.at(2024, 2, 29), dayAfterLeapDay.at(2024, 3, 1), "Yesterday"},
        {dayAfterLeapDay, "last 2 days", dayAfterLeapDay.at(2024, 2, 28, 10), std::nullopt, "Past 2 days"},
        {spring, "yesterday", spring.at(2024, 3, 10), spring.at(2024, 3, 11), "Yesterday"},
        // Calendar days keep the wall-clock time: 71 hours, not 72.
        {spring, "last 3 days", spring.at(2024, 3, 8, 10), std::nullopt, "Past 3 days"},
        {spring, "this week", spring.at(2024, 3, 10), spring.at(2024, 3, 17), "This week"},
        {autumn, "yesterday", autumn.at(2024, 10, 27), autumn.at(2024, 10, 28), "Yesterday"},
        {french, "in march", french.at(2024, 3, 1), french.at(2024, 4, 1), "mars 2024"},
        {french, "since feb", french.at(2024, 2, 1), std::nullopt, "Since février 2024"},
    };
    for (const DateCase &c : cases)
        expectDates(c);

    // Santiago skips midnight itself on 8 September 2024: the day begins at 01:00.
    const Clock skipped{QTimeZone("America/Santiago"), Clock().locale, QDate(2024, 9, 8)};
    const SearchQuery q = skipped.parser().parse(QStringLiteral("today"));
    ASSERT_TRUE(q.filter.dateFrom);
    const QDateTime start = QDateTime::fromMSecsSinceEpoch(qint64(*q.filter.dateFrom * 1000), skipped.zone);
    EXPECT_EQ(start, QDateTime(QDate(2024, 9, 8), QTime(1, 0), skipped.zone));
}

// Sizes, sources, date fields, kinds, keywords and their mixes: each case
// names only what differs from an empty query, and the whole query is compared.
TEST(LocalQueryParser, FiltersAndKeywords)
{
    using K = FileKind;
    const Clock c;
    const QSet<QString> installers = set({"dmg", "pkg", "mpkg", "deb", "rpm", "flatpakref", "snap"});
    const struct
    {
        const char *text;
        std::function<void(SearchQuery &)> expect;
    } cases[] = {
        {"pdfs from slack last week", [&](SearchQuery &q) {
             q.filter.extensions = set({"pdf"}); q.filter.sources = set({"slack"});
             q.filter.dateFrom = c.at(2024, 5, 6); q.filter.dateTo = c.at(2024, 5, 13); q.dateLabel = "Last week";
         }},
        {"photos of the dog taken in march", [&](SearchQuery &q) {
             q.filter.kinds = {K::image}; q.filter.dateField = DateField::created; q.keywords = words({"dog"});
             q.filter.dateFrom = c.at(2024, 3, 1); q.filter.dateTo = c.at(2024, 4, 1); q.dateLabel = "March 2024";
         }},
        {"screenshots yesterday", [&](SearchQuery &q) {
             q.filter.screenshotsOnly = true;
             q.filter.dateFrom = c.at(2024, 5, 14); q.filter.dateTo = c.at(2024, 5, 15); q.dateLabel = "Yesterday";
         }},
        {"invoice over 2.5 mb", [](SearchQuery &q) { q.filter.minSize = 2'500'000; q.keywords = words({"invoice"}); }},
        {"larger than 1,5 gb", [](SearchQuery &q) { q.filter.minSize = 1'500'000'000; }},
        {"over 4.1 mb", [](SearchQuery &q) { q.filter.minSize = 4'100'000; }},
        {">= 10k <2mb", [](SearchQuery &q) { q.filter.minSize = 10'000; q.filter.maxSize = 2'000'000; }},
        {"up to 700 bytes", [](SearchQuery &q) { q.filter.maxSize = 700; }},
        {"size under 5", [](SearchQuery &q) { q.keywords = words({"size", "under", "5"}); }},
        {"big videos", [](SearchQuery &q) { q.filter.minSize = 100'000'000; q.filter.kinds = {K::video}; }},
        {"massive archive", [](SearchQuery &q) { q.filter.minSize = 1'000'000'000; q.filter.kinds = {K::archive}; }},
        // The adjective needs a noun behind it, and an explicit bound wins.
        {"big", [](SearchQuery &q) { q.keywords = words({"big"}); }},
        {"big videos over 5 gb",
         [](SearchQuery &q) { q.filter.minSize = 5'000'000'000; q.filter.kinds = {K::video}; q.keywords = words({"big"}); }},
        {"from zoom", [](SearchQuery &q) { q.filter.sources = set({"zoom"}); }},
        {"zoom files", [](SearchQuery &q) { q.keywords = words({"zoom"}); }},
        {"google drive docs", [](SearchQuery &q) { q.filter.sources = set({"drive"}); q.filter.kinds = {K::document}; }},
        {"via google   mail", [](SearchQuery &q) { q.filter.sources = set({"gmail"}); }},
        {"email attachments from whatsapp",
         [](SearchQuery &q) { q.filter.sources = set({"mail", "gmail", "outlook", "whatsapp"}); }},
        {"downloaded contract", [](SearchQuery &q) { q.filter.dateField = DateField::added; q.keywords = words({"contract"}); }},
        {"photos i looked at", [](SearchQuery &q) { q.filter.dateField = DateField::opened; q.filter.kinds = {K::image}; }},
        {"shot edited", [](SearchQuery &q) { q.filter.dateField = DateField::created; q.keywords = words({"edited"}); }},
        {"png photos", [](SearchQuery &q) { q.filter.extensions = set({"png"}); }},
        {"screenshot images", [](SearchQuery &q) { q.filter.screenshotsOnly = true; }},
        {"jpg and pdf photos",
         [](SearchQuery &q) { q.filter.kinds = {K::image}; q.filter.extensions = set({"jpg", "jpeg", "pdf"}); }},
        {"screen recordings", [](SearchQuery &q) { q.filter.kinds = {K::video}; }},
        {"spreadsheets", [](SearchQuery &q) { q.filter.extensions = set({"xlsx", "xls", "csv", "numbers", "ods"}); }},
        {"old debs", [&](SearchQuery &q) { q.filter.extensions = installers; q.keywords = words({"old"}); }},
        {"pdf’s", [](SearchQuery &q) { q.filter.extensions = set({"pdf"}); }},
        // Only the first alias of a row is consumed.
        {"pdf pdfs", [](SearchQuery &q) { q.filter.extensions = set({"pdf"}); q.keywords = words({"pdfs"}); }},
        {"zip files apps", [](SearchQuery &q) { q.filter.kinds = {K::archive, K::app}; }},
        {"", [](SearchQuery &) {}},
        {"find me all the files that i saved", [](SearchQuery &) {}},
        {"Follow-up notes - -x- Notes", [](SearchQuery &q) { q.keywords = words({"follow-up", "notes"}); }},
        {"Ärger\u00A0über Rechnung 7 b", [](SearchQuery &q) { q.keywords = words({"ärger", "über", "rechnung", "7"}); }},
        {"where’s the lease", [](SearchQuery &q) { q.keywords = words({"lease"}); }},
    };
    const LocalQueryParser parser = c.parser();
    for (const auto &testCase : cases) {
        SearchQuery expected;
        expected.raw = QString::fromUtf8(testCase.text);
        testCase.expect(expected);
        EXPECT_EQ(parser.parse(expected.raw), expected) << testCase.text;
    }
}

TEST(RegexCache, BlanksWhatItConsumesAndIgnoresBrokenPatterns)
{
    QString text = QStringLiteral("pdfs from slack");
    const auto groups = consume(QStringLiteral("\\bfrom\\s+(\\w+)(x)?"), text);
    ASSERT_TRUE(groups);
    EXPECT_EQ(*groups, words({"from slack", "slack", ""}));
    EXPECT_EQ(text, QStringLiteral("pdfs           "));
    EXPECT_FALSE(consume(QStringLiteral("(unclosed"), text));
    EXPECT_FALSE(peek(QStringLiteral("(unclosed"), text));
    // Word boundaries know letters beyond ASCII.
    EXPECT_TRUE(peek(QStringLiteral("\\bété\\b"), QStringLiteral("l'été")));
}

TEST(LocalQueryParser, ParsesAlikeFromManyThreads)
{
    const LocalQueryParser parser = Clock().parser();
    const QString text = QStringLiteral("big pdfs from slack downloaded last week about the lease");
    const SearchQuery expected = parser.parse(text);
    std::atomic<int> mismatches = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 200; ++i)
                mismatches += parser.parse(text) == expected ? 0 : 1;
        });
    }
    for (auto &thread : threads)
        thread.join();
    EXPECT_EQ(mismatches, 0);
}

} // namespace
