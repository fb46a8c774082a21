// Out of memory in every exported operation that allocates. This program replaces the
// global allocation functions: once armed with N, the N-th allocation from
// then on fails (a throwing form throws std::bad_alloc, a non-throwing one
// returns null). Each operation runs with N = 1, 2, 3 ... until a run meets
// no refusal. Every run must give 0 or the family's out-of-memory code, let
// no exception out (instance creation excepted), free all it allocated, and
// leave the state that a failure of that kind leaves; a repeat of the call
// without refusals must then give what an undisturbed call gives.
#include <gtest/gtest.h>

#include <atomic>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>

#include "cgats_support.h"
#include "hxtvel_mchartcreate.h"
#include "hxtvel_trace.h"
#include "rounds.h"

// ---------------------------------------------------------------------------
// The injector
// ---------------------------------------------------------------------------

namespace oom {

std::atomic<long> g_countdown{0};  // armed while > 0; the allocation taking it to 0 fails
std::atomic<bool> g_refused{false};
std::atomic<long> g_live{0};       // allocations not yet freed

bool refuse() {
    long left = g_countdown.load();
    while (left > 0 && !g_countdown.compare_exchange_weak(left, left - 1)) {
    }
    if (left != 1) return false;
    g_refused = true;
    return true;
}

void *take(std::size_t n, std::size_t align) {
    void *p = nullptr;
    if (align > alignof(std::max_align_t)) {
        if (::posix_memalign(&p, align, n ? n : 1) != 0) p = nullptr;
    } else {
        p = std::malloc(n ? n : 1);
    }
    if (p) ++g_live;
    return p;
}

void give(void *p) {
    if (!p) return;
    --g_live;
    std::free(p);
}

void *throwing(std::size_t n, std::size_t align = 0) {
    if (refuse()) throw std::bad_alloc();
    if (void *p = take(n, align)) return p;
    throw std::bad_alloc();
}

void *nothrow(std::size_t n, std::size_t align = 0) noexcept { return refuse() ? nullptr : take(n, align); }

void arm(long n) {
    g_refused = false;
    g_countdown = n;
}
// Disarms; whether an allocation was refused.
bool disarm() {
    g_countdown = 0;
    return g_refused.exchange(false);
}

}  // namespace oom

// The replacements pair malloc with free on purpose.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

void *operator new(std::size_t n) { return oom::throwing(n); }
void *operator new[](std::size_t n) { return oom::throwing(n); }
void *operator new(std::size_t n, std::align_val_t a) { return oom::throwing(n, std::size_t(a)); }
void *operator new[](std::size_t n, std::align_val_t a) { return oom::throwing(n, std::size_t(a)); }
void *operator new(std::size_t n, const std::nothrow_t &) noexcept { return oom::nothrow(n); }
void *operator new[](std::size_t n, const std::nothrow_t &) noexcept { return oom::nothrow(n); }
void *operator new(std::size_t n, std::align_val_t a, const std::nothrow_t &) noexcept {
    return oom::nothrow(n, std::size_t(a));
}
void *operator new[](std::size_t n, std::align_val_t a, const std::nothrow_t &) noexcept {
    return oom::nothrow(n, std::size_t(a));
}
void operator delete(void *p) noexcept { oom::give(p); }
void operator delete[](void *p) noexcept { oom::give(p); }
void operator delete(void *p, std::size_t) noexcept { oom::give(p); }
void operator delete[](void *p, std::size_t) noexcept { oom::give(p); }
void operator delete(void *p, std::align_val_t) noexcept { oom::give(p); }
void operator delete[](void *p, std::align_val_t) noexcept { oom::give(p); }
void operator delete(void *p, std::size_t, std::align_val_t) noexcept { oom::give(p); }
void operator delete[](void *p, std::size_t, std::align_val_t) noexcept { oom::give(p); }
void operator delete(void *p, const std::nothrow_t &) noexcept { oom::give(p); }
void operator delete[](void *p, const std::nothrow_t &) noexcept { oom::give(p); }
void operator delete(void *p, std::align_val_t, const std::nothrow_t &) noexcept { oom::give(p); }
void operator delete[](void *p, std::align_val_t, const std::nothrow_t &) noexcept { oom::give(p); }

namespace {

using namespace hxtvel_test;

// ---------------------------------------------------------------------------
// One run's world: instances, files and caller-side outputs, all made
// before the injector is armed (an armed call allocates nothing of its own)
// ---------------------------------------------------------------------------

struct World {
    TempDir dir;
    const std::string in = dir.file("in.cgats"), out = dir.file("out"), bar = dir.file("bar");
    const Measurements data{4, 1}, more{3, 2};
    Instance m;
    Chart c;
    const std::vector<unsigned char> stream = three_chart_stream();
    std::vector<unsigned char> image;  // memory target of a drawing
    unsigned long long size = 0;
    uint32_t pages = 0, count = 3, length = 99;
    std::string before;    // the state before the call
    void *made = nullptr;  // an instance the call created
    bool made_chart = false;
    // Outputs of the conversions and the wedge functions, preset to a
    // pattern no call writes.
    alignas(16) unsigned char raw[6 * kSpectralValues * sizeof(double)];
    velSPECTRO_REF refs[6];
    velSensorInfo sensor;

    World() {
        std::memset(raw, 0xEE, sizeof raw);
        std::memset(&sensor, 0x5A, sizeof sensor);
        for (int i = 0; i < 6; ++i) refs[i] = {1, 2, 3, reinterpret_cast<double *>(raw) + i * kSpectralValues};
    }
    ~World() {
        if (made_chart) HXTVEL_DeleteMChartInstance(made);
        else HXTVEL_DeleteCGATSInstance(made);
    }
    std::string outputs() const {
        std::string s(reinterpret_cast<const char *>(raw), sizeof raw);
        for (const velSPECTRO_REF &r : refs) s += std::to_string(r.start + r.end + r.pitch);
        return s;
    }
    std::string all_outputs() const {
        return outputs() + std::to_string(count) + "/" + std::to_string(size) + "/" + std::to_string(length) +
               std::string(reinterpret_cast<const char *>(&sensor), sizeof sensor);
    }
    hxtvel::c_mchart &chart() const { return *static_cast<hxtvel::c_mchart *>(c.h); }
};

// Everything a caller can learn from a measurement instance: its records
// and the CGATS file it writes (sensor information included).
std::string measurement_state(World &w) {
    const std::string file = w.dir.file("state.cgats");
    const uint32_t rc = HXTVEL_WriteCGATS(w.m.h, file.c_str());
    return contents(w.m.h) + "write " + std::to_string(rc) + "\n" +
           (rc == 0 ? without_created_line(read_file(file)) : "");
}

// What the chart instance draws now, and its page records.
std::string chart_state(World &w) {
    const std::vector<unsigned char> image = chart_in_memory(w.c.h);
    uint32_t pages = 0;
    unsigned long long size = 0;
    HXTVEL_CreateTiff_M(w.c.h, nullptr, &size, &pages, HXTVEL_POSBAR_ON);
    return std::string(image.begin(), image.end()) + page_records(w.c.h, pages);
}

// ---------------------------------------------------------------------------
// The operations that allocate
// ---------------------------------------------------------------------------

using Step = std::function<void(World &)>;

struct Op {
    const char *name;
    uint32_t oom;                                 // the family's out-of-memory code
    Step setup;                                   // before arming
    std::function<uint32_t(World &)> call;        // armed
    std::function<std::string(World &)> observe;  // after a successful call
    Step failed;                                  // checks after a refused call
    bool may_throw = false;                       // instance creation
};

constexpr uint32_t kMem = HXTVEL_E_MEMORY;
constexpr uint32_t kChartMem = HXTVEL_E_CHART_MEMORY;

void nothing(World &) {}
void filled(World &w) {
    ASSERT_EQ(w.data.store(w.m.h), 0u);
    w.before = measurement_state(w);
}
void drawn(World &w) {
    ASSERT_EQ(prepare_chart(w.c.h), 0u);
    ASSERT_FALSE(chart_in_memory(w.c.h, HXTVEL_POSBAR_OFF).empty());
}
// A failed set or write leaves the instance as it was.
void unchanged(World &w) { EXPECT_EQ(measurement_state(w), w.before); }
// After a failed drawing the page records that are there can be read (the
// repeat then proves the chart draws again).
void records_readable(World &w) {
    velMChartStruct r[8];
    EXPECT_EQ(HXTVEL_GetMChartData(w.c.h, r, HXTVEL_UNIT_TENTH_MM), 0u);
}
// A refused conversion or division writes none of the caller's records.
void outputs_untouched(World &w) { EXPECT_EQ(w.outputs(), World().outputs()); }

Op set_op(const char *name, std::function<uint32_t(World &)> call) {
    return {name, kMem, filled, std::move(call), measurement_state, unchanged};
}
Op write_op(const char *name, std::function<uint32_t(World &)> call) {
    return {name, kMem, filled, std::move(call),
            [](World &w) { return contents(w.m.h) + without_created_line(read_file(w.out)); }, unchanged};
}

// A failed colour setting leaves no colours of that kind: the chart cannot
// be drawn until they are set again.
Op colour_op(const char *name, bool cmyk) {
    const uint32_t n = small_setting().patch_count;
    return {name, kChartMem,
            [cmyk, n](World &w) {  // the new colours go to raw: an armed call allocates nothing of its own
                ASSERT_EQ(prepare_chart(w.c.h, cmyk), 0u);
                if (cmyk) std::memcpy(w.raw, chart_cmyk(n, 5).data(), n * sizeof(velCMYK));
                else std::memcpy(w.raw, chart_rgb(n, 5).data(), n * sizeof(velRGB));
            },
            [cmyk, n](World &w) {
                return cmyk ? HXTVEL_SetMChartData_CMYK(w.c.h, reinterpret_cast<velCMYK *>(w.raw), n)
                            : HXTVEL_SetMChartData_RGB(w.c.h, reinterpret_cast<velRGB *>(w.raw), n);
            },
            chart_state,
            [](World &w) {
                unsigned long long size = 0;
                uint32_t pages = 0;
                ASSERT_EQ(HXTVEL_CreateTiff_M(w.c.h, nullptr, &size, &pages, HXTVEL_POSBAR_ON), 0u);
                std::vector<unsigned char> image(size);
                EXPECT_EQ(HXTVEL_CreateTiff_M(w.c.h, image.data(), &size, &pages, HXTVEL_POSBAR_ON),
                          HXTVEL_E_CHART_NOCOLOR);
            }};
}

const std::vector<Op> &operations() {
    static const std::vector<Op> ops = {
        {"CreateCGATSInstance", kMem, nothing,
         [](World &w) {
             w.made = HXTVEL_CreateCGATSInstance();
             return w.made ? 0u : 1u;
         },
         [](World &w) { return std::to_string(HXTVEL_SetLAB(w.made, w.data.lab.data(), 4)); }, nothing, true},
        // A failed read leaves no colour data, and the read may be repeated.
        {"ReadCGATS", kMem,
         [](World &w) {
             Instance full;
             ASSERT_EQ(w.data.store(full.h), 0u);
             ASSERT_EQ(HXTVEL_WriteCGATS(full.h, w.in.c_str()), 0u);
             ASSERT_EQ(w.more.store(w.m.h), 0u);
         },
         [](World &w) { return HXTVEL_ReadCGATS(w.m.h, w.in.c_str(), 31); }, measurement_state,
         [](World &w) { EXPECT_EQ(contents(w.m.h), ""); }},
        write_op("WriteCGATS", [](World &w) { return HXTVEL_WriteCGATS(w.m.h, w.out.c_str()); }),
        write_op("WriteText", [](World &w) { return HXTVEL_WriteText(w.m.h, w.out.c_str(), HXTVEL_FILE_TAB); }),
        set_op("SetRGB", [](World &w) { return HXTVEL_SetRGB(w.m.h, w.more.rgb.data(), 3); }),
        set_op("SetCMYK", [](World &w) { return HXTVEL_SetCMYK(w.m.h, w.more.cmyk.data(), 3); }),
        set_op("SetLAB", [](World &w) { return HXTVEL_SetLAB(w.m.h, w.more.lab.data(), 3); }),
        set_op("SetXYZ", [](World &w) { return HXTVEL_SetXYZ(w.m.h, w.more.xyz.data(), 3); }),
        set_op("SetSpectroRef", [](World &w) { return HXTVEL_SetSpectroRef(w.m.h, w.more.spectra.data(), 3); }),
        set_op("SetSensorInfo", [](World &w) { return HXTVEL_SetSensorInfo(w.m.h, w.more.sensor); }),

        {"CreateMChartInstance", kChartMem, nothing,
         [](World &w) {
             w.made_chart = true;
             w.made = HXTVEL_CreateMChartInstance();
             return w.made ? 0u : 1u;
         },
         [](World &w) { return std::to_string(HXTVEL_SetMChartSetting(w.made, small_setting())); }, nothing, true},
        colour_op("SetMChartData_RGB", false),
        colour_op("SetMChartData_CMYK", true),
        // Drawings replace the page records of an earlier one (without the bar).
        {"CreateTiff_M", kChartMem,
         [](World &w) {
             drawn(w);
             ASSERT_EQ(HXTVEL_CreateTiff_M(w.c.h, nullptr, &w.size, &w.pages, HXTVEL_POSBAR_ON), 0u);
             w.image.assign(w.size, 0);
         },
         [](World &w) { return HXTVEL_CreateTiff_M(w.c.h, w.image.data(), &w.size, &w.pages, HXTVEL_POSBAR_ON); },
         [](World &w) { return std::string(w.image.begin(), w.image.end()) + page_records(w.c.h, w.pages); },
         records_readable},
        {"CreateTiff", kChartMem, drawn,
         [](World &w) { return HXTVEL_CreateTiff(w.c.h, w.out.c_str(), &w.pages, HXTVEL_POSBAR_ON); },
         [](World &w) { return chart_files(w.out, w.pages) + page_records(w.c.h, w.pages); }, records_readable},
        {"positioning bar file", kChartMem, nothing,
         [](World &w) { return w.chart().createpositioningbar(w.bar.c_str(), 1, 300); },
         [](World &w) { return read_file(w.bar + ".tif"); }, nothing},

        {"SpectroRefToLAB", HXTVEL_E_CONV_MEMORY, nothing,
         [](World &w) {
             return HXTVEL_SpectroRefToLAB(2, w.data.spectra[2], 1, reinterpret_cast<velCIELab *>(w.raw));
         },
         [](World &w) { return w.outputs(); }, outputs_untouched},
        {"SpectroRefToXYZ", HXTVEL_E_CONV_MEMORY, nothing,
         [](World &w) {
             return HXTVEL_SpectroRefToXYZ(3, w.data.spectra[2], 0, reinterpret_cast<velCIEXYZ *>(w.raw));
         },
         [](World &w) { return w.outputs(); }, outputs_untouched},
        {"GetMChartIDList", HXTVEL_E_WEDGE_MEMORY, nothing,
         [](World &w) { return uint32_t(HXTVEL_GetMChartIDList(w.stream.data(), w.raw, &w.count)); },
         [](World &w) { return w.all_outputs(); }, outputs_untouched},
        // Sizes and sensor information are handed out before the work
        // memory is asked for; the records are not.
        {"GetSpectrorefByMChartID", HXTVEL_E_WEDGE_MEMORY, nothing,
         [](World &w) {
             uint32_t size = 99;
             const uint32_t rc = uint32_t(HXTVEL_GetSpectrorefByMChartID(w.stream.data(), 3, w.refs, &size,
                                                                         &w.length, &w.sensor));
             w.size = size;
             return rc;
         },
         [](World &w) { return w.all_outputs(); }, outputs_untouched},
    };
    return ops;
}

class EveryAllocation : public testing::TestWithParam<size_t> {};

TEST_P(EveryAllocation, RefusedInTurn) {
    const Op &op = operations()[GetParam()];
    ASSERT_EQ(trace_level(0), 0u);  // formatting a trace allocates: off

    // The undisturbed result, and a first run for whatever the library or
    // the runtime sets up once.
    std::string expected;
    {
        World w;
        op.setup(w);
        ASSERT_EQ(op.call(w), 0u);
        expected = op.observe(w);
    }
    int refusals = 0;
    for (long n = 1;; ++n) {
        ASSERT_LT(n, 100000) << "never finished";
        SCOPED_TRACE(testing::Message() << op.name << ", allocation " << n << " refused");
        const long live = oom::g_live;
        bool refused = false;
        {
            World w;
            op.setup(w);
            uint32_t rc = 0;
            bool threw = false;
            oom::arm(n);
            try {
                rc = op.call(w);
            } catch (const std::bad_alloc &) {
                threw = true;
            } catch (...) {
                oom::disarm();
                FAIL() << "an exception other than bad_alloc";
            }
            refused = oom::disarm();
            if (threw) {
                EXPECT_TRUE(op.may_throw) << "bad_alloc crossed the interface";
                EXPECT_TRUE(refused);
                ++refusals;
            } else {
                if (rc != 0) {
                    EXPECT_TRUE(refused);
                    ASSERT_EQ(rc, op.oom);
                    ++refusals;
                    op.failed(w);
                    EXPECT_EQ(op.call(w), 0u) << "the repeat";
                }
                EXPECT_EQ(op.observe(w), expected);
            }
        }
        // (A failed expectation keeps its message: count only while none has.)
        if (!HasFailure()) {
            EXPECT_EQ(oom::g_live, live) << "allocations not freed";
        }
        if (!refused) break;
    }
    EXPECT_GT(refusals, 0) << "no refusal reached the caller";
}

INSTANTIATE_TEST_SUITE_P(Operations, EveryAllocation, testing::Range(size_t(0), operations().size()),
                         [](const testing::TestParamInfo<size_t> &i) {
                             std::string name = operations()[i.param].name;
                             for (char &ch : name)
                                 if (!isalnum(static_cast<unsigned char>(ch))) ch = '_';
                             return name;
                         });

// The other exported operations allocate nothing: armed, each succeeds
// without meeting a refusal. With the table above they cover the interface.
template <typename T>
uint32_t get_all(World &w, uint32_t (*get)(void *, T *, uint32_t *)) {
    uint32_t n = 0;
    const uint32_t rc = get(w.m.h, nullptr, &n);
    return rc | (n * sizeof(T) > sizeof w.raw) | get(w.m.h, reinterpret_cast<T *>(w.raw), &n);
}

TEST(NoAllocation, TheOtherOperations) {
    const std::vector<std::pair<const char *, std::function<uint32_t(World &)>>> calls = {
        {"GetRGB", [](World &w) { return get_all(w, HXTVEL_GetRGB); }},
        {"GetCMYK", [](World &w) { return get_all(w, HXTVEL_GetCMYK); }},
        {"GetLAB", [](World &w) { return get_all(w, HXTVEL_GetLAB); }},
        {"GetXYZ", [](World &w) { return get_all(w, HXTVEL_GetXYZ); }},
        {"GetSpectroRef",
         [](World &w) {
             uint32_t count = 0;
             uint16_t values = 0;
             return HXTVEL_GetSpectroRef(w.m.h, nullptr, &count, &values) | (count > 6) |
                    HXTVEL_GetSpectroRef(w.m.h, w.refs, &count, &values);
         }},
        {"SetMChartSetting", [](World &w) { return HXTVEL_SetMChartSetting(w.c.h, small_setting()); }},
        {"GetMChartData",
         [](World &w) {
             return HXTVEL_GetMChartData(w.c.h, reinterpret_cast<velMChartStruct *>(w.raw), HXTVEL_UNIT_TENTH_MM);
         }},
        {"GetPageSize", [](World &w) { return HXTVEL_GetPageSize(w.c.h, 0, &w.size); }},
        {"GetPatchWCountByWidth", [](World &w) { return HXTVEL_GetPatchWCountByWidth(w.c.h, 2100, 60, 300, &w.count); }},
        {"CalcTiffWidthInfo",
         [](World &w) {
             return HXTVEL_CalcTiffWidthInfo(w.c.h, 2100, 60, 300, HXTVEL_UNIT_PIXEL,
                                             reinterpret_cast<velMChartStruct *>(w.raw));
         }},
        {"CalcTiffHeightInfo",
         [](World &w) {
             return HXTVEL_CalcTiffHeightInfo(w.c.h, 2970, 60, 120, 10, 300, HXTVEL_UNIT_PIXEL, HXTVEL_POSBAR_ON,
                                              &w.pages, reinterpret_cast<velMChartStruct *>(w.raw));
         }},
        {"CalcTiffInfo",
         [](World &w) {
             return HXTVEL_CalcTiffInfo(w.c.h, small_setting(), HXTVEL_UNIT_PIXEL, HXTVEL_POSBAR_ON, &w.pages,
                                        reinterpret_cast<velMChartStruct *>(w.raw));
         }},
        {"CreateTiff_M size", [](World &w) { return HXTVEL_CreateTiff_M(w.c.h, nullptr, &w.size, &w.pages, HXTVEL_POSBAR_ON); }},
        {"DeltaE",
         [](World &w) {
             uint32_t rc = 0;
             for (uint32_t method = 0; method < 5; ++method)
                 rc |= HXTVEL_DeltaE(method, w.data.lab[1], w.data.lab[2], reinterpret_cast<double *>(w.raw));
             return rc;
         }},
        {"DeleteCGATSInstance / DeleteMChartInstance",
         [](World &w) {
             HXTVEL_DeleteCGATSInstance(w.m.h);
             HXTVEL_DeleteMChartInstance(w.c.h);
             w.m.h = w.c.h = nullptr;
             return 0u;
         }},
    };
    ASSERT_EQ(trace_level(0), 0u);
    for (const auto &call : calls) {
        World w;
        filled(w);
        drawn(w);
        oom::arm(1);
        const uint32_t rc = call.second(w);
        EXPECT_FALSE(oom::disarm()) << call.first << " allocates";
        EXPECT_EQ(rc, 0u) << call.first;
    }
}

}  // namespace
