// Colour conversion: HXTVEL_DeltaE for each method against LittleCMS's
// equivalent (where installed), HXTVEL_SpectroRefToLAB for a 400-700 nm
// spectrum against three CIEDE2000 differences, and the floor every exported
// call pays (trace scope with tracing off, plus the unit lock).
#include <benchmark/benchmark.h>
#include <pthread.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "bench_util.h"
#include "hxtvel_colorconv.h"
#include "liblock.h"
#include "tracelog.h"

#ifdef HXTVEL_HAVE_LCMS2
#include <lcms2.h>
#endif

namespace {

// Pairs of varied hue and chroma (the CIEDE2000 test pairs of Sharma, Wu and
// Dalal), so that no branch of the formulas is always taken.
const velCIELab kPairs[][2] = {
    {{50.0, 2.6772, -79.7751}, {50.0, 0.0, -82.7485}},
    {{50.0, -1.3802, -84.2814}, {50.0, 0.0, -82.7485}},
    {{50.0, 0.0, 0.0}, {50.0, -1.0, 2.0}},
    {{50.0, 2.49, -0.001}, {50.0, -2.49, 0.0009}},
    {{50.0, -0.001, 2.49}, {50.0, 0.0009, -2.49}},
    {{50.0, 2.5, 0.0}, {73.0, 25.0, -18.0}},
    {{50.0, 2.5, 0.0}, {61.0, -5.0, 29.0}},
    {{50.0, 2.5, 0.0}, {56.0, -27.0, -3.0}},
    {{60.2574, -34.0099, 36.2677}, {60.4626, -34.1751, 39.4387}},
    {{63.0109, -31.0961, -5.8663}, {62.8187, -29.7946, -4.0864}},
    {{61.2901, 3.7196, -5.3901}, {61.4292, 2.2480, -4.9620}},
    {{35.0831, -44.1164, 3.7933}, {35.0232, -40.0716, 1.5901}},
    {{22.7233, 20.0904, -46.6940}, {23.0331, 14.9730, -42.5619}},
    {{36.4612, 47.8580, 18.3852}, {36.2715, 50.5065, 21.2231}},
    {{90.8027, -2.0831, 1.4410}, {91.1528, -1.6435, 0.0447}},
    {{6.7747, -0.2908, -2.4247}, {5.8714, -0.0985, -2.2286}},
};
constexpr size_t kPairCount = sizeof kPairs / sizeof kPairs[0];

// One pass over all pairs; the sum keeps the work observable.
double ours_pass(uint32_t method) {
    double sum = 0.0;
    for (const auto &p : kPairs) {
        double de = 0.0;
        HXTVEL_DeltaE(method, p[0], p[1], &de);
        sum += de;
    }
    benchmark::DoNotOptimize(sum);
    return sum;
}

#ifdef HXTVEL_HAVE_LCMS2
cmsCIELab to_cms(const velCIELab &v) { return {v.L, v.a, v.b}; }

double lcms_one(uint32_t method, const cmsCIELab &a, const cmsCIELab &b) {
    switch (method) {
    case HXTVEL_DE_76: return cmsDeltaE(&a, &b);
    case HXTVEL_DE_94: return cmsCIE94DeltaE(&a, &b);
    case HXTVEL_DE_2000: return cmsCIE2000DeltaE(&a, &b, 1.0, 1.0, 1.0);
    case HXTVEL_DE_CMC21: return cmsCMCdeltaE(&a, &b, 2.0, 1.0);
    default: return cmsCMCdeltaE(&a, &b, 1.0, 1.0);
    }
}

struct CmsPairs {
    std::vector<cmsCIELab> a, b;
    CmsPairs() {
        for (const auto &p : kPairs) {
            a.push_back(to_cms(p[0]));
            b.push_back(to_cms(p[1]));
        }
    }
};
const CmsPairs &cms_pairs() {
    static const CmsPairs pairs;
    return pairs;
}

double lcms_pass(uint32_t method) {
    const CmsPairs &c = cms_pairs();
    double sum = 0.0;
    for (size_t i = 0; i < kPairCount; ++i) sum += lcms_one(method, c.a[i], c.b[i]);
    benchmark::DoNotOptimize(sum);
    return sum;
}

// Both libraries must agree where the formulas are the same (CIE 1976 and
// CIEDE2000; LittleCMS weights CIE 1994 differently and CMC agrees except on
// the negative a* axis, where the hue rule differs). A mismatch would make the
// comparison meaningless.
void check_agreement(uint32_t method) {
    if (method != HXTVEL_DE_76 && method != HXTVEL_DE_2000) return;
    const CmsPairs &c = cms_pairs();
    for (size_t i = 0; i < kPairCount; ++i) {
        double de = 0.0;
        HXTVEL_DeltaE(method, kPairs[i][0], kPairs[i][1], &de);
        const double peer = lcms_one(method, c.a[i], c.b[i]);
        if (std::abs(de - peer) > 1e-9) {
            std::fprintf(stderr, "method %u pair %zu: %.12f vs LittleCMS %.12f\n", method, i, de,
                         peer);
            std::abort();
        }
    }
}
#endif

void BM_DeltaE(benchmark::State &state) {
    const auto method = static_cast<uint32_t>(state.range(0));
    for (auto _ : state) ours_pass(method);
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(kPairCount));
#ifdef HXTVEL_HAVE_LCMS2
    check_agreement(method);
    hxtvel_bench::add_ratio(
        state, "x_lcms",
        [&] {
            for (int r = 0; r < 200; ++r) ours_pass(method);
        },
        [&] {
            for (int r = 0; r < 200; ++r) lcms_pass(method);
        });
#endif
}
BENCHMARK(BM_DeltaE)->ArgName("method")->DenseRange(0, 4);

#ifdef HXTVEL_HAVE_LCMS2
void BM_LcmsDeltaE(benchmark::State &state) {
    const auto method = static_cast<uint32_t>(state.range(0));
    for (auto _ : state) lcms_pass(method);
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(kPairCount));
}
BENCHMARK(BM_LcmsDeltaE)->ArgName("method")->DenseRange(0, 4);
#endif

// A smooth 400-700 nm reflectance at 10 nm (31 samples).
std::vector<double> reflectance() {
    std::vector<double> v(31);
    for (size_t i = 0; i < v.size(); ++i) v[i] = 0.2 + 0.6 * double(i) / 30.0;
    return v;
}

void to_lab(const std::vector<double> &v) {
    velSPECTRO_REF s = {400, 700, 10, const_cast<double *>(v.data())};
    velCIELab lab;
    HXTVEL_SpectroRefToLAB(HXTVEL_LIGHT_D50, s, HXTVEL_OBSERVER_2, &lab);
    benchmark::DoNotOptimize(lab);
}

void three_de00() {
    for (int i = 0; i < 3; ++i) {
        double de = 0.0;
        HXTVEL_DeltaE(HXTVEL_DE_2000, kPairs[8 + i][0], kPairs[8 + i][1], &de);
        benchmark::DoNotOptimize(de);
    }
}

void BM_SpectroRefToLAB(benchmark::State &state) {
    const auto v = reflectance();
    for (auto _ : state) to_lab(v);
    state.SetItemsProcessed(int64_t(state.iterations()));
    hxtvel_bench::add_ratio(
        state, "x_3de00",
        [&] {
            for (int r = 0; r < 1000; ++r) to_lab(v);
        },
        [&] {
            for (int r = 0; r < 1000; ++r) three_de00();
        });
}
BENCHMARK(BM_SpectroRefToLAB);

// The floor of every exported call: entry/exit trace with tracing off and an
// uncontended enter/leave of a recursive c_lock.
hxtvel::c_lock g_bench_lock;
__attribute__((noinline)) int locked_call(int x) {
    HX_TRACE_SCOPE("locked_call");
    hxtvel::lock_guard guard(g_bench_lock);
    return x + 1;
}

void BM_TraceAndLockFloor(benchmark::State &state) {
    int x = 0;
    for (auto _ : state) benchmark::DoNotOptimize(x = locked_call(x));
}
BENCHMARK(BM_TraceAndLockFloor);

// Of that floor, the system's recursive mutex alone (lock and unlock,
// uncontended): the part no implementation of the lock can avoid.
pthread_mutex_t g_bench_mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
__attribute__((noinline)) int mutex_call(int x) {
    pthread_mutex_lock(&g_bench_mutex);
    benchmark::ClobberMemory();
    pthread_mutex_unlock(&g_bench_mutex);
    return x + 1;
}

void BM_RecursiveMutexFloor(benchmark::State &state) {
    int x = 0;
    for (auto _ : state) benchmark::DoNotOptimize(x = mutex_call(x));
}
BENCHMARK(BM_RecursiveMutexFloor);

}  // namespace
