// hxtvel_module.cpp - the extension module hxtvel._core: the library's
// measurement instance, conversion, colour difference, chart and stream
// functions on numpy arrays. The pure-Python package (hxtvel/__init__.py)
// gives them their names, docstrings and types.
//
// Array loops run without the GIL. The colour difference and the spectral
// conversion call the library's own formulas (the per-pair functions behind
// HXTVEL_DeltaE, the tables and the L*a*b* step behind HXTVEL_SpectroRefToLAB)
// in the same order of operations, so every value is bit-identical to the C
// function's for that pair or row; the argument checks are those of the C
// functions, in their order.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <thread>

#include "hxtvel.h"
#include "hxtvel_libcolorconv.h"
#include "measurement_import.h"
#include "cgatsutility.h"
#include "spectrotransform.h"

namespace py = pybind11;

namespace {

// ---------------------------------------------------------------------------
// Errors: hxtvel.Error(message, code), FileNotFoundError for missing files.
// ---------------------------------------------------------------------------

struct hx_error : std::runtime_error {
    hx_error(long c, const std::string &m) : std::runtime_error(m), code(c) {}
    long code;
};
struct missing_file : std::runtime_error {
    using std::runtime_error::runtime_error;
};

py::object &error_type() {
    static py::object *type = new py::object();  // lives as long as the interpreter
    return *type;
}

[[noreturn]] void fail(long code, const std::string &message) { throw hx_error(code, message); }

using array = py::array_t<double, py::array::c_style | py::array::forcecast>;

// Runs body(first, last) over [0, n) on up to two threads (the GIL released).
template <typename F>
void split(size_t n, F body) {
    py::gil_scoped_release release;
    if (n < 4096) {
        body(size_t{0}, n);
        return;
    }
    const size_t half = n / 2;
    std::thread other([&] { body(half, n); });
    body(0, half);
    other.join();
}

std::string num(double v) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", v);
    return text;
}

// ---------------------------------------------------------------------------
// Colour difference
// ---------------------------------------------------------------------------

bool lab_in_range(const double *v) {
    return v[0] >= 0.0 && v[0] <= 100.0 && v[1] >= -128.0 && v[1] <= 128.0 && v[2] >= -128.0 && v[2] <= 128.0;
}

py::array_t<double> delta_e(array lab1, array lab2, uint32_t method) {
    if (lab1.ndim() != 2 || lab1.shape(1) != 3 || lab2.ndim() != 2 || lab2.shape(1) != 3 ||
        lab1.shape(0) != lab2.shape(0)) {
        fail(HXTVEL_E_CONV_ARG, "delta_e: expected two arrays of L*a*b* triples of one shape");
    }
    const size_t n = size_t(lab1.shape(0));
    const double *a = lab1.data(), *b = lab2.data();
    // HXTVEL_DeltaE's order: the range of both colours, then the method.
    for (size_t i = 0; i < n; ++i) {
        for (const auto &[v, name] : {std::pair{a + 3 * i, "lab1"}, std::pair{b + 3 * i, "lab2"}}) {
            if (!lab_in_range(v)) {
                fail(HXTVEL_E_CONV_RANGE, std::string(name) + "[" + std::to_string(i) + "] = (" + num(v[0]) + ", " +
                                              num(v[1]) + ", " + num(v[2]) +
                                              ") is outside L* 0 to 100, a* and b* -128 to 128");
            }
        }
    }
    if (method > HXTVEL_DE_CMC11) fail(HXTVEL_E_CONV_ARG, "unknown colour-difference method");
    py::array_t<double> out(static_cast<py::ssize_t>(n));
    double *o = out.mutable_data();
    split(n, [&](size_t first, size_t last) {
        for (size_t i = first; i < last; ++i) {
            const double *r = a + 3 * i, *s = b + 3 * i;
            switch (method) {
            case HXTVEL_DE_76: o[i] = hxtvel::cal_delta_e76(r[0], r[1], r[2], s[0], s[1], s[2]); break;
            case HXTVEL_DE_94: o[i] = hxtvel::cal_delta_e94(r[0], r[1], r[2], s[0], s[1], s[2]); break;
            case HXTVEL_DE_2000: o[i] = hxtvel::cal_delta_e00(r[0], r[1], r[2], s[0], s[1], s[2]); break;
            case HXTVEL_DE_CMC21: o[i] = hxtvel::cal_delta_ecmc(r[0], r[1], r[2], s[0], s[1], s[2], 2.0, 1.0); break;
            default: o[i] = hxtvel::cal_delta_ecmc(r[0], r[1], r[2], s[0], s[1], s[2], 1.0, 1.0); break;
            }
        }
    });
    return out;
}

// ---------------------------------------------------------------------------
// Spectra to XYZ and L*a*b*
// ---------------------------------------------------------------------------

py::array_t<double> spectra_convert(array spectra, uint16_t start, uint16_t end, uint16_t step, int32_t light,
                                    uint32_t observer, bool lab) {
    const velSPECTRO_REF ref{start, end, step, nullptr};
    // HXTVEL_SpectroRefTo*'s checks, in their order.
    if (observer > 1 || static_cast<uint32_t>(light) - 1u > 2u) {
        fail(HXTVEL_E_CONV_ARG, "illuminant must be D50, D65 or A and the observer 2 or 10");
    }
    if (start % 10 != 0 && end % 10 != 0 && step % 10 != 0) {
        fail(HXTVEL_E_CONV_RANGE, "wavelengths " + std::to_string(start) + "-" + std::to_string(end) + " by " +
                                      std::to_string(step) + " nm are off the 10 nm grid");
    }
    if (static_cast<uint16_t>(start - 380) > 400 || static_cast<uint16_t>(end - 380) > 400 ||
        !hxtvel::samples_in_table(ref)) {
        fail(HXTVEL_E_CONV_RANGE, "wavelengths " + std::to_string(start) + "-" + std::to_string(end) + " by " +
                                      std::to_string(step) + " nm leave 380-780 nm");
    }
    const uint16_t k = hxtvel::spectrcount_per_line(ref);
    if (spectra.ndim() != 2 || spectra.shape(1) != k) {
        fail(HXTVEL_E_ARG, "spectra: expected " + std::to_string(k) + " values per spectrum for " +
                               std::to_string(start) + "-" + std::to_string(end) + " by " + std::to_string(step) +
                               " nm, got " + std::to_string(spectra.ndim() == 2 ? spectra.shape(1) : 0));
    }
    // The samples of the illuminant and the observer, and the white, as the
    // library's conversion forms them.
    std::vector<double> S(k), x(k), y(k), z(k);
    hxtvel::set_lightdata(light, ref, hxtvel::g_dlight_data, S.data());
    hxtvel::set_cmfdata(observer == 0 ? hxtvel::g_dcmf_2degree_data : hxtvel::g_dcmf_10degree_data, ref, x.data(),
                        y.data(), z.data());
    double xw = 0.0, yw = 0.0, zw = 0.0;
    for (uint16_t i = 0; i < k; ++i) {
        xw += S[i] * x[i];
        yw += S[i] * y[i];
        zw += S[i] * z[i];
    }
    const double scale = 100.0 / yw;
    const double white[3] = {100.0 * xw / yw, 100.0, 100.0 * zw / yw};
    const size_t n = size_t(spectra.shape(0));
    py::array_t<double> out({static_cast<py::ssize_t>(n), py::ssize_t{3}});
    const double *values = spectra.data();
    double *o = out.mutable_data();
    split(n, [&](size_t first, size_t last) {
        for (size_t j = first; j < last; ++j) {
            const double *r = values + j * k;
            double X = 0.0, Y = 0.0, Z = 0.0;
            for (uint16_t i = 0; i < k; ++i) {
                const double sr = S[i] * r[i];
                X += sr * x[i];
                Y += sr * y[i];
                Z += sr * z[i];
            }
            const double xyz[3] = {scale * X, scale * Y, scale * Z};
            if (lab) {
                hxtvel::convert_xyz_to_lab(white, xyz, o + 3 * j);
            } else {
                std::memcpy(o + 3 * j, xyz, sizeof xyz);
            }
        }
    });
    return out;
}

// ---------------------------------------------------------------------------
// Measurements
// ---------------------------------------------------------------------------

// A kind's records straight into a new array (n, width), or None.
template <typename T>
py::object records_array(void *h, uint32_t (*get)(void *, T *, uint32_t *), size_t width) {
    uint32_t n = 0;
    get(h, nullptr, &n);
    if (n == 0) return py::none();
    py::array_t<double> a({static_cast<py::ssize_t>(n), static_cast<py::ssize_t>(width)});
    get(h, reinterpret_cast<T *>(a.mutable_data()), &n);
    return std::move(a);
}

py::tuple sensor_tuple(const velSensorInfo &s) {
    return py::make_tuple(std::string(s.instrument, strnlen(s.instrument, sizeof s.instrument)), s.backing,
                          s.temperature, s.humidity, s.illumination, s.observer, s.filter);
}

// The arrays of an instance, as a dict for the Python layer; the values are
// copied once, from the instance into the arrays.
py::dict arrays_of(const hximport::measurement &m) {
    void *h = m.get();
    py::dict d;
    d["rgb"] = records_array(h, HXTVEL_GetRGB, 3);
    d["cmyk"] = records_array(h, HXTVEL_GetCMYK, 4);
    d["lab"] = records_array(h, HXTVEL_GetLAB, 3);
    d["xyz"] = records_array(h, HXTVEL_GetXYZ, 3);
    d["spectra"] = py::none();
    d["wavelengths"] = py::none();
    uint32_t n = 0;
    uint16_t k = 0;
    HXTVEL_GetSpectroRef(h, nullptr, &n, &k);
    if (n && k) {
        py::array_t<double> a({static_cast<py::ssize_t>(n), static_cast<py::ssize_t>(k)});
        std::vector<velSPECTRO_REF> refs(n);
        for (uint32_t i = 0; i < n; ++i) refs[i].data = a.mutable_data() + size_t(i) * k;
        HXTVEL_GetSpectroRef(h, refs.data(), &n, &k);
        py::array_t<double> w(static_cast<py::ssize_t>(k));
        for (uint16_t i = 0; i < k; ++i) w.mutable_data()[i] = double(refs[0].start) + double(i) * refs[0].pitch;
        d["spectra"] = std::move(a);
        d["wavelengths"] = std::move(w);
    }
    return d;
}

py::dict read_cgats(const std::string &path, uint8_t kinds, unsigned table) {
    hximport::import_options o;
    o.kinds = kinds;
    o.table = table;
    o.require = false;
    std::optional<hximport::import_result> r;
    {
        py::gil_scoped_release release;
        try {
            r.emplace(hximport::import_measurement(path, o));
        } catch (const hximport::import_error &e) {
            if (e.kind() == hximport::failure::missing_file) throw missing_file(e.what());
            throw hx_error(HXTVEL_E_FORMAT, e.what());
        }
    }
    py::dict d = arrays_of(r->data);
    d["ids"] = r->ids.empty() ? py::object(py::none()) : py::object(py::cast(r->ids));
    d["notes"] = py::cast(r->notes);
    d["table"] = r->table;
    d["tables"] = r->tables;
    const std::optional<velSensorInfo> sensor = hximport::stated_conditions(*r);
    d["sensor"] = sensor ? py::object(sensor_tuple(*sensor)) : py::object(py::none());
    return d;
}

// Names the first value of an array outside [lo, hi] (or not finite).
void check_values(const char *kind, const array &a, size_t width, const double *lo, const double *hi,
                  const char *const *names) {
    if (a.ndim() != 2 || size_t(a.shape(1)) != width) {
        fail(HXTVEL_E_ARG, std::string(kind) + ": expected an array of shape (n, " + std::to_string(width) + ")");
    }
    const double *v = a.data();
    for (size_t i = 0; i < size_t(a.shape(0)); ++i) {
        for (size_t c = 0; c < width; ++c) {
            const double x = v[i * width + c];
            if (!std::isfinite(x)) {
                fail(HXTVEL_E_RANGE, std::string(kind) + "[" + std::to_string(i) + ", " + std::to_string(c) + "] (" +
                                         names[c] + ") is " + num(x) + ", not a finite number");
            }
            if (x < lo[c] || x > hi[c]) {
                fail(HXTVEL_E_RANGE, std::string(kind) + "[" + std::to_string(i) + ", " + std::to_string(c) + "] (" +
                                         names[c] + ") = " + num(x) + " is outside " + num(lo[c]) + " to " +
                                         (std::isinf(hi[c]) ? std::string("infinity") : num(hi[c])));
            }
        }
    }
}

// Fills an instance from the arrays (any may be None), with the library's
// checks named by row and column.
void fill(hximport::measurement &m, const py::object &rgb, const py::object &cmyk, const py::object &lab,
          const py::object &xyz, const py::object &spectra, const py::object &wavelengths, const py::object &sensor) {
    const double inf = INFINITY;
    static const char *const rgb_n[] = {"R", "G", "B"}, *const cmyk_n[] = {"C", "M", "Y", "K"},
                             *const lab_n[] = {"L*", "a*", "b*"}, *const xyz_n[] = {"X", "Y", "Z"};
    auto put = [&](const py::object &o, const char *kind, size_t width, std::vector<double> lo, std::vector<double> hi,
                   const char *const *names, auto setter, auto record) {
        if (o.is_none()) return;
        const array a = array::ensure(o);
        if (!a) fail(HXTVEL_E_ARG, std::string(kind) + ": expected an array of numbers");
        check_values(kind, a, width, lo.data(), hi.data(), names);
        if (a.shape(0) == 0) return;
        using T = decltype(record);
        const uint32_t code = setter(m.get(), reinterpret_cast<const T *>(a.data()), uint32_t(a.shape(0)));
        if (code) fail(code, std::string(kind) + ": " + hxtvel_code_text(code));
    };
    put(rgb, "rgb", 3, {0, 0, 0}, {255, 255, 255}, rgb_n, HXTVEL_SetRGB, velRGB{});
    put(cmyk, "cmyk", 4, {0, 0, 0, 0}, {100, 100, 100, 100}, cmyk_n, HXTVEL_SetCMYK, velCMYK{});
    put(lab, "lab", 3, {0, -128, -128}, {100, 128, 128}, lab_n, HXTVEL_SetLAB, velCIELab{});
    put(xyz, "xyz", 3, {0, 0, 0}, {inf, inf, inf}, xyz_n, HXTVEL_SetXYZ, velCIEXYZ{});
    if (!spectra.is_none()) {
        const array s = array::ensure(spectra), w = array::ensure(wavelengths);
        if (!s || !w || s.ndim() != 2 || w.ndim() != 1 || s.shape(1) != w.shape(0) || w.shape(0) < 2) {
            fail(HXTVEL_E_ARG, "spectra (n, k) need wavelengths (k,), k of 2 or more");
        }
        const size_t k = size_t(w.shape(0));
        const double *wl = w.data();
        const double step = wl[1] - wl[0];
        for (size_t i = 0; i < k; ++i) {
            const double expect = wl[0] + double(i) * step;
            if (!(step >= 1) || wl[i] != std::floor(wl[i]) || wl[i] != expect || wl[i] > 65535 || wl[0] < 0) {
                fail(HXTVEL_E_ARG, "wavelengths must be whole nanometres in even steps (" + num(wl[0]) + ", " +
                                       num(wl[1]) + ", ... given)");
            }
        }
        const double *v = s.data();
        for (size_t i = 0; i < size_t(s.shape(0)) * k; ++i) {
            if (!std::isfinite(v[i])) {
                fail(HXTVEL_E_RANGE, "spectra[" + std::to_string(i / k) + ", " + std::to_string(i % k) + "] is " +
                                         num(v[i]) + ", not a finite number");
            }
        }
        std::vector<velSPECTRO_REF> refs(size_t(s.shape(0)));
        for (size_t i = 0; i < refs.size(); ++i) {
            refs[i] = {uint16_t(wl[0]), uint16_t(wl[k - 1]), uint16_t(step), const_cast<double *>(v + i * k)};
        }
        if (!refs.empty()) {
            const uint32_t code = HXTVEL_SetSpectroRef(m.get(), refs.data(), uint32_t(refs.size()));
            if (code) fail(code, std::string("spectra: ") + hxtvel_code_text(code));
        }
    }
    if (!sensor.is_none()) {
        const py::tuple t = sensor.cast<py::tuple>();
        velSensorInfo info{};
        const std::string name = t[0].cast<std::string>();
        if (name.size() > 31) fail(HXTVEL_E_RANGE, "sensor.instrument: at most 31 bytes");
        for (unsigned char c : name) {
            if (c == '"' || c < 0x20 || c == 0x7F) {
                fail(HXTVEL_E_RANGE, "sensor.instrument: no double quote or control character (a CGATS header line "
                                     "carries the name)");
            }
        }
        std::memcpy(info.instrument, name.data(), name.size());
        uint8_t *fields[] = {&info.backing, &info.temperature, &info.humidity, &info.illumination, &info.observer,
                             &info.filter};
        for (size_t i = 0; i < 6; ++i) *fields[i] = t[i + 1].cast<uint8_t>();
        const uint32_t code = HXTVEL_SetSensorInfo(m.get(), info);
        if (code) {
            fail(code, "sensor: a code out of its range, or an instrument name with a CGATS keyword");
        }
    }
}

void check_arrays(py::object rgb, py::object cmyk, py::object lab, py::object xyz, py::object spectra,
                  py::object wavelengths, py::object sensor) {
    hximport::measurement m;
    fill(m, rgb, cmyk, lab, xyz, spectra, wavelengths, sensor);
}

void write_file(const std::string &path, int type, py::object rgb, py::object cmyk, py::object lab, py::object xyz,
                py::object spectra, py::object wavelengths, py::object sensor) {
    hximport::measurement m;
    fill(m, rgb, cmyk, lab, xyz, spectra, wavelengths, sensor);
    uint32_t code;
    {
        py::gil_scoped_release release;
        code = type < 0 ? HXTVEL_WriteCGATS(m.get(), path.c_str())
                        : HXTVEL_WriteText(m.get(), path.c_str(), static_cast<HXTVEL_FileType>(type));
    }
    if (code == HXTVEL_E_OPEN) fail(code, path + ": cannot be created (" + std::strerror(errno) + ")");
    if (code == HXTVEL_E_NODATA) fail(code, path + ": nothing to write (no sets, or kinds with different counts)");
    if (code) fail(code, path + ": " + hxtvel_code_text(code));
}

// ---------------------------------------------------------------------------
// Charts
// ---------------------------------------------------------------------------

struct chart_handle {
    void *h = HXTVEL_CreateMChartInstance();
    ~chart_handle() { HXTVEL_DeleteMChartInstance(h); }
};

void chart_check(uint32_t code, const std::string &what) {
    if (code) fail(code, what + ": " + hxtvel_code_text(code));
}

// The Python layer's setting tuple (page width, height, dpi, patch width,
// height in 0.1 mm, the two layout bytes, white bar) for `patches` patches.
velPAreaStruct setting_of(const py::tuple &t, uint32_t patches) {
    velPAreaStruct s{};
    s.patch_count = patches;
    s.page_width = t[0].cast<uint32_t>();
    s.page_height = t[1].cast<uint32_t>();
    s.resolution = t[2].cast<uint32_t>();
    s.patch_width = t[3].cast<uint32_t>();
    s.patch_height = t[4].cast<uint32_t>();
    s.layout_first = t[5].cast<uint8_t>();
    s.layout_second = t[6].cast<uint8_t>();
    s.whitebar_width = t[7].cast<uint32_t>();
    return s;
}

// Setting and colours; colours (n,3) RGB 0-255 or (n,4) CMYK percent.
void prepare(chart_handle &c, py::tuple setting, array colours) {
    if (colours.ndim() != 2 || (colours.shape(1) != 3 && colours.shape(1) != 4) || colours.shape(0) == 0) {
        fail(HXTVEL_E_CHART_ARG, "colours: expected an array (n, 3) of RGB 0-255 or (n, 4) of CMYK percent");
    }
    const bool cmyk = colours.shape(1) == 4;
    const double hi[4] = {cmyk ? 100.0 : 255.0, cmyk ? 100.0 : 255.0, cmyk ? 100.0 : 255.0, 100.0};
    const double lo[4] = {0, 0, 0, 0};
    static const char *const names[] = {"first", "second", "third", "fourth"};
    check_values("colours", colours, size_t(colours.shape(1)), lo, hi, names);
    const velPAreaStruct s = setting_of(setting, uint32_t(colours.shape(0)));
    chart_check(HXTVEL_SetMChartSetting(c.h, s), "chart setting");
    const uint32_t n = s.patch_count;
    chart_check(cmyk ? HXTVEL_SetMChartData_CMYK(c.h, reinterpret_cast<const velCMYK *>(colours.data()), n)
                     : HXTVEL_SetMChartData_RGB(c.h, reinterpret_cast<const velRGB *>(colours.data()), n),
                "colours");
}

py::list page_records(const std::vector<velMChartStruct> &pages) {
    py::list l;
    for (const velMChartStruct &r : pages) {
        py::dict d;
        d["patches"] = r.patch_count;
        d["columns"] = r.columns;
        d["rows"] = r.rows;
        d["width"] = r.image_width;
        d["height"] = r.image_height;
        d["patch_width"] = r.patch_width;
        d["patch_height"] = r.patch_height;
        d["sidebar_left"] = r.sidebar_left;
        d["grid_top"] = r.grid_top;
        d["bar_left"] = r.bar_left;
        d["bar_top"] = r.bar_top;
        l.append(d);
    }
    return l;
}

py::list chart_geometry(py::tuple setting, array colours, bool bar) {
    chart_handle c;
    prepare(c, setting, colours);
    const velPAreaStruct s = setting_of(setting, uint32_t(colours.shape(0)));
    uint32_t pages = 0;
    const HXTVEL_PosBar b = bar ? HXTVEL_POSBAR_ON : HXTVEL_POSBAR_OFF;
    chart_check(HXTVEL_CalcTiffInfo(c.h, s, HXTVEL_UNIT_PIXEL, b, &pages, nullptr), "chart geometry");
    std::vector<velMChartStruct> records(pages);
    if (pages) chart_check(HXTVEL_CalcTiffInfo(c.h, s, HXTVEL_UNIT_PIXEL, b, &pages, records.data()), "chart geometry");
    return page_records(records);
}

// All pages drawn in memory: (list of TIFF bytes, page records).
py::tuple chart_pages(py::tuple setting, array colours, bool bar) {
    chart_handle c;
    prepare(c, setting, colours);
    const HXTVEL_PosBar b = bar ? HXTVEL_POSBAR_ON : HXTVEL_POSBAR_OFF;
    unsigned long long size = 0;
    uint32_t pages = 0;
    chart_check(HXTVEL_CreateTiff_M(c.h, nullptr, &size, &pages, b), "chart size");
    std::string image(size, '\0');
    uint32_t code;
    {
        py::gil_scoped_release release;
        code = HXTVEL_CreateTiff_M(c.h, image.data(), &size, &pages, b);
    }
    chart_check(code, "chart drawing");
    std::vector<velMChartStruct> records(pages);
    chart_check(HXTVEL_GetMChartData(c.h, records.data(), HXTVEL_UNIT_PIXEL), "page records");
    py::list tiffs;
    unsigned long long at = 0;
    for (uint32_t p = 0; p < pages; ++p) {
        unsigned long long bytes = 0;
        chart_check(HXTVEL_GetPageSize(c.h, p, &bytes), "page size");
        tiffs.append(py::bytes(image.data() + at, bytes));
        at += bytes;
    }
    return py::make_tuple(tiffs, page_records(records));
}

uint32_t chart_write(py::tuple setting, array colours, bool bar, const std::string &prefix) {
    chart_handle c;
    prepare(c, setting, colours);
    uint32_t pages = 0, code;
    {
        py::gil_scoped_release release;
        errno = 0;
        code = HXTVEL_CreateTiff(c.h, prefix.c_str(), &pages, bar ? HXTVEL_POSBAR_ON : HXTVEL_POSBAR_OFF);
    }
    if (code == HXTVEL_E_CHART_OPEN || code == HXTVEL_E_CHART_WRITE) {
        fail(code, prefix + "<n>.tif: " + hxtvel_code_text(code) + " (" + std::strerror(errno ? errno : EIO) + ")");
    }
    chart_check(code, "chart drawing");
    return pages;
}

// ---------------------------------------------------------------------------
// Spectrobin streams: the length-aware check first, always.
// ---------------------------------------------------------------------------

std::string stream_of(const py::bytes &data) { return std::string(data); }

hxtvel_stream_check checked(const std::string &s, bool allow_empty) {
    const hxtvel_stream_check c =
        hxtvel_check_spectrobin(reinterpret_cast<const unsigned char *>(s.data()), s.size());
    if (c.verdict == HXTVEL_STREAM_TRUNCATED) {
        fail(HXTVEL_E_WEDGE_DATA, "not a complete spectrobin stream: truncated at byte " + std::to_string(c.size) +
                                      ": " + (c.block >= 0 ? "block " + std::to_string(c.block) + " " : "") + c.field +
                                      " needs bytes " + std::to_string(c.field_begin) + " to " +
                                      std::to_string(c.field_end - 1));
    }
    if (c.verdict == HXTVEL_STREAM_IMPLAUSIBLE) {
        fail(HXTVEL_E_WEDGE_DATA, "not a spectrobin stream an instrument writes: block " + std::to_string(c.block) +
                                      " " + c.field + " " + std::to_string(c.value) + " breaks its bound " +
                                      std::to_string(c.limit));
    }
    if (c.verdict == HXTVEL_STREAM_NO_CHARTS && !allow_empty) {
        fail(HXTVEL_E_WEDGE_DATA, "the stream holds no charts");
    }
    return c;
}

std::vector<int> chart_ids(py::bytes data) {
    const std::string s = stream_of(data);
    checked(s, true);
    const auto *p = reinterpret_cast<const unsigned char *>(s.data());
    uint32_t n = 0;
    int32_t code = HXTVEL_GetMChartIDList(p, nullptr, &n);
    if (code) fail(code, std::string("chart list: ") + hxtvel_code_text(code));
    std::vector<unsigned char> ids(n);
    if (n) code = HXTVEL_GetMChartIDList(p, ids.data(), &n);
    if (code) fail(code, std::string("chart list: ") + hxtvel_code_text(code));
    return std::vector<int>(ids.begin(), ids.end());
}

py::tuple chart_spectra(py::bytes data, int chart) {
    const std::string s = stream_of(data);
    checked(s, false);
    const auto *p = reinterpret_cast<const unsigned char *>(s.data());
    uint32_t patches = 0, length = 0;
    int32_t code = HXTVEL_GetSpectrorefByMChartID(p, chart, nullptr, &patches, &length, nullptr);
    if (code) fail(code, "chart " + std::to_string(chart) + " is not in the stream, or its block is malformed");
    py::array_t<double> values({static_cast<py::ssize_t>(patches), static_cast<py::ssize_t>(length)});
    std::vector<velSPECTRO_REF> refs(std::max<uint32_t>(patches, 1));
    std::vector<double> spare(length);
    for (uint32_t i = 0; i < refs.size(); ++i) refs[i].data = i < patches ? values.mutable_data() + i * length : spare.data();
    velSensorInfo sensor{};
    {
        py::gil_scoped_release release;
        code = HXTVEL_GetSpectrorefByMChartID(p, chart, refs.data(), &patches, &length, &sensor);
    }
    if (code) fail(code, "chart " + std::to_string(chart) + ": " + hxtvel_code_text(code));
    return py::make_tuple(values, sensor_tuple(sensor));
}

// The C reader's own time on a file, for the benchmark beside read_cgats.
double c_read_seconds(const std::string &path, uint8_t kinds) {
    py::gil_scoped_release release;
    const auto t0 = std::chrono::steady_clock::now();
    void *m = HXTVEL_CreateCGATSInstance();
    const uint32_t code = HXTVEL_ReadCGATS(m, path.c_str(), kinds);
    HXTVEL_DeleteCGATSInstance(m);
    const auto t1 = std::chrono::steady_clock::now();
    if (code) throw hx_error(code, path + ": " + hxtvel_code_text(code));
    return std::chrono::duration<double>(t1 - t0).count();
}

}  // namespace

PYBIND11_MODULE(_core, m) {
    m.doc() = "The compiled core of the hxtvel package; use the functions of hxtvel itself.";
    m.def("_set_error_type", [](py::object type) { error_type() = std::move(type); });
    py::register_exception_translator([](std::exception_ptr p) {
        try {
            if (p) std::rethrow_exception(p);
        } catch (const hx_error &e) {
            py::object err = error_type()(e.what(), e.code);
            PyErr_SetObject(error_type().ptr(), err.ptr());
        } catch (const missing_file &e) {
            PyErr_SetString(PyExc_FileNotFoundError, e.what());
        }
    });
    m.def("delta_e", &delta_e);
    m.def("spectra_convert", &spectra_convert);
    m.def("read_cgats", &read_cgats);
    m.def("check_arrays", &check_arrays);
    m.def("write_file", &write_file);
    m.def("chart_geometry", &chart_geometry);
    m.def("chart_pages", &chart_pages);
    m.def("chart_write", &chart_write);
    m.def("chart_ids", &chart_ids);
    m.def("chart_spectra", &chart_spectra);
    m.def("c_read_seconds", &c_read_seconds);
}
