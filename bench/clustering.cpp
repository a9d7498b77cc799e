// The pairwise step of the similar-photo scan: clustering the prints of the
// 4,000 photos the scan takes at most (goal: under 2 seconds).
#include "tidy/Duplicates.h"

#include <QRandomGenerator>

#include <benchmark/benchmark.h>

#include <cmath>

namespace {

// Unit vectors of the print's length, with every tenth one a near copy of
// its predecessor, as bursts of photos are.
QList<FeaturePrint::Vector> prints(int count)
{
    QRandomGenerator random(42);
    QList<FeaturePrint::Vector> list;
    for (int i = 0; i < count; ++i) {
        FeaturePrint::Vector v(FeaturePrint::length());
        for (float &x : v)
            x = float(random.generateDouble() * 2 - 1);
        if (i % 10 == 9) {
            v = list.last();
            for (float &x : v)
                x += float(random.generateDouble() * 0.02 - 0.01);
        }
        float norm = 0;
        for (float x : v)
            norm += x * x;
        for (float &x : v)
            x /= std::sqrt(norm);
        list.append(v);
    }
    return list;
}

void clusterPrints(benchmark::State &state)
{
    const QList<FeaturePrint::Vector> input = prints(int(state.range(0)));
    qsizetype groups = 0;
    for (auto _ : state) {
        const auto sets = DuplicateRules::cluster(input, 0.45f);
        groups = sets.size();
        benchmark::DoNotOptimize(groups);
    }
    state.counters["groups"] = double(groups);
    state.counters["pairs"] = double(state.range(0)) * double(state.range(0) - 1) / 2;
}

} // namespace

BENCHMARK(clusterPrints)->Arg(1000)->Arg(4000)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
