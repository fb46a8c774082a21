// CGATS key tables and helpers, and the locale-independent number texts.
#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <locale>
#include <random>
#include <sstream>

#include "cgatsutility.h"
#include "locale_support.h"
#include "trace_capture.h"

namespace {

using U = hxtvel::c_cgats_utility;
using hxtvel::format_fixed;
using hxtvel::parse_plain_number;

template <typename Table>
std::vector<std::string> texts(const Table &t) {
    std::vector<std::string> out;
    for (const auto &row : t) out.emplace_back(row.text);
    return out;
}
template <typename Table>
std::vector<int> codes(const Table &t) {
    std::vector<int> out;
    for (const auto &row : t) out.push_back(row.code);
    return out;
}

TEST(CgatsTables, OrdersAndTexts) {
    using V = std::vector<std::string>;
    EXPECT_EQ(texts(U::clrkey), (V{"RGB_", "CMYK_", "LAB_", "XYZ_", "SPECTRAL_"}));
    EXPECT_EQ(codes(U::clrkey), (std::vector<int>{1, 2, 4, 8, 16}));
    EXPECT_EQ(V(U::colorstr.begin(), U::colorstr.end()),
              (V{"RGB_R", "RGB_G", "RGB_B", "CMYK_C", "CMYK_M", "CMYK_Y", "CMYK_K", "LAB_L", "LAB_A",
                 "LAB_B", "XYZ_X", "XYZ_Y", "XYZ_Z"}));
    EXPECT_EQ(texts(U::searchkeys), (V{"NUMBER_OF_FIELDS", "BEGIN_DATA_FORMAT", "END_DATA_FORMAT",
                                       "NUMBER_OF_SETS", "BEGIN_DATA", "END_DATA"}));
    EXPECT_EQ(codes(U::searchkeys), (std::vector<int>{2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(codes(U::mustkeys), (std::vector<int>{3, 4, 6, 7}));
    EXPECT_EQ(texts(U::lightsrckey), (V{"A", "C", "D50", "D65", "F2", "F7", "F11", "F12", "D75",
                                        "D55", "F8", "F10"}));
    EXPECT_EQ(codes(U::lightsrckey), (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
    EXPECT_EQ(texts(U::backingkey), (V{"unknown", "white", "black"}));
    EXPECT_EQ(texts(U::observeraglkey), (V{"2", "10"}));
    EXPECT_EQ(texts(U::uvcutkey), (V{"No", "UVcut"}));
    EXPECT_EQ(U::tabdelim, "\t");
    EXPECT_EQ(U::commentstr, "#");
}

TEST(CgatsUtility, SpectralCount) {
    auto count = [](uint16_t s, uint16_t e, uint16_t p) { return U::spectrcount_per_line({s, e, p, nullptr}); };
    EXPECT_EQ(count(380, 730, 10), 36);
    EXPECT_EQ(count(400, 700, 20), 16);
    EXPECT_EQ(count(400, 700, 0), 0);
    EXPECT_EQ(count(400, 380, 10), 65535);  // (-20 / 10) + 1 in 16 bits
    EXPECT_EQ(hxtvel::spectrcount_per_line({400, 380, 10, nullptr}), 65535);
}

struct RangeCase {
    double v;
    unsigned char flag;
    bool first;
    bool ok;
};
class CgatsRange : public testing::TestWithParam<RangeCase> {};
TEST_P(CgatsRange, Bounds) {
    const RangeCase c = GetParam();
    EXPECT_EQ(U::is_range_data(c.v, c.flag, c.first), c.ok) << c.v << " flag " << int(c.flag);
}
const double kNaN = std::numeric_limits<double>::quiet_NaN();
INSTANTIATE_TEST_SUITE_P(
    Table, CgatsRange,
    testing::Values(RangeCase{255, 1, false, true}, RangeCase{255.01, 1, false, false},
                    RangeCase{-0.01, 2, false, false}, RangeCase{100, 2, false, true},
                    RangeCase{128, 4, false, true}, RangeCase{128.01, 4, false, false},
                    RangeCase{100.5, 4, true, false}, RangeCase{-128, 4, false, true},
                    RangeCase{1e9, 8, false, true}, RangeCase{-0.01, 8, false, false},
                    RangeCase{kNaN, 8, false, true}, RangeCase{kNaN, 1, false, false},
                    RangeCase{-5, 16, false, true}, RangeCase{1, 3, false, false},
                    RangeCase{1, 0, false, false}));

TEST(CgatsUtility, SizeAndRangeChecks) {
    EXPECT_EQ(U::check_datasize(4, 3), 0u);  // the CMYK bit decides
    EXPECT_EQ(U::check_datasize(3, 2), 102u);
    EXPECT_EQ(U::check_datasize(3, 16), 0u);
    EXPECT_EQ(U::check_datarange({100, -128, 128}, 4), 0u);
    EXPECT_EQ(U::check_datarange({0, 0, 0, 100.5}, 2), 105u);
    EXPECT_EQ(U::check_datarange({-1, 0, 0, 100.5}, 8), 105u);
    hxtvel_test::TraceCapture trace;
    EXPECT_EQ(U::check_datarange({100.5, 0, 0}, 4), 105u);
    const auto lines = trace.lines();
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines.front(), "Info:chack_datarange in");
    EXPECT_NE(std::find(lines.begin(), lines.end(), "Error:check_datarange err = 100.500000"), lines.end());
    EXPECT_EQ(lines.back(), "Info:chack_datarange out");
}

TEST(CgatsUtility, SearchKeyAndNames) {
    EXPECT_EQ(U::search_key("BEGIN_DATA_FORMAT"), 3);
    EXPECT_EQ(U::search_key("END_DATA_FORMAT"), 4);
    EXPECT_EQ(U::search_key("END_DATA"), 7);
    EXPECT_EQ(U::search_key("KEYWORD\t\"NUMBER_OF_SETS\""), 5);
    EXPECT_EQ(U::search_key("1 2 3"), 0);
    EXPECT_TRUE(U::is_color_check("LAB_A"));
    EXPECT_FALSE(U::is_color_check("LAB_A "));
    EXPECT_FALSE(U::is_color_check("lab_a"));
    EXPECT_EQ(U::get_color_string(8), "XYZ_");
    EXPECT_EQ(U::get_color_string(3), "");
    EXPECT_EQ(U::get_writefmtval(11, hxtvel::WFK_ILLUMINATION), "F10");
    EXPECT_EQ(U::get_writefmtval(8, hxtvel::WFK_ILLUMINATION), "D75");
    EXPECT_EQ(U::get_writefmtval(12, hxtvel::WFK_ILLUMINATION), "");
    EXPECT_EQ(U::get_writefmtval(0, hxtvel::WFK_TEMPERATURE), "");
    EXPECT_EQ(U::get_writefmtval(1, hxtvel::WFK_FILTER), "UVcut");
    EXPECT_TRUE(U::is_digitforchar(2, hxtvel::WFK_BACKING));
    EXPECT_FALSE(U::is_digitforchar(3, hxtvel::WFK_BACKING));
    EXPECT_FALSE(U::is_digitforchar(12, hxtvel::WFK_ILLUMINATION));
    EXPECT_FALSE(U::is_digitforchar(2, hxtvel::WFK_OBSERVER));
    EXPECT_TRUE(U::is_digitforchar(255, hxtvel::WFK_HUMIDITY));
    EXPECT_TRUE(U::is_digitforchar(255, static_cast<hxtvel::e_writefmtkey>(7)));
}

TEST(CgatsUtility, SpectralNames) {
    unsigned short w = 7;
    EXPECT_TRUE(U::get_spectralnum("SPECTRAL_0380", w));
    EXPECT_EQ(w, 380);
    EXPECT_TRUE(U::get_spectralnum("LAB_SPECTRAL_70000", w));
    EXPECT_EQ(w, 70000 % 65536);
    EXPECT_TRUE(U::get_spectralnum("SPECTRAL_", w));
    EXPECT_EQ(w, 0);
    w = 7;
    EXPECT_FALSE(U::get_spectralnum("SPECTRAL_NM380", w));
    EXPECT_FALSE(U::get_spectralnum("SPECTRAL_380nm", w));
    EXPECT_FALSE(U::get_spectralnum("LAB_L", w));
    EXPECT_EQ(w, 7);
}

TEST(CgatsUtility, LineHelpers) {
    std::vector<std::string> out{"old"};
    U::stock_in_array("\ta\t\tb\t", out);
    EXPECT_EQ(out, (std::vector<std::string>{"a", "b"}));
    U::stock_in_array("", out);
    EXPECT_TRUE(out.empty());
    EXPECT_EQ(U::replace_space_to_tab(" a  b\v"), "\ta\t\tb\v");
    EXPECT_TRUE(U::is_check_string("1-.2"));
    EXPECT_TRUE(U::is_check_string(""));
    EXPECT_FALSE(U::is_check_string("5e1"));
    EXPECT_FALSE(U::is_check_string("+5"));
    EXPECT_EQ(U::split_string_to_num("NUMBER_OF_SETS 100"), 100u);
    EXPECT_EQ(U::split_string_to_num("NUMBER_OF_SETS\t\t24"), 24u);
    EXPECT_EQ(U::split_string_to_num("NUMBER_OF_SETS\tabc"), 0u);
    EXPECT_EQ(U::split_string_to_num("NUMBER_OF_SETS\t\"24\""), 0u);
    EXPECT_EQ(U::split_string_to_num("NUMBER_OF_SETS24"), 0u);
    EXPECT_EQ(U::split_string_to_num("NUMBER_OF_SETS\t-1"), std::numeric_limits<unsigned long>::max());
    EXPECT_EQ(U::split_string_to_num("N\t99999999999999999999999"), 9223372036854775807ul);
    EXPECT_EQ(U::get_datacount(0, 10, 0, 10, 0), 10u);
    EXPECT_EQ(U::get_datacount(10, 12, 0, 0, 0), 0u);
    EXPECT_EQ(U::get_datacount(0, 0, 0, 0, 0), 0u);
    std::vector<unsigned char> flags{99};
    U::get_colorflag_array(0x1D, flags);
    EXPECT_EQ(flags, (std::vector<unsigned char>{99, 1, 4, 8, 16}));
}

TEST(CgatsUtility, HelpersTraceTheirNames) {
    hxtvel_test::TraceCapture trace;
    U::search_key("x");
    U::get_spectralnum("x", *std::make_unique<unsigned short>().get());
    EXPECT_EQ(trace.lines(), (std::vector<std::string>{"Info:search_key in", "Info:search_key out",
                                                       "Info:get_spectralnum in",
                                                       "Info:get_spectralnum out"}));
}

std::string classic_fixed(double v, int decimals) {
    std::ostringstream s;
    s.imbue(std::locale::classic());
    s << std::fixed;
    s.precision(decimals);
    s << v;
    return s.str();
}
std::string ours(double v, int decimals) {
    char buf[hxtvel::kFixedTextMax];
    return std::string(buf, format_fixed(buf, v, decimals));
}

TEST(CgatsNumbers, DoubleToString) {
    EXPECT_EQ(U::double_to_string(5, 4), "5.00");
    EXPECT_EQ(U::double_to_string(-0.125, 16), "-0.1250");
    EXPECT_EQ(U::double_to_string(3.0, 3), "");
    EXPECT_EQ(U::double_to_string(3.0, 32), "");
    EXPECT_EQ(U::double_to_string(1.005, 1), classic_fixed(1.005, 2));  // 1.00: below the tie
    EXPECT_EQ(U::double_to_string(-0.001, 8), "-0.00");
}

// The fast fixed-point formatter against the standard stream on random,
// tie, boundary and non-finite values.
TEST(CgatsNumbers, FixedMatchesStreamOutput) {
    std::mt19937_64 rng(7);
    std::vector<double> values{0.0, -0.0, 0.125, 0.375, 2.5e-5, 0.00005, 1e15, 4.5e15, 9.1e15,
                               1e300, -1e300, 5e-324, std::numeric_limits<double>::infinity(),
                               -std::numeric_limits<double>::infinity(), kNaN, -kNaN, 1.005,
                               4503599627370495.5, 0.045, 99.995};
    for (int i = 0; i < 200000; ++i) {
        const int kind = i % 4;
        double v;
        if (kind == 0) v = std::uniform_real_distribution<double>(-300, 300)(rng);
        else if (kind == 1) v = double(int64_t(rng() % 2000001) - 1000000) / 8000.0;  // many ties
        else if (kind == 2) v = double(int64_t(rng() % 20001)) / 10000.0 + 0.00005;
        else v = std::ldexp(double(rng() >> 11), int(rng() % 80) - 70);
        values.push_back(v);
    }
    for (double v : values) {
        for (int d : {2, 4}) ASSERT_EQ(ours(v, d), classic_fixed(v, d)) << std::hexfloat << v;
    }
}

// parse_plain_number against strtod in the "C" locale on number texts.
TEST(CgatsNumbers, ParseMatchesStrtod) {
    std::vector<std::string> texts{"-",     ".",     "-.",    "1-.2", "--1",  "-0",   "0.",
                                   ".5",    "-.5",   "1.2.3", "5-",   "007",  "12345678901234567890",
                                   "0.1234567890123456789012345", "9007199254740993",
                                   std::string(400, '9'), "0." + std::string(330, '0') + "1",
                                   "0." + std::string(320, '0') + "25"};
    std::mt19937_64 rng(11);
    const char alphabet[] = "0123456789.-";
    for (int i = 0; i < 100000; ++i) {
        std::string t;
        if (i % 2) {
            const size_t n = 1 + rng() % 24;
            for (size_t k = 0; k < n; ++k) t += alphabet[rng() % 12];
        } else {
            char buf[64];
            std::snprintf(buf, sizeof buf, "%.*f", int(rng() % 8), double(int64_t(rng() % 2000000) - 1000000) / 997.0);
            t = buf;
        }
        texts.push_back(t);
    }
    for (const std::string &t : texts) {
        const double want = std::strtod(t.c_str(), nullptr);  // the test runs in the "C" locale
        const double got = parse_plain_number(t.data(), t.data() + t.size());
        ASSERT_EQ(std::memcmp(&want, &got, sizeof want), 0) << t << " " << want << " " << got;
    }
}

// A comma decimal separator in the host's C and C++ locales changes nothing.
TEST(CgatsNumbers, HostLocaleIsIgnored) {
    struct comma : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
    };
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new comma));
    const bool c_locale = hxtvel_test::set_comma_numeric_locale();
    if (c_locale) {
        char probe[8];
        std::snprintf(probe, sizeof probe, "%.1f", 1.5);
        EXPECT_STREQ(probe, "1,5");  // the locale is really in force
    }
    EXPECT_EQ(U::double_to_string(1.5, 16), "1.5000");
    const char t[] = "12.75";
    EXPECT_EQ(parse_plain_number(t, t + 5), 12.75);
    std::locale::global(before);
    std::setlocale(LC_NUMERIC, "C");
    if (!c_locale) GTEST_SKIP() << "no comma-decimal C locale could be made";
}

}  // namespace
