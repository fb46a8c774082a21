// Measurement store: set and get of 100,000 Lab records against memcpy of the
// same bytes, and the cost of a traced call with tracing off.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "bench_util.h"
#include "hxtvel_cgats.h"
#include "tracelog.h"

namespace {

constexpr uint32_t kRecords = 100000;

std::vector<velCIELab> make_lab() {
    std::vector<velCIELab> v(kRecords);
    for (uint32_t i = 0; i < kRecords; ++i) v[i] = {double(i % 100), double(i % 256) - 128, 3.0};
    return v;
}

void set_get_round(const std::vector<velCIELab> &in, std::vector<velCIELab> &out) {
    void *h = HXTVEL_CreateCGATSInstance();
    HXTVEL_SetLAB(h, in.data(), kRecords);
    uint32_t n = 0;
    HXTVEL_GetLAB(h, out.data(), &n);
    HXTVEL_DeleteCGATSInstance(h);
}

void memcpy_round(const std::vector<velCIELab> &in, std::vector<velCIELab> &out) {
    std::vector<velCIELab> stored(kRecords);  // the store owns a copy, too
    std::memcpy(stored.data(), in.data(), sizeof(velCIELab) * kRecords);
    std::memcpy(out.data(), stored.data(), sizeof(velCIELab) * kRecords);
    benchmark::DoNotOptimize(out.data());
}

void BM_SetGetLab100k(benchmark::State &state) {
    const auto in = make_lab();
    std::vector<velCIELab> out(kRecords);
    for (auto _ : state) {
        set_get_round(in, out);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * 2 * kRecords * sizeof(velCIELab));
    hxtvel_bench::add_ratio(
        state, "x_memcpy", [&] { set_get_round(in, out); }, [&] { memcpy_round(in, out); });
}
BENCHMARK(BM_SetGetLab100k)->Unit(benchmark::kMicrosecond);

void BM_MemcpyLab100k(benchmark::State &state) {
    const auto in = make_lab();
    std::vector<velCIELab> out(kRecords);
    for (auto _ : state) memcpy_round(in, out);
    state.SetBytesProcessed(int64_t(state.iterations()) * 2 * kRecords * sizeof(velCIELab));
}
BENCHMARK(BM_MemcpyLab100k)->Unit(benchmark::kMicrosecond);

// A function with an entry and exit trace, and the same without, with
// tracing in its default (off) state: the difference is the trace cost.
__attribute__((noinline)) int traced(int x) {
    HX_TRACE_SCOPE("traced");
    return x + 1;
}
__attribute__((noinline)) int untraced(int x) {
    benchmark::ClobberMemory();
    return x + 1;
}

void BM_TracedCallOff(benchmark::State &state) {
    int x = 0;
    for (auto _ : state) benchmark::DoNotOptimize(x = traced(x));
}
BENCHMARK(BM_TracedCallOff);

void BM_UntracedCall(benchmark::State &state) {
    int x = 0;
    for (auto _ : state) benchmark::DoNotOptimize(x = untraced(x));
}
BENCHMARK(BM_UntracedCall);

// The smallest exported call: entry/exit trace, lock, count query.
void BM_GetLabCountExported(benchmark::State &state) {
    void *h = HXTVEL_CreateCGATSInstance();
    uint32_t n = 0;
    for (auto _ : state) {
        HXTVEL_GetLAB(h, nullptr, &n);
        benchmark::DoNotOptimize(n);
    }
    HXTVEL_DeleteCGATSInstance(h);
}
BENCHMARK(BM_GetLabCountExported);

}  // namespace
