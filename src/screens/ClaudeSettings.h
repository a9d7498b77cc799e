// The state behind the Claude key field, in Settings and on the last step of
// the onboarding: the text typed, and the check of a key against Claude
// before it is stored in the keyring.
#pragma once

#include "core/Tasks.h"

#include <QObject>
#include <QString>

#include <memory>

class AppModel;

class ClaudeSettings : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString key READ key WRITE setKey NOTIFY keyChanged)
    // "idle", "checking", "valid" or "invalid".
    Q_PROPERTY(QString status READ statusName NOTIFY statusChanged)
    // Why a key was refused, or, for a key that works but couldn't be kept,
    // why not; empty otherwise.
    Q_PROPERTY(QString message READ message NOTIFY statusChanged)
    // The name of Claude's web site, where plans link their console.
    Q_PROPERTY(QString webSiteName READ webSiteName CONSTANT)
    // Where keys are made in the Claude Console.
    Q_PROPERTY(QString consoleKeysURL READ consoleKeysURL CONSTANT)

public:
    enum class Status { idle, checking, valid, invalid };

    explicit ClaudeSettings(AppModel &app, QObject *parent = nullptr);
    // Drops a check still running; its answer goes nowhere.
    ~ClaudeSettings() override;

    QString key() const { return _key; }
    void setKey(const QString &key);
    Status status() const { return _status; }
    QString statusName() const;
    QString message() const { return _message; }
    static QString webSiteName();
    static QString consoleKeysURL();

    // Checks the key typed, trimmed, against Claude. A key that works is
    // stored through the application model and the field empties; one that
    // doesn't leaves the stored key as it was. An empty field does nothing.
    Q_INVOKABLE void saveAndVerify();
    // Forgets the stored key.
    Q_INVOKABLE void removeKey();

Q_SIGNALS:
    void keyChanged();
    void statusChanged();
    // A key was checked and stored.
    void verified();

private:
    void setStatus(Status status, const QString &message = {});
    void accept(const QString &key);

    AppModel &m_app;
    CancellationToken m_check;
    std::unique_ptr<CallThreads> m_calls;

    QString _key;
    Status _status = Status::idle;
    QString _message;
};
