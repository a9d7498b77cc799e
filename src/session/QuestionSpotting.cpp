#include "session/QuestionSpotting.h"

#include "search/LocalQueryParser.h"
#include "search/RegexCache.h"

#include <QSet>

#include <algorithm>

namespace {

using namespace Qt::StringLiterals;

// A word: letters, numbers and the straight apostrophe. A curly apostrophe
// separates, so "what’s" is "what" and "s".
const QString wordPattern = u"[\\p{L}\\p{N}']+"_s;

const QSet<QString> &questionOpeners()
{
    static const QSet<QString> words{u"what"_s, u"what's"_s, u"whats"_s, u"when"_s, u"where"_s, u"who"_s,
                                     u"whom"_s, u"whose"_s,  u"why"_s,   u"how"_s,  u"which"_s};
    return words;
}

const QSet<QString> &auxiliaryOpeners()
{
    static const QSet<QString> words{u"do"_s,    u"does"_s,  u"did"_s,   u"is"_s,     u"are"_s,    u"was"_s,
                                     u"were"_s,  u"can"_s,   u"could"_s, u"would"_s,  u"will"_s,   u"should"_s,
                                     u"have"_s,  u"has"_s,   u"had"_s,   u"shall"_s,  u"may"_s,    u"might"_s};
    return words;
}

// Second words after which an auxiliary opening asks even without a mark.
const QSet<QString> &subjectWords()
{
    static const QSet<QString> words{u"you"_s, u"we"_s,  u"they"_s,   u"it"_s,       u"there"_s,
                                     u"i"_s,   u"he"_s,  u"she"_s,    u"anyone"_s,   u"everyone"_s,
                                     u"that"_s, u"this"_s, u"our"_s, u"the"_s};
    return words;
}

// The phrases of greetings and call mechanics; matched as plain substrings.
const QStringList &smallTalkPhrases()
{
    static const QStringList phrases{
        u"hear me"_s,        u"see my screen"_s,  u"see the screen"_s,        u"you there"_s,
        u"how are you"_s,    u"how's it going"_s, u"hows it going"_s,         u"how is everyone"_s,
        u"how's everyone"_s, u"how was your"_s,   u"make sense"_s,            u"sound good"_s,
        u"sounds good"_s,    u"any questions"_s,  u"that okay"_s,             u"that ok"_s,
        u"you still there"_s, u"can everyone"_s,  u"am i muted"_s,            u"is my audio"_s,
        u"shall we start"_s, u"should we start"_s, u"get started"_s,          u"how do you do"_s,
        u"what's up"_s,      u"whats up"_s,       u"you know what i mean"_s,  u"right?"_s,
        u"share my screen"_s, u"is that clear"_s, u"everyone ready"_s,        u"ready to start"_s};
    return phrases;
}

// Words too vague to search the library for.
const QSet<QString> &weakWords()
{
    static const QSet<QString> words{u"know"_s, u"think"_s,    u"remember"_s, u"tell"_s,
                                     u"guys"_s, u"everyone"_s, u"really"_s};
    return words;
}

QStringList wordsOf(const QString &lowered)
{
    QStringList words;
    const auto expression = RegexCache::shared().expression(wordPattern);
    if (!expression)
        return words;
    auto matches = expression->globalMatch(lowered);
    while (matches.hasNext())
        words.append(matches.next().captured(0));
    return words;
}

// Trims spaces and tabs but not line breaks.
QString trimmedOfBlanks(const QString &text)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    const auto isBlank = [](QChar c) { return c.isSpace() && c != u'\n' && c != u'\r'; };
    while (begin < end && isBlank(text.at(begin)))
        ++begin;
    while (end > begin && isBlank(text.at(end - 1)))
        --end;
    return text.mid(begin, end - begin);
}

bool hasContentWord(const QStringList &words)
{
    return std::any_of(words.cbegin(), words.cend(), [](const QString &word) {
        return word.size() >= 4 && !queryStopWords().contains(word) && !questionOpeners().contains(word)
            && !auxiliaryOpeners().contains(word) && !weakWords().contains(word);
    });
}

} // namespace

namespace QuestionSpotting {

QStringList sentences(const QString &text)
{
    QStringList result;
    QString buffer;
    const auto flush = [&] {
        const QString sentence = buffer.trimmed();
        if (!sentence.isEmpty())
            result.append(sentence);
        buffer.clear();
    };
    for (const QChar c : text) {
        buffer.append(c);
        if (c == u'?' || c == u'.' || c == u'!')
            flush();
    }
    flush();
    return result;
}

bool isQuestion(const QString &sentence)
{
    const QString lowered = sentence.toLower();
    const QStringList words = wordsOf(lowered);
    if (words.size() < 4)
        return false;
    for (const QString &phrase : smallTalkPhrases()) {
        if (lowered.contains(phrase))
            return false;
    }
    const bool asked = trimmedOfBlanks(sentence).endsWith(u'?');
    const QString &first = words.at(0);
    if (!questionOpeners().contains(first)) {
        const bool auxiliaryAsks = auxiliaryOpeners().contains(first) && subjectWords().contains(words.at(1));
        if (!asked && !auxiliaryAsks)
            return false;
    }
    return hasContentWord(words);
}

} // namespace QuestionSpotting
