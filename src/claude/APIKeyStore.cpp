#include "claude/APIKeyStore.h"

APIKeyStore::APIKeyStore(std::unique_ptr<SecretStore> secrets)
    : m_secrets(std::move(secrets))
{
}

QString APIKeyStore::serviceName()
{
    const QString injected = qEnvironmentVariable("LARDER_KEYRING_SERVICE");
    return injected.isEmpty() ? QString::fromLatin1(service) : injected;
}

APIKeyStore &APIKeyStore::shared()
{
    static APIKeyStore store(std::make_unique<KeyringSecretStore>(serviceName(), QString::fromLatin1(account)));
    return store;
}

std::optional<QString> APIKeyStore::key()
{
    std::lock_guard lock(m_lock);
    if (m_cached)
        return *m_cached;

    std::optional<QString> found;
    const SecretStore::Lookup lookup = m_secrets->read();
    if (lookup.status == SecretStore::Status::ok && lookup.secret)
        found = lookup.secret;
    else if (qEnvironmentVariableIsSet("ANTHROPIC_API_KEY"))
        found = qEnvironmentVariable("ANTHROPIC_API_KEY");
    m_cached = found;
    return found;
}

SecretStore::Status APIKeyStore::setKey(const std::optional<QString> &key)
{
    const QString trimmed = key.value_or(QString()).trimmed();
    std::lock_guard lock(m_lock);
    if (trimmed.isEmpty()) {
        m_cached = std::optional<QString>();
        return m_secrets->remove();
    }
    m_cached = trimmed;
    return m_secrets->write(trimmed);
}
