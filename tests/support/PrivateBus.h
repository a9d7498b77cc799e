// A D-Bus session bus of the test's own, so that nothing on the real
// desktop's bus is asked or changed.
#pragma once

#include <QProcess>
#include <QString>

class PrivateBus
{
public:
    PrivateBus();
    ~PrivateBus();
    PrivateBus(const PrivateBus &) = delete;
    PrivateBus &operator=(const PrivateBus &) = delete;

    // Empty when dbus-daemon is missing or did not come up.
    QString address() const { return m_address; }

private:
    QProcess m_daemon;
    QString m_address;
};
