#include "support/TestEnvironment.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>
#include <QUuid>

#include <memory>

namespace TestEnvironment {

namespace {
std::unique_ptr<QTemporaryDir> homeDir;
} // namespace

void isolate()
{
    homeDir = std::make_unique<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/larder-test-XXXXXX"));
    const QString root = homeDir->path();
    qputenv("HOME", QFile::encodeName(root));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(root + QStringLiteral("/.config")));
    qputenv("XDG_DATA_HOME", QFile::encodeName(root + QStringLiteral("/.local/share")));
    qputenv("XDG_CACHE_HOME", QFile::encodeName(root + QStringLiteral("/.cache")));
    qputenv("XDG_STATE_HOME", QFile::encodeName(root + QStringLiteral("/.local/state")));
    for (const char *name : {"LARDER_TEST_HOST", "LARDER_ANTHROPIC_BASE_URL", "ANTHROPIC_API_KEY"})
        qunsetenv(name);
    // The API key store and every larder the tests start use a keyring item
    // of their own, so no test can read, change or delete a real key.
    qputenv("LARDER_KEYRING_SERVICE",
            "co.norvale.larder.tests-" + QUuid::createUuid().toByteArray(QUuid::WithoutBraces));
    QStandardPaths::setTestModeEnabled(false);
}

void cleanUp()
{
    homeDir.reset();
}

QString home()
{
    return homeDir->path();
}

QString makeFolder(const QString &name)
{
    const QString path = home() + u'/' + name;
    QDir().mkpath(path);
    return path;
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(bytes);
}

std::unique_ptr<QProcess> startLarder(const QStringList &arguments, const QProcessEnvironment &extra)
{
    auto process = std::make_unique<QProcess>();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(extra);
    process->setProcessEnvironment(environment);
    process->start(QStringLiteral(LARDER_BINARY), arguments);
    return process;
}

ProgramResult runLarder(const QStringList &arguments, const QProcessEnvironment &extra, const QByteArray &input)
{
    const std::unique_ptr<QProcess> started = startLarder(arguments, extra);
    QProcess &process = *started;
    ProgramResult result;
    if (!process.waitForStarted(10000))
        return result;
    if (!input.isEmpty())
        process.write(input);
    process.closeWriteChannel();
    process.waitForFinished(120000);
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.out = QString::fromUtf8(process.readAllStandardOutput());
    result.err = QString::fromUtf8(process.readAllStandardError());
    return result;
}

bool waitUntil(const std::function<bool()> &condition, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(2);
    }
    return true;
}

void stopDaemon(QProcess &daemon)
{
    if (daemon.state() == QProcess::NotRunning)
        return;
    daemon.terminate();
    if (!daemon.waitForFinished(3000)) {
        daemon.kill();
        daemon.waitForFinished(3000);
    }
}

} // namespace TestEnvironment
