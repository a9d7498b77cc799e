// Favours words the user is likely to say (names and terms from their
// library) while the speech model picks its next word piece: a piece that
// starts one of the words, or carries on one begun in the transcript so far,
// has its score raised. Matching ignores case.
#pragma once

#include "platform/SpeechVocabulary.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <span>
#include <vector>

class WordBias
{
public:
    WordBias() = default;
    // bonus: added to the score (a log probability) of each favoured piece.
    WordBias(const SpeechVocabulary &vocabulary, const QStringList &words, float bonus);

    bool isEmpty() const { return m_words.empty(); }
    // Raises the scores of the pieces that may follow tokens.
    void favour(std::span<const int64_t> tokens, std::span<float> scores) const;

private:
    struct Piece
    {
        int64_t token;
        QString text; // lower case, without the word-start mark
        bool startsWord;
    };
    bool isWordPrefix(const QString &text) const;

    std::vector<QString> m_words; // sorted, lower case
    std::vector<Piece> m_pieces;  // only those that occur in a word
    std::vector<Piece> m_byToken; // every piece, for reading the transcript back
    std::vector<int64_t> m_endingWords; // pieces that end the word before them
    float m_bonus = 0;
};
