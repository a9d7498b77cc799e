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
    PrivateKeyring()
        : m_failure(start())
    {
    }
    ~PrivateKeyring() { m_keyring.kill(); m_keyring.waitForFinished(); } // its files go with the temporary home

    // Empty when the keyring runs; otherwise why it does not (a daemon is
    // missing or didn't come up).
    QString failure() const { return m_failure; }

    // DBUS_SESSION_BUS_ADDRESS and XDG_RUNTIME_DIR for programs that should
    // use this keyring.
    QProcessEnvironment environment() const;

private:
    QString start();

    PrivateBus m_bus;
    QProcess m_keyring;
    QString m_runtimeDir;
    QString m_failure;
};
