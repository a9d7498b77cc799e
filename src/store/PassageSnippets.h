// Snippets of passage text around the words a full-text match found in it,
// made from the match's phrase instances as the full-text table's snippet()
// makes them, but without running the match again.
//
// A ranking already knows where each phrase occurs in the rows it gives
// out; a snippet() statement would have to find every matching row once
// more to reach the few that need one.
#pragma once

#include "store/FullTextRank.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

// How a snippet looks: the marks around matched words, the mark of text
// left out, and how many tokens it shows.
struct SnippetShape
{
    QByteArray open;
    QByteArray close;
    QByteArray ellipsis;
    int tokens = 18;
};

class PassageSnippets
{
public:
    // Uses the connection's tokenizer as a table's tokenize option names
    // it, such as "porter unicode61 remove_diacritics 2". Throws
    // SQLiteError when the connection has no such tokenizer.
    PassageSnippets(SQLiteDatabase &db, const QString &tokenize);
    ~PassageSnippets();
    PassageSnippets(const PassageSnippets &) = delete;
    PassageSnippets &operator=(const PassageSnippets &) = delete;

    // The snippet of a row's column whose text is `text`: the window of
    // shape.tokens tokens holding the most distinct phrases, preferring one
    // that starts a sentence, with each phrase instance marked. `instances`
    // are all of the row's, in column and offset order; `phraseSizes` gives
    // each phrase's number of tokens.
    QString snippet(const QString &text, int column, const QList<PhraseInstance> &instances,
                    const QList<int> &phraseSizes, const SnippetShape &shape) const;

    struct Token
    {
        int start = 0; // byte offsets in the UTF-8 text
        int end = 0;
    };
    // The tokens of UTF-8 text as the full-text table cuts it.
    std::vector<Token> tokens(const QByteArray &utf8) const;
    // The terms the full-text table indexes for a text, in order, as its
    // vocabulary holds them: lower case, without accents, stemmed.
    QStringList terms(const QString &text) const;

private:
    struct Tokenizer;
    std::unique_ptr<Tokenizer> m_tokenizer;
};
