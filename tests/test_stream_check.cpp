// The header-only spectrobin check is the same check in a C host as in the
// library's own (C++) callers: both compilations give the same verdict and
// fields on every fuzz seed, every truncation of it and every change of one
// of its header bytes.
#include <gtest/gtest.h>

#include <cstdlib>
#include <dirent.h>

#include "hxtvel.h"
#include "test_support.h"

extern "C" hxtvel_stream_check stream_check_as_c(const unsigned char *buffer, size_t size);

namespace {

bool same(const hxtvel_stream_check &a, const hxtvel_stream_check &b) {
    return a.verdict == b.verdict && a.block == b.block && std::string(a.field) == b.field && a.size == b.size &&
           a.field_begin == b.field_begin && a.field_end == b.field_end && a.value == b.value && a.limit == b.limit;
}

TEST(StreamCheckInC, SameVerdictsAsInCxxOnTheFuzzSeeds) {
    hxtvel_test::TempDir dir;
    const std::string make = "python3 '" HXTVEL_SOURCE_DIR "/fuzz/make_seeds.py' '" + dir.path() + "' >/dev/null";
    ASSERT_EQ(std::system(make.c_str()), 0);
    const std::string seeds = dir.file("fuzz_spectrobin");
    DIR *d = opendir(seeds.c_str());
    ASSERT_NE(d, nullptr);
    size_t inputs = 0;
    int verdicts[4] = {};
    while (dirent *e = readdir(d)) {
        if (e->d_name[0] == '.') continue;
        const std::string text = hxtvel_test::read_file(seeds + "/" + e->d_name);
        std::vector<unsigned char> seed(text.begin(), text.end());
        for (size_t at = 0; at <= std::min<size_t>(seed.size(), 80); ++at) {
            for (int change = 0; change < 4; ++change) {
                std::vector<unsigned char> s = seed;
                if (change && at < s.size()) s[at] = static_cast<unsigned char>(change == 1 ? 0 : change == 2 ? 0xFF : s[at] ^ 1);
                for (size_t n : {s.size(), at}) {
                    // An exact-size copy, so that a read past the end is caught.
                    const std::vector<unsigned char> cut(s.begin(), s.begin() + long(std::min(n, s.size())));
                    const hxtvel_stream_check c = stream_check_as_c(cut.data(), cut.size());
                    ASSERT_TRUE(same(c, hxtvel_check_spectrobin(cut.data(), cut.size())))
                        << e->d_name << " byte " << at << " change " << change << " size " << cut.size();
                    ++verdicts[c.verdict];
                    ++inputs;
                }
            }
        }
    }
    closedir(d);
    EXPECT_GT(inputs, 1000u);
    for (int v : verdicts) EXPECT_GT(v, 0) << "every verdict is met";
}

}  // namespace
