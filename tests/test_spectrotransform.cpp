// Spectral conversion internals: the CIE tables, the sampling rule, the white
// normalisation, the Lab formulas with their rounded constants, and the
// out-of-memory paths.
#include <gtest/gtest.h>

#include <cmath>
#include <ostream>
#include <string>
#include <vector>

#include "alloc_failure.h"
#include "spectrotransform.h"
#include "trace_capture.h"

namespace {

using namespace hxtvel;

// ---------------------------------------------------------------------
// Tables
// ---------------------------------------------------------------------

int row_of(int nm) { return (nm - 380) / 5; }

TEST(Tables, WavelengthColumnsRunFrom380To780Every5nm) {
    for (int r = 0; r < kTableRows; ++r) {
        EXPECT_EQ(g_dlight_data[r][0], 380 + 5 * r);
        EXPECT_EQ(g_dcmf_2degree_data[r][0], 380 + 5 * r);
        EXPECT_EQ(g_dcmf_10degree_data[r][0], 380 + 5 * r);
    }
}

TEST(Tables, TellingIlluminantRows) {
    struct Row {
        int nm;
        double d50, d65, a, c, f1, f2, f12;
    };
    const Row rows[] = {{380, 24.49, 49.98, 9.80, 33.00, 1.87, 1.18, 0.96},
                        {560, 100.00, 100.00, 100.00, 105.30, 14.33, 16.16, 3.08},
                        {780, 78.27, 63.38, 241.70, 59.10, 0.43, 0.27, 0.05}};
    for (const Row &w : rows) {
        const double *t = g_dlight_data[row_of(w.nm)];
        SCOPED_TRACE(w.nm);
        EXPECT_EQ(t[LIGHT_D50], w.d50);
        EXPECT_EQ(t[LIGHT_D65], w.d65);
        EXPECT_EQ(t[LIGHT_A], w.a);
        EXPECT_EQ(t[LIGHT_C], w.c);
        EXPECT_EQ(t[LIGHT_F1], w.f1);
        EXPECT_EQ(t[LIGHT_F1 + 1], w.f2);
        EXPECT_EQ(t[LIGHT_F12], w.f12);
    }
}

TEST(Tables, TellingObserverRows) {
    const double *t2 = g_dcmf_2degree_data[0];
    EXPECT_EQ(t2[1], 0.001368);
    EXPECT_EQ(t2[2], 0.000039);
    EXPECT_EQ(t2[3], 0.006450);
    t2 = g_dcmf_2degree_data[row_of(560)];
    EXPECT_EQ(t2[1], 0.5945);
    EXPECT_EQ(t2[2], 0.995);
    EXPECT_EQ(t2[3], 0.0039);
    const double *t10 = g_dcmf_10degree_data[0];
    EXPECT_EQ(t10[1], 0.000160);
    EXPECT_EQ(t10[2], 0.000017);
    EXPECT_EQ(t10[3], 0.000705);
    t10 = g_dcmf_10degree_data[row_of(560)];
    EXPECT_EQ(t10[1], 0.705224);
    EXPECT_EQ(t10[2], 0.99734);
    EXPECT_EQ(t10[3], 0.0);
}

// Every row at once: the column sums of the CIE 5 nm observer tables.
TEST(Tables, ObserverColumnSumsMatchTheCieTables) {
    const double want[2][3] = {{21.371524, 21.371327, 21.371540},
                               {23.329353, 23.332036, 23.334153}};
    const double(*tables[2])[kCmfColumns] = {g_dcmf_2degree_data, g_dcmf_10degree_data};
    for (int t = 0; t < 2; ++t) {
        for (int c = 1; c <= 3; ++c) {
            double sum = 0.0;
            for (int r = 0; r < kTableRows; ++r) sum += tables[t][r][c];
            EXPECT_NEAR(sum, want[t][c - 1], 5e-7) << "table " << t << " column " << c;
        }
    }
}

// Every illuminant column against the chromaticity the CIE publishes for it
// (2 degrees; D50, D65, A and C to 5 decimals, the F series to 4), which
// also catches swapped columns.
TEST(Tables, IlluminantChromaticitiesMatchTheCieValues) {
    struct Chroma {
        int column;
        double x, y, tolerance;
    };
    const Chroma want[] = {
        {LIGHT_D50, 0.34567, 0.35850, 2e-5}, {LIGHT_D65, 0.31272, 0.32903, 1e-5},
        {LIGHT_A, 0.44757, 0.40745, 2e-5},   {LIGHT_C, 0.31006, 0.31616, 1e-5},
        {5, 0.3131, 0.3373, 2.5e-4},         {6, 0.3721, 0.3751, 2.5e-4},
        {7, 0.4091, 0.3941, 2.5e-4},         {8, 0.4402, 0.4031, 2.5e-4},
        {9, 0.3138, 0.3452, 2.5e-4},         {10, 0.3779, 0.3882, 2.5e-4},
        {11, 0.3129, 0.3292, 2.5e-4},        {12, 0.3458, 0.3586, 2.5e-4},
        {13, 0.3741, 0.3727, 2.5e-4},        {14, 0.3458, 0.3588, 2.5e-4},
        {15, 0.3805, 0.3769, 2.5e-4},        {16, 0.4370, 0.4042, 2.5e-4},
    };
    for (const Chroma &w : want) {
        double X = 0, Y = 0, Z = 0;
        for (int r = 0; r < kTableRows; ++r) {
            const double s = g_dlight_data[r][w.column];
            X += s * g_dcmf_2degree_data[r][1];
            Y += s * g_dcmf_2degree_data[r][2];
            Z += s * g_dcmf_2degree_data[r][3];
        }
        EXPECT_NEAR(X / (X + Y + Z), w.x, w.tolerance) << "column " << w.column;
        EXPECT_NEAR(Y / (X + Y + Z), w.y, w.tolerance) << "column " << w.column;
    }
}

// ---------------------------------------------------------------------
// Lab
// ---------------------------------------------------------------------

struct LabCase {
    const char *name;
    double xyz[3];
    double white[3];
    double lab[3];
};

void PrintTo(const LabCase &c, std::ostream *os) { *os << c.name; }

class LabFormula : public testing::TestWithParam<LabCase> {};

TEST_P(LabFormula, UsesTheRoundedConstants) {
    const LabCase &c = GetParam();
    double lab[3] = {-1, -1, -1};
    convert_xyz_to_lab(c.white, c.xyz, lab);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(lab[i], c.lab[i], 1e-9) << i;
}

// Expected values worked out by hand from the formulas: cube roots above
// 0.008856, 903.29 t and 7.78 t + 16/116 at and below it.
INSTANTIATE_TEST_SUITE_P(
    Cases, LabFormula,
    testing::Values(
        LabCase{"white", {95.0, 100.0, 108.0}, {95.0, 100.0, 108.0}, {100.0, 0.0, 0.0}},
        LabCase{"black", {0, 0, 0}, {96.4, 100.0, 82.5}, {0.0, 0.0, 0.0}},
        // yr = 0.008856 exactly takes the linear branch: L* = 903.29 * 0.008856.
        LabCase{"threshold", {0.008856, 0.008856, 0.008856}, {1, 1, 1}, {7.99953624, 0.0, 0.0}},
        // yr = 0.5: L* = 116 * 0.5^(1/3) - 16.
        LabCase{"grey", {50, 50, 50}, {100, 100, 100}, {76.069261014156, 0.0, 0.0}},
        // A negative ratio counts as 0: f = 16/116; zr = 0.25.
        LabCase{"negative", {-1, 50, 25}, {100, 100, 100},
                {76.069261014156, -327.884745750671, 32.748000207333}}),
    [](const testing::TestParamInfo<LabCase> &i) { return std::string(i.param.name); });

// ---------------------------------------------------------------------
// Sampling and conversion
// ---------------------------------------------------------------------

velSPECTRO_REF desc(uint16_t start, uint16_t end, uint16_t pitch) {
    return velSPECTRO_REF{start, end, pitch, nullptr};
}

// spectr_trans with its result copied out and the buffer released.
std::vector<double> convert(int32_t light, int32_t mode, velSPECTRO_REF ref,
                            const std::vector<double> &values, uint32_t spectra = 1,
                            const double (*cmf)[kCmfColumns] = g_dcmf_2degree_data) {
    double *out = nullptr;
    EXPECT_EQ(spectr_trans(light, mode, spectra, ref, values.data(), cmf, &out), 0u);
    std::vector<double> result;
    if (out) result.assign(out, out + 3 * spectra);
    EXPECT_EQ(out, g_cimoutdata);
    procfree();
    EXPECT_EQ(g_cimoutdata, nullptr);
    return result;
}

TEST(Sampling, TablesAreSteppedBy10nmFromTheStartRow) {
    std::vector<double> out(6, 0.0);
    set_lightdata(LIGHT_F12, desc(560, 610, 10), g_dlight_data, out.data());
    for (int i = 0; i < 6; ++i) EXPECT_EQ(out[i], g_dlight_data[row_of(560 + 10 * i)][LIGHT_F12]);

    // 20 nm and 5 nm steps read the same rows as 10 nm: 400, 410, 420 ...
    for (uint16_t pitch : {5, 20}) {
        std::vector<double> x(4), y(4), z(4);
        ASSERT_EQ(set_cmfdata(g_dcmf_10degree_data, desc(400, 400 + 3 * pitch, pitch), x.data(),
                              y.data(), z.data()),
                  0);
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(x[i], g_dcmf_10degree_data[row_of(400 + 10 * i)][1]) << pitch;
            EXPECT_EQ(y[i], g_dcmf_10degree_data[row_of(400 + 10 * i)][2]) << pitch;
            EXPECT_EQ(z[i], g_dcmf_10degree_data[row_of(400 + 10 * i)][3]) << pitch;
        }
    }
}

TEST(Sampling, StartRowIsRoundedDownTo5nm) {
    std::vector<double> out(2, 0.0);
    set_lightdata(LIGHT_D65, desc(384, 394, 10), g_dlight_data, out.data());
    EXPECT_EQ(out[0], 49.98);  // 380 nm
    EXPECT_EQ(out[1], g_dlight_data[row_of(390)][LIGHT_D65]);
}

// Rows past 780 nm (or before 380 nm) are never read: the illuminant sample
// stays -1.0, the colour-matching samples stay 0, so the sample weighs nothing.
TEST(Sampling, RowsOutsideTheTableAreNotRead) {
    std::vector<double> s(11, 7.0), x(11, 7.0), y(11, 7.0), z(11, 7.0);
    set_lightdata(LIGHT_A, desc(700, 800, 10), g_dlight_data, s.data());
    ASSERT_EQ(set_cmfdata(g_dcmf_2degree_data, desc(700, 800, 10), x.data(), y.data(), z.data()), 0);
    for (int i = 0; i < 11; ++i) {
        const bool inside = 700 + 10 * i <= 780;
        EXPECT_EQ(s[i], inside ? g_dlight_data[row_of(700 + 10 * i)][LIGHT_A] : -1.0) << i;
        if (!inside) {
            EXPECT_EQ(x[i] + y[i] + z[i], 0.0) << i;
        }
    }
    set_lightdata(LIGHT_A, desc(370, 380, 10), g_dlight_data, s.data());
    EXPECT_EQ(s[0], -1.0);
    EXPECT_EQ(s[1], g_dlight_data[0][LIGHT_A]);  // 370 + 10 nm
    set_lightdata(0, desc(400, 410, 10), g_dlight_data, s.data());
    EXPECT_EQ(s[0], -1.0);  // column 0 is the wavelength, not an illuminant
    set_lightdata(17, desc(400, 410, 10), g_dlight_data, s.data());
    EXPECT_EQ(s[1], -1.0);

    std::vector<double> v(11, 0.5);
    const auto past = convert(LIGHT_A, SPECTR_MODE_XYZ, desc(700, 800, 10), v);
    const auto inside = convert(LIGHT_A, SPECTR_MODE_XYZ, desc(700, 780, 10), v);
    EXPECT_EQ(past, inside);
}

// Sums worked out by hand from the table rows 500 .. 540 nm (D65 and the
// 2-degree observer; A and the 10-degree observer) for a short ramp.
TEST(Conversion, ShortSpectrumMatchesHandSums) {
    const std::vector<double> ramp = {0.2, 0.4, 0.6, 0.8, 1.0};
    const auto xyz = convert(LIGHT_D65, SPECTR_MODE_XYZ, desc(500, 540, 10), ramp);
    EXPECT_NEAR(xyz[0], 13.7676075558, 1e-9);
    EXPECT_NEAR(xyz[1], 69.3820884080, 1e-9);
    EXPECT_NEAR(xyz[2], 6.5777507324, 1e-9);
    const auto lab = convert(LIGHT_D65, SPECTR_MODE_LAB, desc(500, 540, 10), ramp);
    EXPECT_NEAR(lab[0], 86.6929063666, 1e-9);
    EXPECT_NEAR(lab[1], 34.9178243619, 1e-9);
    EXPECT_NEAR(lab[2], 32.1683520068, 1e-9);
    const auto lab10 =
        convert(LIGHT_A, SPECTR_MODE_LAB, desc(500, 540, 10), ramp, 1, g_dcmf_10degree_data);
    EXPECT_NEAR(lab10[0], 87.0668121253, 1e-9);
    EXPECT_NEAR(lab10[1], 30.9411123427, 1e-9);
    EXPECT_NEAR(lab10[2], 30.6276450173, 1e-9);
}

TEST(Conversion, SeveralSpectraGiveOneResultEach) {
    const velSPECTRO_REF d = desc(400, 700, 10);
    std::vector<double> all;
    std::vector<std::vector<double>> one;
    for (int j = 0; j < 3; ++j) {
        std::vector<double> v(31);
        for (int i = 0; i < 31; ++i) v[i] = 0.1 + 0.02 * ((i * (j + 3)) % 40);
        all.insert(all.end(), v.begin(), v.end());
        one.push_back(convert(LIGHT_D50, SPECTR_MODE_LAB, d, v));
    }
    const auto joined = convert(LIGHT_D50, SPECTR_MODE_LAB, d, all, 3);
    ASSERT_EQ(joined.size(), 9u);
    for (int j = 0; j < 3; ++j)
        for (int c = 0; c < 3; ++c) EXPECT_EQ(joined[3 * j + c], one[j][c]);
}

// With no sample the white has Y = 0, which is not guarded: NaN, not a crash.
TEST(Conversion, NoSampleGivesNaN) {
    const auto lab = convert(LIGHT_D65, SPECTR_MODE_LAB, desc(400, 700, 0), {});
    ASSERT_EQ(lab.size(), 3u);
    for (double v : lab) EXPECT_TRUE(std::isnan(v));
}

TEST(Conversion, TracesItsEntryTextOnExit) {
    hxtvel_test::TraceCapture trace(0x12);  // Info and above
    const std::vector<double> v(2, 1.0);
    convert(LIGHT_D65, SPECTR_MODE_LAB, desc(400, 410, 10), v);
    const auto lines = trace.lines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front(), "Info:spectr_trans in");
    EXPECT_EQ(lines[lines.size() - 3], "Info:spectr_trans in");  // then procfree in/out
    for (const std::string &l : lines) EXPECT_NE(l, "Info:spectr_trans out");
}

// ---------------------------------------------------------------------
// Out of memory
// ---------------------------------------------------------------------

// The n-th allocation of a conversion refused, and what it reports.
struct Refusal {
    long nth;
    uint32_t code;
    const char *message;
};

void PrintTo(const Refusal &r, std::ostream *os) { *os << "allocation " << r.nth; }

class RefusedAllocation : public testing::TestWithParam<Refusal> {};

TEST_P(RefusedAllocation, ReportsTheArrayAndReleasesTheRest) {
    const Refusal &r = GetParam();
    hxtvel_test::TraceCapture trace(0x32);  // errors only
    const std::vector<double> v(31, 1.0);
    double *out = nullptr;
    uint32_t rc;
    {
        hxtvel_test::RefuseNothrowAlloc refuse(r.nth);
        rc = spectr_trans(LIGHT_D50, SPECTR_MODE_LAB, 1, desc(400, 700, 10), v.data(),
                          g_dcmf_2degree_data, &out);
        EXPECT_TRUE(refuse.spent());
    }
    EXPECT_EQ(rc, r.code);
    EXPECT_EQ(trace.lines(), std::vector<std::string>{std::string("Error:") + r.message});
    if (rc == 0) {
        // set_cmfdata's failure is not looked at: the colour-matching samples
        // stay 0 and the result is NaN.
        ASSERT_NE(out, nullptr);
        EXPECT_TRUE(std::isnan(out[0]));
    } else {
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(g_cimoutdata, nullptr);
    }
    procfree();
}

INSTANTIATE_TEST_SUITE_P(
    InOrder, RefusedAllocation,
    testing::Values(Refusal{1, 303, "Couldn't allocate memory.[dlight]"},
                    Refusal{2, 303, "Couldn't allocate memory.[dcmf_x]"},
                    Refusal{3, 303, "Couldn't allocate memory.[dcmf_y]"},
                    Refusal{4, 303, "Couldn't allocate memory.[dcmf_z]"},
                    Refusal{5, 303, "Couldn't allocate memory.[g_cimoutdata]"},
                    Refusal{6, 0, "Couldn't allocate memory.(dout_y_x)"},
                    Refusal{7, 0, "Couldn't allocate memory.(dout_y_y)"},
                    Refusal{8, 0, "Couldn't allocate memory.(dout_y_z)"}));

TEST(RefusedAllocation, SetCmfdataLeavesItsOutputsUntouched) {
    std::vector<double> x(3, 7.0), y(3, 7.0), z(3, 7.0);
    hxtvel_test::RefuseNothrowAlloc refuse(2);
    EXPECT_EQ(set_cmfdata(g_dcmf_2degree_data, desc(400, 420, 10), x.data(), y.data(), z.data()), -1);
    EXPECT_EQ(x, std::vector<double>(3, 7.0));
    EXPECT_EQ(z, std::vector<double>(3, 7.0));
}

TEST(TraceSt, WritesTheTextAtErrorLevelBetweenItsInAndOut) {
    hxtvel_test::TraceCapture trace(0x02);
    trace_st("Couldn't allocate memory.[x]");
    trace_st(nullptr);
    EXPECT_EQ(trace.lines(),
              (std::vector<std::string>{"Info:trace_st in", "Error:Couldn't allocate memory.[x]",
                                        "Info:trace_st out", "Info:trace_st in",
                                        "Info:trace_st out"}));
}

}  // namespace
