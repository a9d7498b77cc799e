#include "platform/SecretStore.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QEventLoop>

#include <qt6keychain/keychain.h>

namespace {

// Whether the session bus offers a keyring: the Secret Service or KWallet,
// running or ready to be started on demand.
bool keyringOnSessionBus()
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !bus.interface())
        return false;
    static const QStringList names{QStringLiteral("org.freedesktop.secrets"), QStringLiteral("org.kde.kwalletd6"),
                                   QStringLiteral("org.kde.kwalletd5"), QStringLiteral("org.kde.kwalletd")};
    const QStringList activatable = bus.interface()->activatableServiceNames().value();
    for (const QString &name : names) {
        if (bus.interface()->isServiceRegistered(name).value() || activatable.contains(name))
            return true;
    }
    return false;
}

SecretStore::Status statusOf(const QKeychain::Job &job)
{
    switch (job.error()) {
    case QKeychain::NoError:
        return SecretStore::Status::ok;
    case QKeychain::EntryNotFound:
        return SecretStore::Status::notFound;
    case QKeychain::NoBackendAvailable:
    case QKeychain::NotImplemented:
        return SecretStore::Status::noKeyring;
    case QKeychain::CouldNotDeleteEntry:
    case QKeychain::AccessDeniedByUser:
    case QKeychain::AccessDenied:
    case QKeychain::OtherError:
        break;
    }
    // Without a session bus or a keyring daemon the backends answer with a
    // generic error, so the bus itself is asked whether a keyring is there.
    return keyringOnSessionBus() ? SecretStore::Status::failed : SecretStore::Status::noKeyring;
}

// Runs a keychain job to its end on the calling thread. The jobs answer
// through signals, so a local event loop waits for them.
void runToEnd(QKeychain::Job &job)
{
    job.setAutoDelete(false);
    job.setInsecureFallback(false);
    QEventLoop loop;
    bool finished = false;
    QObject::connect(&job, &QKeychain::Job::finished, &loop, [&] {
        finished = true;
        loop.quit();
    });
    job.start();
    if (!finished)
        loop.exec();
}

} // namespace

KeyringSecretStore::KeyringSecretStore(QString service, QString account)
    : m_service(std::move(service))
    , m_account(std::move(account))
{
}

SecretStore::Lookup KeyringSecretStore::read()
{
    QKeychain::ReadPasswordJob job(m_service);
    job.setKey(m_account);
    runToEnd(job);
    Lookup lookup{statusOf(job), std::nullopt};
    if (lookup.status == Status::ok)
        lookup.secret = job.textData();
    return lookup;
}

SecretStore::Status KeyringSecretStore::write(const QString &secret)
{
    QKeychain::WritePasswordJob job(m_service);
    job.setKey(m_account);
    job.setTextData(secret);
    runToEnd(job);
    return statusOf(job);
}

SecretStore::Status KeyringSecretStore::remove()
{
    QKeychain::DeletePasswordJob job(m_service);
    job.setKey(m_account);
    runToEnd(job);
    return statusOf(job);
}
