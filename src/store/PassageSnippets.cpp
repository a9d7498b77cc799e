#include "store/PassageSnippets.h"

#include <sqlite3.h>

#include <algorithm>
#include <mutex>

struct PassageSnippets::Tokenizer
{
    fts5_tokenizer methods{};
    Fts5Tokenizer *instance = nullptr;
    ~Tokenizer()
    {
        if (instance)
            methods.xDelete(instance);
    }
};

PassageSnippets::PassageSnippets(SQLiteDatabase &db, const QString &tokenize)
    : m_tokenizer(std::make_unique<Tokenizer>())
{
    const QList<QByteArray> words = tokenize.toUtf8().split(' ');
    std::vector<const char *> arguments;
    for (qsizetype i = 1; i < words.size(); ++i)
        arguments.push_back(words.at(i).constData());

    std::lock_guard guard(db.lock());
    fts5_api *api = FullTextRank::extension(db);
    void *context = nullptr;
    int rc = api ? api->xFindTokenizer(api, words.value(0).constData(), &context, &m_tokenizer->methods)
                 : SQLITE_ERROR;
    if (rc == SQLITE_OK)
        rc = m_tokenizer->methods.xCreate(context, arguments.data(), int(arguments.size()), &m_tokenizer->instance);
    if (rc != SQLITE_OK)
        throw SQLiteError(rc, QStringLiteral("the full-text tokenizer \"%1\" is not available").arg(tokenize));
}

PassageSnippets::~PassageSnippets() = default;

std::vector<PassageSnippets::Token> PassageSnippets::tokens(const QByteArray &utf8) const
{
    std::vector<Token> tokens;
    const auto add = [](void *context, int flags, const char *, int, int start, int end) {
        // A token at the place of the one before (a synonym) takes no position.
        if (!(flags & FTS5_TOKEN_COLOCATED))
            static_cast<std::vector<Token> *>(context)->push_back(Token{start, end});
        return SQLITE_OK;
    };
    m_tokenizer->methods.xTokenize(m_tokenizer->instance, &tokens, FTS5_TOKENIZE_AUX, utf8.constData(),
                                   int(utf8.size()), add);
    return tokens;
}

QStringList PassageSnippets::terms(const QString &text) const
{
    QStringList terms;
    const auto add = [](void *context, int flags, const char *term, int size, int, int) {
        if (!(flags & FTS5_TOKEN_COLOCATED))
            static_cast<QStringList *>(context)->append(QString::fromUtf8(term, size));
        return SQLITE_OK;
    };
    const QByteArray utf8 = text.toUtf8();
    m_tokenizer->methods.xTokenize(m_tokenizer->instance, &terms, FTS5_TOKENIZE_QUERY, utf8.constData(),
                                   int(utf8.size()), add);
    return terms;
}

namespace {

// The phrase instances of one column with overlapping ones taken together,
// each as the first and last token it covers.
class CoalescedInstances
{
public:
    CoalescedInstances(const QList<PhraseInstance> &instances, const QList<int> &phraseSizes, int column)
        : m_instances(instances)
        , m_phraseSizes(phraseSizes)
        , m_column(column)
    {
        advance();
    }

    int first() const { return m_first; } // -1 when there are no more
    int last() const { return m_last; }

    void advance()
    {
        m_first = -1;
        m_last = -1;
        for (; m_next < m_instances.size(); ++m_next) {
            const PhraseInstance &instance = m_instances.at(m_next);
            if (instance.column != m_column)
                continue;
            const int last = instance.offset - 1 + m_phraseSizes.value(instance.phrase, 1);
            if (m_first < 0) {
                m_first = instance.offset;
                m_last = last;
            } else if (instance.offset <= m_last) {
                m_last = std::max(m_last, last);
            } else {
                break;
            }
        }
    }

private:
    const QList<PhraseInstance> &m_instances;
    const QList<int> &m_phraseSizes;
    const int m_column;
    qsizetype m_next = 0;
    int m_first = -1;
    int m_last = -1;
};

struct Window
{
    int score = 0;
    int start = 0;
};

// The score of the window of `tokens` tokens from `start`: 1000 for each
// distinct phrase in it and 1 for each repeat. With centring, the window is
// moved to centre its instances, within the column.
Window windowAt(const QList<PhraseInstance> &instances, const QList<int> &phraseSizes, int column, int start,
                int tokens, int columnSize, bool centring)
{
    std::vector<bool> seen(size_t(phraseSizes.size()), false);
    const qint64 end = qint64(start) + tokens;
    int score = 0;
    int first = -1;
    int last = 0;
    for (const PhraseInstance &instance : instances) {
        if (instance.column != column || instance.offset < start || instance.offset >= end)
            continue;
        const size_t phrase = size_t(instance.phrase);
        score += phrase < seen.size() && seen[phrase] ? 1 : 1000;
        if (phrase < seen.size())
            seen[phrase] = true;
        if (first < 0)
            first = instance.offset;
        last = instance.offset + phraseSizes.value(instance.phrase, 1);
    }
    if (!centring)
        return {score, start};
    qint64 adjusted = first - (tokens - (last - first)) / 2;
    if (adjusted + tokens > columnSize)
        adjusted = columnSize - tokens;
    adjusted = std::max<qint64>(adjusted, 0);
    return {score, int(adjusted)};
}

} // namespace

QString PassageSnippets::snippet(const QString &text, int column, const QList<PhraseInstance> &instances,
                                 const QList<int> &phraseSizes, const SnippetShape &shape) const
{
    const QByteArray utf8 = text.toUtf8();
    const std::vector<Token> cut = tokens(utf8);
    const int columnSize = int(cut.size());

    // Sentence starts: the first token, and any token after blanks that
    // follow a full stop or a colon.
    std::vector<int> sentences;
    for (int position = 0; position < columnSize; ++position) {
        if (position == 0) {
            sentences.push_back(0);
            continue;
        }
        int at = cut[size_t(position)].start - 1;
        char before = 0;
        for (; at >= 0; --at) {
            before = utf8.at(at);
            if (before != ' ' && before != '\t' && before != '\n' && before != '\r')
                break;
        }
        if (at != cut[size_t(position)].start - 1 && (before == '.' || before == ':'))
            sentences.push_back(position);
    }

    // The best window: around an instance, or from a sentence start before
    // it, which wins on a tie of phrases.
    int bestScore = 0;
    int bestStart = 0;
    for (const PhraseInstance &instance : instances) {
        if (instance.column != column || instance.offset > columnSize)
            continue;
        const Window around =
            windowAt(instances, phraseSizes, column, instance.offset, shape.tokens, columnSize, /*centring*/ true);
        if (around.score > bestScore) {
            bestScore = around.score;
            bestStart = around.start;
        }
        if (sentences.empty() || columnSize <= shape.tokens)
            continue;
        size_t sentence = 0;
        while (sentence + 1 < sentences.size() && sentences[sentence + 1] <= instance.offset)
            ++sentence;
        if (sentences[sentence] >= instance.offset)
            continue;
        Window from =
            windowAt(instances, phraseSizes, column, sentences[sentence], shape.tokens, columnSize, /*centring*/ false);
        from.score += sentences[sentence] == 0 ? 120 : 100;
        if (from.score > bestScore) {
            bestScore = from.score;
            bestStart = from.start;
        }
    }

    // The window's text, instances marked, with the mark of left-out text
    // where the window doesn't reach the column's ends.
    const int rangeStart = bestStart;
    const int rangeEnd = bestStart + shape.tokens - 1;
    CoalescedInstances match(instances, phraseSizes, column);
    while (match.first() >= 0 && match.first() < rangeStart)
        match.advance();
    QByteArray out;
    if (rangeStart > 0)
        out += shape.ellipsis;
    int copied = 0; // bytes of utf8 dealt with
    bool open = false;
    const auto copyTo = [&](int offset) {
        if (offset > copied)
            out.append(utf8.constData() + copied, offset - copied);
        copied = std::max(copied, offset);
    };
    for (int position = std::max(rangeStart, 0); position <= rangeEnd && position < columnSize; ++position) {
        const Token &token = cut[size_t(position)];
        if (rangeStart > 0 && position == rangeStart)
            copied = token.start;
        if (open && (position <= match.first() || match.first() < 0) && token.start > copied) {
            out += shape.close;
            open = false;
        }
        if (position == match.first() && !open) {
            copyTo(token.start);
            out += shape.open;
            open = true;
        }
        if (position == match.last()) {
            if (!open) {
                out += shape.open;
                open = true;
            }
            copyTo(token.end);
            match.advance();
        }
        if (position == rangeEnd) {
            if (open) {
                if (match.first() >= 0 && position >= match.first())
                    copyTo(token.end);
                out += shape.close;
                open = false;
            }
            copyTo(token.end);
        }
    }
    if (open)
        out += shape.close;
    if (rangeEnd >= columnSize - 1)
        copyTo(int(utf8.size()));
    else
        out += shape.ellipsis;
    return QString::fromUtf8(out);
}
