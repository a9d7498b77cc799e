// A store of one secret, named by a service and an account, in the desktop's
// keyring (the Secret Service, or KWallet) through QtKeychain.
#pragma once

#include <QString>

#include <optional>

class SecretStore
{
public:
    enum class Status {
        ok,
        notFound, // no secret under that name
        noKeyring, // no keyring runs, or it can't be reached
        failed, // the keyring refused (locked, access denied, ...)
    };

    struct Lookup
    {
        Status status = Status::notFound;
        std::optional<QString> secret;
    };

    virtual ~SecretStore() = default;
    virtual Lookup read() = 0;
    // Creates the secret or replaces what was there.
    virtual Status write(const QString &secret) = 0;
    virtual Status remove() = 0;
};

class KeyringSecretStore : public SecretStore
{
public:
    KeyringSecretStore(QString service, QString account);

    Lookup read() override;
    Status write(const QString &secret) override;
    Status remove() override;

private:
    QString m_service;
    QString m_account;
};
