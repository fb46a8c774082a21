// A host with a comma decimal separator (C locale and C++ global locale
// alike) changes no byte the library writes and no value it reads: CGATS
// and text files of every kind, a read of numbers that need the exact
// conversion, chart pages in memory and in files; with tracing off (the
// direct paths) and on (the paths through the traced helpers).
#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <locale>

#include "cgats_support.h"
#include "locale_support.h"
#include "rounds.h"
#include "trace_capture.h"

namespace {

using namespace hxtvel_test;

// The comma-decimal locale set as a host sets it, for the scope.
class HostCommaLocale {
public:
    HostCommaLocale() {
        if (!set_comma_numeric_locale()) return;
        const std::string name = std::setlocale(LC_NUMERIC, nullptr);
        try {
            std::locale::global(std::locale(name.c_str()));  // sets the C locale (LC_ALL) too
        } catch (const std::runtime_error &) {
            return;
        }
        active_ = std::strcmp(std::localeconv()->decimal_point, ",") == 0 &&
                  std::use_facet<std::numpunct<char>>(std::locale()).decimal_point() == ',';
    }
    ~HostCommaLocale() {
        std::locale::global(std::locale::classic());
        std::setlocale(LC_ALL, "C");
    }
    bool active() const { return active_; }

private:
    bool active_ = false;
};

// Long digit strings leave the fast exact path of the number reader.
const char kInput[] =
    "CGATS.17\nBEGIN_DATA_FORMAT\n"
    "SAMPLE_ID RGB_R RGB_G RGB_B LAB_L LAB_A LAB_B XYZ_X XYZ_Y XYZ_Z SPECTRAL_400 SPECTRAL_410\n"
    "END_DATA_FORMAT\nNUMBER_OF_SETS 2\nBEGIN_DATA\n"
    "1 12.5 0.125 254.99999999999999999 50.0000000000000000001 -127.9 0.333333333333333333333 "
    "1234567.891 0.000000000000000000000001 98765432109876543210.5 0.1 1.0000000001\n"
    "2 255 0 1 100 128 -128 1000.25 -0 12345678901234567890123 0.00001 -.5\n"
    "END_DATA\n";

// Everything written and read, as bytes and as the values read back.
std::string everything() {
    TempDir dir;
    Instance m, back;
    const Measurements d(6, 7);  // XYZ values above 1000: no digit grouping either
    EXPECT_EQ(d.store(m.h), 0u);
    EXPECT_EQ(HXTVEL_WriteCGATS(m.h, dir.file("m.cgats").c_str()), 0u);
    EXPECT_EQ(HXTVEL_WriteText(m.h, dir.file("comma.txt").c_str(), HXTVEL_FILE_COMMA), 0u);
    EXPECT_EQ(HXTVEL_WriteText(m.h, dir.file("tab.txt").c_str(), HXTVEL_FILE_TAB), 0u);
    write_file(dir.file("in.cgats"), kInput);
    EXPECT_EQ(HXTVEL_ReadCGATS(back.h, dir.file("in.cgats").c_str(), 31), 0u);
    Chart c;
    uint32_t pages = 0;
    EXPECT_EQ(prepare_chart(c.h, true), 0u);
    const std::vector<unsigned char> image = chart_in_memory(c.h);
    EXPECT_EQ(HXTVEL_CreateTiff(c.h, dir.file("page").c_str(), &pages, HXTVEL_POSBAR_ON), 0u);
    return without_created_line(read_file(dir.file("m.cgats"))) + read_file(dir.file("comma.txt")) +
           read_file(dir.file("tab.txt")) + contents(back.h) + std::string(image.begin(), image.end()) +
           chart_files(dir.file("page"), pages);
}

class HostLocale : public testing::TestWithParam<bool> {};

TEST_P(HostLocale, ChangesNoByteAndNoValue) {
    std::unique_ptr<TraceCapture> trace;
    if (GetParam()) trace = std::make_unique<TraceCapture>(0x02);  // every level, to a file
    const std::string expected = everything();
    std::string under_comma;
    bool active = false;
    {
        const HostCommaLocale comma;
        active = comma.active();
        if (active) under_comma = everything();
    }
    if (!active) {
        const char *ci = std::getenv("CI");
        if (ci && std::string(ci) == "true") FAIL() << "CI provides no comma-decimal locale (de_DE.UTF-8)";
        GTEST_SKIP() << "no comma-decimal locale could be made";
    }
    EXPECT_EQ(under_comma, expected);
}

INSTANTIATE_TEST_SUITE_P(Trace, HostLocale, testing::Values(false, true),
                         [](const testing::TestParamInfo<bool> &i) { return i.param ? "on" : "off"; });

}  // namespace
