// The positioning bar image, in memory and as a file: size, byte layout,
// decoded pixels against the pattern, result codes and trace texts.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "hxtvel_mchartcreate.h"
#include "test_support.h"
#include "tiff_decode.h"
#include "trace_capture.h"

using hxtvel::c_mchart;
using namespace hxtvel_test;

namespace {

// The pattern as printed on the bar, column by column, top to bottom, at
// 300 dpi; and the order of the columns from left to right.
const char *const kColumnRuns[16] = {
    "B184",
    "W92 B92",
    "W20 B42 W42 B42 W38",
    "W14 B42 W42 B42 W42 B2",
    "W8 B42 W42 B42 W42 B8",
    "W2 B42 W42 B42 W42 B14",
    "B38 W42 B42 W42 B20",
    "B32 W42 B42 W42 B26",
    "B26 W42 B42 W42 B32",
    "B20 W42 B42 W42 B38",
    "B14 W42 B42 W42 B42 W2",
    "B8 W42 B42 W42 B42 W8",
    "B2 W42 B42 W42 B42 W14",
    "W38 B42 W42 B42 W20",
    "B92 W92",
    "B184",
};
const int kOrder[16] = {0, 1, 2, 8, 13, 7, 3, 9, 12, 6, 10, 4, 11, 5, 14, 15};
const uint32_t kWidth300[16] = {43, 85, 85, 85, 85, 85, 85, 85, 85, 85, 85, 85, 85, 85, 85, 43};

// The bar at resolution r: black[y][x]. Each run is scaled on its own; a run
// that scales to nothing still takes one (white) row; the column is white
// after its last run.
struct BarModel {
    uint32_t width = 0, height = 0;
    std::vector<std::vector<bool>> black;
    std::vector<uint32_t> slot_x;  // left edge of each slot
    explicit BarModel(uint32_t r) {
        height = r * 184 / 300;
        std::vector<std::vector<bool>> column(16, std::vector<bool>(height, false));
        for (int c = 0; c < 16; ++c) {
            std::istringstream runs(kColumnRuns[c]);
            std::string run;
            uint32_t y = 0;
            while (runs >> run) {
                const uint32_t rows = r * uint32_t(std::stoul(run.substr(1))) / 300;
                if (rows == 0) ++y;
                for (uint32_t i = 0; i < rows; ++i, ++y)
                    if (y < height) column[c][y] = run[0] == 'B';
            }
        }
        std::vector<uint32_t> xs;
        for (int j = 0; j < 16; ++j) {
            slot_x.push_back(width);
            const uint32_t w = r * kWidth300[kOrder[j]] / 300;
            for (uint32_t i = 0; i < w; ++i) xs.push_back(uint32_t(kOrder[j]));
            width += w;
        }
        black.assign(height, std::vector<bool>(width, false));
        for (uint32_t y = 0; y < height; ++y)
            for (uint32_t x = 0; x < width; ++x) black[y][x] = column[xs[x]][y];
    }
};

std::vector<uint8_t> colour_of(bool black, int samples) {
    if (samples == 3) return black ? std::vector<uint8_t>{0, 0, 0} : std::vector<uint8_t>{255, 255, 255};
    return black ? std::vector<uint8_t>{0, 0, 0, 255} : std::vector<uint8_t>{0, 0, 0, 0};
}

// Every pixel of a decoded bar image equals the model.
void expect_bar_pixels(const Image &img, const BarModel &m, int samples) {
    ASSERT_EQ(img.width, m.width);
    ASSERT_EQ(img.height, m.height);
    const std::vector<uint8_t> black = colour_of(true, samples), white = colour_of(false, samples);
    int bad = 0;
    for (uint32_t y = 0; y < m.height && bad < 5; ++y)
        for (uint32_t x = 0; x < m.width && bad < 5; ++x)
            if (std::memcmp(img.at(x, y), m.black[y][x] ? black.data() : white.data(), samples) != 0) {
                ADD_FAILURE() << "pixel " << x << "," << y << " should be "
                              << (m.black[y][x] ? "black" : "white");
                ++bad;
            }
}

std::vector<uint8_t> bar_in_memory(c_mchart &chart, unsigned char colour, uint32_t res) {
    unsigned long long size = 0;
    EXPECT_EQ(chart.createpositioningbar(nullptr, &size, colour, res), 0u);
    std::vector<uint8_t> buf(size, 0xAA);
    EXPECT_EQ(chart.createpositioningbar(buf.data(), &size, colour, res), 0u);
    return buf;
}

struct BarCase {
    unsigned char colour;
    uint32_t res;
};

class BarImage : public testing::TestWithParam<BarCase> {};

// Memory and file images at several resolutions: identical bytes, the exact
// layout, and libtiff decodes the pattern.
TEST_P(BarImage, MemoryAndFileDecodeToThePattern) {
    const BarCase c = GetParam();
    const int samples = c.colour == 1 ? 3 : 4;
    const BarModel model(c.res);
    c_mchart chart;
    const std::vector<uint8_t> mem = bar_in_memory(chart, c.colour, c.res);
    ASSERT_EQ(mem.size(), expected_tiff_size(model.width, model.height, samples));
    check_tiff_layout(mem.data(), mem.size(), model.width, model.height, uint16_t(samples),
                      c.colour == 1 ? 2 : 5, c.res);
    Image img;
    ASSERT_TRUE(decode_tiff(mem.data(), mem.size(), img));
    EXPECT_EQ(img.samples, samples);
    EXPECT_EQ(img.photometric, c.colour == 1 ? PHOTOMETRIC_RGB : PHOTOMETRIC_SEPARATED);
    EXPECT_FLOAT_EQ(img.xres, float(c.res));
    EXPECT_EQ(img.unit, RESUNIT_INCH);
    expect_bar_pixels(img, model, samples);

    TempDir dir;
    ASSERT_EQ(chart.createpositioningbar(dir.file("bar").c_str(), c.colour, c.res), 0u);
    const std::string file = read_file(dir.file("bar.tif"));
    EXPECT_TRUE(file == std::string(mem.begin(), mem.end())) << "file and memory images differ";
    Image from_file;
    ASSERT_TRUE(decode_tiff_file(dir.file("bar.tif"), from_file));
    EXPECT_EQ(from_file.pixels, img.pixels);
}

INSTANTIATE_TEST_SUITE_P(Resolutions, BarImage,
                         testing::Values(BarCase{1, 300}, BarCase{2, 300}, BarCase{1, 30}, BarCase{2, 30},
                                         BarCase{1, 75}, BarCase{2, 600}, BarCase{1, 199}),
                         [](const testing::TestParamInfo<BarCase> &i) {
                             return std::string(i.param.colour == 1 ? "RGB" : "CMYK") +
                                    std::to_string(i.param.res);
                         });

// Landmarks of the pattern, independent of the model above.
TEST(BarImage, EdgesAndShortRuns) {
    c_mchart chart;
    const std::vector<uint8_t> mem = bar_in_memory(chart, 1, 300);
    Image img;
    ASSERT_TRUE(decode_tiff(mem.data(), mem.size(), img));
    const std::vector<uint8_t> black{0, 0, 0}, white{255, 255, 255};
    for (uint32_t y = 0; y < 184; ++y) {  // outer columns solid, column 1 half and half
        ASSERT_EQ(img.pixel(0, y), black);
        ASSERT_EQ(img.pixel(1275, y), black);
        ASSERT_EQ(img.pixel(43 + 40, y), y < 92 ? white : black);
    }
    // At 30 dpi the two-row black run on top of column 12 (slot 8, x 64..71)
    // scales to nothing and leaves one white row; its 42-row white run
    // follows as 4 rows, then black.
    const std::vector<uint8_t> low = bar_in_memory(chart, 1, 30);
    Image small;
    ASSERT_TRUE(decode_tiff(low.data(), low.size(), small));
    const uint32_t x12 = 4 + 7 * 8 + 4;
    for (uint32_t y = 0; y < 5; ++y) EXPECT_EQ(small.pixel(x12, y), white) << y;
    EXPECT_EQ(small.pixel(x12, 5), black);
}

TEST(BarImage, MemoryArgumentsAreChecked) {
    c_mchart chart;
    unsigned long long size = 0;
    EXPECT_EQ(chart.createpositioningbar(nullptr, nullptr, 1, 300), 206u);
    for (unsigned char colour : {0, 3, 255}) EXPECT_EQ(chart.createpositioningbar(nullptr, &size, colour, 300), 206u);
    for (uint32_t res : {0u, 29u, 1201u}) EXPECT_EQ(chart.createpositioningbar(nullptr, &size, 1, res), 206u);
    EXPECT_EQ(chart.createpositioningbar(nullptr, &size, 1, 30), 0u);
    EXPECT_EQ(chart.createpositioningbar(nullptr, &size, 2, 1200), 0u);
    EXPECT_EQ(size, 218u + 5104u * 736u * 4u);

    // A block without a query of its size is refused and left untouched.
    c_mchart fresh;
    unsigned long long exact = 216 + 1276 * 184 * 3;
    std::vector<uint8_t> buf(exact, 0xAA);
    EXPECT_EQ(fresh.createpositioningbar(buf.data(), &exact, 1, 300), 206u);
    // A size asked at another resolution is refused, too.
    unsigned long long small = 0;
    ASSERT_EQ(fresh.createpositioningbar(nullptr, &small, 1, 30), 0u);
    EXPECT_EQ(fresh.createpositioningbar(buf.data(), &small, 1, 300), 206u);
    EXPECT_TRUE(std::all_of(buf.begin(), buf.end(), [](uint8_t b) { return b == 0xAA; }));
}

TEST(BarImage, FileResultCodes) {
    TempDir dir;
    c_mchart chart;
    EXPECT_EQ(chart.createpositioningbar(static_cast<const char *>(nullptr), 1, 300), 206u);
    EXPECT_EQ(chart.createpositioningbar(dir.file("x").c_str(), 3, 300), 206u);
    EXPECT_EQ(chart.createpositioningbar(dir.file("x").c_str(), 1, 1201), 206u);
    EXPECT_EQ(chart.createpositioningbar(dir.file("no/such/dir/bar").c_str(), 1, 300), 208u);

    // A full disk is a write failure, never a short file reported as success.
    ASSERT_EQ(symlink("/dev/full", dir.file("full.tif").c_str()), 0);
    EXPECT_EQ(chart.createpositioningbar(dir.file("full").c_str(), 2, 300), 209u);
    EXPECT_EQ(chart.createpositioningbar(dir.file("full").c_str(), 1, 30), 209u);
}

TEST(BarImage, PathLengthLimit) {
    TempDir dir;
    // A real path of exactly 1016 characters: directories of 200 characters.
    std::string path = dir.path();
    while (path.size() + 201 < 1016) {
        path += "/" + std::string(200, 'd');
        ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    }
    path += "/" + std::string(1016 - path.size() - 1, 'b');
    ASSERT_EQ(path.size(), 1016u);
    c_mchart chart;
    EXPECT_EQ(chart.createpositioningbar(path.c_str(), 1, 30), 0u);
    EXPECT_TRUE(file_exists(path + ".tif"));

    TraceCapture trace;
    EXPECT_EQ(chart.createpositioningbar((path + "x").c_str(), 1, 30), 206u);
    const auto lines = trace.lines();
    EXPECT_NE(std::find(lines.begin(), lines.end(), "Debug:File path is too long."), lines.end());
}

// The messages of both forms, in order (lock and helper messages left out).
TEST(BarImage, TraceTexts) {
    TempDir dir;
    TraceCapture trace;
    {
        c_mchart chart;
        bar_in_memory(chart, 2, 30);
        chart.createpositioningbar(dir.file("bar").c_str(), 1, 30);
    }
    std::vector<std::string> got;
    for (const std::string &l : trace.lines())
        if (l.find("positioning_bar") != std::string::npos || l.find("chartimage") != std::string::npos ||
            l.find("endian") != std::string::npos || l.find("destructor") != std::string::npos)
            got.push_back(l);
    const std::string name = dir.file("bar.tif");
    const std::vector<std::string> want = {
        "Info:chartimage constructor in",
        "Debug:Little endian mode",
        "Info:chartimage constructor out",
        "Info:create_positioning_bar_m in",
        "Debug:create_positioning_bar_m 'NULL' mode [Size:8858 byte]",
        "Info:create_positioning_bar_m out",
        "Info:create_positioning_bar_m in",
        "Debug:create_positioning_bar_m:drawing bar",
        "Debug:create_positioning_bar_m:drawing bar comp.",
        "Info:create_positioning_bar_m out",
        "Info:create_positioning_bar in",
        "Debug:create_positioning_bar:file open success [name:" + name + "]",
        "Debug:create_positioning_bar:drawing bar",
        "Debug:create_positioning_bar:drawing bar comp.",
        "Debug:create_positioning_bar:tiffdata_rgb_ delete",
        "Info:create_positioning_bar out",
        "Info:destructor in",
        "Info:destructor out",
    };
    const uint16_t one = 1;
    if (*reinterpret_cast<const uint8_t *>(&one) == 1) {
        EXPECT_EQ(got, want);
    }
}

}  // namespace
