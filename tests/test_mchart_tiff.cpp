// The page layout of the TIFF encoder: strips, offsets, total size and the
// 4 GiB limit. Real images are decoded in the bar and rendering tests.
#include <gtest/gtest.h>

#include <random>

#include "hxtvel_mchartcreate.h"
#include "tiff_decode.h"

using hxtvel::compute_tiff_layout;
using hxtvel::tiff_layout;

namespace {

struct LayoutCase {
    uint64_t w, h;
    uint32_t s;
    uint64_t rows, strips, image_offset;
};

class Layout : public testing::TestWithParam<LayoutCase> {};

TEST_P(Layout, WorkedExample) {
    const LayoutCase c = GetParam();
    tiff_layout l;
    ASSERT_EQ(compute_tiff_layout(c.w, c.h, c.s, l), 0u);
    EXPECT_EQ(l.rows_per_strip, c.rows);
    EXPECT_EQ(l.strip_count, c.strips);
    EXPECT_EQ(l.strip_bytes, c.rows * c.w * c.s);
    EXPECT_EQ(l.image_offset, c.image_offset);
    EXPECT_EQ(l.resolution_offset, c.image_offset - 16);
    EXPECT_EQ(l.total, c.image_offset + c.w * c.h * c.s);
}

INSTANTIATE_TEST_SUITE_P(
    Pages, Layout,
    testing::Values(LayoutCase{100, 50, 4, 50, 1, 218},                // CMYK, one strip
                    LayoutCase{10000, 2238, 3, 746, 3, 200 + 24 + 16},  // 746 rows fit in 32 MiB, 1119 do not
                    LayoutCase{9000000, 3, 4, 1, 3, 202 + 24 + 16},     // 36 MB rows: one row per strip
                    LayoutCase{1, 100000, 3, 100000, 1, 216}));         // one strip of more than 65535 rows

// The divisor search agrees with a plain scan of every row count.
TEST(LayoutScan, AgreesWithThePlainScan) {
    std::mt19937 rng(7);
    for (int i = 0; i < 300; ++i) {
        const uint64_t w = 1 + rng() % 20000, h = 1 + rng() % 40000;
        const uint32_t s = 3 + rng() % 2;
        tiff_layout l;
        ASSERT_EQ(compute_tiff_layout(w, h, s, l), 0u);
        ASSERT_EQ(l.rows_per_strip, hxtvel_test::naive_rows_per_strip(h, w * s)) << w << "x" << h << "x" << s;
        ASSERT_EQ(l.strip_count * l.rows_per_strip, h);
        ASSERT_EQ(l.total, hxtvel_test::expected_tiff_size(w, h, s));
    }
}

TEST(LayoutScan, FourGiBIsRefused) {
    tiff_layout l;
    EXPECT_EQ(compute_tiff_layout(65536, 21846, 3, l), 204u);  // 4,295,098,368 image bytes
    EXPECT_EQ(compute_tiff_layout(uint64_t(1) << 40, uint64_t(1) << 40, 4, l), 204u);  // no wrap
    EXPECT_EQ(compute_tiff_layout(1, 1431655680, 3, l), 204u);  // pushed over by the strip arrays
    ASSERT_EQ(compute_tiff_layout(32768, 43690, 3, l), 0u);     // 4,294,901,760 image bytes
    EXPECT_LT(l.total, uint64_t(1) << 32);
}

}  // namespace
