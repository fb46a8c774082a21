// rounds.h - realistic work for the hardening tests (threads, out of memory,
// failed writes): a measurement instance holding every kind, a small chart
// of two pages, a spectrobin stream, and the whole of what each produces.
#ifndef HXTVEL_ROUNDS_H
#define HXTVEL_ROUNDS_H

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "hxtvel_cgats.h"
#include "hxtvel_colorconv.h"
#include "hxtvel_mchart.h"
#include "hxtvel_spectroref.h"
#include "spectrobin_builder.h"
#include "test_support.h"

namespace hxtvel_test {

constexpr uint16_t kSpectralValues = 31;  // 400 to 700 nm every 10

// The measurement data of `sets` patches, varied by seed.
struct Measurements {
    std::vector<velRGB> rgb;
    std::vector<velCMYK> cmyk;
    std::vector<velCIELab> lab;
    std::vector<velCIEXYZ> xyz;
    std::vector<double> values;  // kSpectralValues per patch
    std::vector<velSPECTRO_REF> spectra;
    velSensorInfo sensor{};

    explicit Measurements(uint32_t sets, uint32_t seed = 0) : values(size_t(sets) * kSpectralValues) {
        for (uint32_t i = 0; i < sets; ++i) {
            const double t = (i * 37 + seed * 11) % 100;
            rgb.push_back({t * 2.5, 255 - t, 0.125 * t});
            cmyk.push_back({t, 100 - t, t / 3, 0.5});
            lab.push_back({t, t - 64, -t / 2});
            xyz.push_back({t * 1.5, t, 1000 + t});
            for (uint16_t k = 0; k < kSpectralValues; ++k)
                values[size_t(i) * kSpectralValues + k] = 0.01 * ((t + k * 3 + seed) / 1.7);
        }
        for (uint32_t i = 0; i < sets; ++i)
            spectra.push_back({400, 700, 10, values.data() + size_t(i) * kSpectralValues});
        std::strcpy(sensor.instrument, ("HX " + std::to_string(seed)).c_str());
        sensor.backing = 1;
        sensor.temperature = uint8_t(20 + seed);
        sensor.humidity = 45;
        sensor.illumination = 2;
        sensor.observer = 1;
        sensor.filter = 1;
    }
    uint32_t sets() const { return uint32_t(rgb.size()); }

    // Every set function once; the results ORed (0 when all succeeded).
    uint32_t store(void *h) const {
        return HXTVEL_SetRGB(h, rgb.data(), sets()) | HXTVEL_SetCMYK(h, cmyk.data(), sets()) |
               HXTVEL_SetLAB(h, lab.data(), sets()) | HXTVEL_SetXYZ(h, xyz.data(), sets()) |
               HXTVEL_SetSpectroRef(h, spectra.data(), sets()) | HXTVEL_SetSensorInfo(h, sensor);
    }
};

// A file as the writer makes it, without its CREATED line (the clock).
inline std::string without_created_line(const std::string &text) {
    const size_t at = text.find("\nCREATED");
    if (at == std::string::npos) return text;
    const size_t end = text.find('\n', at + 1);
    return text.substr(0, at) + (end == std::string::npos ? std::string() : text.substr(end));
}

// ---------------------------------------------------------------------------
// Charts
// ---------------------------------------------------------------------------

struct Chart {
    void *h = HXTVEL_CreateMChartInstance();
    ~Chart() { HXTVEL_DeleteMChartInstance(h); }
    Chart() = default;
    Chart(const Chart &) = delete;
    Chart &operator=(const Chart &) = delete;
};

// 30 patches of 3 x 3 mm on pages of 20 x 25 mm at 254 dpi: two pages of
// 5 columns, white breaks in the side bars.
inline velPAreaStruct small_setting(uint32_t patches = 30) {
    return velPAreaStruct{patches, 200, 250, 254, 30, 30, 8, 4, 3};
}

inline std::vector<velRGB> chart_rgb(uint32_t n, uint32_t seed = 0) {
    std::vector<velRGB> v(n);
    for (uint32_t i = 0; i < n; ++i) v[i] = {double((i * 40 + seed) % 256), double((i * 7) % 256), 200};
    return v;
}
inline std::vector<velCMYK> chart_cmyk(uint32_t n, uint32_t seed = 0) {
    std::vector<velCMYK> v(n);
    for (uint32_t i = 0; i < n; ++i) v[i] = {double((i + seed) % 100), 50, 100, double(i % 7)};
    return v;
}

// Setting and colours (CMYK when cmyk, else RGB); results ORed.
inline uint32_t prepare_chart(void *c, bool cmyk = false, uint32_t seed = 0) {
    const velPAreaStruct s = small_setting();
    uint32_t rc = HXTVEL_SetMChartSetting(c, s);
    if (cmyk) {
        rc |= HXTVEL_SetMChartData_CMYK(c, chart_cmyk(s.patch_count, seed).data(), s.patch_count);
    } else {
        rc |= HXTVEL_SetMChartData_RGB(c, chart_rgb(s.patch_count, seed).data(), s.patch_count);
    }
    return rc;
}

// All pages drawn to memory; empty on failure.
inline std::vector<unsigned char> chart_in_memory(void *c, HXTVEL_PosBar bar = HXTVEL_POSBAR_ON) {
    unsigned long long size = 0;
    uint32_t pages = 0;
    if (HXTVEL_CreateTiff_M(c, nullptr, &size, &pages, bar) != 0) return {};
    std::vector<unsigned char> image(size);
    if (HXTVEL_CreateTiff_M(c, image.data(), &size, &pages, bar) != 0) return {};
    return image;
}

// The page files "<prefix><n>.tif" of `pages` pages, back to back.
inline std::string chart_files(const std::string &prefix, uint32_t pages) {
    std::string all;
    for (uint32_t p = 0; p < pages; ++p) all += read_file(prefix + std::to_string(p) + ".tif");
    return all;
}

// Page records as text, field by field (their padding carries nothing).
inline std::string records_text(const velMChartStruct *r, size_t n) {
    std::string s;
    for (size_t i = 0; i < n; ++i) {
        for (uint32_t v : {r[i].patch_count, r[i].columns, r[i].rows, r[i].image_width, r[i].image_height,
                           r[i].sidebar_left, r[i].grid_top, r[i].resolution, r[i].patch_width, r[i].patch_height,
                           r[i].bar_left, r[i].bar_top, uint32_t(r[i].layout_first), uint32_t(r[i].layout_second)})
            s += std::to_string(v) + ' ';
        s += '\n';
    }
    return s;
}

// The page records of the last drawing (empty when there are none).
inline std::string page_records(void *c, uint32_t pages) {
    std::vector<velMChartStruct> r(pages);
    if (pages == 0 || HXTVEL_GetMChartData(c, r.data(), HXTVEL_UNIT_PIXEL) != 0) return {};
    return records_text(r.data(), r.size());
}

// ---------------------------------------------------------------------------
// Wedge division
// ---------------------------------------------------------------------------

inline std::vector<unsigned char> three_chart_stream() {
    Spectrobin s;
    s.add(ChartBlock().id(7).grid(3, 2)).add(ChartBlock().id(3).grid(2, 2).data_dir(1));
    s.add(ChartBlock().id(9).grid(4, 1).conditions(3, 1, 1));
    return s.build();
}

}  // namespace hxtvel_test

#endif  // HXTVEL_ROUNDS_H
