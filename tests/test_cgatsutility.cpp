// CGATS key tables and helpers, and the locale-independent number texts.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <iomanip>
#include <limits>
#include <locale>
#include <random>
#include <sstream>

#include "cgatsutility.h"

namespace {

using U = hxtvel::c_cgats_utility;
using Texts = std::vector<std::string>;

template <typename Table>
Texts texts(const Table &t) {
    Texts out;
    for (const auto &row : t) out.push_back(std::to_string(row.code) + ":" + std::string(row.text));
    return out;
}

TEST(CgatsTables, OrdersAndTexts) {
    EXPECT_EQ(texts(U::clrkey), (Texts{"1:RGB_", "2:CMYK_", "4:LAB_", "8:XYZ_", "16:SPECTRAL_"}));
    EXPECT_EQ(Texts(U::colorstr.begin(), U::colorstr.end()),
              (Texts{"RGB_R", "RGB_G", "RGB_B", "CMYK_C", "CMYK_M", "CMYK_Y", "CMYK_K", "LAB_L",
                     "LAB_A", "LAB_B", "XYZ_X", "XYZ_Y", "XYZ_Z"}));
    EXPECT_EQ(texts(U::searchkeys), (Texts{"2:NUMBER_OF_FIELDS", "3:BEGIN_DATA_FORMAT", "4:END_DATA_FORMAT",
                                           "5:NUMBER_OF_SETS", "6:BEGIN_DATA", "7:END_DATA"}));
    EXPECT_EQ(texts(U::mustkeys), (Texts{"3:BEGIN_DATA_FORMAT", "4:END_DATA_FORMAT", "6:BEGIN_DATA", "7:END_DATA"}));
    EXPECT_EQ(texts(U::lightsrckey), (Texts{"0:A", "1:C", "2:D50", "3:D65", "4:F2", "5:F7", "6:F11", "7:F12",
                                            "8:D75", "9:D55", "10:F8", "11:F10"}));
    EXPECT_EQ(texts(U::backingkey), (Texts{"0:unknown", "1:white", "2:black"}));
    EXPECT_EQ(texts(U::observeraglkey), (Texts{"0:2", "1:10"}));
    EXPECT_EQ(texts(U::uvcutkey), (Texts{"0:No", "1:UVcut"}));
}

// Helpers whose edges the reader and writer tests do not reach (those cover
// the key search, the field split, the number checks and the range texts).
TEST(CgatsUtility, Edges) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(U::is_range_data(nan, 8, false));    // XYZ refuses only values below zero
    EXPECT_FALSE(U::is_range_data(100.5, 4, true));  // L is the first Lab value
    EXPECT_FALSE(U::is_range_data(1, 3, false));     // no single kind
    EXPECT_EQ(U::check_datasize(4, 3), 0u);          // the CMYK bit decides
    EXPECT_EQ(U::check_datasize(3, 2), 102u);
    unsigned short w = 7;
    EXPECT_FALSE(U::get_spectralnum("SPECTRAL_380nm", w));
    EXPECT_EQ(w, 7);
    EXPECT_TRUE(U::get_spectralnum("LAB_SPECTRAL_0380", w));
    EXPECT_EQ(w, 380);
    EXPECT_EQ(U::split_string_to_num("NUMBER_OF_SETS\t-1"), std::numeric_limits<unsigned long>::max());
    EXPECT_EQ(U::split_string_to_num("NUMBER_OF_SETS"), 0u);  // no value
    EXPECT_EQ(U::get_datacount(0, 10, 0, 10, 0), 10u);
    EXPECT_EQ(U::get_datacount(10, 12, 0, 0, 0), 0u);
    EXPECT_EQ(U::get_writefmtval(12, hxtvel::WFK_ILLUMINATION), "");
    EXPECT_EQ(U::spectrcount_per_line({400, 380, 10, nullptr}), 65535);
    EXPECT_EQ(U::double_to_string(3.0, 3), "");
}

// The fast fixed-point formatter against the standard stream ("C" locale)
// on random, tie, boundary and non-finite values.
TEST(CgatsNumbers, FixedMatchesStreamOutput) {
    const double inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
    std::vector<double> values{0.0, -0.0, 0.125, 2.5e-5, 1e15, 4.5e15, 9.1e15, 1e300, 5e-324,
                               inf, -inf, nan, -nan, 1.005, 4503599627370495.5, 99.995};
    std::mt19937_64 rng(7);
    for (int i = 0; i < 200000; ++i) {
        if (i % 3 == 0) values.push_back(std::uniform_real_distribution<double>(-300, 300)(rng));
        if (i % 3 == 1) values.push_back(double(int64_t(rng() % 2000001) - 1000000) / 8000.0);  // ties
        if (i % 3 == 2) values.push_back(std::ldexp(double(rng() >> 11), int(rng() % 80) - 70));
    }
    char buf[hxtvel::kFixedTextMax];
    for (double v : values) {
        for (int d : {2, 4}) {
            std::ostringstream s;
            s.imbue(std::locale::classic());
            s << std::fixed << std::setprecision(d) << v;
            ASSERT_EQ(std::string(buf, hxtvel::format_fixed(buf, v, d)), s.str()) << std::hexfloat << v;
        }
    }
}

// parse_plain_number against strtod (the tests run in the "C" locale).
TEST(CgatsNumbers, ParseMatchesStrtod) {
    Texts texts{"-", ".", "-.", "1-.2", "--1", "-0", ".5", "1.2.3", "12345678901234567890",
                "0.1234567890123456789012345", "9007199254740993", std::string(400, '9'),
                "0." + std::string(330, '0') + "1", "0." + std::string(320, '0') + "25"};
    std::mt19937_64 rng(11);
    for (int i = 0; i < 100000; ++i) {
        std::string t;
        for (size_t n = 1 + rng() % 24; n > 0; --n) t += "0123456789.-"[rng() % (i % 2 ? 12 : 11)];
        texts.push_back(t);
    }
    for (const std::string &t : texts) {
        const double want = std::strtod(t.c_str(), nullptr);
        const double got = hxtvel::parse_plain_number(t.data(), t.data() + t.size());
        ASSERT_EQ(std::memcmp(&want, &got, sizeof want), 0) << t;
    }
}

}  // namespace
