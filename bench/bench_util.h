// bench_util.h - helpers for comparing a hot path with its physical limit or
// a peer inside one benchmark run.
#ifndef HXTVEL_BENCH_UTIL_H
#define HXTVEL_BENCH_UTIL_H

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>

namespace hxtvel_bench {

// Best wall time of one call of f over reps calls, in seconds. The best time
// is the least disturbed by the rest of the machine.
template <typename F>
double best_seconds(F &&f, int reps = 15) {
    double best = 1e30;
    for (int i = 0; i < reps; ++i) {
        auto t0 = std::chrono::steady_clock::now();
        f();
        auto t1 = std::chrono::steady_clock::now();
        best = std::min(best, std::chrono::duration<double>(t1 - t0).count());
    }
    return best;
}

// Adds counter `name` = time(ours) / time(baseline), both measured best-of-N
// after the benchmark loop, so every report carries its own ratio.
template <typename Ours, typename Baseline>
void add_ratio(benchmark::State &state, const char *name, Ours &&ours, Baseline &&baseline,
               int reps = 15) {
    const double a = best_seconds(ours, reps);
    const double b = best_seconds(baseline, reps);
    state.counters[name] = b > 0 ? a / b : 0.0;
}

}  // namespace hxtvel_bench

#endif  // HXTVEL_BENCH_UTIL_H
