// Exported spectral conversion and colour difference: argument checks and
// their order, white and black under every illuminant and observer, the
// CIEDE2000 test data of Sharma, Wu and Dalal (2005), hand-worked CIE 1994
// and CMC values, traces, refused allocations and concurrent callers.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "alloc_failure.h"
#include "hxtvel_colorconv.h"
#include "hxtvel_libcolorconv.h"
#include "trace_capture.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

template <typename T>
bool same_bytes(const T &a, const T &b) {
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

// ---------------------------------------------------------------------
// Spectral conversion: argument checks
// ---------------------------------------------------------------------

struct CheckCase {
    const char *name;
    int32_t light;
    uint16_t start, end, pitch;
    uint32_t observer;
    bool null_result;
    uint32_t code;
};

void PrintTo(const CheckCase &c, std::ostream *os) { *os << c.name; }

class ConversionChecks : public testing::TestWithParam<CheckCase> {};

// Both functions check alike; a refused call leaves the result as it was.
TEST_P(ConversionChecks, CodeAndResult) {
    const CheckCase &c = GetParam();
    std::vector<double> values(2000, 0.5);
    const velSPECTRO_REF s = {c.start, c.end, c.pitch, values.data()};
    const velCIELab lab_before = {-7, -7, -7};
    const velCIEXYZ xyz_before = {-7, -7, -7};
    velCIELab lab = lab_before;
    velCIEXYZ xyz = xyz_before;
    EXPECT_EQ(HXTVEL_SpectroRefToLAB(c.light, s, c.observer, c.null_result ? nullptr : &lab), c.code);
    EXPECT_EQ(HXTVEL_SpectroRefToXYZ(c.light, s, c.observer, c.null_result ? nullptr : &xyz), c.code);
    if (c.code != 0) {
        EXPECT_TRUE(same_bytes(lab, lab_before));
        EXPECT_TRUE(same_bytes(xyz, xyz_before));
    } else if (!c.null_result) {
        EXPECT_FALSE(same_bytes(lab, lab_before));
        EXPECT_FALSE(same_bytes(xyz, xyz_before));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Order, ConversionChecks,
    testing::Values(
        CheckCase{"valid", 1, 400, 700, 10, 0, false, 0},
        CheckCase{"light0", 0, 400, 700, 10, 0, false, 302},
        CheckCase{"light4", 4, 400, 700, 10, 0, false, 302},
        CheckCase{"lightNegative", -1, 400, 700, 10, 0, false, 302},
        CheckCase{"lightMin", INT32_MIN, 400, 700, 10, 0, false, 302},
        CheckCase{"observer2", 3, 400, 700, 10, 2, false, 302},
        CheckCase{"observerMax", 2, 400, 700, 10, UINT32_MAX, false, 302},
        CheckCase{"nullResult", 1, 400, 700, 10, 0, true, 302},
        // Arguments are checked before wavelengths.
        CheckCase{"nullResultBeforeRange", 1, 370, 700, 10, 0, true, 302},
        CheckCase{"badLightBeforeStep", 9, 385, 775, 5, 0, false, 302},
        // Step test: refused only when none of start, end, step is a multiple of 10.
        CheckCase{"noMultipleOf10", 1, 385, 775, 5, 0, false, 304},
        CheckCase{"endMultipleOf10", 1, 385, 480, 5, 0, false, 0},
        CheckCase{"startMultipleOf10", 1, 390, 475, 5, 0, false, 0},
        CheckCase{"stepMultipleOf10", 1, 385, 675, 10, 0, false, 0},
        // Range test: start and end within 380 .. 780 nm.
        CheckCase{"start370", 1, 370, 700, 10, 0, false, 304},
        CheckCase{"start0", 1, 0, 700, 10, 0, false, 304},
        CheckCase{"end790", 1, 400, 790, 10, 0, false, 304},
        CheckCase{"end65535", 1, 400, 65535, 5, 0, false, 304},
        CheckCase{"fullRange", 2, 380, 780, 10, 1, false, 0},
        CheckCase{"single780", 2, 780, 780, 10, 1, false, 0},
        // Within 380 .. 780 nm, but the samples, read every 10 nm from the
        // start row, would run past the 780 nm row.
        CheckCase{"rowsPast780at5nm", 1, 380, 780, 5, 0, false, 304},
        CheckCase{"rowsPast780from385", 1, 385, 780, 5, 0, false, 304},
        CheckCase{"rowsPast780at1nm", 1, 400, 700, 1, 0, false, 304},
        CheckCase{"endBelowStart", 1, 780, 380, 10, 0, false, 304},
        CheckCase{"lastRowIs780", 1, 580, 680, 5, 0, false, 0}),
    [](const testing::TestParamInfo<CheckCase> &i) { return std::string(i.param.name); });

TEST(ConversionChecks, SamplesWithoutValuesAreRefused) {
    velCIELab lab = {-7, -7, -7};
    EXPECT_EQ(HXTVEL_SpectroRefToLAB(1, velSPECTRO_REF{400, 700, 10, nullptr}, 0, &lab), 302u);
    EXPECT_EQ(lab.L, -7);
}

// A zero step passes the step test and describes no sample: the white has
// Y = 0, which is not guarded, so the result is NaN (not a crash).
TEST(ConversionChecks, ZeroStepGivesNaN) {
    velCIEXYZ xyz = {-7, -7, -7};
    EXPECT_EQ(HXTVEL_SpectroRefToXYZ(1, velSPECTRO_REF{400, 700, 0, nullptr}, 0, &xyz), 0u);
    EXPECT_TRUE(std::isnan(xyz.X) && std::isnan(xyz.Y) && std::isnan(xyz.Z));
}

// ---------------------------------------------------------------------
// Spectral conversion: values
// ---------------------------------------------------------------------

struct WhiteCase {
    int32_t light;
    uint32_t observer;
    double X, Z;  // white point of 380 .. 780 nm at 10 nm, Y = 100
};

void PrintTo(const WhiteCase &c, std::ostream *os) {
    *os << "light " << c.light << ", observer " << c.observer;
}

class WhiteAndBlack : public testing::TestWithParam<WhiteCase> {};

TEST_P(WhiteAndBlack, PerfectWhiteIsL100AndBlackIsZero) {
    const WhiteCase &c = GetParam();
    for (const auto &range : {std::make_pair(380, 780), std::make_pair(400, 700)}) {
        std::vector<double> ones(41, 1.0);
        velSPECTRO_REF s = {uint16_t(range.first), uint16_t(range.second), 10, ones.data()};
        velCIELab lab;
        velCIEXYZ xyz;
        ASSERT_EQ(HXTVEL_SpectroRefToLAB(c.light, s, c.observer, &lab), 0u);
        ASSERT_EQ(HXTVEL_SpectroRefToXYZ(c.light, s, c.observer, &xyz), 0u);
        EXPECT_NEAR(lab.L, 100.0, 1e-12);
        EXPECT_NEAR(lab.a, 0.0, 1e-12);
        EXPECT_NEAR(lab.b, 0.0, 1e-12);
        EXPECT_NEAR(xyz.Y, 100.0, 1e-12);
        if (range.first == 380) {
            EXPECT_NEAR(xyz.X, c.X, 5e-7);
            EXPECT_NEAR(xyz.Z, c.Z, 5e-7);
        }

        std::vector<double> zeros(41, 0.0);
        s.data = zeros.data();
        ASSERT_EQ(HXTVEL_SpectroRefToLAB(c.light, s, c.observer, &lab), 0u);
        ASSERT_EQ(HXTVEL_SpectroRefToXYZ(c.light, s, c.observer, &xyz), 0u);
        EXPECT_EQ(lab.L, 0.0);
        EXPECT_EQ(lab.a, 0.0);
        EXPECT_EQ(lab.b, 0.0);
        EXPECT_EQ(xyz.X + xyz.Y + xyz.Z, 0.0);
    }
}

// White points summed by hand from the CIE 5 nm tables, every other row.
INSTANTIATE_TEST_SUITE_P(AllPairs, WhiteAndBlack,
                         testing::Values(WhiteCase{1, 0, 96.391057, 82.449119},
                                         WhiteCase{1, 1, 96.726710, 81.458286},
                                         WhiteCase{2, 0, 95.017407, 108.809915},
                                         WhiteCase{2, 1, 94.825198, 107.378210},
                                         WhiteCase{3, 0, 109.831540, 35.545001},
                                         WhiteCase{3, 1, 111.155663, 35.193591}));

velCIEXYZ to_xyz(uint16_t start, uint16_t end, uint16_t pitch, std::vector<double> v) {
    velCIEXYZ xyz = {-1, -1, -1};
    EXPECT_EQ(HXTVEL_SpectroRefToXYZ(HXTVEL_LIGHT_D65, velSPECTRO_REF{start, end, pitch, v.data()},
                                     HXTVEL_OBSERVER_10, &xyz),
              0u);
    return xyz;
}

// Whatever the step, the tables are read every 10 nm from the start row.
TEST(ConversionValues, StepsOtherThan10nmReadThe10nmRows) {
    std::vector<double> v(16);
    for (int i = 0; i < 16; ++i) v[i] = 0.05 * i;
    const velCIEXYZ at10 = to_xyz(400, 550, 10, v);
    EXPECT_TRUE(same_bytes(to_xyz(400, 700, 20, v), at10));
    EXPECT_TRUE(same_bytes(to_xyz(400, 475, 5, v), at10));
    // A start between two rows is rounded down to the row below.
    EXPECT_TRUE(same_bytes(to_xyz(403, 553, 10, v), at10));
}

TEST(ConversionValues, Y100For400To700UnderD50) {
    std::vector<double> ones(31, 1.0);
    velCIEXYZ xyz;
    ASSERT_EQ(HXTVEL_SpectroRefToXYZ(1, velSPECTRO_REF{400, 700, 10, ones.data()}, 0, &xyz), 0u);
    EXPECT_NEAR(xyz.Y, 100.0, 1e-12);
}

// Extreme and non-finite reflectances give non-finite results, not a crash;
// a negative infinity is a negative ratio, which counts as 0 (black).
TEST(ConversionValues, NonFiniteReflectance) {
    for (double bad : {kNaN, kInf, -kInf, 1e308}) {
        std::vector<double> v(31, 0.5);
        v[10] = bad;
        velCIELab lab;
        ASSERT_EQ(HXTVEL_SpectroRefToLAB(2, velSPECTRO_REF{400, 700, 10, v.data()}, 0, &lab), 0u);
        if (bad == -kInf) {
            EXPECT_TRUE(lab.L == 0.0 && lab.a == 0.0 && lab.b == 0.0);
        } else {
            EXPECT_FALSE(std::isfinite(lab.L) && std::isfinite(lab.a) && std::isfinite(lab.b)) << bad;
        }
    }
}

// ---------------------------------------------------------------------
// Spectral conversion: traces and refused allocations
// ---------------------------------------------------------------------

TEST(ConversionTrace, SuccessfulCall) {
    hxtvel_test::TraceCapture trace(0x02);
    std::vector<double> v(31, 0.5);
    velCIELab lab;
    ASSERT_EQ(HXTVEL_SpectroRefToLAB(2, velSPECTRO_REF{400, 700, 10, v.data()}, 1, &lab), 0u);
    const auto lines = trace.lines();
    ASSERT_GE(lines.size(), 10u);
    const std::vector<std::string> head(lines.begin(), lines.begin() + 5);
    EXPECT_EQ(head, (std::vector<std::string>{"Info:SpectroRefToLAB in", "Debug:enter in",
                                              "Debug:enter out", "Debug:in_light = 2",
                                              "Debug:in_percmf = 1"}));
    const std::vector<std::string> tail(lines.end() - 5, lines.end());
    EXPECT_EQ(tail, (std::vector<std::string>{"Info:procfree in", "Info:procfree out",
                                              "Debug:leave in", "Debug:cleave out",
                                              "Info:SpectroRefToLAB out"}));
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "Info:spectr_trans in"), 2);
}

TEST(ConversionTrace, RefusedCallStillFreesAndUnlocks) {
    hxtvel_test::TraceCapture trace(0x02);
    velCIEXYZ xyz;
    ASSERT_EQ(HXTVEL_SpectroRefToXYZ(0, velSPECTRO_REF{400, 700, 10, nullptr}, 0, &xyz), 302u);
    EXPECT_EQ(trace.lines(),
              (std::vector<std::string>{"Info:SpectroRefToXYZ in", "Debug:enter in",
                                        "Debug:enter out", "Info:procfree in", "Info:procfree out",
                                        "Debug:leave in", "Debug:cleave out",
                                        "Info:SpectroRefToXYZ out"}));
}

// Each allocation of a conversion refused in turn: the copy of the samples,
// then the four sample arrays and the result buffer give 303 and leave the
// result alone; the scratch arrays of the colour-matching samples are not
// looked at (NaN result); the tenth allocation does not exist.
TEST(ConversionMemory, EveryRefusedAllocation) {
    std::vector<double> v(31, 0.5);
    const velSPECTRO_REF s = {400, 700, 10, v.data()};
    for (long nth = 1; nth <= 10; ++nth) {
        SCOPED_TRACE(nth);
        velCIELab lab = {-7, -7, -7};
        uint32_t rc;
        bool refused;
        {
            hxtvel_test::RefuseNothrowAlloc refuse(nth);
            rc = HXTVEL_SpectroRefToLAB(3, s, 0, &lab);
            refused = refuse.spent();
        }
        if (nth <= 6) {
            EXPECT_EQ(rc, 303u);
            EXPECT_EQ(lab.L, -7);
        } else if (nth <= 9) {
            EXPECT_EQ(rc, 0u);
            EXPECT_TRUE(std::isnan(lab.L));
        } else {
            EXPECT_FALSE(refused);
            EXPECT_EQ(rc, 0u);
            EXPECT_TRUE(std::isfinite(lab.L));
        }
    }
}

// ---------------------------------------------------------------------
// Colour difference
// ---------------------------------------------------------------------

struct Pair {
    velCIELab reference, sample;
    double de;
};

// Sharma, Wu and Dalal, "The CIEDE2000 color-difference formula:
// implementation notes, supplementary test data, and mathematical
// observations", Color Res. Appl. 30 (2005), Table 1.
const Pair kSharma[] = {
    {{50.0000, 2.6772, -79.7751}, {50.0000, 0.0000, -82.7485}, 2.0425},
    {{50.0000, 3.1571, -77.2803}, {50.0000, 0.0000, -82.7485}, 2.8615},
    {{50.0000, 2.8361, -74.0200}, {50.0000, 0.0000, -82.7485}, 3.4412},
    {{50.0000, -1.3802, -84.2814}, {50.0000, 0.0000, -82.7485}, 1.0000},
    {{50.0000, -1.1848, -84.8006}, {50.0000, 0.0000, -82.7485}, 1.0000},
    {{50.0000, -0.9009, -85.5211}, {50.0000, 0.0000, -82.7485}, 1.0000},
    {{50.0000, 0.0000, 0.0000}, {50.0000, -1.0000, 2.0000}, 2.3669},
    {{50.0000, -1.0000, 2.0000}, {50.0000, 0.0000, 0.0000}, 2.3669},
    {{50.0000, 2.4900, -0.0010}, {50.0000, -2.4900, 0.0009}, 7.1792},
    {{50.0000, 2.4900, -0.0010}, {50.0000, -2.4900, 0.0010}, 7.1792},
    {{50.0000, 2.4900, -0.0010}, {50.0000, -2.4900, 0.0011}, 7.2195},
    {{50.0000, 2.4900, -0.0010}, {50.0000, -2.4900, 0.0012}, 7.2195},
    {{50.0000, -0.0010, 2.4900}, {50.0000, 0.0009, -2.4900}, 4.8045},
    {{50.0000, -0.0010, 2.4900}, {50.0000, 0.0010, -2.4900}, 4.8045},
    {{50.0000, -0.0010, 2.4900}, {50.0000, 0.0011, -2.4900}, 4.7461},
    {{50.0000, 2.5000, 0.0000}, {50.0000, 0.0000, -2.5000}, 4.3065},
    {{50.0000, 2.5000, 0.0000}, {73.0000, 25.0000, -18.0000}, 27.1492},
    {{50.0000, 2.5000, 0.0000}, {61.0000, -5.0000, 29.0000}, 22.8977},
    {{50.0000, 2.5000, 0.0000}, {56.0000, -27.0000, -3.0000}, 31.9030},
    {{50.0000, 2.5000, 0.0000}, {58.0000, 24.0000, 15.0000}, 19.4535},
    {{50.0000, 2.5000, 0.0000}, {50.0000, 3.1736, 0.5854}, 1.0000},
    {{50.0000, 2.5000, 0.0000}, {50.0000, 3.2972, 0.0000}, 1.0000},
    {{50.0000, 2.5000, 0.0000}, {50.0000, 1.8634, 0.5757}, 1.0000},
    {{50.0000, 2.5000, 0.0000}, {50.0000, 3.2592, 0.3350}, 1.0000},
    {{60.2574, -34.0099, 36.2677}, {60.4626, -34.1751, 39.4387}, 1.2644},
    {{63.0109, -31.0961, -5.8663}, {62.8187, -29.7946, -4.0864}, 1.2630},
    {{61.2901, 3.7196, -5.3901}, {61.4292, 2.2480, -4.9620}, 1.8731},
    {{35.0831, -44.1164, 3.7933}, {35.0232, -40.0716, 1.5901}, 1.8645},
    {{22.7233, 20.0904, -46.6940}, {23.0331, 14.9730, -42.5619}, 2.0373},
    {{36.4612, 47.8580, 18.3852}, {36.2715, 50.5065, 21.2231}, 1.4146},
    {{90.8027, -2.0831, 1.4410}, {91.1528, -1.6435, 0.0447}, 1.4441},
    {{90.9257, -0.5406, -0.9208}, {88.6381, -0.8985, -0.7239}, 1.5381},
    {{6.7747, -0.2908, -2.4247}, {5.8714, -0.0985, -2.2286}, 0.6377},
    {{2.0776, 0.0795, -1.1350}, {0.9033, -0.0636, -0.5514}, 0.9082},
};

double delta_e(uint32_t method, velCIELab reference, velCIELab sample) {
    double de = -1.0;
    EXPECT_EQ(HXTVEL_DeltaE(method, reference, sample, &de), 0u);
    return de;
}

void PrintTo(const velCIELab &v, std::ostream *os) {
    *os << "(" << v.L << ", " << v.a << ", " << v.b << ")";
}
void PrintTo(const Pair &p, std::ostream *os) {
    PrintTo(p.reference, os);
    *os << " ";
    PrintTo(p.sample, os);
}

class Ciede2000 : public testing::TestWithParam<Pair> {};

// The published values have 4 decimals; the formula is symmetric.
TEST_P(Ciede2000, MatchesPublishedTestData) {
    const Pair &p = GetParam();
    EXPECT_NEAR(delta_e(HXTVEL_DE_2000, p.reference, p.sample), p.de, 0.5e-4 + 1e-12);
    EXPECT_NEAR(delta_e(HXTVEL_DE_2000, p.sample, p.reference), p.de, 0.5e-4 + 1e-12);
}

INSTANTIATE_TEST_SUITE_P(SharmaWuDalal, Ciede2000, testing::ValuesIn(kSharma));

struct MethodCase {
    const char *name;
    uint32_t method;
    velCIELab reference, sample;
    double de;
};

void PrintTo(const MethodCase &c, std::ostream *os) { *os << c.name; }

class DeltaEValues : public testing::TestWithParam<MethodCase> {};

TEST_P(DeltaEValues, MatchHandWorkedValues) {
    const MethodCase &c = GetParam();
    EXPECT_NEAR(delta_e(c.method, c.reference, c.sample), c.de, 1e-9);
}

// Worked by hand from the formulas (C = chroma, h = hue of the reference).
INSTANTIATE_TEST_SUITE_P(
    Cases, DeltaEValues,
    testing::Values(
        MethodCase{"e76", 0, {50, 0, 0}, {50, 0, 10}, 10.0},
        // sqrt(100^2 + 256^2 + 256^2)
        MethodCase{"e76Diagonal", 0, {100, -128, 128}, {0, 128, -128}, 375.5955271299},
        // Same hue, chromas 50 and 10: 40 / (1 + 0.045 sqrt(500)). Weighting
        // by the reference chroma alone would give 12.3077.
        MethodCase{"e94ChromaOnly", 1, {50, 30, 40}, {50, 6, 8}, 19.9378875997},
        MethodCase{"e94ChromaOnlySwapped", 1, {50, 6, 8}, {50, 30, 40}, 19.9378875997},
        // Chromas 10 and 10, a quarter turn apart: sqrt(200) / 1.15.
        MethodCase{"e94HueOnly", 1, {50, 10, 0}, {50, 0, 10}, 12.2975092380},
        MethodCase{"e94LightnessOnly", 1, {70, 20, -30}, {55, 20, -30}, 15.0},
        MethodCase{"e94Mixed", 1, {60.2574, -34.0099, 36.2677}, {60.4626, -34.1751, 39.4387},
                   1.3742818116},
        // Neutral reference: SL = 0.040975 * 50 / 1.8825, dE = 10 / (l SL).
        MethodCase{"cmc21Neutral", 3, {50, 0, 0}, {40, 0, 0}, 4.5942647956},
        MethodCase{"cmc11Neutral", 4, {50, 0, 0}, {40, 0, 0}, 9.1885295912},
        // Below L* 16, SL = 0.511.
        MethodCase{"cmc21Dark", 3, {10, 0, 0}, {12, 0, 0}, 1.9569471624},
        MethodCase{"cmc11Dark", 4, {10, 0, 0}, {12, 0, 0}, 3.9138943249},
        // h = 270: T = 0.56 + |0.2 cos(438 deg)|.
        MethodCase{"cmc21Blue", 3, {60, 0, -40}, {62, 5, -38}, 3.8414308968},
        MethodCase{"cmc11Blue", 4, {60, 0, -40}, {62, 5, -38}, 4.1061932321},
        MethodCase{"cmc21Mixed", 3, {60.2574, -34.0099, 36.2677}, {60.4626, -34.1751, 39.4387},
                   1.4204860454},
        MethodCase{"cmc11Mixed", 4, {60.2574, -34.0099, 36.2677}, {60.4626, -34.1751, 39.4387},
                   1.4282295093},
        // On the negative a* axis the hue is 0, not 180 degrees: T from the
        // second branch, 0.36 + |0.4 cos(35 deg)| (with 180 degrees: 3.2827).
        MethodCase{"cmcNegativeAxis", 4, {50, -30, 0}, {50, -30, 5}, 3.6053661320},
        // The same rule in CIEDE2000: the reference has hue 0, the sample
        // nearly 180 degrees (a hue-blind formula would give 0.4101).
        MethodCase{"e00NegativeAxis", 2, {50, -10, 0}, {50, -10, 0.5}, 26.0612686003}),
    [](const testing::TestParamInfo<MethodCase> &i) { return std::string(i.param.name); });

TEST(DeltaE, IdenticalColoursDifferByZeroInEveryMethod) {
    const velCIELab colours[] = {{0, 0, 0},      {100, 0, 0},    {50, -30, 0},
                                 {50, 0, -30},   {12, 128, -128}, {99, -127.5, 3.25}};
    for (uint32_t m = 0; m <= 4; ++m)
        for (const velCIELab &c : colours) EXPECT_EQ(delta_e(m, c, c), 0.0) << m << " " << c.L;
}

TEST(DeltaE, ConvAtan2PutsTheNegativeAAxisAtHueZero) {
    const double pi = 3.141592653589793;
    EXPECT_EQ(hxtvel::conv_atan2(-1.0, 0.0), 0.0);
    EXPECT_EQ(hxtvel::conv_atan2(1.0, 0.0), 0.0);
    EXPECT_EQ(hxtvel::conv_atan2(0.0, 2.0), pi / 2);
    EXPECT_EQ(hxtvel::conv_atan2(0.0, -2.0), -pi / 2);
    EXPECT_NEAR(hxtvel::conv_atan2(1.0, 1.0), pi / 4, 1e-15);
    EXPECT_NEAR(hxtvel::conv_atan2(-1.0, 1.0), 3 * pi / 4, 1e-15);
    EXPECT_NEAR(hxtvel::conv_atan2(-1.0, -1.0), -3 * pi / 4, 1e-15);
    EXPECT_NEAR(hxtvel::conv_atan2(1.0, -1.0), -pi / 4, 1e-15);
}

struct RangeCase {
    const char *name;
    uint32_t method;
    velCIELab reference, sample;
    bool null_result;
    uint32_t code;
};

void PrintTo(const RangeCase &c, std::ostream *os) { *os << c.name; }

class DeltaEChecks : public testing::TestWithParam<RangeCase> {};

TEST_P(DeltaEChecks, CodeAndResult) {
    const RangeCase &c = GetParam();
    double de = -7.0;
    EXPECT_EQ(HXTVEL_DeltaE(c.method, c.reference, c.sample, c.null_result ? nullptr : &de), c.code);
    if (c.code != 0) {
        EXPECT_EQ(de, -7.0);
    }
}

const velCIELab kGrey = {50, 0, 0};
INSTANTIATE_TEST_SUITE_P(
    Order, DeltaEChecks,
    testing::Values(
        RangeCase{"boundsInclusive", 2, {100, -128, 128}, {0, 128, -128}, false, 0},
        RangeCase{"method5", 5, kGrey, kGrey, false, 302},
        RangeCase{"methodMax", UINT32_MAX, kGrey, kGrey, false, 302},
        RangeCase{"nullResult", 0, kGrey, kGrey, true, 302},
        RangeCase{"L100_5", 0, {100.5, 0, 0}, kGrey, false, 304},
        RangeCase{"negativeL", 0, kGrey, {-0.001, 0, 0}, false, 304},
        RangeCase{"a128_5", 1, kGrey, {50, 128.5, 0}, false, 304},
        RangeCase{"bMinus128_5", 1, {50, 0, -128.5}, kGrey, false, 304},
        // Range before method and pointer.
        RangeCase{"rangeBeforeMethod", 5, kGrey, {50, 0, 128.5}, false, 304},
        RangeCase{"rangeBeforeNull", 0, {100.5, 0, 0}, kGrey, true, 304},
        RangeCase{"nanL", 2, {kNaN, 0, 0}, kGrey, false, 304},
        RangeCase{"nanB", 3, kGrey, {50, 0, kNaN}, false, 304},
        RangeCase{"infA", 4, {50, kInf, 0}, kGrey, false, 304},
        RangeCase{"minusInfA", 4, kGrey, {50, -kInf, 0}, false, 304}),
    [](const testing::TestParamInfo<RangeCase> &i) { return std::string(i.param.name); });

TEST(DeltaETrace, LockHeldAroundTheFormula) {
    hxtvel_test::TraceCapture trace(0x02);
    double de;
    ASSERT_EQ(HXTVEL_DeltaE(0, velCIELab{50, 0, 0}, velCIELab{50, 0, 10}, &de), 0u);
    EXPECT_EQ(trace.lines(),
              (std::vector<std::string>{"Info:DeltaE in", "Debug:enter in", "Debug:enter out",
                                        "Info:cal_delta_e76 in", "Info:cal_delta_e76 out",
                                        "Debug:leave in", "Debug:cleave out", "Info:DeltaE out"}));
}

// CMC works out the sample's hue too (it weighs nothing, but is traced).
TEST(DeltaETrace, CmcTracesBothHues) {
    hxtvel_test::TraceCapture trace(0x12);
    double de;
    ASSERT_EQ(HXTVEL_DeltaE(3, velCIELab{50, 10, 5}, velCIELab{50, 8, 6}, &de), 0u);
    EXPECT_EQ(trace.lines(),
              (std::vector<std::string>{"Info:DeltaE in", "Info:cal_delta_ecmc in",
                                        "Info:conv_atan2 in", "Info:conv_atan2 out",
                                        "Info:conv_atan2 in", "Info:conv_atan2 out",
                                        "Info:cal_delta_ecmc out", "Info:DeltaE out"}));
}

TEST(DeltaETrace, RefusedCallUnlocks) {
    hxtvel_test::TraceCapture trace(0x02);
    double de;
    ASSERT_EQ(HXTVEL_DeltaE(0, velCIELab{101, 0, 0}, kGrey, &de), 304u);
    EXPECT_EQ(trace.lines(),
              (std::vector<std::string>{"Info:DeltaE in", "Debug:enter in", "Debug:enter out",
                                        "Debug:leave in", "Debug:cleave out", "Info:DeltaE out"}));
}

// ---------------------------------------------------------------------
// Concurrency: the process-wide result buffer is shared by every caller.
// ---------------------------------------------------------------------

TEST(ColourConvThreads, ConcurrentCallersGetTheirOwnResults) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 300;
    std::vector<std::vector<double>> spectra(kThreads, std::vector<double>(31));
    std::vector<velCIELab> want(kThreads);
    for (int t = 0; t < kThreads; ++t) {
        for (int i = 0; i < 31; ++i) spectra[t][i] = 0.1 + 0.2 * t + 0.01 * i;
        ASSERT_EQ(HXTVEL_SpectroRefToLAB(1 + t % 3, velSPECTRO_REF{400, 700, 10, spectra[t].data()},
                                         t % 2, &want[t]),
                  0u);
    }
    std::vector<int> wrong(kThreads, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            const velSPECTRO_REF s = {400, 700, 10, spectra[t].data()};
            for (int r = 0; r < kRounds; ++r) {
                velCIELab lab;
                double de = -1;
                if (HXTVEL_SpectroRefToLAB(1 + t % 3, s, t % 2, &lab) != 0 ||
                    !same_bytes(lab, want[t]) || HXTVEL_DeltaE(2, lab, want[t], &de) != 0 ||
                    de != 0.0)
                    ++wrong[t];
            }
        });
    }
    for (auto &th : threads) th.join();
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(wrong[t], 0) << t;
}

}  // namespace
