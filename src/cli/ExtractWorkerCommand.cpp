// `larder extract-worker`: the text extraction worker process. Started by
// Larder itself for each extraction slot and spoken to over its standard
// input and output; not meant to be run by hand, so the general help leaves
// it out.
#include "cli/Command.h"

#include "indexing/ExtractionWorker.h"

Command extractWorkerCommand()
{
    return {QStringLiteral("extract-worker"), QString(), [](QCommandLineParser &) {},
            [](CommandContext &) { return ExtractionWorker::serve(); }};
}
