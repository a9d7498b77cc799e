// The Ask conversation as the screen's list: one row a turn, with the
// answer rendered as rich text while it streams and the sources it cites.
// A streaming turn changes its own row only, so the rows above keep their
// place and any text selected in them.
#pragma once

#include "ask/AskModel.h"
#include "screens/AnswerMarkup.h"

#include <QAbstractListModel>
#include <QColor>
#include <QFont>

class AskTurns : public QAbstractListModel
{
    Q_OBJECT
    // The look of rendered answers, set by the screen from its theme.
    Q_PROPERTY(QFont font READ font WRITE setFont NOTIFY fontChanged)
    Q_PROPERTY(QColor citationBackground READ citationBackground WRITE setCitationBackground NOTIFY citationBackgroundChanged)
    Q_PROPERTY(QColor citationText READ citationText WRITE setCitationText NOTIFY citationTextChanged)
    Q_PROPERTY(QColor linkColor READ linkColor WRITE setLinkColor NOTIFY linkColorChanged)

public:
    enum Role {
        QuestionRole = Qt::UserRole + 1,
        StepsRole, // the agent's lookups, in order
        AnswerRole, // the text on show: the answer once done, else the draft
        HTMLRole, // that text rendered; empty when there is none
        PhaseRole, // "waiting", "streaming", "answered", "failed" or "stopped"
        ErrorRole, // empty when none
        SourcesRole, // the cited sources that exist: number, title, detail, kind
    };
    Q_ENUM(Role)

    // The model must outlive this.
    explicit AskTurns(AskModel &model, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    QFont font() const { return _style.font; }
    void setFont(const QFont &font);
    QColor citationBackground() const { return _style.citationBackground; }
    void setCitationBackground(const QColor &color);
    QColor citationText() const { return _style.citationText; }
    void setCitationText(const QColor &color);
    QColor linkColor() const { return _style.link; }
    void setLinkColor(const QColor &color);

    static QString phaseName(const AskModel::Turn &turn);

    // A link of the row's answer: a source number opens its source, any
    // other link goes to the desktop.
    Q_INVOKABLE void openLink(int row, const QString &link);
    // The source of that number in the row's turn.
    Q_INVOKABLE void openSource(int row, int number);

Q_SIGNALS:
    void fontChanged();
    void citationBackgroundChanged();
    void citationTextChanged();
    void linkColorChanged();

private:
    struct Row
    {
        AskModel::Turn turn;
        QString html;
    };

    void update();
    // Renders every answer again in the new style.
    void restyle();
    Row rowOf(const AskModel::Turn &turn) const;
    static QVariantList sourcesOf(const AskModel::Turn &turn);

    AskModel &m_model;
    QList<Row> m_rows;
    AnswerMarkup::Style _style;
};
