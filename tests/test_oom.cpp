// Out of memory in every exported operation. This program replaces the
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

// Caller-side outputs of the wedge functions, preset to values no call writes.
struct WedgeOut {
    uint32_t count = 3, size = 99, length = 99;
    unsigned char ids[8];
    double values[6 * kSpectralValues];
    velSPECTRO_REF refs[6];
    velSensorInfo sensor;
    WedgeOut() {
        std::memset(ids, 0xEE, sizeof ids);
        std::fill(std::begin(values), std::end(values), -7.5);
        for (int i = 0; i < 6; ++i) refs[i] = {1, 2, 3, values + i * kSpectralValues};
        std::memset(&sensor, 0x5A, sizeof sensor);
    }
    std::string all() const {
        return std::to_string(count) + "/" + std::to_string(size) + "/" + std::to_string(length) + records() +
               std::string(reinterpret_cast<const char *>(&sensor), sizeof sensor);
    }
    // What a refused call leaves alone: the IDs, the records and their
    // values (sizes and sensor information are handed out before the
    // work memory is asked for).
    std::string records() const {
        std::string s = std::string(reinterpret_cast<const char *>(ids), sizeof ids) +
                        std::string(reinterpret_cast<const char *>(values), sizeof values);
        for (const velSPECTRO_REF &r : refs) s += std::to_string(r.start + r.end + r.pitch);
        return s;
    }
};

struct World {
    TempDir dir;
    const std::string in = dir.file("in.cgats"), out = dir.file("out"), page = dir.file("page"),
                      bar = dir.file("bar");
    const Measurements data{4, 1};
    const Measurements more{3, 2};
    std::unique_ptr<Instance> m = std::make_unique<Instance>();
    std::unique_ptr<Chart> c = std::make_unique<Chart>();
    const std::vector<unsigned char> stream = three_chart_stream();
    std::vector<unsigned char> image;  // memory target of a drawing
    unsigned long long size = 0;
    uint32_t pages = 0;
    std::string before;    // the state before the call
    void *made = nullptr;  // an instance the call created
    bool made_chart = false;
    WedgeOut wedge;
    velSPECTRO_REF refs[8] = {};
    alignas(16) unsigned char raw[4096];  // other outputs
    size_t used = 0;

    World() { std::memset(raw, 0xEE, sizeof raw); }
    ~World() {
        if (made_chart) HXTVEL_DeleteMChartInstance(made);
        else HXTVEL_DeleteCGATSInstance(made);
    }
    template <typename T>
    T *as() {
        return reinterpret_cast<T *>(raw);
    }
    // The first n records of type T in raw are the call's output.
    template <typename T>
    void keep(size_t n) {
        used = n * sizeof(T);
    }
    std::string kept() const { return std::string(reinterpret_cast<const char *>(raw), used); }
    hxtvel::c_mchart &chart() const { return *static_cast<hxtvel::c_mchart *>(c->h); }
};

std::string kept(World &w) { return w.kept(); }
std::string kept_records(World &w) { return records_text(w.as<velMChartStruct>(), w.used / sizeof(velMChartStruct)); }

// Everything a caller can learn from a measurement instance: its records
// and the CGATS file it writes (sensor information included).
std::string measurement_state(World &w) {
    const std::string file = w.dir.file("state.cgats");
    const uint32_t rc = HXTVEL_WriteCGATS(w.m->h, file.c_str());
    return contents(w.m->h) + "write " + std::to_string(rc) + "\n" +
           (rc == 0 ? without_created_line(read_file(file)) : "");
}

// What the chart instance draws now, and its page records.
std::string chart_state(World &w) {
    std::vector<unsigned char> image = chart_in_memory(w.c->h);
    uint32_t pages = 0;
    unsigned long long size = 0;
    HXTVEL_CreateTiff_M(w.c->h, nullptr, &size, &pages, HXTVEL_POSBAR_ON);
    return std::string(image.begin(), image.end()) + page_records(w.c->h, pages);
}

// ---------------------------------------------------------------------------
// The operations
// ---------------------------------------------------------------------------

struct Op {
    const char *name;
    uint32_t oom;                                 // the family's out-of-memory code
    bool allocates;                               // some run must meet a refusal
    std::function<void(World &)> setup;           // before arming
    std::function<uint32_t(World &)> call;        // armed
    std::function<std::string(World &)> observe;  // after a successful call
    std::function<void(World &)> failed;          // checks after a refused call
    bool may_throw = false;                       // instance creation
    // Checks after a call that met a refusal and still gave 0; by default
    // it must have given what an undisturbed call gives.
    std::function<void(World &)> absorbed = nullptr;
};

constexpr uint32_t kMem = HXTVEL_E_MEMORY;
constexpr uint32_t kChartMem = HXTVEL_E_CHART_MEMORY;
constexpr uint32_t kConvMem = HXTVEL_E_CONV_MEMORY;
constexpr uint32_t kWedgeMem = HXTVEL_E_WEDGE_MEMORY;

void nothing(World &) {}
void filled(World &w) { ASSERT_EQ(w.data.store(w.m->h), 0u); }
void drawn(World &w) {
    ASSERT_EQ(prepare_chart(w.c->h), 0u);
    ASSERT_FALSE(chart_in_memory(w.c->h, HXTVEL_POSBAR_OFF).empty());
}

// A failed set leaves the stored data as it was.
Op set_op(const char *name, std::function<uint32_t(World &)> call) {
    return {name, kMem, true,
            [](World &w) {
                filled(w);
                w.before = measurement_state(w);
            },
            call, measurement_state, [](World &w) { EXPECT_EQ(measurement_state(w), w.before); }};
}

// Gets allocate nothing; one run suffices.
template <typename T>
Op get_op(const char *name, uint32_t (*get)(void *, T *, uint32_t *)) {
    return {name, kMem, false, filled,
            [get](World &w) {
                uint32_t n = 0;
                const uint32_t rc = get(w.m->h, nullptr, &n);
                if (rc || n * sizeof(T) > sizeof w.raw) return rc | 1;
                w.keep<T>(n);
                return get(w.m->h, w.as<T>(), &n);
            },
            kept, nothing};
}

// A failed write changes neither the instance nor anything else.
Op write_op(const char *name, std::function<uint32_t(World &)> call) {
    return {name, kMem, true,
            [](World &w) {
                filled(w);
                w.before = contents(w.m->h);
            },
            call, [](World &w) { return contents(w.m->h) + without_created_line(read_file(w.out)); },
            [](World &w) { EXPECT_EQ(contents(w.m->h), w.before); }};
}

// A geometry query that uses only its arguments.
Op chart_query(const char *name, std::function<uint32_t(World &)> call) {
    return {name, kChartMem, false, nothing, call, kept_records, nothing};
}

// A failed colour setting leaves no colours of that kind: the chart cannot
// be drawn until they are set again.
Op colour_op(const char *name, bool cmyk) {
    return {name, kChartMem, true,
            [cmyk](World &w) {
                ASSERT_EQ(prepare_chart(w.c->h, cmyk), 0u);
                ASSERT_FALSE(chart_in_memory(w.c->h).empty());
                const uint32_t n = small_setting().patch_count;
                if (cmyk) {
                    const std::vector<velCMYK> v = chart_cmyk(n, 5);
                    std::memcpy(w.raw, v.data(), n * sizeof v[0]);
                } else {
                    const std::vector<velRGB> v = chart_rgb(n, 5);
                    std::memcpy(w.raw, v.data(), n * sizeof v[0]);
                }
            },
            [cmyk](World &w) {
                const uint32_t n = small_setting().patch_count;
                return cmyk ? HXTVEL_SetMChartData_CMYK(w.c->h, w.as<velCMYK>(), n)
                            : HXTVEL_SetMChartData_RGB(w.c->h, w.as<velRGB>(), n);
            },
            chart_state,
            [](World &w) {
                unsigned long long size = 0;
                uint32_t pages = 0;
                ASSERT_EQ(HXTVEL_CreateTiff_M(w.c->h, nullptr, &size, &pages, HXTVEL_POSBAR_ON), 0u);
                std::vector<unsigned char> image(size);
                EXPECT_EQ(HXTVEL_CreateTiff_M(w.c->h, image.data(), &size, &pages, HXTVEL_POSBAR_ON),
                          HXTVEL_E_CHART_NOCOLOR);
            }};
}

// After a failed drawing the page records that are there can be read (the
// repeat then proves the chart draws again).
void records_readable(World &w) {
    velMChartStruct r[8];
    EXPECT_EQ(HXTVEL_GetMChartData(w.c->h, r, HXTVEL_UNIT_TENTH_MM), 0u);
}

// A refused conversion leaves the result record alone.
Op conversion_op(const char *name, bool lab) {
    return {name, kConvMem, true, nothing,
            [lab](World &w) {
                w.keep<velCIELab>(1);
                const velSPECTRO_REF s = w.data.spectra[2];
                return lab ? HXTVEL_SpectroRefToLAB(2, s, 1, w.as<velCIELab>())
                           : HXTVEL_SpectroRefToXYZ(3, s, 0, w.as<velCIEXYZ>());
            },
            kept, [](World &w) { EXPECT_EQ(w.kept(), std::string(sizeof(velCIELab), '\xEE')); }};
}

// A refused division writes none of the caller's outputs.
Op wedge_op(const char *name, bool ids) {
    return {name, kWedgeMem, true, nothing,
            [ids](World &w) {
                WedgeOut &o = w.wedge;
                return uint32_t(ids ? HXTVEL_GetMChartIDList(w.stream.data(), o.ids, &o.count)
                                    : HXTVEL_GetSpectrorefByMChartID(w.stream.data(), 3, o.refs, &o.size,
                                                                     &o.length, &o.sensor));
            },
            [](World &w) { return w.wedge.all(); },
            [](World &w) {
                EXPECT_EQ(w.wedge.records(), WedgeOut().records());
            }};
}

const std::vector<Op> &operations() {
    static const std::vector<Op> ops = {
        // --- measurement instance ------------------------------------------
        {"CreateCGATSInstance", kMem, true, nothing,
         [](World &w) {
             w.made = HXTVEL_CreateCGATSInstance();
             return w.made ? 0u : 1u;
         },
         [](World &w) { return std::to_string(HXTVEL_SetLAB(w.made, w.data.lab.data(), 4)); }, nothing, true},
        {"DeleteCGATSInstance", kMem, false, filled,
         [](World &w) {
             HXTVEL_DeleteCGATSInstance(w.m->h);
             w.m->h = nullptr;
             return 0u;
         },
         kept, nothing},
        // A read into an instance holding data: a failed read leaves no
        // colour data, and the read may be repeated.
        {"ReadCGATS", kMem, true,
         [](World &w) {
             Instance full;
             ASSERT_EQ(w.data.store(full.h), 0u);
             ASSERT_EQ(HXTVEL_WriteCGATS(full.h, w.in.c_str()), 0u);
             ASSERT_EQ(w.more.store(w.m->h), 0u);
         },
         [](World &w) { return HXTVEL_ReadCGATS(w.m->h, w.in.c_str(), 31); }, measurement_state,
         [](World &w) { EXPECT_EQ(contents(w.m->h), ""); }},
        write_op("WriteCGATS", [](World &w) { return HXTVEL_WriteCGATS(w.m->h, w.out.c_str()); }),
        write_op("WriteText comma", [](World &w) { return HXTVEL_WriteText(w.m->h, w.out.c_str(), HXTVEL_FILE_COMMA); }),
        write_op("WriteText tab", [](World &w) { return HXTVEL_WriteText(w.m->h, w.out.c_str(), HXTVEL_FILE_TAB); }),
        set_op("SetRGB", [](World &w) { return HXTVEL_SetRGB(w.m->h, w.more.rgb.data(), 3); }),
        set_op("SetCMYK", [](World &w) { return HXTVEL_SetCMYK(w.m->h, w.more.cmyk.data(), 3); }),
        set_op("SetLAB", [](World &w) { return HXTVEL_SetLAB(w.m->h, w.more.lab.data(), 3); }),
        set_op("SetXYZ", [](World &w) { return HXTVEL_SetXYZ(w.m->h, w.more.xyz.data(), 3); }),
        set_op("SetSpectroRef", [](World &w) { return HXTVEL_SetSpectroRef(w.m->h, w.more.spectra.data(), 3); }),
        set_op("SetSensorInfo", [](World &w) { return HXTVEL_SetSensorInfo(w.m->h, w.more.sensor); }),
        get_op("GetRGB", HXTVEL_GetRGB),
        get_op("GetCMYK", HXTVEL_GetCMYK),
        get_op("GetLAB", HXTVEL_GetLAB),
        get_op("GetXYZ", HXTVEL_GetXYZ),
        {"GetSpectroRef", kMem, false, filled,
         [](World &w) {
             uint32_t count = 0;
             uint16_t values = 0;
             const uint32_t rc = HXTVEL_GetSpectroRef(w.m->h, nullptr, &count, &values);
             if (rc || count > 8 || size_t(count) * values * sizeof(double) > sizeof w.raw) return rc | 1;
             for (uint32_t i = 0; i < count; ++i) w.refs[i].data = w.as<double>() + size_t(i) * values;
             w.keep<double>(size_t(count) * values);
             return HXTVEL_GetSpectroRef(w.m->h, w.refs, &count, &values);
         },
         kept, nothing},

        // --- chart instance -------------------------------------------------
        {"CreateMChartInstance", kChartMem, true, nothing,
         [](World &w) {
             w.made_chart = true;
             w.made = HXTVEL_CreateMChartInstance();
             return w.made ? 0u : 1u;
         },
         [](World &w) { return std::to_string(HXTVEL_SetMChartSetting(w.made, small_setting())); }, nothing, true},
        {"DeleteMChartInstance", kChartMem, false, drawn,
         [](World &w) {
             HXTVEL_DeleteMChartInstance(w.c->h);
             w.c->h = nullptr;
             return 0u;
         },
         kept, nothing},
        {"SetMChartSetting", kChartMem, false, nothing,
         [](World &w) { return HXTVEL_SetMChartSetting(w.c->h, small_setting()); },
         [](World &w) {
             const uint32_t n = small_setting().patch_count;
             return std::to_string(HXTVEL_SetMChartData_RGB(w.c->h, chart_rgb(n).data(), n));
         },
         nothing},
        colour_op("SetMChartData_RGB", false),
        colour_op("SetMChartData_CMYK", true),
        {"GetMChartData", kChartMem, false, drawn,
         [](World &w) {
             w.keep<velMChartStruct>(1);
             return HXTVEL_GetMChartData(w.c->h, w.as<velMChartStruct>(), HXTVEL_UNIT_TENTH_MM);
         },
         kept_records, nothing},
        {"GetPageSize", kChartMem, false, drawn,
         [](World &w) {
             w.keep<unsigned long long>(1);
             return HXTVEL_GetPageSize(w.c->h, 0, w.as<unsigned long long>());
         },
         kept, nothing},
        {"GetPatchWCountByWidth", kChartMem, false, nothing,
         [](World &w) {
             w.keep<uint32_t>(1);
             return HXTVEL_GetPatchWCountByWidth(w.c->h, 2100, 60, 300, w.as<uint32_t>());
         },
         kept, nothing},
        chart_query("CalcTiffWidthInfo",
                    [](World &w) {
                        w.keep<velMChartStruct>(1);
                        return HXTVEL_CalcTiffWidthInfo(w.c->h, 2100, 60, 300, HXTVEL_UNIT_PIXEL,
                                                        w.as<velMChartStruct>());
                    }),
        chart_query("CalcTiffHeightInfo",
                    [](World &w) {
                        w.keep<velMChartStruct>(8);
                        return HXTVEL_CalcTiffHeightInfo(w.c->h, 2970, 60, 120, 10, 300, HXTVEL_UNIT_PIXEL,
                                                         HXTVEL_POSBAR_ON, &w.pages, w.as<velMChartStruct>());
                    }),
        chart_query("CalcTiffInfo",
                    [](World &w) {
                        w.keep<velMChartStruct>(8);
                        return HXTVEL_CalcTiffInfo(w.c->h, small_setting(), HXTVEL_UNIT_PIXEL, HXTVEL_POSBAR_ON,
                                                   &w.pages, w.as<velMChartStruct>());
                    }),
        {"CreateTiff_M size", kChartMem, false, [](World &w) { ASSERT_EQ(prepare_chart(w.c->h), 0u); },
         [](World &w) { return HXTVEL_CreateTiff_M(w.c->h, nullptr, &w.size, &w.pages, HXTVEL_POSBAR_ON); },
         [](World &w) { return std::to_string(w.size) + "/" + std::to_string(w.pages); }, nothing},
        // Drawings replace the page records of an earlier one (without the bar).
        {"CreateTiff_M", kChartMem, true,
         [](World &w) {
             drawn(w);
             ASSERT_EQ(HXTVEL_CreateTiff_M(w.c->h, nullptr, &w.size, &w.pages, HXTVEL_POSBAR_ON), 0u);
             w.image.assign(w.size, 0);
         },
         [](World &w) { return HXTVEL_CreateTiff_M(w.c->h, w.image.data(), &w.size, &w.pages, HXTVEL_POSBAR_ON); },
         [](World &w) { return std::string(w.image.begin(), w.image.end()) + page_records(w.c->h, w.pages); },
         records_readable},
        {"CreateTiff", kChartMem, true, drawn,
         [](World &w) { return HXTVEL_CreateTiff(w.c->h, w.page.c_str(), &w.pages, HXTVEL_POSBAR_ON); },
         [](World &w) { return chart_files(w.page, w.pages) + page_records(w.c->h, w.pages); }, records_readable},
        // The positioning bar alone, in memory and as a file.
        {"positioning bar in memory", kChartMem, false,
         [](World &w) {
             ASSERT_EQ(w.chart().createpositioningbar(nullptr, &w.size, 2, 300), 0u);
             w.image.assign(w.size, 0);
         },
         [](World &w) { return w.chart().createpositioningbar(w.image.data(), &w.size, 2, 300); },
         [](World &w) { return std::string(w.image.begin(), w.image.end()); }, nothing},
        {"positioning bar file", kChartMem, true, nothing,
         [](World &w) { return w.chart().createpositioningbar(w.bar.c_str(), 1, 300); },
         [](World &w) { return read_file(w.bar + ".tif"); }, nothing},

        // --- conversion, colour difference, wedge division ------------------
        conversion_op("SpectroRefToLAB", true),
        conversion_op("SpectroRefToXYZ", false),
        {"DeltaE", kConvMem, false, nothing,
         [](World &w) {
             uint32_t rc = 0;
             w.keep<double>(5);
             for (uint32_t method = 0; method < 5; ++method)
                 rc |= HXTVEL_DeltaE(method, w.data.lab[1], w.data.lab[2], w.as<double>() + method);
             return rc;
         },
         kept, nothing},
        wedge_op("GetMChartIDList", true),
        wedge_op("GetSpectrorefByMChartID", false),
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
            } else if (rc == 0 && refused && op.absorbed) {
                op.absorbed(w);
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
    if (op.allocates) {
        EXPECT_GT(refusals, 0) << "no refusal reached the caller";
    }
}

INSTANTIATE_TEST_SUITE_P(Operations, EveryAllocation, testing::Range(size_t(0), operations().size()),
                         [](const testing::TestParamInfo<size_t> &i) {
                             std::string name = operations()[i.param].name;
                             for (char &ch : name)
                                 if (!isalnum(static_cast<unsigned char>(ch))) ch = '_';
                             return name;
                         });

// Every exported function is driven above; the table names them all.
TEST(EveryAllocation, CoversTheInterface) {
    std::string names;
    for (const Op &op : operations()) names += std::string(" ") + op.name;
    int functions = 0;
    for (const char *f :
         {"CreateCGATSInstance", "DeleteCGATSInstance", "ReadCGATS", "WriteCGATS", "WriteText", "SetLAB",
          "GetLAB", "SetXYZ", "GetXYZ", "SetRGB", "GetRGB", "SetCMYK", "GetCMYK", "SetSpectroRef",
          "GetSpectroRef", "SetSensorInfo", "CreateMChartInstance", "DeleteMChartInstance",
          "SetMChartData_RGB", "SetMChartData_CMYK", "SetMChartSetting", "GetMChartData",
          "GetPatchWCountByWidth", "GetPageSize", "CalcTiffInfo", "CalcTiffWidthInfo",
          "CalcTiffHeightInfo", "CreateTiff", "CreateTiff_M", "SpectroRefToLAB", "SpectroRefToXYZ", "DeltaE",
          "GetMChartIDList", "GetSpectrorefByMChartID"}) {
        EXPECT_NE(names.find(std::string(" ") + f), std::string::npos) << f;
        ++functions;
    }
    EXPECT_EQ(functions, 34);
}

}  // namespace
