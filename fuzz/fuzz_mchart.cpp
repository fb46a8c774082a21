// fuzz_mchart.cpp - any bytes as a chart: a setting, patch colours (in or
// out of range, NaN), units and bar flags (valid or not). Runs the geometry
// queries and, when the chart stays small, a memory drawing; every drawn page
// must be a well-formed TIFF that lies inside its part of the block, and the
// page sizes must add up to the size the query promised.
#include <fuzzer/FuzzedDataProvider.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "c_calls.h"
#include "fuzz_common.h"

namespace {

constexpr unsigned long long kMaxChartBytes = 1u << 20;

// Reads a TIFF field of the page's byte order.
struct page_reader {
    const unsigned char *p;
    size_t size;
    bool big;
    uint32_t u16(size_t at) const {
        FUZZ_CHECK(at + 2 <= size);
        return big ? (uint32_t(p[at]) << 8 | p[at + 1]) : (uint32_t(p[at + 1]) << 8 | p[at]);
    }
    uint32_t u32(size_t at) const {
        FUZZ_CHECK(at + 4 <= size);
        return big ? (u16(at) << 16 | u16(at + 2)) : (u16(at + 2) << 16 | u16(at));
    }
};

// The structure a TIFF reader relies on: header, one IFD of known tags, and
// strips inside the page that cover the whole image.
void check_page(const unsigned char *page, size_t size) {
    FUZZ_CHECK(size >= 8);
    FUZZ_CHECK((page[0] == 'I' && page[1] == 'I') || (page[0] == 'M' && page[1] == 'M'));
    const page_reader r{page, size, page[0] == 'M'};
    FUZZ_CHECK(r.u16(2) == 42);
    const uint32_t ifd = r.u32(4);
    const uint32_t entries = r.u16(ifd);
    uint32_t width = 0, height = 0, samples = 0, photometric = 0, strips = 0, offsets = 0, counts = 0,
             rows_per_strip = 0;
    uint32_t last_tag = 0;
    for (uint32_t e = 0; e < entries; ++e) {
        const size_t at = ifd + 2 + 12 * size_t(e);
        const uint32_t tag = r.u16(at), type = r.u16(at + 2), count = r.u32(at + 4);
        FUZZ_CHECK(tag > last_tag);  // ascending tags
        last_tag = tag;
        const uint32_t value = (type == 3 && count == 1) ? r.u16(at + 8) : r.u32(at + 8);
        switch (tag) {
        case 256: width = value; break;
        case 257: height = value; break;
        case 262: photometric = value; break;
        case 277: samples = value; break;
        case 278: rows_per_strip = value; break;
        case 273: strips = count; offsets = value; break;
        case 279: FUZZ_CHECK(count == strips); counts = value; break;
        default: break;
        }
    }
    FUZZ_CHECK(r.u32(ifd + 2 + 12 * size_t(entries)) == 0);  // one image
    FUZZ_CHECK((photometric == 2 && samples == 3) || (photometric == 5 && samples == 4));
    FUZZ_CHECK(width > 0 && height > 0 && strips > 0 && rows_per_strip > 0);
    uint64_t covered = 0;
    for (uint32_t s = 0; s < strips; ++s) {
        const uint64_t off = strips == 1 ? offsets : r.u32(offsets + 4 * size_t(s));
        const uint64_t len = strips == 1 ? counts : r.u32(counts + 4 * size_t(s));
        FUZZ_CHECK(off + len <= size);
        covered += len;
    }
    FUZZ_CHECK(covered == uint64_t(width) * height * samples);
}

uint32_t small_unit(FuzzedDataProvider &in) {
    return in.ConsumeBool() ? in.ConsumeIntegralInRange<uint32_t>(0, 1) : in.ConsumeIntegral<uint32_t>();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    FuzzedDataProvider in(data, size);
    velPAreaStruct s{};
    s.resolution = in.ConsumeIntegralInRange<uint32_t>(0, 1300);
    // Pages of at most about 200 x 200 pixels at the chosen resolution: the
    // logic is the same for any size, and small pages keep runs fast.
    const uint32_t max_len = s.resolution ? 200u * 254u / s.resolution + 1 : 3000u;
    s.page_width = in.ConsumeIntegralInRange<uint32_t>(0, max_len);
    s.page_height = in.ConsumeIntegralInRange<uint32_t>(0, max_len + 2000);
    s.patch_width = in.ConsumeIntegralInRange<uint32_t>(0, max_len);
    s.patch_height = in.ConsumeIntegralInRange<uint32_t>(0, max_len);
    s.patch_count = in.ConsumeIntegralInRange<uint32_t>(0, 400);
    static const uint8_t layout[] = {0, 1, 2, 4, 8, 3};
    s.layout_first = in.PickValueInArray(layout);
    s.layout_second = in.PickValueInArray(layout);
    s.whitebar_width = in.ConsumeIntegralInRange<uint32_t>(0, 70);
    const uint32_t unit = small_unit(in), bar = small_unit(in);
    const bool cmyk = in.ConsumeBool();
    const uint32_t colours = in.ConsumeBool() ? s.patch_count : in.ConsumeIntegralInRange<uint32_t>(0, 400);

    void *c = HXTVEL_CreateMChartInstance();
    // Geometry queries, on the setting's own numbers.
    velMChartStruct rec[8];
    uint32_t pages = 0, columns = 0;
    std::vector<velMChartStruct> many;
    HXTVEL_GetPatchWCountByWidth(c, s.page_width, s.patch_width, s.resolution, &columns);
    fz_calc_width(c, s.page_width, s.patch_width, s.resolution, unit, rec);
    if (fz_calc_height(c, s.page_height, s.patch_height, s.patch_count, columns ? columns : 1, s.resolution,
                       unit, bar, &pages, nullptr) == 0 && pages <= 4096) {
        many.resize(pages + 1);
        fz_calc_height(c, s.page_height, s.patch_height, s.patch_count, columns ? columns : 1, s.resolution,
                       unit, bar, &pages, many.data());
    }
    if (fz_calc_info(c, s, unit, bar, &pages, nullptr) == 0 && pages <= 4096) {
        many.resize(pages + 1);
        FUZZ_CHECK(fz_calc_info(c, s, unit, bar, &pages, many.data()) == 0);
    }
    FUZZ_CHECK(fz_get_mchart_data(c, rec, 0) == HXTVEL_E_CHART_MEMORY);  // nothing drawn yet

    // Colours, then a memory drawing of a small chart.
    const uint32_t setting_rc = HXTVEL_SetMChartSetting(c, s);
    if (cmyk) {
        std::vector<velCMYK> v(colours);
        for (velCMYK &x : v) x = {in.ConsumeFloatingPoint<double>(), in.ConsumeFloatingPoint<double>(),
                                  in.ConsumeFloatingPointInRange<double>(-10, 110), NAN};
        HXTVEL_SetMChartData_CMYK(c, v.empty() ? nullptr : v.data(), colours);
    } else {
        std::vector<velRGB> v(colours);
        for (velRGB &x : v) x = {in.ConsumeFloatingPoint<double>(), in.ConsumeFloatingPointInRange<double>(-300, 300),
                                 double(in.ConsumeIntegral<uint8_t>())};
        HXTVEL_SetMChartData_RGB(c, v.empty() ? nullptr : v.data(), colours);
    }
    unsigned long long total = 0;
    pages = 0;
    const uint32_t q = fz_create_tiff_m(c, nullptr, &total, &pages, bar);
    if (q == 0 && setting_rc == 0 && total <= kMaxChartBytes) {
        std::vector<unsigned char> block(total + 64, 0xA5);
        const uint32_t d = fz_create_tiff_m(c, block.data(), &total, &pages, bar);
        for (size_t i = total; i < block.size(); ++i) FUZZ_CHECK(block[i] == 0xA5);  // nothing past the block
        if (d == 0) {
            unsigned long long offset = 0;
            for (uint32_t p = 0; p < pages; ++p) {
                unsigned long long page_size = 0;
                FUZZ_CHECK(HXTVEL_GetPageSize(c, p, &page_size) == 0);
                FUZZ_CHECK(offset + page_size <= total);
                check_page(block.data() + offset, size_t(page_size));
                offset += page_size;
            }
            FUZZ_CHECK(offset == total);
            std::vector<velMChartStruct> out(pages + 1);
            FUZZ_CHECK(fz_get_mchart_data(c, out.data(), unit) == (unit <= 1 ? 0u : HXTVEL_E_CHART_ARG));
        }
    }
    HXTVEL_DeleteMChartInstance(c);
    return 0;
}
