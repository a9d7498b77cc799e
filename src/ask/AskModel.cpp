#include "ask/AskModel.h"

#include "ask/CitationMarks.h"

#include <QDesktopServices>
#include <QUrl>

AskModel::AskModel(std::unique_ptr<AskAgent> agent, QObject *parent)
    : QObject(parent)
    , m_agent(std::move(agent))
{
}

AskModel::~AskModel()
{
    m_token.cancel();
    if (m_thread.joinable())
        m_thread.join();
}

QVariantList AskModel::turnValues() const
{
    QVariantList values;
    for (const Turn &turn : _turns) {
        QVariantList citations;
        for (auto it = turn.citations.constBegin(); it != turn.citations.constEnd(); ++it)
            citations.append(QVariantMap{{QStringLiteral("number"), it.key()},
                                         {QStringLiteral("kind"), citationKindRawValue(it->kind)},
                                         {QStringLiteral("ownerID"), it->ownerID},
                                         {QStringLiteral("title"), it->title},
                                         {QStringLiteral("detail"), it->detail},
                                         {QStringLiteral("excerpt"), it->excerpt}});
        const QString text = turn.done ? turn.answer : turn.draft;
        QVariantList cited;
        for (int number : citedNumbers(text)) {
            if (turn.citations.contains(number))
                cited.append(number);
        }
        values.append(QVariantMap{{QStringLiteral("id"), turn.id},
                                  {QStringLiteral("question"), turn.question},
                                  {QStringLiteral("answer"), turn.answer},
                                  {QStringLiteral("draft"), turn.draft},
                                  {QStringLiteral("answerMarkdown"), withCitationLinks(text)},
                                  {QStringLiteral("steps"), turn.steps},
                                  {QStringLiteral("citations"), citations},
                                  {QStringLiteral("cited"), cited},
                                  {QStringLiteral("error"), turn.error ? QVariant(*turn.error) : QVariant()},
                                  {QStringLiteral("done"), turn.done}});
    }
    return values;
}

void AskModel::setInput(const QString &input)
{
    if (_input == input)
        return;
    _input = input;
    Q_EMIT inputChanged();
}

void AskModel::setBusy(bool busy)
{
    if (_isBusy == busy)
        return;
    _isBusy = busy;
    Q_EMIT isBusyChanged();
}

void AskModel::send(const QString &text)
{
    const QString question = (text.isNull() ? _input : text).trimmed();
    if (question.isEmpty() || _isBusy)
        return;
    setInput(QString());
    Turn turn;
    turn.id = QUuid::createUuid();
    turn.question = question;
    _turns.append(turn);
    Q_EMIT turnsChanged();
    setBusy(true);

    const QUuid id = turn.id;
    chain([this, id, question](const CancellationToken &token) {
        m_agent->run(
            question,
            [this, id, token](const AskEvent &event) {
                Tasks::deliver(this, token, [this, id, event] { apply(id, event); });
            },
            token);
        Tasks::deliver(this, [this, id] {
            if (!_turns.isEmpty() && _turns.last().id == id)
                setBusy(false);
        });
    });
}

void AskModel::stop()
{
    m_token.cancel();
    setBusy(false);
    if (_turns.isEmpty() || _turns.last().done)
        return;
    Turn &last = _turns.last();
    last.answer = last.draft;
    last.done = true;
    Q_EMIT turnsChanged();
}

void AskModel::newChat()
{
    stop();
    if (!_turns.isEmpty()) {
        _turns.clear();
        Q_EMIT turnsChanged();
    }
    // The reset waits for the stopped run to end and is never skipped: a
    // question asked at once waits for it in turn.
    chain([this](const CancellationToken &) { m_agent->reset(); });
}

bool AskModel::openLink(const QUuid &turnID, const QString &link)
{
    const std::optional<int> number = citationNumber(link);
    if (!number) {
        const QUrl url(link);
        if (url.scheme() == QLatin1String(citationScheme))
            return true;
        QDesktopServices::openUrl(url);
        return false;
    }
    if (const Turn *found = turn(turnID)) {
        const auto citation = found->citations.constFind(*number);
        if (citation != found->citations.constEnd())
            Q_EMIT citationOpened(*citation);
    }
    return true;
}

void AskModel::chain(std::function<void(const CancellationToken &)> job)
{
    const CancellationToken token;
    m_token = token;
    m_thread = std::thread([previous = std::move(m_thread), job = std::move(job), token]() mutable {
        if (previous.joinable())
            previous.join();
        job(token);
    });
}

AskModel::Turn *AskModel::turn(const QUuid &id)
{
    for (Turn &turn : _turns) {
        if (turn.id == id)
            return &turn;
    }
    return nullptr;
}

void AskModel::apply(const QUuid &turnID, const AskEvent &event)
{
    Turn *turn = this->turn(turnID);
    // A turn gone with its conversation, or stopped, takes no more.
    if (!turn || turn->done)
        return;
    switch (event.type) {
    case AskEvent::Type::draft:
        turn->draft += event.text;
        break;
    case AskEvent::Type::step:
        // Text before a lookup was commentary, not the answer.
        turn->steps.append(event.text);
        turn->draft.clear();
        break;
    case AskEvent::Type::citation:
        turn->citations.insert(event.number, event.citation);
        break;
    case AskEvent::Type::failed:
        turn->answer = turn->draft;
        turn->error = event.text;
        turn->done = true;
        break;
    case AskEvent::Type::done:
        turn->answer = turn->draft.trimmed();
        turn->draft.clear();
        turn->done = true;
        break;
    }
    Q_EMIT turnsChanged();
}
