#include "support/PrivateKeyring.h"

#include "support/TestEnvironment.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDeadlineTimer>
#include <QFile>
#include <QStandardPaths>
#include <QThread>
#include <QUuid>

QProcessEnvironment PrivateKeyring::environment() const
{
    QProcessEnvironment environment;
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_bus.address());
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_runtimeDir);
    return environment;
}

QString PrivateKeyring::start()
{
    const QString program = QStandardPaths::findExecutable(QStringLiteral("gnome-keyring-daemon"));
    if (program.isEmpty())
        return QStringLiteral("gnome-keyring-daemon is not installed");
    if (m_bus.address().isEmpty())
        return QStringLiteral("the private session bus did not start");
    const QString unique = QUuid::createUuid().toString(QUuid::WithoutBraces);
    m_runtimeDir = TestEnvironment::makeFolder(QStringLiteral("runtime-") + unique);
    QFile::setPermissions(m_runtimeDir, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(this->environment());
    m_keyring.setProcessEnvironment(environment);
    m_keyring.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_keyring.start(program, {QStringLiteral("--foreground"), QStringLiteral("--unlock"), QStringLiteral("--components=secrets")});
    if (!m_keyring.waitForStarted(5000))
        return QStringLiteral("gnome-keyring-daemon did not start");
    // The password of the new login keyring, which --unlock reads from stdin.
    m_keyring.write("larder-test-password");
    m_keyring.waitForBytesWritten(3000);
    m_keyring.closeWriteChannel();

    bool registered = false;
    {
        QDBusConnection bus = QDBusConnection::connectToBus(m_bus.address(), unique);
        QDeadlineTimer deadline(10000);
        while (!registered && bus.isConnected() && !deadline.hasExpired() && m_keyring.state() == QProcess::Running) {
            QThread::msleep(20);
            registered = bus.interface()->isServiceRegistered(QStringLiteral("org.freedesktop.secrets")).value();
        }
    }
    QDBusConnection::disconnectFromBus(unique);
    return registered ? QString() : QStringLiteral("gnome-keyring-daemon did not offer the Secret Service");
}
