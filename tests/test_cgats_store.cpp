// Measurement store: setters, getters, range tests, spectra, sensor info.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <thread>
#include <vector>

#include "cgats.h"
#include "hxtvel_cgats.h"
#include "trace_capture.h"

namespace {

// Typed access to the four fixed-size colour kinds through the C interface.
template <typename T>
struct Kind;
template <>
struct Kind<velCIELab> {
    static constexpr auto set = HXTVEL_SetLAB;
    static constexpr auto get = HXTVEL_GetLAB;
    static velCIELab sample(double i) { return {i, -i, i / 2}; }
};
template <>
struct Kind<velCIEXYZ> {
    static constexpr auto set = HXTVEL_SetXYZ;
    static constexpr auto get = HXTVEL_GetXYZ;
    static velCIEXYZ sample(double i) { return {i, i * 2, i * 3}; }
};
template <>
struct Kind<velRGB> {
    static constexpr auto set = HXTVEL_SetRGB;
    static constexpr auto get = HXTVEL_GetRGB;
    static velRGB sample(double i) { return {i, i + 1, i + 2}; }
};
template <>
struct Kind<velCMYK> {
    static constexpr auto set = HXTVEL_SetCMYK;
    static constexpr auto get = HXTVEL_GetCMYK;
    static velCMYK sample(double i) { return {i, i + 1, i + 2, i + 3}; }
};

struct Instance {
    void *h = HXTVEL_CreateCGATSInstance();
    ~Instance() { HXTVEL_DeleteCGATSInstance(h); }
};

template <typename T>
std::vector<T> stored(void *h) {
    uint32_t n = 99;
    EXPECT_EQ(Kind<T>::get(h, nullptr, &n), 0u);
    std::vector<T> out(n);
    if (n) {
        EXPECT_EQ(Kind<T>::get(h, out.data(), &n), 0u);
    }
    return out;
}

template <typename T>
bool same(const T &a, const T &b) {
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

template <typename T>
class ColourKind : public testing::Test {};
using ColourKinds = testing::Types<velCIELab, velCIEXYZ, velRGB, velCMYK>;
TYPED_TEST_SUITE(ColourKind, ColourKinds);

TYPED_TEST(ColourKind, NewInstanceIsEmpty) {
    Instance m;
    uint32_t n = 7;
    EXPECT_EQ(Kind<TypeParam>::get(m.h, nullptr, &n), 0u);
    EXPECT_EQ(n, 0u);
    TypeParam untouched = Kind<TypeParam>::sample(1);
    EXPECT_EQ(Kind<TypeParam>::get(m.h, &untouched, nullptr), 0u);  // copies nothing
    EXPECT_TRUE(same(untouched, Kind<TypeParam>::sample(1)));
    EXPECT_EQ(Kind<TypeParam>::get(m.h, nullptr, nullptr), 107u);
}

TYPED_TEST(ColourKind, SettingAppendsInCallOrder) {
    Instance m;
    std::vector<TypeParam> a = {Kind<TypeParam>::sample(1), Kind<TypeParam>::sample(2),
                                Kind<TypeParam>::sample(3)};
    std::vector<TypeParam> b = {Kind<TypeParam>::sample(4), Kind<TypeParam>::sample(5)};
    ASSERT_EQ(Kind<TypeParam>::set(m.h, a.data(), 3), 0u);
    ASSERT_EQ(Kind<TypeParam>::set(m.h, b.data(), 2), 0u);
    auto got = stored<TypeParam>(m.h);
    ASSERT_EQ(got.size(), 5u);
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(same(got[i], Kind<TypeParam>::sample(i + 1))) << i;
}

TYPED_TEST(ColourKind, InvalidArgumentsChangeNothing) {
    Instance m;
    TypeParam one = Kind<TypeParam>::sample(1);
    ASSERT_EQ(Kind<TypeParam>::set(m.h, &one, 1), 0u);
    EXPECT_EQ(Kind<TypeParam>::set(m.h, nullptr, 1), 107u);
    EXPECT_EQ(Kind<TypeParam>::set(m.h, &one, 0), 107u);
    EXPECT_EQ(Kind<TypeParam>::set(nullptr, &one, 1), 107u);
    EXPECT_EQ(Kind<TypeParam>::get(nullptr, &one, nullptr), 107u);
    EXPECT_EQ(stored<TypeParam>(m.h).size(), 1u);
}

TYPED_TEST(ColourKind, OneBadRecordRefusesTheWholeCallAndKeepsStoredData) {
    Instance m;
    TypeParam first = Kind<TypeParam>::sample(1);
    ASSERT_EQ(Kind<TypeParam>::set(m.h, &first, 1), 0u);
    std::vector<TypeParam> batch = {Kind<TypeParam>::sample(2), Kind<TypeParam>::sample(3)};
    double *last = reinterpret_cast<double *>(&batch[1]) + (sizeof(TypeParam) / sizeof(double) - 1);
    *last = -1000.0;  // below every lower bound
    EXPECT_EQ(Kind<TypeParam>::set(m.h, batch.data(), 2), 105u);
    auto got = stored<TypeParam>(m.h);
    ASSERT_EQ(got.size(), 1u);
    EXPECT_TRUE(same(got[0], first));
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

TEST(StoreSpectra, RoundTripAndAppend) {
    Instance m;
    Spectrum a(380, 730, 10, 0.1), b(380, 730, 10, 0.5);
    velSPECTRO_REF two[2] = {a.ref, b.ref};
    ASSERT_EQ(HXTVEL_SetSpectroRef(m.h, two, 2), 0u);
    ASSERT_EQ(HXTVEL_SetSpectroRef(m.h, &a.ref, 1), 0u);
    velSPECTRO_REF layout{};
    auto got = stored_spectra(m.h, &layout);
    ASSERT_EQ(got.size(), 3u);
    EXPECT_EQ(got[0].size(), 36u);
    EXPECT_EQ(got[0], a.values);
    EXPECT_EQ(got[1], b.values);
    EXPECT_EQ(got[2], a.values);
    EXPECT_EQ(layout.start, 380);
    EXPECT_EQ(layout.end, 730);
    EXPECT_EQ(layout.pitch, 10);
}

struct SpectrumCase {
    const char *name;
    uint16_t start, end, pitch;
    bool null_data;
    uint32_t expected;
};
class StoreSpectrumLayout : public testing::TestWithParam<SpectrumCase> {};
TEST_P(StoreSpectrumLayout, AgainstStoredLayout) {
    Instance m;
    Spectrum first(400, 700, 10, 0.2);
    ASSERT_EQ(HXTVEL_SetSpectroRef(m.h, &first.ref, 1), 0u);
    const SpectrumCase &c = GetParam();
    Spectrum next(c.start, c.end, c.pitch, 0.3);
    velSPECTRO_REF batch[2] = {first.ref, next.ref};
    if (c.null_data) batch[1].data = nullptr;
    EXPECT_EQ(HXTVEL_SetSpectroRef(m.h, batch, 2), c.expected);
    EXPECT_EQ(stored_spectra(m.h).size(), c.expected == 0 ? 3u : 1u);
}
INSTANTIATE_TEST_SUITE_P(
    Layouts, StoreSpectrumLayout,
    testing::Values(SpectrumCase{"same", 400, 700, 10, false, 0},
                    SpectrumCase{"otherpitch", 400, 700, 20, false, 107},
                    SpectrumCase{"otherstart", 410, 700, 10, false, 107},
                    SpectrumCase{"otherend", 400, 690, 10, false, 107},
                    SpectrumCase{"nulldata", 400, 700, 10, true, 108}),
    [](const testing::TestParamInfo<SpectrumCase> &i) { return std::string(i.param.name); });

TEST(StoreSpectra, FirstLayoutMustHoldTwoValues) {
    Instance m;
    Spectrum zero_pitch(400, 700, 0, 0.1), backwards(700, 400, 10, 0.1), single(400, 405, 10, 0.1);
    EXPECT_EQ(HXTVEL_SetSpectroRef(m.h, &zero_pitch.ref, 1), 107u);
    EXPECT_EQ(HXTVEL_SetSpectroRef(m.h, &backwards.ref, 1), 107u);
    EXPECT_EQ(HXTVEL_SetSpectroRef(m.h, &single.ref, 1), 107u);
    EXPECT_EQ(HXTVEL_SetSpectroRef(m.h, nullptr, 1), 107u);
    EXPECT_EQ(HXTVEL_SetSpectroRef(m.h, &single.ref, 0), 107u);
    EXPECT_TRUE(stored_spectra(m.h).empty());
}

TEST(StoreSpectra, GetNeedsBothCountsOrValueArrays) {
    Instance m;
    uint32_t n = 5;
    uint16_t v = 5;
    EXPECT_EQ(HXTVEL_GetSpectroRef(m.h, nullptr, &n, &v), 0u);
    EXPECT_EQ(n, 0u);
    EXPECT_EQ(v, 0u);
    EXPECT_EQ(HXTVEL_GetSpectroRef(m.h, nullptr, &n, nullptr), 107u);
    EXPECT_EQ(HXTVEL_GetSpectroRef(m.h, nullptr, nullptr, &v), 107u);

    Spectrum a(400, 700, 10, 0.1), b(400, 700, 10, 0.2);
    velSPECTRO_REF two[2] = {a.ref, b.ref};
    ASSERT_EQ(HXTVEL_SetSpectroRef(m.h, two, 2), 0u);
    std::vector<double> first(31, -1.0);
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
        SensorCase{"name32", [](velSensorInfo &s) { std::memset(s.instrument, 'x', 32); }, 105}),
    [](const testing::TestParamInfo<SensorCase> &i) { return std::string(i.param.name); });

// ------------------------------------------------------------ trace, lock

TEST(StoreTrace, TextsOfTheInstanceLife) {
    hxtvel_test::TraceCapture capture(0x12);
    void *h = HXTVEL_CreateCGATSInstance();
    velCIELab lab{50, 0, 0};
    uint32_t n;
    HXTVEL_SetLAB(h, &lab, 1);
    HXTVEL_GetLAB(h, nullptr, &n);
    HXTVEL_DeleteCGATSInstance(h);
    EXPECT_EQ(capture.lines(),
              (std::vector<std::string>{"Info:c_cgats_in", "Info:c_cgats_out", "Info:set_lab in",
                                        "Info:set_lab out", "Info:get_lab int", "Info:get_lab out",
                                        "Info:destory in", "Info:destory out", "Info:~c_cgats in",
                                        "Info:~c_cgats out"}));
    const auto raw = capture.raw_lines();
    EXPECT_NE(raw[2].find("libs/libcgats/source/cgats.cpp "), std::string::npos) << raw[2];
}

TEST(StoreTrace, OperationsHoldTheInstanceLock) {
    hxtvel_test::TraceCapture capture(0x02);
    Instance m;
    capture.clear();
    velRGB rgb{1, 2, 3};
    HXTVEL_SetRGB(m.h, &rgb, 1);
    EXPECT_EQ(capture.lines(),
              (std::vector<std::string>{"Info:set_rgb in", "Debug:enter in", "Debug:enter out",
                                        "Debug:leave in", "Debug:cleave out", "Info:set_rgb out"}));
}

TEST(StoreThreads, ConcurrentAppendsToOneInstanceAllLand) {
    Instance m;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 200; ++i) {
                velRGB rgb{double(t), double(i % 256), 0};
                ASSERT_EQ(HXTVEL_SetRGB(m.h, &rgb, 1), 0u);
            }
        });
    }
    for (auto &t : threads) t.join();
    EXPECT_EQ(stored<velRGB>(m.h).size(), 800u);
}

}  // namespace
