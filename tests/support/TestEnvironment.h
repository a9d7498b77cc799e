// A private home for the test process, and small helpers around it.
#pragma once

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

class QProcess;

namespace TestEnvironment {

// Points HOME and XDG_CONFIG_HOME, XDG_DATA_HOME, XDG_CACHE_HOME and
// XDG_STATE_HOME at a new temporary folder, and clears LARDER_* variables.
void isolate();
void cleanUp();

// The temporary home of this process.
QString home();

// A new empty folder under the temporary home.
QString makeFolder(const QString &name);

// Writes bytes to a file, creating its folder.
void writeFile(const QString &path, const QByteArray &bytes);

// Runs the larder program with the test's environment plus extra variables
// and returns its exit status, standard output and standard error.
struct ProgramResult
{
    int exitCode = -1;
    QString out;
    QString err;
};
ProgramResult runLarder(const QStringList &arguments, const QProcessEnvironment &extra = {},
                        const QByteArray &input = {});
// Starts the larder program the same way, for a test that acts while it runs.
std::unique_ptr<QProcess> startLarder(const QStringList &arguments, const QProcessEnvironment &extra = {});

// Spins the event loop until condition holds or timeoutMs passes.
bool waitUntil(const std::function<bool()> &condition, int timeoutMs = 5000);

// Ends a helper daemon a test started: asked first, then killed.
void stopDaemon(QProcess &daemon);

} // namespace TestEnvironment
