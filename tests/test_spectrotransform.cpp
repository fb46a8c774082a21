// Spectral conversion internals: the CIE tables, the Lab formulas with their
// rounded constants, and samples that fall outside the tables.
#include <gtest/gtest.h>

#include <vector>

#include "spectrotransform.h"

namespace {

using namespace hxtvel;

int row_of(int nm) { return (nm - 380) / 5; }

// Rows every 5 nm from 380; light columns spot-checked (the conversion tests
// cover D50, D65 and A row by row), the observer tables as column sums.
TEST(Tables, RowsLightsAndObserverSums) {
    const double(*cmf[2])[kCmfColumns] = {g_dcmf_2degree_data, g_dcmf_10degree_data};
    for (int r = 0; r < kTableRows; ++r)
        EXPECT_TRUE(g_dlight_data[r][0] == 380 + 5 * r && cmf[0][r][0] == 380 + 5 * r && cmf[1][r][0] == 380 + 5 * r);
    // nm, D50, D65, A, C, F1, F2 and F12.
    const double light[3][8] = {{380, 24.49, 49.98, 9.80, 33.00, 1.87, 1.18, 0.96},
                                {560, 100.00, 100.00, 100.00, 105.30, 14.33, 16.16, 3.08},
                                {780, 78.27, 63.38, 241.70, 59.10, 0.43, 0.27, 0.05}};
    const int columns[7] = {LIGHT_D50, LIGHT_D65, LIGHT_A, LIGHT_C, LIGHT_F1, LIGHT_F1 + 1, LIGHT_F12};
    for (const auto &w : light)
        for (int c = 0; c < 7; ++c) EXPECT_EQ(g_dlight_data[row_of(int(w[0]))][columns[c]], w[c + 1]) << w[0];
    const double want[2][3] = {{21.371524, 21.371327, 21.371540}, {23.329353, 23.332036, 23.334153}};
    for (int t = 0; t < 2; ++t) {
        for (int c = 1; c <= 3; ++c) {
            double sum = 0.0;
            for (int r = 0; r < kTableRows; ++r) sum += cmf[t][r][c];
            EXPECT_NEAR(sum, want[t][c - 1], 5e-7) << "table " << t << " column " << c;
        }
    }
}

// Worked by hand: yr = 0.008856 exactly and xr below it take the linear
// branches (L* = 903.29 yr, f = 7.78 t + 16/116); a negative ratio counts as
// 0, and yr = 0.5 gives L* = 116 * 0.5^(1/3) - 16.
TEST(Lab, RoundedConstantsAndNegativeRatios) {
    const double white[2][3] = {{1, 1, 1}, {100, 100, 100}}, xyz[2][3] = {{0.004, 0.008856, 0.5}, {-1, 50, 25}};
    const double want[2][3] = {{7.99953624, -18.88984, -117.373962300268},
                               {76.069261014156, -327.884745750671, 32.748000207333}};
    for (int i = 0; i < 2; ++i) {
        double lab[3];
        convert_xyz_to_lab(white[i], xyz[i], lab);
        for (int k = 0; k < 3; ++k) EXPECT_NEAR(lab[k], want[i][k], 1e-9) << i << " " << k;
    }
}

// A direct caller may describe samples past 780 nm (or before 380 nm): those
// rows are not read, the samples weigh nothing.
TEST(Sampling, RowsOutsideTheTablesWeighNothing) {
    const double(*cmf)[kCmfColumns] = g_dcmf_2degree_data;
    const std::vector<double> v(11, 0.5);
    double *past = nullptr, *inside = nullptr;
    ASSERT_EQ(spectr_trans(LIGHT_A, SPECTR_MODE_XYZ, 1, {700, 800, 10, nullptr}, v.data(), cmf, &past), 0u);
    const std::vector<double> a(past, past + 3);
    procfree();
    ASSERT_EQ(spectr_trans(LIGHT_A, SPECTR_MODE_XYZ, 1, {700, 780, 10, nullptr}, v.data(), cmf, &inside), 0u);
    EXPECT_EQ(a, std::vector<double>(inside, inside + 3));
    procfree();
    std::vector<double> s(3, 7.0);
    set_lightdata(LIGHT_A, {370, 390, 10, nullptr}, g_dlight_data, s.data());
    EXPECT_EQ(s, (std::vector<double>{-1.0, g_dlight_data[0][LIGHT_A], g_dlight_data[2][LIGHT_A]}));
}

}  // namespace
