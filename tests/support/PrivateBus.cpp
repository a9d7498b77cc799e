#include "support/PrivateBus.h"

#include "support/TestEnvironment.h"

PrivateBus::PrivateBus()
{
    m_daemon.setProcessChannelMode(QProcess::SeparateChannels);
    m_daemon.start(QStringLiteral("dbus-daemon"),
                   {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address=1")});
    if (m_daemon.waitForStarted(5000) && m_daemon.waitForReadyRead(5000))
        m_address = QString::fromUtf8(m_daemon.readLine()).trimmed();
}

PrivateBus::~PrivateBus()
{
    TestEnvironment::stopDaemon(m_daemon);
}
