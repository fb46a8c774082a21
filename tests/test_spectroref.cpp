// Wedge division: the chart ID list, the spectra of one chart and the
// length-aware stream check.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>

#include "hxtvel_libspectroref.h"
#include "spectrobin_builder.h"
#include "trace_capture.h"

using hxtvel_test::ChartBlock;
using hxtvel_test::sample_number;
using hxtvel_test::Spectrobin;

namespace {

using Bytes = std::vector<unsigned char>;
using Lines = std::vector<std::string>;
using Fault = std::function<void(Spectrobin &)>;
constexpr uint32_t kValues = 31;

// Caller-side outputs, preset to values that no call writes.
struct Outputs {
    uint32_t count = 3, size = 99, length = 99;
    unsigned char ids[8] = {0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE};
    std::vector<double> values;
    std::vector<velSPECTRO_REF> refs;
    velSensorInfo sensor;
    // refs point into values: an Outputs is neither copied nor moved.
    explicit Outputs(size_t patches = 8) : values(patches * kValues, -7.5), refs(patches) {
        for (size_t i = 0; i < patches; ++i) refs[i] = {1, 2, 3, values.data() + i * kValues};
        std::memset(&sensor, 0x5A, sizeof sensor);
    }
    bool untouched() const {
        const Outputs fresh(refs.size());
        return std::equal(ids, ids + 8, fresh.ids) && size == 99 && length == 99 && values == fresh.values &&
               std::memcmp(&sensor, &fresh.sensor, sizeof sensor) == 0 &&
               std::all_of(refs.begin(), refs.end(), [](const velSPECTRO_REF &r) { return r.start == 1; });
    }
    int32_t list(const Bytes &s) { return HXTVEL_GetMChartIDList(s.data(), ids, &count); }
    int32_t spectra(const Bytes &s, int32_t id) {
        return HXTVEL_GetSpectrorefByMChartID(s.data(), id, refs.data(), &size, &length, &sensor);
    }
};

// Query and fill of the ID list; the IDs, or empty after a failure.
Bytes list_ids(const Bytes &s) {
    uint32_t n = 0;
    if (HXTVEL_GetMChartIDList(s.data(), nullptr, &n) != 0) return {};
    Bytes ids(n);
    return HXTVEL_GetMChartIDList(s.data(), ids.data(), &n) == 0 ? ids : Bytes{};
}

// Query and fill of one chart's spectra; null after a failure.
std::unique_ptr<Outputs> chart(const Bytes &s, int32_t id) {
    uint32_t size = 0, length = 0;
    if (HXTVEL_GetSpectrorefByMChartID(s.data(), id, nullptr, &size, &length, nullptr) != 0) return nullptr;
    auto out = std::make_unique<Outputs>(size);
    if (out->spectra(s, id) != 0 || out->size != size || length != kValues) return nullptr;
    return out;
}

// Charts 7, 3, 9 of different shapes and conditions, 62 bytes per patch;
// blocks at 37, 306 and 513, 658 bytes in all.
Spectrobin three_charts() {
    Spectrobin s;
    s.add(ChartBlock().id(7).grid(2, 2))
        .add(ChartBlock().id(3).grid(3, 1).conditions(3, 1, 1))
        .add(ChartBlock().id(9).grid(1, 2).patch_count(1).data_dir(1));
    return s;
}
// No chart: the 37-byte header alone (built in a block of exactly that size,
// so a read of a first block that is not there is caught).
Spectrobin empty_stream() { return Spectrobin().block_count(0); }

TEST(ChartIdList, ListsIdsInStreamOrder) {
    Spectrobin s = three_charts();
    EXPECT_EQ(list_ids(s.build()), (Bytes{7, 3, 9}));
    // Every block is measured with the first block's bytes per patch.
    s.block(1).bytes_per_patch(64).wedge_len(3 * 62 + 16).data_bytes(3 * 62);
    EXPECT_EQ(list_ids(s.build()), (Bytes{7, 3, 9}));
    const Bytes built = empty_stream().build(), empty(built.begin(), built.end());  // exactly 37 bytes
    Outputs out;
    EXPECT_EQ(HXTVEL_GetMChartIDList(empty.data(), nullptr, &out.count), 0);
    EXPECT_EQ(out.count, 0u);
    EXPECT_EQ(out.list(empty), 0);
    EXPECT_TRUE(out.untouched());
    uint32_t size = 0, length = 0;
    EXPECT_EQ(HXTVEL_GetSpectrorefByMChartID(empty.data(), 1, nullptr, &size, &length, nullptr), HXTVEL_E_WEDGE_DATA);
}

// Header faults in the order in which they are checked; faults_from(i)
// makes fault i and every later one, so only the first may be reported.
const std::vector<Fault> kHeaderFaults = {
    [](Spectrobin &s) { s.block(0).wedge_len(s.block(0).wedge_len() + 1); },
    [](Spectrobin &s) { s.block_count(65); },
    [](Spectrobin &s) { s.sensor_id(2); },
    [](Spectrobin &s) { s.backing(3); },
    [](Spectrobin &s) { s.block(0).data_dir(2); },
};
Fault faults_from(size_t first) {
    return [first](Spectrobin &s) {
        for (size_t i = first; i < kHeaderFaults.size(); ++i) kHeaderFaults[i](s);
    };
}
const Fault kNoFault = [](Spectrobin &) {};
// Block 1 agrees with its own 64 bytes per patch, not with block 0's 62.
const Fault kLaterBlock64 = [](Spectrobin &s) { s.block(1).bytes_per_patch(64); };

// The calls: ID list query, or fill with `arg` as count; spectra query or
// fill of chart `arg`; ID list without count or stream; spectra of chart 7
// without stream, size or length (bit 0, 1, 2 of `arg`).
enum Op { kIds, kIdsFill, kSpectra, kSpectraFill, kNullCount, kNullIdsStream, kNullSpectra };
int32_t call(Op op, int32_t arg, const Bytes &b, Outputs &o) {
    switch (op) {
    case kIds: return HXTVEL_GetMChartIDList(b.data(), nullptr, &o.count);
    case kIdsFill: return o.count = uint32_t(arg), o.list(b);
    case kSpectra: return HXTVEL_GetSpectrorefByMChartID(b.data(), arg, nullptr, &o.size, &o.length, nullptr);
    case kSpectraFill: return o.spectra(b, arg);
    case kNullCount: return HXTVEL_GetMChartIDList(b.data(), o.ids, nullptr);
    case kNullIdsStream: return HXTVEL_GetMChartIDList(nullptr, o.ids, &o.count);
    case kNullSpectra: break;
    }
    return HXTVEL_GetSpectrorefByMChartID(arg & 1 ? nullptr : b.data(), 7, o.refs.data(), arg & 2 ? nullptr : &o.size,
                                          arg & 4 ? nullptr : &o.length, &o.sensor);
}
const std::string kList = "Debug:HXTVEL_GetMChartIDList:", kRef = "Debug:HXTVEL_GetSpectroRef:",
                  kById = "Debug:HXTVEL_GetSpectrorefByMChartID:";

// A refused call: the fault, the call, its code and messages, and the ID
// count after it. No other output changes.
struct Refusal {
    const char *name;
    Fault fault;
    Op op;
    int32_t arg;
    int32_t rc;
    Lines messages;
    uint32_t count = 3;
};
class Refused : public testing::TestWithParam<Refusal> {};
TEST_P(Refused, WithItsCodeAndMessagesAndNoOutput) {
    const Refusal &r = GetParam();
    Spectrobin s = three_charts();
    r.fault(s);
    const Bytes b = s.build();
    hxtvel_test::TraceCapture trace;
    Outputs out;
    EXPECT_EQ(call(r.op, r.arg, b, out), r.rc);
    Lines own;  // the unit's messages, without the lock's
    for (const std::string &l : trace.lines())
        if (l.rfind("Debug:", 0) == 0 && l.find("enter ") == l.npos && l.find("leave ") == l.npos)
            own.push_back(l);
    EXPECT_EQ(own, r.messages);
    EXPECT_EQ(out.count, r.count);
    EXPECT_TRUE(out.untouched());
}
const std::string kFound = "Debug:found data!";
INSTANTIATE_TEST_SUITE_P(
    Calls, Refused,
    testing::Values(
        Refusal{"NullCount", kNoFault, kNullCount, 0, 402, {kList + "divcount is NULL!"}},
        Refusal{"NullStreamZeroesCount", kNoFault, kNullIdsStream, 0, 402, {kList + "spectrobin is NULL!"}, 0},
        Refusal{"ListWedgeLen", faults_from(0), kIds, 0, 402, {kList + "Bad data wedge_len!"}},
        Refusal{"ListCount65", faults_from(1), kIdsFill, 3, 402, {kList + "Invalid data"}},
        Refusal{"ListSensorId", faults_from(2), kIds, 0, 402, {kList + "Bad data sensorid!"}},
        Refusal{"ListBacking", faults_from(3), kIdsFill, 3, 402, {kById + "backing bad data!"}},
        Refusal{"ListDataDir", faults_from(4), kIds, 0, 402, {kList + "Bad data! data_dir"}},
        Refusal{"ListCountTooLarge", kNoFault, kIdsFill, 4, 402, {kList + "Invalid count"}, 4},
        Refusal{"ListCountTooSmall", kNoFault, kIdsFill, 2, 402, {kList + "Invalid count"}, 2},
        Refusal{"ListLaterBlock", kLaterBlock64, kIdsFill, 3, 402, {kList + "Bad data!"}},
        Refusal{"ListQueryWalksNoBlock", kLaterBlock64, kIds, 0, 0, {kList + "wedgeID NULL param mode"}},
        Refusal{"SpectraNullSize", kNoFault, kNullSpectra, 3, 402, {kById + "size or length is NULL!"}},
        Refusal{"SpectraNullLength", kNoFault, kNullSpectra, 4, 402, {kById + "size or length is NULL!"}},
        Refusal{"SpectraNullStream", kNoFault, kNullSpectra, 1, 402, {kById + "spectrobin is NULL!"}},
        Refusal{"SpectraWedgeLen", faults_from(0), kSpectraFill, 3, 402, {kRef + "Bad data!"}},
        Refusal{"SpectraCount65", faults_from(1), kSpectra, 3, 402, {kRef + "Invalid data"}},
        Refusal{"SpectraSensorId", faults_from(2), kSpectraFill, 3, 402, {kById + "Bad data!"}},
        Refusal{"SpectraBacking", faults_from(3), kSpectra, 3, 402, {kById + "backing bad data!"}},
        Refusal{"NoSuchId", kNoFault, kSpectraFill, 5, 402, {"Debug:No data!"}},
        // IDs are matched as the byte they are stored as.
        Refusal{"IdBeyondAByte", kNoFault, kSpectra, 7 + 256, 402, {"Debug:No data!"}},
        Refusal{"WalkStopsAtDisagreeingBlock", kLaterBlock64, kSpectraFill, 9, 402, {kRef + "Bad data!"}},
        // The found block's own checks, faults stacked in check order.
        Refusal{"FoundOwnBytesPerPatch",
                [](Spectrobin &s) {
                    s.block(1).bytes_per_patch(64).wedge_len(3 * 62 + 16).data_bytes(3 * 62);
                    s.block(1).patch_count(4).data_dir(2);
                },
                kSpectraFill, 3, 402, {kFound, kRef + "Bad data! wedge_len_"}},
        Refusal{"FoundPatchCount", [](Spectrobin &s) { s.block(1).patch_count(4).data_dir(2); }, kSpectra, 3, 402,
                {kFound, kRef + "Bad data! patch_xyproduct"}},
        Refusal{"FoundDataDir", faults_from(4), kSpectraFill, 7, 402, {kFound, kRef + "Bad data! data_dir"}},
        // A length beyond 32 bits agrees with no wedge_len, not even modulo 2^32.
        Refusal{"LengthBeyond32Bits",
                [](Spectrobin &s) {
                    s.block(0).grid(65535, 65535).bytes_per_patch(65535).data_bytes(0).wedge_len(
                        static_cast<uint32_t>(65535ull * 65535ull * 65535ull + 16));
                },
                kIds, 0, 402, {kList + "Bad data wedge_len!"}}),
    [](const testing::TestParamInfo<Refusal> &i) { return std::string(i.param.name); });

TEST(SpectraById, FirstMatchWinsWithSensorInformationFromHeaderAndBlock) {
    Spectrobin s = three_charts();
    s.add(ChartBlock().id(3).grid(5, 1).conditions(4, 0, 0));
    s.sensor_name_ = "0123456789abcdef0123456789ABCDEF";  // 32 characters, no NUL
    s.backing_ = 2, s.temperature_ = 21, s.humidity_ = 60;
    const auto c = chart(s.build(), 3);
    ASSERT_TRUE(c);
    EXPECT_EQ(c->size, 3u);
    const velSensorInfo &i = c->sensor;
    EXPECT_EQ(std::string(i.instrument, 32), s.sensor_name_);
    EXPECT_EQ(std::vector<int>({i.backing, i.temperature, i.humidity, i.illumination, i.observer, i.filter}),
              std::vector<int>({2, 21, 60, 3, 1, 1}));
}

// Every 16-bit number, 31 to a patch, comes out as exactly number / 10000.0.
TEST(SpectraById, EveryNumberIsScaledExactly) {
    const uint32_t patches = (65536 + kValues - 1) / kValues;
    std::vector<uint8_t> data(patches * 62, 0);
    for (uint32_t x = 0; x < 65536; ++x) data[2 * x] = uint8_t(x >> 8), data[2 * x + 1] = uint8_t(x);
    const auto c = chart(Spectrobin().add(ChartBlock().grid(uint16_t(patches), 1).data(data)).build(), 1);
    ASSERT_TRUE(c);
    int wrong = 0;
    for (uint32_t x = 0; x < 65536; ++x) wrong += c->values[x] != x / 10000.0;
    EXPECT_EQ(wrong, 0);
}

// The stored patch that lands at each chart position (as many as the patch
// count). Of a patch's bytes the first 31 numbers are values, more are
// skipped, fewer leave the rest 0, an odd last byte is no number.
struct Layout {
    uint16_t columns, rows;
    uint8_t data_dir;
    uint16_t bytes_per_patch;
    std::vector<uint32_t> stored;
};
class ChartOrder : public testing::TestWithParam<Layout> {};
TEST_P(ChartOrder, PutsStoredPatchesInChartOrder) {
    const Layout &l = GetParam();
    ChartBlock b = ChartBlock().id(2).grid(l.columns, l.rows).data_dir(l.data_dir);
    b.bytes_per_patch(l.bytes_per_patch).patch_count(uint32_t(l.stored.size()));
    const auto c = chart(Spectrobin().add(b).build(), 2);
    ASSERT_TRUE(c);
    ASSERT_EQ(c->size, l.stored.size());
    for (size_t j = 0; j < l.stored.size(); ++j) {
        const velSPECTRO_REF &r = c->refs[j];
        EXPECT_TRUE(r.start == 400 && r.end == 700 && r.pitch == 10);
        for (uint32_t v = 0; v < kValues; ++v)
            ASSERT_EQ(r.data[v], v < l.bytes_per_patch / 2u ? sample_number(2, l.stored[j], v) / 10000.0 : 0.0)
                << j << "/" << v;
    }
}
std::vector<Layout> layouts() {
    std::vector<Layout> all = {{2, 2, 0, 62, {0, 1, 2, 3}}, {2, 2, 1, 62, {2, 3, 0, 1}},
                               {3, 2, 1, 62, {3, 4, 5, 0, 1, 2}}, {2, 3, 1, 62, {4, 5, 2, 3, 0, 1}},
                               {2, 2, 0, 62, {0, 1, 2}}, {2, 2, 1, 62, {2, 3, 0}},
                               {3, 3, 1, 62, {6, 7, 8, 3}}, {4, 1, 1, 62, {0, 1, 2, 3}},
                               {2, 2, 1, 62, {}},
                               // Work memory follows the patches handed out, not the grid.
                               {65535, 65535, 1, 0, {0, 0}}};
    for (uint16_t bytes : {64, 63, 61, 40, 1, 0, 500}) all.push_back({3, 2, 0, bytes, {0, 1, 2, 3, 4, 5}});
    return all;
}
INSTANTIATE_TEST_SUITE_P(Layouts, ChartOrder, testing::ValuesIn(layouts()));

// ---------------------------------------------------------------------------
// hxtvel_check_spectrobin
// ---------------------------------------------------------------------------

hxtvel_stream_check check(const Bytes &b, size_t n) { return hxtvel_check_spectrobin(b.data(), n); }

TEST(StreamCheck, RejectsEveryTruncationAndNamesTheFieldCut) {
    Spectrobin s = three_charts();
    s.add(ChartBlock().id(1).grid(2, 1).data_dir(1));
    const Bytes full = s.build();
    const std::vector<uint64_t> at = s.block_offsets();
    for (size_t n = 0; n < full.size(); ++n) {
        const hxtvel_stream_check c = check(full, n);
        const auto block = std::upper_bound(at.begin(), at.end(), n) - at.begin() - 1;
        ASSERT_EQ(c.verdict, HXTVEL_STREAM_TRUNCATED) << n;
        EXPECT_TRUE(c.size == n && c.field_begin <= n && c.field_end > n && c.block == block) << n;
        EXPECT_STREQ(c.field, block < 0 ? "stream header" : n < at[block] + 21 ? "header" : "patch data") << n;
    }
    auto text = [&](size_t n) { return hxtvel::describe(check(full, n)); };
    EXPECT_EQ(text(10), "truncated at byte 10: stream header needs bytes 0 to 36");
    EXPECT_EQ(text(600), "truncated at byte 600: block 2 patch data needs bytes 534 to 657");
    EXPECT_EQ(text(full.size()), "ok (" + std::to_string(full.size()) + " bytes)");
    EXPECT_EQ(hxtvel_check_spectrobin(nullptr, 100).verdict, HXTVEL_STREAM_TRUNCATED);
}

// What the functions read decides what must be there, no more; what no
// instrument writes is named, after the whole stream was found in bounds.
struct Verdict {
    const char *name;
    Spectrobin stream;
    size_t size;  // bytes of the stream given (0: all)
    int verdict;
    int32_t block;
    const char *text;  // describe(), "" when not checked
};
class StreamVerdict : public testing::TestWithParam<Verdict> {};
TEST_P(StreamVerdict, IsAsExpected) {
    Bytes b = GetParam().stream.build();
    if (GetParam().size) b.resize(GetParam().size, 0xFF);
    const hxtvel_stream_check c = check(b, b.size());
    EXPECT_EQ(c.verdict, GetParam().verdict);
    EXPECT_EQ(c.block, GetParam().block);
    if (*GetParam().text) {
        EXPECT_EQ(hxtvel::describe(c), GetParam().text);
    }
}
Spectrobin with_block(ChartBlock b, size_t index = 0) {
    Spectrobin s = three_charts();
    s.block(index) = b.id(s.block(index).id_);
    return s;
}
INSTANTIATE_TEST_SUITE_P(
    Streams, StreamVerdict,
    testing::Values(
        Verdict{"no_charts", empty_stream(), 0, HXTVEL_STREAM_NO_CHARTS, -1,
                "no charts: the stream's header declares 0 chart blocks"},
        Verdict{"no_charts_bad_sensor", empty_stream().sensor_id(2), 0, HXTVEL_STREAM_OK, -1, ""},
        Verdict{"trailing_bytes", three_charts(), 658 + 9, HXTVEL_STREAM_OK, -1, ""},
        Verdict{"block_missing", three_charts().block_count(4), 0, HXTVEL_STREAM_TRUNCATED, 3, ""},
        // Nothing after a block whose length disagrees is read; its header is.
        Verdict{"walk_stops", [] { Spectrobin s = three_charts(); s.block(1).wedge_len(1000); return s; }(),
                306 + 21, HXTVEL_STREAM_OK, -1, ""},
        Verdict{"walk_stops_header_cut", [] { Spectrobin s = three_charts(); s.block(1).wedge_len(1000); return s; }(),
                306 + 20, HXTVEL_STREAM_TRUNCATED, 1, ""},
        // Header faults stop both functions before the walk.
        Verdict{"bad_sensor", three_charts().sensor_id(0), 58, HXTVEL_STREAM_OK, -1, ""},
        Verdict{"no_bytes_per_patch", Spectrobin().add(ChartBlock().grid(65535, 65535).bytes_per_patch(0)), 0,
                HXTVEL_STREAM_IMPLAUSIBLE, 0,
                "block 0 declares patches of 0 bytes per patch; a patch needs at least 2 (one 16-bit value)"},
        Verdict{"one_byte_per_patch", with_block(ChartBlock().grid(2, 2).bytes_per_patch(1)), 0,
                HXTVEL_STREAM_IMPLAUSIBLE, 0, ""},
        Verdict{"empty_grid_no_patches", with_block(ChartBlock().grid(0, 0).bytes_per_patch(0).patch_count(0)),
                0, HXTVEL_STREAM_OK, -1, ""},
        Verdict{"more_patches_than_cells", with_block(ChartBlock().grid(2, 2).patch_count(5), 2), 0,
                HXTVEL_STREAM_IMPLAUSIBLE, 2, "block 2 declares 5 patches in 4 cells (columns x rows)"},
        // Implausible, but a later block cut short is what counts.
        Verdict{"implausible_then_truncated", with_block(ChartBlock().grid(2, 2).patch_count(5)), 600,
                HXTVEL_STREAM_TRUNCATED, 2, ""}),
    [](const testing::TestParamInfo<Verdict> &i) { return std::string(i.param.name); });

}  // namespace
