// The word pieces of the speech model's output tokens, one a line in token
// order. A piece starting with "▁" begins a word; "<0x0A>" stands for one
// byte; the markers "<s>", "</s>" and "<unk>" print nothing.
#pragma once

#include <QByteArray>
#include <QString>

#include <span>
#include <vector>

class SpeechVocabulary
{
public:
    // Throws SpeechEngineError when the file can't be read.
    static SpeechVocabulary load(const QString &path);
    explicit SpeechVocabulary(std::vector<QByteArray> pieces);

    int size() const { return int(m_pieces.size()); }
    // The piece of one token as written in the file; empty for unknown ids.
    QByteArray piece(int64_t token) const;
    // The text of a token sequence, trimmed. Unknown ids print nothing.
    QString text(std::span<const int64_t> tokens) const;

private:
    std::vector<QByteArray> m_pieces;
};
