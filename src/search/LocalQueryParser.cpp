#include "search/LocalQueryParser.h"

#include "core/ByteSize.h"
#include "core/DownloadSources.h"
#include "search/RegexCache.h"
#include "search/WordRuns.h"

#include <QHash>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <limits>

UserCalendar UserCalendar::current()
{
    return {QTimeZone::systemTimeZone(), QLocale::system()};
}

LocalQueryParser::LocalQueryParser(QDateTime now, UserCalendar calendar)
    : m_now(std::move(now))
    , m_calendar(std::move(calendar))
{
}

namespace {

// ---------------------------------------------------------------------------
// Tables, built once.

const QHash<QString, int> &numberWords()
{
    static const QHash<QString, int> words{
        {QStringLiteral("a"), 1},      {QStringLiteral("an"), 1},       {QStringLiteral("one"), 1},
        {QStringLiteral("two"), 2},    {QStringLiteral("three"), 3},    {QStringLiteral("four"), 4},
        {QStringLiteral("five"), 5},   {QStringLiteral("six"), 6},      {QStringLiteral("seven"), 7},
        {QStringLiteral("eight"), 8},  {QStringLiteral("nine"), 9},     {QStringLiteral("ten"), 10},
        {QStringLiteral("twelve"), 12}, {QStringLiteral("few"), 3},     {QStringLiteral("couple of"), 2},
        {QStringLiteral("couple"), 2},
    };
    return words;
}

// There is deliberately no abbreviation for May: "may" is far more often the
// verb than the month.
const QHash<QString, int> &monthAbbreviations()
{
    static const QHash<QString, int> months{
        {QStringLiteral("jan"), 1},  {QStringLiteral("feb"), 2},  {QStringLiteral("mar"), 3},
        {QStringLiteral("apr"), 4},  {QStringLiteral("jun"), 6},  {QStringLiteral("jul"), 7},
        {QStringLiteral("aug"), 8},  {QStringLiteral("sep"), 9},  {QStringLiteral("sept"), 9},
        {QStringLiteral("oct"), 10}, {QStringLiteral("nov"), 11}, {QStringLiteral("dec"), 12},
    };
    return months;
}

const QStringList &monthNames()
{
    static const QStringList names{
        QStringLiteral("january"), QStringLiteral("february"), QStringLiteral("march"),
        QStringLiteral("april"),   QStringLiteral("may"),      QStringLiteral("june"),
        QStringLiteral("july"),    QStringLiteral("august"),   QStringLiteral("september"),
        QStringLiteral("october"), QStringLiteral("november"), QStringLiteral("december"),
    };
    return names;
}

const QSet<QString> &stopWords()
{
    static const QSet<QString> words = [] {
        const char *list[] = {
            "a", "an", "the", "find", "show", "me", "my", "mine", "all", "any", "some", "file", "files", "that",
            "which", "with", "has", "have", "had", "contains", "containing", "contain", "about", "for", "of",
            "in", "on", "to", "from", "is", "are", "was", "were", "where", "i", "get", "give", "look",
            "looking", "search", "searching", "open", "please", "can", "you", "what", "whats", "saved", "got",
            "called", "named", "it", "its", "those", "these", "there", "one", "ones", "stuff", "thing",
            "things", "our", "we", "do", "did", "does", "and", "or", "at", "by", "this", "be", "been", "need",
            "want", "wanted", "where's", "something", "items", "item", "copy", "version", "kind", "type",
            "related", "regarding", "around", "like", "just", "also", "out", "up", "could", "would", "should",
            "know", "remember", "think", "maybe", "list", "see", "into",
        };
        QSet<QString> set;
        for (const char *word : list)
            set.insert(QString::fromLatin1(word));
        return set;
    }();
    return words;
}

struct KindRule
{
    QStringList aliases;
    QSet<FileKind> kinds;
    QSet<QString> extensions;
    bool screenshots = false;
    QString pattern; // built from the aliases
};

// An alias as a pattern: escaped, with each blank standing for any run of
// white space.
QString aliasPattern(const QString &alias)
{
    return QRegularExpression::escape(alias).replace(QStringLiteral("\\ "), QStringLiteral("\\s+"));
}

// Specific rows come first and blank their words, so "word documents" never
// reaches the documents row and "screen recordings" never the videos row.
const QList<KindRule> &kindRules()
{
    static const QList<KindRule> rules = [] {
        using K = FileKind;
        auto words = [](std::initializer_list<const char *> list) {
            QStringList out;
            for (const char *word : list)
                out.append(QString::fromUtf8(word));
            return out;
        };
        auto exts = [&](std::initializer_list<const char *> list) {
            const QStringList out = words(list);
            return QSet<QString>(out.begin(), out.end());
        };
        QList<KindRule> list{
            {words({"screenshots", "screenshot", "screen shots", "screen shot", "screengrabs", "screen grabs"}),
             {K::image}, {}, true, {}},
            {words({"screen recordings", "screen recording"}), {K::video}, {}, false, {}},
            {words({"voice memos", "voice memo", "voice notes", "voice recordings"}), {K::audio}, {}, false, {}},
            {words({"word documents", "word docs", "word files", "docx", "doc files"}), {},
             exts({"doc", "docx", "odt"}), false, {}},
            {words({"pdf files", "pdfs", "pdf's", "pdf"}), {}, exts({"pdf"}), false, {}},
            {words({"spreadsheets", "spreadsheet", "excel files", "excel", "sheets", "xlsx", "xls", "csvs", "csv"}),
             {}, exts({"xlsx", "xls", "csv", "numbers", "ods"}), false, {}},
            {words({"presentations", "presentation", "slide decks", "slides", "decks", "keynotes", "keynote",
                    "powerpoints", "powerpoint", "pptx", "ppt"}),
             {}, exts({"key", "ppt", "pptx", "odp"}), false, {}},
            {words({"ebooks", "ebook", "epubs", "epub"}), {}, exts({"epub"}), false, {}},
            {words({"text files", "markdown", "txt files", "txt"}), {}, exts({"txt", "md", "markdown", "rtf"}), false,
             {}},
            {words({"installers", "installer", "disk images", "dmgs", "dmg", "pkgs", "pkg", "debs", "deb", "rpms",
                    "rpm"}),
             {}, exts({"dmg", "pkg", "mpkg", "deb", "rpm", "flatpakref", "snap"}), false, {}},
            {words({"pngs", "png"}), {}, exts({"png"}), false, {}},
            {words({"jpgs", "jpegs", "jpg", "jpeg"}), {}, exts({"jpg", "jpeg"}), false, {}},
            {words({"heic", "heics"}), {}, exts({"heic"}), false, {}},
            {words({"gifs", "gif"}), {}, exts({"gif"}), false, {}},
            {words({"photos", "photo", "pictures", "picture", "pics", "pic", "images", "image", "selfies", "imgs"}),
             {K::image}, {}, false, {}},
            {words({"videos", "video", "movies", "movie", "clips", "recordings", "footage", "mp4s", "mp4", "movs",
                    "mov"}),
             {K::video}, {}, false, {}},
            {words({"music", "songs", "song", "tracks", "audio", "mp3s", "mp3", "podcasts"}), {K::audio}, {}, false,
             {}},
            {words({"zip files", "zips", "zip", "archives", "archive", "compressed files", "rars", "rar"}),
             {K::archive}, {}, false, {}},
            {words({"applications", "apps", "app", "programs"}), {K::app}, {}, false, {}},
            {words({"documents", "document", "docs"}), {K::document}, {}, false, {}},
        };
        for (KindRule &rule : list) {
            QStringList alternatives;
            for (const QString &alias : rule.aliases)
                alternatives.append(aliasPattern(alias));
            rule.pattern = QStringLiteral("\\b(?:") + alternatives.join(u'|') + QStringLiteral(")\\b");
        }
        return list;
    }();
    return rules;
}

// ---------------------------------------------------------------------------
// Sizes.

// A bound read from the request, where "1,5" is one and a half; a number too
// large to count reads as the largest size.
qint64 sizeValue(const QString &number, const QString &unit)
{
    return ByteSize::parse(QString(number).replace(u',', u'.') + unit).value_or(std::numeric_limits<qint64>::max());
}

void parseSizes(QString &working, FileFilter &filter)
{
    static const QString lower = QStringLiteral(
        R"re((?:\b(?:over|above|more than|larger than|bigger than|greater than|at least|exceeding)\s*|>=?\s*)(\d+(?:[.,]\d+)?)\s*(tb|gb|mb|kb|g|m|k|bytes?)\b)re");
    static const QString upper = QStringLiteral(
        R"re((?:\b(?:under|below|less than|smaller than|at most|up to)\s*|<=?\s*)(\d+(?:[.,]\d+)?)\s*(tb|gb|mb|kb|g|m|k|bytes?)\b)re");
    // The lookahead leaves the noun for the kind rules.
    static const QString adjective = QStringLiteral(
        R"re(\b(huge|large|big|largest|biggest|massive)\b(?=\s+(?:files?|videos?|movies?|images?|photos?|pdfs?|documents?|downloads?|apps?|archives?|zips?|recordings?)\b))re");

    if (auto groups = consume(lower, working))
        filter.minSize = sizeValue(groups->at(1), groups->at(2));
    if (auto groups = consume(upper, working))
        filter.maxSize = sizeValue(groups->at(1), groups->at(2));
    if (!filter.minSize) {
        if (auto groups = consume(adjective, working)) {
            const QString &word = groups->at(1);
            filter.minSize = (word == u"huge" || word == u"massive") ? 1'000'000'000 : 100'000'000;
        }
    }
}

// ---------------------------------------------------------------------------
// Sources.

struct SourcePatterns
{
    QString id;
    QString afterPreposition; // "from slack"
    QString beforeNoun; // "slack files"; empty for an ambiguous alias
};

// Every alias of the known sources, longest first, so that a longer alias wins
// over one of its parts. Ambiguous words count only after a preposition.
const QList<SourcePatterns> &sourcePatterns()
{
    static const QList<SourcePatterns> patterns = [] {
        static const QSet<QString> ambiguous{
            QStringLiteral("drive"), QStringLiteral("mail"),  QStringLiteral("email"),  QStringLiteral("x"),
            QStringLiteral("messages"), QStringLiteral("zoom"), QStringLiteral("claude"),
        };
        QList<std::pair<QString, QString>> pairs;
        for (const KnownSource &source : KnownSource::all()) {
            for (const QString &alias : source.aliases)
                pairs.append({alias, source.id});
        }
        std::stable_sort(pairs.begin(), pairs.end(), [](const auto &a, const auto &b) {
            return a.first.toUcs4().size() > b.first.toUcs4().size();
        });
        QList<SourcePatterns> list;
        for (const auto &[alias, id] : pairs) {
            const QString escaped = aliasPattern(alias);
            SourcePatterns entry{id, QStringLiteral(R"re(\b(?:from|via|through|on|in|off)\s+)re") + escaped
                                         + QStringLiteral("\\b"),
                                 {}};
            if (!ambiguous.contains(alias))
                entry.beforeNoun = QStringLiteral("\\b") + escaped
                    + QStringLiteral(R"re(\b(?=\s+(?:files?|downloads?|attachments?|images?|photos?|pictures?|pdfs?|documents?|docs?|videos?|stuff)\b))re");
            list.append(entry);
        }
        return list;
    }();
    return patterns;
}

void parseSources(QString &working, FileFilter &filter)
{
    for (const SourcePatterns &source : sourcePatterns()) {
        if (consume(source.afterPreposition, working)
            || (!source.beforeNoun.isEmpty() && consume(source.beforeNoun, working)))
            filter.sources.insert(source.id);
    }
    static const QString attachments = QStringLiteral(R"re(\b(?:email\s+)?attachments?\b)re");
    if (consume(attachments, working)) {
        for (const char *id : {"mail", "gmail", "outlook"})
            filter.sources.insert(QString::fromLatin1(id));
    }
}

// ---------------------------------------------------------------------------
// Date-field words.

void parseDateField(QString &working, FileFilter &filter)
{
    static const std::pair<QString, DateField> words[] = {
        {QStringLiteral(R"re(\b(downloaded|download|downloads|received)\b)re"), DateField::added},
        {QStringLiteral(R"re(\b(opened|viewed|used|looked at)\b)re"), DateField::opened},
        {QStringLiteral(R"re(\b(created|made|taken|shot)\b)re"), DateField::created},
        {QStringLiteral(R"re(\b(modified|edited|changed|updated)\b)re"), DateField::modified},
    };
    for (const auto &[pattern, field] : words) {
        if (consume(pattern, working)) {
            filter.dateField = field;
            return;
        }
    }
}

// ---------------------------------------------------------------------------
// Dates, counted in the user's calendar.

enum class Unit { day, week, month, year };

Unit unitFromWord(const QString &word)
{
    if (word == u"week")
        return Unit::week;
    if (word == u"month")
        return Unit::month;
    if (word == u"year")
        return Unit::year;
    return Unit::day;
}

int countFromWord(const QString &word)
{
    const auto found = numberWords().constFind(word);
    if (found != numberWords().constEnd())
        return *found;
    bool ok = false;
    const int value = word.toInt(&ok);
    return ok ? value : 1;
}

// "3 weeks", "1 week": the unit as typed, with the plural when the count
// is not one.
QString countedUnit(int count, const QString &unit)
{
    return QString::number(count) + u' ' + unit + (count == 1 ? QString() : QStringLiteral("s"));
}

class DateMath
{
public:
    DateMath(const QDateTime &now, const UserCalendar &calendar)
        : m_calendar(calendar)
        , m_now(now.toTimeZone(calendar.timeZone))
        , m_today(m_now.date())
    {
    }

    QDateTime now() const { return m_now; }
    QDate today() const { return m_today; }

    // The first moment of a day; on a day whose midnight is skipped by a
    // clock change, the first moment that exists.
    QDateTime start(QDate day) const { return day.startOfDay(m_calendar.timeZone); }

    // Calendar arithmetic: the same wall-clock time n units later.
    QDateTime adding(const QDateTime &moment, Unit unit, int n) const
    {
        switch (unit) {
        case Unit::day: return moment.addDays(n);
        case Unit::week: return moment.addDays(qint64(n) * 7);
        case Unit::month: return moment.addMonths(n);
        case Unit::year: break;
        }
        return moment.addYears(n);
    }

    QDate adding(QDate day, Unit unit, int n) const
    {
        switch (unit) {
        case Unit::day: return day.addDays(n);
        case Unit::week: return day.addDays(qint64(n) * 7);
        case Unit::month: return day.addMonths(n);
        case Unit::year: break;
        }
        return day.addYears(n);
    }

    // The first day of the calendar unit that holds the moment; weeks begin on
    // the locale's first day of the week.
    QDate unitStart(const QDateTime &moment, Unit unit) const
    {
        const QDate day = moment.toTimeZone(m_calendar.timeZone).date();
        switch (unit) {
        case Unit::day: return day;
        case Unit::week: {
            const int first = int(m_calendar.locale.firstDayOfWeek());
            return day.addDays(-((day.dayOfWeek() - first + 7) % 7));
        }
        case Unit::month: return QDate(day.year(), day.month(), 1);
        case Unit::year: break;
        }
        return QDate(day.year(), 1, 1);
    }

    QString monthName(int month) const
    {
        return m_calendar.locale.standaloneMonthName(month, QLocale::LongFormat);
    }

private:
    const UserCalendar &m_calendar;
    QDateTime m_now;
    QDate m_today;
};

double seconds(const QDateTime &moment)
{
    return double(moment.toMSecsSinceEpoch()) / 1000.0;
}

void setDates(SearchQuery &query, std::optional<QDateTime> from, std::optional<QDateTime> to, const QString &label)
{
    query.filter.dateFrom = from ? std::optional<double>(seconds(*from)) : std::nullopt;
    query.filter.dateTo = to ? std::optional<double>(seconds(*to)) : std::nullopt;
    query.dateLabel = label;
}

const QString &countWords()
{
    static const QString words = QStringLiteral(
        "(\\d+|a|an|one|two|three|four|five|six|seven|eight|nine|ten|twelve|few|couple of|couple)");
    return words;
}

bool parseRelativeDates(QString &working, const DateMath &math, SearchQuery &query)
{
    static const QString leading = QStringLiteral(R"re((?:\b(?:from|in|on|during|within|of)\s+)?)re");
    static const QString today = leading + QStringLiteral(R"re(\btoday\b)re");
    static const QString yesterday = leading + QStringLiteral(R"re(\byesterday\b)re");
    static const QString olderThan = QStringLiteral(R"re(\b(?:older than|more than|over)\s+)re") + countWords()
        + QStringLiteral(R"re(\s+(day|week|month|year)s?(?:\s+(?:old|ago))?\b)re");
    static const QString pastCount = leading + QStringLiteral(R"re(\b(?:the\s+)?(?:last|past|previous)\s+)re")
        + countWords() + QStringLiteral(R"re(\s+(day|week|month|year)s?\b)re");
    static const QString ago = countWords() + QStringLiteral(R"re(\s+(day|week|month|year)s?\s+ago\b)re");
    static const QString namedUnit = leading + QStringLiteral(R"re(\b(this|last|previous|past)\s+(week|month|year)\b)re");

    if (consume(today, working)) {
        setDates(query, math.start(math.today()), math.start(math.today().addDays(1)), QStringLiteral("Today"));
        return true;
    }
    if (consume(yesterday, working)) {
        setDates(query, math.start(math.today().addDays(-1)), math.start(math.today()), QStringLiteral("Yesterday"));
        return true;
    }
    if (auto groups = consume(olderThan, working)) {
        const int n = countFromWord(groups->at(1));
        const QString &unit = groups->at(2);
        setDates(query, std::nullopt, math.adding(math.now(), unitFromWord(unit), -n),
                 QStringLiteral("Older than ") + countedUnit(n, unit));
        return true;
    }
    if (auto groups = consume(pastCount, working)) {
        const int n = countFromWord(groups->at(1));
        const QString &unit = groups->at(2);
        setDates(query, math.adding(math.now(), unitFromWord(unit), -n), std::nullopt,
                 QStringLiteral("Past ") + countedUnit(n, unit));
        return true;
    }
    if (auto groups = consume(ago, working)) {
        const int n = countFromWord(groups->at(1));
        const QString &word = groups->at(2);
        const Unit unit = unitFromWord(word);
        const QDate start = math.unitStart(math.adding(math.now(), unit, -n), unit);
        setDates(query, math.start(start), math.start(math.adding(start, unit, 1)),
                 countedUnit(n, word) + QStringLiteral(" ago"));
        return true;
    }
    if (auto groups = consume(namedUnit, working)) {
        const QString &which = groups->at(1);
        const QString &word = groups->at(2);
        const Unit unit = unitFromWord(word);
        if (which == u"past") {
            setDates(query, math.adding(math.now(), unit, -1), std::nullopt, QStringLiteral("Past ") + word);
            return true;
        }
        const QDate start = math.unitStart(math.now(), unit);
        if (which == u"this") {
            setDates(query, math.start(start), math.start(math.adding(start, unit, 1)), QStringLiteral("This ") + word);
        } else {
            setDates(query, math.start(math.adding(start, unit, -1)), math.start(start), QStringLiteral("Last ") + word);
        }
        return true;
    }
    return false;
}

bool parseWeekday(QString &working, const DateMath &math, SearchQuery &query)
{
    static const QStringList weekdays{
        QStringLiteral("sunday"),   QStringLiteral("monday"), QStringLiteral("tuesday"), QStringLiteral("wednesday"),
        QStringLiteral("thursday"), QStringLiteral("friday"), QStringLiteral("saturday"),
    };
    static const QString pattern =
        QStringLiteral(R"re(\b(?:on\s+|last\s+)()re") + weekdays.join(u'|') + QStringLiteral(R"re()\b)re");
    const auto groups = consume(pattern, working);
    if (!groups)
        return false;
    const QString &name = groups->at(1);
    const int index = int(weekdays.indexOf(name));
    // The most recent such day strictly before today: Sunday is 1 here.
    const int w = math.today().dayOfWeek() % 7 + 1;
    int d = (w - 1 - index + 7) % 7;
    if (d == 0)
        d = 7;
    const QDate day = math.today().addDays(-d);
    setDates(query, math.start(day), math.start(day.addDays(1)), name.left(1).toUpper() + name.mid(1));
    return true;
}

QString abbreviationAlternatives()
{
    QStringList keys = monthAbbreviations().keys();
    std::sort(keys.begin(), keys.end(), [](const QString &a, const QString &b) {
        return a.size() != b.size() ? a.size() > b.size() : a < b;
    });
    return keys.join(u'|');
}

bool parseMonth(QString &working, const DateMath &math, SearchQuery &query)
{
    static const QString full = monthNames().join(u'|');
    static const QString abbreviations = abbreviationAlternatives();
    static const QString patterns[] = {
        QStringLiteral(R"re(\b(from|in|during|since|of)?\s*()re") + full
            + QStringLiteral(R"re()(?:\s+((?:19|20)\d{2}))?\b)re"),
        QStringLiteral(R"re(\b(from|in|during|since|of)\s+()re") + abbreviations
            + QStringLiteral(R"re()\.?(?:\s+((?:19|20)\d{2}))?\b)re"),
        QStringLiteral(R"re(\b()()re") + abbreviations + QStringLiteral(R"re()\.?\s+((?:19|20)\d{2})\b)re"),
    };
    for (const QString &pattern : patterns) {
        const auto groups = peek(pattern, working);
        if (!groups)
            continue;
        const QString &preposition = groups->at(1);
        const QString &word = groups->at(2);
        const QString &yearText = groups->at(3);
        // A bare "may" is the verb.
        if (word == u"may" && preposition.isEmpty() && yearText.isEmpty())
            continue;
        int month = int(monthNames().indexOf(word)) + 1;
        if (month == 0)
            month = monthAbbreviations().value(word, 0);
        if (month == 0)
            continue;
        consume(pattern, working);

        bool ok = false;
        int year = yearText.toInt(&ok);
        if (!ok) {
            // A bare month means its latest occurrence, this one included.
            year = month <= math.today().month() ? math.today().year() : math.today().year() - 1;
        }
        const QDate start(year, month, 1);
        const QString named = math.monthName(month) + u' ' + QString::number(year);
        if (preposition == u"since")
            setDates(query, math.start(start), std::nullopt, QStringLiteral("Since ") + named);
        else
            setDates(query, math.start(start), math.start(start.addMonths(1)), named);
        return true;
    }
    return false;
}

bool parseYear(QString &working, const DateMath &math, SearchQuery &query)
{
    static const QString pattern = QStringLiteral(R"re(\b(in|during|since|before|after)\s+((?:19|20)\d{2})\b)re");
    const auto groups = consume(pattern, working);
    if (!groups)
        return false;
    const QString &which = groups->at(1);
    const QString &yearText = groups->at(2);
    const int year = yearText.toInt();
    const QDateTime start = math.start(QDate(year, 1, 1));
    const QDateTime end = math.start(QDate(year + 1, 1, 1));
    if (which == u"since")
        setDates(query, start, std::nullopt, QStringLiteral("Since ") + yearText);
    else if (which == u"before")
        setDates(query, std::nullopt, start, QStringLiteral("Before ") + yearText);
    else if (which == u"after")
        setDates(query, end, std::nullopt, QStringLiteral("After ") + yearText);
    else
        setDates(query, start, end, yearText);
    return true;
}

void parseDates(QString &working, const DateMath &math, SearchQuery &query)
{
    static const QString recent = QStringLiteral(R"re(\b(recent|recently|latest|newest|lately)\b)re");
    if (parseRelativeDates(working, math, query) || parseWeekday(working, math, query)
        || parseMonth(working, math, query) || parseYear(working, math, query))
        return;
    if (consume(recent, working))
        setDates(query, math.start(math.today().addDays(-14)), std::nullopt, QStringLiteral("Recent"));
}

// ---------------------------------------------------------------------------
// Kinds.

void parseKinds(QString &working, FileFilter &filter)
{
    for (const KindRule &rule : kindRules()) {
        if (!consume(rule.pattern, working))
            continue;
        filter.kinds.unite(rule.kinds);
        filter.extensions.unite(rule.extensions);
        if (rule.screenshots)
            filter.screenshotsOnly = true;
    }
    // A kind and an extension widen each other in the filter, so narrow the
    // cases where the kind only restates what is already said.
    if (filter.screenshotsOnly)
        filter.kinds.remove(FileKind::image);
    static const QSet<QString> imageExtensions{QStringLiteral("png"), QStringLiteral("jpg"), QStringLiteral("jpeg"),
                                               QStringLiteral("heic"), QStringLiteral("gif")};
    if (filter.kinds.contains(FileKind::image) && !filter.extensions.isEmpty()
        && std::all_of(filter.extensions.begin(), filter.extensions.end(),
                       [](const QString &ext) { return imageExtensions.contains(ext); }))
        filter.kinds.remove(FileKind::image);
}

// ---------------------------------------------------------------------------
// Keywords: what the cascade left.

QStringList keywordsOf(const QString &working)
{
    QStringList keywords;
    for (QString token : wordRuns(working, Hyphens::joinWords)) {
        while (token.startsWith(u'-'))
            token.remove(0, 1);
        while (token.endsWith(u'-'))
            token.chop(1);
        if (token.isEmpty() || (codePointCount(token) < 2 && !isNumbersOnly(token)) || stopWords().contains(token)
            || keywords.contains(token))
            continue;
        keywords.append(token);
    }
    return keywords;
}

} // namespace

const QSet<QString> &queryStopWords()
{
    return stopWords();
}

SearchQuery LocalQueryParser::parse(const QString &text) const
{
    SearchQuery query;
    query.raw = text;
    QString working = text.toLower();
    working.replace(u'\u2019', u'\'');
    working.replace(u'\u00A0', u' ');

    parseSizes(working, query.filter);
    parseSources(working, query.filter);
    parseDateField(working, query.filter);
    parseDates(working, DateMath(m_now, m_calendar), query);
    parseKinds(working, query.filter);
    query.keywords = keywordsOf(working);
    return query;
}
