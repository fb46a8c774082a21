// Chart settings, colour data and the geometry queries, against numbers
// worked out by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "hxtvel_mchart.h"
#include "hxtvel_mchartcreate.h"

using hxtvel::c_mchart;

namespace {

constexpr auto kPx = HXTVEL_UNIT_PIXEL;
constexpr auto kTenths = HXTVEL_UNIT_TENTH_MM;
constexpr auto kOn = HXTVEL_POSBAR_ON;

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
    const uint32_t codes[] = {
        HXTVEL_SetMChartSetting(nullptr, a4()), HXTVEL_SetMChartData_RGB(nullptr, &rgb, 1),
        HXTVEL_SetMChartData_CMYK(nullptr, &cmyk, 1), HXTVEL_GetMChartData(nullptr, rec, kPx),
        HXTVEL_GetPageSize(nullptr, 0, &size), HXTVEL_GetPatchWCountByWidth(nullptr, 1000, 60, 300, &n),
        HXTVEL_CalcTiffWidthInfo(nullptr, 1000, 60, 300, kPx, rec),
        HXTVEL_CalcTiffHeightInfo(nullptr, 2970, 60, 100, 15, 300, kPx, kOn, &n, rec),
        HXTVEL_CalcTiffInfo(nullptr, a4(), kPx, kOn, &n, rec), HXTVEL_CreateTiff(nullptr, "/tmp/x", &n, kOn),
        HXTVEL_CreateTiff_M(nullptr, nullptr, &size, &n, kOn)};
    for (size_t i = 0; i < std::size(codes); ++i) EXPECT_EQ(codes[i], 206u) << "call " << i;
    HXTVEL_DeleteMChartInstance(nullptr);
}

TEST_F(Chart, SettingChecks) {
    for (int field = 0; field < 8; ++field) {  // every field but the white bar must be set
        velPAreaStruct s = a4();
        uint32_t *const u32[] = {&s.patch_count, &s.page_width,  &s.page_height,
                                 &s.resolution,  &s.patch_width, &s.patch_height};
        if (field < 6) *u32[field] = 0;
        else (field == 6 ? s.layout_first : s.layout_second) = 0;
        EXPECT_EQ(HXTVEL_SetMChartSetting(h_, s), 206u) << "field " << field;
    }
    const std::pair<velPAreaStruct, uint32_t> cases[] = {
        {{100, 2100, 2970, 29, 60, 60, 8, 4, 0}, 204},  {{100, 2100, 2970, 1201, 60, 60, 8, 4, 0}, 204},
        {{100, 2100, 2970, 30, 60, 60, 8, 4, 0}, 0},    {{100, 2100, 2970, 1200, 60, 60, 8, 4, 0}, 0},
        {{100, 2100, 2970, 1201, 60, 60, 3, 3, 99}, 204},  // the range before the layout
        // The white bar: at most 6 mm, and patches taller than twice it.
        {{100, 2100, 2970, 300, 60, 121, 8, 4, 60}, 0}, {{100, 2100, 2970, 300, 60, 120, 8, 4, 60}, 206},
        {{100, 2100, 2970, 300, 60, 600, 8, 4, 61}, 206}, {{100, 2100, 2970, 300, 60, 20, 8, 4, 10}, 206},
        {{100, 2100, 2970, 300, 60, 21, 8, 4, 10}, 0}, {{100, 2100, 2970, 1200, 60, 0xFFFFFFFFu, 8, 4, 60}, 0}};
    for (size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(HXTVEL_SetMChartSetting(h_, cases[i].first), cases[i].second) << "case " << i;

    // Each start corner takes only the two directions leading away from it.
    const std::vector<std::pair<int, int>> valid = {{8, 4}, {8, 1}, {4, 8}, {4, 1}, {2, 4}, {2, 2}, {1, 8}, {1, 2}};
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
    rgb[0] = velRGB{-1e300, 1e300, 0.0 / 0.0};  // values far out of range are stored without harm
    cmyk[0] = velCMYK{-5, 1e20, -1e20, 0.0 / 0.0};
    EXPECT_EQ(HXTVEL_SetMChartData_RGB(h_, rgb.data(), 100), 0u);
    EXPECT_EQ(HXTVEL_SetMChartData_CMYK(h_, cmyk.data(), 100), 0u);
}

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
    testing::Values(WidthCase{"worked", 1000, 60, 300, 0, 15},       // 1181 px, patch 71, margin 35
                    WidthCase{"a4", 2100, 60, 300, 0, 33},           // 2480 px: (2480 - 70) / 71
                    WidthCase{"one_pixel_patch", 10, 1, 300, 0, 9},  // keeps a 1-pixel margin
                    WidthCase{"half_pixel_rounds_up", 254, 1, 127, 0, 125},
                    WidthCase{"no_room", 100, 60, 300, 206, 0},      // one patch and margins do not fit
                    WidthCase{"patch_0px", 1000, 4, 30, 206, 0}, WidthCase{"page_0px", 1, 60, 30, 206, 0},
                    WidthCase{"res_0", 1000, 60, 0, 206, 0},
                    WidthCase{"columns_over_32_bits", 0xFFFFFFFFu, 1, 380, 206, 0}),
    [](const testing::TestParamInfo<WidthCase> &i) { return std::string(i.param.name); });

TEST_F(Chart, WidthInfoIsNeverNarrowerThanTheBar) {
    velMChartStruct r{};
    ASSERT_EQ(HXTVEL_CalcTiffWidthInfo(h_, 1000, 60, 300, kPx, &r), 0u);
    EXPECT_EQ(r.columns, 15u);
    EXPECT_EQ(r.image_width, 1276u);  // 2 * 35 + 15 * 71 = 1135, raised to the bar
    EXPECT_EQ(r.patch_width, 71u);
    EXPECT_EQ(r.resolution, 300u);
    ASSERT_EQ(HXTVEL_CalcTiffWidthInfo(h_, 1000, 60, 300, kTenths, &r), 0u);
    EXPECT_EQ(r.image_width, 1080u);  // 1276 * 254 / 300 = 1080.3
    EXPECT_EQ(r.patch_width, 60u);    // 71 * 254 / 300 = 60.1
    EXPECT_EQ(HXTVEL_CalcTiffWidthInfo(h_, 1000, 60, 0, kPx, &r), 206u);
    EXPECT_EQ(HXTVEL_CalcTiffWidthInfo(h_, 1000, 60, 300, kPx, nullptr), 206u);
    velPAreaStruct s = a4();
    EXPECT_EQ(c().calctiffwidthinfo(s, 2, 1, &r), 206u);
    EXPECT_EQ(c().calctiffwidthinfo(s, 0, 2, &r), 206u);
    s.page_width = 1000;
    ASSERT_EQ(c().calctiffwidthinfo(s, 0, 0, &r), 0u);
    EXPECT_EQ(r.image_width, 1135u);  // without the bar nothing is raised
}

TEST_F(Chart, HeightInfoSplitsIntoPages) {
    uint32_t pages = 0;
    velMChartStruct r[3]{};
    // 3507 px less the 184-px bar: 46 rows of 71 px, 46 * 15 = 690 per page.
    ASSERT_EQ(HXTVEL_CalcTiffHeightInfo(h_, 2970, 60, 1000, 15, 300, kPx, kOn, &pages, nullptr), 0u);
    ASSERT_EQ(pages, 2u);
    ASSERT_EQ(HXTVEL_CalcTiffHeightInfo(h_, 2970, 60, 1000, 15, 300, kPx, kOn, &pages, r), 0u);
    EXPECT_EQ(r[0].rows, 46u);
    EXPECT_EQ(r[0].image_height, 46u * 71u + 184u);
    EXPECT_EQ(r[1].rows, 21u);  // 310 patches
    EXPECT_EQ(r[1].image_height, 21u * 71u + 184u);
    EXPECT_TRUE(r[1].patch_count == 1000 && r[1].patch_height == 71 && r[1].resolution == 300 && r[1].columns == 0);
    EXPECT_EQ(r[2].rows, 0u);  // nothing written past the page count
    ASSERT_EQ(HXTVEL_CalcTiffHeightInfo(h_, 2970, 60, 1000, 15, 300, kTenths, HXTVEL_POSBAR_OFF, &pages, r), 0u);
    ASSERT_EQ(pages, 2u);  // 49 rows * 15 = 735 per page
    EXPECT_EQ(r[0].rows, 49u);
    EXPECT_EQ(r[0].image_height, 49u * 71u * 254u / 300u);
    EXPECT_EQ(r[0].patch_height, 60u);
    EXPECT_EQ(r[1].rows, 18u);  // 265 patches
}

TEST_F(Chart, HeightInfoRefusals) {
    uint32_t pages = 77;
    for (uint32_t zero = 0; zero < 5; ++zero) {
        uint32_t a[5] = {2970, 60, 100, 15, 300};
        a[zero] = 0;
        EXPECT_EQ(HXTVEL_CalcTiffHeightInfo(h_, a[0], a[1], a[2], a[3], a[4], kPx, kOn, &pages, nullptr), 206u);
    }
    EXPECT_EQ(HXTVEL_CalcTiffHeightInfo(h_, 2970, 60, 100, 15, 300, kPx, kOn, nullptr, nullptr), 206u);
    // The bar (184 px) against the page height in tenths of a millimetre.
    EXPECT_EQ(HXTVEL_CalcTiffHeightInfo(h_, 184, 20, 10, 5, 300, kPx, kOn, &pages, nullptr), 206u);
    EXPECT_EQ(HXTVEL_CalcTiffHeightInfo(h_, 185, 20, 10, 5, 300, kPx, kOn, &pages, nullptr), 0u);
    EXPECT_EQ(pages, 2u);  // 218 - 184 = 34 px: one row of 24 px, 5 patches
    // At 30 dpi the 18-row bar is below 20 tenths but above the page's 2 px.
    EXPECT_EQ(HXTVEL_CalcTiffHeightInfo(h_, 20, 10, 1, 1, 30, kPx, kOn, &pages, nullptr), 206u);
    EXPECT_EQ(HXTVEL_CalcTiffHeightInfo(h_, 100, 200, 1, 1, 300, kPx, HXTVEL_POSBAR_OFF, &pages, nullptr), 206u);
    velPAreaStruct s = a4();
    s.patch_height = 0;
    pages = 77;
    EXPECT_EQ(c().calctiffheightinfo(&s, 15, 0, 0, &pages, nullptr), 0u);
    EXPECT_EQ(pages, 77u);  // nothing written
    EXPECT_EQ(c().calctiffheightinfo(nullptr, 15, 0, 0, &pages, nullptr), 206u);
    EXPECT_EQ(c().calctiffheightinfo(&s, 15, 2, 0, &pages, nullptr), 206u);
    EXPECT_EQ(c().calctiffheightinfo(&s, 15, 0, 2, &pages, nullptr), 206u);
}

TEST_F(Chart, CalcTiffInfoCombinesWidthAndHeight) {
    uint32_t pages = 0;
    velMChartStruct r[2]{};
    ASSERT_EQ(HXTVEL_CalcTiffInfo(h_, a4(1000), kPx, kOn, &pages, r), 0u);
    ASSERT_EQ(pages, 1u);  // 46 rows * 33 columns = 1518 per page
    const uint32_t got[] = {r[0].patch_count, r[0].columns, r[0].rows, r[0].image_width, r[0].image_height,
                            r[0].patch_width, r[0].patch_height, r[0].resolution, r[0].layout_first, r[0].layout_second,
                            r[0].sidebar_left + r[0].grid_top + r[0].bar_left + r[0].bar_top};
    const uint32_t want[] = {1000, 33, 31, 2413, 31 * 71 + 184, 71, 71, 300, 8, 4, 0};
    EXPECT_TRUE(std::equal(got, got + 11, want));
    ASSERT_EQ(HXTVEL_CalcTiffInfo(h_, a4(1000), kTenths, kOn, &pages, r), 0u);
    EXPECT_TRUE(r[0].image_width == 2043 && r[0].image_height == 2019 && r[0].patch_width == 60);  // * 254 / 300
    // Two pages: the first full, the second with the rest.
    ASSERT_EQ(HXTVEL_CalcTiffInfo(h_, a4(1600), kPx, kOn, &pages, r), 0u);
    ASSERT_EQ(pages, 2u);
    EXPECT_EQ(r[0].rows, 46u);
    EXPECT_EQ(r[1].rows, 3u);  // 82 patches
    EXPECT_EQ(r[1].columns, 33u);
    EXPECT_EQ(r[1].patch_count, 1600u);

    velPAreaStruct narrow = a4();
    narrow.page_width = 100;  // the width rule's refusal comes through
    const uint32_t refused[] = {HXTVEL_CalcTiffInfo(h_, a4(), kPx, kOn, nullptr, r),
                                c().calctiffinfo(a4(), 2, 1, &pages, r), c().calctiffinfo(a4(), 0, 2, &pages, r),
                                HXTVEL_CalcTiffInfo(h_, a4(0), kPx, kOn, &pages, r),
                                HXTVEL_CalcTiffInfo(h_, narrow, kPx, kOn, &pages, r)};
    for (uint32_t code : refused) EXPECT_EQ(code, 206u);
}

TEST_F(Chart, The22mmPatchAt1200DpiIsOnePixelTaller) {
    uint32_t pages = 0;
    velMChartStruct r{};
    velPAreaStruct s{100, 2100, 2970, 1200, 60, 220, 8, 4, 0};
    ASSERT_EQ(HXTVEL_CalcTiffInfo(h_, s, kPx, kOn, &pages, &r), 0u);
    EXPECT_EQ(r.patch_height, 1040u);
    EXPECT_EQ(r.columns, 34u);
    EXPECT_EQ(r.image_height, 3u * 1040u + 736u);
    // The separate height calculation keeps 1039; so does 1199 dpi.
    ASSERT_EQ(HXTVEL_CalcTiffHeightInfo(h_, 2970, 220, 100, 34, 1200, kPx, kOn, &pages, &r), 0u);
    EXPECT_EQ(r.patch_height, 1039u);
    s.resolution = 1199;
    ASSERT_EQ(HXTVEL_CalcTiffInfo(h_, s, kPx, kOn, &pages, &r), 0u);
    EXPECT_EQ(r.patch_height, 1039u);
}

TEST_F(Chart, NothingDrawnYet) {
    velMChartStruct r{};
    unsigned long long size = 9;
    EXPECT_EQ(HXTVEL_GetMChartData(h_, &r, kPx), 207u);
    EXPECT_EQ(HXTVEL_GetMChartData(h_, nullptr, kPx), 206u);
    EXPECT_EQ(c().getwedgedata(&r, 2), 206u);
    EXPECT_EQ(HXTVEL_GetPageSize(h_, 0, &size), 207u);
    EXPECT_EQ(HXTVEL_GetPageSize(h_, 1, &size), 206u);
    EXPECT_EQ(HXTVEL_GetPageSize(h_, 0, nullptr), 206u);
    EXPECT_EQ(size, 9u);
}

}  // namespace
