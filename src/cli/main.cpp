#include "cli/CommandLine.h"
#include "core/MessageLog.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char *argv[])
{
    MessageLog::install();
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
