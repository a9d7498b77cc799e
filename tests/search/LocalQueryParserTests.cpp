// Plain-English requests read into queries, with "now" pinned to Wednesday
// 15 May 2024 at 10:00 unless a case says otherwise.
#include "search/LocalQueryParser.h"
#include "search/RegexCache.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

namespace {

const QLocale mondayLocale(QLocale::English, QLocale::UnitedKingdom);
const QLocale sundayLocale(QLocale::English, QLocale::UnitedStates);

struct Clock
{
    QTimeZone zone = QTimeZone("Europe/London");
    QLocale locale = mondayLocale;
    QDate today = QDate(2024, 5, 15);
    QTime time = QTime(10, 0);

    LocalQueryParser parser() const { return LocalQueryParser(QDateTime(today, time, zone), {zone, locale}); }
    // Seconds since 1970 of a wall-clock time in the zone.
    double at(int y, int m, int d, int h = 0, int min = 0) const
    {
        return double(QDateTime(QDate(y, m, d), QTime(h, min), zone).toMSecsSinceEpoch()) / 1000.0;
    }
};

using Dates = std::pair<std::optional<double>, std::optional<double>>;

Dates datesOf(const SearchQuery &query)
{
    return {query.filter.dateFrom, query.filter.dateTo};
}

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

TEST(LocalQueryParser, WorkedExamples)
{
    const Clock clock;
    const LocalQueryParser parser = clock.parser();

    SearchQuery q = parser.parse(QStringLiteral("pdfs from slack last week"));
    EXPECT_EQ(q.filter.extensions, set({"pdf"}));
    EXPECT_EQ(q.filter.sources, set({"slack"}));
    EXPECT_EQ(datesOf(q), Dates(clock.at(2024, 5, 6), clock.at(2024, 5, 13)));
    EXPECT_EQ(q.dateLabel, QStringLiteral("Last week"));
    EXPECT_TRUE(q.keywords.isEmpty());
    EXPECT_EQ(q.raw, QStringLiteral("pdfs from slack last week"));

    q = parser.parse(QStringLiteral("big videos"));
    EXPECT_EQ(q.filter.minSize, 100'000'000);
    EXPECT_EQ(q.filter.kinds, QSet<FileKind>{FileKind::video});
    EXPECT_TRUE(q.keywords.isEmpty());

    q = parser.parse(QStringLiteral("photos of the dog taken in march"));
    EXPECT_EQ(q.filter.kinds, QSet<FileKind>{FileKind::image});
    EXPECT_EQ(q.filter.dateField, DateField::created);
    EXPECT_EQ(datesOf(q), Dates(clock.at(2024, 3, 1), clock.at(2024, 4, 1)));
    EXPECT_EQ(q.dateLabel, QStringLiteral("March 2024"));
    EXPECT_EQ(q.keywords, words({"dog"}));

    q = parser.parse(QStringLiteral("invoice over 2.5 mb"));
    EXPECT_EQ(q.filter.minSize, 2'500'000);
    EXPECT_EQ(q.keywords, words({"invoice"}));

    q = parser.parse(QStringLiteral("screenshots yesterday"));
    EXPECT_TRUE(q.filter.screenshotsOnly);
    EXPECT_TRUE(q.filter.kinds.isEmpty());
    EXPECT_EQ(datesOf(q), Dates(clock.at(2024, 5, 14), clock.at(2024, 5, 15)));
    EXPECT_EQ(q.dateLabel, QStringLiteral("Yesterday"));

    q = parser.parse(QStringLiteral("may budget"));
    EXPECT_EQ(datesOf(q), Dates());
    EXPECT_EQ(q.keywords, words({"may", "budget"}));

    q = parser.parse(QStringLiteral("in may"));
    EXPECT_EQ(datesOf(q), Dates(clock.at(2024, 5, 1), clock.at(2024, 6, 1)));
    EXPECT_EQ(q.dateLabel, QStringLiteral("May 2024"));

    q = parser.parse(QStringLiteral("in december"));
    EXPECT_EQ(datesOf(q), Dates(clock.at(2023, 12, 1), clock.at(2024, 1, 1)));
    EXPECT_EQ(q.dateLabel, QStringLiteral("December 2023"));

    q = parser.parse(QStringLiteral("two weeks ago"));
    EXPECT_EQ(datesOf(q), Dates(clock.at(2024, 4, 29), clock.at(2024, 5, 6)));
    EXPECT_EQ(q.dateLabel, QStringLiteral("2 weeks ago"));
}

// One date request read against the pinned clock.
struct DateCase
{
    const char *text;
    std::optional<double> from;
    std::optional<double> to;
    const char *label;
    QStringList keywords = {};
};

void expectDates(const LocalQueryParser &parser, const DateCase &c)
{
    const SearchQuery q = parser.parse(QString::fromUtf8(c.text));
    EXPECT_EQ(datesOf(q), Dates(c.from, c.to)) << c.text;
    EXPECT_EQ(q.dateLabel.value_or(QString()), QString::fromUtf8(c.label)) << c.text;
    EXPECT_EQ(q.keywords, c.keywords) << c.text;
}

TEST(LocalQueryParser, RelativeDatesCountFromNow)
{
    const Clock c;
    const double now = c.at(2024, 5, 15, 10);
    const DateCase cases[] = {
        {"today", c.at(2024, 5, 15), c.at(2024, 5, 16), "Today"},
        {"from yesterday", c.at(2024, 5, 14), c.at(2024, 5, 15), "Yesterday"},
        {"over 3 weeks", std::nullopt, now - 21 * 86400, "Older than 3 weeks"},
        {"older than a year", std::nullopt, c.at(2023, 5, 15, 10), "Older than 1 year"},
        {"more than 2 months old", std::nullopt, c.at(2024, 3, 15, 10), "Older than 2 months"},
        {"last 3 days", now - 72 * 3600, std::nullopt, "Past 3 days"},
        {"in the past twelve months", c.at(2023, 5, 15, 10), std::nullopt, "Past 12 months"},
        {"few days ago", c.at(2024, 5, 12), c.at(2024, 5, 13), "3 days ago"},
        {"a couple of weeks ago", c.at(2024, 4, 29), c.at(2024, 5, 6), "2 weeks ago"},
        {"1 month ago", c.at(2024, 4, 1), c.at(2024, 5, 1), "1 month ago"},
        {"3 years ago", c.at(2021, 1, 1), c.at(2022, 1, 1), "3 years ago"},
        {"this week", c.at(2024, 5, 13), c.at(2024, 5, 20), "This week"},
        {"this month", c.at(2024, 5, 1), c.at(2024, 6, 1), "This month"},
        {"previous month", c.at(2024, 4, 1), c.at(2024, 5, 1), "Last month"},
        {"last year", c.at(2023, 1, 1), c.at(2024, 1, 1), "Last year"},
        {"past week", c.at(2024, 5, 8, 10), std::nullopt, "Past week"},
        {"on friday", c.at(2024, 5, 10), c.at(2024, 5, 11), "Friday"},
        // Asked on a Wednesday, "last wednesday" is a week ago.
        {"last wednesday", c.at(2024, 5, 8), c.at(2024, 5, 9), "Wednesday"},
        {"friday", std::nullopt, std::nullopt, "", {"friday"}},
        {"since march", c.at(2024, 3, 1), std::nullopt, "Since March 2024"},
        {"from june", c.at(2023, 6, 1), c.at(2023, 7, 1), "June 2023"},
        {"report of january 2022", c.at(2022, 1, 1), c.at(2022, 2, 1), "January 2022", {"report"}},
        {"sept 2023", c.at(2023, 9, 1), c.at(2023, 10, 1), "September 2023"},
        {"sep. 2023", c.at(2023, 9, 1), c.at(2023, 10, 1), "September 2023"},
        {"in sept", c.at(2023, 9, 1), c.at(2023, 10, 1), "September 2023"},
        {"sept", std::nullopt, std::nullopt, "", {"sept"}},
        {"may 2021", c.at(2021, 5, 1), c.at(2021, 6, 1), "May 2021"},
        {"in 2022", c.at(2022, 1, 1), c.at(2023, 1, 1), "2022"},
        {"since 2019", c.at(2019, 1, 1), std::nullopt, "Since 2019"},
        {"before 2020", std::nullopt, c.at(2020, 1, 1), "Before 2020"},
        {"after 2020", c.at(2021, 1, 1), std::nullopt, "After 2020"},
        {"taxes 2023", std::nullopt, std::nullopt, "", {"taxes", "2023"}},
        {"recent invoices", c.at(2024, 5, 1), std::nullopt, "Recent", {"invoices"}},
    };
    const LocalQueryParser parser = c.parser();
    for (const DateCase &dateCase : cases)
        expectDates(parser, dateCase);
}

TEST(LocalQueryParser, WeeksStartOnTheLocalesFirstDay)
{
    // Sunday 12 May 2024 is the first day of an American week and the last of
    // a British one.
    Clock monday;
    monday.today = QDate(2024, 5, 12);
    Clock sunday = monday;
    sunday.locale = sundayLocale;

    expectDates(monday.parser(), {"this week", monday.at(2024, 5, 6), monday.at(2024, 5, 13), "This week"});
    expectDates(sunday.parser(), {"this week", sunday.at(2024, 5, 12), sunday.at(2024, 5, 19), "This week"});
    expectDates(sunday.parser(), {"last week", sunday.at(2024, 5, 5), sunday.at(2024, 5, 12), "Last week"});
    // Two weeks before Sunday 12 May is Sunday 28 April.
    expectDates(sunday.parser(), {"2 weeks ago", sunday.at(2024, 4, 28), sunday.at(2024, 5, 5), "2 weeks ago"});
    expectDates(monday.parser(), {"2 weeks ago", monday.at(2024, 4, 22), monday.at(2024, 4, 29), "2 weeks ago"});
    // On a Sunday "on sunday" is a week back, whatever the week's first day.
    expectDates(sunday.parser(), {"on sunday", sunday.at(2024, 5, 5), sunday.at(2024, 5, 6), "Sunday"});
}

TEST(LocalQueryParser, MonthAndYearRollovers)
{
    Clock newYear;
    newYear.today = QDate(2025, 1, 1); // a Wednesday
    expectDates(newYear.parser(), {"yesterday", newYear.at(2024, 12, 31), newYear.at(2025, 1, 1), "Yesterday"});
    expectDates(newYear.parser(), {"last month", newYear.at(2024, 12, 1), newYear.at(2025, 1, 1), "Last month"});
    expectDates(newYear.parser(), {"last week", newYear.at(2024, 12, 23), newYear.at(2024, 12, 30), "Last week"});
    expectDates(newYear.parser(), {"this week", newYear.at(2024, 12, 30), newYear.at(2025, 1, 6), "This week"});
    expectDates(newYear.parser(), {"last year", newYear.at(2024, 1, 1), newYear.at(2025, 1, 1), "Last year"});
    expectDates(newYear.parser(), {"in january", newYear.at(2025, 1, 1), newYear.at(2025, 2, 1), "January 2025"});
    expectDates(newYear.parser(), {"in february", newYear.at(2024, 2, 1), newYear.at(2024, 3, 1), "February 2024"});
    expectDates(newYear.parser(), {"on tuesday", newYear.at(2024, 12, 31), newYear.at(2025, 1, 1), "Tuesday"});

    Clock endOfMonth;
    endOfMonth.today = QDate(2024, 3, 31);
    // A month before 31 March is the last day of February.
    expectDates(endOfMonth.parser(), {"a month ago", endOfMonth.at(2024, 2, 1), endOfMonth.at(2024, 3, 1),
                                      "1 month ago"});
    expectDates(endOfMonth.parser(), {"past month", endOfMonth.at(2024, 2, 29, 10), std::nullopt, "Past month"});
}

TEST(LocalQueryParser, LeapYears)
{
    Clock leapDay;
    leapDay.today = QDate(2024, 2, 29);
    expectDates(leapDay.parser(), {"older than a year", std::nullopt, leapDay.at(2023, 2, 28, 10),
                                   "Older than 1 year"});
    expectDates(leapDay.parser(), {"this month", leapDay.at(2024, 2, 1), leapDay.at(2024, 3, 1), "This month"});
    expectDates(leapDay.parser(), {"today", leapDay.at(2024, 2, 29), leapDay.at(2024, 3, 1), "Today"});

    Clock dayAfter;
    dayAfter.today = QDate(2024, 3, 1);
    expectDates(dayAfter.parser(), {"yesterday", dayAfter.at(2024, 2, 29), dayAfter.at(2024, 3, 1), "Yesterday"});
    expectDates(dayAfter.parser(), {"last 2 days", dayAfter.at(2024, 2, 28, 10), std::nullopt, "Past 2 days"});
}

TEST(LocalQueryParser, DaylightSavingChanges)
{
    // New York moved its clocks forward at 02:00 on Sunday 10 March 2024.
    Clock spring;
    spring.zone = QTimeZone("America/New_York");
    spring.locale = sundayLocale;
    spring.today = QDate(2024, 3, 11);
    const DateCase springCases[] = {
        {"yesterday", spring.at(2024, 3, 10), spring.at(2024, 3, 11), "Yesterday"},
        // Calendar days keep the wall-clock time: 71 hours, not 72.
        {"last 3 days", spring.at(2024, 3, 8, 10), std::nullopt, "Past 3 days"},
        {"this week", spring.at(2024, 3, 10), spring.at(2024, 3, 17), "This week"},
    };
    for (const DateCase &c : springCases)
        expectDates(spring.parser(), c);
    EXPECT_EQ(spring.at(2024, 3, 11) - spring.at(2024, 3, 10), 23 * 3600);
    EXPECT_EQ(spring.at(2024, 3, 11, 10) - spring.at(2024, 3, 8, 10), 71 * 3600);

    // London moved them back on Sunday 27 October 2024: a 25-hour day.
    Clock autumn;
    autumn.today = QDate(2024, 10, 28);
    expectDates(autumn.parser(), {"yesterday", autumn.at(2024, 10, 27), autumn.at(2024, 10, 28), "Yesterday"});
    EXPECT_EQ(autumn.at(2024, 10, 28) - autumn.at(2024, 10, 27), 25 * 3600);

    // Santiago skips midnight itself on 8 September 2024: the day begins at 01:00.
    Clock skipped;
    skipped.zone = QTimeZone("America/Santiago");
    skipped.today = QDate(2024, 9, 8);
    const SearchQuery q = skipped.parser().parse(QStringLiteral("today"));
    ASSERT_TRUE(q.filter.dateFrom);
    const QDateTime start = QDateTime::fromMSecsSinceEpoch(qint64(*q.filter.dateFrom * 1000), skipped.zone);
    EXPECT_EQ(start.date(), QDate(2024, 9, 8));
    EXPECT_EQ(start.time(), QTime(1, 0));
}

TEST(LocalQueryParser, MonthLabelsFollowTheLocale)
{
    Clock french;
    french.zone = QTimeZone("Europe/Paris");
    french.locale = QLocale(QLocale::French, QLocale::France);
    expectDates(french.parser(), {"in march", french.at(2024, 3, 1), french.at(2024, 4, 1), "mars 2024"});
    expectDates(french.parser(), {"since feb", french.at(2024, 2, 1), std::nullopt, "Since février 2024"});
}

// Sizes, sources, date fields, kinds and keywords: each case names only what
// differs from an empty query, and the whole query is compared.
TEST(LocalQueryParser, FiltersAndKeywords)
{
    using K = FileKind;
    const QSet<QString> installers = set({"dmg", "pkg", "mpkg", "deb", "rpm", "flatpakref", "snap"});
    const struct
    {
        const char *text;
        std::function<void(SearchQuery &)> expect;
    } cases[] = {
        {"larger than 1,5 gb", [](SearchQuery &q) { q.filter.minSize = 1'500'000'000; }},
        {">= 10k <2mb", [](SearchQuery &q) { q.filter.minSize = 10'000; q.filter.maxSize = 2'000'000; }},
        {"up to 700 bytes", [](SearchQuery &q) { q.filter.maxSize = 700; }},
        {"size under 5", [](SearchQuery &q) { q.keywords = words({"size", "under", "5"}); }},
        {"massive archive", [](SearchQuery &q) { q.filter.minSize = 1'000'000'000; q.filter.kinds = {K::archive}; }},
        // The adjective needs a noun behind it, and an explicit bound wins.
        {"big", [](SearchQuery &q) { q.keywords = words({"big"}); }},
        {"big videos over 5 gb", [](SearchQuery &q) {
             q.filter.minSize = 5'000'000'000;
             q.filter.kinds = {K::video};
             q.keywords = words({"big"});
         }},
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
        {"jpg and pdf photos",
         [](SearchQuery &q) { q.filter.kinds = {K::image}; q.filter.extensions = set({"jpg", "jpeg", "pdf"}); }},
        {"word documents", [](SearchQuery &q) { q.filter.extensions = set({"doc", "docx", "odt"}); }},
        {"screen recordings", [](SearchQuery &q) { q.filter.kinds = {K::video}; }},
        {"screenshot images", [](SearchQuery &q) { q.filter.screenshotsOnly = true; }},
        {"spreadsheets", [](SearchQuery &q) { q.filter.extensions = set({"xlsx", "xls", "csv", "numbers", "ods"}); }},
        {"slides", [](SearchQuery &q) { q.filter.extensions = set({"key", "ppt", "pptx", "odp"}); }},
        {"old debs", [&](SearchQuery &q) { q.filter.extensions = installers; q.keywords = words({"old"}); }},
        {"rpm", [&](SearchQuery &q) { q.filter.extensions = installers; }},
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
    const LocalQueryParser parser = Clock().parser();
    for (const auto &c : cases) {
        SearchQuery expected;
        expected.raw = QString::fromUtf8(c.text);
        c.expect(expected);
        EXPECT_EQ(parser.parse(expected.raw), expected) << c.text;
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
    std::vector<std::thread> threads;
    std::atomic<int> mismatches = 0;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 200; ++i) {
                if (!(parser.parse(text) == expected))
                    ++mismatches;
            }
        });
    }
    for (auto &thread : threads)
        thread.join();
    EXPECT_EQ(mismatches, 0);
}

} // namespace
