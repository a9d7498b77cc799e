#include "cli/CommandLine.h"
#include "core/Defaults.h"
#include "core/MessageLog.h"
#include "screens/DesktopApp.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char *argv[])
{
    MessageLog::install();
    // No command, with or without launch arguments: the desktop application.
    QStringList given;
    for (int i = 1; i < argc; ++i)
        given.append(QString::fromLocal8Bit(argv[i]));
    if (Defaults::splitArguments(given).rest.isEmpty())
        return DesktopApp::run(argc, argv);

    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Larder"));
    QCoreApplication::setApplicationVersion(QStringLiteral(LARDER_VERSION));

    QTextStream out(stdout);
    QTextStream err(stderr);
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    const int status = runCommandLine(arguments, out, err);
    out.flush();
    err.flush();
    return status;
}
