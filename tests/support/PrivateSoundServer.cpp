#include "support/PrivateSoundServer.h"

#include "support/TestEnvironment.h"

#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

PrivateSoundServer::PrivateSoundServer()
{
    if (QStandardPaths::findExecutable(QStringLiteral("pulseaudio")).isEmpty())
        return;
    const QString socket = m_folder.filePath(QStringLiteral("native"));
    const QString script = m_folder.filePath(QStringLiteral("server.pa"));
    TestEnvironment::writeFile(script, QStringLiteral("load-module module-native-protocol-unix auth-anonymous=1 socket=%1\n"
                                                      "load-module module-null-sink sink_name=speakers\n"
                                                      "load-module module-null-sink sink_name=room\n"
                                                      "load-module module-remap-source master=room.monitor source_name=microphone\n"
                                                      "set-default-sink speakers\n"
                                                      "set-default-source microphone\n")
                                           .arg(socket)
                                           .toUtf8());
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char *name : {"XDG_RUNTIME_DIR", "PULSE_RUNTIME_PATH", "PULSE_STATE_PATH", "HOME"})
        environment.insert(QString::fromLatin1(name), m_folder.path());
    environment.remove(QStringLiteral("PULSE_SERVER"));
    environment.remove(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
    m_daemon.setProcessEnvironment(environment);
    m_daemon.setProcessChannelMode(QProcess::MergedChannels);
    m_daemon.setStandardOutputFile(m_folder.filePath(QStringLiteral("server.log")));
    m_daemon.start(QStringLiteral("pulseaudio"),
                   {QStringLiteral("-n"), QStringLiteral("-F"), script, QStringLiteral("--daemonize=no"),
                    QStringLiteral("--exit-idle-time=-1"), QStringLiteral("--use-pid-file=no"),
                    QStringLiteral("--log-target=stderr")});
    if (!m_daemon.waitForStarted(5000))
        return;
    m_previousServer = qgetenv("PULSE_SERVER");
    qputenv("PULSE_SERVER", address().toUtf8());
    // The daemon is ready once it answers.
    m_running = TestEnvironment::waitUntil([&] { return QFileInfo::exists(socket) && control({QStringLiteral("info")}); },
                                           10000);
}

PrivateSoundServer::~PrivateSoundServer()
{
    if (m_previousServer.isEmpty())
        qunsetenv("PULSE_SERVER");
    else
        qputenv("PULSE_SERVER", m_previousServer);
    TestEnvironment::stopDaemon(m_daemon);
}

QString PrivateSoundServer::address() const
{
    return QStringLiteral("unix:") + m_folder.filePath(QStringLiteral("native"));
}

QProcessEnvironment PrivateSoundServer::clientEnvironment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PULSE_SERVER"), address());
    return environment;
}

bool PrivateSoundServer::control(const QStringList &arguments) const
{
    QProcess pactl;
    pactl.setProcessEnvironment(clientEnvironment());
    pactl.start(QStringLiteral("pactl"), arguments);
    return pactl.waitForFinished(5000) && pactl.exitStatus() == QProcess::NormalExit && pactl.exitCode() == 0;
}

std::unique_ptr<QProcess> PrivateSoundServer::play(const QString &wavPath, const QString &sink) const
{
    auto player = std::make_unique<QProcess>();
    player->setProcessEnvironment(clientEnvironment());
    player->start(QStringLiteral("paplay"), {QStringLiteral("--device=") + sink, wavPath});
    return player;
}
