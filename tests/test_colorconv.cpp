// Exported spectral conversion and colour difference: checks and their order,
// white and black under every illuminant and observer, hand-worked sums and
// differences, the CIEDE2000 test data, traces.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "hxtvel_colorconv.h"
#include "trace_capture.h"

namespace {

using Lines = std::vector<std::string>;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// ---------------------------------------------------------------------
// Spectral conversion
// ---------------------------------------------------------------------

// Both functions check alike, in order; a refused call leaves the result alone.
TEST(ConversionChecks, CodesInOrder) {
    struct {
        int32_t light;
        uint16_t start, end, pitch;
        uint32_t observer;
        bool null_result;
        uint32_t code;
    } const cases[] = {
        {0, 400, 700, 10, 0, false, 302}, {4, 400, 700, 10, 0, false, 302}, {3, 400, 700, 10, 2, false, 302},
        {1, 370, 700, 10, 0, true, 302},  // the result pointer before the range
        // Step test: refused only when none of start, end, step is a multiple of 10.
        {1, 385, 775, 5, 0, false, 304}, {1, 385, 480, 5, 0, false, 0}, {1, 385, 675, 10, 0, false, 0},
        {1, 370, 700, 10, 0, false, 304}, {1, 400, 781, 10, 0, false, 304}, {1, 780, 380, 10, 0, false, 304},
        {2, 780, 780, 10, 1, false, 0},  // a single sample at 780 nm
        // Within 380 .. 780 nm, but the samples, read every 10 nm from the
        // start row, would run past the 780 nm row; 580 .. 680 ends on it.
        {1, 380, 780, 5, 0, false, 304}, {1, 385, 780, 5, 0, false, 304}, {1, 580, 680, 5, 0, false, 0},
    };
    std::vector<double> values(2000, 0.5);
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << c.light << " " << c.start << ".." << c.end << "/" << c.pitch);
        const velSPECTRO_REF s = {c.start, c.end, c.pitch, values.data()};
        velCIELab lab = {-7, -7, -7};
        velCIEXYZ xyz = {-7, -7, -7};
        EXPECT_EQ(HXTVEL_SpectroRefToLAB(c.light, s, c.observer, c.null_result ? nullptr : &lab), c.code);
        EXPECT_EQ(HXTVEL_SpectroRefToXYZ(c.light, s, c.observer, c.null_result ? nullptr : &xyz), c.code);
        EXPECT_EQ(lab.L == -7 && xyz.X == -7, c.code != 0 || c.null_result);
    }
    // Samples without values are refused; a zero step describes no sample,
    // and the white with Y = 0 (not guarded) makes the result NaN.
    velCIEXYZ xyz;
    EXPECT_EQ(HXTVEL_SpectroRefToXYZ(1, velSPECTRO_REF{400, 700, 10, nullptr}, 0, &xyz), 302u);
    EXPECT_EQ(HXTVEL_SpectroRefToXYZ(1, velSPECTRO_REF{400, 700, 0, nullptr}, 0, &xyz), 0u);
    EXPECT_TRUE(std::isnan(xyz.X) && std::isnan(xyz.Y) && std::isnan(xyz.Z));
}

// White points summed by hand from the CIE 5 nm tables, every other row.
TEST(ConversionValues, PerfectWhiteIsL100AndBlackIsZeroUnderEveryPair) {
    struct {
        int32_t light;
        uint32_t observer;
        double X, Z;  // white point of 380 .. 780 nm at 10 nm (Y = 100)
    } const cases[] = {{1, 0, 96.391057, 82.449119},  {1, 1, 96.726710, 81.458286},
                       {2, 0, 95.017407, 108.809915}, {2, 1, 94.825198, 107.378210},
                       {3, 0, 109.831540, 35.545001}, {3, 1, 111.155663, 35.193591}};
    std::vector<double> ones(41, 1.0), zeros(41, 0.0);
    for (const auto &c : cases) {
        for (uint16_t start : {380, 400}) {
            SCOPED_TRACE(testing::Message() << c.light << "/" << c.observer << " from " << start);
            velSPECTRO_REF s = {start, uint16_t(start == 380 ? 780 : 700), 10, ones.data()};
            velCIELab lab;
            velCIEXYZ xyz;
            auto convert = [&] {
                return HXTVEL_SpectroRefToLAB(c.light, s, c.observer, &lab) |
                       HXTVEL_SpectroRefToXYZ(c.light, s, c.observer, &xyz);
            };
            ASSERT_EQ(convert(), 0u);
            EXPECT_NEAR(lab.L, 100.0, 1e-12);
            EXPECT_NEAR(std::fabs(lab.a) + std::fabs(lab.b) + std::fabs(xyz.Y - 100), 0.0, 1e-12);
            EXPECT_TRUE(start == 400 || (std::fabs(xyz.X - c.X) < 5e-7 && std::fabs(xyz.Z - c.Z) < 5e-7));
            s.data = zeros.data();
            ASSERT_EQ(convert(), 0u);
            EXPECT_TRUE(lab.L == 0 && lab.a == 0 && lab.b == 0 && xyz.X == 0 && xyz.Y == 0 && xyz.Z == 0);
        }
    }
}

// Sums worked by hand from the table rows 500 .. 540 nm (D65, 2 degrees).
TEST(ConversionValues, ShortSpectrumMatchesHandSums) {
    std::vector<double> ramp = {0.2, 0.4, 0.6, 0.8, 1.0};
    const velSPECTRO_REF s = {500, 540, 10, ramp.data()};
    velCIEXYZ xyz;
    velCIELab lab;
    ASSERT_EQ(HXTVEL_SpectroRefToXYZ(2, s, 0, &xyz), 0u);
    ASSERT_EQ(HXTVEL_SpectroRefToLAB(2, s, 0, &lab), 0u);
    const double got[6] = {xyz.X, xyz.Y, xyz.Z, lab.L, lab.a, lab.b};
    const double want[6] = {13.7676075558, 69.3820884080, 6.5777507324,
                            86.6929063666, 34.9178243619, 32.1683520068};
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(got[i], want[i], 1e-9) << i;
}

// Whatever the step, the tables are read every 10 nm from the start row,
// rounded down to 5 nm.
TEST(ConversionValues, StepsOtherThan10nmReadThe10nmRows) {
    std::vector<double> v(16);
    for (int i = 0; i < 16; ++i) v[i] = 0.05 * i;
    auto xyz = [&](uint16_t start, uint16_t end, uint16_t pitch) {
        velCIEXYZ r = {-1, -1, -1};
        EXPECT_EQ(HXTVEL_SpectroRefToXYZ(2, {start, end, pitch, v.data()}, 1, &r), 0u);
        return r;
    };
    const velCIEXYZ at10 = xyz(400, 550, 10);
    for (const velCIEXYZ &r : {xyz(400, 700, 20), xyz(400, 475, 5), xyz(403, 553, 10)})
        EXPECT_EQ(std::memcmp(&r, &at10, sizeof r), 0);
}

TEST(ConversionTrace, RefusedCallStillFreesAndUnlocks) {
    hxtvel_test::TraceCapture trace(0x02);
    velCIEXYZ xyz;
    ASSERT_EQ(HXTVEL_SpectroRefToXYZ(0, velSPECTRO_REF{400, 700, 10, nullptr}, 0, &xyz), 302u);
    EXPECT_EQ(trace.lines(), (Lines{"Info:SpectroRefToXYZ in", "Debug:enter in", "Debug:enter out",
                                    "Info:procfree in", "Info:procfree out", "Debug:leave in",
                                    "Debug:cleave out", "Info:SpectroRefToXYZ out"}));
}

// ---------------------------------------------------------------------
// Colour difference
// ---------------------------------------------------------------------

// Sharma, Wu and Dalal, "The CIEDE2000 color-difference formula:
// implementation notes, supplementary test data, and mathematical
// observations", Color Res. Appl. 30 (2005), Table 1: L*, a*, b* of both
// colours and the difference.
const double kSharma[][7] = {
    {50, 2.6772, -79.7751, 50, 0, -82.7485, 2.0425}, {50, 3.1571, -77.2803, 50, 0, -82.7485, 2.8615},
    {50, 2.8361, -74.02, 50, 0, -82.7485, 3.4412}, {50, -1.3802, -84.2814, 50, 0, -82.7485, 1},
    {50, -1.1848, -84.8006, 50, 0, -82.7485, 1}, {50, -0.9009, -85.5211, 50, 0, -82.7485, 1},
    {50, 0, 0, 50, -1, 2, 2.3669}, {50, -1, 2, 50, 0, 0, 2.3669}, {50, 2.49, -0.001, 50, -2.49, 0.0009, 7.1792},
    {50, 2.49, -0.001, 50, -2.49, 0.001, 7.1792}, {50, 2.49, -0.001, 50, -2.49, 0.0011, 7.2195},
    {50, 2.49, -0.001, 50, -2.49, 0.0012, 7.2195}, {50, -0.001, 2.49, 50, 0.0009, -2.49, 4.8045},
    {50, -0.001, 2.49, 50, 0.001, -2.49, 4.8045}, {50, -0.001, 2.49, 50, 0.0011, -2.49, 4.7461},
    {50, 2.5, 0, 50, 0, -2.5, 4.3065}, {50, 2.5, 0, 73, 25, -18, 27.1492}, {50, 2.5, 0, 61, -5, 29, 22.8977},
    {50, 2.5, 0, 56, -27, -3, 31.903}, {50, 2.5, 0, 58, 24, 15, 19.4535}, {50, 2.5, 0, 50, 3.1736, 0.5854, 1},
    {50, 2.5, 0, 50, 3.2972, 0, 1}, {50, 2.5, 0, 50, 1.8634, 0.5757, 1}, {50, 2.5, 0, 50, 3.2592, 0.335, 1},
    {60.2574, -34.0099, 36.2677, 60.4626, -34.1751, 39.4387, 1.2644},
    {63.0109, -31.0961, -5.8663, 62.8187, -29.7946, -4.0864, 1.263},
    {61.2901, 3.7196, -5.3901, 61.4292, 2.248, -4.962, 1.8731},
    {35.0831, -44.1164, 3.7933, 35.0232, -40.0716, 1.5901, 1.8645},
    {22.7233, 20.0904, -46.694, 23.0331, 14.973, -42.5619, 2.0373},
    {36.4612, 47.858, 18.3852, 36.2715, 50.5065, 21.2231, 1.4146},
    {90.8027, -2.0831, 1.441, 91.1528, -1.6435, 0.0447, 1.4441},
    {90.9257, -0.5406, -0.9208, 88.6381, -0.8985, -0.7239, 1.5381},
    {6.7747, -0.2908, -2.4247, 5.8714, -0.0985, -2.2286, 0.6377},
    {2.0776, 0.0795, -1.135, 0.9033, -0.0636, -0.5514, 0.9082},
};

double delta_e(uint32_t method, velCIELab reference, velCIELab sample) {
    double de = -1.0;
    EXPECT_EQ(HXTVEL_DeltaE(method, reference, sample, &de), 0u);
    return de;
}

// The published values have 4 decimals; the formula is symmetric.
TEST(DeltaE, Ciede2000MatchesPublishedTestData) {
    for (size_t i = 0; i < sizeof kSharma / sizeof kSharma[0]; ++i) {
        const double *p = kSharma[i];
        const velCIELab a = {p[0], p[1], p[2]}, b = {p[3], p[4], p[5]};
        SCOPED_TRACE(testing::Message() << "pair " << i + 1);
        EXPECT_NEAR(delta_e(HXTVEL_DE_2000, a, b), p[6], 0.5e-4 + 1e-12);
        EXPECT_NEAR(delta_e(HXTVEL_DE_2000, b, a), p[6], 0.5e-4 + 1e-12);
    }
}

// Worked by hand from the formulas (C chroma, h hue of the reference).
TEST(DeltaE, HandWorkedValues) {
    struct {
        uint32_t method;
        velCIELab reference, sample;
        double de;
    } const cases[] = {
        {0, {50, 0, 0}, {50, 0, 10}, 10.0},
        // CIE 1994, same hue, C 50 and 10: 40 / (1 + 0.045 sqrt(50 * 10)), both
        // ways (the reference chroma alone would give 12.3077 one way).
        {1, {50, 30, 40}, {50, 6, 8}, 19.9378875997},
        {1, {50, 6, 8}, {50, 30, 40}, 19.9378875997},
        {1, {50, 10, 0}, {50, 0, 10}, 12.2975092380},  // C 10 and 10: sqrt(200) / 1.15
        // CMC, neutral reference: SL = 0.040975 * 50 / 1.8825, dE = 10 / (l SL).
        {3, {50, 0, 0}, {40, 0, 0}, 4.5942647956},
        {4, {50, 0, 0}, {40, 0, 0}, 9.1885295912},
        {4, {10, 0, 0}, {12, 0, 0}, 3.9138943249},  // below L* 16, SL = 0.511
        {3, {60, 0, -40}, {62, 5, -38}, 3.8414308968},  // h 270: T = 0.56 + |0.2 cos 438|
        // On the negative a* axis the hue is 0, not 180 degrees: CMC takes T =
        // 0.36 + |0.4 cos 35| (3.2827 with 180), CIEDE2000 sees the sample
        // nearly half a turn away (0.4101 with 180).
        {4, {50, -30, 0}, {50, -30, 5}, 3.6053661320},
        {2, {50, -10, 0}, {50, -10, 0.5}, 26.0612686003},
    };
    for (const auto &c : cases) EXPECT_NEAR(delta_e(c.method, c.reference, c.sample), c.de, 1e-9);
    for (uint32_t m = 0; m <= 4; ++m)
        for (const velCIELab &c : {velCIELab{0, 0, 0}, {50, -30, 0}, {12, 128, -128}})
            EXPECT_EQ(delta_e(m, c, c), 0.0) << m;
}

// The range test (bounds inclusive, NaN out) comes before the method and
// pointer test.
TEST(DeltaE, ChecksInOrder) {
    const velCIELab grey = {50, 0, 0};
    double de = -7.0;
    EXPECT_EQ(HXTVEL_DeltaE(2, {100, -128, 128}, {0, 128, -128}, &de), 0u);
    EXPECT_NE(de, -7.0);
    EXPECT_EQ(HXTVEL_DeltaE(0, grey, grey, nullptr), 302u);
    EXPECT_EQ(HXTVEL_DeltaE(5, grey, {50, 0, 128.5}, &de), 304u);
    EXPECT_EQ(HXTVEL_DeltaE(0, {-0.1, 0, 0}, grey, nullptr), 304u);
    EXPECT_EQ(HXTVEL_DeltaE(2, grey, {50, kNaN, 0}, &de), 304u);
}

}  // namespace
