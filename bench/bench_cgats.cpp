// CGATS files: reading and writing a 20,000-set file with RGB, CMYK, Lab,
// XYZ and 36 spectral columns (generated here), in MB/s, with LittleCMS's
// IT8 reader and writer on the same file as the peer where it is installed.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench_util.h"
#include "hxtvel_cgats.h"

#ifdef HXTVEL_HAVE_LCMS2
#include <lcms2.h>
#endif

namespace {

constexpr uint32_t kSets = 20000;

struct Fixture {
    std::string dir;
    std::string file;  // the measurement file every benchmark reads
    size_t bytes = 0;
    void *filled = nullptr;  // an instance holding the data, for the writers

    Fixture() {
        char tmpl[] = "/tmp/hxtvel_bench_XXXXXX";
        dir = mkdtemp(tmpl) ? tmpl : "/tmp";
        file = dir + "/measure.txt";
        filled = HXTVEL_CreateCGATSInstance();
        uint32_t seed = 12345;
        auto next = [&seed](double scale) {
            seed = seed * 1664525u + 1013904223u;
            return double(seed >> 8) / double(1u << 24) * scale;
        };
        std::vector<velRGB> rgb(kSets);
        std::vector<velCMYK> cmyk(kSets);
        std::vector<velCIELab> lab(kSets);
        std::vector<velCIEXYZ> xyz(kSets);
        std::vector<double> values(size_t(kSets) * 36);
        std::vector<velSPECTRO_REF> spectra(kSets);
        for (uint32_t i = 0; i < kSets; ++i) {
            rgb[i] = {next(255), next(255), next(255)};
            cmyk[i] = {next(100), next(100), next(100), next(100)};
            lab[i] = {next(100), next(256) - 128, next(256) - 128};
            xyz[i] = {next(96), next(100), next(109)};
            for (int k = 0; k < 36; ++k) values[i * 36 + size_t(k)] = next(1);
            spectra[i] = {380, 730, 10, &values[i * 36]};
        }
        HXTVEL_SetRGB(filled, rgb.data(), kSets);
        HXTVEL_SetCMYK(filled, cmyk.data(), kSets);
        HXTVEL_SetLAB(filled, lab.data(), kSets);
        HXTVEL_SetXYZ(filled, xyz.data(), kSets);
        HXTVEL_SetSpectroRef(filled, spectra.data(), kSets);
        if (HXTVEL_WriteCGATS(filled, file.c_str()) != 0) std::abort();
        if (FILE *f = std::fopen(file.c_str(), "rb")) {
            std::fseek(f, 0, SEEK_END);
            bytes = size_t(std::ftell(f));
            std::fclose(f);
        }
    }
    ~Fixture() {
        HXTVEL_DeleteCGATSInstance(filled);
        std::remove(file.c_str());
        std::remove((dir + "/out.txt").c_str());
        std::remove((dir + "/lcms_out.txt").c_str());
        ::rmdir(dir.c_str());
    }
};

Fixture &fixture() {
    static Fixture f;
    return f;
}

uint32_t our_read() {
    void *h = HXTVEL_CreateCGATSInstance();
    const uint32_t rc = HXTVEL_ReadCGATS(h, fixture().file.c_str(), 31);
    HXTVEL_DeleteCGATSInstance(h);
    return rc;
}
uint32_t our_write() { return HXTVEL_WriteCGATS(fixture().filled, (fixture().dir + "/out.txt").c_str()); }

#ifdef HXTVEL_HAVE_LCMS2
bool lcms_read() {
    cmsHANDLE it8 = cmsIT8LoadFromFile(nullptr, fixture().file.c_str());
    if (!it8) return false;
    const bool ok = cmsIT8GetPropertyDbl(it8, "NUMBER_OF_SETS") == kSets;
    cmsIT8Free(it8);
    return ok;
}
struct LcmsLoaded {
    cmsHANDLE it8 = cmsIT8LoadFromFile(nullptr, fixture().file.c_str());
    ~LcmsLoaded() {
        if (it8) cmsIT8Free(it8);
    }
};
bool lcms_write(const LcmsLoaded &loaded) {
    return cmsIT8SaveToFile(loaded.it8, (fixture().dir + "/lcms_out.txt").c_str()) != 0;
}
#endif

void BM_ReadCGATS(benchmark::State &state) {
    for (auto _ : state) {
        if (our_read() != 0) state.SkipWithError("read failed");
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(fixture().bytes));
    state.counters["file_MB"] = double(fixture().bytes) / 1e6;
#ifdef HXTVEL_HAVE_LCMS2
    hxtvel_bench::add_ratio(state, "x_lcms", [] { our_read(); }, [] { lcms_read(); }, 5);
#endif
}
BENCHMARK(BM_ReadCGATS)->Unit(benchmark::kMillisecond);

void BM_WriteCGATS(benchmark::State &state) {
    for (auto _ : state) {
        if (our_write() != 0) state.SkipWithError("write failed");
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(fixture().bytes));
#ifdef HXTVEL_HAVE_LCMS2
    LcmsLoaded loaded;
    hxtvel_bench::add_ratio(state, "x_lcms", [] { our_write(); }, [&] { lcms_write(loaded); }, 5);
#endif
}
BENCHMARK(BM_WriteCGATS)->Unit(benchmark::kMillisecond);

#ifdef HXTVEL_HAVE_LCMS2
void BM_LcmsIT8Load(benchmark::State &state) {
    for (auto _ : state) {
        if (!lcms_read()) state.SkipWithError("LittleCMS could not read the file");
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(fixture().bytes));
}
BENCHMARK(BM_LcmsIT8Load)->Unit(benchmark::kMillisecond);

void BM_LcmsIT8Save(benchmark::State &state) {
    LcmsLoaded loaded;
    if (!loaded.it8) state.SkipWithError("LittleCMS could not read the file");
    for (auto _ : state) {
        if (loaded.it8 && !lcms_write(loaded)) state.SkipWithError("LittleCMS could not write");
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(fixture().bytes));
}
BENCHMARK(BM_LcmsIT8Save)->Unit(benchmark::kMillisecond);
#endif

void BM_WriteText(benchmark::State &state) {
    const std::string out = fixture().dir + "/out.txt";
    for (auto _ : state) {
        if (HXTVEL_WriteText(fixture().filled, out.c_str(), HXTVEL_FILE_COMMA) != 0) {
            state.SkipWithError("write failed");
        }
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(fixture().bytes));
}
BENCHMARK(BM_WriteText)->Unit(benchmark::kMillisecond);

}  // namespace
