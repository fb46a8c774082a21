// The compare report's parts: L*a*b* shown as sRGB against published
// values, the split into ΔL*, ΔC*, ΔH*, and the chart map's geometry
// against where the library itself paints each patch.
#include <gtest/gtest.h>

#include <cmath>

#include "chart_geometry.h"
#include "colour_view.h"
#include "hxtvel.h"

namespace {

using namespace hxcli;

// sRGB colours and their CIELAB under D50 (ICC: Bradford from D65) and D65.
struct Published {
    const char *name;
    conditions white;
    velCIELab lab;
    int r, g, b;
    bool clipped;
};
class LabToSrgb : public testing::TestWithParam<Published> {};
TEST_P(LabToSrgb, MatchesPublishedValues) {
    const Published &p = GetParam();
    const srgb8 c = lab_to_srgb(p.lab, white_point(p.white));
    EXPECT_NEAR(c.r, p.r, 1);
    EXPECT_NEAR(c.g, p.g, 1);
    EXPECT_NEAR(c.b, p.b, 1);
    EXPECT_EQ(c.clipped, p.clipped);
}
const conditions kD50{}, kD65{HXTVEL_LIGHT_D65, HXTVEL_OBSERVER_2};
INSTANTIATE_TEST_SUITE_P(
    Colours, LabToSrgb,
    testing::Values(Published{"red_d50", kD50, {54.29, 80.81, 69.89}, 255, 0, 0, false},
                    Published{"green_d50", kD50, {87.82, -79.29, 80.99}, 0, 255, 0, false},
                    Published{"blue_d50", kD50, {29.57, 68.30, -112.03}, 0, 0, 255, false},
                    Published{"white_d50", kD50, {100, 0, 0}, 255, 255, 255, false},
                    Published{"grey_d50", kD50, {50, 0, 0}, 119, 119, 119, false},
                    Published{"red_d65", kD65, {53.24, 80.09, 67.20}, 255, 0, 0, false},
                    Published{"beyond_blue", kD50, {50, 0, -128}, 0, 131, 255, true}),
    [](const testing::TestParamInfo<Published> &i) { return std::string(i.param.name); });

TEST(SplitDifference, LightnessChromaAndSignedHue) {
    const velCIELab grey{50, 0, 0}, red{50, 10, 0}, yellow{50, 0, 10};
    const lab_delta turn = split_difference(red, yellow);  // a quarter turn counter-clockwise
    EXPECT_DOUBLE_EQ(turn.dL, 0);
    EXPECT_NEAR(turn.dC, 0, 1e-12);
    EXPECT_NEAR(turn.dH, std::sqrt(200.0), 1e-12);
    EXPECT_NEAR(split_difference(yellow, red).dH, -std::sqrt(200.0), 1e-12);
    const lab_delta lighter = split_difference(grey, {60, 3, 4});
    EXPECT_DOUBLE_EQ(lighter.dL, 10);
    EXPECT_DOUBLE_EQ(lighter.dC, 5);
    EXPECT_NEAR(lighter.dH, 0, 1e-6);
}

// Every layout: the chart drawn by the library in memory, and each patch's
// colour found in the cell that the geometry names.
class GeometryPlaces : public testing::TestWithParam<layout_name> {};
TEST_P(GeometryPlaces, EachPatchWhereTheLibraryPaintsIt) {
    const layout_name &l = GetParam();
    constexpr uint32_t kPatches = 7;
    // 3 columns and 2 rows a page at 254 dpi with 3 mm patches: 7 patches on 2 pages.
    const velPAreaStruct s{kPatches, 120, 80, 254, 30, 30, l.first, l.second, 0};
    std::vector<velRGB> colours(kPatches);
    for (uint32_t n = 0; n < kPatches; ++n) colours[n] = {double(n * 30), double(255 - n * 30), 7};
    void *c = HXTVEL_CreateMChartInstance();
    ASSERT_EQ(HXTVEL_SetMChartSetting(c, s), 0u);
    ASSERT_EQ(HXTVEL_SetMChartData_RGB(c, colours.data(), kPatches), 0u);
    unsigned long long size = 0;
    uint32_t pages = 0;
    ASSERT_EQ(HXTVEL_CreateTiff_M(c, nullptr, &size, &pages, HXTVEL_POSBAR_OFF), 0u);
    std::vector<unsigned char> image(size);
    ASSERT_EQ(HXTVEL_CreateTiff_M(c, image.data(), &size, &pages, HXTVEL_POSBAR_OFF), 0u);
    std::vector<velMChartStruct> records(pages);
    ASSERT_EQ(HXTVEL_GetMChartData(c, records.data(), HXTVEL_UNIT_PIXEL), 0u);
    std::vector<unsigned long long> page_at(pages + 1, 0);
    for (uint32_t p = 0; p < pages; ++p) {
        unsigned long long bytes = 0;
        HXTVEL_GetPageSize(c, p, &bytes);
        page_at[p + 1] = page_at[p] + bytes;
    }
    HXTVEL_DeleteMChartInstance(c);

    uint32_t code = 1;
    const chart_geometry g = chart_geometry::of_setting(s, false, code);
    ASSERT_EQ(code, 0u);
    ASSERT_EQ(g.pages.size(), 2u);
    for (uint32_t n = 0; n < kPatches; ++n) {
        const chart_geometry::place at = g.where(n);
        const velMChartStruct &r = records[at.page];
        const uint32_t margin = std::max(1u, r.patch_width / 2);
        const uint64_t x = r.sidebar_left + margin + at.column * r.patch_width + r.patch_width / 2;
        const uint64_t y = r.grid_top + at.row * r.patch_height + r.patch_height / 2;
        const unsigned char *pixel = image.data() + page_at[at.page] + 216 + (y * r.image_width + x) * 3;
        EXPECT_EQ(pixel[0], n * 30) << l.name << " patch " << n;
        EXPECT_EQ(pixel[1], 255 - n * 30) << l.name << " patch " << n;
    }
}
INSTANTIATE_TEST_SUITE_P(Layouts, GeometryPlaces, testing::ValuesIn(layouts()),
                         [](const testing::TestParamInfo<layout_name> &i) {
                             std::string name = i.param.name;
                             name[2] = '_';
                             return name;
                         });

}  // namespace
