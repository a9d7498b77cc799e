#include "session/LiveAnswerer.h"

#include "claude/ClaudeClient.h"

#include <QUuid>

namespace {

using namespace Qt::StringLiterals;

const char *const answerPrompt =
    "You help someone during a live meeting. A question was just asked. Answer it using only the numbered "
    "excerpts from their own files and past meeting notes. If the excerpts don't answer it, set answerable to "
    "false and leave answer empty. Otherwise answer in at most two plain sentences with the specific facts "
    "(numbers, dates, names), and list the excerpt numbers you used in sources.";

const JSONValue &answerSchema()
{
    static const JSONValue schema = JSONValue::parse(
        R"({"type":"object","additionalProperties":false,"required":["answerable","answer","sources"],)"
        R"("properties":{"answerable":{"type":"boolean"},"answer":{"type":"string"},)"
        R"("sources":{"type":"array","items":{"type":"integer"}}}})");
    return schema;
}

// What Claude says of the excerpts.
struct Response
{
    bool answerable = false;
    QString answer;
    QList<qint64> sources; // excerpt numbers, counting from 1

    static constexpr const char *typeName = "Response";
    static Response decode(const JSONDecoder &decoder)
    {
        return {decoder.field<bool>(u"answerable"_s), decoder.field<QString>(u"answer"_s),
                decoder.field<QList<qint64>>(u"sources"_s)};
    }
};

QString excerpts(const QList<RetrievedPassage> &passages)
{
    QStringList parts;
    for (qsizetype i = 0; i < passages.size(); ++i) {
        const RetrievedPassage &passage = passages.at(i);
        parts.append(u"[%1] %2 (%3)\n%4"_s.arg(i + 1).arg(passage.citation.title, passage.citation.detail,
                                                          passage.text));
    }
    return parts.join(u"\n\n"_s);
}

} // namespace

LiveAnswerer::LiveAnswerer(const ClaudeClient &client, QString model, LibraryRetriever retriever)
    : m_client(client)
    , m_model(std::move(model))
    , m_retriever(std::move(retriever))
{
}

MessageRequest LiveAnswerer::request(const QString &question, const QList<RetrievedPassage> &passages) const
{
    MessageRequest request;
    request.model = m_model;
    request.maxTokens = answerTokens;
    request.system = QString::fromUtf8(answerPrompt);
    request.messages = {userMessage(u"Question: "_s + question + u"\n\nExcerpts:\n"_s + excerpts(passages))};
    request.effort = u"low"_s;
    request.outputSchema = answerSchema();
    request.cacheSystemPrompt = false;
    return request;
}

std::optional<LiveAnswer> LiveAnswerer::answer(const QString &question, const QString &meetingID,
                                               const CancellationToken &token) const
{
    const QSet<Citation::Kind> kinds{Citation::Kind::file, Citation::Kind::note, Citation::Kind::transcript};
    const QList<RetrievedPassage> passages = m_retriever.retrieve(question, kinds, meetingID, passageLimit);
    if (passages.isEmpty())
        return std::nullopt;

    const Response response = m_client.structured<Response>(request(question, passages), token);
    const QString text = response.answer.trimmed();
    if (!response.answerable || text.isEmpty())
        return std::nullopt;

    LiveAnswer answer;
    answer.id = QUuid::createUuid().toString(QUuid::WithoutBraces);
    answer.meetingID = meetingID;
    answer.question = question;
    answer.answer = text;
    for (const qint64 source : response.sources) {
        // Numbers outside the excerpts are skipped; repeats are kept.
        if (source >= 1 && source <= passages.size())
            answer.citations.append(passages.at(source - 1).citation);
    }
    answer.created = QDateTime::currentDateTime();
    return answer;
}
