// A PulseAudio daemon of the test's own, in its own runtime folder, with two
// null sinks: "speakers", the default sink (its monitor is the call audio),
// and "room", whose monitor is remapped into the default source
// "microphone". Speech made by espeak-ng plays into either sink. While it
// runs, this process's PULSE_SERVER points at it; nothing on the real
// desktop's sound server is touched.
#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

class PrivateSoundServer
{
public:
    PrivateSoundServer();
    ~PrivateSoundServer();
    PrivateSoundServer(const PrivateSoundServer &) = delete;
    PrivateSoundServer &operator=(const PrivateSoundServer &) = delete;

    // False when pulseaudio is missing or did not come up.
    bool isRunning() const { return m_running; }
    // The server address, as PULSE_SERVER takes it.
    QString address() const;

    // Runs pactl against this server; true when it succeeds.
    bool control(const QStringList &arguments) const;
    // Starts playing a WAV file into a sink; the returned process ends when
    // the sound has played.
    std::unique_ptr<QProcess> play(const QString &wavPath, const QString &sink) const;

private:
    QProcessEnvironment clientEnvironment() const;

    QTemporaryDir m_folder;
    QProcess m_daemon;
    QByteArray m_previousServer;
    bool m_running = false;
};
