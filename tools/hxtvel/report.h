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
    std::string id;            // SAMPLE_ID, or the patch number
    std::string device;        // "C 10 M 0 Y 0 K 0", "R 255 G 0 B 0" or ""
    velCIELab reference{}, sample{};
    double de = 0;
    lab_delta delta;
};

// Summary of the differences.
struct compare_stats {
    size_t count = 0;
    double mean = 0, median = 0, p95 = 0, max = 0;
    size_t worst = 0;   // index of the largest difference
    size_t over = 0;    // patches above the tolerance
};
// p95 is the nearest-rank 95th percentile; the median of an even count is
// the mean of the two middle values.
compare_stats statistics(const std::vector<compared_patch> &patches, std::optional<double> tolerance);

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
