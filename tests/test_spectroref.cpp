// Wedge division: the chart ID list, the spectra of one chart and the
// length-aware stream check.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <new>

#include "hxtvel_libspectroref.h"
#include "spectrobin_builder.h"
#include "trace_capture.h"

using hxtvel_test::ChartBlock;
using hxtvel_test::sample_number;
using hxtvel_test::Spectrobin;
using hxtvel_test::TraceCapture;

namespace {

using Bytes = std::vector<unsigned char>;
using Lines = std::vector<std::string>;
constexpr uint32_t kValues = 31;

// The unit's own messages, without the lock's.
Lines unit_messages(const TraceCapture &trace) {
    Lines out;
    for (const std::string &l : trace.lines())
        if (l.rfind("Debug:", 0) == 0 && l.find("enter ") == std::string::npos &&
            l.find("leave ") == std::string::npos)
            out.push_back(l);
    return out;
}

// Caller-side outputs, preset to values that no call writes.
struct Outputs {
    uint32_t count = 77, size = 99, length = 99;
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
               std::all_of(refs.begin(), refs.end(),
                           [](const velSPECTRO_REF &r) { return r.start == 1 && r.pitch == 3; });
    }
    int32_t list(const Bytes &s) { return HXTVEL_GetMChartIDList(s.data(), ids, &count); }
    int32_t spectra(const Bytes &s, int32_t id) {
        return HXTVEL_GetSpectrorefByMChartID(s.data(), id, refs.data(), &size, &length, &sensor);
    }
};

// Query and fill of the ID list; the IDs, or empty after a failure.
std::vector<unsigned char> list_ids(const Bytes &s) {
    uint32_t n = 0;
    if (HXTVEL_GetMChartIDList(s.data(), nullptr, &n) != 0) return {};
    std::vector<unsigned char> ids(n);
    return HXTVEL_GetMChartIDList(s.data(), ids.data(), &n) == 0 ? ids : std::vector<unsigned char>{};
}

// Query and fill of one chart's spectra.
struct Chart {
    int32_t rc = -1;
    std::unique_ptr<Outputs> out;
};
Chart chart(const Bytes &s, int32_t id) {
    uint32_t size = 0, length = 0;
    Chart c;
    c.rc = HXTVEL_GetSpectrorefByMChartID(s.data(), id, nullptr, &size, &length, nullptr);
    if (c.rc != 0) return c;
    EXPECT_EQ(length, kValues);
    c.out = std::make_unique<Outputs>(size);
    c.rc = c.out->spectra(s, id);
    EXPECT_EQ(c.out->size, size);
    return c;
}

// Charts 7, 3, 9 of different shapes and conditions, 62 bytes per patch.
Spectrobin three_charts() {
    Spectrobin s;
    s.add(ChartBlock().id(7).grid(2, 2))
        .add(ChartBlock().id(3).grid(3, 1).conditions(3, 1, 1))
        .add(ChartBlock().id(9).grid(1, 2).patch_count(1).data_dir(1));
    return s;
}
// No chart; both functions still read the first block's fields.
Bytes empty_stream() { return Spectrobin().block_count(0).add(ChartBlock().grid(0, 0)).build(); }

TEST(ChartIdList, ListsIdsInStreamOrderUnderTheLock) {
    const Bytes s = three_charts().build();
    TraceCapture trace;
    EXPECT_EQ(list_ids(s), (std::vector<unsigned char>{7, 3, 9}));
    EXPECT_EQ(
        trace.lines(),
        (Lines{"Info:HXTVEL_GetMChartIDList in", "Debug:enter in", "Debug:enter out",
               "Debug:HXTVEL_GetMChartIDList:wedgeID NULL param mode", "Debug:leave in", "Debug:cleave out",
               "Info:HXTVEL_GetMChartIDList out", "Info:HXTVEL_GetMChartIDList in", "Debug:enter in",
               "Debug:enter out", "Debug:leave in", "Debug:cleave out", "Info:HXTVEL_GetMChartIDList out"}));
    Outputs out;
    EXPECT_EQ(HXTVEL_GetMChartIDList(empty_stream().data(), nullptr, &out.count), 0);
    EXPECT_EQ(out.count, 0u);
    EXPECT_EQ(out.list(empty_stream()), 0);
    EXPECT_TRUE(out.untouched());
}

TEST(ChartIdList, EveryBlockIsMeasuredWithTheFirstBytesPerPatch) {
    Spectrobin s = three_charts();
    s.block(1).bytes_per_patch(64).wedge_len(3 * 62 + 16).data_bytes(3 * 62);  // agrees with 62
    EXPECT_EQ(list_ids(s.build()), (std::vector<unsigned char>{7, 3, 9}));
}

// Header faults in the order in which they are checked.
const std::vector<std::function<void(Spectrobin &)>> kHeaderFaults = {
    [](Spectrobin &s) { s.block(0).wedge_len(s.block(0).wedge_len() + 1); },
    [](Spectrobin &s) { s.block_count(65); },
    [](Spectrobin &s) { s.sensor_id(2); },
    [](Spectrobin &s) { s.backing(3); },
    [](Spectrobin &s) { s.block(0).data_dir(2); },
};
// The chart stream with header fault `first` and every later one: the
// first fault in check order is the one to be reported.
std::function<void(Spectrobin &)> faults_from(size_t first) {
    return [first](Spectrobin &s) {
        for (size_t i = first; i < kHeaderFaults.size(); ++i) kHeaderFaults[i](s);
    };
}
const auto kNoFault = [](Spectrobin &) {};

// A refused call: how the stream is broken, the call, the code, the
// messages and the ID count after it (3 when the call is made). No other
// output changes.
struct Refusal {
    const char *name;
    std::function<void(Spectrobin &)> fault;
    std::function<int32_t(const Bytes &, Outputs &)> call;
    int32_t rc;
    Lines messages;
    uint32_t count = 3;
};
using Call = std::function<int32_t(const Bytes &, Outputs &)>;
const Call ids_query = [](const Bytes &s, Outputs &o) {
    return HXTVEL_GetMChartIDList(s.data(), nullptr, &o.count);
};
const Call ids_fill = [](const Bytes &s, Outputs &o) { return o.list(s); };
Call ids_fill_with(uint32_t n) {
    return [n](const Bytes &s, Outputs &o) { return o.count = n, o.list(s); };
}
Call spectra_of(int32_t id) {
    return [id](const Bytes &s, Outputs &o) { return o.spectra(s, id); };
}
Call spectra_query(int32_t id) {
    return [id](const Bytes &s, Outputs &o) {
        return HXTVEL_GetSpectrorefByMChartID(s.data(), id, nullptr, &o.size, &o.length, nullptr);
    };
}
const Call null_count = [](const Bytes &s, Outputs &o) {
    return HXTVEL_GetMChartIDList(s.data(), o.ids, nullptr);
};
const Call null_list_stream = [](const Bytes &, Outputs &o) {
    return HXTVEL_GetMChartIDList(nullptr, o.ids, &o.count);
};
// Spectra with stream, size or length null (bit 0, 1, 2 of `which`).
Call null_spectra_argument(int which) {
    return [which](const Bytes &s, Outputs &o) {
        return HXTVEL_GetSpectrorefByMChartID(which & 1 ? nullptr : s.data(), 7, o.refs.data(),
                                              which & 2 ? nullptr : &o.size, which & 4 ? nullptr : &o.length,
                                              &o.sensor);
    };
}
// Block 1 agrees with its own 64 bytes per patch, not with block 0's 62.
const auto kLaterBlock64 = [](Spectrobin &s) { s.block(1).bytes_per_patch(64); };
const std::string kList = "Debug:HXTVEL_GetMChartIDList:";
const std::string kRef = "Debug:HXTVEL_GetSpectroRef:";
const std::string kById = "Debug:HXTVEL_GetSpectrorefByMChartID:";

class Refused : public testing::TestWithParam<Refusal> {};
TEST_P(Refused, WithItsCodeAndMessagesAndNoOutput) {
    const Refusal &r = GetParam();
    Spectrobin s = three_charts();
    r.fault(s);
    const Bytes b = s.build();
    TraceCapture trace;
    Outputs out;
    out.count = 3;
    EXPECT_EQ(r.call(b, out), r.rc);
    EXPECT_EQ(unit_messages(trace), r.messages);
    EXPECT_EQ(out.count, r.count);
    EXPECT_TRUE(out.untouched());
}
INSTANTIATE_TEST_SUITE_P(
    Calls, Refused,
    testing::Values(
        Refusal{"NullCount", kNoFault, null_count, 402, {kList + "divcount is NULL!"}},
        Refusal{"NullStreamZeroesCount", kNoFault, null_list_stream, 402, {kList + "spectrobin is NULL!"}, 0},
        Refusal{"ListWedgeLen", faults_from(0), ids_query, 402, {kList + "Bad data wedge_len!"}},
        Refusal{"ListCount65", faults_from(1), ids_fill, 402, {kList + "Invalid data"}},
        Refusal{"ListSensorId", faults_from(2), ids_query, 402, {kList + "Bad data sensorid!"}},
        Refusal{"ListBacking", faults_from(3), ids_fill, 402, {kById + "backing bad data!"}},
        Refusal{"ListDataDir", faults_from(4), ids_query, 402, {kList + "Bad data! data_dir"}},
        Refusal{"ListCountTooLarge", kNoFault, ids_fill_with(4), 402, {kList + "Invalid count"}, 4},
        Refusal{"ListCountTooSmall", kNoFault, ids_fill_with(2), 402, {kList + "Invalid count"}, 2},
        Refusal{"ListLaterBlock", kLaterBlock64, ids_fill, 402, {kList + "Bad data!"}},
        Refusal{"ListQueryWalksNoBlock", kLaterBlock64, ids_query, 0, {kList + "wedgeID NULL param mode"}},
        Refusal{"SpectraNullSize", kNoFault, null_spectra_argument(3), 402, {kById + "size or length is NULL!"}},
        Refusal{"SpectraNullLength", kNoFault, null_spectra_argument(4), 402, {kById + "size or length is NULL!"}},
        Refusal{"SpectraNullStream", kNoFault, null_spectra_argument(1), 402, {kById + "spectrobin is NULL!"}},
        Refusal{"SpectraWedgeLen", faults_from(0), spectra_of(3), 402, {kRef + "Bad data!"}},
        Refusal{"SpectraCount65", faults_from(1), spectra_query(3), 402, {kRef + "Invalid data"}},
        Refusal{"SpectraSensorId", faults_from(2), spectra_of(3), 402, {kById + "Bad data!"}},
        Refusal{"SpectraBacking", faults_from(3), spectra_query(3), 402, {kById + "backing bad data!"}},
        // IDs are matched as the byte they are stored as.
        Refusal{"NoSuchId", kNoFault, spectra_of(5), 402, {"Debug:No data!"}},
        Refusal{"IdBeyondAByte", kNoFault, spectra_query(7 + 256), 402, {"Debug:No data!"}},
        Refusal{"NegativeId", kNoFault, spectra_of(-249), 402, {"Debug:No data!"}},
        Refusal{"WalkStopsAtDisagreeingBlock", kLaterBlock64, spectra_of(9), 402, {kRef + "Bad data!"}},
        // The found block's own checks, faults stacked in check order.
        Refusal{"FoundOwnBytesPerPatch",
                [](Spectrobin &s) {
                    s.block(1).bytes_per_patch(64).wedge_len(3 * 62 + 16).data_bytes(3 * 62);
                    s.block(1).patch_count(4).data_dir(2);
                },
                spectra_of(3), 402, {"Debug:found data!", kRef + "Bad data! wedge_len_"}},
        Refusal{"FoundPatchCount", [](Spectrobin &s) { s.block(1).patch_count(4).data_dir(2); }, spectra_query(3),
                402, {"Debug:found data!", kRef + "Bad data! patch_xyproduct"}},
        Refusal{"FoundDataDir", faults_from(4), spectra_of(7), 402, {"Debug:found data!", kRef + "Bad data! data_dir"}},
        // A grid whose length needs more than 32 bits agrees with no wedge_len,
        // not even the product modulo 2^32.
        Refusal{"LengthBeyond32Bits",
                [](Spectrobin &s) {
                    s.block(0)
                        .grid(65535, 65535)
                        .bytes_per_patch(65535)
                        .data_bytes(0)
                        .wedge_len(static_cast<uint32_t>(65535ull * 65535ull * 65535ull + 16));
                },
                ids_query, 402, {kList + "Bad data wedge_len!"}}),
    [](const testing::TestParamInfo<Refusal> &i) { return std::string(i.param.name); });

TEST(SpectraById, QueryModesWriteOnlySizeAndLength) {
    const Bytes s = three_charts().build();
    TraceCapture trace;
    Outputs a, b;
    EXPECT_EQ(HXTVEL_GetSpectrorefByMChartID(s.data(), 3, nullptr, &a.size, &a.length, &a.sensor), 0);
    EXPECT_EQ(HXTVEL_GetSpectrorefByMChartID(s.data(), 3, b.refs.data(), &b.size, &b.length, nullptr), 0);
    for (Outputs *o : {&a, &b}) {
        EXPECT_EQ(o->size, 3u);
        EXPECT_EQ(o->length, 31u);
        o->size = 99, o->length = 99;
        EXPECT_TRUE(o->untouched());
    }
    EXPECT_EQ(unit_messages(trace), (Lines{"Debug:found data!", kById + "outref NULL param mode",
                                           "Debug:found data!", kById + "outSensor NULL param mode"}));
}

TEST(SpectraById, FirstMatchWinsWithSensorInformationFromHeaderAndBlock) {
    Spectrobin s = three_charts();
    s.add(ChartBlock().id(3).grid(5, 1).conditions(4, 0, 0));
    s.sensor_name_ = "0123456789abcdef0123456789ABCDEF";  // 32 characters, no NUL
    s.backing_ = 2, s.temperature_ = 21, s.humidity_ = 60;
    const Chart c = chart(s.build(), 3);
    ASSERT_EQ(c.rc, 0);
    EXPECT_EQ(c.out->size, 3u);
    const velSensorInfo &i = c.out->sensor;
    EXPECT_EQ(std::string(i.instrument, 32), s.sensor_name_);
    EXPECT_EQ(std::vector<int>({i.backing, i.temperature, i.humidity, i.illumination, i.observer, i.filter}),
              std::vector<int>({2, 21, 60, 3, 1, 1}));
}

// Every 16-bit number, 31 to a patch, comes out as exactly number / 10000.0.
TEST(SpectraById, EveryNumberIsScaledExactly) {
    const uint32_t patches = (65536 + kValues - 1) / kValues;
    std::vector<uint8_t> data(patches * 62, 0);
    for (uint32_t x = 0; x < 65536; ++x)
        data[2 * x] = static_cast<uint8_t>(x >> 8), data[2 * x + 1] = static_cast<uint8_t>(x);
    Spectrobin s;
    s.add(ChartBlock().grid(static_cast<uint16_t>(patches), 1).data(data));
    const Chart c = chart(s.build(), 1);
    ASSERT_EQ(c.rc, 0);
    EXPECT_EQ(c.out->values[0x2710], 1.0);
    EXPECT_EQ(c.out->values[0xFFFF], 6.5535);
    int wrong = 0;
    for (uint32_t x = 0; x < 65536; ++x) wrong += c.out->values[x] != x / 10000.0;
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
    ASSERT_EQ(c.out->size, 6u);
    for (uint32_t k = 0; k < 6; ++k) {
        const velSPECTRO_REF &r = c.out->refs[k];
        EXPECT_EQ(std::vector<int>({r.start, r.end, r.pitch}), std::vector<int>({400, 700, 10}));
        for (uint32_t v = 0; v < kValues; ++v)
            EXPECT_EQ(r.data[v], v < bpp / 2u ? sample_number(4, k, v) / 10000.0 : 0.0) << k << "/" << v;
    }
}
INSTANTIATE_TEST_SUITE_P(AroundSixtyTwo, BytesPerPatch, testing::Values(62, 64, 63, 61, 40, 1, 0, 500));

// The stored patch that lands at each chart position.
struct Layout {
    uint16_t columns, rows;
    uint8_t data_dir;
    std::vector<uint32_t> stored;  // its size is the patch count
};
class ChartOrder : public testing::TestWithParam<Layout> {};
TEST_P(ChartOrder, PutsStoredPatchesInChartOrder) {
    const Layout &l = GetParam();
    Spectrobin s;
    s.add(ChartBlock()
              .id(2)
              .grid(l.columns, l.rows)
              .data_dir(l.data_dir)
              .patch_count(static_cast<uint32_t>(l.stored.size())));
    const Chart c = chart(s.build(), 2);
    ASSERT_EQ(c.rc, 0);
    ASSERT_EQ(c.out->size, l.stored.size());
    for (size_t j = 0; j < l.stored.size(); ++j)
        for (uint32_t v = 0; v < kValues; ++v)
            ASSERT_EQ(c.out->refs[j].data[v], sample_number(2, l.stored[j], v) / 10000.0) << j;
}
INSTANTIATE_TEST_SUITE_P(Layouts, ChartOrder,
                         testing::Values(Layout{2, 2, 0, {0, 1, 2, 3}}, Layout{2, 2, 1, {2, 3, 0, 1}},
                                         Layout{3, 2, 1, {3, 4, 5, 0, 1, 2}},
                                         Layout{2, 3, 1, {4, 5, 2, 3, 0, 1}}, Layout{2, 2, 0, {0, 1, 2}},
                                         Layout{2, 2, 1, {2, 3, 0}}, Layout{3, 3, 1, {6, 7, 8, 3}},
                                         Layout{4, 1, 1, {0, 1, 2, 3}}, Layout{2, 2, 1, {}}));

// 65535 x 65535 patches of no bytes: work memory follows the patches handed
// out, not the grid.
TEST(SpectraById, LargeEmptyGridHandsOutOnlyItsPatches) {
    Spectrobin s;
    s.add(ChartBlock().grid(65535, 65535).bytes_per_patch(0).patch_count(2).data_dir(1));
    const Chart c = chart(s.build(), 1);
    ASSERT_EQ(c.rc, 0);
    EXPECT_EQ(c.out->values, std::vector<double>(2 * kValues, 0.0));
}

// ---------------------------------------------------------------------------
// check_spectrobin
// ---------------------------------------------------------------------------

Bytes prefix(const Bytes &b, size_t n) { return Bytes(b.begin(), b.begin() + static_cast<long>(n)); }

TEST(StreamCheck, RejectsEveryTruncationAndNamesTheFieldCut) {
    Spectrobin s = three_charts();
    s.add(ChartBlock().id(1).grid(2, 1).data_dir(1));
    const Bytes full = s.build();
    const std::vector<uint64_t> at = s.block_offsets();
    EXPECT_TRUE(hxtvel::check_spectrobin(full.data(), full.size()).ok);
    for (size_t n = 0; n < full.size(); ++n) {
        const hxtvel::spectrobin_check c = hxtvel::check_spectrobin(full.data(), n);
        const auto block = std::upper_bound(at.begin(), at.end(), n) - at.begin() - 1;
        ASSERT_FALSE(c.ok) << n;
        EXPECT_TRUE(c.size == n && c.field_begin <= n && c.field_end > n) << n;
        EXPECT_EQ(c.block, block) << n;
        EXPECT_STREQ(c.field, block < 0            ? "stream header"
                              : n < at[block] + 21 ? "header"
                                                   : "patch data")
            << n;
    }
    auto text = [&](size_t n) { return hxtvel::describe(hxtvel::check_spectrobin(full.data(), n)); };
    EXPECT_EQ(text(10), "truncated at byte 10: stream header needs bytes 0 to 36");
    EXPECT_EQ(text(40), "truncated at byte 40: block 0 header needs bytes 37 to 57");
    EXPECT_EQ(text(600), "truncated at byte 600: block 2 patch data needs bytes 534 to 657");
    EXPECT_EQ(text(full.size()), "ok (" + std::to_string(full.size()) + " bytes)");
    EXPECT_FALSE(hxtvel::check_spectrobin(nullptr, 100).ok);
}

// What the functions read decides what must be there, no more.
struct CheckCase {
    const char *name;
    std::function<Bytes()> make;
    bool ok;
};
Bytes cut_chart_stream(const std::function<void(Spectrobin &)> &fault, long keep) {
    Spectrobin s = three_charts();
    fault(s);
    Bytes b = s.build();
    return prefix(b, keep < 0 ? b.size() + keep : keep);
}
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
        // Nothing after a block whose length disagrees is read; its header is.
        CheckCase{
            "CutAfterDisagreeingBlock",
            [] { return cut_chart_stream([](Spectrobin &s) { s.block(1).wedge_len(1000); }, 306 + 21); },
            true},
        CheckCase{
            "DisagreeingBlockHeaderCut",
            [] { return cut_chart_stream([](Spectrobin &s) { s.block(1).wedge_len(1000); }, 306 + 20); },
            false},
        // Header faults stop both functions before the walk ...
        CheckCase{"SensorIdStopsTheWalk",
                  [] { return cut_chart_stream([](Spectrobin &s) { s.sensor_id(0); }, 58); }, true},
        CheckCase{"Count65StopsTheWalk",
                  [] { return cut_chart_stream([](Spectrobin &s) { s.block_count(65); }, 58); }, true},
        // ... but a bad first data_dir stops only the ID list.
        CheckCase{"FirstDataDirDoesNotStopTheSearch", [] { return cut_chart_stream(kHeaderFaults[4], -1); },
                  false},
        CheckCase{"MoreBlocksCountedThanWritten", [] { return three_charts().block_count(4).build(); },
                  false}),
    [](const testing::TestParamInfo<CheckCase> &i) { return std::string(i.param.name); });

}  // namespace
