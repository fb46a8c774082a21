// Out of memory inside the reader and the writers: every allocation in turn
// is refused. The result is 108 (or 0 once nothing is refused any more),
// nothing escapes as an exception, nothing leaks (sanitizer build), and a
// failed read leaves no colour data while a failed write changes nothing.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <new>

#include "cgats_support.h"
#include "test_support.h"

namespace {
long g_countdown = 0;  // the allocation that is refused when it reaches 0; <= 0: none
}  // namespace

// The replacements below pair malloc with free on purpose.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

void *operator new(std::size_t size) {
    if (g_countdown > 0 && --g_countdown == 0) throw std::bad_alloc();
    if (void *p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void *p) noexcept { std::free(p); }
void operator delete(void *p, std::size_t) noexcept { std::free(p); }

namespace {

using hxtvel_test::contents;
using hxtvel_test::Instance;
using hxtvel_test::TempDir;

const char kFile[] =
    "CGATS.17\nBEGIN_DATA_FORMAT\nSAMPLE_ID RGB_R RGB_G RGB_B CMYK_C CMYK_M CMYK_Y CMYK_K LAB_L "
    "LAB_A LAB_B XYZ_X XYZ_Y XYZ_Z SPECTRAL_400 SPECTRAL_410 SPECTRAL_420\nEND_DATA_FORMAT\n"
    "NUMBER_OF_SETS 2\nBEGIN_DATA\n1 1 2 3 4 5 6 7 50 1 2 3 4 5 0.1 0.2 0.3\n"
    "2 1 2 3 4 5 6 7 50 1 2 3 4 5 0.1 0.2 0.3\nEND_DATA\n";

// Runs call with the n-th allocation refused, for n = 1, 2, ... until the
// call no longer meets a refusal; check(rc, refused) judges each run.
template <typename Call, typename Check>
void refuse_each_allocation(Call call, Check check) {
    for (long n = 1; n < 100000; ++n) {
        g_countdown = n;
        const uint32_t rc = call();
        const bool refused = g_countdown == 0;
        g_countdown = 0;
        check(rc, refused);
        if (!refused) break;
    }
}

TEST(CgatsOutOfMemory, Reader) {
    TempDir dir;
    hxtvel_test::write_file(dir.file("in.txt"), kFile);
    const std::string path = dir.file("in.txt");
    int failures = 0;
    std::unique_ptr<Instance> m;
    refuse_each_allocation(
        [&] {
            g_countdown = -g_countdown;  // the instance itself is made unhindered
            m = std::make_unique<Instance>();
            g_countdown = -g_countdown;
            return HXTVEL_ReadCGATS(m->h, path.c_str(), 31);
        },
        [&](uint32_t rc, bool refused) {
            EXPECT_EQ(rc, refused ? HXTVEL_E_MEMORY : HXTVEL_OK);
            if (refused) {
                EXPECT_EQ(contents(m->h), "");
            }
            failures += refused;
        });
    EXPECT_GT(failures, 10);
}

TEST(CgatsOutOfMemory, Writers) {
    TempDir dir;
    Instance m;
    ASSERT_EQ(HXTVEL_ReadCGATS(m.h, nullptr, 31), 104u);
    hxtvel_test::write_file(dir.file("in.txt"), kFile);
    ASSERT_EQ(HXTVEL_ReadCGATS(m.h, dir.file("in.txt").c_str(), 31), 0u);
    const std::string before = contents(m.h);
    const std::string path = dir.file("out.txt");
    for (int which = 0; which < 2; ++which) {
        refuse_each_allocation(
            [&] {
                return which ? HXTVEL_WriteText(m.h, path.c_str(), HXTVEL_FILE_COMMA)
                             : HXTVEL_WriteCGATS(m.h, path.c_str());
            },
            [&](uint32_t rc, bool refused) { EXPECT_EQ(rc, refused ? HXTVEL_E_MEMORY : HXTVEL_OK); });
    }
    EXPECT_EQ(contents(m.h), before);
}

}  // namespace
