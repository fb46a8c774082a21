// Measurement chart images against the physical limit of their output: the
// positioning bar at 1200 dpi and a full A4 chart page at 600 dpi, in memory
// against memset of the same number of bytes and as files against fwrite of
// the same bytes to the same directory.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench_util.h"
#include "hxtvel_mchart.h"
#include "hxtvel_mchartcreate.h"

namespace {

using hxtvel::c_mchart;

// A scratch directory for the file benchmarks, removed at exit.
class ScratchDir {
public:
    ScratchDir() {
        char tmpl[] = "/tmp/hxtvel_bench_XXXXXX";
        const char *p = mkdtemp(tmpl);
        path_ = p ? p : "/tmp";
    }
    ~ScratchDir() {
        if (path_ != "/tmp") {
            const std::string cmd = "rm -rf '" + path_ + "'";
            if (std::system(cmd.c_str()) != 0) {
            }
        }
    }
    std::string file(const std::string &name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

ScratchDir &scratch() {
    static ScratchDir dir;
    return dir;
}

// fwrite of a whole block to a new file, closed.
void fwrite_file(const std::string &name, const std::vector<unsigned char> &bytes) {
    FILE *f = std::fopen(name.c_str(), "wb");
    if (!f) return;
    std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::fclose(f);
}

const char *colour_name(int colour) { return colour == 1 ? "RGB" : "CMYK"; }

// --- positioning bar ----------------------------------------------------------

void BM_BarMemory1200(benchmark::State &state) {
    const unsigned char colour = static_cast<unsigned char>(state.range(0));
    c_mchart chart;
    unsigned long long size = 0;
    chart.createpositioningbar(nullptr, &size, colour, 1200);
    std::vector<unsigned char> buf(size, 1);
    auto ours = [&] {
        chart.createpositioningbar(buf.data(), &size, colour, 1200);
        benchmark::DoNotOptimize(buf.data());
    };
    auto base = [&] {
        std::memset(buf.data(), 0, buf.size());
        benchmark::DoNotOptimize(buf.data());
        benchmark::ClobberMemory();
    };
    for (auto _ : state) ours();
    state.SetLabel(colour_name(colour));
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(size));
    hxtvel_bench::add_ratio(state, "x_memset", ours, base);
}
BENCHMARK(BM_BarMemory1200)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

void BM_BarFile1200(benchmark::State &state) {
    const unsigned char colour = static_cast<unsigned char>(state.range(0));
    c_mchart chart;
    unsigned long long size = 0;
    chart.createpositioningbar(nullptr, &size, colour, 1200);
    std::vector<unsigned char> bytes(size);
    chart.createpositioningbar(bytes.data(), &size, colour, 1200);
    const std::string ours_prefix = scratch().file("bar");
    const std::string base_name = scratch().file("bar_fwrite.tif");
    auto ours = [&] { chart.createpositioningbar(ours_prefix.c_str(), colour, 1200); };
    auto base = [&] { fwrite_file(base_name, bytes); };
    for (auto _ : state) ours();
    state.SetLabel(colour_name(colour));
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(size));
    hxtvel_bench::add_ratio(state, "x_fwrite", ours, base);
}
BENCHMARK(BM_BarFile1200)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

// --- A4 chart: 2100 x 2970 tenths of a millimetre, 600 dpi, 6 x 6 mm patches,
// CMYK, with the bar: one full page of 33 x 46 patches, 4828 x 6900 pixels.

constexpr uint32_t kA4Patches = 33 * 46;

void *make_a4_chart() {
    void *h = HXTVEL_CreateMChartInstance();
    HXTVEL_SetMChartSetting(h, velPAreaStruct{kA4Patches, 2100, 2970, 600, 60, 60, 8, 4, 0});
    std::vector<velCMYK> colours(kA4Patches);
    for (uint32_t i = 0; i < kA4Patches; ++i)
        colours[i] = {double(i % 101), double((i * 7) % 101), double((i * 13) % 101), double(i % 3) * 20};
    HXTVEL_SetMChartData_CMYK(h, colours.data(), kA4Patches);
    return h;
}

void BM_ChartA4Memory(benchmark::State &state) {
    void *h = make_a4_chart();
    unsigned long long size = 0;
    uint32_t pages = 0;
    HXTVEL_CreateTiff_M(h, nullptr, &size, &pages, HXTVEL_POSBAR_ON);
    std::vector<unsigned char> buf(size, 1);
    auto ours = [&] {
        HXTVEL_CreateTiff_M(h, buf.data(), &size, &pages, HXTVEL_POSBAR_ON);
        benchmark::DoNotOptimize(buf.data());
    };
    auto base = [&] {
        std::memset(buf.data(), 0, buf.size());
        benchmark::DoNotOptimize(buf.data());
        benchmark::ClobberMemory();
    };
    for (auto _ : state) ours();
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(size));
    hxtvel_bench::add_ratio(state, "x_memset", ours, base, 9);
    HXTVEL_DeleteMChartInstance(h);
}
BENCHMARK(BM_ChartA4Memory)->Unit(benchmark::kMillisecond);

void BM_ChartA4Files(benchmark::State &state) {
    void *h = make_a4_chart();
    unsigned long long size = 0;
    uint32_t pages = 0;
    HXTVEL_CreateTiff_M(h, nullptr, &size, &pages, HXTVEL_POSBAR_ON);
    std::vector<unsigned char> bytes(size);
    HXTVEL_CreateTiff_M(h, bytes.data(), &size, &pages, HXTVEL_POSBAR_ON);
    const std::string prefix = scratch().file("a4_");
    const std::string base_name = scratch().file("a4_fwrite.tif");
    auto ours = [&] { HXTVEL_CreateTiff(h, prefix.c_str(), &pages, HXTVEL_POSBAR_ON); };
    auto base = [&] { fwrite_file(base_name, bytes); };
    for (auto _ : state) ours();
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(size));
    hxtvel_bench::add_ratio(state, "x_fwrite", ours, base, 9);
    HXTVEL_DeleteMChartInstance(h);
}
BENCHMARK(BM_ChartA4Files)->Unit(benchmark::kMillisecond);

}  // namespace
