#include "support/PrivateKeyring.h"

#include "support/TestEnvironment.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDeadlineTimer>
#include <QFile>
#include <QStandardPaths>
#include <QThread>
#include <QUuid>

PrivateKeyring::PrivateKeyring()
{
    m_running = start();
}

PrivateKeyring::~PrivateKeyring()
{
    if (m_keyring.state() == QProcess::NotRunning)
        return;
    m_keyring.terminate();
    if (!m_keyring.waitForFinished(3000)) {
        m_keyring.kill();
        m_keyring.waitForFinished(3000);
    }
}

QProcessEnvironment PrivateKeyring::environment() const
{
    QProcessEnvironment environment;
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_bus.address());
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_runtimeDir);
    return environment;
}

bool PrivateKeyring::start()
{
    const QString keyringProgram = QStandardPaths::findExecutable(QStringLiteral("gnome-keyring-daemon"));
    if (keyringProgram.isEmpty()) {
        m_why = QStringLiteral("gnome-keyring-daemon is not installed");
        return false;
    }
    if (m_bus.address().isEmpty()) {
        m_why = QStringLiteral("the private session bus did not start");
        return false;
    }
    m_runtimeDir = TestEnvironment::makeFolder(QStringLiteral("runtime-") + QUuid::createUuid().toString(QUuid::WithoutBraces));
    QFile::setPermissions(m_runtimeDir, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(this->environment());
    m_keyring.setProcessEnvironment(environment);
    m_keyring.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_keyring.start(keyringProgram, {QStringLiteral("--foreground"), QStringLiteral("--unlock"),
                                     QStringLiteral("--components=secrets")});
    if (!m_keyring.waitForStarted(5000)) {
        m_why = QStringLiteral("gnome-keyring-daemon did not start");
        return false;
    }
    // The password of the new login keyring, which --unlock reads from stdin.
    m_keyring.write("larder-test-password");
    m_keyring.waitForBytesWritten(3000);
    m_keyring.closeWriteChannel();

    const QString connectionName = QStringLiteral("private-keyring-") + QUuid::createUuid().toString(QUuid::WithoutBraces);
    bool registered = false;
    {
        QDBusConnection bus = QDBusConnection::connectToBus(m_bus.address(), connectionName);
        QDeadlineTimer deadline(10000);
        while (bus.isConnected() && !deadline.hasExpired() && m_keyring.state() == QProcess::Running) {
            if (bus.interface()->isServiceRegistered(QStringLiteral("org.freedesktop.secrets")).value()) {
                registered = true;
                break;
            }
            QThread::msleep(20);
        }
    }
    QDBusConnection::disconnectFromBus(connectionName);
    if (!registered)
        m_why = QStringLiteral("gnome-keyring-daemon did not offer the Secret Service");
    return registered;
}
