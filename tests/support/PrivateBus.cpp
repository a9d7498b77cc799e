#include "support/PrivateBus.h"

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
    if (m_daemon.state() == QProcess::NotRunning)
        return;
    m_daemon.terminate();
    if (!m_daemon.waitForFinished(3000)) {
        m_daemon.kill();
        m_daemon.waitForFinished(3000);
    }
}
