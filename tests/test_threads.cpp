// Threads: many threads doing whole rounds at once, with their own
// instances and with the shared conversion, colour-difference and wedge
// functions, give exactly what the same work gives on one thread; threads
// sharing one instance see every operation whole. Run under the
// ThreadSanitizer build as well.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <thread>

#include "cgats_support.h"
#include "rounds.h"
#include "trace_capture.h"

namespace {

using namespace hxtvel_test;

constexpr int kThreads = 8;
constexpr int kRounds = 2;

// Runs work(t) on kThreads threads released together, kRounds times each;
// returns how many results differed from expected[t].
int race(const std::function<std::string(int)> &work, const std::vector<std::string> &expected) {
    std::atomic<int> ready{0}, wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            ++ready;
            while (ready < kThreads) std::this_thread::yield();
            for (int r = 0; r < kRounds; ++r) wrong += work(t) != expected[size_t(t)];
        });
    }
    for (std::thread &th : threads) th.join();
    return wrong;
}

// The same work on this thread alone, once per thread number.
std::vector<std::string> alone(const std::function<std::string(int)> &work) {
    std::vector<std::string> out;
    for (int t = 0; t < kThreads; ++t) out.push_back(work(t));
    return out;
}

template <typename T>
std::string bytes(const T &v) {
    return std::string(reinterpret_cast<const char *>(&v), sizeof v);
}

// Set, write as CGATS and text, read back: everything a caller sees.
std::string measurement_round(int t) {
    TempDir dir;
    const Measurements d(5 + t % 3, uint32_t(t));
    Instance m, back;
    const std::string cgats = dir.file("m.cgats"), text = dir.file("m.txt");
    const uint32_t rc[4] = {d.store(m.h), HXTVEL_WriteCGATS(m.h, cgats.c_str()),
                            HXTVEL_WriteText(m.h, text.c_str(), HXTVEL_FILE_COMMA),
                            HXTVEL_ReadCGATS(back.h, cgats.c_str(), 31)};  // in this order
    return bytes(rc) + without_created_line(read_file(cgats)) + read_file(text) + contents(back.h);
}

// Setting and colours, the chart to memory and to files, the page records.
std::string chart_round(int t) {
    TempDir dir;
    Chart c;
    uint32_t pages = 0;
    const uint32_t rc = prepare_chart(c.h, t % 2 == 1, uint32_t(t));
    const std::vector<unsigned char> image = chart_in_memory(c.h);
    const uint32_t files = HXTVEL_CreateTiff(c.h, dir.file("p").c_str(), &pages, HXTVEL_POSBAR_ON);
    return bytes(rc) + bytes(files) + std::string(image.begin(), image.end()) +
           chart_files(dir.file("p"), pages) + page_records(c.h, pages);
}

// Conversions under every illuminant and observer, every colour
// difference, the chart IDs and spectra of a stream.
std::string shared_round(int t) {
    static const std::vector<unsigned char> stream = three_chart_stream();
    const Measurements d(4, uint32_t(t));
    std::string out;
    // A call's code, then what it handed out (in this order).
    auto put = [&out](auto rc, const auto &result) { out += bytes(rc) + bytes(result); };
    for (const velSPECTRO_REF &s : d.spectra) {
        for (int32_t light = 1; light <= 3; ++light) {
            velCIELab lab{};
            velCIEXYZ xyz{};
            put(HXTVEL_SpectroRefToLAB(light, s, uint32_t(t % 2), &lab), lab);
            put(HXTVEL_SpectroRefToXYZ(light, s, uint32_t(1 - t % 2), &xyz), xyz);
        }
    }
    for (uint32_t method = 0; method < 5; ++method) {
        double de = -1;
        put(HXTVEL_DeltaE(method, d.lab[0], d.lab[1 + method % 3], &de), de);
    }
    unsigned char ids[3] = {};
    uint32_t count = 3;
    put(HXTVEL_GetMChartIDList(stream.data(), ids, &count), ids);
    const int32_t id = ids[t % 3];
    uint32_t size = 0, length = 0;
    put(HXTVEL_GetSpectrorefByMChartID(stream.data(), id, nullptr, &size, &length, nullptr), size);
    std::vector<double> values(size_t(size) * length);
    std::vector<velSPECTRO_REF> refs(size);
    for (uint32_t i = 0; i < size; ++i) refs[i].data = values.data() + size_t(i) * length;
    velSensorInfo sensor{};
    put(HXTVEL_GetSpectrorefByMChartID(stream.data(), id, refs.data(), &size, &length, &sensor), sensor);
    return out + std::string(reinterpret_cast<const char *>(values.data()), values.size() * sizeof(double));
}

struct Round {
    const char *name;
    std::string (*work)(int);
};
class OwnWork : public testing::TestWithParam<Round> {};

TEST_P(OwnWork, GivesWhatOneThreadGives) {
    const std::vector<std::string> expected = alone(GetParam().work);
    for (const std::string &e : expected) ASSERT_GT(e.size(), 100u) << e;
    EXPECT_EQ(race(GetParam().work, expected), 0);
}

INSTANTIATE_TEST_SUITE_P(Threads, OwnWork,
                         testing::Values(Round{"measurement_instances", measurement_round},
                                         Round{"chart_instances", chart_round},
                                         Round{"shared_functions", shared_round}),
                         [](const testing::TestParamInfo<Round> &i) { return std::string(i.param.name); });

// Tracing from many threads at once: the same results, and every line of
// the log whole (one write per line).
TEST(TracedThreads, SameResultsAndWholeLines) {
    const TraceCapture trace(0x12);  // entries, exits and failures, to the log file
    const std::vector<std::string> expected = alone(shared_round);
    EXPECT_EQ(race(shared_round, expected), 0);
    const std::vector<std::string> lines = trace.raw_lines();
    EXPECT_GT(lines.size(), size_t(kThreads * kRounds * 100));
    for (const std::string &l : lines) {
        ASSERT_TRUE(l.size() > 2 && l.front() == '[' && l.back() == ']') << l;
    }
}

// One instance, many threads (the chart instance holds its lock alike):
// appends arrive whole and in each thread's order; every file written
// meanwhile is one consistent state.
TEST(SharedMeasurementInstance, AppendsAreWholeAndWritesConsistent) {
    TempDir dir;
    Instance m;
    std::atomic<int> inconsistent{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int r = 0; r < 10; ++r) {
                const velCIELab group[3] = {{double(t), double(r), 0}, {double(t), double(r), 1}, {double(t), double(r), 2}};
                HXTVEL_SetLAB(m.h, group, 3);
                const std::string file = dir.file(std::to_string(t) + "_" + std::to_string(r));
                HXTVEL_WriteCGATS(m.h, file.c_str());
                const std::vector<std::string> lines = split_lines(read_file(file));
                const auto sets = std::find_if(lines.begin(), lines.end(),
                                               [](const std::string &l) { return l.rfind("NUMBER_OF_SETS", 0) == 0; });
                const auto begin = std::find(lines.begin(), lines.end(), "BEGIN_DATA");
                const auto end = std::find(lines.begin(), lines.end(), "END_DATA");
                inconsistent += sets == lines.end() || end == lines.end() || begin > end ||
                                std::to_string(end - begin - 1) != sets->substr(15);
            }
        });
    }
    for (std::thread &th : threads) th.join();
    EXPECT_EQ(inconsistent.load(), 0);

    uint32_t n = 0;
    ASSERT_EQ(HXTVEL_GetLAB(m.h, nullptr, &n), 0u);
    ASSERT_EQ(n, uint32_t(kThreads * 10 * 3));
    std::vector<velCIELab> all(n);
    ASSERT_EQ(HXTVEL_GetLAB(m.h, all.data(), &n), 0u);
    std::vector<int> next_round(kThreads, 0);
    for (uint32_t i = 0; i < n; i += 3) {
        const int t = int(all[i].L);
        EXPECT_EQ(all[i].a, next_round[size_t(t)]++) << "thread " << t << " out of order";
        for (int k = 0; k < 3; ++k) {
            EXPECT_EQ(all[i + k].L, t);
            EXPECT_EQ(all[i + k].b, k) << "a group was split";
        }
    }
}

// A getter racing a setter on one instance copies a state that existed:
// every record it hands out is one that was appended, in order, and the rest
// of the buffer is untouched. (A getter that read the stored array before
// taking the lock copied freed memory here.)
template <typename T>
void getter_races_setter(uint32_t (*set)(void *, const T *, uint32_t), uint32_t (*get)(void *, T *, uint32_t *)) {
    constexpr int kAppends = 400, kGroup = 16;
    Instance m;
    std::vector<T> sent(size_t(kAppends) * kGroup);
    for (size_t i = 0; i < sent.size(); ++i) {
        double *v = reinterpret_cast<double *>(&sent[i]);
        for (size_t k = 0; k < sizeof(T) / sizeof(double); ++k) v[k] = double((i + k) % 90);
    }
    std::atomic<bool> done{false};
    std::thread setter([&] {
        for (int r = 0; r < kAppends; ++r) set(m.h, sent.data() + size_t(r) * kGroup, kGroup);
        done = true;
    });
    std::vector<T> got(sent.size());
    int wrong = 0;
    while (!done) {
        std::fill(got.begin(), got.end(), T{});
        uint32_t n = 0;
        ASSERT_EQ(get(m.h, got.data(), &n), 0u);
        size_t filled = 0;
        while (filled < got.size() && std::memcmp(&got[filled], &sent[filled], sizeof(T)) == 0) ++filled;
        const T zero{};
        wrong += filled % kGroup != 0 || std::any_of(got.begin() + long(filled), got.end(), [&](const T &r) {
                     return std::memcmp(&r, &zero, sizeof r) != 0;
                 });
    }
    setter.join();
    EXPECT_EQ(wrong, 0);
}

TEST(SharedMeasurementInstance, GettersRaceSetters) {
    getter_races_setter<velCIELab>(HXTVEL_SetLAB, HXTVEL_GetLAB);
    getter_races_setter<velCIEXYZ>(HXTVEL_SetXYZ, HXTVEL_GetXYZ);
    getter_races_setter<velRGB>(HXTVEL_SetRGB, HXTVEL_GetRGB);
    getter_races_setter<velCMYK>(HXTVEL_SetCMYK, HXTVEL_GetCMYK);
}

// A chart whose setting changes while another thread draws it: each drawing
// sees one setting whole, so it succeeds or (its size query belonged to the
// other setting) refuses the buffer; a page it draws is a TIFF.
TEST(SharedChartInstance, SettingChangesWhileDrawing) {
    Chart c;
    ASSERT_EQ(prepare_chart(c.h), 0u);
    velPAreaStruct other = small_setting();
    other.resolution = 150;
    std::atomic<bool> done{false};
    std::thread changer([&] {
        for (int r = 0; !done; ++r) HXTVEL_SetMChartSetting(c.h, r % 2 ? small_setting() : other);
    });
    int wrong = 0;
    for (int r = 0; r < 100; ++r) {
        unsigned long long size = 0;
        uint32_t pages = 0;
        if (HXTVEL_CreateTiff_M(c.h, nullptr, &size, &pages, HXTVEL_POSBAR_ON) != 0) continue;
        std::vector<unsigned char> image(size);
        const uint32_t rc = HXTVEL_CreateTiff_M(c.h, image.data(), &size, &pages, HXTVEL_POSBAR_ON);
        wrong += rc != 0 && rc != 206;
        wrong += rc == 0 && (image.size() < 8 || image[2] != 42);
    }
    done = true;
    changer.join();
    EXPECT_EQ(wrong, 0);
}

}  // namespace
