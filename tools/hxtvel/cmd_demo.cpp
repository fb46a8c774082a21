// cmd_demo.cpp - `hxtvel demo`: a whole measurement round on a built-in
// chart. Makes a CMYK chart, writes its pages, "prints" it on a simulated
// press, "measures" it with a simulated instrument (a spectrobin stream),
// divides the stream, converts the spectra to Lab, compares them with the
// reference values and writes the measurement as CGATS and CSV.
#include <cstdio>

#include "cgats_input.h"
#include "chart_output.h"
#include "cli_common.h"
#include "commands.h"
#include "press_model.h"
#include "spectrobin_input.h"

namespace hxcli {

namespace {

// Ramps of each ink, overprint ramps, grey over black and a five-level CMY cube.
patch_set demo_patches() {
    patch_set set;
    set.is_cmyk = true;
    for (int ink = 0; ink < 4; ++ink) {
        for (int v = 10; v <= 100; v += 10) {
            velCMYK c{0, 0, 0, 0};
            (&c.C)[ink] = v;
            set.cmyk.push_back(c);
        }
    }
    for (int v = 10; v <= 100; v += 10) {
        set.cmyk.push_back({0, double(v), double(v), 0});  // red
        set.cmyk.push_back({double(v), 0, double(v), 0});  // green
        set.cmyk.push_back({double(v), double(v), 0, 0});  // blue
        set.cmyk.push_back({double(v) * 0.8, double(v) * 0.65, double(v) * 0.65, 30});  // grey over black
    }
    for (int c = 0; c <= 100; c += 25) {
        for (int m = 0; m <= 100; m += 25) {
            for (int y = 0; y <= 100; y += 25) set.cmyk.push_back({double(c), double(m), double(y), 0});
        }
    }
    return set;
}

std::vector<velCIELab> to_lab(const std::vector<spectrum> &spectra) {
    std::vector<velCIELab> lab(spectra.size());
    for (size_t i = 0; i < spectra.size(); ++i) {
        velSPECTRO_REF ref{400, 700, 10, const_cast<double *>(spectra[i].data())};
        const uint32_t code = HXTVEL_SpectroRefToLAB(HXTVEL_LIGHT_D50, ref, HXTVEL_OBSERVER_2, &lab[i]);
        if (code != 0) fail(exit_input, "spectral conversion: " + conversion_code_text(code));
    }
    return lab;
}

void write_or_fail(uint32_t code, const std::string &path) {
    if (code != 0) fail(exit_io, path + ": " + measurement_code_text(code, true));
}

}  // namespace

int run_demo(const demo_options &o) {
    make_directories(o.out);
    output_stage stage;
    const patch_set patches = demo_patches();
    const size_t n = patches.size();

    // 1. The chart: A5 pages at 300 dpi, 12 mm patches, positioning bar.
    velPAreaStruct setting{};
    setting.patch_count = static_cast<uint32_t>(n);
    setting.page_width = 1480;
    setting.page_height = 2100;
    setting.resolution = 300;
    setting.patch_width = 120;
    setting.patch_height = 120;
    setting.layout_first = 8;   // patch 0 top left,
    setting.layout_second = 4;  // numbers running rightwards
    const drawn_chart chart = draw_chart(patches, setting, true, false, join_path(o.out, "chart"), stage);

    // 2. The reference: the chart printed exactly as specified.
    const press ideal;
    std::vector<spectrum> ideal_spectra(n);
    for (size_t i = 0; i < n; ++i) ideal_spectra[i] = print_cmyk(patches.cmyk[i], ideal, uint32_t(i));
    const std::vector<velCIELab> reference = to_lab(ideal_spectra);
    const std::string reference_path = join_path(o.out, "reference.cgats");
    {
        measurement m;
        HXTVEL_SetCMYK(m.get(), patches.cmyk.data(), uint32_t(n));
        HXTVEL_SetLAB(m.get(), reference.data(), uint32_t(n));
        // Its L*a*b* hold for D50 and the 2 degree observer; the file says so.
        velSensorInfo conditions{};
        std::snprintf(conditions.instrument, sizeof conditions.instrument, "%s", "hxtvel demo reference");
        conditions.illumination = 2;  // D50
        conditions.observer = 0;      // 2 degrees
        HXTVEL_SetSensorInfo(m.get(), conditions);
        write_or_fail(HXTVEL_WriteCGATS(m.get(), stage.add(reference_path).c_str()), reference_path);
    }

    // 3. The press prints with some dot gain and ink drift; the instrument
    //    measures each page as one chart of the stream.
    press real;
    real.dot_gain = 0.05;
    real.density[0] = 1.04;
    real.density[1] = 0.96;
    real.density[2] = 1.02;
    real.noise = 0.004;
    std::vector<measured_chart> measured;
    size_t first = 0;
    for (size_t p = 0; p < chart.pages.size(); ++p) {
        measured_chart mc;
        mc.id = static_cast<uint8_t>(p + 1);
        mc.columns = static_cast<uint16_t>(chart.pages[p].columns);
        mc.rows = static_cast<uint16_t>(chart.pages[p].rows);
        for (uint32_t k = 0; k < chart.pages[p].patch_count; ++k) {
            mc.patches.push_back(print_cmyk(patches.cmyk[first + k], real, uint32_t(first + k)));
        }
        first += chart.pages[p].patch_count;
        measured.push_back(std::move(mc));
    }
    const instrument inst;
    const std::vector<unsigned char> stream = encode_spectrobin(inst, measured);
    const std::string stream_path = join_path(o.out, "measurement.spectrobin");
    const std::string stream_temp = stage.add(stream_path);
    write_bytes(stream_temp, stream.data(), stream.size(), stream_path);

    // 4. Divide the stream into its charts and patches, convert, compare.
    const spectrobin_file file(stream_temp);
    std::vector<velSPECTRO_REF> refs;
    std::vector<std::vector<double>> values;
    velSensorInfo sensor{};
    for (uint8_t id : file.chart_ids()) {
        stream_chart c = file.read_chart(id);
        sensor = c.sensor;
        for (auto &v : c.values) values.push_back(std::move(v));
    }
    if (values.size() != n) fail(exit_input, "the stream holds " + std::to_string(values.size()) + " patches, the chart " + std::to_string(n));
    std::vector<spectrum> measured_spectra(values.begin(), values.end());
    const std::vector<velCIELab> lab = to_lab(measured_spectra);
    for (size_t i = 0; i < n; ++i) refs.push_back({400, 700, 10, values[i].data()});

    // 5. The measurement as CGATS and CSV.
    const std::string cgats_path = join_path(o.out, "measurement.cgats");
    const std::string csv_path = join_path(o.out, "measurement.csv");
    {
        measurement m;
        HXTVEL_SetCMYK(m.get(), patches.cmyk.data(), uint32_t(n));
        HXTVEL_SetLAB(m.get(), lab.data(), uint32_t(n));
        HXTVEL_SetSpectroRef(m.get(), refs.data(), uint32_t(n));
        HXTVEL_SetSensorInfo(m.get(), sensor);
        write_or_fail(HXTVEL_WriteCGATS(m.get(), stage.add(cgats_path).c_str()), cgats_path);
        write_or_fail(HXTVEL_WriteText(m.get(), stage.add(csv_path).c_str(), HXTVEL_FILE_COMMA), csv_path);
    }
    stage.commit();

    // 6. The report of the comparison, on the chart's own geometry.
    compare_options co;
    co.reference = reference_path;
    co.sample = cgats_path;
    co.tolerance = "3";
    co.html = join_path(o.out, "report.html");
    co.chart = chart.geometry_file;
    const comparison report = compare_files(co);

    const de_summary &s = report.summary;
    const velCMYK &w = patches.cmyk[s.max_index];
    std::printf("hxtvel demo: a CMYK chart of %zu patches, printed, measured and checked\n", n);
    std::printf("  chart        %zu pages (A5, 300 dpi, 12 mm patches, positioning bar):", chart.files.size());
    for (const std::string &f : chart.files) std::printf(" %s", f.c_str());
    std::printf("\n  reference    %s (CMYK and L*a*b* of the chart as specified)\n", reference_path.c_str());
    std::printf("  measured     %s (%zu charts, %zu spectra 400-700 nm)\n", stream_path.c_str(), measured.size(), n);
    std::printf("  measurement  %s, %s (CMYK, L*a*b* D50/2, spectra)\n", cgats_path.c_str(), csv_path.c_str());
    std::printf("  CIEDE2000 measured vs reference: mean %.2f, max %.2f (patch %zu: C%.0f M%.0f Y%.0f K%.0f), "
                "95th percentile %.2f\n",
                s.mean, s.max, s.max_index + 1, w.C, w.M, w.Y, w.K, s.p95);
    std::printf("  compare      %s (%zu of %zu patches above dE00 3): hxtvel compare %s %s --tolerance 3\n",
                report.summary.over ? "FAIL" : "PASS", report.summary.over, n, reference_path.c_str(),
                cgats_path.c_str());
    std::printf("report: %s (open it in a browser)\n", co.html.c_str());
    return exit_ok;
}

}  // namespace hxcli
