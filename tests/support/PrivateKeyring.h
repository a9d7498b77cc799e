// A keyring of the test's own: a private D-Bus session bus with an unlocked
// gnome-keyring on it, storing under the test's temporary home. Programs
// started with environment() see it as the desktop's keyring; nothing of the
// real user's session is touched.
#pragma once

#include "support/PrivateBus.h"

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>

class PrivateKeyring
{
public:
    PrivateKeyring();
    ~PrivateKeyring();

    // False when dbus-daemon or gnome-keyring-daemon is missing or didn't
    // come up; why() says which.
    bool isRunning() const { return m_running; }
    QString why() const { return m_why; }

    // DBUS_SESSION_BUS_ADDRESS and XDG_RUNTIME_DIR for programs that should
    // use this keyring.
    QProcessEnvironment environment() const;

private:
    bool start();

    PrivateBus m_bus;
    QProcess m_keyring;
    QString m_runtimeDir;
    bool m_running = false;
    QString m_why;
};
