// cmd_stream.cpp - `hxtvel charts` and `hxtvel extract`: what a spectrobin
// stream holds, and one chart of it as a CGATS measurement file.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>

#include "cgats_input.h"
#include "cli_common.h"
#include "commands.h"
#include "spectrobin_input.h"

using hximport::make_name_writable;

namespace hxcli {

namespace {

// Sensor-information codes in words, as CGATS files write them.
const char *const kBacking[] = {"unknown", "white", "black"};
const char *const kIlluminant[] = {"A", "C", "D50", "D65", "F2", "F7", "F11", "F12", "D75", "D55", "F8", "F10"};
const char *const kObserver[] = {"2", "10"};
const char *const kFilter[] = {"No", "UVcut"};

template <size_t N>
std::string word(const char *const (&table)[N], unsigned code) {
    return code < N ? table[code] : "code " + std::to_string(code) + " (invalid)";
}

std::string instrument_name(const velSensorInfo &s) {
    return std::string(s.instrument, strnlen(s.instrument, sizeof s.instrument));
}

}  // namespace

int run_charts(const charts_options &o) {
    const spectrobin_file file(o.stream);
    const std::vector<uint8_t> ids = file.chart_ids();
    std::printf("%s: %zu chart%s\n", o.stream.c_str(), ids.size(), ids.size() == 1 ? "" : "s");
    if (ids.empty()) return exit_ok;
    std::map<uint8_t, int> seen;
    for (size_t i = 0; i < ids.size(); ++i) {
        const uint8_t id = ids[i];
        if (seen[id]++) {
            std::printf("  chart %3u  (repeated ID: only its first block can be read)\n", id);
            continue;
        }
        stream_chart c = file.read_chart(id);
        if (i == 0) {
            make_name_writable(c.sensor);  // no control character on the terminal
            std::printf("  instrument \"%s\", backing %s, inside temperature %u, inside humidity %u\n",
                        instrument_name(c.sensor).c_str(), word(kBacking, c.sensor.backing).c_str(),
                        c.sensor.temperature, c.sensor.humidity);
        }
        std::printf("  chart %3u  %5zu patches  illumination %s, observer %s degrees, filter %s\n", id,
                    c.refs.size(), word(kIlluminant, c.sensor.illumination).c_str(),
                    word(kObserver, c.sensor.observer).c_str(), word(kFilter, c.sensor.filter).c_str());
    }
    return exit_ok;
}

int run_extract(const extract_options &o) {
    struct light {
        const char *name;
        int32_t code;        // conversion illuminant
        uint8_t sensor_code; // sensor-information illumination
    };
    static const light lights[] = {{"D50", HXTVEL_LIGHT_D50, 2}, {"D65", HXTVEL_LIGHT_D65, 3}, {"A", HXTVEL_LIGHT_A, 0}};
    const light *l = nullptr;
    for (const light &x : lights) {
        if (o.illuminant == x.name) l = &x;
    }
    if (!l) fail(exit_usage, "--illuminant: expected D50, D65 or A, not '" + o.illuminant + "'");
    if (o.observer != 2 && o.observer != 10) fail(exit_usage, "--observer: expected 2 or 10");
    const uint32_t observer = o.observer == 2 ? HXTVEL_OBSERVER_2 : HXTVEL_OBSERVER_10;

    const spectrobin_file file(o.stream);
    stream_chart chart = file.read_chart(o.chart);
    const size_t n = chart.refs.size();
    if (n == 0) fail(exit_input, o.stream + ": chart " + std::to_string(o.chart) + " holds no patches");

    std::vector<velCIELab> lab(n);
    std::vector<velCIEXYZ> xyz(n);
    for (size_t i = 0; i < n; ++i) {
        uint32_t code = HXTVEL_SpectroRefToLAB(l->code, chart.refs[i], observer, &lab[i]);
        if (code == 0 && o.xyz) code = HXTVEL_SpectroRefToXYZ(l->code, chart.refs[i], observer, &xyz[i]);
        if (code != 0) {
            fail(exit_input, o.stream + ": chart " + std::to_string(o.chart) + ", patch " + std::to_string(i + 1) +
                                 ": " + conversion_code_text(code));
        }
    }

    measurement m;
    const uint32_t count = static_cast<uint32_t>(n);
    if (uint32_t code = HXTVEL_SetSpectroRef(m.get(), chart.refs.data(), count)) {
        fail(exit_input, o.stream + ": the spectra cannot be stored: " + measurement_code_text(code, false));
    }
    if (HXTVEL_SetLAB(m.get(), lab.data(), count) != 0) {
        size_t bad = 0;
        while (bad < n && lab[bad].L >= 0 && lab[bad].L <= 100 && std::fabs(lab[bad].a) <= 128 &&
               std::fabs(lab[bad].b) <= 128) {
            ++bad;
        }
        std::fprintf(stderr,
                     "hxtvel: warning: Lab values not written: patch %zu has L*a*b* %.2f %.2f %.2f, outside "
                     "what a measurement file holds (L* 0..100, a* b* -128..128)\n",
                     bad + 1, lab[bad < n ? bad : 0].L, lab[bad < n ? bad : 0].a, lab[bad < n ? bad : 0].b);
    }
    if (o.xyz && HXTVEL_SetXYZ(m.get(), xyz.data(), count) != 0) {
        std::fprintf(stderr, "hxtvel: warning: XYZ values not written (a negative value)\n");
    }
    // The file's header states the conditions its colorimetric values hold for.
    velSensorInfo sensor = chart.sensor;
    if (make_name_writable(sensor)) {
        std::fprintf(stderr,
                     "hxtvel: note: the instrument name is written as \"%s\" (a CGATS header line cannot carry "
                     "its quotes, control characters or keywords)\n",
                     instrument_name(sensor).c_str());
    }
    sensor.illumination = l->sensor_code;
    sensor.observer = o.observer == 2 ? 0 : 1;
    if (HXTVEL_SetSensorInfo(m.get(), sensor) != 0) {
        std::fprintf(stderr, "hxtvel: warning: the stream's sensor information is invalid and was left out\n");
    }

    output_stage stage;
    const uint32_t code = HXTVEL_WriteCGATS(m.get(), stage.add(o.out).c_str());
    if (code != 0) fail(exit_io, o.out + ": " + measurement_code_text(code, true));
    stage.commit();
    std::printf("chart %d: %zu patches, L*a*b*%s under %s, %d degrees -> %s\n", o.chart, n, o.xyz ? " and XYZ" : "",
                l->name, o.observer, o.out.c_str());
    return exit_ok;
}

}  // namespace hxcli
