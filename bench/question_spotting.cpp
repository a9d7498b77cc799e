// What the question filter costs the main thread per transcript segment,
// against the least string work any filter does on the same segments (lower
// case and a split into words) in the same run. Prints microseconds per
// segment for both and the ratio.
#include "session/QuestionSpotting.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QStringList>

#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    // Segments as a call gives them: remarks, small talk and questions, a
    // sentence or three each.
    const QStringList remarks{
        u"Can everyone see my screen? Great, let's start."_qs,
        u"So the budget went up by about twelve percent this quarter."_qs,
        u"What did we pay for the lease on the second floor?"_qs,
        u"Right, and the invoices from March are still open. Do these numbers work?"_qs,
        u"You know what I mean? It's the same as last year."_qs,
        u"When is the renovation supposed to finish, and who signs off on it"_qs,
    };
    QStringList segments;
    for (int i = 0; i < 20000; ++i)
        segments.append(remarks.at(i % remarks.size()) + u' ' + QString::number(i));

    const auto perSegment = [&](const auto &work) {
        QElapsedTimer timer;
        timer.start();
        qsizetype seen = 0;
        for (const QString &segment : segments)
            seen += work(segment);
        const double micros = double(timer.nsecsElapsed()) / 1000.0 / double(segments.size());
        return std::pair(micros, seen);
    };
    // Warm the pattern cache and the word sets first.
    QuestionSpotting::isQuestion(segments.first());
    const auto [ours, questions] = perSegment([](const QString &segment) {
        qsizetype found = 0;
        for (const QString &sentence : QuestionSpotting::sentences(segment))
            found += QuestionSpotting::isQuestion(sentence) ? 1 : 0;
        return found;
    });
    const auto [reference, words] = perSegment([](const QString &segment) {
        return segment.toLower().split(u' ', Qt::SkipEmptyParts).size();
    });
    std::printf("question spotting: %.2f us a segment (%lld questions in %lld segments)\n", ours,
                static_cast<long long>(questions), static_cast<long long>(segments.size()));
    std::printf("lower case and split (reference): %.2f us a segment (%lld words)\n", reference,
                static_cast<long long>(words));
    std::printf("ratio: %.1f\n", ours / reference);
    return 0;
}
