// Wedge division: a stream of 64 charts x 1,000 patches (40 x 25, 62 bytes
// per patch, every other chart stored bottom to top). Patches per second for
// the ID list, for one chart and for all charts, each against memcpy of the
// patch bytes concerned (counter x_memcpy = our time / memcpy time).
//
// Finding a chart walks the block headers before it, so extracting every
// chart of a stream costs the sum of those walks (quadratic in the number of
// blocks); the per-chart figures at the first, middle and last chart show it.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "../tests/support/spectrobin_builder.h"
#include "bench_util.h"
#include "hxtvel_libspectroref.h"

namespace {

constexpr int kCharts = 64;
constexpr uint16_t kColumns = 40;
constexpr uint16_t kRows = 25;
constexpr uint32_t kPatches = kColumns * kRows;
constexpr uint16_t kBytesPerPatch = 62;
constexpr uint32_t kValues = 31;

struct Fixture {
    std::vector<unsigned char> stream;
    std::vector<uint64_t> data_at;  // offset of each chart's patch data
    std::vector<unsigned char> copy;
    std::vector<double> values;
    std::vector<velSPECTRO_REF> refs;

    Fixture()
        : copy(size_t{kCharts} * kPatches * kBytesPerPatch),
          values(size_t{kPatches} * kValues),
          refs(kPatches) {
        hxtvel_test::Spectrobin s;
        for (int c = 0; c < kCharts; ++c)
            s.add(hxtvel_test::ChartBlock()
                      .id(static_cast<uint8_t>(c))
                      .grid(kColumns, kRows)
                      .bytes_per_patch(kBytesPerPatch)
                      .data_dir(static_cast<uint8_t>(c % 2)));
        stream = s.build();
        for (uint64_t at : s.block_offsets()) data_at.push_back(at + hxtvel::k_block_header);
        for (uint32_t i = 0; i < kPatches; ++i) refs[i].data = values.data() + size_t{i} * kValues;
    }

    int32_t one_chart(int id) {
        uint32_t size = 0, length = 0;
        int32_t rc = HXTVEL_GetSpectrorefByMChartID(stream.data(), id, nullptr, &size, &length, nullptr);
        velSensorInfo sensor;
        rc |= HXTVEL_GetSpectrorefByMChartID(stream.data(), id, refs.data(), &size, &length, &sensor);
        benchmark::DoNotOptimize(values.data());
        return rc;
    }
    int32_t all_charts() {
        int32_t rc = 0;
        for (int id = 0; id < kCharts; ++id) rc |= one_chart(id);
        return rc;
    }
    int32_t id_list() {
        unsigned char ids[kCharts];
        uint32_t n = 0;
        int32_t rc = HXTVEL_GetMChartIDList(stream.data(), nullptr, &n);
        rc |= HXTVEL_GetMChartIDList(stream.data(), ids, &n);
        benchmark::DoNotOptimize(ids);
        return rc;
    }
    void memcpy_chart(int id) {
        std::memcpy(copy.data(), stream.data() + data_at[id], size_t{kPatches} * kBytesPerPatch);
        benchmark::DoNotOptimize(copy.data());
    }
    void memcpy_all() {
        for (int id = 0; id < kCharts; ++id)
            std::memcpy(copy.data() + static_cast<size_t>(id) * kPatches * kBytesPerPatch,
                        stream.data() + data_at[id], size_t{kPatches} * kBytesPerPatch);
        benchmark::DoNotOptimize(copy.data());
    }
};

Fixture &fixture() {
    static Fixture f;
    return f;
}

// Query and fill of the ID list; the patches of the stream per second.
void BM_IdList(benchmark::State &state) {
    Fixture &f = fixture();
    for (auto _ : state)
        if (f.id_list() != 0) state.SkipWithError("ID list failed");
    state.SetItemsProcessed(int64_t(state.iterations()) * kCharts * kPatches);
    hxtvel_bench::add_ratio(
        state, "x_memcpy", [&] { f.id_list(); }, [&] { f.memcpy_all(); });
}
BENCHMARK(BM_IdList)->Unit(benchmark::kMicrosecond);

// Query and fill of one chart: the first, a middle and the last in the stream.
void BM_OneChart(benchmark::State &state) {
    Fixture &f = fixture();
    const int id = static_cast<int>(state.range(0));
    for (auto _ : state)
        if (f.one_chart(id) != 0) state.SkipWithError("chart failed");
    state.SetItemsProcessed(int64_t(state.iterations()) * kPatches);
    state.SetBytesProcessed(int64_t(state.iterations()) * kPatches * kBytesPerPatch);
    hxtvel_bench::add_ratio(
        state, "x_memcpy", [&] { f.one_chart(id); }, [&] { f.memcpy_chart(id); });
}
BENCHMARK(BM_OneChart)->Arg(0)->Arg(kCharts / 2)->Arg(kCharts - 1)->Unit(benchmark::kMicrosecond);

// Every chart of the stream, each by its ID.
void BM_WholeStream(benchmark::State &state) {
    Fixture &f = fixture();
    for (auto _ : state)
        if (f.all_charts() != 0) state.SkipWithError("chart failed");
    state.SetItemsProcessed(int64_t(state.iterations()) * kCharts * kPatches);
    state.SetBytesProcessed(int64_t(state.iterations()) * kCharts * kPatches * kBytesPerPatch);
    hxtvel_bench::add_ratio(
        state, "x_memcpy", [&] { f.all_charts(); }, [&] { f.memcpy_all(); }, 5);
}
BENCHMARK(BM_WholeStream)->Unit(benchmark::kMicrosecond);

// Baselines on their own: memcpy of one chart's and of all patch bytes.
void BM_MemcpyChart(benchmark::State &state) {
    Fixture &f = fixture();
    for (auto _ : state) f.memcpy_chart(0);
    state.SetItemsProcessed(int64_t(state.iterations()) * kPatches);
    state.SetBytesProcessed(int64_t(state.iterations()) * kPatches * kBytesPerPatch);
}
BENCHMARK(BM_MemcpyChart)->Unit(benchmark::kMicrosecond);

void BM_MemcpyStream(benchmark::State &state) {
    Fixture &f = fixture();
    for (auto _ : state) f.memcpy_all();
    state.SetItemsProcessed(int64_t(state.iterations()) * kCharts * kPatches);
    state.SetBytesProcessed(int64_t(state.iterations()) * kCharts * kPatches * kBytesPerPatch);
}
BENCHMARK(BM_MemcpyStream)->Unit(benchmark::kMicrosecond);

// The length-aware check of the whole stream (it reads only the headers).
void BM_CheckStream(benchmark::State &state) {
    Fixture &f = fixture();
    for (auto _ : state) {
        hxtvel_stream_check c = hxtvel_check_spectrobin(f.stream.data(), f.stream.size());
        if (c.verdict != HXTVEL_STREAM_OK) state.SkipWithError("check failed");
        benchmark::DoNotOptimize(c);
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * kCharts * kPatches);
}
BENCHMARK(BM_CheckStream);

}  // namespace
