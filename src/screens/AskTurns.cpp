#include "screens/AskTurns.h"

#include "ask/CitationMarks.h"

AskTurns::AskTurns(AskModel &model, QObject *parent)
    : QAbstractListModel(parent)
    , m_model(model)
{
    connect(&model, &AskModel::turnsChanged, this, &AskTurns::update);
    update();
}

int AskTurns::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant AskTurns::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Row &row = m_rows.at(index.row());
    const AskModel::Turn &turn = row.turn;
    switch (role) {
    case QuestionRole:
        return turn.question;
    case StepsRole:
        return turn.steps;
    case AnswerRole:
        return turn.done ? turn.answer : turn.draft;
    case HTMLRole:
        return row.html;
    case PhaseRole:
        return phaseName(turn);
    case ErrorRole:
        return turn.error.value_or(QString());
    case SourcesRole:
        return sourcesOf(turn);
    default:
        return {};
    }
}

QHash<int, QByteArray> AskTurns::roleNames() const
{
    return {{QuestionRole, "question"}, {StepsRole, "steps"}, {AnswerRole, "answer"}, {HTMLRole, "html"},
            {PhaseRole, "phase"},       {ErrorRole, "error"}, {SourcesRole, "sources"}};
}

QString AskTurns::phaseName(const AskModel::Turn &turn)
{
    if (!turn.done)
        return turn.draft.isEmpty() ? QStringLiteral("waiting") : QStringLiteral("streaming");
    if (turn.error)
        return QStringLiteral("failed");
    // A turn ends answered with its draft moved into the answer; a stopped
    // one keeps its draft as well, or had none.
    return turn.draft.isEmpty() && !turn.answer.isEmpty() ? QStringLiteral("answered") : QStringLiteral("stopped");
}

void AskTurns::setFont(const QFont &font)
{
    if (_style.font == font)
        return;
    _style.font = font;
    restyle();
    Q_EMIT fontChanged();
}

void AskTurns::setCitationBackground(const QColor &color)
{
    if (_style.citationBackground == color)
        return;
    _style.citationBackground = color;
    restyle();
    Q_EMIT citationBackgroundChanged();
}

void AskTurns::setCitationText(const QColor &color)
{
    if (_style.citationText == color)
        return;
    _style.citationText = color;
    restyle();
    Q_EMIT citationTextChanged();
}

void AskTurns::setLinkColor(const QColor &color)
{
    if (_style.link == color)
        return;
    _style.link = color;
    restyle();
    Q_EMIT linkColorChanged();
}

void AskTurns::openLink(int row, const QString &link)
{
    if (row < 0 || row >= m_rows.size())
        return;
    m_model.openLink(m_rows.at(row).turn.id, link);
}

void AskTurns::openSource(int row, int number)
{
    openLink(row, QStringLiteral("%1://%2").arg(QLatin1String(citationScheme)).arg(number));
}

AskTurns::Row AskTurns::rowOf(const AskModel::Turn &turn) const
{
    const QString text = turn.done ? turn.answer : turn.draft;
    if (text.trimmed().isEmpty())
        return {turn, QString()};
    // Text that was still streaming in, now or when it stopped or failed,
    // is completed just enough to render cleanly.
    const bool whole = phaseName(turn) == QLatin1String("answered");
    const QString markdown = withCitationLinks(whole ? text : AnswerMarkup::completePartial(text));
    return {turn, AnswerMarkup::html(markdown, _style)};
}

QVariantList AskTurns::sourcesOf(const AskModel::Turn &turn)
{
    QVariantList sources;
    for (int number : citedNumbers(turn.done ? turn.answer : turn.draft)) {
        const auto citation = turn.citations.constFind(number);
        if (citation == turn.citations.constEnd())
            continue;
        sources.append(QVariantMap{{QStringLiteral("number"), number},
                                   {QStringLiteral("title"), citation->title},
                                   {QStringLiteral("detail"), citation->detail},
                                   {QStringLiteral("kind"), citationKindRawValue(citation->kind)}});
    }
    return sources;
}

void AskTurns::update()
{
    const QList<AskModel::Turn> &turns = m_model.turns();
    // The rows that stand for the same turns as before change in place;
    // turns added after them are inserted. Anything else starts over.
    qsizetype kept = 0;
    while (kept < m_rows.size() && kept < turns.size() && m_rows.at(kept).turn.id == turns.at(kept).id)
        ++kept;
    if (kept < m_rows.size()) {
        beginResetModel();
        m_rows.clear();
        for (const AskModel::Turn &turn : turns)
            m_rows.append(rowOf(turn));
        endResetModel();
        return;
    }
    for (qsizetype i = 0; i < kept; ++i) {
        if (m_rows.at(i).turn == turns.at(i))
            continue;
        m_rows[i] = rowOf(turns.at(i));
        Q_EMIT dataChanged(index(int(i)), index(int(i)));
    }
    if (kept < turns.size()) {
        beginInsertRows(QModelIndex(), int(kept), int(turns.size() - 1));
        for (qsizetype i = kept; i < turns.size(); ++i)
            m_rows.append(rowOf(turns.at(i)));
        endInsertRows();
    }
}

void AskTurns::restyle()
{
    if (m_rows.isEmpty())
        return;
    for (Row &row : m_rows)
        row = rowOf(row.turn);
    Q_EMIT dataChanged(index(0), index(int(m_rows.size() - 1)), {HTMLRole});
}
