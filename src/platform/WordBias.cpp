#include "platform/WordBias.h"

#include <algorithm>

namespace {

const QByteArray wordStart("\xe2\x96\x81"); // "▁"
// A word's first piece is favoured only when it is more than a letter or
// two: those begin too many other words.
constexpr qsizetype minimumStart = 3;

} // namespace

WordBias::WordBias(const SpeechVocabulary &vocabulary, const QStringList &words, float bonus)
    : m_bonus(bonus)
{
    for (const QString &word : words) {
        const QString lower = word.trimmed().toLower();
        if (lower.size() > 1)
            m_words.push_back(lower);
    }
    std::sort(m_words.begin(), m_words.end());
    m_words.erase(std::unique(m_words.begin(), m_words.end()), m_words.end());
    if (m_words.empty())
        return;
    for (int token = 0; token < vocabulary.size(); ++token) {
        QByteArray piece = vocabulary.piece(token);
        const bool startsWord = piece.startsWith(wordStart);
        if (startsWord)
            piece.remove(0, wordStart.size());
        Piece entry{token, QString::fromUtf8(piece).toLower(), startsWord};
        m_byToken.push_back(entry);
        // What ends a word: the next word, the end of the transcript, or
        // punctuation (not the markers and single bytes written as "<…>").
        const bool marker = piece.startsWith('<') && piece.endsWith('>') && piece.size() > 2;
        if (startsWord || piece == "</s>" || (!marker && !piece.isEmpty() && !QChar::isLetterOrNumber(uchar(piece.front()))))
            m_endingWords.push_back(token);
        if (entry.text.isEmpty())
            continue;
        const bool occurs = std::any_of(m_words.begin(), m_words.end(), [&](const QString &word) {
            return startsWord ? word.startsWith(entry.text) : word.indexOf(entry.text, 1) > 0;
        });
        if (occurs)
            m_pieces.push_back(entry);
    }
}

bool WordBias::isWordPrefix(const QString &text) const
{
    const auto found = std::lower_bound(m_words.begin(), m_words.end(), text);
    return found != m_words.end() && found->startsWith(text);
}

void WordBias::favour(std::span<const int64_t> tokens, std::span<float> scores) const
{
    if (m_words.empty())
        return;
    // The word being written: the pieces since the last one that began a word.
    QString begun;
    int favouredPieces = 0;
    for (auto t = tokens.rbegin(); t != tokens.rend(); ++t) {
        if (*t < 0 || *t >= int64_t(m_byToken.size()))
            break;
        const Piece &piece = m_byToken[size_t(*t)];
        begun.prepend(piece.text);
        if (!piece.startsWord || piece.text.size() >= minimumStart)
            ++favouredPieces;
        if (piece.startsWord)
            break;
        if (t + 1 == tokens.rend())
            begun.clear(); // no word began: the transcript is empty so far
    }
    const bool inFavouredWord = !begun.isEmpty() && isWordPrefix(begun);
    // A favoured word left unfinished gives back what it was favoured by:
    // every piece pays, but those that carry it on or end it complete.
    const float owed = inFavouredWord ? m_bonus * float(favouredPieces) : 0.0f;
    if (owed > 0) {
        for (float &score : scores)
            score -= owed;
        if (std::binary_search(m_words.begin(), m_words.end(), begun)) {
            for (const int64_t token : m_endingWords) {
                if (token < int64_t(scores.size()))
                    scores[size_t(token)] += owed;
            }
        }
    }
    for (const Piece &piece : m_pieces) {
        if (piece.token >= int64_t(scores.size()))
            continue;
        if (piece.startsWord && piece.text.size() >= minimumStart && isWordPrefix(piece.text))
            scores[size_t(piece.token)] += m_bonus;
        else if (!piece.startsWord && inFavouredWord && isWordPrefix(begun + piece.text))
            scores[size_t(piece.token)] += owed + m_bonus;
    }
}
