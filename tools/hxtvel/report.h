// report.h - the compare report: one self-contained HTML file (inline CSS
// and SVG, no script, nothing loaded from elsewhere) that prints on A4.
#ifndef HXTVEL_CLI_REPORT_H
#define HXTVEL_CLI_REPORT_H

#include <optional>
#include <string>
#include <vector>

#include "chart_geometry.h"
#include "colour_view.h"
#include "hxtvel.h"

namespace hxcli {

// One compared patch.
struct compared_patch {
    size_t position = 0;       // the patch's number on the chart (its row in the reference), from 0
    std::string id;            // SAMPLE_ID, or the patch number
    std::string device;        // "C 10 M 0 Y 0 K 0", "R 255 G 0 B 0" or ""
    velCIELab reference{}, sample{};
    double de = 0;
    lab_delta delta;
};

struct report_input {
    std::string reference_path, sample_path;
    std::string method;          // "ΔE00", "ΔE76" ...
    std::string conditions;      // "D50/2°"
    velCIEXYZ reference_white{}, sample_white{};  // whites of the two files' Lab
    std::optional<double> tolerance;
    std::vector<compared_patch> patches;  // in chart order
    chart_geometry geometry;              // places the patches on the chart map
    std::vector<std::string> notes;       // matching and import notes
    std::string when;                     // "2026-11-24 14:30"
};

// The whole HTML document.
std::string render_report(const report_input &in);

// The number of worst patches the report names and draws in the a*b* plot.
constexpr size_t kReportWorst = 10;

}  // namespace hxcli

#endif  // HXTVEL_CLI_REPORT_H
