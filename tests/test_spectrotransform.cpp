// Spectral conversion internals: the CIE tables, the Lab formulas with their
// rounded constants, and samples that fall outside the tables.
#include <gtest/gtest.h>

#include <vector>

#include "spectrotransform.h"

namespace {

using namespace hxtvel;

int row_of(int nm) { return (nm - 380) / 5; }

TEST(Tables, TellingRows) {
    for (int r = 0; r < kTableRows; ++r) {
        EXPECT_EQ(g_dlight_data[r][0], 380 + 5 * r);
        EXPECT_EQ(g_dcmf_2degree_data[r][0], 380 + 5 * r);
        EXPECT_EQ(g_dcmf_10degree_data[r][0], 380 + 5 * r);
    }
    // nm, D50, D65, A, C, F1, F2 and F12.
    const double light[3][8] = {{380, 24.49, 49.98, 9.80, 33.00, 1.87, 1.18, 0.96},
                                {560, 100.00, 100.00, 100.00, 105.30, 14.33, 16.16, 3.08},
                                {780, 78.27, 63.38, 241.70, 59.10, 0.43, 0.27, 0.05}};
    const int columns[7] = {LIGHT_D50, LIGHT_D65, LIGHT_A,  LIGHT_C,
                            LIGHT_F1,  LIGHT_F1 + 1, LIGHT_F12};
    for (const auto &w : light)
        for (int c = 0; c < 7; ++c)
            EXPECT_EQ(g_dlight_data[row_of(int(w[0]))][columns[c]], w[c + 1]) << w[0] << " " << c;
    const double *o = g_dcmf_2degree_data[0];
    EXPECT_TRUE(o[1] == 0.001368 && o[2] == 0.000039 && o[3] == 0.006450);
    o = g_dcmf_2degree_data[row_of(560)];
    EXPECT_TRUE(o[1] == 0.5945 && o[2] == 0.995 && o[3] == 0.0039);
    o = g_dcmf_10degree_data[0];
    EXPECT_TRUE(o[1] == 0.000160 && o[2] == 0.000017 && o[3] == 0.000705);
    o = g_dcmf_10degree_data[row_of(560)];
    EXPECT_TRUE(o[1] == 0.705224 && o[2] == 0.99734 && o[3] == 0.0);
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

// Worked by hand: yr = 0.008856 exactly and xr below it take the linear
// branches (L* = 903.29 yr, f = 7.78 t + 16/116); a negative ratio counts as
// 0, and yr = 0.5 gives L* = 116 * 0.5^(1/3) - 16.
TEST(Lab, RoundedConstantsAndNegativeRatios) {
    const double unit[3] = {1, 1, 1}, low[3] = {0.004, 0.008856, 0.5};
    double lab[3];
    convert_xyz_to_lab(unit, low, lab);
    EXPECT_NEAR(lab[0], 7.99953624, 1e-12);
    EXPECT_NEAR(lab[1], -18.88984, 1e-12);
    EXPECT_NEAR(lab[2], -117.373962300268, 1e-9);
    const double white[3] = {100, 100, 100}, xyz[3] = {-1, 50, 25};
    convert_xyz_to_lab(white, xyz, lab);
    EXPECT_NEAR(lab[0], 76.069261014156, 1e-9);
    EXPECT_NEAR(lab[1], -327.884745750671, 1e-9);
    EXPECT_NEAR(lab[2], 32.748000207333, 1e-9);
}

// A direct caller may describe samples past 780 nm (or before 380 nm): those
// rows are not read, the samples weigh nothing.
TEST(Sampling, RowsOutsideTheTablesWeighNothing) {
    const double(*cmf)[kCmfColumns] = g_dcmf_2degree_data;
    const std::vector<double> v(11, 0.5);
    double *past = nullptr, *inside = nullptr;
    ASSERT_EQ(
        spectr_trans(LIGHT_A, SPECTR_MODE_XYZ, 1, {700, 800, 10, nullptr}, v.data(), cmf, &past),
        0u);
    const std::vector<double> a(past, past + 3);
    procfree();
    ASSERT_EQ(
        spectr_trans(LIGHT_A, SPECTR_MODE_XYZ, 1, {700, 780, 10, nullptr}, v.data(), cmf, &inside),
        0u);
    EXPECT_EQ(a, std::vector<double>(inside, inside + 3));
    procfree();

    std::vector<double> s(3, 7.0);
    set_lightdata(LIGHT_A, {370, 390, 10, nullptr}, g_dlight_data, s.data());
    EXPECT_EQ(s, (std::vector<double>{-1.0, g_dlight_data[0][LIGHT_A], g_dlight_data[2][LIGHT_A]}));
}

}  // namespace
