// Measurement store: setters, getters, range tests, spectra, sensor info.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "cgats_support.h"
#include "trace_capture.h"

namespace {

using hxtvel_test::contents;
using hxtvel_test::Instance;

// The four fixed-size colour kinds through the C interface.
template <typename T>
struct Kind;
#define HX_KIND(T, SET, GET, ...)                                \
    template <>                                                  \
    struct Kind<T> {                                             \
        static constexpr auto set = SET;                         \
        static constexpr auto get = GET;                         \
        static T sample(double i) { return __VA_ARGS__; }        \
    }
HX_KIND(velCIELab, HXTVEL_SetLAB, HXTVEL_GetLAB, {i, -i, i / 2});
HX_KIND(velCIEXYZ, HXTVEL_SetXYZ, HXTVEL_GetXYZ, {i, i * 2, i * 3});
HX_KIND(velRGB, HXTVEL_SetRGB, HXTVEL_GetRGB, {i, i + 1, i + 2});
HX_KIND(velCMYK, HXTVEL_SetCMYK, HXTVEL_GetCMYK, {i, i + 1, i + 2, i + 3});
#undef HX_KIND

template <typename T>
class ColourKind : public testing::Test {};
using ColourKinds = testing::Types<velCIELab, velCIEXYZ, velRGB, velCMYK>;
TYPED_TEST_SUITE(ColourKind, ColourKinds);

// Setting appends in call order; a refused call (bad arguments, or one record
// out of range) changes nothing; getting needs a count or copies nothing.
TYPED_TEST(ColourKind, AppendsAndRefusesWholeCalls) {
    using K = Kind<TypeParam>;
    Instance m;
    uint32_t n = 7;
    EXPECT_EQ(K::get(m.h, nullptr, &n), 0u);
    EXPECT_EQ(n, 0u);
    const TypeParam one = K::sample(1);
    TypeParam probe = one;
    EXPECT_EQ(K::get(m.h, &probe, nullptr), 0u);
    EXPECT_EQ(std::memcmp(&probe, &one, sizeof one), 0);
    EXPECT_EQ(K::get(m.h, nullptr, nullptr), 107u);

    const std::vector<TypeParam> a = {K::sample(1), K::sample(2), K::sample(3)}, b = {K::sample(4), K::sample(5)};
    ASSERT_EQ(K::set(m.h, a.data(), 3), 0u);
    ASSERT_EQ(K::set(m.h, b.data(), 2), 0u);
    const std::string five = contents(m.h);
    std::vector<TypeParam> bad = {K::sample(6), K::sample(7)};
    reinterpret_cast<double *>(&bad[1])[sizeof(TypeParam) / sizeof(double) - 1] = -1000.0;  // below every bound
    EXPECT_EQ(K::set(m.h, bad.data(), 2), 105u);
    EXPECT_EQ(K::set(m.h, nullptr, 1), 107u);
    EXPECT_EQ(K::set(m.h, a.data(), 0), 107u);
    EXPECT_EQ(K::set(nullptr, a.data(), 1), 107u);
    EXPECT_EQ(K::get(nullptr, &probe, nullptr), 107u);
    EXPECT_EQ(contents(m.h), five);

    std::vector<TypeParam> got(5);
    ASSERT_EQ(K::get(m.h, nullptr, &n), 0u);
    ASSERT_EQ(n, 5u);
    ASSERT_EQ(K::get(m.h, got.data(), &n), 0u);
    for (int i = 0; i < 5; ++i) {
        const TypeParam want = K::sample(i + 1);
        EXPECT_EQ(std::memcmp(&got[size_t(i)], &want, sizeof want), 0) << i;
    }
}

// Bounds are inclusive; a NaN is refused except for XYZ, which only refuses
// values below zero.
struct RangeCase {
    const char *name;
    uint32_t (*set)(void *, double);
    double value;
    uint32_t expected;
};
uint32_t set_L(void *h, double v) { velCIELab x{v, 0, 0}; return HXTVEL_SetLAB(h, &x, 1); }
uint32_t set_a(void *h, double v) { velCIELab x{50, v, 0}; return HXTVEL_SetLAB(h, &x, 1); }
uint32_t set_b(void *h, double v) { velCIELab x{50, 0, v}; return HXTVEL_SetLAB(h, &x, 1); }
uint32_t set_Y(void *h, double v) { velCIEXYZ x{1, v, 1}; return HXTVEL_SetXYZ(h, &x, 1); }
uint32_t set_G(void *h, double v) { velRGB x{1, v, 1}; return HXTVEL_SetRGB(h, &x, 1); }
uint32_t set_K(void *h, double v) { velCMYK x{1, 1, 1, v}; return HXTVEL_SetCMYK(h, &x, 1); }
const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

class StoreRange : public testing::TestWithParam<RangeCase> {};
TEST_P(StoreRange, Boundary) {
    Instance m;
    EXPECT_EQ(GetParam().set(m.h, GetParam().value), GetParam().expected);
}
INSTANTIATE_TEST_SUITE_P(
    Bounds, StoreRange,
    testing::Values(RangeCase{"L0", set_L, 0.0, 0}, RangeCase{"L100", set_L, 100.0, 0},
                    RangeCase{"L100p", set_L, 100.0001, 105}, RangeCase{"Lneg", set_L, -0.0001, 105},
                    RangeCase{"LNaN", set_L, kNaN, 105}, RangeCase{"a128", set_a, 128.0, 0},
                    RangeCase{"aneg128", set_a, -128.0, 0}, RangeCase{"aover", set_a, 128.01, 105},
                    RangeCase{"bunder", set_b, -128.01, 105}, RangeCase{"Ybig", set_Y, 1000.0, 0},
                    RangeCase{"Yinf", set_Y, kInf, 0}, RangeCase{"Yneg", set_Y, -0.001, 105},
                    RangeCase{"YNaN", set_Y, kNaN, 0}, RangeCase{"G255", set_G, 255.0, 0},
                    RangeCase{"Gover", set_G, 255.5, 105}, RangeCase{"GNaN", set_G, kNaN, 105},
                    RangeCase{"K100", set_K, 100.0, 0}, RangeCase{"Kover", set_K, 100.5, 105},
                    RangeCase{"Kneg", set_K, -1.0, 105}),
    [](const testing::TestParamInfo<RangeCase> &i) { return std::string(i.param.name); });

// ---------------------------------------------------------------- spectra

struct Spectrum {
    std::vector<double> values;
    velSPECTRO_REF ref;
    Spectrum(uint16_t start, uint16_t end, uint16_t pitch, double base)
        : values(pitch && end > start ? (end - start) / pitch + 1 : 1), ref{start, end, pitch, nullptr} {
        for (size_t i = 0; i < values.size(); ++i) values[i] = base + 0.01 * i;
        ref.data = values.data();
    }
};

std::vector<std::vector<double>> stored_spectra(void *h, velSPECTRO_REF *layout = nullptr) {
    uint32_t n = 0;
    uint16_t values = 0;
    EXPECT_EQ(HXTVEL_GetSpectroRef(h, nullptr, &n, &values), 0u);
    std::vector<std::vector<double>> out(n, std::vector<double>(values));
    std::vector<velSPECTRO_REF> refs(n);
    for (uint32_t i = 0; i < n; ++i) refs[i].data = out[i].data();
    if (n) {
        EXPECT_EQ(HXTVEL_GetSpectroRef(h, refs.data(), &n, &values), 0u);
    }
    if (layout && n) *layout = refs[0];
    return out;
}

// A second record must have the stored layout; the first must hold at least
// two values. A refused call stores nothing.
struct SpectrumCase {
    const char *name;
    bool alone;  // no record stored before
    uint16_t start, end, pitch;
    bool null_data;
    uint32_t expected;
};
class StoreSpectrumLayout : public testing::TestWithParam<SpectrumCase> {};
TEST_P(StoreSpectrumLayout, AgainstStoredLayout) {
    const SpectrumCase &c = GetParam();
    Instance m;
    Spectrum first(400, 700, 10, 0.2), next(c.start, c.end, c.pitch, 0.3);
    if (!c.alone) {
        ASSERT_EQ(HXTVEL_SetSpectroRef(m.h, &first.ref, 1), 0u);
    }
    velSPECTRO_REF batch[2] = {first.ref, next.ref};
    if (c.null_data) batch[1].data = nullptr;
    EXPECT_EQ(HXTVEL_SetSpectroRef(m.h, c.alone ? batch + 1 : batch, c.alone ? 1 : 2), c.expected);
    EXPECT_EQ(stored_spectra(m.h).size(), c.alone ? (c.expected ? 0u : 1u) : (c.expected ? 1u : 3u));
}
INSTANTIATE_TEST_SUITE_P(
    Layouts, StoreSpectrumLayout,
    testing::Values(SpectrumCase{"same", false, 400, 700, 10, false, 0},
                    SpectrumCase{"otherpitch", false, 400, 700, 20, false, 107},
                    SpectrumCase{"otherstart", false, 410, 700, 10, false, 107},
                    SpectrumCase{"otherend", false, 400, 690, 10, false, 107},
                    SpectrumCase{"nulldata", false, 400, 700, 10, true, 108},
                    SpectrumCase{"zero_pitch", true, 400, 700, 0, false, 107},
                    SpectrumCase{"backwards", true, 700, 400, 10, false, 107},
                    SpectrumCase{"one_value", true, 400, 405, 10, false, 107}),
    [](const testing::TestParamInfo<SpectrumCase> &i) { return std::string(i.param.name); });

// Set appends; get reports count and values per record, fills records in
// turn and stops at the first without storage.
TEST(StoreSpectra, RoundTripAppendAndArguments) {
    Instance m;
    Spectrum a(380, 730, 10, 0.1), b(380, 730, 10, 0.5);
    uint32_t n = 5;
    uint16_t v = 5;
    EXPECT_EQ(HXTVEL_GetSpectroRef(m.h, nullptr, &n, &v), 0u);
    EXPECT_TRUE(n == 0 && v == 0);
    EXPECT_EQ(HXTVEL_GetSpectroRef(m.h, nullptr, &n, nullptr), 107u);
    EXPECT_EQ(HXTVEL_GetSpectroRef(m.h, nullptr, nullptr, &v), 107u);
    EXPECT_EQ(HXTVEL_SetSpectroRef(m.h, nullptr, 1), 107u);
    EXPECT_EQ(HXTVEL_SetSpectroRef(m.h, &a.ref, 0), 107u);

    velSPECTRO_REF two[2] = {a.ref, b.ref};
    ASSERT_EQ(HXTVEL_SetSpectroRef(m.h, two, 2), 0u);
    ASSERT_EQ(HXTVEL_SetSpectroRef(m.h, &a.ref, 1), 0u);
    velSPECTRO_REF layout{};
    EXPECT_EQ(stored_spectra(m.h, &layout), (std::vector<std::vector<double>>{a.values, b.values, a.values}));
    EXPECT_TRUE(layout.start == 380 && layout.end == 730 && layout.pitch == 10);

    std::vector<double> first(36, -1.0);
    velSPECTRO_REF out[2] = {{0, 0, 0, first.data()}, {0, 0, 0, nullptr}};
    EXPECT_EQ(HXTVEL_GetSpectroRef(m.h, out, &n, &v), 107u);
    EXPECT_EQ(first, a.values);  // records before the bad one are filled
    EXPECT_EQ(out[1].pitch, 10);
}

// ------------------------------------------------------------ sensor info

velSensorInfo good_sensor() {
    velSensorInfo s;
    std::memset(&s, 0, sizeof s);
    std::strcpy(s.instrument, "Spectro 1");
    s.backing = 1;
    s.temperature = 255;
    s.humidity = 40;
    s.illumination = 11;
    s.observer = 1;
    s.filter = 1;
    return s;
}

struct SensorCase {
    const char *name;
    void (*change)(velSensorInfo &);
    uint32_t expected;
};
class StoreSensor : public testing::TestWithParam<SensorCase> {};
TEST_P(StoreSensor, Validity) {
    Instance m;
    velSensorInfo s = good_sensor();
    GetParam().change(s);
    EXPECT_EQ(HXTVEL_SetSensorInfo(m.h, s), GetParam().expected);
    // Whatever is accepted is written to a file that reads back.
    if (GetParam().expected != 0) return;
    hxtvel_test::TempDir dir;
    const std::string path = dir.file("m.cgats");
    const velCIELab lab{50, 1, 2};
    ASSERT_EQ(HXTVEL_SetLAB(m.h, &lab, 1), 0u);
    ASSERT_EQ(HXTVEL_WriteCGATS(m.h, path.c_str()), 0u);
    Instance back;
    EXPECT_EQ(HXTVEL_ReadCGATS(back.h, path.c_str(), HXTVEL_CLR_LAB), 0u) << hxtvel_test::read_file(path);
}
INSTANTIATE_TEST_SUITE_P(
    Fields, StoreSensor,
    testing::Values(
        SensorCase{"valid", [](velSensorInfo &) {}, 0},
        SensorCase{"backing3", [](velSensorInfo &s) { s.backing = 3; }, 105},
        SensorCase{"illumination12", [](velSensorInfo &s) { s.illumination = 12; }, 105},
        SensorCase{"observer2", [](velSensorInfo &s) { s.observer = 2; }, 105},
        SensorCase{"filter2", [](velSensorInfo &s) { s.filter = 2; }, 105},
        SensorCase{"humidity255", [](velSensorInfo &s) { s.humidity = 255; }, 0},
        SensorCase{"name31", [](velSensorInfo &s) { std::memset(s.instrument, 'x', 31); s.instrument[31] = 0; }, 0},
        SensorCase{"name32", [](velSensorInfo &s) { std::memset(s.instrument, 'x', 32); }, 105},
        // A name the written file could not carry on its quoted header line.
        SensorCase{"name_quote", [](velSensorInfo &s) { std::strcpy(s.instrument, "X\" 7"); }, 105},
        SensorCase{"name_line_break", [](velSensorInfo &s) { std::strcpy(s.instrument, "X\nNUMBER_OF_SETS 7"); }, 105},
        SensorCase{"name_tab", [](velSensorInfo &s) { std::strcpy(s.instrument, "X\tY"); }, 105},
        SensorCase{"name_delete", [](velSensorInfo &s) { std::strcpy(s.instrument, "X\x7f"); }, 105},
        SensorCase{"name_keyword", [](velSensorInfo &s) { std::strcpy(s.instrument, "X END_DATA"); }, 105},
        SensorCase{"name_punctuation_utf8", [](velSensorInfo &s) { std::strcpy(s.instrument, "i1 #2 (M1) 'a' \xc3\xa9"); },
                   0}),
    [](const testing::TestParamInfo<SensorCase> &i) { return std::string(i.param.name); });

// ------------------------------------------------------------ trace, lock

// Setters and getters hold the instance lock; the texts are the system's own.
TEST(StoreTrace, TextsOfTheInstanceLife) {
    hxtvel_test::TraceCapture capture(0x02);
    void *h = HXTVEL_CreateCGATSInstance();
    velCIELab lab{50, 0, 0};
    uint32_t n;
    HXTVEL_SetLAB(h, &lab, 1);
    HXTVEL_GetLAB(h, nullptr, &n);
    HXTVEL_DeleteCGATSInstance(h);
    const std::vector<std::string> locked = {"Debug:enter in", "Debug:enter out", "Debug:leave in", "Debug:cleave out"};
    std::vector<std::string> want = {"Debug:c_lock in", "Debug:c_lock out", "Info:c_cgats_in", "Info:c_cgats_out"};
    for (const char *op : {"set_lab", "get_lab"}) {
        want.push_back(std::string("Info:") + op + (op[0] == 'g' ? " int" : " in"));
        want.insert(want.end(), locked.begin(), locked.end());
        want.push_back(std::string("Info:") + op + " out");
    }
    want.insert(want.end(), {"Info:destory in", "Info:destory out", "Info:~c_cgats in", "Info:~c_cgats out",
                             "Debug:~c_lock in", "Debug:~c_lock out"});
    EXPECT_EQ(capture.lines(), want);
    const auto raw = capture.raw_lines();
    EXPECT_NE(raw[2].find("libs/libcgats/source/cgats.cpp "), std::string::npos) << raw[2];
}

}  // namespace
