// Chart settings, colour data and the geometry queries, against numbers
// worked out by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "hxtvel_mchart.h"
#include "hxtvel_mchartcreate.h"
#include "trace_capture.h"

using hxtvel::c_mchart;

namespace {

// A4 printable area, 6 mm patches, 300 dpi, top left rightwards.
velPAreaStruct a4(uint32_t patches = 100) { return {patches, 2100, 2970, 300, 60, 60, 8, 4, 0}; }

class Chart : public testing::Test {
protected:
    void SetUp() override { h_ = HXTVEL_CreateMChartInstance(); }
    void TearDown() override { HXTVEL_DeleteMChartInstance(h_); }
    c_mchart &c() { return *static_cast<c_mchart *>(h_); }
    void *h_ = nullptr;
};

TEST(ChartHandle, NullHandleIs206Everywhere) {
    velMChartStruct rec[4]{};
    velRGB rgb{};
    velCMYK cmyk{};
    uint32_t n = 0;
    unsigned long long size = 0;
    const auto px = HXTVEL_UNIT_PIXEL;
    const auto on = HXTVEL_POSBAR_ON;
    EXPECT_EQ(HXTVEL_SetMChartSetting(nullptr, a4()), 206u);
    EXPECT_EQ(HXTVEL_SetMChartData_RGB(nullptr, &rgb, 1), 206u);
    EXPECT_EQ(HXTVEL_SetMChartData_CMYK(nullptr, &cmyk, 1), 206u);
    EXPECT_EQ(HXTVEL_GetMChartData(nullptr, rec, px), 206u);
    EXPECT_EQ(HXTVEL_GetPageSize(nullptr, 0, &size), 206u);
    EXPECT_EQ(HXTVEL_GetPatchWCountByWidth(nullptr, 1000, 60, 300, &n), 206u);
    EXPECT_EQ(HXTVEL_CalcTiffWidthInfo(nullptr, 1000, 60, 300, px, rec), 206u);
    EXPECT_EQ(HXTVEL_CalcTiffHeightInfo(nullptr, 2970, 60, 100, 15, 300, px, on, &n, rec), 206u);
    EXPECT_EQ(HXTVEL_CalcTiffInfo(nullptr, a4(), px, on, &n, rec), 206u);
    EXPECT_EQ(HXTVEL_CreateTiff(nullptr, "/tmp/x", &n, on), 206u);
    EXPECT_EQ(HXTVEL_CreateTiff_M(nullptr, nullptr, &size, &n, on), 206u);
    HXTVEL_DeleteMChartInstance(nullptr);
}

struct SettingCase {
    const char *name;
    velPAreaStruct s;
    uint32_t code;
};

class Setting : public Chart, public testing::WithParamInterface<SettingCase> {};

TEST_P(Setting, Result) { EXPECT_EQ(HXTVEL_SetMChartSetting(h_, GetParam().s), GetParam().code); }

INSTANTIATE_TEST_SUITE_P(
    Checks, Setting,
    testing::Values(
        SettingCase{"valid", {100, 2100, 2970, 300, 60, 60, 8, 4, 0}, 0},
        SettingCase{"no_patches", {0, 2100, 2970, 300, 60, 60, 8, 4, 0}, 206},
        SettingCase{"no_width", {100, 0, 2970, 300, 60, 60, 8, 4, 0}, 206},
        SettingCase{"no_height", {100, 2100, 0, 300, 60, 60, 8, 4, 0}, 206},
        SettingCase{"no_resolution", {100, 2100, 2970, 0, 60, 60, 8, 4, 0}, 206},
        SettingCase{"no_patch_width", {100, 2100, 2970, 300, 0, 60, 8, 4, 0}, 206},
        SettingCase{"no_patch_height", {100, 2100, 2970, 300, 60, 0, 8, 4, 0}, 206},
        SettingCase{"no_corner", {100, 2100, 2970, 300, 60, 60, 0, 4, 0}, 206},
        SettingCase{"no_direction", {100, 2100, 2970, 300, 60, 60, 8, 0, 0}, 206},
        SettingCase{"res_29", {100, 2100, 2970, 29, 60, 60, 8, 4, 0}, 204},
        SettingCase{"res_1201", {100, 2100, 2970, 1201, 60, 60, 8, 4, 0}, 204},
        SettingCase{"res_30", {100, 2100, 2970, 30, 60, 60, 8, 4, 0}, 0},
        SettingCase{"res_1200", {100, 2100, 2970, 1200, 60, 60, 8, 4, 0}, 0},
        SettingCase{"range_before_layout", {100, 2100, 2970, 1201, 60, 60, 3, 3, 99}, 204},
        SettingCase{"bottom_left_left", {100, 2100, 2970, 300, 60, 60, 2, 8, 0}, 206},
        SettingCase{"white_60", {100, 2100, 2970, 300, 60, 121, 8, 4, 60}, 0},
        SettingCase{"white_60_patch_too_low", {100, 2100, 2970, 300, 60, 120, 8, 4, 60}, 206},
        SettingCase{"white_61", {100, 2100, 2970, 300, 60, 600, 8, 4, 61}, 206},
        SettingCase{"white_10_patch_20", {100, 2100, 2970, 300, 60, 20, 8, 4, 10}, 206},
        SettingCase{"white_10_patch_21", {100, 2100, 2970, 300, 60, 21, 8, 4, 10}, 0},
        SettingCase{"huge_patch", {100, 2100, 2970, 1200, 60, 0xFFFFFFFFu, 8, 4, 60}, 0}),
    [](const testing::TestParamInfo<SettingCase> &i) { return std::string(i.param.name); });

TEST_F(Chart, EveryLayoutPairIsAcceptedOnlyAwayFromItsCorner) {
    const std::vector<std::pair<int, int>> valid = {{8, 4}, {8, 1}, {4, 8}, {4, 1},
                                                    {2, 4}, {2, 2}, {1, 8}, {1, 2}};
    for (int first : {1, 2, 4, 8})
        for (int second : {1, 2, 4, 8}) {
            velPAreaStruct s = a4();
            s.layout_first = uint8_t(first);
            s.layout_second = uint8_t(second);
            const bool ok = std::count(valid.begin(), valid.end(), std::make_pair(first, second)) == 1;
            EXPECT_EQ(HXTVEL_SetMChartSetting(h_, s), ok ? 0u : 206u) << first << "," << second;
        }
}

TEST_F(Chart, ColourDataNeedsASettingAndTheExactCount) {
    std::vector<velRGB> rgb(100, velRGB{1, 2, 3});
    std::vector<velCMYK> cmyk(100, velCMYK{1, 2, 3, 4});
    EXPECT_EQ(HXTVEL_SetMChartData_RGB(h_, nullptr, 100), 202u);
    EXPECT_EQ(HXTVEL_SetMChartData_CMYK(h_, cmyk.data(), 100), 202u);
    ASSERT_EQ(HXTVEL_SetMChartSetting(h_, a4(100)), 0u);
    EXPECT_EQ(HXTVEL_SetMChartData_RGB(h_, rgb.data(), 99), 206u);
    EXPECT_EQ(HXTVEL_SetMChartData_RGB(h_, nullptr, 100), 206u);
    EXPECT_EQ(HXTVEL_SetMChartData_CMYK(h_, cmyk.data(), 101), 206u);
    // Values far outside their ranges are stored without harm.
    rgb[0] = velRGB{-1e300, 1e300, 0.0 / 0.0};
    cmyk[0] = velCMYK{-5, 1e20, -1e20, 0.0 / 0.0};
    hxtvel_test::TraceCapture trace(0x02);
    EXPECT_EQ(HXTVEL_SetMChartData_RGB(h_, rgb.data(), 100), 0u);
    EXPECT_EQ(HXTVEL_SetMChartData_CMYK(h_, cmyk.data(), 100), 0u);
    const auto lines = trace.lines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "Debug:setchartdata RGB comp."), 1);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "Info:setchartdata in"), 2);
}

// --- width ------------------------------------------------------------------

struct WidthCase {
    const char *name;
    uint32_t page, patch, res, code, columns;
};

class Width : public Chart, public testing::WithParamInterface<WidthCase> {};

TEST_P(Width, Columns) {
    const WidthCase w = GetParam();
    uint32_t columns = 12345;
    EXPECT_EQ(HXTVEL_GetPatchWCountByWidth(h_, w.page, w.patch, w.res, &columns), w.code);
    EXPECT_EQ(columns, w.code ? 12345u : w.columns);
}

INSTANTIATE_TEST_SUITE_P(
    Rule, Width,
    testing::Values(WidthCase{"worked", 1000, 60, 300, 0, 15},  // 1181 px, patch 71, margin 35
                    WidthCase{"a4", 2100, 60, 300, 0, 33},         // 2480 px: (2480 - 70) / 71
                    WidthCase{"one_pixel_patch", 10, 1, 300, 0, 9},  // keeps a 1-pixel margin
                    WidthCase{"half_pixel_rounds_up", 254, 1, 127, 0, 125},
                    WidthCase{"no_room", 100, 60, 300, 206, 0},   // one patch and margins do not fit
                    WidthCase{"patch_0px", 1000, 4, 30, 206, 0},
                    WidthCase{"page_0px", 1, 60, 30, 206, 0},
                    WidthCase{"page_0", 0, 60, 300, 206, 0}, WidthCase{"patch_0", 1000, 0, 300, 206, 0},
                    WidthCase{"res_0", 1000, 60, 0, 206, 0},
                    WidthCase{"columns_over_32_bits", 0xFFFFFFFFu, 1, 380, 206, 0}),
    [](const testing::TestParamInfo<WidthCase> &i) { return std::string(i.param.name); });

TEST_F(Chart, WidthInfoIsNeverNarrowerThanTheBar) {
    velMChartStruct r{};
    ASSERT_EQ(HXTVEL_CalcTiffWidthInfo(h_, 1000, 60, 300, HXTVEL_UNIT_PIXEL, &r), 0u);
    EXPECT_EQ(r.columns, 15u);
    EXPECT_EQ(r.image_width, 1276u);  // 2 * 35 + 15 * 71 = 1135, raised to the bar
    EXPECT_EQ(r.patch_width, 71u);
    EXPECT_EQ(r.resolution, 300u);
    EXPECT_EQ(r.patch_count + r.rows + r.image_height + r.patch_height + r.sidebar_left + r.grid_top +
                  r.bar_left + r.bar_top + r.layout_first + r.layout_second,
              0u);
    ASSERT_EQ(HXTVEL_CalcTiffWidthInfo(h_, 1000, 60, 300, HXTVEL_UNIT_TENTH_MM, &r), 0u);
    EXPECT_EQ(r.image_width, 1080u);  // 1276 * 254 / 300 = 1080.3
    EXPECT_EQ(r.patch_width, 60u);    // 71 * 254 / 300 = 60.1
    ASSERT_EQ(HXTVEL_CalcTiffWidthInfo(h_, 2100, 60, 300, HXTVEL_UNIT_PIXEL, &r), 0u);
    EXPECT_EQ(r.image_width, 70u + 33u * 71u);
    EXPECT_EQ(HXTVEL_CalcTiffWidthInfo(h_, 1000, 60, 0, HXTVEL_UNIT_PIXEL, &r), 206u);
    EXPECT_EQ(HXTVEL_CalcTiffWidthInfo(h_, 1000, 60, 300, HXTVEL_UNIT_PIXEL, nullptr), 206u);

    velPAreaStruct s = a4();
    EXPECT_EQ(c().calctiffwidthinfo(s, 2, 1, &r), 206u);
    EXPECT_EQ(c().calctiffwidthinfo(s, 0, 2, &r), 206u);
    s.page_width = 1000;
    ASSERT_EQ(c().calctiffwidthinfo(s, 0, 0, &r), 0u);
    EXPECT_EQ(r.image_width, 1135u);  // without the bar nothing is raised
}

// --- height -----------------------------------------------------------------

TEST_F(Chart, HeightInfoSplitsIntoPages) {
    uint32_t pages = 0;
    velMChartStruct r[3]{};
    // 3507 px less the 184-px bar: 46 rows of 71 px, 46 * 15 = 690 per page.
    ASSERT_EQ(HXTVEL_CalcTiffHeightInfo(h_, 2970, 60, 1000, 15, 300, HXTVEL_UNIT_PIXEL, HXTVEL_POSBAR_ON,
                                        &pages, nullptr),
              0u);
    ASSERT_EQ(pages, 2u);
    ASSERT_EQ(HXTVEL_CalcTiffHeightInfo(h_, 2970, 60, 1000, 15, 300, HXTVEL_UNIT_PIXEL, HXTVEL_POSBAR_ON,
                                        &pages, r),
              0u);
    EXPECT_EQ(r[0].rows, 46u);
    EXPECT_EQ(r[0].image_height, 46u * 71u + 184u);
    EXPECT_EQ(r[1].rows, 21u);  // 310 patches
    EXPECT_EQ(r[1].image_height, 21u * 71u + 184u);
    for (int p = 0; p < 2; ++p) {
        EXPECT_EQ(r[p].patch_count, 1000u);
        EXPECT_EQ(r[p].patch_height, 71u);
        EXPECT_EQ(r[p].resolution, 300u);
        EXPECT_EQ(r[p].columns + r[p].image_width + r[p].patch_width + r[p].layout_first, 0u);
    }
    EXPECT_EQ(r[2].rows, 0u);  // nothing written past the page count

    ASSERT_EQ(HXTVEL_CalcTiffHeightInfo(h_, 2970, 60, 1000, 15, 300, HXTVEL_UNIT_TENTH_MM, HXTVEL_POSBAR_OFF,
                                        &pages, r),
              0u);
    ASSERT_EQ(pages, 1u + 1u);  // 49 rows * 15 = 735 per page
    EXPECT_EQ(r[0].rows, 49u);
    EXPECT_EQ(r[0].image_height, 49u * 71u * 254u / 300u);
    EXPECT_EQ(r[0].patch_height, 60u);
    EXPECT_EQ(r[1].rows, 18u);  // 265 patches
}

TEST_F(Chart, HeightInfoRefusals) {
    uint32_t pages = 77;
    const auto px = HXTVEL_UNIT_PIXEL;
    const auto on = HXTVEL_POSBAR_ON;
    for (uint32_t zero = 0; zero < 5; ++zero) {
        uint32_t a[5] = {2970, 60, 100, 15, 300};
        a[zero] = 0;
        EXPECT_EQ(HXTVEL_CalcTiffHeightInfo(h_, a[0], a[1], a[2], a[3], a[4], px, on, &pages, nullptr), 206u);
    }
    EXPECT_EQ(HXTVEL_CalcTiffHeightInfo(h_, 2970, 60, 100, 15, 300, px, on, nullptr, nullptr), 206u);
    // The bar (184 px) against the page height in tenths of a millimetre.
    EXPECT_EQ(HXTVEL_CalcTiffHeightInfo(h_, 184, 20, 10, 5, 300, px, on, &pages, nullptr), 206u);
    EXPECT_EQ(HXTVEL_CalcTiffHeightInfo(h_, 185, 20, 10, 5, 300, px, on, &pages, nullptr), 0u);
    EXPECT_EQ(pages, 2u);  // 218 - 184 = 34 px: one row of 24 px, 5 patches
    // At 30 dpi the 18-row bar is below 20 tenths but above the page's 2 px.
    EXPECT_EQ(HXTVEL_CalcTiffHeightInfo(h_, 20, 10, 1, 1, 30, px, on, &pages, nullptr), 206u);
    // Not one row fits.
    EXPECT_EQ(HXTVEL_CalcTiffHeightInfo(h_, 100, 200, 1, 1, 300, px, HXTVEL_POSBAR_OFF, &pages, nullptr), 206u);

    velPAreaStruct s = a4();
    s.patch_height = 0;
    pages = 77;
    EXPECT_EQ(c().calctiffheightinfo(&s, 15, 0, 0, &pages, nullptr), 0u);
    EXPECT_EQ(pages, 77u);  // nothing written
    EXPECT_EQ(c().calctiffheightinfo(nullptr, 15, 0, 0, &pages, nullptr), 206u);
    EXPECT_EQ(c().calctiffheightinfo(&s, 15, 2, 0, &pages, nullptr), 206u);
    EXPECT_EQ(c().calctiffheightinfo(&s, 15, 0, 2, &pages, nullptr), 206u);
}

// --- whole setting ------------------------------------------------------------

TEST_F(Chart, CalcTiffInfoCombinesWidthAndHeight) {
    uint32_t pages = 0;
    velMChartStruct r[2]{};
    ASSERT_EQ(HXTVEL_CalcTiffInfo(h_, a4(1000), HXTVEL_UNIT_PIXEL, HXTVEL_POSBAR_ON, &pages, r), 0u);
    ASSERT_EQ(pages, 1u);  // 46 rows * 33 columns = 1518 per page
    EXPECT_EQ(r[0].patch_count, 1000u);
    EXPECT_EQ(r[0].columns, 33u);
    EXPECT_EQ(r[0].rows, 31u);
    EXPECT_EQ(r[0].image_width, 2413u);
    EXPECT_EQ(r[0].image_height, 31u * 71u + 184u);
    EXPECT_EQ(r[0].patch_width, 71u);
    EXPECT_EQ(r[0].patch_height, 71u);
    EXPECT_EQ(r[0].resolution, 300u);
    EXPECT_EQ(r[0].layout_first, 8);
    EXPECT_EQ(r[0].layout_second, 4);
    EXPECT_EQ(r[0].sidebar_left + r[0].grid_top + r[0].bar_left + r[0].bar_top, 0u);

    ASSERT_EQ(HXTVEL_CalcTiffInfo(h_, a4(1000), HXTVEL_UNIT_TENTH_MM, HXTVEL_POSBAR_ON, &pages, r), 0u);
    EXPECT_EQ(r[0].image_width, 2413u * 254u / 300u);
    EXPECT_EQ(r[0].image_height, (31u * 71u + 184u) * 254u / 300u);
    EXPECT_EQ(r[0].patch_width, 60u);

    // Two pages: the first full, the second with the rest.
    ASSERT_EQ(HXTVEL_CalcTiffInfo(h_, a4(1600), HXTVEL_UNIT_PIXEL, HXTVEL_POSBAR_ON, &pages, r), 0u);
    ASSERT_EQ(pages, 2u);
    EXPECT_EQ(r[0].rows, 46u);
    EXPECT_EQ(r[1].rows, 3u);  // 82 patches
    EXPECT_EQ(r[1].columns, 33u);
    EXPECT_EQ(r[1].patch_count, 1600u);

    EXPECT_EQ(HXTVEL_CalcTiffInfo(h_, a4(), HXTVEL_UNIT_PIXEL, HXTVEL_POSBAR_ON, nullptr, r), 206u);
    EXPECT_EQ(c().calctiffinfo(a4(), 2, 1, &pages, r), 206u);
    EXPECT_EQ(c().calctiffinfo(a4(), 0, 2, &pages, r), 206u);
    EXPECT_EQ(HXTVEL_CalcTiffInfo(h_, a4(0), HXTVEL_UNIT_PIXEL, HXTVEL_POSBAR_ON, &pages, r), 206u);
    velPAreaStruct narrow = a4();
    narrow.page_width = 100;  // the width rule's refusal comes through
    EXPECT_EQ(HXTVEL_CalcTiffInfo(h_, narrow, HXTVEL_UNIT_PIXEL, HXTVEL_POSBAR_ON, &pages, r), 206u);
}

TEST_F(Chart, The22mmPatchAt1200DpiIsOnePixelTaller) {
    uint32_t pages = 0;
    velMChartStruct r{};
    velPAreaStruct s{100, 2100, 2970, 1200, 60, 220, 8, 4, 0};
    ASSERT_EQ(HXTVEL_CalcTiffInfo(h_, s, HXTVEL_UNIT_PIXEL, HXTVEL_POSBAR_ON, &pages, &r), 0u);
    EXPECT_EQ(r.patch_height, 1040u);
    EXPECT_EQ(r.columns, 34u);
    EXPECT_EQ(r.image_height, 3u * 1040u + 736u);
    // The separate height calculation keeps 1039; so does 1199 dpi.
    ASSERT_EQ(HXTVEL_CalcTiffHeightInfo(h_, 2970, 220, 100, 34, 1200, HXTVEL_UNIT_PIXEL, HXTVEL_POSBAR_ON,
                                        &pages, &r),
              0u);
    EXPECT_EQ(r.patch_height, 1039u);
    s.resolution = 1199;
    ASSERT_EQ(HXTVEL_CalcTiffInfo(h_, s, HXTVEL_UNIT_PIXEL, HXTVEL_POSBAR_ON, &pages, &r), 0u);
    EXPECT_EQ(r.patch_height, 1039u);
}

TEST_F(Chart, NothingDrawnYet) {
    velMChartStruct r{};
    unsigned long long size = 9;
    EXPECT_EQ(HXTVEL_GetMChartData(h_, &r, HXTVEL_UNIT_PIXEL), 207u);
    EXPECT_EQ(HXTVEL_GetMChartData(h_, nullptr, HXTVEL_UNIT_PIXEL), 206u);
    EXPECT_EQ(c().getwedgedata(&r, 2), 206u);
    EXPECT_EQ(HXTVEL_GetPageSize(h_, 0, &size), 207u);
    EXPECT_EQ(HXTVEL_GetPageSize(h_, 1, &size), 206u);
    EXPECT_EQ(HXTVEL_GetPageSize(h_, 0, nullptr), 206u);
    EXPECT_EQ(size, 9u);
}

}  // namespace
