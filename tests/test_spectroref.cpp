// Wedge division: the chart ID list, the spectra of one chart and the
// length-aware stream check.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <random>
#include <thread>

#include "hxtvel_libspectroref.h"
#include "spectrobin_builder.h"
#include "trace_capture.h"

using hxtvel_test::ChartBlock;
using hxtvel_test::sample_number;
using hxtvel_test::Spectrobin;
using hxtvel_test::TraceCapture;

// ---------------------------------------------------------------------------
// Refusing allocations: while armed, the next nothrow allocation fails.
// ---------------------------------------------------------------------------
namespace {
std::atomic<bool> g_refuse_next{false};
}  // namespace

void *operator new(std::size_t n, const std::nothrow_t &) noexcept {
    if (g_refuse_next.exchange(false)) return nullptr;
    try {
        return ::operator new(n);
    } catch (...) {
        return nullptr;
    }
}
void *operator new[](std::size_t n, const std::nothrow_t &) noexcept {
    if (g_refuse_next.exchange(false)) return nullptr;
    try {
        return ::operator new[](n);
    } catch (...) {
        return nullptr;
    }
}

namespace {

using Bytes = std::vector<unsigned char>;
using Lines = std::vector<std::string>;

constexpr uint32_t kValues = 31;
constexpr double kUntouched = -7.5;

// The unit's own messages (level 0), without those of the lock.
Lines unit_messages(const TraceCapture &trace) {
    static const Lines lock_lines = {"Debug:enter in", "Debug:enter out", "Debug:leave in",
                                     "Debug:cleave out"};
    Lines out;
    for (const std::string &l : trace.lines())
        if (l.rfind("Debug:", 0) == 0 && std::find(lock_lines.begin(), lock_lines.end(), l) == lock_lines.end())
            out.push_back(l);
    return out;
}

// Caller-side output of HXTVEL_GetSpectrorefByMChartID: records whose value
// arrays are preset to kUntouched.
struct Spectra {
    explicit Spectra(size_t n) : values(n * kValues, kUntouched), refs(n) {
        for (size_t i = 0; i < n; ++i) refs[i] = {1, 2, 3, values.data() + i * kValues};
    }
    bool untouched() const {
        for (const velSPECTRO_REF &r : refs)
            if (r.start != 1 || r.end != 2 || r.pitch != 3) return false;
        return std::all_of(values.begin(), values.end(), [](double v) { return v == kUntouched; });
    }
    std::vector<double> values;
    std::vector<velSPECTRO_REF> refs;
};

velSensorInfo sentinel_sensor() {
    velSensorInfo s;
    std::memset(&s, 0x5A, sizeof s);
    return s;
}
bool same(const velSensorInfo &a, const velSensorInfo &b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// Both calls of the ID list; ids empty unless the second call succeeded.
struct IdList {
    int32_t rc = -1;
    std::vector<unsigned char> ids;
};
IdList list_ids(const Bytes &stream) {
    IdList r;
    uint32_t n = 0;
    r.rc = HXTVEL_GetMChartIDList(stream.data(), nullptr, &n);
    if (r.rc != 0) return r;
    std::vector<unsigned char> ids(n + 1, 0xEE);
    r.rc = HXTVEL_GetMChartIDList(stream.data(), ids.data(), &n);
    EXPECT_EQ(ids[n], 0xEE) << "wrote past the count";
    if (r.rc == 0) r.ids.assign(ids.begin(), ids.begin() + n);
    return r;
}

// Both calls of the spectra of one chart.
struct Chart {
    int32_t rc = -1;
    uint32_t size = 0;
    std::unique_ptr<Spectra> spectra;
    velSensorInfo sensor = sentinel_sensor();
};
Chart chart(const Bytes &stream, int32_t id) {
    Chart c;
    uint32_t length = 0;
    c.rc = HXTVEL_GetSpectrorefByMChartID(stream.data(), id, nullptr, &c.size, &length, nullptr);
    if (c.rc != 0) return c;
    EXPECT_EQ(length, kValues);
    c.spectra = std::make_unique<Spectra>(c.size);
    uint32_t size2 = 0;
    c.rc = HXTVEL_GetSpectrorefByMChartID(stream.data(), id, c.spectra->refs.data(), &size2, &length,
                                          &c.sensor);
    EXPECT_EQ(size2, c.size);
    return c;
}

// Three charts of different shape, IDs 7, 3, 9, all with 62 bytes per patch.
Spectrobin three_charts() {
    Spectrobin s;
    s.add(ChartBlock().id(7).grid(2, 2))
        .add(ChartBlock().id(3).grid(3, 1).conditions(3, 1, 1))
        .add(ChartBlock().id(9).grid(1, 2).patch_count(1).data_dir(1));
    return s;
}

// A stream without charts still carries the first block's fields.
Bytes empty_stream() { return Spectrobin().block_count(0).add(ChartBlock().grid(0, 0)).build(); }

// ---------------------------------------------------------------------------
// HXTVEL_GetMChartIDList
// ---------------------------------------------------------------------------

TEST(ChartIdList, ListsTheIdsInStreamOrder) {
    const IdList r = list_ids(three_charts().build());
    EXPECT_EQ(r.rc, 0);
    EXPECT_EQ(r.ids, (std::vector<unsigned char>{7, 3, 9}));
}

TEST(ChartIdList, TracesEntryLockAndExitAroundTheQuery) {
    const Bytes s = three_charts().build();
    TraceCapture trace;
    uint32_t n = 0;
    ASSERT_EQ(HXTVEL_GetMChartIDList(s.data(), nullptr, &n), 0);
    EXPECT_EQ(n, 3u);
    EXPECT_EQ(trace.lines(), (Lines{"Info:HXTVEL_GetMChartIDList in", "Debug:enter in", "Debug:enter out",
                                    "Debug:HXTVEL_GetMChartIDList:wedgeID NULL param mode",
                                    "Debug:leave in", "Debug:cleave out", "Info:HXTVEL_GetMChartIDList out"}));
}

TEST(ChartIdList, EmptyStreamHasNoCharts) {
    const Bytes s = empty_stream();
    uint32_t n = 5;
    EXPECT_EQ(HXTVEL_GetMChartIDList(s.data(), nullptr, &n), 0);
    EXPECT_EQ(n, 0u);
    unsigned char id = 0xEE;
    EXPECT_EQ(HXTVEL_GetMChartIDList(s.data(), &id, &n), 0);
    EXPECT_EQ(id, 0xEE);
}

TEST(ChartIdList, NullArguments) {
    const Bytes s = three_charts().build();
    TraceCapture trace;
    unsigned char ids[3] = {};
    EXPECT_EQ(HXTVEL_GetMChartIDList(s.data(), ids, nullptr), 402);
    EXPECT_EQ(unit_messages(trace), Lines{"Debug:HXTVEL_GetMChartIDList:divcount is NULL!"});
    trace.clear();
    uint32_t n = 3;
    EXPECT_EQ(HXTVEL_GetMChartIDList(nullptr, ids, &n), 402);
    EXPECT_EQ(n, 0u);
    EXPECT_EQ(unit_messages(trace), Lines{"Debug:HXTVEL_GetMChartIDList:spectrobin is NULL!"});
    // The lock is left and the exit traced on a failure path, too.
    EXPECT_EQ(trace.lines().back(), "Info:HXTVEL_GetMChartIDList out");
    EXPECT_EQ(trace.lines()[trace.lines().size() - 2], "Debug:cleave out");
}

// Header faults in the order they are checked; each case applies its own
// fault and all later ones, so the first fault in the order must be the one
// reported.
struct HeaderFault {
    const char *name;
    std::function<void(Spectrobin &)> apply;
};
const std::vector<HeaderFault> kHeaderFaults = {
    {"first wedge_len", [](Spectrobin &s) { s.block(0).wedge_len(s.block(0).wedge_len() + 1); }},
    {"65 blocks", [](Spectrobin &s) { s.block_count(65); }},
    {"sensor id 2", [](Spectrobin &s) { s.sensor_id(2); }},
    {"backing 3", [](Spectrobin &s) { s.backing(3); }},
    {"first data_dir 2", [](Spectrobin &s) { s.block(0).data_dir(2); }},
};

Bytes with_faults_from(size_t first) {
    Spectrobin s = three_charts();
    for (size_t i = first; i < kHeaderFaults.size(); ++i) kHeaderFaults[i].apply(s);
    return s.build();
}

TEST(ChartIdList, HeaderChecksInOrderInBothModes) {
    const Lines expected = {"Debug:HXTVEL_GetMChartIDList:Bad data wedge_len!",
                            "Debug:HXTVEL_GetMChartIDList:Invalid data",
                            "Debug:HXTVEL_GetMChartIDList:Bad data sensorid!",
                            "Debug:HXTVEL_GetSpectrorefByMChartID:backing bad data!",
                            "Debug:HXTVEL_GetMChartIDList:Bad data! data_dir"};
    for (size_t i = 0; i < kHeaderFaults.size(); ++i) {
        SCOPED_TRACE(kHeaderFaults[i].name);
        const Bytes s = with_faults_from(i);
        TraceCapture trace;
        uint32_t n = 77;
        EXPECT_EQ(HXTVEL_GetMChartIDList(s.data(), nullptr, &n), 402);
        EXPECT_EQ(n, 77u);
        n = 3;
        unsigned char ids[3] = {1, 1, 1};
        EXPECT_EQ(HXTVEL_GetMChartIDList(s.data(), ids, &n), 402);
        EXPECT_EQ(ids[0], 1);
        EXPECT_EQ(unit_messages(trace), (Lines{expected[i], expected[i]}));
    }
}

TEST(ChartIdList, CountMustMatchTheStream) {
    const Bytes s = three_charts().build();
    for (uint32_t given : {2u, 4u, 0u}) {
        TraceCapture trace;
        std::vector<unsigned char> ids(8, 0xEE);
        uint32_t n = given;
        EXPECT_EQ(HXTVEL_GetMChartIDList(s.data(), ids.data(), &n), 402) << given;
        EXPECT_EQ(n, given);
        EXPECT_EQ(ids[0], 0xEE);
        EXPECT_EQ(unit_messages(trace), Lines{"Debug:HXTVEL_GetMChartIDList:Invalid count"});
    }
}

TEST(ChartIdList, LaterBlockIsMeasuredWithTheFirstBytesPerPatch) {
    // Block 1 is consistent in itself but not with block 0's 62 bytes per patch.
    Spectrobin bad = three_charts();
    bad.block(1).bytes_per_patch(64);
    // Block 1 claims 64 bytes per patch but its length agrees with 62: listed.
    Spectrobin good = three_charts();
    good.block(1).wedge_len(3 * 62 + 16).bytes_per_patch(64).data_bytes(3 * 62);

    const Bytes b = bad.build();
    TraceCapture trace;
    uint32_t n = 0;
    EXPECT_EQ(HXTVEL_GetMChartIDList(b.data(), nullptr, &n), 0);  // the query walks no block
    EXPECT_EQ(n, 3u);
    std::vector<unsigned char> ids(3, 0xEE);
    EXPECT_EQ(HXTVEL_GetMChartIDList(b.data(), ids.data(), &n), 402);
    EXPECT_EQ(ids, std::vector<unsigned char>(3, 0xEE));
    EXPECT_EQ(unit_messages(trace), (Lines{"Debug:HXTVEL_GetMChartIDList:wedgeID NULL param mode",
                                           "Debug:HXTVEL_GetMChartIDList:Bad data!"}));
    EXPECT_EQ(list_ids(good.build()).ids, (std::vector<unsigned char>{7, 3, 9}));
}

TEST(ChartIdList, RefusedMemoryGives403) {
    const Bytes s = three_charts().build();
    TraceCapture trace;
    std::vector<unsigned char> ids(3, 0xEE);
    uint32_t n = 3;
    g_refuse_next = true;
    EXPECT_EQ(HXTVEL_GetMChartIDList(s.data(), ids.data(), &n), 403);
    g_refuse_next = false;
    EXPECT_EQ(ids, std::vector<unsigned char>(3, 0xEE));
    EXPECT_EQ(unit_messages(trace), Lines{"Debug:HXTVEL_GetMChartIDList:Mem error!"});
}

// A grid whose length needs more than 32 bits never agrees with wedge_len,
// not even with the value that the product leaves modulo 2^32.
TEST(WedgeLength, ProductBeyond32BitsIsAMismatch) {
    const uint64_t product = 65535ull * 65535ull * 65535ull + 16;
    Spectrobin s;
    s.add(ChartBlock().grid(65535, 65535).bytes_per_patch(65535).wedge_len(static_cast<uint32_t>(product))
              .data_bytes(0));
    const Bytes b = s.build();
    TraceCapture trace;
    uint32_t n = 0, size = 0, length = 0;
    EXPECT_EQ(HXTVEL_GetMChartIDList(b.data(), nullptr, &n), 402);
    EXPECT_EQ(HXTVEL_GetSpectrorefByMChartID(b.data(), 1, nullptr, &size, &length, nullptr), 402);
    EXPECT_EQ(unit_messages(trace), (Lines{"Debug:HXTVEL_GetMChartIDList:Bad data wedge_len!",
                                           "Debug:HXTVEL_GetSpectroRef:Bad data!"}));
}

// ---------------------------------------------------------------------------
// HXTVEL_GetSpectrorefByMChartID
// ---------------------------------------------------------------------------

TEST(SpectraById, NullArgumentsInOrder) {
    const Bytes s = three_charts().build();
    TraceCapture trace;
    uint32_t size = 0, length = 0;
    EXPECT_EQ(HXTVEL_GetSpectrorefByMChartID(nullptr, 7, nullptr, nullptr, &length, nullptr), 402);
    EXPECT_EQ(HXTVEL_GetSpectrorefByMChartID(s.data(), 7, nullptr, &size, nullptr, nullptr), 402);
    EXPECT_EQ(HXTVEL_GetSpectrorefByMChartID(nullptr, 7, nullptr, &size, &length, nullptr), 402);
    EXPECT_EQ(unit_messages(trace),
              (Lines{"Debug:HXTVEL_GetSpectrorefByMChartID:size or length is NULL!",
                     "Debug:HXTVEL_GetSpectrorefByMChartID:size or length is NULL!",
                     "Debug:HXTVEL_GetSpectrorefByMChartID:spectrobin is NULL!"}));
    EXPECT_EQ(trace.lines().back(), "Info:HXTVEL_GetSpectrorefByMChartID out");
}

TEST(SpectraById, HeaderChecksInOrder) {
    // The first block's data_dir is no header check here: only the block
    // that is returned must have a valid one.
    const Lines expected = {"Debug:HXTVEL_GetSpectroRef:Bad data!", "Debug:HXTVEL_GetSpectroRef:Invalid data",
                            "Debug:HXTVEL_GetSpectrorefByMChartID:Bad data!",
                            "Debug:HXTVEL_GetSpectrorefByMChartID:backing bad data!"};
    for (size_t i = 0; i < expected.size(); ++i) {
        SCOPED_TRACE(kHeaderFaults[i].name);
        const Bytes s = with_faults_from(i);
        TraceCapture trace;
        uint32_t size = 99, length = 99;
        EXPECT_EQ(HXTVEL_GetSpectrorefByMChartID(s.data(), 3, nullptr, &size, &length, nullptr), 402);
        EXPECT_EQ(size, 99u);
        EXPECT_EQ(length, 99u);
        EXPECT_EQ(unit_messages(trace), Lines{expected[i]});
    }
    EXPECT_EQ(chart(with_faults_from(4), 3).rc, 0);
    EXPECT_EQ(chart(with_faults_from(4), 7).rc, 402);
}

TEST(SpectraById, TracesTheFoundBlock) {
    const Bytes s = three_charts().build();
    TraceCapture trace;
    Spectra out(3);
    velSensorInfo sensor;
    uint32_t size = 0, length = 0;
    ASSERT_EQ(HXTVEL_GetSpectrorefByMChartID(s.data(), 3, out.refs.data(), &size, &length, &sensor), 0);
    EXPECT_EQ(trace.lines(), (Lines{"Info:HXTVEL_GetSpectrorefByMChartID in", "Debug:enter in",
                                    "Debug:enter out", "Debug:found data!", "Debug:leave in",
                                    "Debug:cleave out", "Info:HXTVEL_GetSpectrorefByMChartID out"}));
}

TEST(SpectraById, UnknownIdHasNoData) {
    const Bytes s = three_charts().build();
    // IDs are compared as the byte 0..255 they are stored as.
    for (int32_t id : {5, 7 + 256, -249, -1}) {
        TraceCapture trace;
        uint32_t size = 99, length = 99;
        EXPECT_EQ(HXTVEL_GetSpectrorefByMChartID(s.data(), id, nullptr, &size, &length, nullptr), 402) << id;
        EXPECT_EQ(size, 99u);
        EXPECT_EQ(unit_messages(trace), Lines{"Debug:No data!"});
    }
    EXPECT_EQ(chart(empty_stream(), 1).rc, 402);
}

TEST(SpectraById, FirstMatchWins) {
    Spectrobin s = three_charts();
    s.add(ChartBlock().id(3).grid(5, 1));
    const Chart c = chart(s.build(), 3);
    ASSERT_EQ(c.rc, 0);
    EXPECT_EQ(c.size, 3u);
    EXPECT_EQ(c.sensor.illumination, 3);
}

TEST(SpectraById, WalkStopsAtABlockThatDisagreesWithTheFirstBytesPerPatch) {
    Spectrobin s = three_charts();
    s.block(1).bytes_per_patch(64);  // consistent in itself, not with block 0
    const Bytes b = s.build();
    EXPECT_EQ(chart(b, 7).rc, 0);  // found before the walk reaches it
    TraceCapture trace;
    uint32_t size = 0, length = 0;
    EXPECT_EQ(HXTVEL_GetSpectrorefByMChartID(b.data(), 9, nullptr, &size, &length, nullptr), 402);
    EXPECT_EQ(HXTVEL_GetSpectrorefByMChartID(b.data(), 3, nullptr, &size, &length, nullptr), 402);
    EXPECT_EQ(unit_messages(trace),
              (Lines{"Debug:HXTVEL_GetSpectroRef:Bad data!", "Debug:HXTVEL_GetSpectroRef:Bad data!"}));
}

// Faults of the found block (ID 3) in the order they are checked, applied
// together from the case's own one on.
TEST(SpectraById, FoundBlockChecksInOrder) {
    const std::vector<std::function<void(ChartBlock &)>> faults = {
        // Length agrees with the first block's 62 bytes per patch, not its own 64.
        [](ChartBlock &b) { b.bytes_per_patch(64).wedge_len(3 * 62 + 16).data_bytes(3 * 62); },
        [](ChartBlock &b) { b.patch_count(4); },
        [](ChartBlock &b) { b.data_dir(2); },
    };
    const Lines expected = {"Debug:HXTVEL_GetSpectroRef:Bad data! wedge_len_",
                            "Debug:HXTVEL_GetSpectroRef:Bad data! patch_xyproduct",
                            "Debug:HXTVEL_GetSpectroRef:Bad data! data_dir"};
    for (size_t i = 0; i < faults.size(); ++i) {
        SCOPED_TRACE(i);
        Spectrobin s = three_charts();
        for (size_t f = i; f < faults.size(); ++f) faults[f](s.block(1));
        const Bytes b = s.build();
        TraceCapture trace;
        Spectra out(4);
        velSensorInfo sensor = sentinel_sensor();
        uint32_t size = 99, length = 99;
        EXPECT_EQ(HXTVEL_GetSpectrorefByMChartID(b.data(), 3, out.refs.data(), &size, &length, &sensor), 402);
        EXPECT_EQ(size, 99u);
        EXPECT_EQ(length, 99u);
        EXPECT_TRUE(out.untouched());
        EXPECT_TRUE(same(sensor, sentinel_sensor()));
        EXPECT_EQ(unit_messages(trace), (Lines{"Debug:found data!", expected[i]}));
    }
}

TEST(SpectraById, QueryModesWriteOnlySizeAndLength) {
    const Bytes s = three_charts().build();
    TraceCapture trace;
    Spectra out(3);
    velSensorInfo sensor = sentinel_sensor();
    uint32_t size = 0, length = 0;
    EXPECT_EQ(HXTVEL_GetSpectrorefByMChartID(s.data(), 3, nullptr, &size, &length, &sensor), 0);
    EXPECT_EQ(size, 3u);
    EXPECT_EQ(length, 31u);
    EXPECT_TRUE(same(sensor, sentinel_sensor()));
    size = length = 0;
    EXPECT_EQ(HXTVEL_GetSpectrorefByMChartID(s.data(), 3, out.refs.data(), &size, &length, nullptr), 0);
    EXPECT_EQ(size, 3u);
    EXPECT_EQ(length, 31u);
    EXPECT_TRUE(out.untouched());
    EXPECT_EQ(unit_messages(trace),
              (Lines{"Debug:found data!", "Debug:HXTVEL_GetSpectrorefByMChartID:outref NULL param mode",
                     "Debug:found data!", "Debug:HXTVEL_GetSpectrorefByMChartID:outSensor NULL param mode"}));
}

TEST(SpectraById, SensorInformationFromHeaderAndFoundBlock) {
    Spectrobin s = three_charts();
    s.sensor_name("0123456789abcdef0123456789ABCDEF").backing(2).climate(21, 60);  // 32 chars, no NUL
    const Chart c = chart(s.build(), 3);
    ASSERT_EQ(c.rc, 0);
    EXPECT_EQ(std::string(c.sensor.instrument, 32), "0123456789abcdef0123456789ABCDEF");
    EXPECT_EQ(c.sensor.backing, 2);
    EXPECT_EQ(c.sensor.temperature, 21);
    EXPECT_EQ(c.sensor.humidity, 60);
    EXPECT_EQ(c.sensor.illumination, 3);
    EXPECT_EQ(c.sensor.observer, 1);
    EXPECT_EQ(c.sensor.filter, 1);
}

TEST(SpectraById, NumbersAreDividedBy10000) {
    const std::vector<uint8_t> data = {0x27, 0x10, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x01, 0x13, 0x88};
    Spectrobin s;
    s.add(ChartBlock().grid(1, 1).bytes_per_patch(10).data(data));
    const Chart c = chart(s.build(), 1);
    ASSERT_EQ(c.rc, 0);
    const double *v = c.spectra->refs[0].data;
    EXPECT_EQ(v[0], 1.0);
    EXPECT_EQ(v[1], 6.5535);
    EXPECT_EQ(v[2], 0.0);
    EXPECT_EQ(v[3], 1 / 10000.0);
    EXPECT_EQ(v[4], 0.5);
    for (uint32_t i = 5; i < kValues; ++i) EXPECT_EQ(v[i], 0.0) << i;
}

// Every 16-bit number, 31 to a patch, comes out as exactly number / 10000.0.
TEST(SpectraById, EveryNumberIsScaledExactly) {
    const uint32_t patches = (65536 + kValues - 1) / kValues;
    std::vector<uint8_t> data(patches * 62, 0);
    for (uint32_t x = 0; x < 65536; ++x) {
        data[2 * x] = static_cast<uint8_t>(x >> 8);
        data[2 * x + 1] = static_cast<uint8_t>(x);
    }
    Spectrobin s;
    s.add(ChartBlock().grid(static_cast<uint16_t>(patches), 1).data(data));
    const Chart c = chart(s.build(), 1);
    ASSERT_EQ(c.rc, 0);
    int wrong = 0;
    for (uint32_t x = 0; x < 65536; ++x) wrong += c.spectra->values[x] != x / 10000.0;
    EXPECT_EQ(wrong, 0);
}

// Bytes per patch around 62: the first 31 numbers are values, more are
// skipped, fewer leave the rest 0, an odd last byte is no number.
class BytesPerPatch : public testing::TestWithParam<uint16_t> {};
TEST_P(BytesPerPatch, TakesTheFirst31Numbers) {
    const uint16_t bpp = GetParam();
    Spectrobin s;
    s.add(ChartBlock().id(4).grid(3, 2).bytes_per_patch(bpp));
    const Chart c = chart(s.build(), 4);
    ASSERT_EQ(c.rc, 0);
    ASSERT_EQ(c.size, 6u);
    const uint32_t held = std::min<uint32_t>(kValues, bpp / 2u);
    for (uint32_t k = 0; k < 6; ++k) {
        const velSPECTRO_REF &r = c.spectra->refs[k];
        EXPECT_EQ(r.start, 400);
        EXPECT_EQ(r.end, 700);
        EXPECT_EQ(r.pitch, 10);
        for (uint32_t v = 0; v < kValues; ++v)
            EXPECT_EQ(r.data[v], v < held ? sample_number(4, k, v) / 10000.0 : 0.0) << k << "/" << v;
    }
}
INSTANTIATE_TEST_SUITE_P(AroundSixtyTwo, BytesPerPatch, testing::Values(62, 64, 63, 61, 40, 1, 0, 500));

// Which stored patch lands at each chart position.
struct Layout {
    uint16_t columns, rows;
    uint8_t data_dir;
    uint32_t patch_count;
    std::vector<uint32_t> stored;  // stored patch index per output position
};
class ChartOrder : public testing::TestWithParam<Layout> {};
TEST_P(ChartOrder, PutsStoredPatchesInChartOrder) {
    const Layout &l = GetParam();
    Spectrobin s;
    s.add(ChartBlock().id(2).grid(l.columns, l.rows).data_dir(l.data_dir).patch_count(l.patch_count));
    const Chart c = chart(s.build(), 2);
    ASSERT_EQ(c.rc, 0);
    ASSERT_EQ(c.size, l.stored.size());
    for (size_t j = 0; j < l.stored.size(); ++j)
        for (uint32_t v = 0; v < kValues; ++v)
            ASSERT_EQ(c.spectra->refs[j].data[v], sample_number(2, l.stored[j], v) / 10000.0) << j;
}
INSTANTIATE_TEST_SUITE_P(
    Layouts, ChartOrder,
    testing::Values(Layout{2, 2, 0, 4, {0, 1, 2, 3}}, Layout{2, 2, 1, 4, {2, 3, 0, 1}},
                    Layout{3, 2, 1, 6, {3, 4, 5, 0, 1, 2}}, Layout{2, 3, 1, 6, {4, 5, 2, 3, 0, 1}},
                    Layout{2, 2, 0, 3, {0, 1, 2}}, Layout{2, 2, 1, 3, {2, 3, 0}},
                    Layout{3, 3, 1, 4, {6, 7, 8, 3}}, Layout{1, 3, 1, 3, {2, 1, 0}},
                    Layout{4, 1, 1, 4, {0, 1, 2, 3}}, Layout{2, 2, 1, 0, {}}));

// A chart of 65535 x 65535 patches without patch bytes: work memory follows
// the patches handed out, not the grid.
TEST(SpectraById, LargeEmptyGridHandsOutOnlyItsPatches) {
    Spectrobin s;
    s.add(ChartBlock().grid(65535, 65535).bytes_per_patch(0).patch_count(2).data_dir(1));
    const Chart c = chart(s.build(), 1);
    ASSERT_EQ(c.rc, 0);
    ASSERT_EQ(c.size, 2u);
    EXPECT_TRUE(std::all_of(c.spectra->values.begin(), c.spectra->values.end(), [](double v) { return v == 0; }));
}

TEST(SpectraById, RefusedMemoryGives403AndLeavesTheRecords) {
    const Bytes s = three_charts().build();
    TraceCapture trace;
    Spectra out(3);
    velSensorInfo sensor;
    uint32_t size = 0, length = 0;
    g_refuse_next = true;
    EXPECT_EQ(HXTVEL_GetSpectrorefByMChartID(s.data(), 3, out.refs.data(), &size, &length, &sensor), 403);
    g_refuse_next = false;
    EXPECT_TRUE(out.untouched());
    EXPECT_EQ(unit_messages(trace),
              (Lines{"Debug:found data!", "Debug:HXTVEL_GetSpectrorefByMChartID:Mem error!"}));
}

TEST(SpectraById, ConcurrentCallersGetTheirOwnCharts) {
    const Bytes s = three_charts().build();
    const Chart expected[3] = {chart(s, 7), chart(s, 3), chart(s, 9)};
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            const int32_t ids[3] = {7, 3, 9};
            for (int i = 0; i < 200; ++i) {
                const int which = (t + i) % 3;
                const Chart c = chart(s, ids[which]);
                if (c.rc != 0 || c.spectra->values != expected[which].spectra->values) ++mismatches;
                if (list_ids(s).ids.size() != 3) ++mismatches;
            }
        });
    }
    for (std::thread &th : threads) th.join();
    EXPECT_EQ(mismatches.load(), 0);
}

// ---------------------------------------------------------------------------
// check_spectrobin
// ---------------------------------------------------------------------------

Bytes prefix(const Bytes &b, size_t n) { return Bytes(b.begin(), b.begin() + static_cast<long>(n)); }

TEST(StreamCheck, EveryTruncationOfAValidStreamIsRejected) {
    Spectrobin s = three_charts();
    s.add(ChartBlock().id(1).grid(2, 1).data_dir(1));
    const Bytes full = s.build();
    const std::vector<uint64_t> at = s.block_offsets();
    ASSERT_TRUE(hxtvel::check_spectrobin(full.data(), full.size()).ok);
    for (size_t n = 0; n < full.size(); ++n) {
        const hxtvel::spectrobin_check c = hxtvel::check_spectrobin(full.data(), n);
        ASSERT_FALSE(c.ok) << n;
        EXPECT_EQ(c.size, n);
        EXPECT_LE(c.field_begin, n);
        EXPECT_GT(c.field_end, n);
        // The field named is the one the cut falls into.
        const auto block = std::upper_bound(at.begin(), at.end(), n) - at.begin() - 1;
        EXPECT_EQ(c.block, block) << n;
        if (block >= 0) {
            const bool in_header = n < at[block] + 21;
            EXPECT_STREQ(c.field, in_header ? "header" : "patch data") << n;
        } else {
            EXPECT_STREQ(c.field, "stream header") << n;
        }
    }
}

TEST(StreamCheck, DescribesWhereTheStreamEnds) {
    const Bytes full = three_charts().build();  // blocks at 37, 306, 513
    auto text = [&](size_t n) { return hxtvel::describe(hxtvel::check_spectrobin(full.data(), n)); };
    EXPECT_EQ(text(10), "truncated at byte 10: stream header needs bytes 0 to 36");
    EXPECT_EQ(text(40), "truncated at byte 40: block 0 header needs bytes 37 to 57");
    EXPECT_EQ(text(600), "truncated at byte 600: block 2 patch data needs bytes 534 to 657");
    EXPECT_EQ(text(full.size()), "ok (658 bytes)");
    EXPECT_FALSE(hxtvel::check_spectrobin(nullptr, 100).ok);
}

// What the functions read decides what must be there, no more.
struct CheckCase {
    const char *name;
    std::function<Bytes()> make;
    bool ok;
};
class StreamCheckCases : public testing::TestWithParam<CheckCase> {};
TEST_P(StreamCheckCases, AcceptsExactlyWhatIsRead) {
    const Bytes b = GetParam().make();
    EXPECT_EQ(hxtvel::check_spectrobin(b.data(), b.size()).ok, GetParam().ok);
}
INSTANTIATE_TEST_SUITE_P(
    Streams, StreamCheckCases,
    testing::Values(
        CheckCase{"EmptyWithFirstFields", [] { return empty_stream(); }, true},
        CheckCase{"EmptyWithoutFirstFields", [] { return prefix(empty_stream(), 37); }, false},
        CheckCase{"TrailingBytes",
                  [] {
                      Bytes b = three_charts().build();
                      b.resize(b.size() + 9, 0xFF);
                      return b;
                  },
                  true},
        // Nothing after a block whose length disagrees is read.
        CheckCase{"CutAfterDisagreeingBlock",
                  [] {
                      Spectrobin s = three_charts();
                      s.block(1).wedge_len(1000);
                      return prefix(s.build(), 306 + 21);
                  },
                  true},
        CheckCase{"DisagreeingBlockHeaderCut",
                  [] {
                      Spectrobin s = three_charts();
                      s.block(1).wedge_len(1000);
                      return prefix(s.build(), 306 + 20);
                  },
                  false},
        // Header faults stop both functions before the walk.
        CheckCase{"SensorIdStopsTheWalk",
                  [] { return prefix(three_charts().sensor_id(0).build(), 58); }, true},
        CheckCase{"Count65StopsTheWalk",
                  [] { return prefix(three_charts().block_count(65).build(), 58); }, true},
        // The search walks past a bad first data_dir, so the blocks must be there.
        CheckCase{"FirstDataDirDoesNotStopTheSearch",
                  [] {
                      Spectrobin s = three_charts();
                      s.block(0).data_dir(9);
                      Bytes b = s.build();
                      return prefix(b, b.size() - 1);
                  },
                  false},
        CheckCase{"MoreBlocksCountedThanWritten",
                  [] { return three_charts().block_count(4).build(); }, false}),
    [](const testing::TestParamInfo<CheckCase> &i) { return std::string(i.param.name); });

// Whatever the check accepts, both functions handle inside the buffer, for
// every chart ID and call mode. The stream is copied into a buffer of its
// exact size, so that a sanitizer build reports any read beyond it.
void exercise_in_bounds(const Bytes &stream) {
    std::unique_ptr<unsigned char[]> exact(new unsigned char[std::max<size_t>(stream.size(), 1)]);
    std::copy(stream.begin(), stream.end(), exact.get());
    const unsigned char *s = exact.get();
    uint32_t n = 0;
    if (HXTVEL_GetMChartIDList(s, nullptr, &n) == 0) {
        std::vector<unsigned char> ids(n + 1);
        HXTVEL_GetMChartIDList(s, ids.data(), &n);
    }
    for (int32_t id = 0; id < 256; ++id) {
        uint32_t size = 0, length = 0;
        if (HXTVEL_GetSpectrorefByMChartID(s, id, nullptr, &size, &length, nullptr) != 0 || size > 4096)
            continue;
        Spectra out(size);
        velSensorInfo sensor;
        HXTVEL_GetSpectrorefByMChartID(s, id, out.refs.data(), &size, &length, &sensor);
    }
}

TEST(StreamCheck, AcceptedStreamsAreReadInsideTheirBuffer) {
    Spectrobin base = three_charts();
    base.add(ChartBlock().id(200).grid(2, 2).data_dir(1).patch_count(3));
    const Bytes full = base.build();
    const std::vector<uint64_t> at = base.block_offsets();
    // Field bytes worth disturbing: the count and every block header byte.
    std::vector<size_t> fields = {0, 1, 34};
    for (uint64_t b : at)
        for (size_t i = 0; i < 21; ++i) fields.push_back(b + i);

    std::mt19937 rng(20240607);
    int accepted = 0;
    for (int round = 0; round < 3000; ++round) {
        Bytes m = full;
        const int edits = 1 + round % 3;
        for (int e = 0; e < edits; ++e) m[fields[rng() % fields.size()]] = static_cast<unsigned char>(rng());
        if (round % 2) m.resize(rng() % (m.size() + 1));
        if (!hxtvel::check_spectrobin(m.data(), m.size()).ok) continue;
        ++accepted;
        exercise_in_bounds(m);
    }
    for (size_t n = 0; n <= full.size(); ++n)
        if (hxtvel::check_spectrobin(full.data(), n).ok) exercise_in_bounds(prefix(full, n));
    EXPECT_GT(accepted, 500);  // the mutations reach the functions, not only the check
}

}  // namespace
