#include "screens/ClaudeSettings.h"

#include "app/AppModel.h"
#include "claude/ClaudeClient.h"

ClaudeSettings::ClaudeSettings(AppModel &app, QObject *parent)
    : QObject(parent)
    , m_app(app)
    , m_calls(std::make_unique<CallThreads>())
{
}

ClaudeSettings::~ClaudeSettings()
{
    m_check.cancel();
    m_calls.reset();
}

void ClaudeSettings::setKey(const QString &key)
{
    if (_key == key)
        return;
    _key = key;
    Q_EMIT keyChanged();
}

QString ClaudeSettings::statusName() const
{
    switch (_status) {
    case Status::idle:
        return QStringLiteral("idle");
    case Status::checking:
        return QStringLiteral("checking");
    case Status::valid:
        return QStringLiteral("valid");
    case Status::invalid:
        return QStringLiteral("invalid");
    }
    return {};
}

QString ClaudeSettings::webSiteName()
{
    return QString::fromLatin1(claudeWebSiteName);
}

QString ClaudeSettings::consoleKeysURL()
{
    return QStringLiteral("https://console.anthropic.com/settings/keys");
}

void ClaudeSettings::setStatus(Status status, const QString &message)
{
    if (_status == status && _message == message)
        return;
    _status = status;
    _message = message;
    Q_EMIT statusChanged();
}

void ClaudeSettings::saveAndVerify()
{
    const QString key = _key.trimmed();
    if (key.isEmpty() || _status == Status::checking)
        return;
    setStatus(Status::checking);
    m_check.cancel();
    m_check = CancellationToken();
    const CancellationToken token = m_check;
    const ClaudeClient *client = &m_app.claude();
    m_calls->start([this, client, key, token] {
        try {
            client->validateKey(key, token);
            Tasks::deliver(this, token, [this, key] { accept(key); });
        } catch (const CancellationError &) {
        } catch (const DescribedError &error) {
            const QString message = error.description();
            Tasks::deliver(this, token, [this, message] { setStatus(Status::invalid, message); });
        }
    });
}

void ClaudeSettings::accept(const QString &key)
{
    QString note;
    switch (m_app.setAPIKey(key)) {
    case SecretStore::Status::ok:
    case SecretStore::Status::notFound:
        break;
    case SecretStore::Status::noKeyring:
        note = QStringLiteral("No keyring was found, so the key was not saved: it works until Larder quits. "
                              "Set ANTHROPIC_API_KEY to keep using it.");
        break;
    case SecretStore::Status::failed:
        note = QStringLiteral("The keyring refused to save the key: it works until Larder quits. "
                              "Unlock your keyring and save it again, or set ANTHROPIC_API_KEY.");
        break;
    }
    setKey(QString());
    setStatus(Status::valid, note);
    Q_EMIT verified();
}

void ClaudeSettings::removeKey()
{
    m_check.cancel();
    m_app.setAPIKey(std::nullopt);
    setStatus(Status::idle);
}
