// The conversation behind the Ask screen: the question and answer turns, the
// text in the entry field, and whether a run is going. It feeds the agent's
// events into the current turn and makes sure the agent runs once at a time:
// each run, and each reset between conversations, starts on its own thread
// only after the one before has ended. Main thread only.
#pragma once

#include "ask/AskAgent.h"

#include <QMap>
#include <QObject>
#include <QUuid>
#include <QVariantList>

#include <memory>
#include <thread>

class AskModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QVariantList turns READ turnValues NOTIFY turnsChanged)
    Q_PROPERTY(QString input READ input WRITE setInput NOTIFY inputChanged)
    Q_PROPERTY(bool isBusy READ isBusy NOTIFY isBusyChanged)

public:
    // One question and its answer. Waiting: not done, no draft; streaming:
    // not done, a draft; answered: done, no error; failed: done with an
    // error and what had streamed in; stopped: done, what had streamed in.
    struct Turn
    {
        QUuid id;
        QString question; // trimmed
        QString answer; // set when the turn ends
        QString draft; // the text streaming in now
        QStringList steps;
        QMap<int, Citation> citations; // by source number
        std::optional<QString> error;
        bool done = false;

        friend bool operator==(const Turn &, const Turn &) = default;
    };

    explicit AskModel(std::unique_ptr<AskAgent> agent, QObject *parent = nullptr);
    // Stops the run and waits for its thread.
    ~AskModel() override;

    const QList<Turn> &turns() const { return _turns; }
    // The turns for the screen, each a map of the fields above plus
    // "answerMarkdown" (the answer or draft with its marks as links) and
    // "cited" (the cited numbers that have a source).
    QVariantList turnValues() const;
    QString input() const { return _input; }
    void setInput(const QString &input);
    bool isBusy() const { return _isBusy; }

    // Asks text, or the entry field's text when none is given. Blank text
    // and a question while a run is going are ignored.
    Q_INVOKABLE void send(const QString &text = QString());
    // Cancels the run; what had streamed in stays as the turn's answer, and
    // the question drops out of what Claude sees next.
    Q_INVOKABLE void stop();
    // Ends the conversation and starts another.
    Q_INVOKABLE void newChat();
    // A larder-cite link of the turn's answer: the source with that number is
    // handed on through citationOpened. Other links go to the desktop.
    // Returns whether the link was handled here.
    Q_INVOKABLE bool openLink(const QUuid &turnID, const QString &link);

Q_SIGNALS:
    void turnsChanged();
    void inputChanged();
    void isBusyChanged();
    // The user opened a source: a file to show, a meeting to open.
    void citationOpened(const Citation &citation);

private:
    void setBusy(bool busy);
    // Starts job on a thread of its own once the last job's thread ended.
    void chain(std::function<void(const CancellationToken &)> job);
    void apply(const QUuid &turnID, const AskEvent &event);
    Turn *turn(const QUuid &id);

    std::unique_ptr<AskAgent> m_agent;
    std::thread m_thread; // of the current or last job
    CancellationToken m_token; // of that job

    QList<Turn> _turns;
    QString _input;
    bool _isBusy = false;
};
