// CGATS writer and delimited-text export: exact bytes, result codes, round
// trips through the reader, traces.
#include <gtest/gtest.h>

#include <ctime>
#include <random>
#include <regex>

#include "cgats_support.h"
#include "trace_capture.h"

namespace {

using hxtvel_test::contents;
using hxtvel_test::file_exists;
using hxtvel_test::Instance;
using hxtvel_test::read_file;
using hxtvel_test::split_lines;
using hxtvel_test::TempDir;

const velCIELab kLab[2] = {{50, -3.5, 12}, {60.125, 0, -0.001}};

// The file with its CREATED line checked against the local clock and cut out.
std::vector<std::string> written_lines(const std::string &path) {
    std::vector<std::string> lines = split_lines(read_file(path));
    EXPECT_GE(lines.size(), 2u);
    if (lines.size() < 2) return lines;
    const std::time_t now = std::time(nullptr);
    std::tm t{};
    localtime_r(&now, &t);
    char date[48];
    std::snprintf(date, sizeof date, "%02d/%02d/%04d", t.tm_mon + 1, t.tm_mday, t.tm_year + 1900);
    EXPECT_TRUE(std::regex_match(lines[1], std::regex("CREATED\t\"../../....\" # Time: [0-2][0-9]:[0-5][0-9]")))
        << lines[1];
    EXPECT_NE(lines[1].find(date), std::string::npos) << lines[1];
    lines.erase(lines.begin() + 1);
    return lines;
}

// The exact bytes, and with tracing on the same bytes and the operations' own texts.
TEST(Writer, LabFileTextBytesAndTraces) {
    TempDir dir;
    Instance m;
    ASSERT_EQ(HXTVEL_SetLAB(m.h, kLab, 2), 0u);
    ASSERT_EQ(HXTVEL_WriteCGATS(m.h, dir.file("o.txt").c_str()), 0u);
    EXPECT_EQ(written_lines(dir.file("o.txt")),
              (std::vector<std::string>{"CGATS.17", "NUMBER_OF_FIELDS\t4", "BEGIN_DATA_FORMAT",
                                        "SAMPLE_ID\tLAB_L\tLAB_A\tLAB_B", "END_DATA_FORMAT", "NUMBER_OF_SETS\t2",
                                        "BEGIN_DATA", "1\t50.00\t-3.50\t12.00", "2\t60.12\t0.00\t-0.00", "END_DATA"}));
    EXPECT_EQ(read_file(dir.file("o.txt")).find('\r'), std::string::npos);
    ASSERT_EQ(HXTVEL_WriteText(m.h, dir.file("c.txt").c_str(), HXTVEL_FILE_COMMA), 0u);
    EXPECT_EQ(read_file(dir.file("c.txt")), "50.00,-3.50,12.00\n60.12,0.00,-0.00\n");
    ASSERT_EQ(HXTVEL_WriteText(m.h, dir.file("t.txt").c_str(), HXTVEL_FILE_TAB), 0u);
    EXPECT_EQ(read_file(dir.file("t.txt")), "50.00\t-3.50\t12.00\n60.12\t0.00\t-0.00\n");

    hxtvel_test::TraceCapture capture(0x12);
    ASSERT_EQ(HXTVEL_WriteCGATS(m.h, dir.file("traced.txt").c_str()), 0u);
    const std::vector<std::string> t = capture.lines();
    EXPECT_EQ(written_lines(dir.file("o.txt")), written_lines(dir.file("traced.txt")));
    ASSERT_GE(t.size(), 4u);
    EXPECT_EQ((std::vector<std::string>{t[0], t[1], t[t.size() - 2], t.back()}),
              (std::vector<std::string>{"Info:write_cgats in", "Warn:write_cgats lockin",
                                        "Warn:write_cgats lockout", "Info:write_cgats out"}));
    for (const char *name : {"Info:get_field out", "Info:write_format out", "Info:write_data out"}) {
        EXPECT_EQ(std::count(t.begin(), t.end(), name), 1) << name;
    }
    EXPECT_EQ(std::count(t.begin(), t.end(), "Info:double_to_string out"), 6);
}

TEST(Writer, SensorLinesAndEveryKind) {
    TempDir dir;
    Instance m;
    const velRGB rgb{255, 0, 1.005};
    const velCMYK cmyk{0, 25, 50, 100};
    const velCIELab lab{1, 2, 3};
    const velCIEXYZ xyz{95.047, 100, 108.883};
    std::vector<double> values(36);
    for (size_t k = 0; k < 36; ++k) values[k] = double(k) / 35;
    const velSPECTRO_REF sp{380, 730, 10, values.data()};
    const velSensorInfo info{"i1Pro 2", 2, 23, 255, 8, 1, 1};
    ASSERT_EQ(HXTVEL_SetRGB(m.h, &rgb, 1) | HXTVEL_SetCMYK(m.h, &cmyk, 1) | HXTVEL_SetLAB(m.h, &lab, 1) |
                  HXTVEL_SetXYZ(m.h, &xyz, 1) | HXTVEL_SetSpectroRef(m.h, &sp, 1) |
                  HXTVEL_SetSensorInfo(m.h, info),
              0u);
    ASSERT_EQ(HXTVEL_WriteCGATS(m.h, dir.file("o.txt").c_str()), 0u);
    const auto lines = written_lines(dir.file("o.txt"));
    ASSERT_EQ(lines.size(), 14u);
    EXPECT_EQ(std::vector<std::string>(lines.begin(), lines.begin() + 7),
              (std::vector<std::string>{
                  "CGATS.17", "INSTRUMENTATION\t\"i1Pro 2\"",
                  "MEASUREMENT_SOURCE\t\"Filter=UVcut\tIllumination=D75\tObserverAngle=10\tWhiteBase=Abs\"",
                  "SAMPLE_BACKING\t\"black\"", "INSIDE_TEMPERATURE\t23", "INSIDE_HUMIDITY\t255",
                  "NUMBER_OF_FIELDS\t50"}));
    std::string format = "SAMPLE_ID\tRGB_R\tRGB_G\tRGB_B\tCMYK_C\tCMYK_M\tCMYK_Y\tCMYK_K\tLAB_L\tLAB_A\tLAB_B\tXYZ_X\tXYZ_Y\tXYZ_Z";
    std::string data = "1\t255.00\t0.00\t1.00\t0.00\t25.00\t50.00\t100.00\t1.00\t2.00\t3.00\t95.05\t100.00\t108.88";
    for (int k = 0; k < 36; ++k) {
        format += "\tSPECTRAL_" + std::to_string(380 + 10 * k);
        data += "\t" + hxtvel::c_cgats_utility::double_to_string(values[size_t(k)], 16);
    }
    EXPECT_EQ(lines[8], format);
    EXPECT_EQ(lines[12], data);
}

TEST(Writer, ResultCodesLeaveInstanceAndDiskAlone) {
    TempDir dir;
    const std::string path = dir.file("o.txt");
    Instance m;
    const velSensorInfo info{"x", 0, 0, 0, 0, 0, 0};
    HXTVEL_SetSensorInfo(m.h, info);
    EXPECT_EQ(HXTVEL_WriteCGATS(m.h, path.c_str()), 103u);  // sensor information alone
    const velRGB rgb[4] = {};
    const velCIELab lab[5] = {};
    HXTVEL_SetLAB(m.h, lab, 5);
    HXTVEL_SetRGB(m.h, rgb, 4);
    EXPECT_EQ(HXTVEL_WriteCGATS(m.h, path.c_str()), 103u);  // 5 Lab, 4 RGB
    EXPECT_EQ(HXTVEL_WriteText(m.h, path.c_str(), HXTVEL_FILE_TAB), 103u);
    EXPECT_FALSE(file_exists(path));
    HXTVEL_SetRGB(m.h, rgb, 1);
    const std::string before = contents(m.h);
    // (Full disks and unopenable paths: test_write_failures.)
    EXPECT_EQ(HXTVEL_WriteCGATS(m.h, nullptr), 104u);
    EXPECT_EQ(HXTVEL_WriteText(m.h, nullptr, HXTVEL_FILE_COMMA), 104u);
    EXPECT_EQ(HXTVEL_WriteCGATS(nullptr, path.c_str()), 107u);
    EXPECT_EQ(HXTVEL_WriteText(nullptr, path.c_str(), HXTVEL_FILE_COMMA), 107u);
    EXPECT_EQ(HXTVEL_WriteText(m.h, path.c_str(), static_cast<HXTVEL_FileType>(2)), 107u);
    EXPECT_EQ(HXTVEL_WriteText(m.h, path.c_str(), static_cast<HXTVEL_FileType>(-1)), 107u);
    EXPECT_FALSE(file_exists(path));
    EXPECT_EQ(contents(m.h), before);
}

// set -> write -> read -> get gives the values as written, for every kind;
// the file is larger than the reader's block, so lines cross its refills.
TEST(Writer, RoundTripThroughTheReader) {
    std::mt19937 rng(5);
    constexpr uint32_t kSets = 1000;
    // 13 colour values and 31 spectral values per set; the expected instance
    // holds them as the file writes them.
    std::vector<double> v(kSets * 44), w(kSets * 44);
    const double top[13] = {255, 255, 255, 100, 100, 100, 100, 100, 128, 128, 120, 120, 120};
    const unsigned char flag[13] = {1, 1, 1, 2, 2, 2, 2, 4, 4, 4, 8, 8, 8};
    for (size_t i = 0; i < v.size(); ++i) {
        const size_t k = i % 44;
        const bool spectral = k >= 13;
        const double lo = (k == 8 || k == 9) ? -128 : 0, hi = spectral ? 1.2 : top[k];
        v[i] = std::uniform_real_distribution<double>(lo, hi)(rng);
        w[i] = std::strtod(hxtvel::c_cgats_utility::double_to_string(v[i], spectral ? 16 : flag[k]).c_str(), nullptr);
    }
    auto fill = [](void *h, double *d) {
        for (uint32_t i = 0; i < kSets; ++i, d += 44) {
            HXTVEL_SetRGB(h, reinterpret_cast<velRGB *>(d), 1);
            HXTVEL_SetCMYK(h, reinterpret_cast<velCMYK *>(d + 3), 1);
            HXTVEL_SetLAB(h, reinterpret_cast<velCIELab *>(d + 7), 1);
            HXTVEL_SetXYZ(h, reinterpret_cast<velCIEXYZ *>(d + 10), 1);
            const velSPECTRO_REF sp{400, 700, 10, d + 13};
            HXTVEL_SetSpectroRef(h, &sp, 1);
        }
    };
    Instance original, expected, back;
    fill(original.h, v.data());
    fill(expected.h, w.data());
    TempDir dir;
    ASSERT_EQ(HXTVEL_WriteCGATS(original.h, dir.file("o.txt").c_str()), 0u);
    ASSERT_GT(read_file(dir.file("o.txt")).size(), 256u * 1024);
    ASSERT_EQ(HXTVEL_ReadCGATS(back.h, dir.file("o.txt").c_str(), 31), 0u);
    EXPECT_EQ(contents(back.h), contents(expected.h));
}

}  // namespace
