// The headless front door: `larder <command> [options]`.
#pragma once

#include <QStringList>
#include <QTextStream>

// Runs one command line (arguments without the program name) and returns the
// exit status: 0 done, 1 failed, 2 a usage error.
int runCommandLine(const QStringList &arguments, QTextStream &out, QTextStream &err);

// The general usage text.
QString generalUsage();
