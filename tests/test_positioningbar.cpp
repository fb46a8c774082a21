// The positioning bar image, in memory and as a file: the exact layout,
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
    "B184", "W92 B92", "W20 B42 W42 B42 W38", "W14 B42 W42 B42 W42 B2", "W8 B42 W42 B42 W42 B8",
    "W2 B42 W42 B42 W42 B14", "B38 W42 B42 W42 B20", "B32 W42 B42 W42 B26", "B26 W42 B42 W42 B32",
    "B20 W42 B42 W42 B38", "B14 W42 B42 W42 B42 W2", "B8 W42 B42 W42 B42 W8", "B2 W42 B42 W42 B42 W14",
    "W38 B42 W42 B42 W20", "B92 W92", "B184",
};
const int kOrder[16] = {0, 1, 2, 8, 13, 7, 3, 9, 12, 6, 10, 4, 11, 5, 14, 15};

// The bar at resolution r: black[y][x]. Each run is scaled on its own; a run
// that scales to nothing still takes one (white) row; the column is white
// after its last run. The outer columns are half as wide as the others.
struct BarModel {
    uint32_t width = 0, height = 0;
    std::vector<std::vector<bool>> black;
    explicit BarModel(uint32_t r) : height(r * 184 / 300) {
        std::vector<std::vector<bool>> column(16, std::vector<bool>(height, false));
        for (int c = 0; c < 16; ++c) {
            std::istringstream runs(kColumnRuns[c]);
            std::string run;
            for (uint32_t y = 0; runs >> run;) {
                const uint32_t rows = r * uint32_t(std::stoul(run.substr(1))) / 300;
                if (rows == 0) ++y;
                for (uint32_t i = 0; i < rows; ++i, ++y)
                    if (y < height) column[c][y] = run[0] == 'B';
            }
        }
        std::vector<int> xs;
        for (int j = 0; j < 16; ++j) xs.insert(xs.end(), r * (j == 0 || j == 15 ? 43 : 85) / 300, kOrder[j]);
        width = uint32_t(xs.size());
        black.assign(height, std::vector<bool>(width, false));
        for (uint32_t y = 0; y < height; ++y)
            for (uint32_t x = 0; x < width; ++x) black[y][x] = column[xs[x]][y];
    }
};

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

// Memory and file images: identical bytes, the exact layout, and libtiff
// decodes the pattern pixel for pixel.
TEST_P(BarImage, MemoryAndFileDecodeToThePattern) {
    const BarCase c = GetParam();
    const uint16_t samples = c.colour == 1 ? 3 : 4;
    const BarModel model(c.res);
    c_mchart chart;
    const std::vector<uint8_t> mem = bar_in_memory(chart, c.colour, c.res);
    check_tiff_layout(mem.data(), mem.size(), model.width, model.height, samples, c.colour == 1 ? 2 : 5, c.res);
    Image img;
    ASSERT_TRUE(decode_tiff(mem.data(), mem.size(), img));
    EXPECT_EQ(img.photometric, c.colour == 1 ? PHOTOMETRIC_RGB : PHOTOMETRIC_SEPARATED);
    EXPECT_FLOAT_EQ(img.xres, float(c.res));
    EXPECT_EQ(img.unit, RESUNIT_INCH);
    ASSERT_EQ(img.width, model.width);
    ASSERT_EQ(img.height, model.height);
    const std::vector<uint8_t> black = samples == 3 ? std::vector<uint8_t>(3, 0) : std::vector<uint8_t>{0, 0, 0, 255};
    const std::vector<uint8_t> white = samples == 3 ? std::vector<uint8_t>{255, 255, 255} : std::vector<uint8_t>(4, 0);
    int bad = 0;
    for (uint32_t y = 0; y < model.height && bad < 5; ++y)
        for (uint32_t x = 0; x < model.width && bad < 5; ++x)
            if (img.pixel(x, y) != (model.black[y][x] ? black : white)) {
                ADD_FAILURE() << "pixel " << x << "," << y << " should be " << (model.black[y][x] ? "black" : "white");
                ++bad;
            }

    TempDir dir;
    ASSERT_EQ(chart.createpositioningbar(dir.file("bar").c_str(), c.colour, c.res), 0u);
    EXPECT_TRUE(read_file(dir.file("bar.tif")) == std::string(mem.begin(), mem.end())) << "file and memory differ";
}

INSTANTIATE_TEST_SUITE_P(Resolutions, BarImage,
                         testing::Values(BarCase{1, 300}, BarCase{2, 30}, BarCase{1, 75}, BarCase{2, 600},
                                         BarCase{1, 199}),
                         [](const testing::TestParamInfo<BarCase> &i) {
                             return std::string(i.param.colour == 1 ? "RGB" : "CMYK") + std::to_string(i.param.res);
                         });

TEST(BarResult, MemoryArgumentsAreChecked) {
    c_mchart chart;
    unsigned long long size = 0;
    EXPECT_EQ(chart.createpositioningbar(nullptr, nullptr, 1, 300), 206u);
    for (unsigned char colour : {0, 3}) EXPECT_EQ(chart.createpositioningbar(nullptr, &size, colour, 300), 206u);
    for (uint32_t res : {0u, 29u, 1201u}) EXPECT_EQ(chart.createpositioningbar(nullptr, &size, 1, res), 206u);
    EXPECT_EQ(chart.createpositioningbar(nullptr, &size, 2, 1200), 0u);
    EXPECT_EQ(size, 218u + 5104u * 736u * 4u);

    // A block without a query of its size, or with a size asked at another
    // resolution, is refused and left untouched.
    c_mchart fresh;
    unsigned long long exact = 216 + 1276 * 184 * 3, small = 0;
    std::vector<uint8_t> buf(exact, 0xAA);
    EXPECT_EQ(fresh.createpositioningbar(buf.data(), &exact, 1, 300), 206u);
    ASSERT_EQ(fresh.createpositioningbar(nullptr, &small, 1, 30), 0u);
    EXPECT_EQ(fresh.createpositioningbar(buf.data(), &small, 1, 300), 206u);
    EXPECT_TRUE(std::all_of(buf.begin(), buf.end(), [](uint8_t b) { return b == 0xAA; }));
}

TEST(BarResult, FileResultCodes) {
    TempDir dir;
    c_mchart chart;
    EXPECT_EQ(chart.createpositioningbar(static_cast<const char *>(nullptr), 1, 300), 206u);
    EXPECT_EQ(chart.createpositioningbar(dir.file("x").c_str(), 3, 300), 206u);
    EXPECT_EQ(chart.createpositioningbar(dir.file("x").c_str(), 1, 1201), 206u);
    EXPECT_EQ(chart.createpositioningbar(dir.file("no/such/dir/bar").c_str(), 1, 300), 208u);
    // A full disk is a write failure, never a short file reported as success.
    ASSERT_EQ(symlink("/dev/full", dir.file("full.tif").c_str()), 0);
    EXPECT_EQ(chart.createpositioningbar(dir.file("full").c_str(), 2, 300), 209u);

    // A real path of exactly 1016 characters is written; one more is refused.
    std::string path = dir.path();
    while (path.size() + 201 < 1016) {
        path += "/" + std::string(200, 'd');
        ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    }
    path += "/" + std::string(1016 - path.size() - 1, 'b');
    EXPECT_EQ(chart.createpositioningbar(path.c_str(), 1, 30), 0u);
    EXPECT_TRUE(file_exists(path + ".tif"));
    TraceCapture trace;
    EXPECT_EQ(chart.createpositioningbar((path + "x").c_str(), 1, 30), 206u);
    const auto lines = trace.lines();
    EXPECT_NE(std::find(lines.begin(), lines.end(), "Debug:File path is too long."), lines.end());
}

// The messages of both forms, in order (lock and helper messages left out).
TEST(BarResult, TraceTexts) {
    const uint16_t one = 1;
    if (*reinterpret_cast<const uint8_t *>(&one) != 1) GTEST_SKIP() << "texts of a little-endian host";
    TempDir dir;
    TraceCapture trace;
    {
        c_mchart chart;
        bar_in_memory(chart, 2, 30);
        chart.createpositioningbar(dir.file("bar").c_str(), 1, 30);
    }
    std::vector<std::string> got;
    for (const std::string &l : trace.lines())
        for (const char *key : {"positioning_bar", "chartimage", "endian", "destructor"})
            if (l.find(key) != std::string::npos) {
                got.push_back(l);
                break;
            }
    const std::string m = "create_positioning_bar_m", f = "create_positioning_bar";
    const std::vector<std::string> want = {
        "Info:chartimage constructor in", "Debug:Little endian mode", "Info:chartimage constructor out",
        "Info:" + m + " in", "Debug:" + m + " 'NULL' mode [Size:8858 byte]", "Info:" + m + " out",
        "Info:" + m + " in", "Debug:" + m + ":drawing bar", "Debug:" + m + ":drawing bar comp.", "Info:" + m + " out",
        "Info:" + f + " in", "Debug:" + f + ":file open success [name:" + dir.file("bar.tif") + "]",
        "Debug:" + f + ":drawing bar", "Debug:" + f + ":drawing bar comp.", "Debug:" + f + ":tiffdata_rgb_ delete",
        "Info:" + f + " out", "Info:destructor in", "Info:destructor out"};
    EXPECT_EQ(got, want);
}

}  // namespace
