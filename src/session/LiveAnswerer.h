// Answers a question heard during a meeting from the user's own files and
// past meetings: the best passages go to Claude in one cheap structured call,
// which says whether they answer it and, if so, gives two sentences and the
// passages it used. Silence is the normal outcome: a question the library
// can't answer gives nothing. Blocks on the library and the network, so never
// on the main thread.
#pragma once

#include "ask/LibraryRetriever.h"
#include "claude/ClaudeMessage.h"
#include "core/Tasks.h"

class ClaudeClient;

class LiveAnswerer
{
public:
    LiveAnswerer(const ClaudeClient &client, QString model, LibraryRetriever retriever);

    // The answer, or nothing to show. The running meeting's own notes and
    // transcript never answer it. Throws ClaudeError for every failure of the
    // call (no key, HTTP, refusal, truncation, an answer that doesn't decode)
    // and the store's errors; never a partial answer.
    std::optional<LiveAnswer> answer(const QString &question, const QString &meetingID,
                                     const CancellationToken &token = CancellationToken::none()) const;

    // The call for a question over numbered passages.
    MessageRequest request(const QString &question, const QList<RetrievedPassage> &passages) const;

    static constexpr int passageLimit = 6;
    static constexpr qint64 answerTokens = 4000;

private:
    const ClaudeClient &m_client;
    QString m_model;
    LibraryRetriever m_retriever;
};
