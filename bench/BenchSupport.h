// Shared pieces of the benchmarks that compare Larder with a reference
// program on the same files.
#pragma once

#include "indexing/ExtractionWorker.h"
#include "platform/ChildProcess.h"

#include <QElapsedTimer>

#include <cstdio>
#include <functional>
#include <optional>

namespace BenchSupport {

// Runs the reference program once per file, one after the other as a shell
// loop would, and returns each file's output as UTF-8 text with the total
// time in seconds. Nothing when a run fails.
struct ReferenceRun
{
    double seconds = 0;
    QStringList outputs;
};

inline std::optional<ReferenceRun> runReference(const QString &program,
                                                const std::function<QStringList(const QString &)> &argumentsFor,
                                                const QStringList &paths, const QStringList &environment = {})
{
    ReferenceRun run;
    QElapsedTimer timer;
    timer.start();
    for (const QString &path : paths) {
        ChildProcess::Setup setup;
        setup.program = program;
        setup.arguments = argumentsFor(path);
        setup.environment = environment;
        const auto output = ChildProcess::output(setup, std::chrono::seconds(60), 64 * 1024 * 1024);
        if (!output) {
            std::fprintf(stderr, "%s failed on %s\n", qPrintable(program), qPrintable(path));
            return std::nullopt;
        }
        run.outputs << QString::fromUtf8(*output);
    }
    run.seconds = timer.nsecsElapsed() / 1e9;
    return run;
}

// A worker of the built larder program, with the default limits.
inline ExtractionWorker::Options workerOptions()
{
    ExtractionWorker::Options options;
    options.program = QStringLiteral(LARDER_BINARY);
    return options;
}

} // namespace BenchSupport
