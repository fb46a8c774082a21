// Chart pages drawn to memory and to files, decoded with libtiff and checked
// pixel by pixel: patch order of every layout code, filler cells, side bars,
// the bar below the grid, page records, result codes and trace texts.
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
constexpr uint32_t kBarH = 254 * 184 / 300;          // 155 rows
constexpr uint32_t kBarW = 2 * 36 + 14 * 71;          // 1066 pixels
const uint8_t kCorner[8] = {8, 8, 4, 4, 2, 2, 1, 1};  // by layout code
const uint8_t kDirection[8] = {4, 1, 8, 1, 4, 2, 8, 2};
const velPAreaStruct kSmall{10, 200, 230, kRes, 40, 30, 8, 4, 0};  // 4 columns, 2 grid rows beside the bar

// Grid cell (row, column) of patch n for each layout code.
std::pair<uint32_t, uint32_t> cell_of(int code, uint32_t n, uint32_t rows, uint32_t cols) {
    const uint32_t r = code % 2 ? n % rows : n / cols, c = code % 2 ? n / rows : n % cols;
    return {code & 4 ? rows - 1 - r : r, code & 2 ? cols - 1 - c : c};
}

std::vector<velRGB> rgb_colours(uint32_t n) {
    std::vector<velRGB> v(n);
    for (uint32_t i = 0; i < n; ++i) v[i] = {16.9 + i % 200, double(40 + (i * 7) % 200), double(90 + i % 150)};
    return v;
}
std::vector<uint8_t> rgb_bytes(uint32_t i) {  // truncated
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
std::vector<uint8_t> white(int s) { return s == 3 ? std::vector<uint8_t>{255, 255, 255} : std::vector<uint8_t>(4, 0); }
std::vector<uint8_t> black(int s) { return s == 3 ? std::vector<uint8_t>(3, 0) : std::vector<uint8_t>{0, 0, 0, 255}; }

class ChartTest : public testing::Test {
protected:
    void SetUp() override { h_ = HXTVEL_CreateMChartInstance(); }
    void TearDown() override { HXTVEL_DeleteMChartInstance(h_); }

    void setup(velPAreaStruct s, bool cmyk) {
        samples_ = cmyk ? 4 : 3;
        ASSERT_EQ(HXTVEL_SetMChartSetting(h_, s), 0u);
        ASSERT_EQ(cmyk ? HXTVEL_SetMChartData_CMYK(h_, cmyk_colours(s.patch_count).data(), s.patch_count)
                       : HXTVEL_SetMChartData_RGB(h_, rgb_colours(s.patch_count).data(), s.patch_count),
                  0u);
    }
    // Draws to memory; returns the pages.
    std::vector<std::vector<uint8_t>> draw_memory(HXTVEL_PosBar bar) {
        unsigned long long size = 0;
        uint32_t pages = 0;
        EXPECT_EQ(HXTVEL_CreateTiff_M(h_, nullptr, &size, &pages, bar), 0u);
        std::vector<uint8_t> block(size);
        EXPECT_EQ(HXTVEL_CreateTiff_M(h_, block.data(), &size, &pages, bar), 0u);
        std::vector<std::vector<uint8_t>> out;
        uint64_t at = 0;
        for (unsigned long long n = 0; out.size() < pages; at += n) {
            EXPECT_EQ(HXTVEL_GetPageSize(h_, uint32_t(out.size()), &n), 0u);
            out.emplace_back(block.begin() + at, block.begin() + at + n);
        }
        return out;
    }
    Image decoded(const std::vector<uint8_t> &page) {
        Image img;
        EXPECT_TRUE(decode_tiff(page.data(), page.size(), img));
        return img;
    }

    void *h_ = nullptr;
    int samples_ = 3;
};

// --- every layout code, memory and files ---------------------------------------------

struct LayoutCase {
    int code;
    bool cmyk, bar;
};

class Layouts : public ChartTest, public testing::WithParamInterface<LayoutCase> {};

// 10 patches of 40 x 30 px in 4 columns (12 cells, 3 grid rows). With the
// 155-row bar two grid rows fit on a page, and the 200-px page is widened to
// the bar with the grid centred; without it all three rows fit.
TEST_P(Layouts, PatchOrderSideBarsAndBar) {
    const int code = GetParam().code;
    const bool with_bar = GetParam().bar;
    const HXTVEL_PosBar bar_flag = with_bar ? HXTVEL_POSBAR_ON : HXTVEL_POSBAR_OFF;
    velPAreaStruct setting = kSmall;
    setting.layout_first = kCorner[code];
    setting.layout_second = kDirection[code];
    setting.whitebar_width = with_bar ? 5 : 0;  // 4 rows
    setup(setting, GetParam().cmyk);
    const int s = samples_;
    const uint32_t cols = 4, grid_rows = 3, pw = 40, ph = 30, margin = 20, w = with_bar ? 4 : 0;
    const uint32_t width = with_bar ? kBarW : 200, per_page = with_bar ? 2 : 3, left = (width - cols * pw) / 2;
    std::vector<uint32_t> patch_at(cols * grid_rows);
    for (uint32_t n = 0; n < cols * grid_rows; ++n) {
        const auto rc = cell_of(code, n, grid_rows, cols);
        patch_at[rc.first * cols + rc.second] = n;
    }

    const auto mem = draw_memory(bar_flag);
    ASSERT_EQ(mem.size(), with_bar ? 2u : 1u);
    EXPECT_TRUE(draw_memory(bar_flag) == mem) << "drawn again, other bytes";
    std::vector<velMChartStruct> recs(mem.size());
    ASSERT_EQ(HXTVEL_GetMChartData(h_, recs.data(), HXTVEL_UNIT_PIXEL), 0u);
    unsigned long long after_last = 7;
    EXPECT_EQ(HXTVEL_GetPageSize(h_, uint32_t(mem.size()), &after_last), 0u);  // the index equal to the count reads 0
    EXPECT_EQ(after_last, 0u);
    EXPECT_EQ(HXTVEL_GetPageSize(h_, uint32_t(mem.size()) + 1, &after_last), 206u);

    // The bar alone, from another instance, for comparison.
    hxtvel::c_mchart other;
    unsigned long long bar_size = 0;
    ASSERT_EQ(other.createpositioningbar(nullptr, &bar_size, s == 4 ? 2 : 1, kRes), 0u);
    std::vector<uint8_t> bar_block(bar_size);
    ASSERT_EQ(other.createpositioningbar(bar_block.data(), &bar_size, s == 4 ? 2 : 1, kRes), 0u);
    const Image bar = decoded(bar_block);

    TempDir dir;
    uint32_t file_pages = 0;
    ASSERT_EQ(HXTVEL_CreateTiff(h_, dir.file("chart").c_str(), &file_pages, bar_flag), 0u);
    ASSERT_EQ(file_pages, mem.size());
    EXPECT_FALSE(file_exists(dir.file("chart" + std::to_string(mem.size()) + ".tif")));

    for (uint32_t p = 0; p < mem.size(); ++p) {
        SCOPED_TRACE("page " + std::to_string(p));
        const uint32_t rows_here = std::min(per_page, grid_rows - p * per_page), grid_h = rows_here * ph;
        const uint32_t height = grid_h + (with_bar ? kBarH : 0);
        check_tiff_layout(mem[p].data(), mem[p].size(), width, height, uint16_t(s), s == 4 ? 5 : 2, kRes);
        const Image img = decoded(mem[p]);
        ASSERT_EQ(img.height, height);

        uint32_t real = 0;
        for (uint32_t r = 0; r < rows_here; ++r)
            for (uint32_t c = 0; c < cols; ++c) {
                const uint32_t n = patch_at[(p * per_page + r) * cols + c];
                real += n < 10;
                const auto want = n < 10 ? (s == 4 ? cmyk_bytes(n) : rgb_bytes(n)) : white(s);  // filler cells white
                for (uint32_t dy : {0u, ph / 2, ph - 1})
                    for (uint32_t dx : {0u, pw / 2, pw - 1})
                        ASSERT_EQ(img.pixel(left + c * pw + dx, r * ph + dy), want) << "cell " << r << "," << c;
            }
        // Side bars of the margin's width, white beyond them.
        for (uint32_t y = 0; y < grid_h; ++y)
            for (uint32_t x : {0u, left - margin - 1, left - margin, left - 1, left + cols * pw,
                               left + cols * pw + margin - 1, left + cols * pw + margin, width - 1}) {
                const bool side =
                    x + margin >= left && x < left + cols * pw + margin && (x < left || x >= left + cols * pw);
                if (x < width) {
                    ASSERT_EQ(img.pixel(x, y), side ? black(s) : white(s)) << x << "," << y;
                }
            }
        EXPECT_TRUE(!with_bar || std::memcmp(img.at(0, grid_h), bar.pixels.data(), bar.pixels.size()) == 0) << "bar";

        const velMChartStruct &rec = recs[p];
        const bool by_row = kDirection[code] == 4 || kDirection[code] == 8;
        EXPECT_EQ(rec.patch_count, real);
        EXPECT_EQ(by_row ? rec.columns : rec.rows, std::min(real, by_row ? cols : rows_here));
        EXPECT_EQ(by_row ? rec.rows : rec.columns, (real + (by_row ? rec.columns : rec.rows) - 1) /
                                                       (by_row ? rec.columns : rec.rows));
        const uint32_t got[] = {rec.image_width, rec.image_height, rec.sidebar_left, rec.grid_top,
                                rec.resolution,  rec.patch_width,  rec.patch_height, rec.bar_left,
                                rec.bar_top,     rec.layout_first, rec.layout_second};
        const uint32_t want[] = {width, height, left - margin, 0, kRes, pw, ph, 0, with_bar ? grid_h : 0,
                                 kCorner[code], kDirection[code]};
        EXPECT_TRUE(std::equal(got, got + 11, want)) << "page record";

        // The file page: the same pixels except the side bars' white breaks
        // in the top and bottom W rows of each grid row.
        const std::string file = read_file(dir.file("chart" + std::to_string(p) + ".tif"));
        check_tiff_layout(reinterpret_cast<const uint8_t *>(file.data()), file.size(), width, height, uint16_t(s),
                          s == 4 ? 5 : 2, kRes);
        Image from_file, expected = img;
        ASSERT_TRUE(decode_tiff(file.data(), file.size(), from_file));
        for (uint32_t y = 0; y < grid_h; ++y)
            for (uint32_t x = 0; (y % ph < w || y % ph >= ph - w) && x < margin; ++x)
                for (uint32_t side : {left - margin, left + cols * pw})
                    std::memcpy(expected.pixels.data() + (uint64_t(y) * width + side + x) * s, white(s).data(), s);
        EXPECT_TRUE(from_file.pixels == expected.pixels) << "file pixels differ beyond the side-bar breaks";
    }
}

INSTANTIATE_TEST_SUITE_P(AllCodes, Layouts,
                         testing::Values(LayoutCase{0, false, true}, LayoutCase{1, true, true},
                                         LayoutCase{2, false, true}, LayoutCase{3, true, true},
                                         LayoutCase{4, false, true}, LayoutCase{5, true, true},
                                         LayoutCase{6, true, true}, LayoutCase{7, false, true},
                                         LayoutCase{0, false, false}, LayoutCase{5, true, false}),
                         [](const testing::TestParamInfo<LayoutCase> &i) {
                             return "code" + std::to_string(i.param.code) + (i.param.cmyk ? "_CMYK" : "_RGB") +
                                    (i.param.bar ? "" : "_nobar");
                         });

// --- colours and large pages --------------------------------------------------------

TEST_F(ChartTest, ColourBytes) {
    setup({4, 200, 230, kRes, 40, 30, 8, 4, 0}, false);
    const velRGB rgb[4] = {{255.9, 0.0, 127.99}, {0, 0, 0}, {1, 2, 3}, {-0.5, 0.99, 300}};
    ASSERT_EQ(HXTVEL_SetMChartData_RGB(h_, rgb, 4), 0u);
    Image img = decoded(draw_memory(HXTVEL_POSBAR_OFF)[0]);
    EXPECT_EQ(img.pixel(20 + 5, 5), (std::vector<uint8_t>{255, 0, 127}));
    EXPECT_EQ(img.pixel(20 + 3 * 40 + 5, 5), (std::vector<uint8_t>{0, 0, 300 - 256}));
    const velCMYK cmyk[4] = {{100, 50, 0, 99.9}, {0, 0, 0, 0}, {1, 1, 1, 1}, {25, 75, 33.3, 66.7}};
    ASSERT_EQ(HXTVEL_SetMChartData_CMYK(h_, cmyk, 4), 0u);
    img = decoded(draw_memory(HXTVEL_POSBAR_OFF)[0]);
    EXPECT_EQ(img.pixel(20 + 5, 5), (std::vector<uint8_t>{255, 127, 0, 254}));
    EXPECT_EQ(img.pixel(20 + 3 * 40 + 5, 5), (std::vector<uint8_t>{63, 191, 84, 170}));
}

// More than 32 MiB: two strips of 1000 rows, in memory and in a file.
TEST_F(ChartTest, LargePageInStrips) {
    setup({45, 5800, 2000, kRes, 580, 400, 8, 4, 0}, false);
    const auto mem = draw_memory(HXTVEL_POSBAR_OFF);
    ASSERT_EQ(mem.size(), 1u);
    check_tiff_layout(mem[0].data(), mem[0].size(), 5800, 2000, 3, 2, kRes);
    EXPECT_EQ(rd16(mem[0].data(), 10 + 9 * 12 + 8), 1000u);  // RowsPerStrip
    const Image img = decoded(mem[0]);
    for (uint32_t n = 0; n < 45; ++n)  // 9 columns of 580 px after a 290-px margin
        ASSERT_EQ(img.pixel(580 + (n % 9) * 580, (n / 9) * 400 + 200), rgb_bytes(n)) << n;
    TempDir dir;
    uint32_t pages = 0;
    ASSERT_EQ(HXTVEL_CreateTiff(h_, dir.file("big").c_str(), &pages, HXTVEL_POSBAR_OFF), 0u);
    EXPECT_TRUE(read_file(dir.file("big0.tif")) == std::string(mem[0].begin(), mem[0].end()));
}

// A page of more than 65535 rows in one strip: RowsPerStrip needs a LONG.
// At 300 dpi the record in tenths truncates the image, rounds the patch.
TEST_F(ChartTest, TallNarrowPage) {
    setup({70000, 3, 59267, 300, 1, 1, 8, 4, 0}, true);
    const auto mem = draw_memory(HXTVEL_POSBAR_OFF);
    ASSERT_EQ(mem.size(), 1u);
    check_tiff_layout(mem[0].data(), mem[0].size(), 3, 70000, 4, 5, 300);
    EXPECT_EQ(decoded(mem[0]).pixel(1, 69999), cmyk_bytes(69999));
    velMChartStruct rec{};
    ASSERT_EQ(HXTVEL_GetMChartData(h_, &rec, HXTVEL_UNIT_TENTH_MM), 0u);
    EXPECT_EQ(rec.image_width, 2u);
    EXPECT_EQ(rec.image_height, 59266u);
    EXPECT_EQ(rec.patch_width, 1u);
}

// One patch per page: 1000 pages of 80 x 30 px.
TEST_F(ChartTest, ManyPages) {
    setup({1000, 80, 30, kRes, 40, 30, 8, 4, 0}, false);
    const auto mem = draw_memory(HXTVEL_POSBAR_OFF);
    ASSERT_EQ(mem.size(), 1000u);
    EXPECT_EQ(decoded(mem[999]).pixel(40, 15), rgb_bytes(999));
}

// --- result codes --------------------------------------------------------------------

TEST_F(ChartTest, MemoryResultCodes) {
    unsigned long long size = 0;
    uint32_t pages = 9;
    const auto on = HXTVEL_POSBAR_ON;
    auto *chart = static_cast<hxtvel::c_mchart *>(h_);
    EXPECT_EQ(HXTVEL_CreateTiff_M(h_, nullptr, &size, &pages, on), 202u);  // no setting
    EXPECT_EQ(pages, 0u);
    EXPECT_EQ(HXTVEL_CreateTiff_M(h_, nullptr, nullptr, &pages, on), 206u);
    EXPECT_EQ(HXTVEL_CreateTiff_M(h_, nullptr, &size, nullptr, on), 206u);
    EXPECT_EQ(chart->createtiff(nullptr, &size, &pages, 2), 206u);

    ASSERT_EQ(HXTVEL_SetMChartSetting(h_, kSmall), 0u);
    ASSERT_EQ(HXTVEL_CreateTiff_M(h_, nullptr, &size, &pages, on), 0u);  // colours not needed
    std::vector<uint8_t> block(size);
    EXPECT_EQ(HXTVEL_CreateTiff_M(h_, block.data(), &size, &pages, on), 203u);
    ASSERT_EQ(HXTVEL_SetMChartData_RGB(h_, rgb_colours(10).data(), 10), 0u);
    unsigned long long wrong = size - 1;
    pages = 9;
    EXPECT_EQ(HXTVEL_CreateTiff_M(h_, block.data(), &wrong, &pages, on), 206u);
    EXPECT_EQ(pages, 0u);
    // A CMYK bar image leaves the instance set for CMYK, which has no colours.
    ASSERT_EQ(chart->createpositioningbar(nullptr, &wrong, 2, 300), 0u);
    EXPECT_EQ(HXTVEL_CreateTiff_M(h_, block.data(), &size, &pages, on), 203u);
    ASSERT_EQ(HXTVEL_SetMChartData_RGB(h_, rgb_colours(10).data(), 10), 0u);
    EXPECT_EQ(HXTVEL_CreateTiff_M(h_, block.data(), &size, &pages, on), 0u);
    // A new setting with another patch count needs new colours.
    velPAreaStruct twelve = kSmall;
    twelve.patch_count = 12;
    ASSERT_EQ(HXTVEL_SetMChartSetting(h_, twelve), 0u);
    EXPECT_EQ(HXTVEL_CreateTiff_M(h_, block.data(), &size, &pages, on), 203u);
    // A rejected layout pair leaves no layout: the pages cannot be ordered.
    setup(kSmall, false);
    ASSERT_EQ(HXTVEL_SetMChartSetting(h_, velPAreaStruct{10, 200, 230, kRes, 40, 30, 2, 8, 0}), 206u);
    EXPECT_EQ(HXTVEL_CreateTiff_M(h_, block.data(), &size, &pages, on), 205u);
}

// The size query refuses pages that cannot hold a patch, and pages over 4 GiB.
TEST_F(ChartTest, SizeQueryGeometry) {
    const auto off = HXTVEL_POSBAR_OFF, on = HXTVEL_POSBAR_ON;
    const struct {
        velPAreaStruct s;
        HXTVEL_PosBar bar;
        uint32_t code;
    } cases[] = {{{10, 200, 155, kRes, 40, 30, 8, 4, 0}, on, 202},  // the bar fills the page
                 {{10, 200, 184, kRes, 40, 30, 8, 4, 0}, on, 202},  // 29 rows left for a 30-row patch
                 {{10, 200, 184, kRes, 40, 30, 8, 4, 0}, off, 0},
                 {{10, 100, 230, kRes, 80, 30, 8, 4, 0}, on, 202},  // patch wider than the page
                 {{10, 200, 230, 30, 4, 300, 8, 4, 0}, on, 202},    // patch width rounds to 0 px
                 {{1, 100000, 60000, 1200, 50000, 50000, 8, 4, 0}, off, 204}};  // 472440 x 236220 px
    for (const auto &c : cases) {
        ASSERT_EQ(HXTVEL_SetMChartSetting(h_, c.s), 0u);
        unsigned long long size = 5;
        uint32_t pages = 5;
        EXPECT_EQ(HXTVEL_CreateTiff_M(h_, nullptr, &size, &pages, c.bar), c.code) << c.s.page_height;
        EXPECT_TRUE(c.code == 0 || size + pages == 0);
    }
}

TEST_F(ChartTest, FileResultCodes) {
    TempDir dir;
    uint32_t pages = 9;
    const auto on = HXTVEL_POSBAR_ON;
    EXPECT_EQ(HXTVEL_CreateTiff(h_, nullptr, &pages, on), 206u);
    EXPECT_EQ(HXTVEL_CreateTiff(h_, dir.file("c").c_str(), nullptr, on), 206u);
    EXPECT_EQ(static_cast<hxtvel::c_mchart *>(h_)->createtiff(dir.file("c").c_str(), &pages, 2), 206u);
    EXPECT_EQ(HXTVEL_CreateTiff(h_, dir.file("c").c_str(), &pages, on), 203u);

    setup(kSmall, false);
    EXPECT_EQ(HXTVEL_CreateTiff(h_, dir.file("no/such/dir/c").c_str(), &pages, on), 208u);
    {
        TraceCapture trace;
        EXPECT_EQ(HXTVEL_CreateTiff(h_, std::string(1017, 'x').c_str(), &pages, on), 206u);
        const auto lines = trace.lines();
        EXPECT_NE(std::find(lines.begin(), lines.end(), "Debug:File path is too long."), lines.end());
    }
    // 1016 characters pass the check (and fail to open here: 208).
    const std::string path_1016 = dir.path() + "/" + std::string(1015 - dir.path().size(), 'y');
    EXPECT_EQ(HXTVEL_CreateTiff(h_, path_1016.c_str(), &pages, on), 208u);

    // A full disk on the second page: 209; the first page stays valid and
    // the page count is not lowered.
    ASSERT_EQ(symlink("/dev/full", dir.file("full1.tif").c_str()), 0);
    pages = 0;
    EXPECT_EQ(HXTVEL_CreateTiff(h_, dir.file("full").c_str(), &pages, on), 209u);
    EXPECT_EQ(pages, 2u);
    Image first;
    EXPECT_TRUE(decode_tiff_file(dir.file("full0.tif"), first));
    unsigned long long size = 0;
    EXPECT_EQ(HXTVEL_GetPageSize(h_, 0, &size), 0u);
    EXPECT_EQ(size, read_file(dir.file("full0.tif")).size());
    // On the first page, with and without the bar.
    ASSERT_EQ(symlink("/dev/full", dir.file("zero0.tif").c_str()), 0);
    EXPECT_EQ(HXTVEL_CreateTiff(h_, dir.file("zero").c_str(), &pages, on), 209u);
    EXPECT_EQ(HXTVEL_CreateTiff(h_, dir.file("zero").c_str(), &pages, HXTVEL_POSBAR_OFF), 209u);
}

// --- trace texts -----------------------------------------------------------------------

TEST_F(ChartTest, TraceTexts) {
    setup(kSmall, true);
    TempDir dir;
    TraceCapture trace;
    draw_memory(HXTVEL_POSBAR_ON);
    uint32_t pages = 0;
    ASSERT_EQ(HXTVEL_CreateTiff(h_, dir.file("t").c_str(), &pages, HXTVEL_POSBAR_ON), 0u);
    const unsigned long long total = (218ull + kBarW * 215 * 4) + (218ull + kBarW * 185 * 4);
    std::vector<std::string> want = {"Info:createtiff in",
                                     "Debug:createtiff 'NULL' mode [total:" + std::to_string(total) + " byte]",
                                     "Info:createtiff out", "Info:createtiff in", "Debug:createtiff_m full patch [12]",
                                     "Debug:make patch order map"};
    for (const char *t : {"Make TIFF Image Start", "drawing positioning bar", "positioning bar comp.",
                          "Make TIFF Image Start", "drawing positioning bar", "positioning bar comp."})
        want.push_back(std::string("Debug:createtiff_m:") + t);
    for (const char *t : {"Debug:createtiff_m p_map_ delete", "Info:createtiff out", "Info:createtiff to file in",
                          "Debug:createtiff_f full patch [12]", "Debug:make patch order map"})
        want.push_back(t);
    for (int p = 0; p < 2; ++p) {
        want.push_back("Debug:createtiff_f file open success [name:" + dir.file("t" + std::to_string(p)) + ".tif]");
        for (const char *t : {"Write TIFF Image Start", "drawing positioning bar", "positioning bar comp."})
            want.push_back(std::string("Debug:createtiff_f:") + t);
    }
    for (const char *t : {"Debug:createtiff_f tiffdata_cmyk_ delete", "Debug:createtiff_f p_map_ delete",
                          "Info:createtiff to file out"})
        want.push_back(t);
    // Lock and helper scopes left out.
    std::vector<std::string> got;
    for (const std::string &l : trace.lines())
        if (l.find("createtiff") != std::string::npos ||
            (l.rfind("Debug:", 0) == 0 && l.find("enter") == std::string::npos &&
             l.find("leave") == std::string::npos && l.find("c_lock") == std::string::npos))
            got.push_back(l);
    EXPECT_EQ(got, want);
}

}  // namespace
