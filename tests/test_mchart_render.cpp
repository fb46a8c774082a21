// Chart pages drawn to memory and to files, decoded with libtiff and checked
// pixel by pixel: patch order of every layout code over several pages,
// filler cells, side bars, the bar below the grid, page records, result
// codes and trace texts.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "hxtvel_mchart.h"
#include "hxtvel_mchartcreate.h"
#include "test_support.h"
#include "tiff_decode.h"
#include "trace_capture.h"

using namespace hxtvel_test;

namespace {

// At 254 dpi a tenth of a millimetre is one pixel.
constexpr uint32_t kRes = 254;
constexpr uint32_t kBarH = 254 * 184 / 300;              // 155 rows
constexpr uint32_t kBarW = 2 * 36 + 14 * 71;              // 1066 pixels
const uint8_t kCorner[8] = {8, 8, 4, 4, 2, 2, 1, 1};      // by layout code
const uint8_t kDirection[8] = {4, 1, 8, 1, 4, 2, 8, 2};

// Grid cell (row, column) of patch n for each layout code, in a grid of
// `rows` x `cols` cells.
std::pair<uint32_t, uint32_t> cell_of(int code, uint32_t n, uint32_t rows, uint32_t cols) {
    switch (code) {
        case 0: return {n / cols, n % cols};
        case 1: return {n % rows, n / rows};
        case 2: return {n / cols, cols - 1 - n % cols};
        case 3: return {n % rows, cols - 1 - n / rows};
        case 4: return {rows - 1 - n / cols, n % cols};
        case 5: return {rows - 1 - n % rows, n / rows};
        case 6: return {rows - 1 - n / cols, cols - 1 - n % cols};
        default: return {rows - 1 - n % rows, cols - 1 - n / rows};
    }
}

std::vector<velRGB> rgb_colours(uint32_t n) {
    std::vector<velRGB> v(n);
    for (uint32_t i = 0; i < n; ++i) v[i] = {double(16 + i % 200) + 0.9, double(40 + (i * 7) % 200), double(90 + i % 150)};
    return v;
}
std::vector<uint8_t> rgb_bytes(uint32_t i) {
    return {uint8_t(16 + i % 200), uint8_t(40 + (i * 7) % 200), uint8_t(90 + i % 150)};
}
std::vector<velCMYK> cmyk_colours(uint32_t n) {
    std::vector<velCMYK> v(n);
    for (uint32_t i = 0; i < n; ++i) v[i] = {double(i % 90) + 5, 50, 100, double(i % 7)};
    return v;
}
std::vector<uint8_t> cmyk_bytes(uint32_t i) {  // percent * 255 / 100, truncated
    return {uint8_t((i % 90 + 5) * 255 / 100), 127, 255, uint8_t((i % 7) * 255 / 100)};
}

std::vector<uint8_t> white(int s) { return s == 3 ? std::vector<uint8_t>{255, 255, 255} : std::vector<uint8_t>{0, 0, 0, 0}; }
std::vector<uint8_t> black(int s) { return s == 3 ? std::vector<uint8_t>{0, 0, 0} : std::vector<uint8_t>{0, 0, 0, 255}; }

class ChartTest : public testing::Test {
protected:
    void SetUp() override { h_ = HXTVEL_CreateMChartInstance(); }
    void TearDown() override { HXTVEL_DeleteMChartInstance(h_); }

    void setup(velPAreaStruct s, bool cmyk) {
        setting_ = s;
        samples_ = cmyk ? 4 : 3;
        ASSERT_EQ(HXTVEL_SetMChartSetting(h_, s), 0u);
        if (cmyk) {
            ASSERT_EQ(HXTVEL_SetMChartData_CMYK(h_, cmyk_colours(s.patch_count).data(), s.patch_count), 0u);
        } else {
            ASSERT_EQ(HXTVEL_SetMChartData_RGB(h_, rgb_colours(s.patch_count).data(), s.patch_count), 0u);
        }
    }
    std::vector<uint8_t> colour(uint32_t patch) const { return samples_ == 4 ? cmyk_bytes(patch) : rgb_bytes(patch); }

    // Draws to memory; returns the pages, each checked for its layout.
    std::vector<std::vector<uint8_t>> draw_memory(HXTVEL_PosBar bar, uint32_t *pages_out = nullptr) {
        unsigned long long size = 0;
        uint32_t pages = 0;
        EXPECT_EQ(HXTVEL_CreateTiff_M(h_, nullptr, &size, &pages, bar), 0u);
        std::vector<uint8_t> block(size, 0xEE);
        EXPECT_EQ(HXTVEL_CreateTiff_M(h_, block.data(), &size, &pages, bar), 0u);
        if (pages_out) *pages_out = pages;
        std::vector<std::vector<uint8_t>> out;
        uint64_t at = 0;
        for (uint32_t p = 0; p < pages; ++p) {
            unsigned long long n = 0;
            EXPECT_EQ(HXTVEL_GetPageSize(h_, p, &n), 0u);
            out.emplace_back(block.begin() + at, block.begin() + at + n);
            at += n;
        }
        EXPECT_EQ(at, size) << "pages fill the block exactly";
        return out;
    }
    std::vector<velMChartStruct> records(uint32_t pages) {
        std::vector<velMChartStruct> r(pages);
        EXPECT_EQ(HXTVEL_GetMChartData(h_, r.data(), HXTVEL_UNIT_PIXEL), 0u);
        return r;
    }

    void *h_ = nullptr;
    velPAreaStruct setting_{};
    int samples_ = 3;
};

// --- every layout code over two pages, memory and files ---------------------------

struct LayoutCase {
    int code;
    bool cmyk;
};

class Layouts : public ChartTest, public testing::WithParamInterface<LayoutCase> {};

// 10 patches of 40 x 30 px in 4 columns (12 cells, 3 grid rows); with the
// 155-row bar two grid rows fit on a page, so the chart takes two pages;
// the 200-px page is widened to the 1066-px bar and the grid centred.
TEST_P(Layouts, PatchOrderSideBarsAndBar) {
    const int code = GetParam().code;
    const uint32_t whitebar = 5;  // 4 rows at 254 dpi
    setup({10, 200, 230, kRes, 40, 30, kCorner[code], kDirection[code], whitebar}, GetParam().cmyk);
    const int s = samples_;
    const uint32_t cols = 4, grid_rows = 3, pw = 40, ph = 30, margin = 20, w = 4;
    const uint32_t left = (kBarW - cols * pw) / 2;  // 453
    std::vector<uint32_t> patch_at(cols * grid_rows);
    for (uint32_t n = 0; n < cols * grid_rows; ++n) {
        const auto rc = cell_of(code, n, grid_rows, cols);
        patch_at[rc.first * cols + rc.second] = n;
    }

    uint32_t pages = 0;
    const auto mem = draw_memory(HXTVEL_POSBAR_ON, &pages);
    ASSERT_EQ(pages, 2u);
    const auto recs = records(pages);

    // The bar alone, from another instance, for comparison.
    hxtvel::c_mchart other;
    unsigned long long bar_size = 0;
    ASSERT_EQ(other.createpositioningbar(nullptr, &bar_size, s == 4 ? 2 : 1, kRes), 0u);
    std::vector<uint8_t> bar_block(bar_size);
    ASSERT_EQ(other.createpositioningbar(bar_block.data(), &bar_size, s == 4 ? 2 : 1, kRes), 0u);
    Image bar;
    ASSERT_TRUE(decode_tiff(bar_block.data(), bar_block.size(), bar));
    ASSERT_EQ(bar.width, kBarW);

    TempDir dir;
    uint32_t file_pages = 0;
    ASSERT_EQ(HXTVEL_CreateTiff(h_, dir.file("chart").c_str(), &file_pages, HXTVEL_POSBAR_ON), 0u);
    ASSERT_EQ(file_pages, 2u);
    EXPECT_FALSE(file_exists(dir.file("chart2.tif")));

    for (uint32_t p = 0; p < pages; ++p) {
        SCOPED_TRACE("page " + std::to_string(p));
        const uint32_t rows_here = p == 0 ? 2 : 1;
        const uint32_t height = rows_here * ph + kBarH;
        check_tiff_layout(mem[p].data(), mem[p].size(), kBarW, height, uint16_t(s), s == 4 ? 5 : 2, kRes);
        Image img;
        ASSERT_TRUE(decode_tiff(mem[p].data(), mem[p].size(), img));
        ASSERT_EQ(img.height, height);

        uint32_t real = 0;
        for (uint32_t r = 0; r < rows_here; ++r)
            for (uint32_t c = 0; c < cols; ++c) {
                const uint32_t n = patch_at[(p * 2 + r) * cols + c];
                real += n < 10;
                const auto want = n < 10 ? colour(n) : white(s);
                // The whole cell: corners and centre.
                for (uint32_t dy : {0u, ph / 2, ph - 1})
                    for (uint32_t dx : {0u, pw / 2, pw - 1})
                        ASSERT_EQ(img.pixel(left + c * pw + dx, r * ph + dy), want)
                            << "cell " << r << "," << c << " patch " << n;
            }
        for (uint32_t y = 0; y < rows_here * ph; ++y) {
            ASSERT_EQ(img.pixel(left - margin, y), black(s)) << y;
            ASSERT_EQ(img.pixel(left - 1, y), black(s)) << y;
            ASSERT_EQ(img.pixel(left + cols * pw, y), black(s)) << y;
            ASSERT_EQ(img.pixel(left + cols * pw + margin - 1, y), black(s)) << y;
            ASSERT_EQ(img.pixel(left - margin - 1, y), white(s)) << y;
            ASSERT_EQ(img.pixel(0, y), white(s)) << y;
            ASSERT_EQ(img.pixel(left + cols * pw + margin, y), white(s)) << y;
            ASSERT_EQ(img.pixel(kBarW - 1, y), white(s)) << y;
        }
        // Below the grid: exactly the bar image.
        const uint64_t row_bytes = uint64_t(kBarW) * s;
        EXPECT_EQ(0, std::memcmp(img.at(0, rows_here * ph), bar.pixels.data(), row_bytes * kBarH));

        const velMChartStruct &rec = recs[p];
        EXPECT_EQ(rec.patch_count, real);
        if (kDirection[code] == 4 || kDirection[code] == 8) {
            EXPECT_EQ(rec.columns, std::min(real, cols));
            EXPECT_EQ(rec.rows, (real + rec.columns - 1) / rec.columns);
        } else {
            EXPECT_EQ(rec.rows, std::min(real, rows_here));
            EXPECT_EQ(rec.columns, (real + rec.rows - 1) / rec.rows);
        }
        EXPECT_EQ(rec.image_width, kBarW);
        EXPECT_EQ(rec.image_height, height);
        EXPECT_EQ(rec.sidebar_left, left - margin);
        EXPECT_EQ(rec.grid_top, 0u);
        EXPECT_EQ(rec.resolution, kRes);
        EXPECT_EQ(rec.patch_width, pw);
        EXPECT_EQ(rec.patch_height, ph);
        EXPECT_EQ(rec.bar_left, 0u);
        EXPECT_EQ(rec.bar_top, rows_here * ph);
        EXPECT_EQ(rec.layout_first, kCorner[code]);
        EXPECT_EQ(rec.layout_second, kDirection[code]);

        // The file page: the same pixels except the side bars' white breaks
        // in the top and bottom W rows of each grid row.
        Image from_file;
        ASSERT_TRUE(decode_tiff_file(dir.file("chart" + std::to_string(p) + ".tif"), from_file));
        check_tiff_layout(reinterpret_cast<const uint8_t *>(read_file(dir.file("chart" + std::to_string(p) + ".tif")).data()),
                          mem[p].size(), kBarW, height, uint16_t(s), s == 4 ? 5 : 2, kRes);
        Image expected = img;
        for (uint32_t y = 0; y < rows_here * ph; ++y) {
            if (y % ph >= w && y % ph < ph - w) continue;
            for (uint32_t x : {left - margin, left + cols * pw})
                for (uint32_t i = 0; i < margin; ++i)
                    std::memcpy(expected.pixels.data() + (uint64_t(y) * kBarW + x + i) * s, white(s).data(), s);
        }
        EXPECT_TRUE(from_file.pixels == expected.pixels) << "file pixels differ beyond the side-bar breaks";
    }
}

INSTANTIATE_TEST_SUITE_P(AllCodes, Layouts,
                         testing::Values(LayoutCase{0, false}, LayoutCase{1, true}, LayoutCase{2, false},
                                         LayoutCase{3, true}, LayoutCase{4, false}, LayoutCase{5, true},
                                         LayoutCase{6, true}, LayoutCase{7, false}),
                         [](const testing::TestParamInfo<LayoutCase> &i) {
                             return "code" + std::to_string(i.param.code) + (i.param.cmyk ? "_CMYK" : "_RGB");
                         });

// --- single pages -------------------------------------------------------------------

TEST_F(ChartTest, WithoutBarTheGridFillsThePage) {
    setup({10, 200, 230, kRes, 40, 30, 8, 4, 0}, false);
    uint32_t pages = 0;
    const auto mem = draw_memory(HXTVEL_POSBAR_OFF, &pages);
    ASSERT_EQ(pages, 1u);  // 7 grid rows fit
    Image img;
    ASSERT_TRUE(decode_tiff(mem[0].data(), mem[0].size(), img));
    EXPECT_EQ(img.width, 200u);
    EXPECT_EQ(img.height, 90u);
    EXPECT_EQ(img.pixel(0, 0), black(3));        // side bar at the page edge
    EXPECT_EQ(img.pixel(199, 89), black(3));
    EXPECT_EQ(img.pixel(20 + 2 * 40 + 5, 2 * 30 + 5), white(3));  // filler cell 10
    EXPECT_EQ(img.pixel(20 + 1 * 40 + 5, 2 * 30 + 5), rgb_bytes(9));
    const auto rec = records(1)[0];
    EXPECT_EQ(rec.sidebar_left, 0u);
    EXPECT_EQ(rec.bar_top, 0u);
    EXPECT_EQ(rec.rows, 3u);
    EXPECT_EQ(rec.columns, 4u);

    // Without white breaks the file is the memory page, byte for byte.
    TempDir dir;
    ASSERT_EQ(HXTVEL_CreateTiff(h_, dir.file("p").c_str(), &pages, HXTVEL_POSBAR_OFF), 0u);
    const std::string file = read_file(dir.file("p0.tif"));
    EXPECT_TRUE(file == std::string(mem[0].begin(), mem[0].end()));

    // Drawn again, the same bytes; records in tenths of a millimetre.
    EXPECT_TRUE(draw_memory(HXTVEL_POSBAR_OFF) == mem);
    velMChartStruct tenths{};
    ASSERT_EQ(HXTVEL_GetMChartData(h_, &tenths, HXTVEL_UNIT_TENTH_MM), 0u);
    EXPECT_EQ(tenths.image_width, 200u);
    EXPECT_EQ(tenths.patch_height, 30u);
    unsigned long long size = 7;
    EXPECT_EQ(HXTVEL_GetPageSize(h_, 1, &size), 0u);  // the index equal to the count reads 0
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(HXTVEL_GetPageSize(h_, 2, &size), 206u);
}

TEST_F(ChartTest, ColourBytes) {
    setup({4, 200, 230, kRes, 40, 30, 8, 4, 0}, false);
    const velRGB rgb[4] = {{255.9, 0.0, 127.99}, {0, 0, 0}, {1, 2, 3}, {-0.5, 0.99, 300}};
    ASSERT_EQ(HXTVEL_SetMChartData_RGB(h_, rgb, 4), 0u);
    auto mem = draw_memory(HXTVEL_POSBAR_OFF);
    Image img;
    ASSERT_TRUE(decode_tiff(mem[0].data(), mem[0].size(), img));
    EXPECT_EQ(img.pixel(20 + 5, 5), (std::vector<uint8_t>{255, 0, 127}));
    EXPECT_EQ(img.pixel(20 + 3 * 40 + 5, 5), (std::vector<uint8_t>{0, 0, 300 - 256}));

    const velCMYK cmyk[4] = {{100, 50, 0, 99.9}, {0, 0, 0, 0}, {1, 1, 1, 1}, {25, 75, 33.3, 66.7}};
    ASSERT_EQ(HXTVEL_SetMChartData_CMYK(h_, cmyk, 4), 0u);
    mem = draw_memory(HXTVEL_POSBAR_OFF);
    ASSERT_TRUE(decode_tiff(mem[0].data(), mem[0].size(), img));
    EXPECT_EQ(img.photometric, PHOTOMETRIC_SEPARATED);
    EXPECT_EQ(img.pixel(20 + 5, 5), (std::vector<uint8_t>{255, 127, 0, 254}));
    EXPECT_EQ(img.pixel(20 + 3 * 40 + 5, 5), (std::vector<uint8_t>{63, 191, 84, 170}));
}

// More than 32 MiB: two strips of 1000 rows, in memory and in a file.
TEST_F(ChartTest, LargePageInStrips) {
    setup({45, 5800, 2000, kRes, 580, 400, 8, 4, 0}, false);
    uint32_t pages = 0;
    const auto mem = draw_memory(HXTVEL_POSBAR_OFF, &pages);
    ASSERT_EQ(pages, 1u);
    check_tiff_layout(mem[0].data(), mem[0].size(), 5800, 2000, 3, 2, kRes);
    EXPECT_EQ(rd16(mem[0].data(), 10 + 9 * 12 + 8), 1000u);  // RowsPerStrip
    Image img;
    ASSERT_TRUE(decode_tiff(mem[0].data(), mem[0].size(), img));
    for (uint32_t n = 0; n < 45; ++n)
        ASSERT_EQ(img.pixel(290 + (n % 9) * 580 + 290, (n / 9) * 400 + 200), rgb_bytes(n)) << n;
    TempDir dir;
    ASSERT_EQ(HXTVEL_CreateTiff(h_, dir.file("big").c_str(), &pages, HXTVEL_POSBAR_OFF), 0u);
    EXPECT_TRUE(read_file(dir.file("big0.tif")) == std::string(mem[0].begin(), mem[0].end()));
}

// A page of more than 65535 rows in one strip: RowsPerStrip needs a LONG.
TEST_F(ChartTest, TallNarrowPage) {
    setup({70000, 3, 59267, 300, 1, 1, 8, 4, 0}, true);
    uint32_t pages = 0;
    const auto mem = draw_memory(HXTVEL_POSBAR_OFF, &pages);
    ASSERT_EQ(pages, 1u);
    check_tiff_layout(mem[0].data(), mem[0].size(), 3, 70000, 4, 5, 300);
    Image img;
    ASSERT_TRUE(decode_tiff(mem[0].data(), mem[0].size(), img));
    EXPECT_EQ(img.pixel(1, 69999), cmyk_bytes(69999));
}

// --- result codes --------------------------------------------------------------------

TEST_F(ChartTest, MemoryResultCodes) {
    unsigned long long size = 0;
    uint32_t pages = 9;
    auto *chart = static_cast<hxtvel::c_mchart *>(h_);
    EXPECT_EQ(HXTVEL_CreateTiff_M(h_, nullptr, &size, &pages, HXTVEL_POSBAR_ON), 202u);  // no setting
    EXPECT_EQ(pages, 0u);
    EXPECT_EQ(HXTVEL_CreateTiff_M(h_, nullptr, nullptr, &pages, HXTVEL_POSBAR_ON), 206u);
    EXPECT_EQ(HXTVEL_CreateTiff_M(h_, nullptr, &size, nullptr, HXTVEL_POSBAR_ON), 206u);
    EXPECT_EQ(chart->createtiff(nullptr, &size, &pages, 2), 206u);

    ASSERT_EQ(HXTVEL_SetMChartSetting(h_, velPAreaStruct{10, 200, 230, kRes, 40, 30, 8, 4, 0}), 0u);
    ASSERT_EQ(HXTVEL_CreateTiff_M(h_, nullptr, &size, &pages, HXTVEL_POSBAR_ON), 0u);  // colours not needed
    std::vector<uint8_t> block(size);
    EXPECT_EQ(HXTVEL_CreateTiff_M(h_, block.data(), &size, &pages, HXTVEL_POSBAR_ON), 203u);
    ASSERT_EQ(HXTVEL_SetMChartData_RGB(h_, rgb_colours(10).data(), 10), 0u);
    unsigned long long wrong = size - 1;
    pages = 9;
    EXPECT_EQ(HXTVEL_CreateTiff_M(h_, block.data(), &wrong, &pages, HXTVEL_POSBAR_ON), 206u);
    EXPECT_EQ(pages, 0u);
    // A CMYK bar image leaves the instance set for CMYK, which has no colours.
    ASSERT_EQ(chart->createpositioningbar(nullptr, &wrong, 2, 300), 0u);
    EXPECT_EQ(HXTVEL_CreateTiff_M(h_, block.data(), &size, &pages, HXTVEL_POSBAR_ON), 203u);
    ASSERT_EQ(HXTVEL_SetMChartData_RGB(h_, rgb_colours(10).data(), 10), 0u);
    EXPECT_EQ(HXTVEL_CreateTiff_M(h_, block.data(), &size, &pages, HXTVEL_POSBAR_ON), 0u);
    // A new setting with another patch count needs new colours.
    ASSERT_EQ(HXTVEL_SetMChartSetting(h_, velPAreaStruct{12, 200, 230, kRes, 40, 30, 8, 4, 0}), 0u);
    EXPECT_EQ(HXTVEL_CreateTiff_M(h_, block.data(), &size, &pages, HXTVEL_POSBAR_ON), 203u);
    // A rejected layout pair leaves no layout: the pages cannot be ordered.
    ASSERT_EQ(HXTVEL_SetMChartSetting(h_, velPAreaStruct{10, 200, 230, kRes, 40, 30, 8, 4, 0}), 0u);
    ASSERT_EQ(HXTVEL_SetMChartData_RGB(h_, rgb_colours(10).data(), 10), 0u);
    ASSERT_EQ(HXTVEL_SetMChartSetting(h_, velPAreaStruct{10, 200, 230, kRes, 40, 30, 2, 8, 0}), 206u);
    EXPECT_EQ(HXTVEL_CreateTiff_M(h_, block.data(), &size, &pages, HXTVEL_POSBAR_ON), 205u);
}

struct GeometryCase {
    const char *name;
    velPAreaStruct s;
    HXTVEL_PosBar bar;
    uint32_t code;
};

class Geometry : public ChartTest, public testing::WithParamInterface<GeometryCase> {};

TEST_P(Geometry, SizeQuery) {
    ASSERT_EQ(HXTVEL_SetMChartSetting(h_, GetParam().s), 0u);
    unsigned long long size = 5;
    uint32_t pages = 5;
    EXPECT_EQ(HXTVEL_CreateTiff_M(h_, nullptr, &size, &pages, GetParam().bar), GetParam().code);
    if (GetParam().code) {
        EXPECT_EQ(size, 0u);
        EXPECT_EQ(pages, 0u);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Pages, Geometry,
    testing::Values(
        // 230 rows less the 155-row bar leave 75: two rows of 30
        GeometryCase{"fits", {10, 200, 230, kRes, 40, 30, 8, 4, 0}, HXTVEL_POSBAR_ON, 0},
        GeometryCase{"bar_fills_page", {10, 200, 155, kRes, 40, 30, 8, 4, 0}, HXTVEL_POSBAR_ON, 202},
        GeometryCase{"patch_taller_than_rest", {10, 200, 184, kRes, 40, 30, 8, 4, 0}, HXTVEL_POSBAR_ON, 202},
        GeometryCase{"patch_fits_without_bar", {10, 200, 184, kRes, 40, 30, 8, 4, 0}, HXTVEL_POSBAR_OFF, 0},
        GeometryCase{"patch_wider_than_page", {10, 100, 230, kRes, 80, 30, 8, 4, 0}, HXTVEL_POSBAR_ON, 202},
        GeometryCase{"patch_rounds_to_zero", {10, 200, 230, 30, 4, 300, 8, 4, 0}, HXTVEL_POSBAR_ON, 202},
        // 472440 x 236220 pixels: far beyond 4 GiB
        GeometryCase{"page_over_4GiB", {1, 100000, 60000, 1200, 50000, 50000, 8, 4, 0}, HXTVEL_POSBAR_OFF, 204}),
    [](const testing::TestParamInfo<GeometryCase> &i) { return std::string(i.param.name); });

TEST_F(ChartTest, TotalOfManyPages) {
    // One patch per page: 1000 pages of 80 x 30 px (margins of 20, one column).
    setup({1000, 80, 30, kRes, 40, 30, 8, 4, 0}, false);
    unsigned long long size = 0;
    uint32_t pages = 0;
    ASSERT_EQ(HXTVEL_CreateTiff_M(h_, nullptr, &size, &pages, HXTVEL_POSBAR_OFF), 0u);
    EXPECT_EQ(pages, 1000u);
    EXPECT_EQ(size, 1000u * (216u + 80u * 30u * 3u));
    const auto mem = draw_memory(HXTVEL_POSBAR_OFF);
    ASSERT_EQ(mem.size(), 1000u);
    Image img;
    ASSERT_TRUE(decode_tiff(mem[999].data(), mem[999].size(), img));
    EXPECT_EQ(img.pixel(40, 15), rgb_bytes(999));
}

TEST_F(ChartTest, FileResultCodes) {
    TempDir dir;
    uint32_t pages = 9;
    auto *chart = static_cast<hxtvel::c_mchart *>(h_);
    EXPECT_EQ(HXTVEL_CreateTiff(h_, nullptr, &pages, HXTVEL_POSBAR_ON), 206u);
    EXPECT_EQ(HXTVEL_CreateTiff(h_, dir.file("c").c_str(), nullptr, HXTVEL_POSBAR_ON), 206u);
    EXPECT_EQ(chart->createtiff(dir.file("c").c_str(), &pages, 2), 206u);
    EXPECT_EQ(HXTVEL_CreateTiff(h_, dir.file("c").c_str(), &pages, HXTVEL_POSBAR_ON), 203u);

    setup({10, 200, 230, kRes, 40, 30, 8, 4, 0}, false);
    EXPECT_EQ(HXTVEL_CreateTiff(h_, dir.file("no/such/dir/c").c_str(), &pages, HXTVEL_POSBAR_ON), 208u);
    {
        TraceCapture trace;
        const std::string long_path(1017, 'x');
        EXPECT_EQ(HXTVEL_CreateTiff(h_, long_path.c_str(), &pages, HXTVEL_POSBAR_ON), 206u);
        const auto lines = trace.lines();
        EXPECT_NE(std::find(lines.begin(), lines.end(), "Debug:File path is too long."), lines.end());
    }
    // 1016 characters pass the check (and fail to open here: 208).
    EXPECT_EQ(HXTVEL_CreateTiff(h_, (dir.path() + "/" + std::string(1015 - dir.path().size(), 'y')).c_str(),
                                &pages, HXTVEL_POSBAR_ON),
              208u);

    // A full disk on the second page: 209; the first page stays valid and
    // the page count is not lowered.
    ASSERT_EQ(symlink("/dev/full", dir.file("full1.tif").c_str()), 0);
    pages = 0;
    EXPECT_EQ(HXTVEL_CreateTiff(h_, dir.file("full").c_str(), &pages, HXTVEL_POSBAR_ON), 209u);
    EXPECT_EQ(pages, 2u);
    Image first;
    EXPECT_TRUE(decode_tiff_file(dir.file("full0.tif"), first));
    unsigned long long size = 0;
    EXPECT_EQ(HXTVEL_GetPageSize(h_, 0, &size), 0u);
    EXPECT_EQ(size, read_file(dir.file("full0.tif")).size());
    // On the first page, with and without the bar.
    ASSERT_EQ(symlink("/dev/full", dir.file("zero0.tif").c_str()), 0);
    EXPECT_EQ(HXTVEL_CreateTiff(h_, dir.file("zero").c_str(), &pages, HXTVEL_POSBAR_ON), 209u);
    EXPECT_EQ(HXTVEL_CreateTiff(h_, dir.file("zero").c_str(), &pages, HXTVEL_POSBAR_OFF), 209u);
}

// --- trace texts -----------------------------------------------------------------------

std::vector<std::string> chart_messages(const TraceCapture &trace) {
    std::vector<std::string> out;
    for (const std::string &l : trace.lines())
        if (l.rfind("Debug:", 0) == 0 && l.find("enter") == std::string::npos &&
            l.find("leave") == std::string::npos && l.find("c_lock") == std::string::npos)
            out.push_back(l);
        else if (l.find("createtiff") != std::string::npos)
            out.push_back(l);
    return out;
}

TEST_F(ChartTest, TraceTexts) {
    setup({10, 200, 230, kRes, 40, 30, 8, 4, 0}, true);
    TempDir dir;
    TraceCapture trace;
    draw_memory(HXTVEL_POSBAR_ON);
    uint32_t pages = 0;
    ASSERT_EQ(HXTVEL_CreateTiff(h_, dir.file("t").c_str(), &pages, HXTVEL_POSBAR_ON), 0u);
    const unsigned long long total = (218ull + kBarW * 215 * 4) + (218ull + kBarW * 185 * 4);
    std::vector<std::string> want = {
        "Info:createtiff in",
        "Debug:createtiff 'NULL' mode [total:" + std::to_string(total) + " byte]",
        "Info:createtiff out",
        "Info:createtiff in",
        "Debug:createtiff_m full patch [12]",
        "Debug:make patch order map",
    };
    for (int p = 0; p < 2; ++p)
        for (const char *t : {"Debug:createtiff_m:Make TIFF Image Start", "Debug:createtiff_m:drawing positioning bar",
                              "Debug:createtiff_m:positioning bar comp."})
            want.push_back(t);
    want.push_back("Debug:createtiff_m p_map_ delete");
    want.push_back("Info:createtiff out");
    want.push_back("Info:createtiff to file in");
    want.push_back("Debug:createtiff_f full patch [12]");
    want.push_back("Debug:make patch order map");
    for (int p = 0; p < 2; ++p) {
        want.push_back("Debug:createtiff_f file open success [name:" + dir.file("t" + std::to_string(p) + ".tif") + "]");
        want.push_back("Debug:createtiff_f:Write TIFF Image Start");
        want.push_back("Debug:createtiff_f:drawing positioning bar");
        want.push_back("Debug:createtiff_f:positioning bar comp.");
    }
    want.push_back("Debug:createtiff_f tiffdata_cmyk_ delete");
    want.push_back("Debug:createtiff_f p_map_ delete");
    want.push_back("Info:createtiff to file out");
    EXPECT_EQ(chart_messages(trace), want);
}

}  // namespace
