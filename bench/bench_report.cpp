// The compare report of 10,000 patches: the whole HTML document (chart map,
// histogram, a*b* plot, tables), against formatting the same numbers alone.
#include <benchmark/benchmark.h>

#include <cstdio>

#include "report.h"

namespace {

hxcli::report_input input(size_t n) {
    hxcli::report_input in;
    in.reference_path = "reference.cgats";
    in.sample_path = "sample.cgats";
    in.method = "dE00";
    in.conditions = "D50/2°";
    in.reference_white = in.sample_white = {96.42, 100.0, 82.52};
    in.tolerance = 3.0;
    in.geometry = hxcli::chart_geometry::single_page(uint32_t(n), 100, "tl-right");
    for (size_t i = 0; i < n; ++i) {
        hxcli::compared_patch p;
        p.position = i;
        p.id = std::to_string(i + 1);
        p.device = "CMYK 10 20 30 40";
        p.reference = {double(i % 90) + 5, double(i % 120) - 60, double(i % 100) - 50};
        p.sample = {p.reference.L + 0.5, p.reference.a - 1, p.reference.b + 1.5};
        p.de = double(i % 50) / 10.0;
        p.delta = hxcli::split_difference(p.reference, p.sample);
        in.patches.push_back(p);
    }
    return in;
}

void BM_Report10000(benchmark::State &state) {
    const hxcli::report_input in = input(10000);
    size_t bytes = 0;
    for (auto _ : state) {
        const std::string html = hxcli::render_report(in);
        bytes = html.size();
        benchmark::DoNotOptimize(html.data());
    }
    state.counters["MB"] = double(bytes) / 1e6;
}
BENCHMARK(BM_Report10000)->Unit(benchmark::kMillisecond);

// The twelve numbers of each patch's table row, printed and nothing else.
void BM_NumbersOnly10000(benchmark::State &state) {
    const hxcli::report_input in = input(10000);
    char text[256];
    for (auto _ : state) {
        size_t total = 0;
        for (const hxcli::compared_patch &p : in.patches) {
            total += size_t(std::snprintf(text, sizeof text, "%.2f %.2f %.2f %.2f %.2f %.2f %.2f %.2f %.2f %.2f",
                                          p.reference.L, p.reference.a, p.reference.b, p.sample.L, p.sample.a,
                                          p.sample.b, p.de, p.delta.dL, p.delta.dC, p.delta.dH));
        }
        benchmark::DoNotOptimize(total);
    }
}
BENCHMARK(BM_NumbersOnly10000)->Unit(benchmark::kMillisecond);

}  // namespace
